#!/usr/bin/env python3
"""Makes the tables of docs/performance.md:

bench_table.py speed PERFORMANCE.md RESULTS.json...            of several runs
bench_table.py memory PERFORMANCE.md BENCH PROGRAM FRAME SIZE  of a mar345 frame of SIZE x SIZE pixels
"""
import json
import os
import statistics
import subprocess
import sys
import tempfile
from typing import NamedTuple, Optional


class Figures(NamedTuple):
    """What is asked of a row; None where nothing is."""

    gain: Optional[float] = None  # at least this much faster than plain
    excess: Optional[float] = None  # at most this much over the limit
    milliseconds: Optional[float] = None  # at most


FIGURES = {
    "unpack_word": Figures(1.9, 1.3),
    "new_read_pck": Figures(3, 1.25),
    "pack_wordimage_c": Figures(3.5, 2),
    "read_raw": Figures(20, 1.3),
    "read_saint": Figures(20, 1.3),
    "read_edf": Figures(None, 1.3),
    "read_bnl": Figures(None, 1.3),
    "read_tiff": Figures(None, 1.3),
    "read_mar_ccd": Figures(None, 1.3),
    "edf32_write": Figures(None, 1.2),
    "write_zimg": Figures(None, 1.2),
    "find_maximum": Figures(2.5, 1.3),
    "find_short_maximum": Figures(2.5, 1.3),
    "make_cross": Figures(2.5, 1.3),
    "invert_data": Figures(None, 1.3),
    "scale_up": Figures(None, 1.3),
    "to_short": Figures(None, 1.3),
    "scale_up_short": Figures(4),
    "logarith_data": Figures(8),
    "binning_2": Figures(4, 1.5),
    "binning_4": Figures(3, 1.5),
    "short_binning_2": Figures(4, 1.5),
    "fit_to_new_dimension": Figures(10, 1.5),
    "mittle_Daten_2": Figures(4),
    "mittle_Daten_5": Figures(15, 3),
    "mittle_Daten_20": Figures(200, 3),
    "fill_gauss": Figures(4, 1.5),
    "falte_gauss": Figures(1.25, 1.2),
    "falte_short_gauss": Figures(1.25, 1.2),
    "falte_gauss, FFTW 3": Figures(2.5),
    "falte_short_gauss, FFTW 3": Figures(2.5),
    "rotate_clock1": Figures(None, 3),
    "swapword": Figures(None, 1.3),
    "swapbytes": Figures(None, 1.3),
    "xrdimage --version": Figures(milliseconds=10),
    "xrdimage info": Figures(None, 1.3),
    "PNG writing": Figures(None, 1.3),
    "xrdimage convert -j 2": Figures(1.8),
}


def measured_times(path):
    """Milliseconds by frame and row, and by variant: the median of the repetitions."""
    with open(path, encoding="utf-8") as file:
        benchmarks = json.load(file)["benchmarks"]
    times = {}
    for benchmark in benchmarks:
        frame, row, variant = benchmark["name"].split("/")[:3]
        if benchmark["run_type"] == "iteration":
            times.setdefault((frame, row), {}).setdefault(variant, []).append(benchmark["median_ms"])
    return {key: {variant: statistics.median(of) for variant, of in variants.items()} for key, variants in times.items()}


def median_of(values):
    known = [value for value in values if value is not None]
    return statistics.median(known) if known else None


def cell(number, decimals=2):
    return "" if number is None else f"{number:.{decimals}f}"


def asked(figure):
    return "" if figure is None else f"{figure:g}"


def speed_row(frame, row, runs):
    figures = FIGURES[row]
    times = [run["library"] for run in runs]
    gains = [run["plain"] / run["library"] if "plain" in run else None for run in runs]
    excesses = [run["library"] / run["limit"] if "limit" in run else None for run in runs]
    met = sum(
        (figures.gain is None or gain >= figures.gain)
        and (figures.excess is None or excess <= figures.excess)
        and (figures.milliseconds is None or time <= figures.milliseconds)
        for time, gain, excess in zip(times, gains, excesses)
    )
    verdict = "meets" if met == len(runs) else "misses" if met == 0 else f"meets in {met} of {len(runs)}"
    time = cell(median_of(times)) + (f" (at most {figures.milliseconds:g})" if figures.milliseconds else "")
    return [
        frame,
        row if " " in row else f"`{row}`",
        time,
        cell(median_of(gains)),
        asked(figures.gain),
        cell(median_of(excesses)),
        asked(figures.excess),
        verdict,
    ]


def speed_table(paths):
    measured = [measured_times(path) for path in paths]
    runs = {}
    for times in measured:
        for key, variants in times.items():
            runs.setdefault(key, []).append(variants)
    frames = list(dict.fromkeys(frame for frame, _ in runs))
    head = ["frame", "function", "ms", "x plain", "asked", "/ limit", "allowed", "verdict"]
    rows = [speed_row(frame, row, runs[frame, row]) for frame in frames for row in FIGURES if (frame, row) in runs]
    return head, rows


def peak_megabytes(bench, command):
    """The most memory that the command had."""
    kilobytes = subprocess.run([bench, "--peak", *command], check=True, capture_output=True, text=True).stdout
    return int(kilobytes) * 1024 / 1e6


def memory_table(bench, program, frame, size):
    counts = 4 * size * size / 1e6
    with tempfile.TemporaryDirectory() as folder:
        tasks = [
            ("`new_read_pck`", [bench, "--read", frame], [bench, "--read"], counts),
            (
                "xrdimage convert to .edf",
                [program, "convert", frame, "-o", folder + "/a.edf"],
                [program, "--version"],
                counts + os.path.getsize(frame) / 1e6,
            ),
            (
                "xrdimage convert to .png",
                [program, "convert", frame, "-o", folder + "/a.png"],
                [program, "--version"],
                counts * 1.25,
            ),
        ]
        rows = []
        for name, command, start, arrays in tasks:
            peak = peak_megabytes(bench, command) - peak_megabytes(bench, start)
            ratio = peak / arrays
            rows.append([name, cell(peak, 1), cell(arrays, 1), cell(ratio), "1.1", "meets" if ratio <= 1.1 else "misses"])
    return ["what", "peak, MB", "arrays, MB", "ratio", "allowed", "verdict"], rows


def table_text(head, rows):
    widths = [max(len(line[i]) for line in [head, *rows]) for i in range(len(head))]
    lines = [head, ["-" * width for width in widths], *rows]
    return "".join(
        "| " + " | ".join(text.ljust(width) for text, width in zip(line, widths)) + " |\n" for line in lines
    )


def write_between_marks(path, name, table):
    begin = f"<!-- table of {name} -->\n"
    end = f"<!-- end of {name} -->\n"
    with open(path, encoding="utf-8") as file:
        text = file.read()
    before, rest = text.split(begin)
    after = rest.split(end)[1]
    with open(path, "w", encoding="utf-8") as file:
        file.write(before + begin + table + end + after)


def main():
    name, path, *arguments = sys.argv[1:]
    if name == "speed":
        head, rows = speed_table(arguments)
    else:
        bench, program, frame, size = arguments
        head, rows = memory_table(bench, program, frame, int(size))
    table = table_text(head, rows)
    print(table, end="")
    write_between_marks(path, name, table)


main()
