"""The process from outside: command line, exit status, start and stop, signals, the log."""

import os
import re
import signal
from concurrent.futures import ThreadPoolExecutor
from datetime import datetime, timezone

import pytest

from harness import GET, GET11, SUCCESS, Connection, agent_conf, wait_until

STAMP = r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d: "
VERSION = "\nQDVAgent, version 2.1.1 build x421\n"
BUILD_LINE = "Agent: Build Number: 421\n"
HELP = (
    "\nQDV Agent:\nUsage:\n\n"
    "  -deleteConfig\tDeletes the GUID and policy configuration files at startup\n"
    "  -editConfig\tEdit the agent configuration file\n"
    "  -verbose\tPrints debug statments to stdout\n"
    "  -version\tDisplays the version of the QDVAgent\n"
    "  -help\t\tDisplays this output\n"
)
UNRECOGNIZED = HELP.replace("Agent:", "Agent: unrecognized flag:", 1)


def logged(message, flags):
    """Logging begins with the flag itself, so only what stands behind it on the line is logged."""
    return STAMP + re.escape(message) if "-verbose" in flags else ""


@pytest.fixture
def tree(new_tree):
    return new_tree()


def test_command_line(tree):
    tree.uuid_conf.write_text("not even XML")
    tree.agent_conf.write_text("neither")
    for line in ("-help", "-help -help", "-version -help -deleteConfig -editConfig", "-verbose -help"):
        run = tree.run(*line.split())
        assert (run.status, run.stdout, run.stderr) == (0, HELP, ""), line
    for line in ("-version", "-version -deleteConfig -version", "-verbose -version", "-version -verbose"):
        flags = line.split()
        run = tree.run(*flags)
        assert (run.status, run.stderr) == (0, ""), line
        assert re.fullmatch(logged(BUILD_LINE, flags) + re.escape(VERSION), run.stdout), line
    for flags, wrong in (
        (["-nope"], "-nope"), (["-help", "-nope"], "-nope"), (["-nope", "-editConfig", "-version"], "-nope"),
        (["-Version"], ""), (["--version"], ""), (["-versio"], ""), (["-verbosee"], ""), ([""], ""), (["-version", "help"], ""),
        (["%s%n"], ""), (["-verbose", "-nope"], "-nope"), (["-verbose", "%s%n"], "%s%n"), (["-nope", "-verbose"], None),
    ):  # fmt: skip
        run = tree.run(*flags)
        said = logged(f"Agent: unrecognized option {wrong}\n", flags) if wrong else ""
        assert (run.status, run.stderr) == (0, ""), flags
        assert re.fullmatch(said + re.escape(UNRECOGNIZED), run.stdout), (flags, run.stdout)
    assert tree.uuid_conf.read_text() == "not even XML" and not tree.log_file.exists()


def test_directory_is_taken_from_the_name_of_the_program(tree):
    """argv[0] decides where the agent looks; what it cannot enter ends it before anything else is done."""
    linked = tree.root / "linked"
    linked.symlink_to(tree.top)
    for name, cwd in (
        (str(tree.program), "/"), (str(linked / "bin" / "QDVAgent"), "/"), ("./QDVAgent", tree.bin),
        ("bin/any name", tree.top), ("/QDVAgent", tree.bin), ("", tree.bin),
    ):  # fmt: skip
        run = tree.run("-version", argv0=name, cwd=cwd)
        assert (run.status, run.stdout) == (0, VERSION), name
    for name, directory in [("/no/such/place/QDVAgent", "/no/such/place"), ("QDVAgent", "QDVAgent")]:
        run = tree.run("-version", argv0=name, cwd=tree.root)
        assert (run.status, run.stdout) == (1, ""), name
        run = tree.run("-version", "-verbose", argv0=name, cwd=tree.root)
        assert run.status == 1
        assert run.stdout.endswith(f": Agent could not chdir to bin directory {directory}."), name
        assert tree.run("-help", argv0=name, cwd=tree.root).stdout == HELP
    # Paths are formed after the change of directory, so a name with a relative directory leads nowhere.
    tree.agent_conf.write_text(agent_conf([("127.0.0.1", 1)]))
    run = tree.run("-verbose", argv0="bin/QDVAgent", cwd=tree.top)
    assert run.status == 1 and "Agent: Failed to find agent configuration file\n" in run.stdout


def test_start_and_orderly_stop(start):
    """Every stopping signal ends a healthy agent with status 0, and the log tells the story in order."""
    began = datetime.now(timezone.utc).replace(microsecond=0)
    agents = {number: start() for number in (1, 2, 15, 24)}
    services = (*(f"AsynchManager: {name}" for name in ("FileTrack", "Generic", "SystemAudit")), "FileSearch", "HTTP")
    for number, agent in agents.items():
        assert os.readlink(f"/proc/{agent.pid}/cwd") == str(agent.tree.bin)
        agent.send_signal(number)
    for number, agent in agents.items():
        assert agent.wait() == 0, f"signal {number}"
        story = [
            BUILD_LINE,
            "Agent: starting server\n",
            *(f"{service}: {end}\n" for service in services for end in ("attempting startup", "startup successful")),
            "Agent: Check state of enterprise SSL setting\n",
            "Agent: Check SSL state invoke call failed. QDV Server may not be available\n",
            "Agent: startup successful\n",
            f"Agent_SignalHandler() agent received signal {number}. Shutting down.\n",
            "Agent: attempting shutdown\n",
            # FileSearch may still be looking for what has expired; it is asked again then.
            *(f"{service}: attempting shutdown\n" for service in services),
            "Agent: shutdown successful\n",
        ]
        assert all(f"{service}: shutdown successful\n" in agent.log() for service in services), agent.log()
        assert re.search(".*".join(f"^{STAMP}{re.escape(line)}" for line in story), agent.log(), re.M | re.S), agent.log()
        for stamp in re.findall(f"^({STAMP})", agent.log(), re.M):
            logged_at = datetime.strptime(stamp, "%Y-%m-%d %H:%M:%S: ").replace(tzinfo=timezone.utc)
            assert began <= logged_at <= datetime.now(timezone.utc)


def test_sigpipe_is_ignored_and_nothing_is_logged_without_verbose(start):
    agent = start(verbose=False)
    for _ in range(3):
        agent.send_signal(signal.SIGPIPE)
    assert agent.get().status == 200
    agent.raw(b"rubbish", half_close=True)
    assert agent.outcome() == SUCCESS
    assert agent.stop() == 0
    assert (agent.log(), agent.stderr()) == ("", "") and not agent.tree.log_file.exists()


def test_ports_are_free_again_after_the_stop(start):
    """The agent comes back on the same ports at once, whatever connections the last run had."""
    first = start(binds=2)
    for port in first.ports:
        with Connection(port.number) as connection:
            connection.send(GET)  # the agent ends it, so the wait state is its own
            assert connection.read_to_end()
    assert first.stop() == 0
    assert start(ports=first.ports).get().status == 200


def test_shutdown_with_connections_still_held(start):
    """A worker in a read is not woken: the agent gives it five attempts, a second apart, and then leaves."""

    def held():
        agent = start()
        connection = agent.connect()
        assert connection.ask(GET11).header("Connection") == "Keep-Alive"
        agent.wait_rest()
        agent.send_signal(15)
        agent.wait_log("HTTP: threads still running\n")
        return agent, connection

    def held_to_the_end():
        agent, connection = held()
        with connection:
            assert agent.wait() == 1
        attempts = re.findall(r"(\d\d): HTTP: threads still running(.*)\n", agent.log())
        assert [text for _, text in attempts] == [""] * 4 + [" on last attempt to shutdown"]
        assert len({second for second, _ in attempts}) >= 4
        assert agent.log().endswith("Agent: shutdown failed, exiting immediately\n")
        assert "Agent: shutdown successful" not in agent.log()

    def let_go_in_time():
        """A second signal only adds a count: the shutdown that is under way goes on."""
        agent, connection = held()
        for number in (15, 1):
            agent.send_signal(number)
        agent.wait_log("agent received signal 1. Shutting down.\n")
        assert agent.is_running()
        connection.close()
        assert agent.wait() == 0
        assert agent.log().endswith("Agent: shutdown successful\n")
        assert agent.log().count("Agent: attempting shutdown\n") == 1
        assert agent.log().count("agent received signal 15. Shutting down.\n") == 2

    with ThreadPoolExecutor(2) as pool:
        for case in [pool.submit(c) for c in (held_to_the_end, let_go_in_time)]:
            case.result()


def test_signals_before_the_wait_are_not_lost(start):
    """A signal that comes as soon as the port answers, while the start-up may still go on, ends the agent."""
    for _ in range(5):
        agent = start(wait=False, verbose=False)
        wait_until(lambda: agent.answers(agent.port), "the port to answer")
        assert agent.stop() == 0
