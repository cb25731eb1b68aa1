"""Runs the benchmarks and whole programs, and compares the ratios with the goals in goals.json. See scripts/bench."""

import argparse
import datetime
import json
import math
import os
import pathlib
import platform
import random
import re
import shutil
import statistics
import subprocess
import sys
import time

import charts
import programs

HERE = pathlib.Path(__file__).parent
GOALS = json.loads((HERE / "goals.json").read_text())


def run_benchmarks(build, samples, pattern, options):
    """Runs each benchmark program once; `samples` gets the median of the repetitions of each side, in seconds."""
    for program in sorted((build / "Benchmarks").glob("*_benchmark")):
        command = [program, "--benchmark_format=json", f"--benchmark_filter={pattern}", *options]
        text = subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                              env=os.environ | {"TMPDIR": str(programs.FOLDER)}).stdout
        times = {}
        for run in json.loads(text or "{}").get("benchmarks", []):
            if run["run_type"] == "iteration":
                seconds = run["cpu_time"] * {"ns": 1e-9, "us": 1e-6, "ms": 1e-3}[run["time_unit"]]
                times.setdefault(run["run_name"], []).append(seconds)
        for name, seconds in times.items():
            work, _, side = name.rpartition("/")
            take(samples, work or name, side if work else "ours", statistics.median(seconds))


def run_program(command):
    """Returns how long the command took, and its processor time; both in seconds."""
    begin = time.perf_counter()
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    error = process.stderr.read()
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        sys.exit(f"bench: {' '.join(command)}: {error.decode(errors='replace')}")
    return time.perf_counter() - begin, usage.ru_utime + usage.ru_stime


def run_case(case, samples, rounds, budget):
    """Runs the sides of a case in turn, in a different order each time, until `budget` seconds are spent."""
    case.prepare()
    begin = time.monotonic()
    for number in range(rounds):
        for side, command in random.sample(list(case.sides.items()), len(case.sides)):
            shutil.rmtree(programs.OUTPUT, ignore_errors=True)
            programs.OUTPUT.mkdir(parents=True)
            seconds, processor = run_program(command)
            take(samples, case.name, side, seconds)
            take(samples, f"{case.name}, processor time", side, processor)
        if number >= 2 and time.monotonic() - begin > budget:
            break


def take(samples, work, side, seconds):
    samples.setdefault(work, {}).setdefault(side, []).append(seconds)


def summary(values):
    ordered = sorted(values)
    quarter = len(ordered) // 4
    found = (ordered[quarter], statistics.median(ordered), ordered[-1 - quarter])
    return {name: float(f"{value:.4g}") for name, value in zip(("low", "median", "high"), found)}


def ratio(sides, against):
    """How many times as long ours took as another side: by rounds, since both sides of one round meet the same load."""
    return summary([ours / other for ours, other in zip(sides["ours"], sides[against])])


def result(work, sides):
    goal = GOALS["cases"].get(work, {})
    against = GOALS["cases"].get(work.removesuffix(", processor time"), {}).get("against")
    floor = against or next((side for side in GOALS["floors"] if side in sides), None)
    peers = [side for side in sides if side not in ("ours", *GOALS["floors"])]
    best = min(peers, key=lambda side: statistics.median(sides[side]), default=None)
    found = {"sides": {side: summary(values) for side, values in sides.items()}}
    if floor in sides:
        found["floor"] = {"side": floor, **ratio(sides, floor)}
    if best:
        found["peer"] = {"side": best, **ratio(sides, best)}
    if goal:
        found["goal"] = goal["most"]
        found["met"] = "floor" in found and round(found["floor"]["median"], 2) <= goal["most"]
    return found


def series(cases):
    """Groups works that differ in one number: {"walk #": {20: "walk 20", ...}}."""
    groups = {}
    for work in cases:
        if match := re.fullmatch(r"(.*?)(\d+)((?: s)?)", work):
            groups.setdefault(f"{match[1]}#{match[3]}", {})[int(match[2])] = work
    return {name: dict(sorted(works.items())) for name, works in groups.items() if len(works) > 2}


def slopes(cases):
    """By which power of the size the time grows, from a tenth of the largest size to the largest: 1 is linear."""
    found = {}
    for name, works in series(cases).items():
        large = max(works)
        small = max((size for size in works if size * 10 <= large), default=None)
        if small and "ours" in cases[works[large]]["sides"]:
            seconds = [cases[works[size]]["sides"]["ours"]["median"] for size in (small, large)]
            found[name] = {"slope": math.log(seconds[1] / seconds[0]) / math.log(large / small)}
            goal = next((most for pattern, most in GOALS["slopes"].items() if re.fullmatch(pattern, name)), None)
            if goal:
                found[name] |= {"goal": goal, "met": round(found[name]["slope"], 2) <= goal}
    return found


def time_text(seconds):
    for unit, factor in (("s", 1), ("ms", 1e3), ("µs", 1e6)):
        if seconds * factor >= 1:
            return f"{seconds * factor:.3g} {unit}"
    return f"{seconds * 1e9:.3g} ns"


MET = {True: "yes", False: "no", None: ""}


def natural(name):
    return [int(part) if part.isdigit() else part for part in re.split(r"(\d+)", name)]


def table(*rows):
    return [f"| {' | '.join(cells)} |" for cells in (rows[0], ["---"] * len(rows[0]), *rows[1:])]


def row(report, work):
    found = report["cases"][work]
    ours = found["sides"]["ours"]
    cells = [work, time_text(ours["median"]), f"{(ours['high'] - ours['low']) / ours['median']:.0%}"]
    for key in ("floor", "peer"):
        cells.append(f"{found[key]['median']:.2f} {found[key]['side']}" if key in found else "")
        if processor := report["cases"].get(f"{work}, processor time", {}).get(key):
            cells[-1] += f" (processor {processor['median']:.2f})"
    return cells + [str(found.get("goal", "")), MET[found.get("met")]]


def tables(report):
    """The works with goals first, then the others; what grows with its size; what is missing."""
    works = sorted((work for work, found in report["cases"].items()
                    if "ours" in found["sides"] and not work.endswith("processor time")), key=natural)
    head = ["work", "ours", "spread", "to the floor", "to the best peer", "goal", "met"]
    lines = table(head, *(row(report, work) for work in works if "goal" in report["cases"][work]))
    lines += ["", *table(head, *(row(report, work) for work in works if "goal" not in report["cases"][work]))]
    lines += ["", *table(["work at growing sizes", "slope", "goal", "met"],
                         *([name, f"{found['slope']:.2f}", str(found.get("goal", "")), MET[found.get("met")]]
                           for name, found in sorted(report["slopes"].items())))]
    missed = [work for key in ("cases", "slopes") for work, found in report[key].items() if found.get("met") is False]
    lines += ["", f"Missed: {'; '.join(missed) or 'none'}.",
              f"Not installed: {', '.join(report['missing']) or 'none'}.",
              f"Commit {report['commit']}, {report['date']}, {report['processors']} processors, load "
              f"{report['load'][0]:.1f}."]
    return "\n".join(lines)


def write_document(path, text):
    """Replaces the tables of a document, which stand between two marks."""
    begin, end = "<!-- scripts/bench writes what follows -->\n", "\n<!-- until here -->"
    head, rest = path.read_text().split(begin)
    path.write_text(head + begin + "\n" + text + "\n" + end + rest.split(end)[1])


def print_changes(old, new):
    """What has changed by more than the spread and a twentieth: ratios to the floor where there is one, else the times themselves."""
    for work, found in new["cases"].items():
        before = old["cases"].get(work)
        if before is None or "ours" not in found["sides"] or "ours" not in before["sides"]:
            continue
        is_ratio = "floor" in found and found["floor"]["side"] == before.get("floor", {}).get("side")
        was, now = (side["floor"] if is_ratio else side["sides"]["ours"] for side in (before, found))
        change = now["median"] / was["median"] - 1
        if (now["low"] > was["high"] or now["high"] < was["low"]) and abs(change) > 0.05:
            kind = f"ratio to {found['floor']['side']}" if is_ratio else "time"
            print(f"{work}: {kind} {change:+.0%}"
                  + (f" ({was['median']:.2f} to {now['median']:.2f})" if is_ratio else ""))


def json_text(report):
    """A line for each case."""
    lines = [f'"{name}": ' + ("{\n" + ",\n".join(f" {json.dumps(key)}: {json.dumps(value[key])}" for key in value) + "}"
                              if isinstance(value, dict) else json.dumps(value)) for name, value in report.items()]
    return "{\n" + ",\n".join(lines) + "\n}\n"


def check_goals(samples, build):
    """Every goal names a work and a side that exist."""
    sides = samples | {case.name: case.sides for case in programs.all_cases(build)}
    built = list((build / "Benchmarks").glob("*_benchmark"))
    is_complete = len(built) == len(list(HERE.glob("*Benchmark.cpp")))  # CMake leaves out those whose peers are missing
    for work, goal in GOALS["cases"].items():
        if goal["against"] not in sides.get(work, {}) and (work in sides or is_complete):
            sys.exit(f"bench: goals.json: there is no {work}/{goal['against']}")


def main():
    parser = argparse.ArgumentParser(prog="scripts/bench")
    parser.add_argument("--all", action="store_true", help="whole programs too")
    parser.add_argument("--quick", action="store_true", help="run everything once, to see that it works; no times")
    parser.add_argument("--filter", default=".", metavar="REGEX", help="only the works whose names match")
    parser.add_argument("--rounds", type=int, default=7, help="processes for each benchmark")
    parser.add_argument("--budget", type=float, default=20, metavar="S", help="seconds for each case of whole programs")
    parser.add_argument("--json", default="build/bench.json", metavar="FILE", help="where the results go")
    parser.add_argument("--compare", metavar="OLD.json", help="print what has changed by more than the spread")
    parser.add_argument("--charts", metavar="FOLDER", type=pathlib.Path, help="draw charts, after --all")
    parser.add_argument("--document", metavar="FILE", type=pathlib.Path, help="replace the tables in it")
    parser.add_argument("--from", dest="source", metavar="FILE", type=pathlib.Path, help="take results, run nothing")
    parser.add_argument("--build", default="build/release", type=pathlib.Path, help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    report = json.loads(arguments.source.read_text()) if arguments.source else measure(arguments)
    if report is None:
        return
    print(tables(report))
    if arguments.compare:
        print_changes(json.loads(pathlib.Path(arguments.compare).read_text()), report)
    if arguments.document:
        write_document(arguments.document, tables(report))
    if arguments.charts:
        charts.draw_all(report, series(report["cases"]), arguments.charts)


def measure(arguments):
    """Runs what the command line asks for, and returns the report, which is written as JSON; none for --quick."""
    build = arguments.build.resolve()
    samples = {}
    if arguments.quick:
        largest = "-(walk 20000|copy tree 4000|remove 5000)/"  # would take most of the time
        run_benchmarks(build, samples, largest, ["--benchmark_min_time=0"])
        for case in programs.cases(build, is_quick=True):
            run_case(case, samples, rounds=1, budget=0)
        check_goals(samples, build)
        return None
    options = ["--benchmark_min_time=0.01", "--benchmark_repetitions=3",
               "--benchmark_enable_random_interleaving=true"]
    for _ in range(arguments.rounds):
        run_benchmarks(build, samples, arguments.filter, options)
    for case in programs.cases(build) if arguments.all else []:
        if re.search(arguments.filter, case.name):
            run_case(case, samples, rounds=40, budget=arguments.budget)
    cases = {work: result(work, sides) for work, sides in samples.items()}
    commit = subprocess.run(["git", "rev-parse", "--short", "HEAD"], stdout=subprocess.PIPE, text=True).stdout.strip()
    report = {"commit": commit, "date": datetime.date.today().isoformat(), "processors": os.cpu_count(),
              "system": platform.platform(), "load": os.getloadavg(), "missing": programs.missing(),
              "cases": cases, "slopes": slopes(cases)}
    pathlib.Path(arguments.json).write_text(json_text(report))
    return report


if __name__ == "__main__":
    main()
