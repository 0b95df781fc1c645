#!/usr/bin/python3
"""GetStorageSystem of the staged agent beside the commands that it runs, each once by hand and with a shell of its own.

    bench/compare_storage.py [--rounds N] [--stage DIR]

The machines are made up (tests/system/harness/world.py): one of four drives, and one of 200 drives, 400 partitions and
100 volumes. Their tools cost next to nothing, or 20 ms more. Time runs from the request to the result call that the
agent makes to its server. Needs root. Prints one table.
"""

import argparse
import json
import os
import statistics
import sys
import time
from pathlib import Path
from subprocess import PIPE, run

import compare_http as http
from harness import Agent, Drive, Group, ManagementServer, Mount, Partition, Tree, World, large_world

SLOW = 0.02
RESULT = "GetStorageSystemResults"  # the agent has calls of its own at its start
# Runs in the world: each command of standard input once, and tells how long all of them took.
BY_HAND = """
import json, subprocess, sys, time
commands = json.load(sys.stdin)
started = time.monotonic()
for command in commands:
    subprocess.run(["/bin/sh", "-c", command], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
print(time.monotonic() - started)
"""


def small_world(top):
    folder = top / "mnt"
    folder.mkdir(parents=True)
    drives = [
        Drive(f"/dev/sd{name}", 1000, [Partition(1, 1, 100), Partition(2, 101, 100, "8e", group="vg")],
              address=(0, number, 0), maker="MAKER", model="DISK", serial=f"S{number}")
        for number, name in enumerate("abcd")
    ]  # fmt: skip
    groups = [Group("vg", 400, [("v0", "linear"), ("v1", "striped")])]
    return World(top / "world", drives, groups=groups, mounts=[Mount("/dev/sda1", str(folder))])


def slow_down(world):
    for tool in world.bin.iterdir():
        tool.write_text(tool.read_text().replace("#!/bin/sh\n", f"#!/bin/sh\n/bin/sleep {SLOW}\n"))


def audit_seconds(agent, server):
    before = len(server.of(RESULT))
    started = time.monotonic()
    if agent.call("GetStorageSystem", uuid="bench").outcome != http.SUCCESS:
        sys.exit("compare_storage.py: GetStorageSystem was refused")
    while len(server.of(RESULT)) == before:
        time.sleep(0.0005)
    return (time.monotonic() - started,)


def by_hand_seconds(world, commands):
    done = run(
        [*world.options["before"], sys.executable, "-c", BY_HAND], check=True, stdout=PIPE, text=True,
        input=json.dumps(commands), env={**os.environ, **world.options["more"]},
    )  # fmt: skip
    return (float(done.stdout),)


def measure(title, world, stage, rounds):
    server, tree = ManagementServer(), Tree(stage)
    agent = Agent(tree, verbose=False, server=server, **world.options)
    try:
        agent.wait_ready()
        memory = [agent.memory("VmRSS")]
        world.forget_calls()
        audit_seconds(agent, server)
        calls = world.calls()
        commands = sorted(set(calls))
        if not commands:
            sys.exit("compare_storage.py: the audit ran no command of its machine")
        audits, by_hand = http.alternate(
            rounds, lambda: audit_seconds(agent, server), lambda: by_hand_seconds(world, commands)
        )
        agent.wait_rest()
        memory += [agent.memory("VmHWM"), agent.memory("VmRSS")]
    finally:
        agent.tools_complain = True
        trouble = agent.finish()
        tree.remove()
        server.down()
        if trouble:
            print(f"compare_storage.py: {trouble}", file=sys.stderr)
    median = [statistics.median(run[0] for run in runs) * 1000 for runs in (audits, by_hand)]
    mib = " / ".join(f"{size / 2**20:.1f}" for size in memory)
    print(f"| {title} | {median[0]:.0f} | {median[1]:.0f} | {http.ratio(audits, by_hand):.2f} "
          f"| {len(calls)} of {len(commands)} | {mib} |")  # fmt: skip


def main():
    parser = argparse.ArgumentParser(description="Measure GetStorageSystem beside the commands that it runs.")
    parser.add_argument("--rounds", type=int, default=5, help="how many runs of each kind")
    parser.add_argument("--stage", type=Path, default=http.HERE.parent / "stage", help="the staged tree")
    options = parser.parse_args()
    print("| | Audit, ms | By hand, ms | Ratio | Processes, of distinct commands | MiB before / peak / after |")
    print("|---|---|---|---|---|---|")
    with http.scratch() as directory:
        for size, make in (("4 drives", small_world), ("200 drives", large_world)):
            for kind, slower in (("tools of no cost", False), ("tools of 20 ms", True)):
                world = make(directory / "-".join((*size.split(), "slow" if slower else "fast")))
                if slower:
                    slow_down(world)
                rounds = options.rounds if size == "4 drives" else max(2, options.rounds // 2)
                measure(f"{size}, {kind}", world, options.stage.resolve(), rounds)


if __name__ == "__main__":
    main()
