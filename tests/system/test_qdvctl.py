"""qdvctl from outside: against the staged agent, against peers of every temper, and as the agent's server."""

import json
import os
import pty
import re
import select
import shutil
import signal
import socket
import subprocess
import termios
import threading
import time
from pathlib import Path

import pytest

from harness import Connection, Port, agent_conf, envelope, form, limit, uuid_conf, wait_until
from harness.agent import post_request
from harness.tree import SANITIZER_SIGNS, environment
from harness.wire import anonymous_tls

PACKAGING = Path(__file__).resolve().parents[2] / "packaging"
CONTROL_BYTES = re.compile(rb"[\x00-\x08\x0b-\x1f\x7f]")
COMMANDS = (
    "ping", "call", "verbose", "ssl", "host", "audit", "action", "action submit", "action save", "action list", "serve",
    "config", "config check", "config show",
)  # fmt: skip


class Result:
    def __init__(self, done):
        self.status = done.returncode
        self.raw_stdout = done.stdout
        self.stdout = done.stdout.decode()
        self.stderr = done.stderr.decode()

    @property
    def json(self):
        lines = self.stdout.splitlines()
        assert len(lines) == 1, self.stdout
        return json.loads(lines[0])

    def error(self, status):
        """The one line that a failed command leaves, without the program's name."""
        assert self.status == status, (self.status, self.stdout, self.stderr)
        assert self.stdout == ""
        match = re.fullmatch(r"qdvctl: ([^\n]+)\n", self.stderr)
        assert match, self.stderr
        return match.group(1)


@pytest.fixture(scope="session")
def ctl(stage):
    program = stage / "bin" / "qdvctl"

    def run(*arguments, stdin=b"", pass_fds=(), seconds=20):
        done = subprocess.run(
            [str(program), *arguments],
            input=stdin,
            capture_output=True,
            env=environment(),
            cwd="/",
            pass_fds=pass_fds,
            timeout=limit(seconds),
        )
        assert not any(sign.encode() in done.stderr for sign in SANITIZER_SIGNS), done.stderr.decode()
        return Result(done)

    run.program = program
    return run


@pytest.fixture
def at(agent):
    return ("--agent", f"127.0.0.1:{agent.port}")


# ---- calling the agent


def test_ping(ctl, at):
    result = ctl("ping", *at)
    assert result.status == 0 and result.stderr == ""
    first, *rest = result.stdout.splitlines()
    assert re.fullmatch(rf"{at[1]} Ping: success \(\d+\.\d ms\)", first)
    assert rest[-5:] == ["Agent", "  build    421", "  product  VRK", "  type     Linux", "  version  2.1.1"]

    found = ctl("ping", *at, "--json").json
    assert (found["response"], found["reason"], found["type"], found["name"]) == ("success", "success", "method", "Ping")
    assert found["elements"] == [
        {"element": "Agent", "attributes": {"build": "421", "product": "VRK", "type": "Linux", "version": "2.1.1"}}
    ]
    raw = ctl("ping", *at, "--raw").stdout
    assert raw.startswith("<?xml ") and "<Agent " in raw and raw.endswith("</NorvalithRMI>\n")


def test_refusals_are_told_and_end_with_1(ctl, agent, at):
    for arguments, words in (
        (("call", "NoSuchMethod"), "NoSuchMethod: unknown method, no methods implemented"),
        (("call", "Ping", "--param", "A=b"), "Ping: too many parameters"),
        (("call", "SetVerboseLog", "--uuid", "refusals"), "SetVerboseLog: too few parameters"),
    ):
        result = ctl(*arguments, *at)
        assert result.status == 1, result.stderr
        assert f"{at[1]} {words} (" in result.stdout
    result = ctl("call", "SetVerboseLog", *at, "--json")
    assert result.status == 1
    assert (result.json["response"], result.json["reason"]) == ("error", "invalid uuid")
    assert "--uuid" in result.stderr


def test_verbose_switches_the_log_file(ctl, start):
    agent = start(flags=())
    at = ("--agent", f"127.0.0.1:{agent.port}", "--uuid", "me")
    assert ctl("verbose", "on", *at).status == 0
    assert ctl("ping", *at).status == 0
    assert "methodName == [Ping]" in agent.tree.log_file.read_text()
    assert ctl("verbose", "off", *at).status == 0
    size = agent.tree.log_file.stat().st_size
    shown = ctl("ping", *at[:2])
    assert "uuid: me\n" in shown.stdout
    assert agent.tree.log_file.stat().st_size == size


def test_host_target_and_parameters_reach_the_method(ctl, start):
    agent = start(flags=())
    at = ("--agent", f"127.0.0.1:{agent.port}", "--uuid", "for-host", "--host-target", "host7")
    body = agent.tree.root / "body.xml"
    for on, extra in (
        ("--param", ["VerboseMode=ON"]),
        ("--body", [str(body)]),
        ("--body", ["-"]),
    ):
        body.write_text('<?xml version="1.0"?>\n<VerboseMode>off</VerboseMode>\n')
        result = ctl("call", "SetVerboseLog", on, *extra, *at, stdin=b"<VerboseMode>on</VerboseMode>")
        assert result.status == 0, result.stdout + result.stderr
    assert agent.tree.log_file.exists()
    assert ("for-host", "host7") in agent.tree.identities()


def test_ssl_changes_the_setting_over_tls(ctl, start, server):
    agent = start(server=server)
    at = ("--agent", f"127.0.0.1:{agent.port}", "--tls", "--uuid", "me")
    for mode, tls in (("on", True), ("off", False)):
        assert ctl("ssl", mode, *at).status == 0
        assert ctl("call", "PingServer", *at).status == 0
        assert server.of("Ping")[-1].tls is tls


def test_ping_over_tls(ctl, at):
    assert ctl("ping", *at, "--tls").status == 0


# ---- wrong usage


@pytest.mark.parametrize(
    "arguments, complaint",
    [
        ((), "see "),
        (("nope",), "no command nope"),
        (("ping", "--nope"), "--nope"),
        (("ping", "--agent"), "--agent"),
        (("ping", "--agent", "h:p"), "HOST:PORT is expected"),
        (("ping", "--json", "--raw"), "--raw"),
        (("ping", "--user", "joe"), "--user needs --tls"),
        (("ping", "--password-fd", "0"), "--user"),
        (("ping", "--tls", "--user", "joe"), "no terminal"),
        (("ping", "--tls", "--user", "joe", "--password-fd", "77"), "descriptor 77"),
        (("call",), "method"),
        (("call", "A", "--param", "b"), "Name=Text is expected"),
        (("call", "A", "--body", "/no/such/file"), "No such file"),
        (("call", "A", "--body", "-"), "standard input"),
        (("verbose", "maybe"), "maybe"),
        (("ssl", "on", "--uuid", "me"), "--tls and --uuid"),
        (("ssl", "on", "--tls"), "--tls and --uuid"),
        (("serve", "--port", "0"), "port"),
        (("serve", "--ssl-state", "maybe"), "maybe"),
        (("config",), "see "),
    ],
)
def test_wrong_usage(ctl, arguments, complaint):
    if arguments[:1] == ("call",) and arguments[-1] == "-":
        complaint = "not a sequence of XML elements"
    result = subprocess.run(
        [str(ctl.program), *arguments],
        input=b"<a",
        capture_output=True,
        env=environment(),
        start_new_session=True,  # so that there is no terminal to ask on
        timeout=limit(20),
    )
    assert complaint in Result(result).error(2)


# ---- peers that are no agent


class Peer:
    """Accepts one connection, takes the request, and answers with the bytes given."""

    def __init__(self, answer):
        self._answer = answer
        self._listener = socket.create_server(("127.0.0.1", 0))
        self._listener.settimeout(limit(20))
        self.address = f"127.0.0.1:{self._listener.getsockname()[1]}"
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            with connection:
                connection.settimeout(limit(20))
                data = connection.recv(1 << 16)
                while data and b"</NorvalithRMI>" not in data and data[:1] == b"P":
                    data += connection.recv(1 << 16)
                connection.sendall(self._answer)

    def close(self):
        self._listener.close()


@pytest.fixture
def peer():
    peers = []

    def make(answer):
        peers.append(Peer(answer))
        return ("--agent", peers[-1].address)

    yield make
    for made in peers:
        made.close()


def http(body, status="200 OK"):
    return f"HTTP/1.1 {status}\r\nContent-Type: text/xml\r\nContent-Length: {len(body)}\r\n\r\n".encode() + body


def reply(content, attributes=b'response="success"'):
    return http(
        b'<NorvalithRMI version="1.2" schema="2.1"><Response ' + attributes + b">" + content + b"</Response></NorvalithRMI>"
    )


def test_nobody_there(ctl):
    port = Port()
    address = f"127.0.0.1:{port.number}"
    assert ctl("ping", "--agent", address).error(3) == f"cannot connect to {address}: Connection refused"
    assert ctl("ping", "--agent", "no-such-host.invalid").error(3).startswith("cannot resolve no-such-host.invalid: ")
    port.release()


@pytest.mark.parametrize(
    "answer, complaint",
    [
        (b"", "the connection ended without a whole reply"),
        (b"\x00\x01rubbish\r\n", "the connection ended without a whole reply"),
        (http(b"<NorvalithRMI")[:-3], "the connection ended without a whole reply"),
        (http(b"x", "500 INTERNAL SERVER ERROR"), "the agent cannot make sense of the request (HTTP status 500)"),
        (http(b"x", "404 NOT FOUND"), "what listens there is no agent (HTTP status 404)"),
        (http(b"x", "418 TEAPOT"), "HTTP status 418"),
        (http(b"plain text"), "the reply: not XML: "),
        (http(b"<Other/>"), "the reply: the root element is not NorvalithRMI"),
        (http(b'<NorvalithRMI version="\xc2\x9b1m" schema="2.1"/>'), 'attribute version is "\\x9b1m", not "1.2"'),
        (http(b'<NorvalithRMI version="1.2" schema="2.1"/>'), "the reply: it has no element Response"),
        (http(b'<!DOCTYPE a [<!ENTITY b "c">]><NorvalithRMI/>'), "the reply: not XML: "),
    ],
)
def test_peer_that_is_no_agent(ctl, peer, answer, complaint):
    at = peer(answer)
    for options in ((), ("--json",), ("--raw",)):
        message = ctl("ping", *at, *options).error(3)
        assert complaint in message
        assert at[1] in message


def test_peer_without_tls(ctl, peer):
    at = peer(b"HTTP/1.1 400 BAD REQUEST\r\nContent-Length: 0\r\n\r\n")
    assert "the TLS handshake failed" in ctl("ping", *at, "--tls").error(3)


def test_hostile_texts_reach_neither_terminal_nor_json_raw(ctl, peer):
    # In XML a control character cannot stand; in its place comes U+EF00 plus the byte, and C1 controls as they are.
    evil = b'<A b="&#xEF1B;]0;x&#xEF07;" c="\xc2\x9b2J">\xe2\x80\xaetxt&#xEFFF;&#10;&#9;end</A>'
    at = peer(reply(evil, b'response="success" reason="&#xEF1B;[31m" name="\xc2\x85"'))
    for options in ((), ("--json",)):
        result = ctl("ping", *at, *options)
        assert result.status == 0
        assert not CONTROL_BYTES.search(result.raw_stdout), result.raw_stdout
        assert b"\xc2\x9b" not in result.raw_stdout and b"\xe2\x80\xae" not in result.raw_stdout
    text = ctl("ping", *at).stdout
    assert "b  \\x1b]0;x\\x07\n" in text and "\\u202etxt\\xff\n" in text
    element = ctl("ping", *at, "--json").json["elements"][0]
    assert element["attributes"] == {"b": "\x1b]0;x\x07", "c": "\x9b2J"}
    assert element["text"] == "\u202etxt\uefff\n\tend"
    # A refusal's words are no better.
    at = peer(reply(b"", b'response="&#xEF1B;c" reason="&#xEF1B;[31m"'))
    result = ctl("ping", *at)
    assert result.status == 1 and "Ping: \\x1bc, \\x1b[31m (" in result.stdout


def test_large_and_deep_replies(ctl, peer):
    rows = b"".join(b'<Drive name="/dev/sd%d" bytes="%d"/>' % (i, i) for i in range(20000))
    result = ctl("ping", *peer(reply(rows)), seconds=60)
    assert result.status == 0
    lines = result.stdout.splitlines()
    assert len(lines) == 1 + 2 + 20000 and lines[2].split() == ["bytes", "name"]
    deep = b"<d>" * 900 + b"</d>" * 900
    assert ctl("ping", *peer(reply(deep)), "--json").status == 0
    assert ctl("ping", *peer(reply(deep))).status == 0
    assert "not XML" in ctl("ping", *peer(reply(b"<d>" * 5000 + b"</d>" * 5000))).error(3)


# ---- users and passwords


def test_password_from_a_descriptor_goes_into_the_request_and_nowhere_else(ctl, server):
    at = ("--agent", f"127.0.0.1:{server.tls_port}", "--tls", "--user", "jo<e")
    for given, expected in ((b"p&w \xc3\xa4\nrest", "p&w ä"), (b"no line end", "no line end"), (b"\n", None)):
        read, write = os.pipe()
        os.write(write, given)
        os.close(write)
        result = ctl("call", "Ping", *at, "--password-fd", str(read), pass_fds=(read,))
        os.close(read)
        assert result.status == 0, result.stderr
        assert "p&w" not in result.stdout + result.stderr
        assert server.calls[-1].request.get("userName") == "jo<e"
        assert server.calls[-1].request.get("userPassword") == expected
    assert server.calls[-1].tls


class Terminal:
    """qdvctl on a terminal of its own, as its controlling one."""

    def __init__(self, program, *arguments):
        self.pid, self.master = pty.fork()
        if self.pid == 0:
            try:
                os.execve(str(program), [str(program), *arguments], environment())
            finally:
                os._exit(127)
        self.seen = b""

    def read_until(self, text, seconds=10):
        end = time.monotonic() + limit(seconds)
        while text is None or text not in self.seen:
            ready, _, _ = select.select([self.master], [], [], max(end - time.monotonic(), 0))
            assert ready, self.seen
            try:
                data = os.read(self.master, 1 << 16)
            except OSError:
                data = b""
            if not data:
                assert text is None, self.seen
                return
            self.seen += data

    def has_echo(self):
        return bool(termios.tcgetattr(self.master)[3] & termios.ECHO)

    def finish(self):
        self.read_until(None)
        status = os.waitpid(self.pid, 0)[1]
        os.close(self.master)
        return os.waitstatus_to_exitcode(status)


def test_password_is_asked_for_without_echo(ctl, server):
    terminal = Terminal(
        ctl.program, "ping", "--agent", f"127.0.0.1:{server.tls_port}", "--tls", "--user", "joe\x1b[2J"
    )
    terminal.read_until(b"Password of joe\\x1b[2J: ")
    wait_until(lambda: not terminal.has_echo(), 5, "the echo to go")
    os.write(terminal.master, b"typed secret\n")
    assert terminal.finish() == 0
    assert b"typed secret" not in terminal.seen
    assert server.calls[-1].request.get("userPassword") == "typed secret"


def test_interrupt_at_the_password_gives_the_echo_back(ctl):
    terminal = Terminal(ctl.program, "ping", "--tls", "--user", "joe")
    terminal.read_until(b"Password of joe: ")
    wait_until(lambda: not terminal.has_echo(), 5, "the echo to go")
    os.write(terminal.master, b"half\x03")
    wait_until(terminal.has_echo, 5, "the echo to come back")
    assert terminal.finish() == -signal.SIGINT
    assert b"half" not in terminal.seen


# ---- serve


class Serve:
    def __init__(self, program, *options):
        self.plain, self.tls = Port(), Port()
        self.process = subprocess.Popen(
            [str(program), "serve", "--port", str(self.plain.number), "--tls-port", str(self.tls.number), *options],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            bufsize=0,  # so that select sees what there is
            env=environment(),
        )
        self.start_line = self.process.stderr.readline().decode()

    @property
    def plain_port(self):
        return self.plain.number

    @property
    def tls_port(self):
        return self.tls.number

    def post(self, body, content_type="text/xml", tls=False, uri="/BrindlexServer"):
        port = self.tls.number if tls else self.plain.number
        with Connection(port, tls=anonymous_tls() if tls else None) as connection:
            connection.send(post_request(body, uri=uri, content_type=content_type))
            return connection.read_reply()

    def line(self):
        ready, _, _ = select.select([self.process.stdout], [], [], limit(10))
        assert ready, "nothing was shown"
        return self.process.stdout.readline().decode()

    def stop(self, number=signal.SIGTERM):
        """Returns (exit status, rest of standard output, rest of standard error)."""
        self.process.send_signal(number)
        out, err = self.process.communicate(timeout=limit(10))
        for port in (self.plain, self.tls):
            port.release()
        assert not any(sign.encode() in err for sign in SANITIZER_SIGNS), err.decode()
        return self.process.returncode, out.decode(), err.decode()


@pytest.fixture
def serve(ctl):
    made = []

    def make(*options):
        made.append(Serve(ctl.program, *options))
        return made[-1]

    yield make
    for server in made:
        if server.process.poll() is None:
            server.process.kill()
            server.process.communicate()


def test_serve_answers_every_form_of_a_call(serve):
    server = serve("--ssl-state", "true")
    assert f"127.0.0.1:{server.plain_port} and 127.0.0.1:{server.tls_port}" in server.start_line
    state = envelope("GetSSLState", request={"uuid": "me", "hostTarget": "h"})
    for tls in (False, True):
        for body, content_type in (
            (state, "text/xml"),
            (b"CommandBody=" + state, "text/xml"),
            (form(state), "application/x-www-form-urlencoded"),
        ):
            answer = server.post(body, content_type, tls)
            assert answer.status == 200
            assert b'response="success"' in answer.body and b'<Server sslState="true"/>' in answer.body
            protocol = "TLS" if tls else "plain"
            shown = server.line()
            assert re.fullmatch(
                rf"[0-9-]{{10}} [0-9:]{{8}} {protocol} /BrindlexServer GetSSLState uuid=me hostTarget=h\n", shown
            ), shown
    assert b"<Server " in server.post(envelope("Ping")).body
    server.line()
    answer = server.post(envelope("UpdateAction", '<R code="0"><Out>\xc2\x9b</Out></R>'))
    assert b"<Response" in answer.body and b"<Server" not in answer.body
    assert [server.line() for _ in range(5)][1:] == ["  Method\n", "    R\n", "      code  0\n", "      Out: Â\\x9b\n"]
    for bad in (b"rubbish", b"<Other/>", envelope("Ping", version="1.1")):
        assert server.post(bad).status == 400
    status, out, err = server.stop()
    assert (status, out) == (0, "")
    assert err.count("\n") == 3 and "/BrindlexServer: the call: not XML" in err


def test_serve_ends_on_signals_even_with_an_idle_client(serve):
    for number in (signal.SIGINT, signal.SIGTERM):
        server = serve()
        with Connection(server.plain_port) as connection:
            connection.send(b"GET / HTTP/1.1\r\n\r\n")
            assert connection.read_reply().status == 404
            assert server.stop(number)[0] == 0


def test_serve_says_which_port_it_cannot_have(ctl):
    taken, free = Port(), Port()
    taken.listen()
    for ports in ((taken, free), (free, taken)):
        result = ctl("serve", "--port", str(ports[0].number), "--tls-port", str(ports[1].number))
        assert result.error(3) == f"cannot listen on 127.0.0.1:{taken.number}: Address already in use"
    taken.release()
    free.release()


def test_serve_stands_in_for_the_server(ctl, serve, start):
    server = serve("--json")
    agent = start(server=server)
    first = json.loads(server.line())
    assert (first["method"], first["protocol"], first["uri"]) == ("GetSSLState", "TLS", "/BrindlexServer")
    at = ("--agent", f"127.0.0.1:{agent.port}", "--uuid", "me")
    assert ctl("call", "PingServer", *at).status == 0
    second = json.loads(server.line())
    assert (second["method"], second["protocol"], second["uuid"]) == ("Ping", "plain", "me")
    assert server.stop()[0] == 0
    assert ctl("call", "PingServer", *at).status == 1


# ---- configuration


@pytest.fixture
def conf(new_tree):
    return new_tree()


def test_config_of_a_sound_tree(ctl, conf):
    conf.agent_conf.write_text(agent_conf([("0.0.0.0", 1), ("h", 2)], server={"password": "topsecret", "username": "u"}))
    conf.agent_conf.chmod(0o600)
    conf.uuid_conf.write_text(uuid_conf([("id1", ""), ("id2", "host")]))
    own = subprocess.run([str(conf.bin / "qdvctl"), "config", "check"], capture_output=True, timeout=limit(20), cwd="/")
    assert own.returncode == 0
    assert own.stdout.decode() == f"{conf.agent_conf}: good\n{conf.uuid_conf}: good\n"
    shown = ctl("config", "show", str(conf.conf))
    assert shown.status == 0
    assert "topsecret" not in shown.stdout
    for text in ("password       (set)\n", "hostname       127.0.0.1\n", "id2", "returnPortMin  0\n"):
        assert text in shown.stdout
    assert re.search(r"^ +Bind\n +address +port\n +0\.0\.0\.0 +1\n +h +2\n", shown.stdout, re.M)
    found = ctl("config", "show", str(conf.conf), "--json").json["elements"]
    assert [file["attributes"]["state"] for file in found] == ["good", "good"]
    assert found[0]["elements"][0]["element"] == "AgentConfiguration"
    assert "topsecret" not in json.dumps(found)


@pytest.mark.parametrize(
    "text, parts",
    [
        (agent_conf([], server={"port": ""}), ("ServerInfo", '"port"', "decimal port number")),
        (agent_conf([("", 1)]), ("Bind", '"address"', "host name or an IP address")),
        (agent_conf([]).replace('version="1.0">', 'version="1.1">'), ("AgentConfiguration", "version", '"1.0"')),
        (agent_conf([]).replace("<BindList></BindList>", ""), ("BindList",)),
        ("<AgentConfiguration", ("line 1",)),
        (None, ("absent",)),
    ],
)
def test_config_check_names_what_the_agent_refuses(ctl, conf, text, parts):
    if text is not None:
        conf.agent_conf.write_text(text)
    result = ctl("config", "check", str(conf.conf))
    assert result.status == 1
    line, other = result.stdout.splitlines()
    assert line.startswith(f"{conf.agent_conf}: ")
    assert all(part in line for part in parts), line
    assert other == f"{conf.uuid_conf}: absent; the agent makes it when it starts"
    # The agent itself gives the same reason.
    run = conf.run("-verbose")
    assert run.status == 1
    if text is not None:
        assert line.partition(": faulty: ")[2] in run.stdout
    assert ctl("config", "show", str(conf.conf)).status == 1


def test_config_warns(ctl, conf):
    conf.agent_conf.write_text(agent_conf([], server={"port": "http"}))
    result = ctl("config", "check", str(conf.conf))
    assert result.status == 0
    assert f"{conf.agent_conf}: warning: ServerInfo: port is 0, which is no port" in result.stdout
    assert f"{conf.agent_conf}: warning: BindList is empty: the agent listens nowhere\n" in result.stdout
    conf.uuid_conf.write_text("<AgentUuidConfiguration/>")
    assert ctl("config", "check", str(conf.conf)).status == 1


# ---- help, manual, completion


def options_of(ctl, command):
    result = ctl(*command.split(), "--help")
    assert result.status == 0 and result.stderr == ""
    return set(re.findall(r"(?<![\w-])(--[a-z-]+)", result.stdout.partition("Exit status")[0]))


def test_manual_tells_every_command_and_option(ctl, stage):
    manual = (stage / "share/man/man1/qdvctl.1").read_text().replace("\\-", "-")
    for command in COMMANDS:
        assert re.search(rf"^\.B[IR]? \"?{command.split()[0]}", manual, re.M), command
        for option in options_of(ctl, command) - {"--help"}:
            assert option in manual, f"{option} of {command}"
    if shutil.which("man"):
        done = subprocess.run(
            ["man", "--warnings", "-l", str(stage / "share/man/man1/qdvctl.1")],
            capture_output=True,
            env=environment() | {"MANPAGER": "cat", "LC_ALL": "C.UTF-8"},
            timeout=limit(20),
        )
        assert done.returncode == 0 and done.stderr == b"", done.stderr


COMPLETE = """
source {framework}
source {script}
COMP_WORDS=({words})
COMP_CWORD={index}
COMP_LINE="${{COMP_WORDS[*]}}"
COMP_POINT=${{#COMP_LINE}}
_qdvctl
printf '%s\\n' "${{COMPREPLY[@]}}"
"""


def completions(stage, *words):
    framework = Path("/usr/share/bash-completion/bash_completion")
    if not framework.exists():
        pytest.skip("bash-completion is not installed here")
    script = COMPLETE.format(
        framework=framework,
        script=stage / "share/bash-completion/completions/qdvctl",
        words=" ".join(f"'{word}'" for word in ("qdvctl", *words)),
        index=len(words),
    )
    done = subprocess.run(["bash", "-c", script], capture_output=True, env=environment(), timeout=limit(20), cwd="/")
    assert done.stderr == b"", done.stderr
    return set(done.stdout.decode().split())


def test_completion_offers_every_command_and_option(ctl, stage):
    assert completions(stage, "") >= {command.split()[0] for command in COMMANDS}
    assert completions(stage, "config", "") >= {"check", "show"}
    assert completions(stage, "ssl", "") == {"on", "off"}
    assert completions(stage, "action", "") >= {"submit", "save", "list"}
    assert completions(stage, "audit", "p") == {"pools", "plexes"}
    assert completions(stage, "call", "--uuid", "x", "Pi") == {"Ping", "PingServer"}
    assert completions(stage, "serve", "--ssl-state", "t") == {"true"}
    for command in COMMANDS:
        given = command.split()
        assert completions(stage, *given, "--") == {o for o in options_of(ctl, command)}, command
