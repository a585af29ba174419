"""Every test, and every example in a docstring, has a folder of its own to work in."""

from pathlib import Path

import pytest


@pytest.fixture(autouse=True)
def working_directory(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Path:
    monkeypatch.chdir(tmp_path)
    return tmp_path
