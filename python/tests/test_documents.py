"""Whatever the documents and the docstrings show is run and compared."""

from __future__ import annotations

import doctest
import inspect
import os
import subprocess
import sys
from pathlib import Path
from typing import Dict

import numpy as np
import pytest

import xrdimage
from xrdimage import classic

SOURCE = Path(os.environ["XRDIMAGE_SOURCE"])
MODULES = (xrdimage, classic)
EXAMPLES = {test.name: test for module in MODULES for test in doctest.DocTestFinder().find(module) if test.examples}


@pytest.mark.parametrize("name", EXAMPLES)
def test_docstring_tells_what_happens(name: str) -> None:
    test = EXAMPLES[name]
    test.globs["np"] = np
    runner = doctest.DocTestRunner()
    assert runner.run(test).failed == 0


def test_every_function_has_an_example() -> None:
    functions = [f for f in vars(classic).values() if inspect.isfunction(f) and not f.__name__.startswith("_")]
    functions += [xrdimage.load, xrdimage.save, xrdimage.sample]
    names = {f"{function.__module__}.{function.__name__}" for function in functions}
    names = {name for name in names if name.startswith(("xrdimage.load", "xrdimage.save", "xrdimage.sample", "xrdimage.classic."))}
    # What the viewer does is told by a test of its own, with a stand-in for the viewer.
    assert names - set(EXAMPLES) == {"xrdimage.classic.view"}


def test_guide_tells_what_happens() -> None:
    results = doctest.testfile(str(SOURCE / "docs" / "python.md"), module_relative=False)
    assert results.attempted > 10
    assert results.failed == 0
