"""The package as a whole."""

from __future__ import annotations

import os
import re
import subprocess
import sys
from pathlib import Path

import pytest
from conftest import SOURCE

import xrdimage
from xrdimage import _core, classic


def test_version_is_the_projects() -> None:
    stated = re.search(r"project\(xrdimage VERSION (\S+)", (SOURCE / "CMakeLists.txt").read_text())
    assert stated is not None and xrdimage.__version__ == stated.group(1)


def test_module_shows_nothing_but_its_start() -> None:
    listing = subprocess.run(
        ["nm", "--dynamic", "--defined-only", _core.__file__], check=True, capture_output=True, text=True
    ).stdout
    names = {line.split()[-1] for line in listing.splitlines()}
    assert "PyInit__core" in names
    functions = {name for name, value in vars(classic).items() if callable(value)}
    assert not names & functions


def test_stubs_list_what_the_module_has() -> None:
    stubs = (Path(xrdimage.__file__).parent / "_core.pyi").read_text()
    listed = set(re.findall(r"^(?:def|class) (\w+)|^(\w+): ", stubs, re.M))
    names = {first or second for first, second in listed}
    assert names == {name for name in vars(_core) if not name.startswith("__")}


def test_types_are_checked() -> None:
    pytest.importorskip("mypy")
    result = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--cache-dir=/dev/null", "xrdimage"],
        cwd=SOURCE / "python",
        capture_output=True,
        text=True,
    )
    assert result.returncode == 0, result.stdout


def test_installed_package_works_alone() -> None:
    install = ["cmake", "--install", os.environ["XRDIMAGE_BUILD"], "--component", "python", "--prefix", "prefix"]
    subprocess.run(install, check=True, capture_output=True)
    folder = Path("prefix/lib/python3/dist-packages").absolute()
    assert {path.suffix for path in (folder / "xrdimage").iterdir()} == {"", ".py", ".pyi", ".so", ".typed"}  # LICENSE
    script = """
import xrdimage
xrdimage.sample("a.mar2300", size=64)
print(xrdimage.__file__, xrdimage.load("a.mar2300").counts.shape)
"""
    environment = {**os.environ, "PYTHONPATH": str(folder)}
    told = subprocess.run([sys.executable, "-c", script], check=True, capture_output=True, text=True, env=environment)
    assert told.stdout == f"{folder}/xrdimage/__init__.py (64, 64)\n"
