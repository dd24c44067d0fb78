#!/usr/bin/env python3
"""Runs the benchmarks of the library and of its peers in turns and reports them side by side.

The peers have a program of their own, since libVq replaces `operator new` for its whole process. A
round takes one workload after the other and runs ours and the peers directly behind each other,
the next round in the other order. See docs/performance.md for what the columns mean.
"""

import argparse
import os
import pathlib
import platform
import re
import subprocess
import sys
import tempfile

import render
import results as joined

HERE = pathlib.Path(__file__).parent

# What an application does most, or within its inner loops: workload, size and the operations to
# count, of which some do a thousand steps each.
HOTTEST = [
    ("handle.copy", 1, 40000),
    ("handle.assign", 1, 40000),
    ("string.copy", 20, 40000),
    ("string.construct", 20, 40000),
    ("string.push_back", 1000, 400),
    ("string.append", 1000, 400),
    ("new.delete", 64, 40000),
    ("lock.enter", 1, 40000),
    ("gate.read", 1, 40000),
    ("registry.find", 1000, 40000),
]


def options():
    parser = argparse.ArgumentParser(prog="./dev bench", description=__doc__.split("\n\n")[0])
    parser.add_argument("filter", nargs="?", default=".", help="pattern within workload/peer/size")
    parser.add_argument("--rounds", type=int, default=5, help="default 5")
    parser.add_argument("--min-time", default="0.03", help="seconds per benchmark and round (0.03)")
    parser.add_argument("--no-counts", action="store_true", help="no allocs, atomics, instructions")
    parser.add_argument("--no-instructions", action="store_true", help="do not run Valgrind")
    parser.add_argument("--markdown", metavar="FILE", help="put the tables between FILE's marks")
    parser.add_argument("--chart", metavar="FILE", help="draw FILE, an SVG")
    parser.add_argument("--programs", metavar="FOLDER", type=pathlib.Path,
                        default=HERE.parent / "build/release/bench")  # fmt: skip
    return parser.parse_args()


def output_of(command, **extra):
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True, env=os.environ | extra)  # fmt: skip
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}\n{done.stderr}ended with {done.returncode}")
    return done


def names_in(program, pattern):
    """{workload: [name]} of the program's benchmarks that the pattern selects."""
    listed = output_of([program, "--benchmark_list_tests", f"--benchmark_filter={pattern}"]).stdout
    names = {}
    for name in listed.splitlines():
        names.setdefault(name.split("/")[0], []).append(name)
    return names


def exactly(names):
    escaped = (name.replace(".", "[.]").replace("+", "[+]") for name in names)
    return f"^({'|'.join(escaped)})$"


def run_rounds(programs, arguments, results):
    names = {program: names_in(program, arguments.filter) for program in programs}
    workloads = sorted(set().union(*names.values()))
    if not workloads:
        sys.exit(f"No benchmark is named like {arguments.filter}")
    for number in range(arguments.rounds):
        for workload in workloads:
            progress(f"round {number + 1} of {arguments.rounds}: {workload}")
            for program in programs if number % 2 == 0 else reversed(programs):
                if workload in names[program]:
                    run_once(program, names[program][workload], arguments.min_time, results)
    progress("")


def run_once(program, names, min_time, results):
    command = [program, f"--benchmark_filter={exactly(names)}", "--benchmark_format=json"]
    results.add_run(output_of(command + [f"--benchmark_min_time={min_time}"]).stdout)


def progress(text):
    if sys.stderr.isatty():
        print(f"\r\033[K{text}", end="", file=sys.stderr, flush=True)


def count(programs, pattern, results):
    """Allocations and atomic operations of ours, from the program whose platform counts."""
    progress("counting allocations and atomic operations")
    results.add_counts(output_of([programs / "vq_bench_counts", pattern]).stdout)
    progress("")


def instructions(program, results):
    """Instructions per operation: N and 2 N of them differ by N, the rest is the same. Both numbers
    have as many digits, since the program works on each of them."""
    counted = {}
    for workload, size, n in HOTTEST:
        if "ours" not in results.times.get((workload, size), {}):
            continue
        progress(f"counting instructions: {workload}/{size}")
        once, twice = (instructions_of(program, f"{workload}/ours/{size}", i) for i in (n, 2 * n))
        counted[workload, size] = (twice - once) / n
    progress("")
    return counted


def instructions_of(program, name, iterations):
    with tempfile.TemporaryDirectory() as folder:
        command = ["valgrind", "--tool=callgrind", f"--callgrind-out-file={folder}/out", program]
        name = f"{name}/iterations:{iterations}"
        done = output_of(command + [f"--benchmark_filter={exactly([name])}"],
                         VQ_BENCH_ITERATIONS=str(iterations))  # fmt: skip
    return int(re.search(r"Collected : (\d+)", done.stderr).group(1))


def machine():
    cpu = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    compiler = output_of(["g++", "--version"]).stdout.splitlines()[0]
    return (
        f"{cpu.group(1) if cpu else platform.machine()}, {os.cpu_count()} processors, "
        f"Linux {platform.release().split('-')[0]}, glibc {platform.libc_ver()[1]}, {compiler}."
    )


def main():
    arguments = options()
    with open(HERE / "targets.csv", encoding="utf-8") as lines:
        targets = joined.read_targets(lines)
    ours, peers = arguments.programs / "vq_bench", arguments.programs / "vq_bench_peers"
    results = joined.Results()
    run_rounds([ours, peers], arguments, results)
    counted = {}
    if not arguments.no_counts:
        count(arguments.programs, arguments.filter, results)
    if not (arguments.no_counts or arguments.no_instructions):
        counted = instructions(ours, results)

    rows = joined.rows_of(results, targets)
    # With a filter most targets have no row, which says nothing.
    unmeasured = joined.targets_without_rows(results, targets) if arguments.filter == "." else []
    print(render.text(results, rows, unmeasured, counted))
    if arguments.markdown:
        page = pathlib.Path(arguments.markdown)
        generated = render.markdown(results, rows, unmeasured, counted, machine())
        old = page.read_text(encoding="utf-8") if page.exists() else ""
        page.write_text(render.put_between_marks(old, generated), encoding="utf-8")
    if arguments.chart:
        pathlib.Path(arguments.chart).write_text(render.chart(rows), encoding="utf-8")


if __name__ == "__main__":
    main()
