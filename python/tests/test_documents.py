"""Whatever the documents and the docstrings show is run and compared."""

from __future__ import annotations

import doctest
import inspect
import logging
import os
import re
import subprocess
import sys
from pathlib import Path
from typing import Iterator

import numpy as np
import pytest
from conftest import SOURCE

import xrdimage
from xrdimage import classic

MODULES = (xrdimage, classic)
EXAMPLES = {test.name: test for module in MODULES for test in doctest.DocTestFinder().find(module) if test.examples}


@pytest.mark.parametrize("name", EXAMPLES)
def test_docstring_tells_what_happens(name: str) -> None:
    test = EXAMPLES[name]
    test.globs["np"] = np
    runner = doctest.DocTestRunner()
    assert runner.run(test).failed == 0


def test_every_function_has_an_example() -> None:
    functions = {f"xrdimage.classic.{name}" for name, value in vars(classic).items() if is_function_of_classic(value)}
    functions |= {"xrdimage.load", "xrdimage.save", "xrdimage.sample"}
    # What the viewer does is told by a test of its own, with a stand-in for the viewer.
    assert functions - set(EXAMPLES) == {"xrdimage.classic.view"}


def is_function_of_classic(value: object) -> bool:
    return inspect.isfunction(value) and value.__module__ == classic.__name__ and not value.__name__.startswith("_")


@pytest.fixture
def undisturbed_log() -> Iterator[None]:
    logger = logging.getLogger("xrdimage")
    level, handlers = logger.level, list(logger.handlers)
    yield
    logger.setLevel(level)
    logger.handlers[:] = handlers


@pytest.mark.usefixtures("undisturbed_log")
def test_guide_tells_what_happens() -> None:
    # All its examples together, as a reader who types them one after the other.
    blocks = re.findall(r"^```pycon\n(.*?)^```$", (SOURCE / "docs" / "python.md").read_text(), re.M | re.S)
    test = doctest.DocTestParser().get_doctest("\n".join(blocks), {}, "python.md", None, None)
    assert len(test.examples) > 20
    assert doctest.DocTestRunner().run(test).failed == 0


def test_azimuthal_script_makes_its_picture() -> None:
    script = SOURCE / "docs" / "azimuthal.py"
    environment = {**os.environ, "MPLBACKEND": "Agg", "MPLCONFIGDIR": os.getcwd(), "XRDIMAGE_PICTURES": os.getcwd()}
    subprocess.run([sys.executable, script], check=True, env=environment, timeout=120)
    picture = Path("azimuthal.png").read_bytes()
    assert picture.startswith(b"\x89PNG") and 10_000 < len(picture) < 150_000
