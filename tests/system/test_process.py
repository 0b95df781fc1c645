"""The process from outside: command line, exit status, start-up failures, signals, shutdown, the log."""

import os
import re
import shutil
import signal
import time
from concurrent.futures import ThreadPoolExecutor
from datetime import datetime, timedelta, timezone

import pytest

from harness import Connection, Port, agent_conf, limit, wait_until

STAMP = r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d: "
VERSION = "\nQDVAgent, version 2.1.1 build x421\n"
BUILD_LINE = "Agent: Build Number: 421\n"


def help_text(heading):
    return (
        f"\nQDV Agent:{heading}\n"
        "Usage:\n"
        "\n"
        "  -deleteConfig\tDeletes the GUID and policy configuration files at startup\n"
        "  -editConfig\tEdit the agent configuration file\n"
        "  -verbose\tPrints debug statments to stdout\n"
        "  -version\tDisplays the version of the QDVAgent\n"
        "  -help\t\tDisplays this output\n"
    )


HELP = help_text("")
UNRECOGNIZED = help_text(" unrecognized flag:")


def assert_story(log, messages):
    """Each message stands in the log as a line of its own, with its stamp, in this order."""
    position = 0
    for message in messages:
        found = re.compile(f"^{STAMP}{re.escape(message)}", re.M).search(log, position)
        assert found, f"{message!r} missing or out of order in\n{log}"
        position = found.end()


@pytest.fixture(scope="module")
def idle_tree(ward_of_file):
    """A tree without any configuration, for runs that end before they need one."""
    return ward_of_file.new_tree()


@pytest.mark.parametrize(
    "flags, output",
    [
        (["-help"], HELP),
        (["-help", "-help"], HELP),
        (["-version", "-help", "-deleteConfig", "-editConfig"], HELP),
        (["-nope"], UNRECOGNIZED),
        (["-help", "-nope"], UNRECOGNIZED),
        (["-nope", "-editConfig", "-version"], UNRECOGNIZED),
        (["-Version"], UNRECOGNIZED),
        (["--version"], UNRECOGNIZED),
        (["-versio"], UNRECOGNIZED),
        (["-verbosee"], UNRECOGNIZED),
        ([""], UNRECOGNIZED),
        (["-version", "help"], UNRECOGNIZED),
        (["%s%n"], UNRECOGNIZED),
        (["-version"], VERSION),
        (["-version", "-deleteConfig", "-version"], VERSION),
    ],
    ids=lambda value: " ".join(value) if isinstance(value, list) else "",
)
def test_command_line(idle_tree, flags, output):
    run = idle_tree.run(*flags)
    assert (run.status, run.stdout, run.stderr) == (0, output, "")
    assert not idle_tree.uuid_conf.exists() and not idle_tree.log_file.exists()


@pytest.mark.parametrize(
    "flags, pattern",
    [
        # Logging begins with the flag itself, so only what stands behind it on the line is logged.
        (["-verbose", "-nope"], STAMP + re.escape("Agent: unrecognized option -nope\n" + UNRECOGNIZED)),
        (["-nope", "-verbose"], re.escape(UNRECOGNIZED)),
        (["-verbose", "%s%n"], STAMP + re.escape("Agent: unrecognized option %s%n\n" + UNRECOGNIZED)),
        (["-verbose", "-help"], re.escape(HELP)),
        (["-verbose", "-version"], STAMP + re.escape(BUILD_LINE + VERSION)),
        (["-version", "-verbose"], STAMP + re.escape(BUILD_LINE + VERSION)),
    ],
    ids=lambda value: " ".join(value) if isinstance(value, list) else "",
)
def test_command_line_with_log(idle_tree, flags, pattern):
    run = idle_tree.run(*flags)
    assert run.status == 0 and run.stderr == ""
    assert re.fullmatch(pattern, run.stdout), run.stdout


def test_version_leaves_the_configuration_alone(new_tree):
    tree = new_tree()
    tree.uuid_conf.write_text("not even XML")
    tree.agent_conf.write_text("neither")
    assert tree.run("-deleteConfig", "-version").stdout == VERSION
    assert tree.uuid_conf.read_text() == "not even XML"


def test_directory_is_taken_from_the_name_of_the_program(idle_tree):
    """argv[0] decides where the agent looks; what it cannot enter ends it before anything else is done."""
    tree = idle_tree
    linked = tree.root / "linked"
    if not linked.exists():
        linked.symlink_to(tree.top)
    enterable = [
        (str(tree.program), "/"),
        (str(linked / "bin" / "QDVAgent"), "/"),
        ("./QDVAgent", str(tree.bin)),
        ("bin/any name", str(tree.top)),
        ("/QDVAgent", str(tree.bin)),
        ("", str(tree.bin)),
    ]
    for name, cwd in enterable:
        run = tree.run("-version", argv0=name, cwd=cwd)
        assert (run.status, run.stdout) == (0, VERSION), name

    for name, directory in [("/no/such/place/QDVAgent", "/no/such/place"), ("QDVAgent", "QDVAgent")]:
        cwd = str(tree.root)
        run = tree.run("-version", argv0=name, cwd=cwd)
        assert (run.status, run.stdout) == (1, ""), name
        run = tree.run("-version", "-verbose", argv0=name, cwd=cwd)
        assert run.status == 1
        assert run.stdout.endswith(f": Agent could not chdir to bin directory {directory}."), name
        assert tree.run("-help", argv0=name, cwd=cwd).stdout == HELP


def test_relative_program_name_does_not_find_the_configuration(new_tree):
    """Paths are formed after the change of directory, so a name with a relative directory leads nowhere."""
    tree = new_tree()
    port = Port()
    tree.agent_conf.write_text(agent_conf([("127.0.0.1", port.number)]))
    run = tree.run("-verbose", argv0="bin/QDVAgent", cwd=str(tree.top))
    assert run.status == 1
    assert "Agent: Failed to find agent configuration file\n" in run.stdout
    port.release()


def test_missing_configuration_ends_the_start(new_tree):
    tree = new_tree()
    run = tree.run()
    assert (run.status, run.stdout, run.stderr) == (1, "", "")
    run = tree.run("-verbose")
    assert run.status == 1
    assert_story(run.stdout, [BUILD_LINE, "Agent: starting server\n", "Agent: Failed to find agent configuration file\n"])
    assert "guid" not in run.stdout and "HTTP: " not in run.stdout
    assert not tree.uuid_conf.exists(), "nothing is written by an agent that does not start"
    shutil.rmtree(tree.conf)
    assert tree.run().status == 1


SERVER_INFO = '<ServerInfo hostname="127.0.0.1" port="9" sslPort="9" uri="/x"/>'
AGENT_INFO = '<AgentInfo><BindList><Bind address="127.0.0.1" port="PORT"/></BindList></AgentInfo>'


def conf(content, root="AgentConfiguration", version=' version="1.0"', prolog=""):
    return f"{prolog}<{root}{version}>{content}</{root}>"


def without(attribute, text):
    return re.sub(f' {attribute}="[^"]*"', "", text)


def emptied(attribute, text):
    return re.sub(f' {attribute}="[^"]*"', f' {attribute}=""', text)


GOOD = conf(SERVER_INFO + AGENT_INFO)
BROKEN = {
    "empty file": "",
    "no XML": "hostname=127.0.0.1\n",
    "zero bytes": "\0" * 3000,
    "cut short": GOOD[:-20],
    "two roots": GOOD + GOOD,
    "other root": conf(SERVER_INFO + AGENT_INFO, root="AgentConfig"),
    "other case of root": conf(SERVER_INFO + AGENT_INFO, root="agentconfiguration"),
    "version 1.1": conf(SERVER_INFO + AGENT_INFO, version=' version="1.1"'),
    "version with a blank": conf(SERVER_INFO + AGENT_INFO, version=' version="1.0 "'),
    "empty version": conf(SERVER_INFO + AGENT_INFO, version=' version=""'),
    "no version": conf(SERVER_INFO + AGENT_INFO, version=""),
    "no ServerInfo": conf(AGENT_INFO),
    "two ServerInfo": conf(SERVER_INFO * 2 + AGENT_INFO),
    "no AgentInfo": conf(SERVER_INFO),
    "two AgentInfo": conf(SERVER_INFO + AGENT_INFO * 2),
    "no BindList": conf(SERVER_INFO + "<AgentInfo/>"),
    "BindList elsewhere": conf(SERVER_INFO + "<AgentInfo/><BindList/>"),
    "two BindList": conf(SERVER_INFO + "<AgentInfo><BindList/><BindList/></AgentInfo>"),
    "second Bind without port": GOOD.replace("</BindList>", '<Bind address="127.0.0.1"/></BindList>'),
    "second Bind with empty address": GOOD.replace("</BindList>", '<Bind address="" port="1"/></BindList>'),
    "document type": conf(
        SERVER_INFO.replace("/x", "&uri;") + AGENT_INFO,
        prolog='<!DOCTYPE AgentConfiguration [<!ENTITY uri "/x">]>',
    ),
    **{f"ServerInfo without {name}": without(name, GOOD) for name in ("hostname", "sslPort", "uri")},
    **{f"ServerInfo with empty {name}": emptied(name, GOOD) for name in ("hostname", "sslPort", "uri")},
    **{f"ServerInfo {what} port": conf(change("port", SERVER_INFO) + AGENT_INFO)
       for what, change in (("without", without), ("with empty", emptied))},
    **{f"Bind {what} {name}": conf(SERVER_INFO + change(name, AGENT_INFO))
       for what, change in (("without", without), ("with empty", emptied)) for name in ("address", "port")},
}  # fmt: skip


def test_broken_configuration_ends_the_start(new_tree):
    tree = new_tree()
    port = Port()
    wrong = {}

    def check(name):
        run = tree.run("-verbose")
        logged = re.sub(STAMP, "", run.stdout)
        if run.status != 1 or "Agent: Failed to parse agent configuration file\n" not in logged or run.stderr:
            wrong[name] = run

    for name, text in BROKEN.items():
        tree.agent_conf.write_text(text.replace("PORT", str(port.number)))
        check(name)
    tree.agent_conf.unlink()
    tree.agent_conf.mkdir()
    check("directory in place of the file")
    assert not wrong, wrong
    assert not tree.uuid_conf.exists()
    port.release()


def test_bind_failures_end_the_start(new_tree):
    tree = new_tree()
    port, busy, other = Port(), Port(), Port()
    busy.listen()
    cases = {
        "port in use": [("127.0.0.1", busy.number)],
        "second port in use": [("127.0.0.1", port.number), ("127.0.0.1", busy.number)],
        "two equal pairs": [("127.0.0.1", port.number)] * 2,
        "the same address written twice": [("127.0.0.1", port.number), ("localhost", port.number)],
        "address of another host": [("192.0.2.1", port.number)],
        "name that cannot be one": [("a..b", port.number)],
    }
    wrong = {}
    for name, pairs in cases.items():
        tree.agent_conf.write_text(agent_conf(pairs))
        run = tree.run("-verbose", seconds=20)
        if run.status != 1 or "Agent: HTTP server init failed\n" not in run.stdout:
            wrong[name] = run
        quiet = tree.run(seconds=20)
        if (quiet.status, quiet.stdout, quiet.stderr) != (1, "", ""):
            wrong[name + ", quiet"] = quiet
    assert not wrong, wrong
    for held in (port, busy, other):
        held.release()


def test_start_and_orderly_stop(start):
    """Every stopping signal ends a healthy agent with status 0, and the log tells the story in order."""
    agents = {number: start() for number in (1, 2, 15, 24)}
    began = datetime.now(timezone.utc)
    for number, agent in agents.items():
        agent.send_signal(number)
    for number, agent in agents.items():
        assert agent.wait() == 0, f"signal {number}"
        story = [
            BUILD_LINE,
            "Agent: starting server\n",
            "HTTP: attempting startup\n",
            "HTTP: startup successful\n",
            "Agent: Check state of enterprise SSL setting\n",
            "Agent: Check SSL state invoke call failed. QDV Server may not be available\n",
            "Agent: startup successful\n",
            f"Agent_SignalHandler() agent received signal {number}. Shutting down.\n",
            "Agent: attempting shutdown\n",
            "HTTP: attempting shutdown\n",
            "HTTP: shutdown successful\n",
            "Agent: shutdown successful\n",
        ]
        assert_story(agent.log(), story)
        for line in agent.log().splitlines():
            if re.match(STAMP, line):
                stamp = datetime.strptime(line[:19], "%Y-%m-%d %H:%M:%S").replace(tzinfo=timezone.utc)
                assert abs(stamp - began) < timedelta(seconds=limit(60)), line


def test_sigpipe_is_ignored_and_nothing_is_logged_without_verbose(start):
    agent = start(flags=())
    for _ in range(3):
        agent.send_signal(signal.SIGPIPE)
    assert agent.get().status == 200
    agent.raw(b"rubbish", half_close=True)
    assert agent.call().outcome == ("success", "success")
    assert agent.stop() == 0
    assert (agent.log(), agent.stderr()) == ("", "")
    assert not agent.tree.log_file.exists()


def test_program_runs_in_its_own_directory(start, new_tree):
    tree = new_tree()
    agent = start(tree)
    assert os.readlink(f"/proc/{agent.pid}/cwd") == str(tree.bin)


def test_ports_are_free_again_after_the_stop(start):
    """The agent comes back on the same ports at once, whatever connections the last run had."""
    first = start(binds=2)
    for port in first.ports:
        with Connection(port.number) as connection:
            connection.send(b"GET / HTTP/1.0\r\n\r\n")  # the agent ends it, so the wait state is its own
            assert connection.read_to_end()
    assert first.stop() == 0
    again = start(ports=first.ports)
    assert again.get().status == 200


def test_empty_bind_list_only_waits_for_a_signal(start):
    agent = start(binds=0)
    assert agent.is_running()
    assert agent.stop() == 0


def test_shutdown_with_connections_still_held(start):
    """A worker in a read is not woken: the agent gives it five attempts, a second apart, and then leaves."""

    def idle_client(agent):
        connection = agent.connect()
        connection.send(b"GET / HTTP/1.1\r\n\r\n")
        assert connection.read_reply().header("Connection") == "Keep-Alive"
        return connection

    def held_to_the_end():
        agent = start()
        with idle_client(agent):
            began = time.monotonic()
            status = agent.stop(seconds=12)
            took = time.monotonic() - began
        log = agent.log()
        assert status == 1
        assert 4 < took < limit(8), took
        assert log.count("HTTP: threads still running\n") == 4
        assert log.count("HTTP: threads still running on last attempt to shutdown\n") == 1
        assert log.endswith("Agent: shutdown failed, exiting immediately\n")
        assert "Agent: shutdown successful" not in log

    def let_go_in_time():
        agent = start()
        connection = idle_client(agent)
        agent.send_signal(signal.SIGTERM)
        agent.wait_log("HTTP: threads still running\n")
        connection.close()
        assert agent.wait() == 0
        assert agent.log().endswith("Agent: shutdown successful\n")

    def second_signal():
        """It only adds a count: the shutdown that is under way goes on."""
        agent = start()
        connection = idle_client(agent)
        agent.send_signal(signal.SIGTERM)
        agent.wait_log("HTTP: threads still running\n")
        agent.send_signal(signal.SIGTERM)
        agent.send_signal(signal.SIGHUP)
        agent.wait_log("agent received signal 1. Shutting down.\n")
        assert agent.is_running()
        connection.close()
        assert agent.wait() == 0
        assert agent.log().count("Agent: attempting shutdown\n") == 1
        assert agent.log().count("agent received signal 15. Shutting down.\n") == 2

    with ThreadPoolExecutor(3) as pool:
        for case in [pool.submit(c) for c in (held_to_the_end, let_go_in_time, second_signal)]:
            case.result()


def test_signals_before_the_wait_are_not_lost(start):
    """A signal that comes as soon as the port answers, while the start-up may still go on, ends the agent."""
    for _ in range(5):
        agent = start(wait=False, flags=())
        wait_until(lambda: agent._answers(agent.port), 10, "the port to answer")
        assert agent.stop() == 0


def test_unwritable_identity_file_does_not_stop_the_start(start, new_tree):
    tree = new_tree()
    (tree.conf / "uuid.conf.tmp").mkdir()
    (tree.conf / "uuid.conf.tmp" / "x").touch()
    agent = start(tree)
    log = agent.log()
    assert "Agent: Failed to find agent guid configuration file\n" in log
    assert "Agent: Failed to write default agent guid configuration file\n" in log
    assert agent.get().status == 200


def test_editor_comes_before_version_and_needs_input(idle_tree):
    run = idle_tree.run("-version", "-editConfig")
    assert run.status == 1
    assert "QDV SERVER INFORMATION\n" in run.stdout and VERSION not in run.stdout
    assert run.stdout.endswith("\nAn error occurred.  Exiting and not saving changes.\n")
    assert not idle_tree.agent_conf.exists()
