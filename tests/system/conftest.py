"""Fixtures of the tests from outside; harness/__init__.py tells how everything fits together."""

import os
import signal
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import pytest

from harness import Agent, ManagementServer, Tree

LOG_TAIL = 3000


@pytest.fixture(scope="session")
def stage():
    path = Path(os.environ.get("QDV_STAGE") or Path(__file__).resolve().parents[2] / "stage").resolve()
    if not (path / "bin" / "QDVAgent").is_file():
        pytest.exit(f"no staged agent at {path}: build and install it first, or set QDV_STAGE", returncode=2)
    return path


def end_in_order(*unused):
    """Lets the fixtures end their agents when the test run itself is told to end."""
    raise KeyboardInterrupt


signal.signal(signal.SIGTERM, end_in_order)


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
        agent = Agent(tree or self.new_tree(), **options)
        self.agents.append(agent)
        return agent.wait_ready() if wait else agent

    def finish(self):
        """Ends all agents side by side and fails if one of them did not live and end as it should."""
        with ThreadPoolExecutor(16) as pool:
            troubles = list(pool.map(lambda agent: agent.finish(), self.agents))
        tails = "".join(f"\n--- log of {a.pid}\n{a.log()[-LOG_TAIL:]}" for a, t in zip(self.agents, troubles) if t)
        for tree in self.trees:
            tree.remove()
        troubles = [trouble for trouble in troubles if trouble]
        assert not troubles, "\n".join(troubles) + tails


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


def still_runs(shared):
    yield shared
    assert shared.is_running(), f"the shared agent ended with {shared.process.returncode}\n{shared.log()[-LOG_TAIL:]}"


@pytest.fixture(scope="module")
def shared_agent(ward_of_file):
    return ward_of_file.start()


@pytest.fixture(scope="module")
def shared_quiet_agent(ward_of_file):
    return ward_of_file.start(flags=())


@pytest.fixture
def agent(shared_agent):
    """An agent with -verbose that all tests of the file share."""
    yield from still_runs(shared_agent)


@pytest.fixture
def quiet_agent(shared_quiet_agent):
    """The same without -verbose."""
    yield from still_runs(shared_quiet_agent)


@pytest.fixture
def server():
    made = ManagementServer()
    yield made
    made.stop()
    assert not made.faults, made.faults


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    """Adds the end of the logs to the report of a failed test."""
    report = (yield).get_result()
    if report.when == "call" and report.failed:
        for value in getattr(item, "funcargs", {}).values():
            agents = value.agents if isinstance(value, Ward) else [value] if isinstance(value, Agent) else []
            for agent in agents:
                tail = agent.log()[-LOG_TAIL:] + agent.stderr()[-LOG_TAIL:]
                report.sections.append((f"log of agent {agent.pid}", tail))
