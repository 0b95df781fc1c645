"""The agent as a service: what it tells the service manager that started it, and what its children inherit."""

import secrets
import socket
from contextlib import ExitStack

import pytest

from harness import GET11, PATIENCE, agent_conf, environment, wait_until

READY = b"READY=1\nSTATUS=Serving on 127.0.0.1:%d"
STOPPING = b"STOPPING=1\nSTATUS=Stopping once the requests in hand are done"
SIGN_OF_LIFE = b"WATCHDOG=1"
WORKERS = 15


class Manager:
    """Stands in for a service manager: the socket that it listens on, named `name` in NOTIFY_SOCKET."""

    def __init__(self, name):
        self.name = name
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind(name.replace("@", "\0"))

    def hears(self, seconds=PATIENCE):
        """The next message; None if nothing comes."""
        self.socket.settimeout(seconds)
        try:
            return self.socket.recv(4096)
        except TimeoutError:
            return None


@pytest.fixture(params=["path", "abstract"])
def manager(request, tmp_path):
    made = Manager(str(tmp_path / "notify") if request.param == "path" else f"@qdv-{secrets.token_hex(8)}")
    yield made
    made.socket.close()


def test_the_manager_is_told_and_no_child_can_tell_it(start, manager, tmp_path):
    seen = tmp_path / "seen"
    tool = tmp_path / "uname"
    tool.write_text(f"#!/bin/sh\nenv >{seen}.new; mv {seen}.new {seen}; exec /bin/uname $*\n")
    tool.chmod(0o755)
    path = f"{tmp_path}:{environment()['PATH']}"
    # The watchdog is meant for another process.
    more = {"NOTIFY_SOCKET": manager.name, "WATCHDOG_USEC": "100000", "WATCHDOG_PID": "1", "PATH": path}
    agent = start(more=more)
    assert manager.hears() == READY % agent.port
    agent.call("GetHostSummary", uuid="id")
    wait_until(seen.exists, "the host's tool to have run")
    assert f"PATH={path}\n" in seen.read_text()
    assert not any(name in seen.read_text() for name in ("NOTIFY_SOCKET", "WATCHDOG"))
    assert agent.stop() == 0
    assert manager.hears() == STOPPING and manager.hears(0.01) is None


def test_a_failed_start_is_told_in_words(start, manager):
    agent = start(wait=False, verbose=False, write_conf=False, more={"NOTIFY_SOCKET": manager.name})
    assert agent.wait() == 1
    assert manager.hears() == b"STATUS=Agent: Failed to find agent configuration file\n"


def test_signs_of_life_come_only_while_the_port_answers(start, manager):
    agent = start(binds=2, more={"NOTIFY_SOCKET": manager.name, "WATCHDOG_USEC": "200000"})
    assert manager.hears().startswith(READY % agent.port)
    for _ in range(3):
        assert manager.hears() == SIGN_OF_LIFE
    with ExitStack() as held:
        for _ in range(WORKERS):
            connection = held.enter_context(agent.connect())
            # The probe holds a worker for a moment.
            assert connection.ask(GET11).status == 200
        agent.wait_rest()
        while manager.hears(0.01):
            pass
        assert manager.hears(1) is None
    assert manager.hears() == SIGN_OF_LIFE
    assert agent.stop() == 0


def test_an_agent_without_ports_gives_signs_of_life(new_tree, start, manager):
    tree = new_tree()
    tree.agent_conf.write_text(agent_conf([]))
    start(tree, binds=0, write_conf=False, more={"NOTIFY_SOCKET": manager.name, "WATCHDOG_USEC": "200000"})
    assert manager.hears() == b"READY=1\nSTATUS=Serving on no port"
    assert manager.hears() == SIGN_OF_LIFE and manager.hears() == SIGN_OF_LIFE
