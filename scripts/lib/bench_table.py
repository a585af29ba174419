#!/usr/bin/env python3
"""Makes the table of docs/performance.md: bench_table.py RESULTS.json PERFORMANCE.md"""
import json
import statistics
import sys

BEGIN = "<!-- scripts/bench writes from here -->"
END = "<!-- to here -->"

# By row: at least this much faster than plain, at most this much over the limit; None where nothing is asked.
FIGURES = {
    "unpack_word": (1.9, 1.3),
    "new_read_pck": (3, 1.25),
    "pack_wordimage_c": (3.5, 2),
    "read_raw": (20, 1.3),
    "read_saint": (20, 1.3),
    "read_edf": (None, 1.3),
    "read_bnl": (None, 1.3),
    "read_tiff": (None, 1.3),
    "read_mar_ccd": (None, 1.3),
    "edf32_write": (None, 1.2),
    "write_zimg": (None, 1.2),
    "find_maximum": (2.5, 1.3),
    "find_short_maximum": (2.5, 1.3),
    "make_cross": (2.5, 1.3),
    "invert_data": (None, 1.3),
    "scale_up": (None, 1.3),
    "to_short": (None, 1.3),
    "scale_up_short": (4, None),
    "logarith_data": (8, None),
    "binning_2": (4, 1.5),
    "binning_4": (3, 1.5),
    "short_binning_2": (4, 1.5),
    "fit_to_new_dimension": (10, 1.5),
    "mittle_Daten_2": (4, None),
    "mittle_Daten_5": (15, 3),
    "mittle_Daten_20": (200, 3),
    "fill_gauss": (4, 1.5),
    "falte_gauss": (1.25, 1.2),
    "falte_short_gauss": (1.25, 1.2),
    "rotate_clock1": (None, 3),
    "swapword": (None, 1.3),
    "swapbytes": (None, 1.3),
}


def median_times(path):
    """Milliseconds by frame, row and variant: the median of the repetitions' medians."""
    with open(path, encoding="utf-8") as file:
        benchmarks = json.load(file)["benchmarks"]
    times = {}
    for benchmark in benchmarks:
        if benchmark["run_type"] != "iteration":
            continue
        frame, row, variant = benchmark["name"].split("/")[:3]
        variants = times.setdefault(frame, {}).setdefault(row, {})
        variants.setdefault(variant, []).append(benchmark["median_ms"])
    for rows in times.values():
        for variants in rows.values():
            variants.update((variant, statistics.median(values)) for variant, values in variants.items())
    return times


def table_row(frame, row, times):
    gain_asked, excess_asked = FIGURES[row]
    library = times["library"]
    gain = times["plain"] / library
    excess = library / times["limit"] if "limit" in times else None
    misses = (gain_asked and gain < gain_asked) or (excess_asked and excess and excess > excess_asked)
    return [
        frame,
        f"`{row}`",
        f"{library:.2f}",
        f"{gain:.2f}",
        f"{gain_asked}" if gain_asked else "",
        f"{excess:.2f}" if excess else "",
        f"{excess_asked}" if excess_asked and excess else "",
        "misses" if misses else "meets",
    ]


def make_table(times):
    head = ["frame", "function", "ms", "x plain", "asked", "/ limit", "allowed", "verdict"]
    rows = [table_row(frame, row, of_frame[row]) for frame, of_frame in times.items() for row in FIGURES if row in of_frame]
    widths = [max(len(line[i]) for line in [head, *rows]) for i in range(len(head))]
    lines = [head, ["-" * width for width in widths], *rows]
    return "".join("| " + " | ".join(cell.ljust(width) for cell, width in zip(line, widths)) + " |\n" for line in lines)


def write_between_marks(path, table):
    with open(path, encoding="utf-8") as file:
        text = file.read()
    before, rest = text.split(BEGIN)
    after = rest.split(END)[1]
    with open(path, "w", encoding="utf-8") as file:
        file.write(f"{before}{BEGIN}\n{table}{END}{after}")


def main():
    table = make_table(median_times(sys.argv[1]))
    print(table, end="")
    write_between_marks(sys.argv[2], table)


main()
