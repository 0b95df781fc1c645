#!/usr/bin/python3
"""A day of requests in minutes: 50 clients of every kind against the staged agent, each answer checked.

    bench/load_day.py [--seconds N | --requests N] [--stage DIR]

Clients keep their connections, plain or TLS, for some requests, or break them, send rubbish or byte by byte. They
ping, list, audit, search, read and delete what was found, and, as root, run actions as a user made for it. After a
tenth, and at the end, all of them rest while memory, descriptors and threads are looked at. Exit status 1 for a wrong
answer, or if the agent was left with more. Prints one table.
"""

import argparse
import multiprocessing
import os
import random
import re
import resource
import sys
import tempfile
import threading
import time
import xml.etree.ElementTree as ET
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "tests" / "system"))
from harness import (  # noqa: E402
    FAILED, FORM, GET11, PATIENCE, SUCCESS, Agent, Connection, ManagementServer, Tree, anonymous_tls, envelope, form,
    parse_answer, post_request, wait_until,
)  # fmt: skip
from test_actions import User, action, parameter, scriptlets  # noqa: E402

PROCESSES, CLIENTS = 5, 10  # clients in each process
REQUESTS_OF_CONNECTION = 40  # at most; a connection has a thread of the agent's, of which there are 15
FILES = 20
MOST_GROWTH = 1 << 20
TOO_MANY = ("error", "maximum searches in progress")
ONE_AT_A_TIME = ("error", "invalid user or password Authorization error")
RUBBISH = (
    b"", b"GET /\r\n", b"rubbish that is none\r\n\r\n", b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03" + b"x" * 50,
    b"POST /nxCommand HTTP/1.0\r\nContent-Length: 100\r\n\r\n<x",
)  # fmt: skip


class Client:
    """One client: `kinds` are what it does, by how often of 10,000 steps."""

    def __init__(self, port, folder, user, name, counts):
        self.port, self.folder, self.user, self.name, self.counts = port, folder, user, name, counts
        self.chance = random.Random(name)
        self.connection, self.left, self.tls = None, 0, None
        self.searches = 0
        self.kinds = {
            self.get: 3000, self.ping: 4000, self.ping_as_form: 1500, self.broken_xml: 500, self.list_folder: 500,
            self.rubbish: 300, self.reset: 150, self.drip: 20, self.ping_server: 30, self.search: 15,
            self.host_summary: 3, self.drives: 3, self.storage: 2,
        } | ({self.act: 2} if user else {})  # fmt: skip

    def run(self, is_over):
        names, weights = list(self.kinds), list(self.kinds.values())
        try:
            while not is_over():
                self.chance.choices(names, weights)[0]()
        finally:
            self.close()

    def close(self):
        if self.connection:
            self.connection.close()
        self.connection = None

    def connect(self, tls=None):
        """A client that held one connection while it waits for another could wait for itself."""
        self.close()
        self.count("connections")
        return Connection(self.port, tls=tls)

    def count(self, what):
        with self.counts[what].get_lock():
            self.counts[what].value += 1

    def ask(self, request, tls=False):
        """One request on the connection of the moment, which is another one after a while."""
        if self.left == 0 or self.connection is None or (tls and not self.tls):
            self.left = self.chance.randrange(1, REQUESTS_OF_CONNECTION)
            self.tls = anonymous_tls() if tls or self.chance.random() < 0.4 else None
            self.connection = self.connect(self.tls)
        self.left -= 1
        reply = self.connection.ask(request)
        assert reply is not None, "the connection was ended"
        self.count("requests over TLS" if self.tls else "plain requests")
        return reply

    def call(self, method="Ping", params="", **options):
        request = envelope(method, params, request={"uuid": "day"})
        reply = self.ask(post_request(request, version="HTTP/1.1"), **options)
        assert reply.status == 200, (method, reply.status)
        answer = parse_answer(reply.body)
        assert answer.uuid == "day", (method, answer)
        return answer

    def succeed(self, method, params="", **options):
        answer = self.call(method, params, **options)
        assert answer.outcome == SUCCESS, (method, answer.outcome)
        return answer

    def get(self):
        reply = self.ask(GET11)
        assert reply.status == 200 and b"Norvalith Agent" in reply.body

    def ping(self):
        self.succeed("Ping")

    def ping_as_form(self):
        body = form(envelope(request={"uuid": "day"}))
        assert parse_answer(self.ask(post_request(body, version="HTTP/1.1", content_type=FORM)).body).outcome == SUCCESS

    def ping_server(self):
        self.succeed("PingServer")

    def broken_xml(self):
        assert self.ask(post_request(b"<x", version="HTTP/1.1")).status == 500

    def list_folder(self):
        answer = self.succeed("GetFSOs", f"<Path>{self.folder}</Path>")
        assert sum(len(each.findall(".//FSO")) for each in answer.children) == FILES

    def rubbish(self):
        with self.connect() as connection:
            connection.send(self.chance.choice(RUBBISH))
            connection.half_close()
            connection.read_to_end()
        self.count("bad connections")

    def reset(self):
        with self.connect() as connection:
            request = post_request(envelope())
            connection.send(request[: self.chance.randrange(len(request) + 1)])
            connection.reset()
        self.count("bad connections")

    def drip(self):
        with self.connect() as connection:
            for byte in GET11:
                connection.send(bytes([byte]))
                time.sleep(0.005)
            assert connection.read_reply().status == 200
        self.count("plain requests")

    def host_summary(self):
        assert len(self.succeed("GetHostSummary").children) == 1
        self.count("audits")

    def drives(self):
        assert self.succeed("GetPhysicalDrives").children[0].tag == "PhysicalDrives"
        self.count("audits")

    def storage(self):
        self.succeed("GetStorageSystem")
        self.count("audits whose result is a call")

    def act(self):
        values = action(self.user, scriptlets("true"))
        params = "".join(parameter(name, value) for name, value in values.items()) + parameter("group", "")
        # Passwords are checked one at a time; who comes meanwhile is refused.
        while (outcome := self.call("SubmitAction", params, tls=True).outcome) != SUCCESS:
            assert outcome == ONE_AT_A_TIME, outcome
            time.sleep(0.01)
        self.count("actions")

    def search(self):
        self.searches += 1
        token = f"<Token>{self.name}t{self.searches}</Token>"
        condition = '<Condition><Predicate valueName="name" operator="isAnything"/></Condition>'
        volumes = f'<Volumes><Volume name="{self.folder}" nxId="1"/></Volumes>'
        begun = self.call("SearchFSOs", f"{condition}{token}<AccountID>1</AccountID>{volumes}").outcome
        assert begun in (SUCCESS, TOO_MANY), begun
        end = time.monotonic() + PATIENCE
        while begun == SUCCESS:
            pages = [
                self.call("GetFSOSearchResults", f"{token}<Volume>{self.folder}</Volume><StartIndex>{start}</StartIndex>"
                          f"<NumResults>{FILES // 2}</NumResults>") for start in (0, FILES // 2)
            ]  # fmt: skip
            assert {page.outcome for page in pages} <= {SUCCESS, FAILED}
            if all(page.outcome == SUCCESS for page in pages):
                found = {hit.get("path") for page in pages for hit in page.children[0]}
                assert found == {f"{self.folder}/f{number}" for number in range(FILES)}, found
                self.count("searches")
                break
            assert time.monotonic() < end, "a search did not end"
            time.sleep(0.01)
        # A search that has ended is at work still while it tells its server.
        while (outcome := self.call("DeleteSearches", token).outcome) != SUCCESS:
            assert outcome == FAILED and time.monotonic() < end, outcome
            time.sleep(0.01)


COUNTS = (
    "plain requests", "requests over TLS", "connections", "bad connections", "searches", "audits",
    "audits whose result is a call", "actions",
)  # fmt: skip


class Day:
    def __init__(self, options, folder, user):
        self.folder, self.user = folder, user
        self.server, self.tree = ManagementServer(), Tree(options.stage.resolve())
        self.agent = Agent(self.tree, verbose=False, server=self.server).wait_ready()
        assert self.agent.outcome(uuid="day") == SUCCESS
        self.counts = {name: multiprocessing.Value("Q") for name in COUNTS}
        self.faults = multiprocessing.Queue()

    def requests(self):
        return self.counts["plain requests"].value + self.counts["requests over TLS"].value

    def close(self):
        self.agent.tools_complain = True
        trouble = self.agent.finish()
        self.tree.remove()
        self.server.stop()
        if trouble or self.server.faults:
            sys.exit(f"load_day.py: {trouble} {self.server.faults[:3]}")

    def run_process(self, name, is_over):
        """Ends early if anything is wrong."""
        wrong = threading.Event()

        def run(number):
            try:
                client = Client(self.agent.port, self.folder, self.user, f"{name}c{number}", self.counts)
                client.run(lambda: wrong.is_set() or is_over())
            except Exception as fault:  # noqa: BLE001: a thread has nobody to tell
                wrong.set()
                self.faults.put(repr(fault))

        threads = [threading.Thread(target=run, args=(number,)) for number in range(CLIENTS)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()

    def run(self, name, seconds, requests):
        end = time.monotonic() + seconds if requests is None else float("inf")
        most = self.requests() + requests if requests is not None else float("inf")

        def is_over():
            return time.monotonic() >= end or self.requests() >= most

        processes = [
            multiprocessing.Process(target=self.run_process, args=(f"{name}{number}", is_over)) for number in range(PROCESSES)
        ]
        for process in processes:
            process.start()
        for process in processes:
            process.join()
        if not self.faults.empty() or any(process.exitcode for process in processes):
            wrong = [] if self.faults.empty() else [self.faults.get()]
            sys.exit(f"load_day.py: wrong after {self.requests()} requests: {wrong}")
        self.rest()

    def rest(self):
        """What was begun has come to its end, and the agent has nothing left to do."""
        for call, what in (("GetStorageSystemResults", "audits whose result is a call"), ("UpdateAction", "actions")):
            wait_until(lambda call=call, what=what: len(self.server.of(call)) == self.counts[what].value, call)
        time.sleep(2)  # threads beyond the usual number end soon after their work
        self.agent.wait_rest()

    def state(self):
        """Private bytes, resident bytes, descriptors, threads."""
        rollup = Path(f"/proc/{self.agent.pid}/smaps_rollup").read_text()
        private = sum(map(int, re.findall(r"^Private_\w+:\s+(\d+) kB", rollup, re.M))) * 1024
        return private, self.agent.rss(), len(self.agent.descriptors()), self.agent.threads()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seconds", type=float, default=30)
    parser.add_argument("--requests", type=int, help="so many instead, however long they take")
    parser.add_argument("--stage", type=Path, default=HERE.parent / "stage")
    options = parser.parse_args()
    resource.setrlimit(resource.RLIMIT_NOFILE, (4096, resource.getrlimit(resource.RLIMIT_NOFILE)[1]))
    user = User() if os.geteuid() == 0 else None
    with tempfile.TemporaryDirectory(prefix="qdv-day-") as folder:
        for number in range(FILES):
            (Path(folder) / f"f{number}").touch()
        day = Day(options, folder, user)
        try:
            begun, used = time.monotonic(), day.agent.cpu_seconds()
            states = []
            for name, part in (("a", 0.1), ("b", 0.9)):
                day.run(name, options.seconds * part, options.requests and int(options.requests * part))
                states.append(day.state())
            taken, used = time.monotonic() - begun, day.agent.cpu_seconds() - used
        finally:
            day.close()
            if user:
                user.remove()
    print("| | Measured | Aim |\n|---|---|---|")
    print(f"| requests, {PROCESSES * CLIENTS} clients | {day.requests():,} in {taken:.0f} s | every answer right |")
    for name in COUNTS[1:]:
        print(f"| {name} | {day.counts[name].value:,} | |")
    print(f"| processor time of the agent, s | {used:.0f} | |")
    (private, resident, *before), (private_after, resident_after, *after) = states
    print(f"| private memory after a tenth, at the end, MiB | {private / 2**20:.2f}, {private_after / 2**20:.2f} | + 1 |")
    print(f"| resident memory likewise, MiB | {resident / 2**20:.2f}, {resident_after / 2**20:.2f} | + 1 |")
    print(f"| descriptors and threads likewise | {before}, {after} | the same |")
    sys.exit(0 if before == after and max(private_after - private, resident_after - resident) < MOST_GROWTH else 1)


if __name__ == "__main__":
    main()
