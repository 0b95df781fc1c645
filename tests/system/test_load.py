"""Rest and load: an idle agent sleeps, a busy one leaks nothing and stops in order."""

import signal
import threading
import time

import pytest

from harness import Connection, envelope, form, limit
from harness.agent import post_request
from harness.envelope import SUCCESS, parse_answer

GET11 = b"GET / HTTP/1.1\r\n\r\n"
FORM = "application/x-www-form-urlencoded"


def test_idle_agent_does_not_wake_up(start):
    """Nothing polls: in two seconds of rest no thread wakes, with and without idle connections."""
    agent = start(flags=())
    if agent.tree.is_sanitized():
        pytest.skip("a sanitizer may bring a thread of its own")
    connections = []
    for _ in range(2):
        assert agent.call().outcome == SUCCESS
        time.sleep(0.3)
        before = agent.context_switches()
        time.sleep(1)
        assert agent.context_switches() - before <= 1
        for _ in range(6):
            connections.append(agent.connect())
            connections[-1].send(GET11)
            assert connections[-1].read_reply().status == 200
    for connection in connections:
        connection.close()


def test_memory_and_threads_stay_level(start):
    agent = start(flags=())

    def work(times):
        with agent.connect() as connection:
            for number in range(times):
                body = (envelope(), envelope("Pong"), b"<x", form(envelope()))[number % 4]
                kind = FORM if number % 4 == 3 else "text/xml"
                connection.send(post_request(body, version="HTTP/1.1", content_type=kind))
                assert connection.read_reply().status in (200, 500)
        for _ in range(times // 20):
            agent.raw(b"GET /\r\n", half_close=True)
            agent.raw(b"rubbish that is none", half_close=True)

    times = agent.tree.scaled(1000)
    work(times)
    memory, threads = agent.rss(), agent.threads()
    work(3 * times)
    assert agent.threads() == threads
    if not agent.tree.is_sanitized():
        assert agent.rss() < memory + (1 << 20)


class Load:
    """Clients of every kind against one agent until told to stop. `done` counts right answers."""

    def __init__(self, agent):
        self.agent = agent
        self.stopping = threading.Event()
        self.done = 0
        self.wrong = []
        kinds = [self.keeping, self.closing, self.adopting, self.refused, self.dropping, self.logging]
        self.threads = [threading.Thread(target=self.run, args=(kind, n)) for n, kind in enumerate(kinds * 2)]
        for thread in self.threads:
            thread.start()

    def run(self, kind, number):
        turn = 0
        while not self.stopping.is_set():
            turn += 1
            try:
                kind(number, turn)
                self.done += 1
            except (OSError, AssertionError) as fault:
                if not self.stopping.is_set():
                    self.wrong.append((kind.__name__, repr(fault)))

    def stop(self):
        self.stopping.set()
        for thread in self.threads:
            thread.join()

    def keeping(self, number, turn):
        with self.agent.connect() as connection:
            for _ in range(10):
                connection.send(post_request(envelope(), version="HTTP/1.1"))
                reply = connection.read_reply()
                assert reply and parse_answer(reply.body).outcome == SUCCESS

    def closing(self, number, turn):
        assert self.agent.get().status == 200

    def adopting(self, number, turn):
        uuid = f"{number}-{turn}"
        assert self.agent.call(uuid=uuid, host=f"h{number}-{turn % 50}").uuid.startswith(f"{number}-")

    def refused(self, number, turn):
        assert self.agent.post(b"<broken").status == 500
        assert self.agent.call("Pong").outcome == ("unknown method", "no methods implemented")

    def dropping(self, number, turn):
        with self.agent.connect() as connection:
            connection.send(post_request(envelope())[: 30 + turn % 100])
            connection.reset()

    def logging(self, number, turn):
        mode = "on" if turn % 2 else "off"
        answer = self.agent.call("SetVerboseLog", f"<VerboseMode>{mode}</VerboseMode>", uuid="load")
        assert answer.outcome == SUCCESS


def test_mixed_load_and_stop_after_it(start):
    agent = start(flags=())
    load = Load(agent)
    time.sleep(2)
    load.stop()
    assert not load.wrong, load.wrong[:5]
    assert load.done > 100
    assert agent.stop() == 0
    identities = agent.tree.identities()
    assert len(identities) == len({host for _, host in identities})


def test_stop_under_load(start):
    """Clients that go away when they are cut off do not keep the agent from ending in order."""
    agent = start(flags=())
    load = Load(agent)
    time.sleep(0.5)
    agent.send_signal(signal.SIGTERM)
    load.stopping.set()
    status = agent.wait()
    load.stop()
    assert not load.wrong, load.wrong[:5]
    assert status == 0


def test_stop_against_clients_that_never_stop(start):
    """A client that keeps asking holds its worker; the agent still ends, within its five attempts."""
    agent = start(flags=())
    over = threading.Event()

    def insist():
        while not over.is_set():
            try:
                with Connection(agent.port) as connection:
                    while not over.is_set():
                        connection.send(GET11)
                        connection.read_reply(2)
            except (OSError, AssertionError):
                time.sleep(0.05)

    threads = [threading.Thread(target=insist) for _ in range(20)]
    for thread in threads:
        thread.start()
    time.sleep(0.3)
    began = time.monotonic()
    status = agent.stop(seconds=12)
    took = time.monotonic() - began
    over.set()
    for thread in threads:
        thread.join()
    assert status in (0, 1)
    assert took < limit(8), took
