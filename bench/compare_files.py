#!/usr/bin/python3
"""GetFSOs of the staged agent beside `ls -la`, and GetFSOBatchStats beside `du -s`.

    bench/compare_files.py [--rounds N] [--stage DIR] [--folder DIR]

One folder of 2,400 files, and a tree of 200,000 that compare_walk.py makes and leaves in DIR, warm, runs alternating. The
agent's time runs from the request to the reply, or to the call that brings the totals. Prints one table.
"""

import argparse
import statistics
import sys
import time
from pathlib import Path
from subprocess import DEVNULL, run

import compare_http as http
import compare_walk as walk
from harness import Agent, ManagementServer, Tree


def timed(action):
    started = time.monotonic()
    action()
    return (time.monotonic() - started,)


def require_success(outcome):
    if outcome != http.SUCCESS:
        sys.exit(f"compare_files.py: the agent answered {outcome}")


def count(agent, server, top):
    before = len(server.calls)
    require_success(agent.outcome("GetFSOBatchStats", f'<FSO path="{top}"/>', uuid="bench"))
    while len(server.calls) == before:
        time.sleep(0.0005)


def main():
    parser = argparse.ArgumentParser(description="Measure the file methods beside ls and du.")
    parser.add_argument("--rounds", type=int, default=7, help="how many runs of each kind")
    parser.add_argument("--stage", type=Path, default=http.HERE.parent / "stage", help="the staged tree")
    parser.add_argument("--folder", type=Path, default=Path("/var/tmp"), help="where the trees are made")
    options = parser.parse_args()
    top = walk.tree(options.folder, 200_000)
    with http.scratch() as directory:
        for number in range(2400):
            (directory / f"file{number}").write_bytes(b"x" * (number % 50))
        server, tree = ManagementServer(), Tree(options.stage.resolve())
        agent = Agent(tree, verbose=False, server=server)
        try:
            agent.wait_ready()
            path = f"<Path>{directory}</Path>"
            listing, by_ls, totals, by_du = http.alternate(
                options.rounds,
                lambda: timed(lambda: require_success(agent.outcome("GetFSOs", path, uuid="bench"))),
                lambda: timed(lambda: run(["ls", "-la", directory], stdout=DEVNULL, check=True)),
                lambda: timed(lambda: count(agent, server, top)),
                lambda: timed(lambda: run(["du", "-s", top], stdout=DEVNULL, check=True)),
            )
        finally:
            agent.tools_complain = True
            agent.finish()
            tree.remove()
            server.down()
    print("| | Agent, ms | Beside it, ms | Ratio | Aim |\n|---|---|---|---|---|")
    for title, ours, theirs, aim in (
        ("GetFSOs of 2,400 files, `ls -la`", listing, by_ls, "<= 10"),
        ("GetFSOBatchStats of 200,000 files, `du -s`", totals, by_du, "<= 1.2"),
    ):
        median = [statistics.median(each[0] for each in runs) * 1000 for runs in (ours, theirs)]
        print(f"| {title} | {median[0]:.1f} | {median[1]:.1f} | {http.ratio(ours, theirs):.2f} | {aim} |")


if __name__ == "__main__":
    main()
