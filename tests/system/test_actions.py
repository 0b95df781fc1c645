"""Action scripts: run as a system user, stored for him, and listed. Needs root, to make that user."""

import json
import os
import pwd
import secrets
import shutil
import signal
import subprocess
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from contextlib import contextmanager, suppress
from pathlib import Path
from xml.sax.saxutils import escape, quoteattr

import pytest

from harness import ManagementServer, Port, limit, wait_until
from harness.envelope import FAILED, SUCCESS
from harness.tree import environment
from harness.wire import anonymous_tls

UUID = "id"
WRONG_USER = "invalid user or password "
LEFT_OUT = None  # as the value of a parameter; "" is an element without text

pytestmark = pytest.mark.skipif(os.geteuid() != 0, reason="only root can make the system user that scripts run as")


class User:
    """A system user with a password, and a directory in which he may write."""

    def __init__(self):
        self.name = "qdvt" + secrets.token_hex(4)
        self.password = "pA5 'w\\\"$" + secrets.token_hex(12)
        subprocess.run(["useradd", "-m", "-s", "/bin/sh", self.name], check=True)
        subprocess.run(["chpasswd"], input=f"{self.name}:{self.password}\n".encode(), check=True)
        self.id = pwd.getpwnam(self.name).pw_uid
        self.place = Path(tempfile.mkdtemp(prefix="qdv-user-"))
        os.chown(self.place, self.id, -1)

    def remove(self):
        subprocess.run(["userdel", "-r", "-f", self.name], check=True, stderr=subprocess.DEVNULL)
        shutil.rmtree(self.place)


@pytest.fixture(scope="module")
def user():
    made = User()
    yield made
    made.remove()


@pytest.fixture(scope="module")
def agent_server():
    made = ManagementServer()
    yield made
    made.stop()


@pytest.fixture(scope="module")
def acting(ward_of_file, agent_server, user):
    """An agent that all tests share. What it leaves behind is looked at when they are through."""
    agent = ward_of_file.start(server=agent_server)
    assert agent.call(uuid=UUID).outcome == SUCCESS
    yield agent
    assert user.password not in agent.log(), "a password does not belong in the log"
    assert "received request body" in agent.log()


@pytest.fixture
def server(agent_server):
    agent_server.calls.clear()
    return agent_server


def parameter(name, value, inner=""):
    if value is LEFT_OUT:
        return ""
    return f"<MethodParameter name={quoteattr(name)}>{escape(value)}{inner}</MethodParameter>"


def call(agent, method, values, members=(), tls=True):
    params = "".join(parameter(name, value) for name, value in values.items())
    if members is not LEFT_OUT:
        params += parameter("group", "", "".join(parameter("groupmember", member) for member in members))
    return agent.call(method, params, uuid=UUID, tls=anonymous_tls() if tls else None, seconds=60)


def action(user, script, **other):
    return {
        "sysuserid": user.name, "syspwd": user.password, "actionname": "clean up", "actionid": "4711",
        "actionscript": script,
    } | other  # fmt: skip


def scriptlets(header, *objects):
    pairs = "".join(f"# BEGIN_OBJECT_SCRIPT\n{one}\n# END_OBJECT_SCRIPT\n" for one in objects)
    return f"#!/bin/sh\n# BEGIN_JOB_SCRIPT_HEADER\n{header}\n# END_JOB_SCRIPT_HEADER\n{pairs}"


def report_of(update):
    """An UpdateAction taken apart: id, status, reason, and (path, status, reason) of each member."""
    assert update.tls and update.element.get("nameSpace") == "proactivity"
    shape = [("actionid", "string"), ("actionstatus", "string"), ("actionreason", "string"), ("group", "list")]
    assert [(one.get("name"), one.get("type")) for one in update.element] == shape
    *words, group = update.element
    rows = []
    for member in group:
        assert (member.get("name"), member.get("type")) == ("groupmember", "list")
        assert [(one.get("name"), one.get("type")) for one in member] == [
            (name, "string") for name in ("path", "status", "reason")
        ]
        rows.append(tuple(one.text or "" for one in member))
    return *(one.text or "" for one in words), rows


def submit(agent, server, values, members=()):
    """Submits an action, which must be answered with success, and returns the one report on it."""
    before = len(server.of("UpdateAction"))
    answer = call(agent, "SubmitAction", values, members)
    assert answer.outcome == SUCCESS and not answer.children
    (update,) = server.of("UpdateAction")[before:]
    return report_of(update)


def saved(agent):
    return sorted(os.listdir(agent.tree.top / "actionSet"))


@contextmanager
def nothing_happens(agent, server, user):
    """The block runs no script, stores none and reports nothing."""
    before = saved(agent)
    yield
    assert saved(agent) == before and not os.listdir(user.place) and not server.of("UpdateAction")


# ---- running


def test_scriptlets_run_in_order_as_the_user(acting, server, user):
    trace = user.place / "trace"
    marks = [f'echo "$(id -un) $(stat -c "%a %U" "$0") {name}" >>{trace}' for name in ("head", "one", "two")]
    before = saved(acting)
    report = submit(acting, server, action(user, scriptlets(*marks)), ["/b", "/a & c"])
    assert report == ("4711", "success", "", [("/b", "success", "success"), ("/a & c", "success", "success")])
    assert trace.read_text().splitlines() == [f"{user.name} 400 {user.name} {name}" for name in ("head", "one", "two")]
    assert saved(acting) == before
    trace.unlink()


def test_report_comes_before_the_reply(acting, server, user):
    with ThreadPoolExecutor(1) as pool:
        with server.holding():
            answer = pool.submit(call, acting, "SubmitAction", action(user, scriptlets("true")))
            server.wait_calls("UpdateAction", seconds=30)
            time.sleep(0.2)
            assert not answer.done()
        assert answer.result().outcome == SUCCESS
    assert report_of(server.of("UpdateAction")[0]) == ("4711", "success", "", [])


def test_ids_are_numbers_of_any_base_and_size(acting, server, user):
    for text, number in (("18446744073709551615", "18446744073709551615"), ("0x1f", "31"), ("none", "0")):
        assert submit(acting, server, action(user, scriptlets(":"), actionid=text), LEFT_OUT)[0] == number


def test_failing_scriptlets(acting, server, user):
    """The call succeeds all the same; the report tells what became of each member."""
    before = saved(acting)
    mark = user.place / "mark"
    report = submit(acting, server, action(user, scriptlets("echo why >&2; exit 1", f"touch {mark}")), ["/a"])
    reason = "Child exited with code: 1 why\n"
    assert report == ("4711", "failure", reason, [("/a", "failure", "header scriptlet failed")])
    assert not mark.exists()

    script = scriptlets(":", ":", "exit 2", f"touch {mark}", "kill -9 $$")
    assert submit(acting, server, action(user, script), ["/a", "/b", "/c", "/d"]) == (
        "4711", "failure", "one or more action items failed",
        [
            ("/a", "success", "success"),
            ("/b", "failure", "Child exited with code: 2"),
            ("/c", "success", "success"),
            ("/d", "error", "Child process was terminated due to signal: 9"),
        ],
    )  # fmt: skip
    mark.unlink()
    assert saved(acting) == before


def test_actions_that_are_refused(acting, server, user):
    runs = f"touch {user.place}/ran"
    good = action(user, scriptlets(runs, runs))
    mismatch = ("error", "Mismatch between scriptlets and action items")
    rows = [({name: value}, ["/a"], FAILED) for name in good for value in (LEFT_OUT, "")]
    rows += [({name: value}, ["/a"], FAILED) for name in ("actionid", "actionname") for value in ("/", "../x", "a/b")]
    rows += [
        ({}, ["/a", ""], FAILED),
        ({"syspwd": "wrong"}, ["/a"], ("error", WRONG_USER + "Authorization error")),
        ({"actionscript": runs}, ["/a"], FAILED),
        ({"actionscript": f"# BEGIN_JOB_SCRIPT_HEADER\n{runs}\n"}, [], FAILED),
        ({}, [], mismatch),
        ({}, ["/a", "/b"], mismatch),
        ({"actionscript": scriptlets(runs, runs).replace("# END_OBJECT_SCRIPT", "")}, ["/a"], mismatch),
    ]
    with nothing_happens(acting, server, user):
        for changes, members, outcome in rows:
            assert call(acting, "SubmitAction", good | changes, members).outcome == outcome, (changes, members)
        nobody = call(acting, "SubmitAction", good | {"sysuserid": "nobody" + secrets.token_hex(4)}, ["/a"])
        assert nobody.outcome[0] == "error" and nobody.outcome[1].startswith(WRONG_USER)


def test_only_over_tls(acting, server, user):
    refused = ("error", "invalid encryption protocol")
    with nothing_happens(acting, server, user):
        script = scriptlets(f"touch {user.place}/ran")
        for method, values in (
            ("SubmitAction", action(user, script)),
            ("SaveAction", action(user, script, templatename="t")),
            ("GetActionScriptList", {}),
        ):
            assert call(acting, method, values, tls=False).outcome == refused
    wrong = acting.call("GetActionScriptList", uuid="other", tls=anonymous_tls())
    assert wrong.outcome == ("error", "invalid uuid")


def test_lost_report_changes_nothing(acting, server, user):
    mark = user.place / "mark"
    server.down()
    try:
        answer = call(acting, "SubmitAction", action(user, scriptlets(f"touch {mark}")))
        assert answer.outcome == SUCCESS and mark.exists()
        assert "Error reporting results to server\n" in acting.log()
    finally:
        server.up()
    mark.unlink()


def test_scriptlets_cannot_hold_up_the_agent(acting, server, user):
    """Neither by a child that lives on with their standard error, nor by more text than a pipe takes."""
    lives = user.place / "lives"
    begin = time.monotonic()
    try:
        report = submit(acting, server, action(user, scriptlets(f"sleep 100 & echo $! >{lives}; exit 3")))
        assert report[1:3] == ("failure", "Child exited with code: 3")
        assert time.monotonic() - begin < limit(30)
    finally:
        with suppress(ProcessLookupError):
            os.kill(int(lives.read_text()), signal.SIGKILL)
    lives.unlink()

    flood = "head -c 5000000 /dev/zero | tr '\\0' x >&2"
    report = submit(acting, server, action(user, scriptlets(f"{flood}", f"{flood}; exit 9")), ["/a"])
    assert report[3] == [("/a", "failure", "Child exited with code: 9 " + "x" * 254 + "...")]


def test_password_is_in_no_process(acting, server, user):
    """While a scriptlet runs nobody finds it in a command line, nor the user in his environment."""
    go, runs = user.place / "go", user.place / "runs"
    script = scriptlets(f"echo $$ >{runs}.new; mv {runs}.new {runs}; while [ ! -e {go} ]; do sleep 0.05; done")
    with ThreadPoolExecutor(1) as pool:
        answer = pool.submit(call, acting, "SubmitAction", action(user, script))
        try:
            wait_until(runs.exists, 30, "the scriptlet to run")
            secret = user.password.encode()
            shell = Path(f"/proc/{int(runs.read_text())}")
            assert b"proactivity_scriptlet_temp_file_4711_0.sh" in (shell / "cmdline").read_bytes()
            assert secret not in (shell / "environ").read_bytes()
            for process in Path("/proc").glob("[0-9]*/cmdline"):
                with suppress(OSError):
                    assert secret not in process.read_bytes(), process
        finally:
            go.touch()
        assert answer.result().outcome == SUCCESS
    go.unlink()
    runs.unlink()


# ---- storing


def test_saved_script_belongs_to_the_user_and_is_replaced_whole(acting, user):
    file = acting.tree.top / "actionSet" / "4711_clean up_a template"
    for script in ("#!/bin/sh\necho first, & longer\n", "short", LEFT_OUT):
        answer = call(acting, "SaveAction", action(user, script, templatename="a template"))
        assert answer.outcome == SUCCESS and not answer.children
        assert file.read_text() == (script or "")
        status = file.stat()
        assert (status.st_uid, status.st_mode & 0o7777) == (user.id, 0o500)
    assert [name for name in saved(acting) if "4711" in name] == [file.name]
    file.unlink()


def test_scripts_that_are_not_saved(acting, server, user):
    good = action(user, "text", templatename="t")
    rows = [({name: LEFT_OUT}, FAILED) for name in good if name != "actionscript"]
    rows += [({name: ""}, FAILED) for name in good]
    rows += [({name: "../x"}, FAILED) for name in ("actionid", "actionname", "templatename")]
    rows += [({"syspwd": "wrong"}, ("error", WRONG_USER + "Authorization error"))]
    with nothing_happens(acting, server, user):
        listing = sorted(acting.tree.top.iterdir())
        for changes, outcome in rows:
            assert call(acting, "SaveAction", good | changes).outcome == outcome, changes
        assert sorted(acting.tree.top.iterdir()) == listing


def test_script_list(acting):
    answer = call(acting, "GetActionScriptList", {"ignored": "x"})
    assert answer.outcome == SUCCESS
    (script,) = answer.children
    (platform,) = script
    assert (script.tag, script.attrib, platform.tag, platform.attrib) == ("Script", {}, "Platform", {"ostype": "zos"})
    assert [(one.tag, one.attrib) for one in platform] == [
        ("ObjectControlScript", {"type": "none", "name": "AMEMBER"}),
        ("ObjectControlScript", {"type": "none", "name": "BMEMBER"}),
        ("JobControlScript", {"name": "ZSCRIPT"}),
    ]


# ---- qdvctl


def test_qdvctl_submits_saves_and_lists(stage, start, user):
    report = Port()
    agent = start(conf={"ServerInfo": {"sslPort": str(report.number)}})
    agent.call(uuid=UUID)
    script = user.place / "script"

    def run(*arguments, status=0):
        read, write = os.pipe()
        os.write(write, user.password.encode() + b"\n")
        os.close(write)
        secret = ("--user", user.name, "--password-fd", str(read)) if arguments[0] != "list" else ()
        done = subprocess.run(
            [stage / "bin" / "qdvctl", "action", *arguments, "--agent", f"127.0.0.1:{agent.port}", "--uuid", UUID, *secret],
            capture_output=True, text=True, env=environment(), pass_fds=(read,), timeout=limit(60),
        )  # fmt: skip
        os.close(read)
        assert done.returncode == status, (done.stdout, done.stderr)
        assert user.password not in done.stdout + done.stderr
        return done.stdout

    script.write_text(scriptlets(":", ":", "exit 2"))
    given = ("submit", str(script), "--id", "99", "--member", "/a", "--member", "/b", "--report-port", str(report.number))
    text = run(*given)
    rows = [line for line in text.splitlines() if "/a" in line or "/b" in line]
    assert "99" in text and "one or more action items failed" in text and len(rows) == 2, text
    assert "failure" not in rows[0] and "failure" in rows[1] and "Child exited with code: 2" in rows[1]
    assert text.index("UpdateAction") < text.index("SubmitAction: success")
    told, reply = [json.loads(line) for line in run(*given, "--json").splitlines()]
    assert (told["method"], reply["response"]) == ("UpdateAction", "success")
    assert told["elements"][0]["attributes"] == {"nameSpace": "proactivity"}
    assert "Mismatch" in run("submit", str(script), "--report-port", str(report.number), status=1)

    script.write_text("saved text")
    assert "SaveAction: success" in run("save", str(script), "--id", "99", "--name", "n", "--template", "t")
    assert (agent.tree.top / "actionSet" / "99_n_t").read_text() == "saved text"
    names = [run("list").index(name) for name in ("AMEMBER", "BMEMBER", "ZSCRIPT")]
    assert names == sorted(names)
    script.unlink()
    report.release()
    assert user.password not in agent.log()
