"""Action scripts: run as a system user, stored for him, and listed. Needs root, to make that user."""

import os
import pwd
import secrets
import shutil
import signal
import subprocess
import tempfile
from concurrent.futures import ThreadPoolExecutor
from contextlib import contextmanager, suppress
from pathlib import Path
from xml.sax.saxutils import escape, quoteattr

import pytest

from harness import FAILED, INVALID_UUID, SUCCESS, ManagementServer, Port, anonymous_tls, environment, wait_until

UUID = "id"
WRONG_USER = "invalid user or password "
NOT_AUTHORIZED = ("error", WRONG_USER + "Authorization error")
LEFT_OUT = None  # as the value of a parameter; "" is an element without text

pytestmark = pytest.mark.skipif(os.geteuid() != 0, reason="only root can make the system user that scripts run as")


class User:
    """A system user with a password, and a directory in which he may write."""

    def __init__(self):
        self.name = "qdvt" + secrets.token_hex(4)
        self.password = "pA5 'w\\\"$" + secrets.token_hex(12)
        subprocess.run(["useradd", "-m", "-s", "/bin/sh", self.name], check=True)
        self.set_password()
        self.id = pwd.getpwnam(self.name).pw_uid
        self.place = Path(tempfile.mkdtemp(prefix="qdv-user-"))
        os.chown(self.place, self.id, -1)

    def set_password(self):
        subprocess.run(["chpasswd"], input=f"{self.name}:{self.password}\n".encode(), check=True)

    def remove(self):
        subprocess.run(["userdel", "-r", "-f", self.name], check=True, stderr=subprocess.DEVNULL)
        shutil.rmtree(self.place)


@pytest.fixture(scope="module")
def user():
    made = User()
    yield made
    made.remove()


@pytest.fixture(scope="module")
def shared_server():
    made = ManagementServer()
    yield made
    made.stop()


@pytest.fixture(scope="module")
def shared_acting(ward_of_file, shared_server, user):
    """What it leaves behind is looked at when all tests are through."""
    agent = ward_of_file.start(server=shared_server)
    assert agent.outcome(uuid=UUID) == SUCCESS
    yield agent
    assert user.password not in agent.log() and "received request body" in agent.log()


@pytest.fixture
def server(shared_server):
    shared_server.calls.clear()
    return shared_server


def saved(agent):
    return sorted(path.relative_to(agent.tree.top) for path in agent.tree.top.rglob("*") if path.name != "QDVAgent.log")


@pytest.fixture
def acting(shared_acting):
    before = saved(shared_acting)
    yield shared_acting
    assert saved(shared_acting) == before, "something was left behind"


def parameter(name, value, inner=""):
    if value is LEFT_OUT:
        return ""
    return f"<MethodParameter name={quoteattr(name)}>{escape(value)}{inner}</MethodParameter>"


def call(agent, method, values, members=(), tls=True, uuid=UUID):
    params = "".join(parameter(name, value) for name, value in values.items())
    if members is not LEFT_OUT:
        params += parameter("group", "", "".join(parameter("groupmember", member) for member in members))
    answer = agent.call(method, params, uuid=uuid, tls=anonymous_tls() if tls else None)
    assert method == "GetActionScriptList" or not answer.children
    return answer.outcome


def action(user, script, **other):
    good = {"sysuserid": user.name, "syspwd": user.password, "actionname": "clean up", "actionid": "4711"}
    return good | {"actionscript": script} | other


def scriptlets(header, *objects):
    pairs = "".join(f"# BEGIN_OBJECT_SCRIPT\n{one}\n# END_OBJECT_SCRIPT\n" for one in objects)
    return f"#!/bin/sh\n# BEGIN_JOB_SCRIPT_HEADER\n{header}\n# END_JOB_SCRIPT_HEADER\n{pairs}"


def report_of(update):
    """An UpdateAction taken apart: id, status, reason, and (path, status, reason) of each member."""

    def texts(element, *names):
        assert [(one.get("name"), one.get("type")) for one in element] == [(name, "string") for name in names]
        return tuple(one.text or "" for one in element)

    assert update.tls and update.element.get("nameSpace") == "proactivity"
    *words, group = update.element
    assert all((one.get("name"), one.get("type")) == ("groupmember", "list") for one in group)
    assert (group.get("name"), group.get("type")) == ("group", "list")
    rows = [texts(member, "path", "status", "reason") for member in group]
    return *texts(words, "actionid", "actionstatus", "actionreason"), rows


def submit(agent, server, values, members=()):
    """Submits an action, which must be answered with success, and returns the one report on it."""
    before = len(server.of("UpdateAction"))
    assert call(agent, "SubmitAction", values, members) == SUCCESS
    (update,) = server.of("UpdateAction")[before:]
    return report_of(update)


# ---- running


def test_scriptlets_run_in_order_as_the_user(acting, server, user):
    trace = user.place / "trace"
    marks = [f'echo "$(id -un) $(stat -c "%a %U" "$0") {name}" >>{trace}' for name in ("head", "one", "two")]
    report = submit(acting, server, action(user, scriptlets(*marks)), ["/b", "/a & c"])
    assert report == ("4711", "success", "", [("/b", "success", "success"), ("/a & c", "success", "success")])
    assert trace.read_text().splitlines() == [f"{user.name} 400 {user.name} {name}" for name in ("head", "one", "two")]
    trace.unlink()
    for text, number in (("18446744073709551615", "18446744073709551615"), ("0x1f", "31"), ("none", "0")):
        values = action(user, scriptlets(":"), actionid=text, actionname="no/path")
        assert submit(acting, server, values, LEFT_OUT)[0] == number


def test_failing_scriptlets(acting, server, user):
    """The call succeeds all the same; the report tells what became of each member."""
    mark = user.place / "mark"
    report = submit(acting, server, action(user, scriptlets("echo why >&2; exit 1", f"touch {mark}")), ["/a"])
    reason = "Child exited with code: 1 why\n"
    assert report == ("4711", "failure", reason, [("/a", "failure", "header scriptlet failed")])
    assert not mark.exists()
    rows = [
        (":", "success", "success"),
        ("exit 2", "failure", "Child exited with code: 2"),
        (f"touch {mark}", "success", "success"),
        ("printf 'one\\0two' >&2; exit 4", "failure", "Child exited with code: 4 one two"),
        ("kill -9 $$", "error", "Child process was terminated due to signal: 9"),
    ]
    script = scriptlets(":", *(script for script, *_ in rows))
    members = [f"/{n}" for n in range(len(rows))]
    report = submit(acting, server, action(user, script), members)
    assert report[1:3] == ("failure", "one or more action items failed")
    assert report[3] == [(member, *row[1:]) for member, row in zip(members, rows)]
    mark.unlink()


@pytest.mark.long
def test_actions_that_are_refused(acting, server, user):
    runs = f"touch {user.place}/ran"
    script = scriptlets(runs, runs)
    good = action(user, script)
    mismatch = ("error", "Mismatch between scriptlets and action items")
    to_save = action(user, "text", templatename="t")
    not_terminated = script.replace("# END_OBJECT_SCRIPT", "")
    submits = [
        *(({name: value}, ["/a"], FAILED) for name in good for value in (LEFT_OUT, "")),
        *(({"actionid": value}, ["/a"], FAILED) for value in ("/", "../x", "a/b")),
        *(({"actionscript": text}, ["/a"], FAILED) for text in (runs, f"# BEGIN_JOB_SCRIPT_HEADER\n{runs}\n")),
        ({}, ["/a", ""], FAILED), ({"syspwd": "wrong"}, ["/a"], NOT_AUTHORIZED), ({}, [], mismatch),
        ({}, ["/a", "/b"], mismatch), ({"actionscript": not_terminated}, ["/a"], mismatch),
    ]  # fmt: skip
    saves = [
        *(({name: LEFT_OUT}, FAILED) for name in to_save if name != "actionscript"),
        *(({name: ""}, FAILED) for name in to_save),
        *(({name: "../x"}, FAILED) for name in ("actionid", "actionname", "templatename")),
        ({"syspwd": "wrong"}, NOT_AUTHORIZED),
        ({"actionid": "proactivity", "actionname": "scriptlet", "templatename": "temp_file_77_0.sh"}, FAILED),
    ]
    for changes, members, outcome in submits:
        assert call(acting, "SubmitAction", good | changes, members) == outcome, (changes, members)
    for changes, outcome in saves:
        assert call(acting, "SaveAction", to_save | changes) == outcome, changes
    response, reason = call(acting, "SubmitAction", good | {"sysuserid": "nobody" + secrets.token_hex(4)}, ["/a"])
    assert response == "error" and reason.startswith(WRONG_USER)
    for method, values in (("SubmitAction", good), ("SaveAction", to_save), ("GetActionScriptList", {})):
        assert call(acting, method, values, tls=False) == ("error", "invalid encryption protocol")
        assert call(acting, method, values, uuid="other") == INVALID_UUID
    assert not os.listdir(user.place) and not server.of("UpdateAction")


def test_report_comes_before_the_reply_or_not_at_all(acting, server, user):
    mark = user.place / "mark"
    with ThreadPoolExecutor(1) as pool:
        with server.holding():
            outcome = pool.submit(call, acting, "SubmitAction", action(user, scriptlets("true")))
            server.wait_calls("UpdateAction")
            assert acting.outcome() == SUCCESS and not outcome.done()
        assert outcome.result() == SUCCESS
    assert report_of(server.of("UpdateAction")[0]) == ("4711", "success", "", [])
    server.down()
    try:
        assert call(acting, "SubmitAction", action(user, scriptlets(f"touch {mark}"))) == SUCCESS
        assert "Error reporting results to server\n" in acting.log()
    finally:
        server.up()
    mark.unlink()


def test_scriptlets_cannot_hold_up_the_agent(acting, server, user):
    """Neither by a child that lives on with their standard error, nor by more text than a pipe takes."""
    lives = user.place / "lives"
    try:
        report = submit(acting, server, action(user, scriptlets(f"sleep 1000 & echo $! >{lives}; exit 3")))
        assert report[1:3] == ("failure", "Child exited with code: 3")
    finally:
        with suppress(ProcessLookupError):
            os.kill(int(lives.read_text()), signal.SIGKILL)
    lives.unlink()
    flood = "head -c 5000000 /dev/zero | tr '\\0' x >&2"
    report = submit(acting, server, action(user, scriptlets(flood, f"{flood}; exit 9")), ["/a"])
    assert report[3] == [("/a", "failure", "Child exited with code: 9 " + "x" * 254 + "...")]


def test_scriptlets_are_kept_apart_from_the_agent_and_from_each_other(acting, server, user):
    """What a scriptlet has of the agent is its environment and no more, and nobody's file takes its name."""
    Path(f"/proc/{acting.pid}/oom_score_adj").write_text("500")
    for task in Path(f"/proc/{acting.pid}/task").iterdir():
        with suppress(PermissionError, ProcessLookupError):
            os.setpriority(os.PRIO_PROCESS, int(task.name), -5)
    go, facts = user.place / "go", user.place / "facts"
    look = "echo $$ $(ps -o sid=,ni= -p $$) $(cat /proc/self/oom_score_adj)"
    script = scriptlets(f"{look} >{facts}.new; mv {facts}.new {facts}; while [ ! -e {go} ]; do sleep 0.05; done")
    with ThreadPoolExecutor(1) as pool:
        outcome = pool.submit(call, acting, "SubmitAction", action(user, script))
        try:
            wait_until(facts.exists, "the scriptlet to run")
            shell, *others = facts.read_text().split()
            assert others == [shell, "0", "0"]
            assert Path(f"/proc/{shell}/environ").read_bytes() == Path(f"/proc/{acting.pid}/environ").read_bytes()
            second = call(acting, "SubmitAction", action(user, scriptlets("true")))
            assert second == ("error", "action 4711 is already running")
        finally:
            go.touch()
        assert outcome.result() == SUCCESS and len(server.of("UpdateAction")) == 1
    for file in (go, facts):
        file.unlink()


def is_alive(pid):
    with suppress(OSError):
        return Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0] not in "ZX"
    return False


def test_nothing_is_left_of_what_ran_when_the_agent_ends(start, new_tree, server, user, tmp_path):
    """A stop ends tools and scriptlets at once; after a crash the next start removes their files and no others."""
    tool, script, tree = tmp_path / "tool", user.place / "script", new_tree()
    sleeps = "echo $$ >{0}.new; mv {0}.new {0}; exec sleep 600"
    (tmp_path / "uname").write_text(f"#!/bin/sh\n{sleeps.format(tool)}\n")
    (tmp_path / "uname").chmod(0o755)
    options = {"server": server, "more": {"PATH": f"{tmp_path}:{environment()['PATH']}"}}

    @contextmanager
    def busy():
        agent = start(tree, **options)
        assert agent.outcome(uuid=UUID) == SUCCESS
        before = saved(agent)
        with ThreadPoolExecutor(2) as pool:
            pool.submit(call, agent, "SubmitAction", action(user, scriptlets(sleeps.format(script))))
            pool.submit(agent.call, "GetHostSummary", uuid=UUID)
            wait_until(lambda: tool.exists() and script.exists(), "tool and scriptlet to run")
            pids = [int(path.read_text()) for path in (tool, script)]
            assert len(saved(agent)) == len(before) + 2
            yield agent, pids
            wait_until(lambda: not any(map(is_alive, pids)), "tool and scriptlet to end")
        for path in (tool, script):
            path.unlink()

    with busy() as (agent, _):
        before = [path for path in saved(agent) if path.suffix not in (".tmp", ".sh")]
        assert agent.stop() == 0
    assert saved(agent) == before
    report = report_of(server.of("UpdateAction")[0])
    assert report[1:3] == ("failure", "Child process was ended because the agent stops")
    with busy() as (agent, pids):
        agent.kill()
        for pid in pids:
            os.killpg(os.getpgid(pid), signal.SIGKILL)
    kept = [tree.bin / "x.tmp", *(tree.top / "actionSet" / name for name in ("1_a.tmp", "proactivity_scriptlet_temp_file_1_x.sh"))]
    for path in kept:
        path.touch()
    (tree.conf / "agent.conf.tmp").touch()
    assert len(saved(agent)) == len(before) + 6
    assert saved(start(tree, **options)) == sorted([*before, *(path.relative_to(tree.top) for path in kept)])


# ---- storing and listing


def test_saved_script_belongs_to_the_user_and_is_replaced_whole(acting, user):
    file = acting.tree.top / "actionSet" / "4711_clean up_a template"
    for script in ("#!/bin/sh\necho first, & longer\n", "short", LEFT_OUT):
        assert call(acting, "SaveAction", action(user, script, templatename="a template")) == SUCCESS
        assert file.read_text() == (script or "")
        assert (file.stat().st_uid, file.stat().st_mode & 0o7777) == (user.id, 0o500)
    with open(file, "r+b") as kept_open:  # as by an owner before this one
        assert call(acting, "SaveAction", action(user, "new", templatename="a template")) == SUCCESS
        kept_open.write(b"evil")
    assert file.read_text() == "new"
    file.unlink()


def test_script_list(acting):
    answer = acting.call("GetActionScriptList", parameter("ignored", "x"), uuid=UUID, tls=anonymous_tls())
    ((platform,),) = answer.children
    assert answer.outcome == SUCCESS
    assert [(one.tag, one.attrib) for one in (*answer.children, platform, *platform)] == [
        ("Script", {}), ("Platform", {"ostype": "zos"}), ("ObjectControlScript", {"type": "none", "name": "AMEMBER"}),
        ("ObjectControlScript", {"type": "none", "name": "BMEMBER"}), ("JobControlScript", {"name": "ZSCRIPT"}),
    ]  # fmt: skip


def test_qdvctl_submits_saves_and_lists(ctl, start, user):
    port = Port()
    agent = start(conf={"ServerInfo": {"sslPort": str(port.number)}})
    at = ("--agent", f"127.0.0.1:{agent.port}", "--uuid", UUID)
    agent.call(uuid=UUID)
    script = user.place / "script"

    def run(verb, *options, status=0):
        secret = user.password.encode()
        result = ctl("action", verb, script, *at, "--user", user.name, *options, password=secret + b"\nrest")
        assert result.status == status and secret not in result.raw, result.stderr
        return result

    script.write_text(scriptlets(":", ":", "exit 2"))
    reported = ("--report-port", port.number)
    given = ("--id", 99, "--member", "/a", "--member", "/b", *reported)
    text = run("submit", *given).stdout
    first, second = [line for line in text.splitlines() if "/a" in line or "/b" in line]
    assert "99" in text and "one or more action items failed" in text
    assert "failure" not in first and "failure" in second and "Child exited with code: 2" in second
    assert text.index("UpdateAction") < text.index("SubmitAction: success")
    told, reply = run("submit", *given, "--json").json
    assert (told["method"], reply["response"]) == ("UpdateAction", "success")
    assert told["elements"][0]["attributes"] == {"nameSpace": "proactivity"}
    assert "Mismatch" in run("submit", *reported, status=1).stdout
    assert "SaveAction: success" in run("save", "--id", "99", "--name", "n", "--template", "t").stdout
    assert (agent.tree.top / "actionSet" / "99_n_t").read_text() == script.read_text()
    listed = ctl("action", "list", *at).stdout
    assert listed.index("AMEMBER") < listed.index("BMEMBER") < listed.index("ZSCRIPT")
    script.unlink()
    port.release()
