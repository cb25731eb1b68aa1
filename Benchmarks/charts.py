"""Draws the charts of docs/performance.md with gnuplot, from the results of scripts/bench --all."""

import subprocess

COLOURS = ["#0072b2", "#d55e00", "#009e73", "#cc79a7", "#e69f00", "#56b4e9", "#555555", "#7b3294", "#8c510a"]


def draw(path, title, x_title, y_title, lines, options=""):
    """`lines` are (name, [(x, y), ...]); the first one is ours, and thicker."""
    script = [
        # A background of its own: readable on light and dark pages.
        'set terminal svg size 860,460 font "sans-serif,13" background "#ffffff" enhanced',
        f'set output "{path}"',
        f'set title "{title}"',
        f'set xlabel "{x_title}"',
        f'set ylabel "{y_title}"',
        "set key outside right top Left reverse",
        'set grid linecolor "#dddddd"',
        "set border 3 linecolor '#444444'",
        "set tics nomirror",
        options,
    ]
    plots = []
    for number, (name, points) in enumerate(lines):
        script += [f"$line{number} << EOD", *(f"{x} {y}" for x, y in points), "EOD"]
        plots.append(f'$line{number} using 1:2 with linespoints linetype 1 linewidth {3 if number == 0 else 1.7} '
                     f'pointtype {number + 4} pointsize 0.6 linecolor "{COLOURS[number]}" title "{name}"')
    script.append("plot " + ", ".join(plots))
    subprocess.run(["gnuplot"], input="\n".join(script) + "\n", text=True, check=True)


def sides_by_size(report, works):
    """{side: [(size, seconds), ...]}"""
    found = {}
    for size, work in works.items():
        for side, values in report["cases"][work]["sides"].items():
            found.setdefault(side, []).append((size, values["median"]))
    return dict(sorted(found.items(), key=lambda item: (item[0] != "ours", item[0])))


def draw_all(report, series, folder):
    folder.mkdir(parents=True, exist_ok=True)
    both_logarithmic = "set logscale xy\nset format x '10^{%L}'"
    packing = sides_by_size(report, series["pack #"])
    memcpy = dict(packing.pop("memcpy"))
    draw(folder / "packing.svg", "Packing", "sample frames a call", "times as long as memcpy",
         [(side, [(size, seconds / memcpy[size]) for size, seconds in points]) for side, points in packing.items()],
         both_logarithmic + "\nset ytics (1, 2, 3, 5, 10, 20, 50)\nset yrange [0.9:]")
    files = sides_by_size(report, series["WAV of # s"])
    draw(folder / "files.svg", "A WAV file to a Matroska file, whole programs", "length in seconds", "seconds",
         list(files.items()), "set logscale xy\nset xtics (1, 10, 60, 600, 3600)\nset format y '%g'")
    lines = []
    for name, title in GROWING.items():
        points = sides_by_size(report, series[name])["ours"]
        most, last = points[-1]
        slope = report["slopes"][name]["slope"]
        lines.append((f"{title}: {slope:.2f}",
                      [(size / most, seconds / size / last * most) for size, seconds in points]))
    draw(folder / "growth.svg", "Cost of one item against size, and the slope of the last decade", "size, largest 1",
         "time of one item, at the largest size 1", lines,
         both_logarithmic + "\nset ytics (0.2, 0.5, 1, 2, 5, 10, 20, 50, 100)")
    batch = sides_by_size(report, series["2000 files of 1 s, jobs #"])
    draw(folder / "batch.svg", "2,000 files of one second", "jobs", "files a second",
         [("cp, one process" if side == "cp" else side, [(jobs, 2000 / seconds) for jobs, seconds in points])
          for side, points in batch.items()],
         "set xtics 1\nset yrange [0:]")


GROWING = {
    "pack #": "packing (frames)",
    "replace #": "replacing (bytes)",
    "Calc16BitCRC #": "CRC-16 (bytes)",
    "walk #": "walking (files)",
    "copy tree #": "copying (files)",
    "remove #": "removing (files)",
    "settings, texts: build #": "settings, build",
    "settings, texts: copy #": "settings, copy",
    "settings, texts: show #": "settings, show",
}
