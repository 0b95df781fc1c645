"""agent.conf: what the agent and `qdvctl config` make of it, good and bad, and the dialog of -editConfig."""

import json
import os
import re
import shutil
import socket
import subprocess
import xml.etree.ElementTree as ET
from pathlib import Path

import pytest

from harness import Dialog, Port, agent_conf, can_make_worlds, uuid_conf
from harness.tree import bind

CANNOT_PARSE = "Agent: Failed to parse agent configuration file\n"


@pytest.fixture
def ports():
    held = [Port() for _ in range(3)]
    yield held
    for port in held:
        port.release()


# ---- what is read and what is refused


def test_forms_that_are_read(start, new_tree, ports):
    one, two, three = ports
    both = bind(one) + bind(two)
    loose = (
        f'<!-- the first --> {bind(one)} text <Other address="127.0.0.1" port="{three.number}"/>'
        f"{bind(three).replace('Bind', 'bind')}<Group>{bind(three)}</Group><![CDATA[{bind(three)}]]><?pi {bind(three)}?>"
        + bind(two, extra=' more="x"')
    )
    optional = {"proxyHostname": "", "proxyPort": "", "username": "", "password": ""}
    empty = {"returnAddress": "", "returnPortMin": "", "returnPortMax": ""}
    plain = agent_conf(bind_xml=both)
    server_info = '<ServerInfo uri="/x" sslPort="9" port="9" hostname="127.0.0.1"/>'
    for text in (
        agent_conf(bind_xml=loose),
        agent_conf(server=optional, agent=empty, bind_xml=both),
        agent_conf(server={"port": "80x", "sslPort": "x"}, bind_xml=bind(one) + bind(two).replace('"/>', 'x"/>')),
        plain + "<!--" + "x" * (-(len(plain) + 7) % 1024) + "-->",  # whole blocks
        f'<AgentConfiguration version="1.0"><AgentInfo><BindList>{both}</BindList></AgentInfo>{server_info}'
        "</AgentConfiguration>",
        plain.replace("UTF-8", "ISO-8859-1").replace("<Agent", "<!-- \xfc --><Agent", 1),
    ):
        tree = new_tree()
        tree.agent_conf.write_text(text, encoding="iso-8859-1")
        agent = start(tree, write_conf=False, binds=0)
        assert [agent.answers(port.number) for port in ports] == [True, True, False], text
        assert tree.agent_conf.read_text(encoding="iso-8859-1") == text
        assert agent.stop() == 0


SERVER_INFO = '<ServerInfo hostname="h" port="9" sslPort="9" uri="/x"/>'
BIND = '<Bind address="127.0.0.1" port="9"/>'
BIND_LIST = f"<BindList>{BIND}</BindList>"
AGENT_INFO = f"<AgentInfo>{BIND_LIST}</AgentInfo>"
GOOD = f'<AgentConfiguration version="1.0">{SERVER_INFO}{AGENT_INFO}</AgentConfiguration>'
ATTRIBUTES = {"ServerInfo": ("hostname", "port", "sslPort", "uri"), "Bind": ("address", "port")}
# text of the file, and words with which the refusal explains itself
BROKEN = [
    ("", ()),
    ("hostname=127.0.0.1\n", ("line 1",)),
    ("\0" * 3000, ()),
    (GOOD[:-20], ("line 1",)),
    (GOOD * 2, ("line 1",)),
    (GOOD.replace("AgentConfiguration", "AgentConfig"), ("AgentConfiguration",)),
    (GOOD.replace("AgentConfiguration", "agentconfiguration"), ("AgentConfiguration",)),
    *((GOOD.replace("1.0", text), ("AgentConfiguration", "version", '"1.0"')) for text in ("1.1", "1.0 ", "")),
    (GOOD.replace(' version="1.0"', ""), ("AgentConfiguration", "version")),
    *((GOOD.replace(one, one * times), (f'{many} element "{word}"; expected exactly one',))
      for times, many in ((0, ": no"), (2, ": more than one")) for one, word in (
        (SERVER_INFO, "ServerInfo"), (AGENT_INFO, "AgentInfo"), (BIND_LIST, "BindList"),
    )),
    (GOOD.replace(AGENT_INFO, "<AgentInfo/><BindList/>"), ("BindList",)),
    (GOOD.replace(BIND, BIND + '<Bind address="127.0.0.1"/>'), ("Bind", '"port"')),
    (GOOD.replace(BIND, BIND + '<Bind address="" port="1"/>'),
     ('Bind: attribute "address" is missing or empty; expected a host name or an IP address',)),
    (GOOD.replace("1.0", "1&#10;\x7f" + "x" * 100), (f'version" is "1??{"x" * 77}..."; expected "1.0"',)),
    ("<?xm\nl\x7f\n?>", ("not an XML document: ",)),
    ('<!DOCTYPE AgentConfiguration [<!ENTITY uri "/x">]>' + GOOD.replace('"/x"', '"&uri;"'), ()),
    *((re.sub(rf'(<{element} [^>]*{name})="[^"]+"', rf"\1{change}", GOOD), (element, f'"{name}"'))
      for element, names in ATTRIBUTES.items() for name in names for change in ('=""', 'X="1"')),
]  # fmt: skip


def test_refusals_end_the_start_and_are_explained(ctl, new_tree):
    """By the agent, by its check before a start, and by `qdvctl config check` with the same words."""
    tree = new_tree()

    def refused(words):
        run = tree.run("-verbose")
        assert (run.status, run.stderr) == (1, "") and CANNOT_PARSE in run.stdout
        checked = ctl("config", "check", tree.conf)
        line, other = checked.stdout.splitlines()
        assert checked.status == 1 and line.startswith(f"{tree.agent_conf}: faulty: ")
        reason = line.partition(": faulty: ")[2].replace(str(tree.conf), f"{tree.bin}/../conf")
        assert reason in run.stdout and all(word in reason for word in words), line
        before_start = tree.run("--check-config")
        assert (before_start.status, before_start.stdout) == (os.EX_CONFIG, "")
        assert before_start.stderr.endswith(f": {reason}\n"), before_start.stderr
        assert other == f"{tree.uuid_conf}: absent; the agent makes it when it starts"

    for text, words in BROKEN:
        tree.agent_conf.write_text(text)
        try:
            refused(words)
        except AssertionError as fault:
            raise AssertionError(f"with {text!r}") from fault
    tree.agent_conf.unlink()
    assert "absent" in ctl("config", "check", tree.conf).stdout
    tree.agent_conf.mkdir()
    refused(("Is a directory",))
    assert ctl("config", "show", tree.conf).status == 1
    tree.agent_conf.rmdir()
    os.mkfifo(tree.agent_conf)
    refused(())
    tree.agent_conf.unlink()
    tree.agent_conf.touch()
    os.truncate(tree.agent_conf, 1 << 40)
    refused(("File too large",))
    assert not tree.uuid_conf.exists()


def test_missing_configuration_ends_the_start(new_tree):
    tree = new_tree()
    run = tree.run()
    assert (run.status, run.stdout, run.stderr) == (1, "", "")
    run = tree.run("-verbose")
    assert run.status == 1 and "Agent: Failed to find agent configuration file\n" in run.stdout
    assert "guid" not in run.stdout and "HTTP: " not in run.stdout
    assert not tree.uuid_conf.exists(), "nothing is written by an agent that does not start"
    shutil.rmtree(tree.conf)
    assert tree.run().status == 1


def test_bind_failures_end_the_start(new_tree, ports):
    tree = new_tree()
    free, busy = (port.number for port in ports[:2])
    ports[1].listen()
    in_use = "System error 98 Address already in use"
    for pairs, reason in (
        ([("127.0.0.1", busy)], f"127.0.0.1 port {busy}: {in_use}"),
        ([("127.0.0.1", free), ("127.0.0.1", busy)], f"127.0.0.1 port {busy}: {in_use}"),
        ([("127.0.0.1", free)] * 2, f"127.0.0.1 port {free}: {in_use}"),
        ([("127.0.0.1", free), ("localhost", free)], f"127.0.0.1 port {free}: {in_use}"),
        ([("192.0.2.1", free)], f"192.0.2.1 port {free}: System error 99 Cannot assign requested address"),
        ([("a..b", free)], f"a..b port {free}: the address is unknown"),
        ([("127.0.0.1", 65536)], "127.0.0.1 port 65536: this is no port"),
    ):
        tree.agent_conf.write_text(agent_conf(pairs))
        run = tree.run("-verbose")
        said = f"HTTP: cannot listen on {reason}\n"
        assert run.status == 1 and said in run.stdout and "Agent: HTTP server init failed\n" in run.stdout, pairs
        quiet = tree.run()
        assert (quiet.status, quiet.stdout, quiet.stderr) == (1, "", ""), pairs


@pytest.mark.parametrize("pairs", [0, 40])
def test_number_of_pairs(start, pairs):
    """Every pair serves; without one the agent only waits for a signal. A run leaves exactly the files it has."""
    agent = start(binds=pairs)

    def files():
        return {str(path.relative_to(agent.tree.top)) for path in agent.tree.top.rglob("*") if path.is_file()}

    before = files()
    assert "conf/uuid.conf" in before
    assert all(agent.answers(port.number) for port in agent.ports)
    assert pairs == 0 or agent.call(uuid="id").uuid == "id"
    assert agent.stop() == 0
    assert files() == before


def test_qdvctl_shows_and_warns(ctl, new_tree):
    tree = new_tree()
    secret = {"password": "topsecret", "username": "u"}
    proxy, ports = {"proxyHostname": "p", "proxyPort": "1"}, {"returnPortMin": "9", "returnPortMax": "18"}
    tree.agent_conf.write_text(agent_conf([("0.0.0.0", 1), ("h", 2), ("h", 3)], server=secret | proxy, agent=ports))
    tree.agent_conf.chmod(0o600)
    tree.uuid_conf.write_text(uuid_conf([("id1", ""), ("id2", "host")]))
    own = ctl("config", "check", program=tree.bin / "qdvctl")
    assert (own.status, own.stdout) == (0, f"{tree.agent_conf}: good\n{tree.uuid_conf}: good\n")
    assert ctl("config", "check", tree.top).stdout == own.stdout
    single = [ctl("config", "check", path) for path in (tree.agent_conf, tree.uuid_conf)]
    assert [result.status for result in single] == [0, 0] and "".join(result.stdout for result in single) == own.stdout
    shown = ctl("config", "show", tree.conf)
    assert shown.status == 0 and "topsecret" not in shown.stdout
    for text in ("password       (set)\n", "hostname       127.0.0.1\n", "id2", "returnPortMin  9\n"):
        assert text in shown.stdout
    assert re.search(r"^ +Bind\n +address +port\n +0\.0\.0\.0 +1\n +h +2\n", shown.stdout, re.M)
    found = ctl("config", "show", tree.conf, "--json").json[0]["elements"]
    assert [file["attributes"]["state"] for file in found] == ["good", "good"]
    assert found[0]["elements"][0]["element"] == "AgentConfiguration" and "topsecret" not in json.dumps(found)
    tree.agent_conf.chmod(0o644)
    for pairs, server, agent, warnings in (
        ([], {"port": "http"} | secret, {},
         ["ServerInfo: port is 0, which is no port", "BindList is empty: the agent listens nowhere\n", "every user"]),
        ([("a", 1)] * 2, {"sslPort": "65536", "proxyHostname": "p"}, ports | {"returnPortMax": "8"},
         ["sslPort is 65536, which is no port", "the proxy is not used", "no range of ports", "a port 1 is there twice"]),
        ([("b", -1)], {}, {"returnPortMin": "65530", "returnPortMax": "65536"},
         ["port of b is 4294967295, which is no port", "no range of ports"]),
        ([("a", 1)], {}, ports | {"returnPortMax": "17"}, ["fewer than the recommended 10 ports"]),
    ):  # fmt: skip
        tree.agent_conf.write_text(agent_conf(pairs, server=server, agent=agent))
        warned = ctl("config", "check", tree.conf)
        assert (warned.status, warned.stdout.count(": warning: ")) == (0, len(warnings)), warned.stdout
        for warning in warnings:
            assert re.search(f"^{tree.agent_conf}: warning: .*{warning}", warned.stdout, re.M), warned.stdout
    for attributes, low, high in (
        ({}, "0", "0"), ({"returnPortMin": "5000", "returnPortMax": ""}, "5000", "5000"), ({"returnPortMax": "6"}, "0", "6"),
        ({"returnPortMin": "x", "returnPortMax": " 7y"}, "0", "7"),
    ):  # fmt: skip
        tree.agent_conf.write_text(agent_conf([("a", 1)], agent=attributes))
        info = ctl("config", "show", tree.agent_conf, "--json").json[0]["elements"][0]["elements"][-1]["elements"][1]
        assert [info["attributes"][name] for name in ("returnPortMin", "returnPortMax")] == [low, high]
    for text, reason in (
        (uuid_conf([], version="2.0"), 'AgentUuidConfiguration: attribute "version" is "2.0"; expected "1.1" or "1.0"'),
        (uuid_conf([]).replace("<Uuids>", "<Uuids/><Uuids>"),
         'AgentUuidConfiguration: more than one element "Uuids"; expected exactly one'),
        (uuid_conf([], version="1.0"), 'AgentUuidConfiguration: no element "Uuid"; expected exactly one'),
        (agent_conf(), 'the root element is "AgentConfiguration"; expected "AgentUuidConfiguration"'),
    ):
        tree.uuid_conf.write_text(text)
        refused = ctl("config", "check", tree.uuid_conf)
        assert (refused.status, refused.stdout) == (1, f"{tree.uuid_conf}: faulty: {reason}\n")


# ---- the dialog

THIS_HOST = socket.gethostname()
EXISTS = "The QDVAgent configuration file already exists.\nDo you want to edit it? <Y|n>: "
END_OF_INPUT = "\nAn error occurred.  Exiting and not saving changes.\n"


def edit(tree, text, *flags):
    """Holds the dialog with all answers given beforehand."""
    path = tree.root / "answers"
    path.write_bytes(text.encode() if isinstance(text, str) else text)
    with open(path, "rb") as answers:
        return tree.run(*flags, "-editConfig", stdin=answers)


def attributes_of(tree):
    root = ET.fromstring(tree.agent_conf.read_bytes())
    assert (root.tag, root.attrib) == ("AgentConfiguration", {"version": "1.0"})
    server, agent = root
    return dict(server.attrib), dict(agent.attrib), [(bind.get("address"), bind.get("port")) for bind in agent[0]]


ALL = {
    "pairs": [("10.0.0.1", 1), ("10.0.0.2", -1)], "agent": {"returnAddress": "::1", "returnPortMin": "5000", "returnPortMax": "5020"},
    "server": {"hostname": "server", "port": "8080", "sslPort": "4294967295", "uri": "/a?b=<c>&d=\"e\"'\n\t", "proxyHostname": "proxy",
               "proxyPort": "3128", "username": " us\u00e9r ", "password": "\uefff\uef01 p&\"]]>"},
}  # fmt: skip
NO_PROXY = {"proxyHostname": "", "proxyPort": "0", "username": "", "password": ""}
NO_RETURN = {"returnAddress": "", "returnPortMin": "0", "returnPortMax": "0"}


def test_dialog_word_for_word(new_tree):
    """dialogs.txt has two of them: one that makes a file, and one that keeps all that a file can hold."""
    tree = new_tree()
    dialogs = (Path(__file__).parent / "dialogs.txt").read_text().replace("THIS_HOST", THIS_HOST)
    made, kept = dialogs.split("====\n")
    assert edit(tree, "server" + "\n" * 10).stdout == made.rstrip("\n")
    tree.agent_conf.write_text(agent_conf(**ALL))
    before = attributes_of(tree)
    run = edit(tree, "\n" * 19)
    assert run.stdout.encode(errors="surrogateescape") == kept.rstrip("\n").encode().replace(b"(bytes)", b"\xff\x01")
    assert attributes_of(tree) == (*before[:2], [("10.0.0.1", "1"), ("10.0.0.2", "4294967295")])


def test_dialog_whose_input_ends_saves_nothing(new_tree):
    tree = new_tree()
    answers = [*", , , ,y,p,1,y,u,w,y,1,2,a,y,n,y,y,b,7,y,c,8, ,n,y".replace(" ", "").split(",")]
    before = agent_conf([("x", 1), ("y", 2)])
    tree.agent_conf.write_text(before)
    for given in range(len(answers)):
        run = edit(tree, "".join(f"{answer}\n" for answer in answers[:given]))
        assert run.status == 1 and run.stdout.endswith(": " + END_OF_INPUT), given
        assert tree.agent_conf.read_text() == before
    assert edit(tree, "".join(f"{answer}\n" for answer in answers)).status == 0, "every prompt has been tried"
    assert attributes_of(tree)[2] == [("b", "7"), ("c", "8")]


def test_dialog_takes_what_it_is_told(new_tree):
    """Nothing is checked; what begins with no yes is a no, and a proxy without a port is none."""
    tree = new_tree()
    full = agent_conf(**ALL)
    for before, answers, expected, shown in (
        *((full, f"\n\n\n\n{no}\n{no}\n", NO_PROXY | NO_RETURN, "") for no in ("n", "no", "yes", "x")),
        (full, "\n\n\n\nY\n\n\nn\n", NO_PROXY | {"proxyHostname": "proxy", "proxyPort": "3128"}, ""),
        (agent_conf([("a", 1)], server={"proxyHostname": "proxy"}), "\ns\r\nport\n-1\nn\ny\n9\n5\n\n",
         NO_PROXY | {"hostname": "s\r", "port": "0", "sslPort": "4294967295", "returnAddress": THIS_HOST, "returnPortMin": "9",
                     "returnPortMax": "5"}, "contact an HTTP proxy to access the\nQDVServer? <y|N>: "),
        ("", "first" + "\n" * 8 + "y\n\0x\n81\n", {"hostname": "first", "port": "81"}, "<ip|hostname>[first]: "),
        ("", "h" * 1023 + "81\n", {"hostname": "h" * 1023, "port": "81"}, ""),
    ):  # fmt: skip
        tree.agent_conf.write_text(before) if before else tree.agent_conf.unlink()
        run = edit(tree, answers + "\n" * 20)
        server, agent, _ = attributes_of(tree)
        assert expected.items() <= (server | agent).items() and shown in run.stdout, answers


@pytest.mark.skipif(not can_make_worlds(), reason="needs root and the right to have a host name of its own")
def test_dialog_on_a_host_without_a_name(new_tree):
    tree = new_tree()
    unnamed = "import os, socket, sys; socket.sethostname(''); os.execv(sys.argv[1], sys.argv[1:])"
    dialog = Dialog("unshare", "-u", "/usr/bin/python3", "-c", unnamed, tree.program, "-editConfig", terminal=False)
    dialog.type("s" + "\n" * 9 + "a\n1\n\n\n\n")
    assert dialog.finish() == 0 and attributes_of(tree)[2] == [("a", "1")]
    assert "Do you want to add more port/address pairs? <Y|n>: " in dialog.seen


@pytest.mark.parametrize("terminal", [False, True], ids=["pipe", "terminal"])
def test_dialog_makes_a_file_that_starts_the_agent(new_tree, start, ports, terminal):
    tree = new_tree()
    port = ports[0].number
    dialog = Dialog(tree.program, "-editConfig", terminal=terminal)
    for prompt, text in (
        ("Enter the QDVServer hostname <ip|hostname>[]: ", "127.0.0.1"),
        ("Enter the QDVServer port <port>(80)[80]: ", "9"),
        ("Enter the QDVServer SSL port <port>(443)[443]: ", "9"),
        ("Should the QDVAgent contact an HTTP proxy to access the\nQDVServer? <y|N>: ", ""),
        ("Should the QDVAgent use return ports and/or addresses? <y|N>: ", "n"),
        (f"Enter the address to listen on <ip|hostname>[{THIS_HOST}]: ", "127.0.0.1"),
        ("Enter the port to listen on <port>(8372)[8372]: ", str(port)),
        ("Do you want to add more port/address pairs? <y|N>: ", ""),
        ("Do you want to modify your changes? <y|N>: ", ""),
        ("Changes have been made to the configuration.\nDo you want to save the changes? <Y|n>: ", ""),
    ):
        dialog.answer(prompt, text)
    assert dialog.finish() == 0
    for text in ("does not exist, it will be created now.\n ", "CONTENTS\n\n", f"\t127.0.0.1\t{port}\n"):
        assert text in dialog.seen
    assert tree.agent_conf.stat().st_mode & 0o007 == 0, "others can read the file"
    assert start(tree, write_conf=False, binds=0).answers(port)


def test_dialog_writes_every_answer(new_tree):
    tree = new_tree()
    tree.agent_conf.write_text(agent_conf([("old", 1), ("edited", 2), ("kept", 3)], server={"uri": "/other"}))
    secret = "se<cret&\"'"
    pairs = "y\nn\n\nY\nnew\n22\nx\nx\ny\nkept\n3\nmore\nadded\n4\n\n"
    run = edit(tree, f"\nqdv\n81\n444\ny\nproxy\n3128\ny\njoe\n{secret}\ny\n5000\n5010\n\n{pairs}\n\n")
    assert run.status == 0, run.stdout
    assert attributes_of(tree) == (
        {"hostname": "qdv", "port": "81", "sslPort": "444", "uri": "/other", "proxyHostname": "proxy",
         "proxyPort": "3128", "username": "joe", "password": secret},
        {"returnAddress": THIS_HOST, "returnPortMin": "5000", "returnPortMax": "5010"},
        [("new", "22"), ("kept", "3"), ("added", "4")],
    )  # fmt: skip
    for line in (
        "The port/address pair already exists.\n", f"  HTTP proxy password: {secret}\n",
        "Do you want the QDVAgent to continue to listen on this\nport/address pair: edited\t2 <Y|n>: ",
        f"Enter the new address to listen on <ip|hostname>({THIS_HOST})[edited]: "
        "Enter the new port to listen on <port>(8372)[2]: ", "\tnew\t22\n\tkept\t3\n\tadded\t4\n",
    ):  # fmt: skip
        assert line in run.stdout
    # From what could be read of a broken file.
    tree.agent_conf.write_text(agent_conf([("gone", 1)], server={"hostname": "known", "port": ""}))
    run = edit(tree, "\n" * 11)
    assert run.status == 0 and EXISTS in run.stdout
    assert "Enter the QDVServer hostname <ip|hostname>[known]: " in run.stdout
    info, _, binds = attributes_of(tree)
    assert (info["hostname"], info["port"], binds) == ("known", "80", [(THIS_HOST, "8372")])


def test_dialog_that_saves_nothing(new_tree):
    tree = new_tree()
    for answers in ("", "\n" * 5, "\n" * 9 + "n\n"):
        run = edit(tree, answers)
        assert run.status == 1 and run.stdout.endswith(END_OF_INPUT) == (not answers.endswith("n\n"))
        assert not list(tree.conf.iterdir())
    dialog = Dialog(tree.program, "-editConfig")
    dialog.answer("<ip|hostname>[]: ", "qdv")
    assert dialog.has_echo()
    dialog.type("\x03")
    assert dialog.finish() == -2
    run = tree.run("-version", "-editConfig")
    assert run.status == 1 and "QDV SERVER INFORMATION\n" in run.stdout and "version" not in run.stdout
    assert not list(tree.conf.iterdir())

    # Empty lines give a file without a server, which the agent refuses; an existing file is left alone.
    assert edit(tree, "\n" * 10).status == 0
    assert attributes_of(tree) == (
        {"hostname": "", "port": "80", "sslPort": "443", "uri": "/BrindlexServer", "proxyHostname": "", "proxyPort": "0",
         "username": "", "password": ""},
        {"returnAddress": "", "returnPortMin": "0", "returnPortMax": "0"},
        [(THIS_HOST, "8372")],
    )  # fmt: skip
    assert CANNOT_PARSE in tree.run("-verbose").stdout
    text = agent_conf([("127.0.0.1", 1)])
    tree.agent_conf.write_text(text)
    before = tree.agent_conf.stat()
    for answers, status in (("n\n", 0), ("N", 0), ("\n" * 8 + "\nn\n", 0), ("", 1), ("y\n", 1), ("\n" * 9, 1)):
        run = edit(tree, answers)
        assert run.status == status and EXISTS in run.stdout, answers
        assert run.stdout.endswith(END_OF_INPUT) == (status == 1)
    after = tree.agent_conf.stat()
    assert tree.agent_conf.read_text() == text and (after.st_ino, after.st_mtime_ns) == (before.st_ino, before.st_mtime_ns)
    # What cannot be written whole, as on a full disk, is not written.
    (tree.root / "answers").write_text("y\nhost" + "\n" * 20)
    command = f"ulimit -f 0; exec {tree.program} -editConfig < {tree.root / 'answers'}"
    full = subprocess.run(["sh", "-c", command], capture_output=True, text=True)
    assert full.returncode == 1 and full.stderr.endswith("File too large\n"), full
    assert tree.agent_conf.read_text() == text and [path.name for path in tree.conf.iterdir()] == ["agent.conf"]


def test_dialog_under_bad_conditions(new_tree):
    tree = new_tree()
    assert edit(tree, b"h\xff\x01\n" + b"\0\n" * 2 + b"x" * 100000 + b"\n" * 50).status in (0, 1)
    if os.path.exists(tree.agent_conf):
        assert attributes_of(tree)
    shutil.rmtree(tree.conf)
    tree.conf.write_text("no directory")
    run = edit(tree, "\n" * 10, "-verbose")
    assert run.status == 1 and re.fullmatch(r"QDVAgent: the changes are not saved: .* Not a directory\n", run.stderr)
    assert re.search(r"^[0-9 :-]{19}: Agent: Fatal error writting agent configuration file$", run.stdout, re.M)
