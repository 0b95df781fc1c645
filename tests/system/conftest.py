"""Fixtures of the tests from outside; harness/__init__.py tells how everything fits together."""

import os
import signal
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import pytest

from harness import Agent, Ctl, ManagementServer, Port, Tree

LOG_TAIL = 3000


def end_in_order(*unused):
    """Lets the fixtures end their agents when the test run itself is told to end."""
    raise KeyboardInterrupt


# Also where the caller ignores or blocks signals, as a shell does for what it runs in the background: what the
# tests start inherits none of that.
for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT):
    signal.signal(number, end_in_order)
for number in (signal.SIGTSTP, signal.SIGCHLD, signal.SIGALRM, signal.SIGXCPU):
    signal.signal(number, signal.SIG_DFL)
signal.pthread_sigmask(signal.SIG_SETMASK, [])


@pytest.fixture(scope="session")
def stage():
    path = Path(os.environ.get("QDV_STAGE") or Path(__file__).resolve().parents[2] / "stage").resolve()
    if not (path / "bin" / "QDVAgent").is_file():
        pytest.exit(f"no staged agent at {path}: build and install it first, or set QDV_STAGE", returncode=2)
    return path


@pytest.fixture(scope="session")
def ctl(stage):
    return Ctl(stage)


class Ward:
    """Makes trees and agents, and sees to their end."""

    def __init__(self, stage):
        self.stage = stage
        self.agents = []
        self.trees = []

    def new_tree(self):
        self.trees.append(Tree(self.stage))
        return self.trees[-1]

    def start(self, tree=None, wait=True, **options):
        self.agents.append(Agent(tree or self.new_tree(), **options))
        return self.agents[-1].wait_ready() if wait else self.agents[-1]

    def finish(self):
        """Ends all agents side by side and fails if one of them did not live and end as it should."""
        with ThreadPoolExecutor(16) as pool:
            troubles = list(pool.map(Agent.finish, self.agents))
        told = [f"{t}\n--- log of {a.pid}\n{a.log()[-LOG_TAIL:]}" for a, t in zip(self.agents, troubles) if t]
        for tree in self.trees:
            tree.remove()
        assert not told, "\n".join(told)


def ward(stage):
    made = Ward(stage)
    yield made
    made.finish()


ward_of_test = pytest.fixture(ward, name="ward_of_test")
ward_of_file = pytest.fixture(ward, scope="module", name="ward_of_file")


@pytest.fixture
def new_tree(ward_of_test):
    return ward_of_test.new_tree


@pytest.fixture
def start(ward_of_test):
    return ward_of_test.start


@pytest.fixture(scope="module")
def shared_agent(ward_of_file):
    return ward_of_file.start()


@pytest.fixture
def agent(shared_agent):
    """An agent with -verbose that all tests of the file share, none of which leaves a trace in it."""
    yield shared_agent
    assert shared_agent.is_running(), f"ended with {shared_agent.process.returncode}\n{shared_agent.log()[-LOG_TAIL:]}"


@pytest.fixture
def reporting(start):
    """An agent that reports where qdvctl listens: the options that it needs."""
    ports = [Port(), Port()]
    info = {"port": str(ports[0].number), "sslPort": str(ports[1].number)}
    for port in ports:
        port.release()
    agent = start(conf={"ServerInfo": info})
    return ["--agent", f"127.0.0.1:{agent.port}", "--uuid", "id"], ["--port", info["port"], "--tls-port", info["sslPort"]]


@pytest.fixture
def server():
    made = ManagementServer()
    yield made
    made.stop()
    assert not made.faults, made.faults


@pytest.hookimpl(tryfirst=True)
def pytest_collection_modifyitems(config, items):
    """Where tests run side by side: those that share what is made once for their file stay together, long ones begin."""
    if not config.pluginmanager.hasplugin("xdist") or config.getoption("dist") != "loadgroup":
        return
    items.sort(key=lambda item: item.get_closest_marker("long") is None)
    for item in items:
        made = [definitions[-1].scope for definitions in item._fixtureinfo.name2fixturedefs.values()]
        if "module" in made and not item.get_closest_marker("xdist_group"):
            item.add_marker(pytest.mark.xdist_group(item.path.stem))


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    """Adds the end of the logs to the report of a failed test."""
    report = (yield).get_result()
    if report.when == "call" and report.failed:
        wards = [value for value in item.funcargs.values() if isinstance(value, Ward)]
        for agent in [agent for one in wards for agent in one.agents]:
            tail = agent.log()[-LOG_TAIL:] + agent.stderr()[-LOG_TAIL:]
            report.sections.append((f"log of agent {agent.pid}", tail))
