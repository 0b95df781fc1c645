"""Rest and load: an idle agent sleeps, a busy one leaks nothing and stops in order."""

import itertools
import os
import threading
import time
from contextlib import ExitStack

import pytest

from harness import FORM, GET11, LEVELS, PATIENCE, SUCCESS, Connection, anonymous_tls, envelope, form, parse_answer
from harness import post_request, wait_until

AUDITS = ("GetHostSummary", "GetStorageSystem", *LEVELS)


def test_idle_agent_does_not_wake_up(start):
    """Nothing polls: once it has settled no thread wakes for a second, with and without idle connections."""
    agent = start(verbose=False)
    if agent.tree.is_sanitized():
        pytest.skip("a sanitizer may bring a thread of its own")

    def rests():
        before = agent.context_switches()
        time.sleep(1)
        return 0 <= agent.context_switches() - before <= 1  # less: a thread has ended

    wait_until(rests, "the agent to rest")
    with ExitStack() as held:
        for _ in range(12):
            assert held.enter_context(agent.connect()).ask(GET11).status == 200
        wait_until(rests, "the agent to rest with connections")


def mixed_requests(number, folder):
    """Requests of every method as body and content type; what runs the host's tools comes seldom."""
    token = f"<Token>T{number}</Token>"
    named = f'<Condition><Predicate valueName="name" operator="isAnything"/></Condition>{token}<AccountID>1</AccountID>'
    params = dict.fromkeys(AUDITS if number % 100 == 0 else (), "")
    params |= {
        "GetFSOs": f"<Path>{folder}</Path>", "GetFSOBatchStats": f'<FSO path="{folder}"/>',
        "SearchFSOs": f'{named}<Volumes><Volume name="{folder}"/></Volumes>',
    } if number % 10 == 0 else {}  # fmt: skip
    params |= dict.fromkeys(("Ping", "Pong", "PingServer", "SubmitAction", "SaveAction", "GetActionScriptList"), "")
    params |= {
        "SetCallServerWithSSL": "", "SetVerboseLog": "<VerboseMode>off</VerboseMode>",
        "GetFSOSearchResults": f"{token}<Volume>{folder}</Volume>", "DeleteSearches": token,
    }  # fmt: skip
    requests = [envelope(*each, request={"uuid": "id"}) for each in params.items()]
    return [(b"<x", "text/xml"), (form(envelope()), FORM), *((each, "text/xml") for each in requests)]


def test_memory_and_threads_stay_level(start, tmp_path):
    agent = start(verbose=False)
    (tmp_path / "file").touch()
    rounds = itertools.count()

    def work(times):
        """With every worker that there can be, so that each has what it will ever need."""
        done = 0
        with ExitStack() as held:
            connections = [held.enter_context(agent.connect(tls=n == 0 and anonymous_tls())) for n in range(15)]
            while done < times:
                for body, kind in mixed_requests(next(rounds), tmp_path):
                    request = post_request(body, version="HTTP/1.1", content_type=kind)
                    reply = connections[done % 15].ask(request)
                    assert reply.status in (200, 500)
                    done += 1
                # The last one deletes the search, once it has ended.
                wait_until(lambda: b'"success"' in reply.body or b'"success"' in connections[1].ask(request).body, "the search to end")
        for _ in range(times // 20):
            for rubbish in (b"GET /\r\n", b"rubbish that is none"):
                agent.raw(rubbish, half_close=True)

    times = agent.tree.scaled(int(os.environ.get("QDV_LOAD_REQUESTS", "4500")))
    work(times // 3)
    threads, memory = agent.settled_threads(), agent.rss()
    work(times)
    assert agent.settled_threads() <= threads
    if not agent.tree.is_sanitized():
        assert agent.rss() < memory + (1 << 20)


class Load:
    """Clients of every kind against one agent until told to stop. `done` counts right answers."""

    def __init__(self, agent):
        self.agent = agent
        self.stopping = threading.Event()
        self.faults_count = True
        self.done = 0
        self.wrong = []
        kinds = [self.keeping, self.closing, self.adopting, self.dropping, self.logging] * 2
        self.threads = [threading.Thread(target=self.run, args=one, daemon=True) for one in enumerate(kinds)]
        for thread in self.threads:
            thread.start()
        self.wait_for(100)

    def run(self, number, kind):
        turn = 0
        while not self.stopping.is_set():
            turn += 1
            try:
                kind(number, turn)
                self.done += 1
            except (OSError, AssertionError) as fault:
                if self.faults_count:
                    self.wrong.append((kind.__name__, repr(fault)))
                    return

    def wait_for(self, answers):
        wait_until(lambda: self.done > answers or self.wrong, "the load")

    def stop(self):
        self.stopping.set()
        for thread in self.threads:
            thread.join()
        assert not self.wrong, self.wrong[:5]

    def keeping(self, number, turn):
        with self.agent.connect() as connection:
            for _ in range(10):
                reply = connection.ask(post_request(envelope(), version="HTTP/1.1"))
                assert reply and parse_answer(reply.body).outcome == SUCCESS

    def closing(self, number, turn):
        assert (self.agent.get().status, self.agent.post(b"<broken").status) == (200, 500)

    def adopting(self, number, turn):
        answer = self.agent.call(uuid=f"{number}-{turn}", host=f"h{number}-{turn % 50}")
        assert answer.uuid.startswith(f"{number}-")

    def dropping(self, number, turn):
        with self.agent.connect() as connection:
            connection.send(post_request(envelope())[: 30 + turn % 100])
            connection.reset()

    def logging(self, number, turn):
        mode = "on" if turn % 2 else "off"
        assert self.agent.outcome("SetVerboseLog", f"<VerboseMode>{mode}</VerboseMode>", uuid="load") == SUCCESS


def test_mixed_load_and_stop_after_it(start):
    agent = start(verbose=False)
    load = Load(agent)
    load.wait_for(agent.tree.scaled(5000))
    load.stop()
    assert agent.stop() == 0
    identities = agent.tree.identities()
    assert len(identities) == len({host for _, host in identities})


def test_stop_under_load(start):
    """Clients that go away when they are cut off do not keep the agent from ending in order."""
    agent = start(verbose=False)
    load = Load(agent)
    load.faults_count = False
    agent.send_signal(15)
    load.stop()
    assert agent.wait() == 0


def test_stop_against_clients_that_never_stop(start):
    """A client that keeps asking holds its worker; the agent still ends, after its five attempts."""
    agent = start(verbose=False)
    over = threading.Event()
    asked = threading.Semaphore(0)

    def insist():
        while not over.is_set():
            try:
                with Connection(agent.port) as connection:
                    while not over.is_set() and connection.ask(GET11):
                        asked.release()
            except (OSError, AssertionError):
                time.sleep(0.05)

    threads = [threading.Thread(target=insist, daemon=True) for _ in range(20)]
    for thread in threads:
        thread.start()
    assert all(asked.acquire(timeout=PATIENCE) for _ in range(100))
    agent.send_signal(15)
    try:
        assert agent.wait() in (0, 1)
    finally:
        over.set()
        for thread in threads:
            thread.join()
