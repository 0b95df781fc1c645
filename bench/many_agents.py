#!/usr/bin/python3
"""Many agents in one process table, and one server for all of them.

    bench/many_agents.py [--agents N] [--idle SECONDS] [--stage DIR]

Each agent has a tree of its own, with the program linked into it, and a port; `qdvctl serve` is the server of all.
First they idle; then each is asked to ping its server, and to audit its storage and bring the result. Fewer are
started if memory runs short. Prints one table.
"""

import argparse
import os
import re
import resource
import shutil
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "tests" / "system"))
from harness import SUCCESS, Agent, Port, Tree, environment, wait_until  # noqa: E402

LEAST_FREE = 1 << 30  # bytes that are left to others
AT_ONCE = 4


def free_memory():
    return int(re.search(r"^MemAvailable:\s+(\d+)", Path("/proc/meminfo").read_text(), re.M)[1]) * 1024


def memory(pid):
    """Bytes: resident, its share of what is shared, of its own, and of that what stands for no file."""
    text = Path(f"/proc/{pid}/smaps_rollup").read_text()
    value = {name: int(kib) * 1024 for name, kib in re.findall(r"^(\w+):\s+(\d+) kB", text, re.M)}
    return value["Rss"], value["Pss"], value["Private_Clean"] + value["Private_Dirty"], value["Anonymous"]


def idle_seconds(pid):
    """Processor time to the nanosecond, of all threads that live; while idle none comes or goes."""
    tasks = Path(f"/proc/{pid}/task").iterdir()
    return sum(int((task / "schedstat").read_text().split()[0]) for task in tasks) / 1e9


def cpu_seconds(pid):
    """Also of threads that have ended, to the clock tick."""
    fields = Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


class Server:
    """`qdvctl serve`, with what it shows in a file."""

    def __init__(self, stage, folder):
        self.held = [Port(), Port()]
        self.plain_port, self.tls_port = (port.number for port in self.held)
        self.shown = folder / "shown"
        with open(self.shown, "wb") as shown:
            self.process = subprocess.Popen(
                [stage / "bin" / "qdvctl", "serve", "--json", "--port", str(self.plain_port), "--tls-port", str(self.tls_port)],
                stdout=shown, stderr=subprocess.DEVNULL, env=environment(), start_new_session=True,
            )  # fmt: skip
        wait_until(lambda: all(port.is_listened_to() for port in self.held), "the server")
        self.pid = self.process.pid

    def calls(self, method):
        return self.shown.read_bytes().count(b'"' + method + b'"')

    def stop(self):
        self.process.terminate()
        self.process.wait()
        for port in self.held:
            port.release()


def start(options, stage, server):
    """Starts the agents, a few at a time, and returns them when all are at rest."""
    agents = []
    try:
        while len(agents) < options.agents and free_memory() > LEAST_FREE:
            some = [Agent(Tree(stage, copy=os.link), verbose=False, server=server) for _ in range(10)]
            agents += some
            for agent in some:
                agent.wait_ready()
        wait_until(lambda: server.calls(b"GetSSLState") == len(agents), "all agents to have asked their server")
        for agent in agents:
            agent.wait_rest()
    except BaseException:
        stop(agents)
        raise
    return agents


def stop(agents):
    for agent in agents:
        if agent.is_running():
            agent.send_signal(15)
    for agent in agents:
        agent.tools_complain = True
        trouble = agent.finish()
        agent.tree.remove()
        if trouble:
            sys.exit(f"many_agents.py: {trouble}")


def idle(agents, seconds):
    """Processor seconds and wake-ups of all agents together."""
    before = [(idle_seconds(agent.pid), agent.context_switches()) for agent in agents]
    time.sleep(seconds)
    after = [(idle_seconds(agent.pid), agent.context_switches()) for agent in agents]
    return tuple(sum(x[at] for x in after) - sum(x[at] for x in before) for at in (0, 1))


def ask(agents, server, method, call):
    """Wall-clock and the server's processor seconds for one call of every agent."""
    begun, used, seen = time.monotonic(), cpu_seconds(server.pid), server.calls(call)

    def send(agent):
        outcome = agent.outcome(method, uuid=f"agent{agent.pid}")
        assert outcome == SUCCESS, (method, outcome)

    with ThreadPoolExecutor(AT_ONCE) as pool:
        list(pool.map(send, agents))
    wait_until(lambda: server.calls(call) - seen == len(agents), f"a {call} of every agent")
    return time.monotonic() - begun, cpu_seconds(server.pid) - used


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--agents", type=int, default=50, help="rounded up to tens")
    parser.add_argument("--idle", type=float, default=60)
    parser.add_argument("--stage", type=Path, default=HERE.parent / "stage")
    options = parser.parse_args()
    most = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    with tempfile.TemporaryDirectory(prefix="qdv-many-") as folder:
        stage = Path(folder) / "stage"  # of the same file system as the trees
        shutil.copytree(options.stage.resolve(), stage, symlinks=True)
        os.sync()  # pages of a file that wait to be written would count as the agents' own
        server = Server(stage, Path(folder))
        try:
            free, fresh = free_memory(), memory(server.pid)[0]
            begun = time.monotonic()
            agents = start(options, stage, server)
            try:
                started, taken = time.monotonic() - begun, free - free_memory()
                used, wakeups = idle(agents, options.idle)
                sizes = [memory(agent.pid) for agent in agents]
                asked = {name: ask(agents, server, *name) for name in
                         (("PingServer", b"Ping"), ("GetStorageSystem", b"GetStorageSystemResults"))}  # fmt: skip
                served = memory(server.pid)
                threads = int(re.search(r"^Threads:\s+(\d+)", Path(f"/proc/{server.pid}/status").read_text(), re.M)[1])
            finally:
                stop(agents)
        finally:
            server.stop()
    count = len(agents)
    print("| | Measured |\n|---|---|")
    print(f"| agents, started and at rest after | {count}, {started:.0f} s |")
    print(f"| processor time of all in {options.idle:.0f} idle seconds, and how often a thread woke | {used * 1000:.1f} ms, {wakeups} |")
    means = [sum(size[at] for size in sizes) / count / 2**20 for at in range(4)]
    print("| an agent's memory: resident, share, private, of that anonymous, MiB | {:.1f}, {:.2f}, {:.2f}, {:.2f} |".format(*means))
    print(f"| memory that the machine has less, for each, MiB | {taken / count / 2**20:.2f} |")
    for (method, call), (wall, cpu) in asked.items():
        name = call.decode()
        print(f"| `qdvctl serve`, a {name} of each, by {method}: all, processor time a call | {wall:.1f} s, {cpu / count * 1000:.2f} ms |")
    print(f"| `qdvctl serve`, resident before and after, MiB; threads | {fresh / 2**20:.1f}, {served[0] / 2**20:.1f}; {threads} |")


if __name__ == "__main__":
    main()
