#!/usr/bin/python3
"""Searches of the staged agent, over the wire, beside find, bfs and du.

    bench/compare_search.py [--rounds N] [--entries N] [--cold] [--only ROW,...] [--stage DIR] [--folder DIR]

The agent's time runs from the request to the call that brings the summary; its processor time includes the command
`mount`. Runs alternate and start with warm caches, or with dropped ones; ratios are medians of pairs. The trees of
compare_walk.py are made in DIR and left there. That the agent finds what find does is checked. Needs find, bfs, du,
strace, and root for the mounts and for dropping caches. Prints one table.
"""

import argparse
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
import xml.etree.ElementTree as ET
from contextlib import contextmanager
from pathlib import Path

import compare_http as http
import compare_walk as walk
from harness import Agent, ManagementServer, Tree, envelope, post_request, wait_until

LARGE = 4096  # bytes; of the trees only their directories of many subdirectories are larger
NAME = "999.log"
MOUNTS = 20
MOUNT_MANY = f"""
top=$1; shift
for n in $(seq {MOUNTS}); do mkdir "$top/m$n" && mount -t tmpfs none "$top/m$n" || exit; done
exec "$@"
"""
PAGE = 100
ALONE = "agent on one processor"


def predicate(value, operator, operand):
    return f'<Condition><Predicate valueName="{value}" operator="{operator}" operand1="{operand}"/></Condition>'


BY_SIZE = predicate("size", "greaterThan", LARGE)
BY_NAME = predicate("name", "endsWith", NAME)
EVERY = predicate("size", "greaterThanOrEqualTo", 0)
FILES = predicate("size", "lessThan", LARGE)
DIRECTORIES = predicate("isdir", "equal", "true")


class Searcher:
    """An agent, with a server that takes its calls."""

    def __init__(self, stage, before=()):
        self.server, self.tree = ManagementServer(), Tree(stage)
        self.agent = Agent(self.tree, verbose=False, server=self.server, before=before).wait_ready()
        self.number = 0

    def close(self):
        self.agent.tools_complain = True
        trouble = self.agent.finish()
        self.tree.remove()
        self.server.stop()
        if trouble or self.server.faults:
            sys.exit(f"compare_search.py: {trouble} {self.server.faults}")

    def ask(self, method, parameters):
        outcome = self.agent.outcome(method, parameters, uuid="bench")
        if outcome != http.SUCCESS:
            sys.exit(f"compare_search.py: {method} answered {outcome}")

    def search(self, condition, *volumes):
        """Seconds of wall clock and processor, and the number of hits. The files stay."""
        self.number += 1
        listed = "".join(f'<Volume name="{volume}" nxId="1"/>' for volume in volumes)
        used, seen, started = self.cpu_seconds(), len(self.server.calls), time.monotonic()
        self.ask(
            "SearchFSOs",
            f"{condition}<Token>{self.token()}</Token><AccountID>1</AccountID><Volumes>{listed}</Volumes>",
        )
        while not (summary := [call for call in self.server.calls[seen:] if call.method == "SearchResultsSummary"]):
            time.sleep(0.0005)
        wall = time.monotonic() - started
        used = self.cpu_seconds() - used
        told = summary[0].element.findall(".//Volume")
        if len(told) != len(set(volumes)):
            sys.exit("compare_search.py: the summary lacks volumes")
        return wall, used, sum(int(each.get(name, 0)) for each in told for name in ("numFilesHit", "numDirsHit"))

    def forget(self):
        """Deletes what the last search stored, once the agent has done with it."""
        token = f"<Token>{self.token()}</Token>"
        wait_until(
            lambda: self.agent.outcome("DeleteSearches", token, uuid="bench") == http.SUCCESS, "the search to be idle"
        )

    def search_and_forget(self, condition, *volumes):
        result = self.search(condition, *volumes)
        self.forget()
        return result

    def page(self, volume, start):
        """Milliseconds of one page of the last search."""
        request = post_request(envelope(
            "GetFSOSearchResults",
            f"<Token>{self.token()}</Token><Volume>{volume}</Volume>"
            f"<StartIndex>{start}</StartIndex><NumResults>{PAGE}</NumResults>",
            request={"uuid": "bench"},
        ))  # fmt: skip
        started = time.monotonic()
        reply = self.agent.exchange(request)
        taken = time.monotonic() - started
        if len(ET.fromstring(reply.body).findall(".//FSO")) != PAGE:
            sys.exit(f"compare_search.py: no full page at {start}")
        return (taken * 1000,)

    def token(self):
        return f"bench{self.number}"

    def cpu_seconds(self):
        fields = Path(f"/proc/{self.agent.pid}/stat").read_text().rpartition(")")[2].split()
        return sum(map(int, fields[11:15])) / os.sysconf("SC_CLK_TCK")


@contextmanager
def searcher(stage, before=()):
    running = Searcher(stage, before)
    try:
        yield running
    finally:
        running.close()


@contextmanager
def searchers(stage):
    """An agent, and one that has a single processor, on which it reads nothing ahead."""
    with searcher(stage) as agent, searcher(stage, ["taskset", "-c", "0"]) as alone:
        yield agent, alone


class Bench:
    def __init__(self, options):
        self.options, self.stage = options, options.stage.resolve()
        self.top = str(walk.tree(options.folder, options.entries))
        self.has_threads = walk.bfs_takes_threads()
        print("| Work | Beside | Agent, s | Beside it, s | Ratio | Processor, ratio | Aim |\n|---|---|---|---|---|---|---|")

    def paired(self, measures):
        def cold(measure):
            subprocess.run(["sync"], check=True)
            for _ in range(2):  # what an inode keeps goes only after the inode
                Path("/proc/sys/vm/drop_caches").write_text("3")
            return measure()

        if self.options.cold:
            measures = {name: lambda measure=measure: cold(measure) for name, measure in measures.items()}
        return walk.paired(self.options.rounds, measures)

    def rows(self, work, results, aims):
        """A line for each program beside which the agent ran."""
        for other, aim in {**aims, ALONE: ""}.items():
            ours, theirs = (statistics.median(run[0] for run in results[name]) for name in ("agent", other))
            print(f"| {work} | {other} | {ours:.3f} | {theirs:.3f} | {walk.ratio(results, 'agent', other):.2f} "
                  f"| {walk.ratio(results, 'agent', other, 1):.2f} | {aim} |", flush=True)  # fmt: skip

    def few(self, work, condition, test, aims):
        found = subprocess.run(["find", self.top, "-mindepth", "1", *test], check=True, capture_output=True).stdout
        expected = len(found.split())
        with searchers(self.stage) as (agent, alone):
            hits = agent.search_and_forget(condition, self.top)[2]
            if hits != expected:
                sys.exit(f"compare_search.py: {hits} hits, find has {expected}")
            measures = {
                "agent": lambda: agent.search_and_forget(condition, self.top),
                ALONE: lambda: alone.search_and_forget(condition, self.top),
            }
            words = " ".join(test[:1])
            measures[f"find {words}"] = lambda: walk.timed(["find", self.top, *test])
            measures[f"bfs {words}"] = lambda: walk.timed(["bfs", self.top, *test])
            if self.has_threads:
                measures[f"bfs -j1 {words}"] = lambda: walk.timed(["bfs", "-j1", self.top, *test])
            results = self.paired(measures)
        self.rows(f"{work}, {hits:,} of {self.options.entries:,} files", results, aims)

    def size(self):
        self.few("by size", BY_SIZE, ["-size", f"+{LARGE}c"],
                 {"find -size": "<= 0.8, processor <= 1.2", "bfs -size": "<= 0.8"})  # fmt: skip

    def name(self):
        self.few("by name", BY_NAME, ["-name", f"*{NAME}"], {"find -name": "<= 2.5", "bfs -name": ""})

    def every(self):
        with searchers(self.stage) as (agent, alone), tempfile.TemporaryDirectory(dir=agent.tree.root) as disk:
            results = self.paired({
                "agent": lambda: agent.search_and_forget(EVERY, self.top),
                ALONE: lambda: alone.search_and_forget(EVERY, self.top),
                "find -printf": lambda: walk.stored(["find", self.top, "-printf", walk.FIELDS], f"{disk}/find"),
                "bfs -printf": lambda: walk.stored(["bfs", self.top, "-printf", walk.FIELDS], f"{disk}/bfs"),
            })  # fmt: skip
            with open(f"{disk}/find", "rb") as lines:
                printed = sum(1 for _ in lines) - 1  # without the root
        if any(run[2] != printed for run in results["agent"]):
            sys.exit(f"compare_search.py: find prints {printed}, the agent has {results['agent'][0][2]}")
        self.rows(f"every one of {printed:,} entries a hit, stored", results,
                  {"find -printf": "<= 0.3", "bfs -printf": "<= 1.0"})  # fmt: skip

    def map(self):
        with searchers(self.stage) as (agent, alone):
            results = self.paired({
                "agent": lambda: agent.search_and_forget(DIRECTORIES, self.top),
                ALONE: lambda: alone.search_and_forget(DIRECTORIES, self.top),
                "du": lambda: walk.timed(["du", self.top]),
            })  # fmt: skip
        self.rows(f"map mode, {results['agent'][0][2]:,} directories", results, {"du": "<= 1.2"})

    def empty(self):
        """Empty folders on a machine of many mounts."""
        with http.scratch() as directory:
            folders = [directory / f"empty{number}" for number in range(MOUNTS)]
            for folder in folders:
                folder.mkdir()
            with searcher(self.stage, ["unshare", "-m", "sh", "-c", MOUNT_MANY, "sh", str(directory)]) as agent:
                mounts = Path(f"/proc/{agent.agent.pid}/mounts").read_text().count(str(directory))
                if mounts != MOUNTS:
                    sys.exit(f"compare_search.py: {mounts} mounts")
                results = walk.paired(max(21, self.options.rounds), {
                    "agent": lambda: agent.search_and_forget(EVERY, folders[0]),
                    "find": lambda: walk.timed(["find", folders[0]]),
                    "many": lambda: agent.search_and_forget(EVERY, *folders),
                })  # fmt: skip
                started = self.programs(agent, folders[0])
        one, many, find = (statistics.median(run[0] for run in results[name]) * 1000 for name in ("agent", "many", "find"))
        print(f"| an empty folder, {MOUNTS} mounts; one search of {MOUNTS} such folders; starts {started} | `find` "
              f"| {one:.1f} ms; {many / MOUNTS:.1f} ms a folder | {find:.1f} ms | {walk.ratio(results, 'agent', 'find'):.2f} | "
              f"| < 15 ms a volume, one `mount` |", flush=True)  # fmt: skip

    @staticmethod
    def programs(agent, folder):
        """What is executed during one search."""
        with tempfile.NamedTemporaryFile("r") as trace:
            tracer = subprocess.Popen(
                ["strace", "-f", "-q", "-e", "trace=execve", "-o", trace.name, "-p", str(agent.agent.pid)],
                stderr=subprocess.DEVNULL,
            )
            tasks = Path(f"/proc/{agent.agent.pid}/task")
            wait_until(
                lambda: all("TracerPid:\t0" not in (t / "status").read_text() for t in tasks.iterdir()),
                "strace to attach",
            )
            agent.search_and_forget(EVERY, folder)
            tracer.terminate()
            tracer.wait()
            names = re.findall(r'execve\("[^"]*", \["([^"]*)"', trace.read())
            return ", ".join(f"`{name}`" for name in names) or "nothing"

    def pages(self):
        with searcher(self.stage) as agent:
            hits = agent.search(FILES, self.top)[2]  # records of one length, wherever they are
            places = {"start": 0, "middle": hits // 2, "end": hits - PAGE}
            results = walk.paired(max(101, self.options.rounds), {
                place: lambda start=start: agent.page(self.top, start) for place, start in places.items()
            })  # fmt: skip
            agent.forget()
        figures = ", ".join(f"{statistics.median(run[0] for run in results[place]):.2f}" for place in places)
        ratios = ", ".join(f"{walk.ratio(results, place, 'start'):.2f}" for place in ("middle", "end"))
        print(f"| a page of {PAGE} at start, middle, end of {hits:,} hits | start | {figures} ms | | {ratios} | "
              f"| <= 3 ms, the same |", flush=True)  # fmt: skip

    def memory(self):
        sizes = [entries for entries in (10_000, 100_000, 1_000_000) if entries <= self.options.entries]
        figures = []
        for entries in sizes:
            top = str(walk.tree(self.options.folder, entries))
            with searcher(self.stage) as agent:
                fresh = agent.agent.rss()
                hits = agent.search_and_forget(EVERY, top)[2]
                largest = agent.agent.memory("VmHWM")
            sizes_told = (size / 2**20 for size in (fresh, largest, largest - 4 * hits))
            figures.append(f"{entries:,} files: {', '.join(f'{size:.1f}' for size in sizes_told)}")
        print(f"| resident, MiB: fresh, at most, the same without 4 bytes a hit | | {'; '.join(figures)} | | | | <= 32 |", flush=True)


def main():
    rows = ("size", "name", "every", "map", "empty", "pages", "memory")
    parser = argparse.ArgumentParser(description="Measure searches beside find, bfs and du.")
    parser.add_argument("--rounds", type=int, default=5, help="how many runs of each kind")
    parser.add_argument("--entries", type=int, default=1_000_000, help="files in the tree")
    parser.add_argument("--cold", action="store_true", help="drop the caches before each run")
    parser.add_argument("--only", default=",".join(rows), help="which rows")
    parser.add_argument("--stage", type=Path, default=http.HERE.parent / "stage", help="the staged tree")
    parser.add_argument("--folder", type=Path, default=Path("/var/tmp"), help="where the trees are made")
    options = parser.parse_args()
    needed = ("find", "bfs", "du", "strace", "taskset", "unshare")
    missing = [tool for tool in needed if shutil.which(tool) is None]
    if missing:
        sys.exit(f"compare_search.py: not installed: {', '.join(missing)}")
    bench = Bench(options)
    for row in options.only.split(","):
        getattr(bench, row)()


if __name__ == "__main__":
    main()
