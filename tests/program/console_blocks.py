#!/usr/bin/python3
"""Runs the commands of a document's console blocks, and compares what they print with what the document says.

console_blocks.py [--write] DOCUMENT PROGRAM

Lines that begin with "$ " are commands for bash, run one after the other in one new folder; the lines below them are
what is printed, errors included. With --write the document is rewritten with what is printed now.
"""
import itertools
import os
import re
import subprocess
import sys
import tempfile


def run(command, folder, program):
    environment = dict(os.environ, PATH=os.path.dirname(program) + ":" + os.environ["PATH"], LC_ALL="C.UTF-8")
    for display in ("DISPLAY", "WAYLAND_DISPLAY"):
        environment.pop(display, None)
    result = subprocess.run(["bash", "-c", command], cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    # How long it took is another time each time.
    return re.sub(r"converted in \d+ s", "converted in 1 s", result.stdout)


def with_results(block, folder, program):
    lines = []
    for line in block.splitlines():
        if line.startswith("$ "):
            lines.append(line + "\n" + run(line[2:], folder, program))
    return "".join(lines)


def main():
    arguments = sys.argv[1:]
    write = arguments[0] == "--write"
    document, program = arguments[1:] if write else arguments
    with open(document, encoding="utf-8") as stream:
        text = stream.read()
    with tempfile.TemporaryDirectory() as folder:
        actual = re.sub(r"(?s)(?<=```console\n).*?(?=```)",
                        lambda block: with_results(block.group(), folder, os.path.abspath(program)), text)
    if write:
        with open(document, "w", encoding="utf-8") as stream:
            stream.write(actual)
    elif actual != text:
        for said, printed in itertools.zip_longest(text.splitlines(), actual.splitlines()):
            if said != printed:
                print(f"{document} says:  {said}\nbut this is so: {printed}")
                break
        sys.exit(1)


main()
