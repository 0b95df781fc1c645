"""The audit methods from outside: the host's own tools, and tools put in front of them."""

import os
import platform
import re
import socket
import subprocess
from concurrent.futures import ThreadPoolExecutor

import pytest

from harness import limit, wait_until
from harness import agent as agent_module
from harness.envelope import FAILED, INVALID_UUID, SUCCESS
from harness.tree import environment

LEVELS = (
    "GetPhysicalDrives",
    "GetDriveExtents",
    "GetExtentPools",
    "GetPlexes",
    "GetStorageVolumes",
    "GetStorageAssociations",
)
TOO_MANY = ("too many parameters", "")


class Tools:
    """Scripts that the agent finds before the host's tools of the same name."""

    def __init__(self, folder, monkeypatch):
        self.folder = folder
        path = f"{folder}:{environment()['PATH']}"
        monkeypatch.setattr(agent_module, "environment", lambda: environment() | {"PATH": path})

    def put(self, name, script):
        """Replaces the tool in one step, as an agent may be about to run it."""
        new = self.folder / f".{name}"
        new.write_text(f"#!/bin/sh\n{script}\n")
        new.chmod(0o755)
        new.rename(self.folder / name)

    def say(self, releases="", release_file="", resolver="", kernel="5.9-test", machine="pdp11"):
        """What `ls`, `cat` and `uname` tell; `release_file` is what the first listed file holds."""
        for name, text in (("ls", releases), ("release", release_file), ("resolver", resolver)):
            (self.folder / f"{name}.txt").write_text(text)
        self.put("ls", f'[ "$*" != "" ] && exec /bin/cat {self.folder}/ls.txt')
        self.put(
            "cat",
            f'case "$*" in\n/etc/resolv.conf) exec /bin/cat {self.folder}/resolver.txt;;\n'
            f'/etc/first-release) exec /bin/cat {self.folder}/release.txt;;\n*) exec /bin/cat "$@" 2>/dev/null;;\nesac',
        )
        self.put("uname", f"case $1 in\n-r) printf '{kernel}';;\n-m) printf '{machine}';;\nesac")


@pytest.fixture
def tools(tmp_path, monkeypatch):
    return Tools(tmp_path, monkeypatch)


def summary(agent):
    """The attributes of host, operating system and machine."""
    answer = agent.call("GetHostSummary", uuid="id", seconds=30)
    assert answer.outcome == SUCCESS
    (host,) = answer.children
    assert host.tag == "HostSystem" and [child.tag for child in host] == ["OS", "Machine", "Shares"]
    assert all(len(child) == 0 for child in host)
    return tuple(dict(element.attrib) for element in (host, host[0], host[1]))


def test_the_summary_of_this_host(agent):
    host, system, machine = summary(agent)
    assert host["type"] == "Linux" and "domain" not in host and "name" not in host
    assert system["name"].endswith(" " + platform.release())
    first = sorted(name for name in os.listdir("/etc") if name.endswith("-release"))
    if first:
        with open("/etc/" + first[0], encoding="utf-8") as file:
            assert system["name"] == f"{file.readline().rstrip()} {platform.release()}"
    assert machine["name"] == socket.gethostname()
    assert (machine["type"], machine["manufacturer"]) == ("Linux", "PC compatible")
    assert machine["model"] == platform.machine()
    assert "serialNumber" not in machine and machine["domain"]
    assert machine.get("daylight", "true") == "true" and machine.get("gmtOffset") != "0"


def test_what_the_tools_say(start, tools):
    tools.say()
    agent = start()
    for releases, release_file, name in (
        ("", "", "Linux"),
        ("/etc/first-release\n", "Distribution 9 \r\nmore\n", "Distribution 9 "),
        ("/etc/first-release /etc/second-release\n", "One line", "One line"),
        ("/etc/first-release\t/etc/second-release\n", "\nsecond line", ""),
        ("/etc/first-release\n", "", "Linux"),
        ("/etc/no-such-release\n/etc/first-release\n", "Distribution", "Linux"),
        ("/etc/$(touch${IFS}/tmp/qdv-pwned)-release\n", "Distribution", "Linux"),
    ):
        tools.say(releases, release_file, kernel="5.9-test\\nmore")
        assert summary(agent)[1]["name"] == name + " 5.9-test", (releases, release_file)
    assert not os.path.exists("/tmp/qdv-pwned")

    for resolver, domain in (
        ("domain example.com\nnameserver 10.0.0.1\n", "example.com"),
        ("nameserver 10.0.0.1\ndomain \t two.example", "two.example"),
        ("# the domain\ndomain example.com\n", "unknown"),
        ("search domain.example\n", "unknown"),
        ("domain\n", "unknown"),
        ("", "unknown"),
    ):
        tools.say(resolver=resolver)
        assert summary(agent)[2]["domain"] == domain, resolver

    tools.say(kernel="", machine="")
    _, system, machine = summary(agent)
    assert "name" not in system and "model" not in machine and machine["manufacturer"] == "PC compatible"
    assert "System_StorageSystemLinux::audit uname -r, skipping\n" in agent.log()
    tools.say(machine='a"<&>b\\nmore')
    assert summary(agent)[2]["model"] == 'a"<&>b'


def test_time_zone(start, monkeypatch):
    for zone, offset, daylight in (
        ("UTC0", None, None),
        ("EAST-5:30", "330", None),
        ("WEST3", "-180", None),
        ("STD-1SUM-2,0/0,J365/25", "120", "true"),
    ):
        with_zone = environment() | {"TZ": zone}
        monkeypatch.setattr(agent_module, "environment", lambda: with_zone)
        machine = summary(start())[2]
        assert (machine.get("gmtOffset"), machine.get("daylight")) == (offset, daylight), zone


def test_audits_need_the_identity_and_no_parameters(agent):
    summary(agent)
    for method in ("GetHostSummary", "GetStorageSystem", *LEVELS):
        assert agent.call(method, uuid="other").outcome == INVALID_UUID
        answer = agent.call(method, "<a/>", uuid="id")
        assert answer.outcome == TOO_MANY and not answer.children


def test_a_level_that_cannot_be_audited_fails(start, server):
    """And leaves the container to the next one; what is queued is accepted, and delivers nothing."""
    agent = start(server=server)
    for _ in range(2):
        for method in LEVELS:
            answer = agent.call(method, uuid="id")
            assert answer.outcome == FAILED and not answer.children, method
        answer = agent.call("GetStorageSystem", uuid="id")
        assert answer.outcome == SUCCESS and not answer.children
    agent.wait_log("AgentRMI_GetStorageSystemRunnable::invoke failure\n", 2)
    for line in ("invoke could not audit any level", "audit failed for item 5"):
        assert agent.log().count(f"AgentRMI_GetStorageSystemRunnable::{line}\n") == 2
    assert agent.stop() == 0
    assert [call.method for call in server.calls] == ["GetSSLState"]


def test_a_host_whose_tools_are_slow_holds_up_only_who_asked(start, tools):
    tools.say()
    waiting, opened = tools.folder / "waiting", tools.folder / "opened"
    tools.put(
        "uname",
        f"if mkdir {waiting} 2>/dev/null; then while [ ! -e {opened} ]; do sleep 0.05; done; fi\necho slow",
    )
    agent = start()
    with ThreadPoolExecutor(1) as pool:
        try:
            slow = pool.submit(summary, agent)
            wait_until(waiting.exists, 10, "the slow tool to run")
            assert summary(agent)[1]["name"] == "Linux slow"
            assert agent.call().outcome == SUCCESS
            for _ in range(8):
                assert agent.call("GetStorageSystem", uuid="id").outcome == SUCCESS
            assert not slow.done()
        finally:
            opened.touch()
        assert slow.result()[1]["name"] == "Linux slow"
    assert agent.stop() == 0


def test_qdvctl_shows_the_host_and_asks_for_levels(stage, agent):
    def ctl(*arguments):
        command = [str(stage / "bin" / "qdvctl"), *arguments, "--agent", f"127.0.0.1:{agent.port}", "--uuid", "id"]
        done = subprocess.run(command, capture_output=True, env=environment(), timeout=limit(30), text=True)
        return done.returncode, done.stdout, done.stderr

    _, system, machine = summary(agent)
    status, stdout, stderr = ctl("host")
    assert (status, stderr) == (0, "")
    shown = dict(re.findall(r"^([^:\n]+): +(.*)$", stdout, re.M))
    assert shown["Host"] == machine["name"] and shown["Operating system"] == system["name"]
    assert shown["Machine"] == f"PC compatible, {machine['model']}"
    assert re.match(r"UTC[+-]\d\d:\d\d", shown["Time zone"])
    status, stdout, stderr = ctl("audit", "plexes")
    assert status == 1 and "GetPlexes: error (" in stdout
    assert ctl("audit", "all")[0] == 0
    status, stdout, stderr = ctl("audit", "cellars")
    assert status == 2 and stdout == "" and "cellars" in stderr
