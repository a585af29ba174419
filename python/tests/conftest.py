"""What all tests have in common."""

from __future__ import annotations

import os
from pathlib import Path
from typing import Iterator

import pytest

import xrdimage

SOURCE = Path(os.environ["XRDIMAGE_SOURCE"])


@pytest.fixture(autouse=True)
def working_directory(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Path:
    """A folder of its own for each test, and each example in a docstring."""
    monkeypatch.chdir(tmp_path)
    return tmp_path


@pytest.fixture(autouse=True)
def silent_output(capfd: pytest.CaptureFixture[str]) -> Iterator[None]:
    """What the C library prints never reaches standard output."""
    yield
    assert capfd.readouterr().out == ""


@pytest.fixture(scope="session")
def lab6(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """A mar345 frame of 600 x 600 pixels, some of them saturated."""
    path = tmp_path_factory.mktemp("frames") / "lab6.mar2300"
    xrdimage.sample(path, size=600, seed=3)
    return path


def sample_file(name: str) -> Path:
    """A real frame, which lies beside the checkout where it is at all."""
    path = SOURCE.parent / "shared" / "samples" / name
    if not path.exists():
        pytest.skip(f"{path} is not there")
    return path
