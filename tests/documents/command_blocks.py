#!/usr/bin/python3
"""Runs the command blocks of documents, as a reader would who types them in the checkout, one document after the other.

command_blocks.py CHECKOUT DOCUMENT...

Command blocks are indented by four spaces, or fenced and marked "bash". Fenced blocks marked "c" become example.c,
those marked "cpp" example.cpp, those marked "cmake" the end of a project with example.c, those marked "python" a script.
Blocks of other kinds have tests of their own. What the commands change stays: scripts/test runs this in a system that is thrown away.
"""
import os
import re
import subprocess
import sys

# Commands that are not run here, as they are run elsewhere.
ELSEWHERE = {
    "scripts/test": "is what runs this",
    "scripts/fuzz": "is run by scripts/nightly",
}

# What the commands of clusters find.
PREPARATION = """
mkdir -p /data/run7 /scratch/run7
for seed in 1 2; do xrdimage sample --overwrite /data/run7/$seed.mccd --size 1200 --seed $seed >/dev/null; done
find /data/run7 -name '*.mccd' >frames.txt
echo : >machines
"""

PROJECT = """cmake_minimum_required(VERSION 3.16)
project(example LANGUAGES C)
add_executable(example ../example.c)
"""


def blocks_of(text):
    """Kind and text of each block."""
    pattern = r"(?ms)^```(?P<kind>\w*)\n(?P<fenced>.*?)^```$|(?<=\n\n)(?P<indented>(?:^    [^\n]*\n)+)"
    for block in re.finditer(pattern, text):
        if block["indented"]:
            yield "bash", re.sub(r"(?m)^    ", "", block["indented"])
        else:
            yield block["kind"], block["fenced"]


def is_elsewhere(line):
    command = re.sub(r" +#.*", "", line)
    if command not in ELSEWHERE:
        return False
    print(f"   not run, as it {ELSEWHERE[command]}: {line}")
    return True


def run(script):
    program = os.path.abspath("build/run/bin")
    environment = dict(os.environ, PATH=f"{program}:{os.environ['PATH']}", LC_ALL="C.UTF-8",
                       SLURM_ARRAY_TASK_ID="1", SLURM_CPUS_PER_TASK="2")
    for display in ("DISPLAY", "WAYLAND_DISPLAY"):
        environment.pop(display, None)
    return subprocess.run(["bash", "-euo", "pipefail", "-c", script], env=environment, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace", check=False)


def write(path, text):
    os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
    with open(path, "w", encoding="utf-8") as stream:
        stream.write(text)


def script_of(kind, block):
    """The block as commands for bash, or nothing."""
    if kind == "bash":
        return "".join(line + "\n" for line in block.splitlines() if not is_elsewhere(line))
    if kind in ("c", "cpp"):
        write("example." + kind, block)
    if kind == "python":
        write("example.py", block)
        return "PYTHONPATH=$(scripts/python) /usr/bin/python3 example.py"
    if kind == "cmake":
        write("project/CMakeLists.txt", PROJECT + block)
        return "cmake -S project -B project/build && cmake --build project/build && project/build/example build/sample.mar2300 binned.png"
    return ""


def main():
    os.chdir(sys.argv[1])
    count = 0
    for document in sys.argv[2:]:
        with open(document, encoding="utf-8") as stream:
            text = stream.read()
        for kind, block in blocks_of(text):
            script = script_of(kind, block)
            if not script.strip():
                continue
            if "/data/run7" in script or "frames.txt" in script:
                script = PREPARATION + script
            print(f"{document}:\n   " + script.strip().replace("\n", "\n   "), flush=True)
            result = run(script)
            count += 1
            if result.returncode != 0:
                sys.exit(f"{document}: these commands end with status {result.returncode}:\n{script}{result.stdout}")
    print(f"{count} blocks")


main()
