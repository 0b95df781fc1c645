"""The audit methods from outside: the host's own tools, and tools put in front of them."""

import glob
import platform
import re
import socket
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import pytest

from harness import INVALID_UUID, LEVELS, SUCCESS, TOO_MANY, environment, wait_until


class Tools:
    """Scripts that an agent with `more` in its environment finds before the host's tools of the same name."""

    def __init__(self, folder):
        self.folder = folder
        self.more = {"PATH": f"{folder}:{environment()['PATH']}"}
        self.say()

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
def tools(tmp_path):
    return Tools(tmp_path)


def summary(agent):
    """The attributes of host, operating system and machine."""
    answer = agent.call("GetHostSummary", uuid="id")
    (host,) = answer.children
    assert (answer.outcome, host.tag) == (SUCCESS, "HostSystem")
    assert [(child.tag, len(child)) for child in host] == [("OS", 0), ("Machine", 0), ("Shares", 0)]
    return tuple(dict(element.attrib) for element in (host, host[0], host[1]))


def test_this_host(ctl, agent):
    host, system, machine = summary(agent)
    assert host["type"] == "Linux" and "domain" not in host and "name" not in host
    first = [Path(file).read_text().partition("\n")[0] for file in sorted(glob.glob("/etc/*-release"))[:1]]
    assert system["name"] == f"{(first or ['Linux'])[0].rstrip()} {platform.release()}"
    expected = {"name": socket.gethostname(), "type": "Linux", "manufacturer": "PC compatible", "model": platform.machine()}
    assert expected.items() <= machine.items() and "serialNumber" not in machine and machine["domain"]
    at = ("--agent", f"127.0.0.1:{agent.port}", "--uuid", "id")
    shown = dict(re.findall(r"^([^:\n]+): +(.*)$", ctl("host", *at).stdout, re.M))
    assert (shown["Host"], shown["Operating system"]) == (machine["name"], system["name"])
    assert shown["Machine"] == f"PC compatible, {machine['model']}"
    assert re.match(r"UTC[+-]\d\d:\d\d", shown["Time zone"])
    (plexes,) = ctl("audit", "plexes", *at, "--json").json
    assert (plexes["response"], [each["element"] for each in plexes["elements"]]) == ("success", ["Plexes"])
    (everything,) = ctl("audit", "all", *at, "--json").json
    assert [f"Get{each['element']}" for each in everything["elements"]] == [*LEVELS]
    tree = ctl("audit", "--tree", *at)
    assert tree.status == 0 and re.search(r"^object +level +size", tree.stdout, re.M)
    assert re.search(r"^/ +volume +[0-9.]+ [KMGTP]iB", tree.stdout, re.M)
    assert "--tree" in ctl("audit", "--tree", "--json", *at).error(2)
    assert ctl("audit", "all", "--agent", at[1], "--uuid", "other").status == 1
    assert "cellars" in ctl("audit", "cellars", *at).error(2)


def test_what_the_tools_say(start, tools):
    agent = start(more=tools.more)
    for releases, release_file, name in (
        ("", "", "Linux"),
        ("/etc/first-release\n", "Distribution 9 \r\nmore\n", "Distribution 9 "),
        ("/etc/first-release /etc/second-release\n", "One line", "One line"),
        ("/etc/first-release\t/etc/second-release\n", "\nsecond line", ""),
        ("/etc/first-release\n", "", "Linux"), (" /etc/first-release\n", "Distribution", "Linux"),
        ("/etc/no-such-release\n/etc/first-release\n", "Distribution", "Linux"),
        (f"/etc/$(touch${{IFS}}{tools.folder}/pwned)-release\n", "Distribution", "Linux"),
    ):
        tools.say(releases, release_file, kernel="5.9-test\\nmore")
        assert summary(agent)[1]["name"] == name + " 5.9-test", (releases, release_file)
    assert not (tools.folder / "pwned").exists()
    for resolver, domain in (
        ("domain example.com\nnameserver 10.0.0.1\n", "example.com"),
        ("nameserver 10.0.0.1\ndomain \t two.example", "two.example"),
        ("domain example.com  \nsearch domain.example\n", "example.com  "), ("domain \t", "unknown"), ("domain", "unknown"),
        ("# for domain example.com\ndomain example.com\n", "unknown"), (" domain example.com\n", "unknown"),
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


def test_time_zone(start):
    for zone, offset, daylight in (
        ("UTC0", None, None), ("EAST-5:30", "330", None), ("WEST3", "-180", None), ("STD-1SUM-2,0/0,J365/25", "120", "true"),
    ):  # fmt: skip
        machine = summary(start(more={"TZ": zone}))[2]
        assert (machine.get("gmtOffset"), machine.get("daylight")) == (offset, daylight), zone


def test_every_audit_is_served(start, server):
    """With the identity and without parameters; what is queued is delivered later."""
    agent = start(server=server)
    summary(agent)
    for method in (*LEVELS, "GetStorageSystem"):
        assert agent.outcome(method, uuid="other") == INVALID_UUID
        assert agent.outcome(method, "<a/>", uuid="id") == TOO_MANY
        assert agent.outcome(method, uuid="id") == SUCCESS, method
    server.wait_calls("GetStorageSystemResults")
    assert agent.stop() == 0


def test_a_host_whose_tools_are_slow_holds_up_only_who_asked(start, tools):
    waiting, opened = tools.folder / "waiting", tools.folder / "opened"
    waits = f"if mkdir {waiting} 2>/dev/null; then while [ ! -e {opened} ]; do sleep 0.05; done; fi\necho slow"
    tools.put("uname", waits)
    agent = start(more=tools.more)
    with ThreadPoolExecutor(1) as pool:
        try:
            slow = pool.submit(summary, agent)
            wait_until(waiting.exists, "the slow tool to run")
            assert summary(agent)[1]["name"] == "Linux slow"
            assert agent.outcome() == SUCCESS
            for _ in range(8):
                assert agent.outcome("GetStorageSystem", uuid="id") == SUCCESS
            assert not slow.done()
        finally:
            opened.touch()
        assert slow.result()[1]["name"] == "Linux slow"
