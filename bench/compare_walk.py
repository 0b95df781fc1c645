#!/usr/bin/python3
"""The agent's walk over a tree beside find and bfs on one thread, and what it stores beside what they print.

    bench/compare_walk.py [--rounds N] [--entries N,...] [--folder DIR] [--program FILE]

Makes trees of 10,000, 100,000 and 1,000,000 files in DIR (on a disk, by default /var/tmp) and leaves them there for the
next run. Runs alternate and start with warm caches; the ratios are medians of pairs. The walk's time includes the command
`mount`, and no start of a process, since the agent runs already. Needs find, bfs, strace. Prints
one table.
"""

import argparse
import os
import re
import resource
import shutil
import statistics
import sys
import tempfile
import time
from pathlib import Path
from subprocess import DEVNULL, PIPE, run

HERE = Path(__file__).resolve().parent
EACH = 16  # files in a folder
FIELDS = "%p\\t%P\\t%s\\t%u\\t%G\\t%TY-%Tm-%Td %TH:%TM:%TS\\t%AY-%Am-%Ad %AH:%AM:%AS\\t%y\\t%f\\n"


def tree(folder, entries):
    top = folder / f"qdv-tree-{entries}"
    if (top / "whole").exists():
        return top / "tree"
    shutil.rmtree(top, ignore_errors=True)
    for number in range(entries):
        place = top / "tree" / f"a{number // EACH % 64}" / f"b{number // EACH}"
        if number % EACH == 0:
            place.mkdir(parents=True)
        (place / f"file{number}.{('log', 'txt', 'c')[number % 3]}").write_bytes(b"x" * (number % 50))
    (top / "whole").touch()
    return top / "tree"


def timed(command, out=DEVNULL):
    """Wall clock and processor time in seconds."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    started = time.monotonic()
    run(command, check=True, stdout=out, env={**os.environ, "TZ": "UTC"})
    wall = time.monotonic() - started
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return wall, after.ru_utime + after.ru_stime - used.ru_utime - used.ru_stime


def walked(command):
    """The same as the program itself tells it."""
    words = run(command, check=True, stdout=PIPE, text=True).stdout.split()
    return float(words[4]), float(words[5])


def stored(command, file):
    with open(file, "wb") as out:
        return timed(command, out)


def paired(rounds, measures):
    """The measures in turn, each round the other way round: {name: [(wall, processor)]}."""
    results = {name: [] for name in measures}
    for measure in measures.values():
        measure()
    for number in range(rounds):
        for name in list(measures) if number % 2 == 0 else reversed(measures):
            results[name].append(measures[name]())
    return results


def ratio(results, one, other, index=0):
    return statistics.median(a[index] / b[index] for a, b in zip(results[one], results[other]))


def main():
    parser = argparse.ArgumentParser(description="Measure the agent's walk beside find and bfs.")
    parser.add_argument("--rounds", type=int, default=7, help="how many runs of each kind")
    parser.add_argument("--entries", default="10000,100000,1000000", help="files in the trees")
    parser.add_argument("--folder", type=Path, default=Path("/var/tmp"), help="where the trees are made")
    parser.add_argument("--program", type=Path, default=HERE.parent / "build/release/bench/bench_walk")
    options = parser.parse_args()
    missing = [tool for tool in ("find", "bfs", "strace") if shutil.which(tool) is None]
    if missing:
        sys.exit(f"compare_walk.py: not installed: {', '.join(missing)}")

    print("| Files | find, s | bfs, s | Walk, s | to find | to bfs, processor | Map mode to find | Stored on tmpfs, on disk: to find -printf "
          "| to bfs -printf | MiB | MiB, storing | System calls and allocations an entry |")  # fmt: skip
    print("|---|---|---|---|---|---|---|---|---|---|---|---|")
    for entries in map(int, options.entries.split(",")):
        top = str(tree(options.folder, entries))
        with tempfile.TemporaryDirectory(dir="/dev/shm") as memory, tempfile.TemporaryDirectory(dir=options.folder) as disk:
            walk = [str(options.program), top]

            def storing(folder):
                for file in Path(folder).iterdir():
                    file.unlink()
                return walked([*walk, "--store", folder])

            results = paired(options.rounds, {
                "find": lambda: timed(["find", top, "-size", "+100M"]),
                "bfs": lambda: timed(["bfs", "-j1", top, "-size", "+100M"] if bfs_takes_threads() else ["bfs", top, "-size", "+100M"]),
                "walk": lambda: walked(walk),
                "map": lambda: walked([*walk, "--map"]),
            })  # fmt: skip
            prints = paired(max(3, options.rounds // 2), {
                "find": lambda: stored(["find", top, "-printf", FIELDS], f"{memory}/find"),
                "bfs": lambda: stored(["bfs", top, "-printf", FIELDS], f"{memory}/bfs"),
                "memory": lambda: storing(memory),
                "disk": lambda: storing(disk),
            })  # fmt: skip
            figures = [run([*walk, *more], check=True, stdout=PIPE, text=True).stdout.split()
                       for more in ([], ["--store", disk])]  # fmt: skip
            traced = run(["strace", "-f", "-c", *walk], stdout=DEVNULL, stderr=PIPE, text=True).stderr
            calls = int(re.search(r"(\d+)(?:\s+\d+)?\s+total$", traced, re.M)[1])
        found = int(figures[0][0])
        wall = {name: statistics.median(run[0] for run in runs) for name, runs in results.items()}
        print(f"| {entries:,} | {wall['find']:.3f} | {wall['bfs']:.3f} | {wall['walk']:.3f} | {ratio(results, 'walk', 'find'):.2f} "
              f"| {ratio(results, 'walk', 'bfs', 1):.2f} | {ratio(results, 'map', 'find'):.2f} "
              f"| {ratio(prints, 'memory', 'find'):.2f}, {ratio(prints, 'disk', 'find'):.2f} "
              f"| {ratio(prints, 'memory', 'bfs'):.2f}, {ratio(prints, 'disk', 'bfs'):.2f} | {int(figures[0][3]) / 1024:.1f} "
              f"| {int(figures[1][3]) / 1024:.1f} | {calls / found:.2f}, {int(figures[0][2]) / found:.2f} |")  # fmt: skip


def bfs_takes_threads():
    return run(["bfs", "-j1", "-maxdepth", "0", "/"], stdout=DEVNULL, stderr=DEVNULL).returncode == 0


if __name__ == "__main__":
    main()
