"""qdvctl from outside: against the staged agent, against peers of every temper, and as the agent's server."""

import json
import os
import re
import select
import shlex
import signal
import socket
import subprocess
import threading
import time
import xml.etree.ElementTree as ET
from contextlib import ExitStack
from pathlib import Path

import pytest

from harness import FORM, GET11, PATIENCE, SANITIZER_SIGNS, SUCCESS, Connection, Dialog, Port, anonymous_tls, envelope
from harness import environment, form, post_request, wait_until
from harness.server import replying

SHOWN = Path(__file__).parent / "shown"
CONTROL_BYTES = re.compile(rb"[\x00-\x08\x0b-\x1f\x7f]")


def agent_at(address):
    return ("--agent", f"127.0.0.1:{address}" if isinstance(address, int) else address)


@pytest.fixture
def at(agent):
    return agent_at(agent.port)


# ---- calling the agent


def test_ping(ctl, at):
    result = ctl("ping", *at)
    assert result.status == 0 and result.stderr == ""
    first, *rest = result.stdout.splitlines()
    assert re.fullmatch(rf"{at[1]} Ping: success \(\d+\.\d ms\)", first)
    assert rest[-5:] == ["Agent", "  build    421", "  product  VRK", "  type     Linux", "  version  2.1.1"]
    (found,) = ctl("ping", *at, "--tls", "--json").json
    assert (found["response"], found["reason"], found["type"], found["name"]) == (*SUCCESS, "method", "Ping")
    attributes = {"build": "421", "product": "VRK", "type": "Linux", "version": "2.1.1"}
    assert found["elements"] == [{"element": "Agent", "attributes": attributes}]
    raw = ctl("ping", *at, "--raw").stdout
    assert raw.startswith("<?xml ") and "<Agent " in raw and raw.endswith("</NorvalithRMI>\n")


def test_refusals_are_told_and_end_with_1(ctl, at):
    for arguments, words in (
        (("NoSuchMethod",), "NoSuchMethod: unknown method, no methods implemented"),
        (("Ping", "--param", "A=b"), "Ping: too many parameters"),
        (("SetVerboseLog", "--uuid", "refusals"), "SetVerboseLog: too few parameters"),
    ):
        result = ctl("call", *arguments, *at)
        assert result.status == 1 and f"{at[1]} {words} (" in result.stdout and result.stderr == ""
    assert "the path is not there" in ctl("files", "ls", "/no/such", "--uuid", "refusals", *at).stderr
    result = ctl("call", "SetVerboseLog", *at, "--json")
    (told,) = result.json
    assert (result.status, told["response"], told["reason"]) == (1, "error", "invalid uuid")
    assert "--uuid" in result.stderr


def test_settings_and_parameters_reach_the_agent(ctl, start, server):
    agent = start(verbose=False, server=server)
    wait_until(lambda: agent.outcome("PingServer") == SUCCESS and not server.of("Ping")[-1].tls, "the start to be through")
    at = (*agent_at(agent.port), "--uuid", "me")
    log = agent.tree.log_file
    assert ctl("verbose", "on", *at).status == ctl("ping", *at).status == 0
    assert "methodName == [Ping]" in log.read_text()
    assert ctl("verbose", "off", *at).status == 0
    size = log.stat().st_size
    assert "uuid: me\n" in ctl("ping", *at[:2]).stdout and log.stat().st_size == size
    for mode, tls in (("on", True), ("off", False)):
        assert ctl("ssl", mode, *at, "--tls").status == ctl("call", "PingServer", *at).status == 0
        assert server.of("Ping")[-1].tls is tls
    body = agent.tree.root / "body.xml"
    body.write_text('<?xml version="1.0"?>\n<VerboseMode>on</VerboseMode>\n')
    for given in (("--param", "VerboseMode=ON"), ("--body", body)):
        log.unlink()
        assert ctl("call", "SetVerboseLog", *given, *at, "--host-target", "host7").status == 0
        assert log.exists() and ctl("verbose", "off", *at).status == 0
    assert agent.tree.identities() == [("me", ""), ("me", "host7")]


@pytest.mark.parametrize("name", ["-", "/dev/stdin"])
def test_input_may_come_slowly_and_from_anywhere(ctl, at, name):
    """A pipe is at its end when its writer has gone, not when there is nothing to be read just now."""
    slow = "(printf '<A>b'; sleep 0.5; echo '</A>')"
    call = f"{ctl.program} call Ping {' '.join(at)} --body"
    for line in (f"{slow} | {call} {name}", f"{call} <({slow})"):
        done = subprocess.run(["bash", "-c", line], capture_output=True, timeout=PATIENCE, env=environment())
        assert b"Ping: too many parameters (" in done.stdout, done
    ours, theirs = socket.socketpair()
    with ours, theirs:
        theirs.setblocking(False)
        threading.Timer(0.5, lambda: (ours.send(b"<A>b</A>"), ours.shutdown(socket.SHUT_WR))).start()
        assert "Ping: too many parameters (" in ctl(*call.split()[1:], name, stdin=theirs).stdout


@pytest.mark.parametrize(
    "line, complaint",
    [
        ("", 'see "qdvctl --help"'), ("nope", 'no command nope; see "qdvctl --help"'), ("ping --agent", "--agent"),
        ("ping --nope", '--nope; see "qdvctl ping --help"'), ("config nope", 'no command nope; see "qdvctl config --help"'),
        ("action save", 'script is required; see "qdvctl action save --help"'), ("ping --timeout 0", "--timeout"),
        *((f"ping --agent {address}", "HOST:PORT is expected") for address in (
            ":1", "h:", "h:0", "h:65536", "h:1x", "h:-1", "::1", "[::1]:5", "a:b:1",
        )),
        ("ping --json --raw", "--raw"), ("ping --user joe", "--user needs --tls"), ("ping --password-fd 0", "--user"),
        ("ping --tls --user joe", "no terminal"), ("ping --tls --user joe --password-fd 77", "descriptor 77"),
        ("call", "method"), ("call A --body /no/such/file", "No such file"), ("call A --body /", "Is a directory"),
        *((f"call A --param {parameter}", "Name=Text is expected") for parameter in ("Name", "=x", "1a=x", "a<b=x", "ä=x")),
        *((("call", "A", "--body", "-", body), "--body -: not a sequence of XML elements: ") for body in (
            "<a", "<a>", "<a/></Method><b/>", "</Method><Method>", "<!DOCTYPE a><a/>", "<a b/>", "text", "<a/>b", "",
        )),
        ("verbose maybe", "maybe"), ("ssl on --uuid me", 'from nobody else; see "qdvctl ssl --help"'),
        ("ssl on --tls", "--tls and --uuid"),
        ("serve --port 0", "port"), ("serve --ssl-state maybe", "maybe"), ("config", "see "),
    ],
)  # fmt: skip
def test_wrong_usage(ctl, line, complaint):
    arguments, body = (line.split(), "") if isinstance(line, str) else (line[:-1], line[-1])
    assert complaint in ctl(*arguments, stdin=body.encode()).error(2)


# ---- peers that are no agent


@pytest.fixture
def peer(server):
    """Has the server answer the next requests with these bytes."""

    def make(answer, times=3):
        server.drop_scripts()
        server.misbehave(*[replying(answer)] * times)
        return agent_at(server.plain_port)

    return make


def http(body, status="200 OK"):
    return f"HTTP/1.1 {status}\r\nContent-Type: text/xml\r\nContent-Length: {len(body)}\r\n\r\n".encode() + body


def reply(content, attributes=b'response="success"'):
    response = b"<Response " + attributes + b">" + content + b"</Response>"
    return http(b'<NorvalithRMI version="1.2" schema="2.1">' + response + b"</NorvalithRMI>")


@pytest.mark.parametrize(
    "answer, complaint",
    [
        *((part, "the connection ended without a whole reply") for part in (b"", b"\0\1rubbish\r\n", http(b"<a/>")[:-3])),
        (http(b"x", "500 INTERNAL SERVER ERROR"), "the agent cannot make sense of the request (HTTP status 500)"),
        (http(b"x", "404 NOT FOUND"), "what listens there is no agent (HTTP status 404)"),
        (http(b"x", "418 TEAPOT"), "HTTP status 418"),
        (http(b""), "the reply is empty"),
        *((http(body), "the reply: not XML: ") for body in (b"plain text", b"<NorvalithRMI")),
        (http(b'<!DOCTYPE a [<!ENTITY b "c">]><NorvalithRMI/>'), "the reply: not XML: "),
        (http(b"<Other/>"), "the reply: the root element is not NorvalithRMI"),
        (http(b'<NorvalithRMI schema="2.1"/>'), 'attribute version is "", not "1.2"'),
        (http(b'<NorvalithRMI version="\xc2\x9b1m" schema="2.1"/>'), 'attribute version is "\\x9b1m", not "1.2"'),
        (http(b'<NorvalithRMI version="1.2" schema="9"/>'), 'attribute schema is "9", not "2.1"'),
        (http(b'<NorvalithRMI version="1.2" schema="2.1"/>'), "the reply: it has no element Response"),
        (reply(b"<d>" * 5000 + b"</d>" * 5000), "the reply: not XML: "),
    ],
)
def test_peer_that_is_no_agent(ctl, peer, answer, complaint):
    at = peer(answer)
    for options in ((), ("--json",), ("--raw",)):
        message = ctl("ping", *at, *options).error(3)
        assert complaint in message and at[1] in message


def test_nobody_there_and_no_tls(ctl, peer):
    port = Port()
    address = f"127.0.0.1:{port.number}"
    assert ctl("ping", *agent_at(address)).error(3) == f"cannot connect to {address}: Connection refused"
    assert ctl("ping", *agent_at("no-such-host.invalid")).error(3).startswith("cannot resolve no-such-host.invalid: ")
    assert "the TLS handshake failed" in ctl("ping", *peer(b""), "--tls").error(3)
    port.release()


def dripping(server, connection):
    server.read_request(connection)
    for byte in http(b"x" * 1000):
        connection.sendall(bytes([byte]))
        time.sleep(0.1)


@pytest.mark.parametrize("kind", ["deaf", "silent", "silent over TLS", "dripping"])
def test_peer_that_does_not_answer_in_time(ctl, server, kind):
    port, complaint = Port(), "{}: no answer within 1 s"
    at = agent_at(server.plain_port if kind == "dripping" else port.number)
    server.misbehave(dripping)
    port.holder.listen(0 if kind == "deaf" else 5)
    with ExitStack() as stack:
        if kind == "deaf":
            complaint = "cannot connect to {} within 1 s"
            for _ in range(3):  # the queue of a listener that nobody serves is full soon
                waiting = stack.enter_context(socket.socket())
                waiting.setblocking(False)
                waiting.connect_ex(("127.0.0.1", port.number))
        options = ("--timeout", 1, *(["--tls"] if "TLS" in kind else []))
        assert ctl("ping", *at, *options).error(3) == complaint.format(at[1])
    port.release()


def test_hostile_texts_reach_neither_terminal_nor_json_raw(ctl, peer):
    # In XML a control character cannot stand; in its place comes U+EF00 plus the byte, and C1 controls as they are.
    # Where the locale is not UTF-8, as here, one is also a byte of some harmless letters.
    evil = b'<A b="&#xEF1B;]0;x&#xEF07;" c="\xc2\x9b2J" d="\xc3\x84\xc3\xa4">\xe2\x80\xaetxt&#xEFFF;&#10;&#9;end</A>'
    at = peer(reply(evil, b'response="success" reason="&#xEF1B;[31m" name="\xc2\x85"'))
    shown, as_json = ctl("ping", *at), ctl("ping", *at, "--json")
    for result in (shown, as_json):
        assert result.status == 0 and not CONTROL_BYTES.search(result.raw), result.raw
        assert not re.search(rb"[\x80-\x9f]", result.raw) and rb"\u00c4" + "ä".encode() in result.raw
    assert "b  \\x1b]0;x\\x07\n" in shown.stdout and "\\u202etxt\\xff\n" in shown.stdout
    element = as_json.json[0]["elements"][0]
    assert element["attributes"] == {"b": "\x1b]0;x\x07", "c": "\x9b2J", "d": "Ää"}
    assert element["text"] == "\u202etxt\uefff\n\tend"
    listed = ctl("files", "ls", "/", *peer(reply(b'<FSO isdir="true">' + b'<FSO %s/></FSO>' % b" ".join(
        b'%s="&#xEF1B;c"' % name for name in (b"name", b"userId", b"groupId", b"size", b"modifyDT")))))
    assert listed.status == 0 and not CONTROL_BYTES.search(listed.raw) and listed.stdout.count("\\x1bc") == 4
    refused = ctl("ping", *peer(reply(b"", b'response="&#xEF1B;c" reason="&#xEF1B;[31m"')))
    assert refused.status == 1 and "Ping: \\x1bc, \\x1b[31m (" in refused.stdout


def test_large_and_deep_replies(ctl, peer):
    rows = b"".join(b'<Drive name="/dev/sd%d" bytes="%d"/>' % (i, i) for i in range(20000))
    result = ctl("ping", *peer(reply(rows)))
    lines = result.stdout.splitlines()
    assert result.status == 0 and len(lines) == 1 + 2 + 20000 and lines[2].split() == ["bytes", "name"]
    deep = peer(reply(b"<d>" * 900 + b"</d>" * 900))
    assert ctl("ping", *deep, "--json").status == ctl("ping", *deep).status == 0


def test_what_is_shown_of_replies(ctl, server):
    """Whole replies lie in shown/, each beside what a person and what a program gets of it."""
    at = agent_at(server.plain_port)

    def shown(*arguments):
        return ctl(*arguments, *at).stdout.partition("\n")[2]

    server.answers["Any"] = (SHOWN / "reply.xml").read_text()
    assert shown("call", "Any") == (SHOWN / "reply.txt").read_text()
    assert ctl("call", "Any", *at, "--json").raw == (SHOWN / "reply.json").read_bytes()
    server.answers["Any"] = "".join(f'<E a{number}="v"/>' for number in range(3000))
    assert shown("call", "Any").startswith("E\n  a0  v\nE\n  a1  v\n"), "no table of what has little in common"
    assert len(shown("call", "Any")) < 100_000
    server.answers["Any"] = ""
    assert shown("call", "Any") == "" and ctl("call", "Any", *at, "--json").json[0]["elements"] == []
    *levels, failed = ET.parse(SHOWN / "stack.xml").getroot()
    server.answers |= {f"Get{level.tag}": ET.tostring(level, encoding="unicode") for level in levels}
    server.answers["GetStorageAssociations"] += ET.tostring(failed, encoding="unicode")
    stack = [shown("audit", *which, "--tree") for which in ((), ("drives",))]
    assert stack == (SHOWN / "stack.txt").read_text().split("====\n")


def test_a_request_is_what_it_was_told(ctl, server, tmp_path):
    body = tmp_path / "body"
    body.write_bytes(b"\xef\xbb\xbf<?xml version=\"1.0\"?>\n<A x='1'>t<B/>u</A><C><![CDATA[<]]></C>")
    parameters = ("--param", "Name=a=b <c>", "--param", "Empty=", "--body", body)
    at = (*agent_at(server.tls_port), "--tls", "--uuid", "id", "--user", "jo\udcff")  # bytes of any kind survive
    assert ctl("call", 'Save<Action>"&', *parameters, *at, password=b"p&<w").status == 0
    (call,) = server.calls
    assert (call.method, call.root) == ('Save<Action>"&', {"schema": "2.1", "version": "1.2"})
    assert call.request == {"uuid": "id", "userName": "jo\uefff", "userPassword": "p&<w"}, "what is empty is left out"
    texts = [ET.tostring(child).strip() for child in call.element]
    assert texts == [b"<Name>a=b &lt;c&gt;</Name>", b"<Empty />", b'<A x="1">t<B />u</A>', b"<C>&lt;</C>"]


# ---- users and passwords


def test_password_goes_into_the_request_and_nowhere_else(ctl, server):
    at = (*agent_at(server.tls_port), "--tls", "--user", "jo<e")
    for given, expected in ((b"p&w \xc3\xa4\nrest", "p&w ä"), (b"no line end", "no line end"), (b"\n", None)):
        result = ctl("call", "Ping", *at, password=given)
        assert result.status == 0 and "p&w" not in result.stdout + result.stderr
        request = server.calls[-1].request
        assert (request.get("userName"), request.get("userPassword"), server.calls[-1].tls) == ("jo<e", expected, True)
    # On a terminal it is asked for without echo, which an interrupt gives back.
    dialog = Dialog(ctl.program, "ping", *at[:-1], "joe\x1b[2J")
    dialog.wait_for_password("Password of joe\\x1b[2J: ")
    dialog.type("typed secret\n")
    assert dialog.finish() == 0 and "typed secret" not in dialog.seen
    assert server.calls[-1].request.get("userPassword") == "typed secret"
    dialog = Dialog(ctl.program, "ping", *at)
    dialog.wait_for_password("Password of jo<e: ")
    dialog.type("half\x03")
    wait_until(dialog.has_echo, "the echo to come back")
    assert dialog.finish() == -2 and "half" not in dialog.seen
    # Who stops the program and comes back is asked again, be it stopped by the terminal or behind its back.
    for stop in ("\x1a", ""):
        dialog = Dialog("bash", "-mc", f"{shlex.join([ctl.program, 'ping', *at])}; fg; echo status $?")
        dialog.wait_for_password("Password of jo<e: ")
        dialog.type("half" + stop)
        if not stop:
            shell = dialog.process.pid
            os.kill(int(Path(f"/proc/{shell}/task/{shell}/children").read_text()), signal.SIGSTOP)
        dialog.wait_for_password("\nPassword of jo<e: ")
        dialog.type("whole\n")
        assert dialog.finish() == 0 and "half" not in dialog.seen and "whole" not in dialog.seen
        assert "status 0" in dialog.seen and server.calls[-1].request.get("userPassword") == "whole"


# ---- serve


class Serve:
    def __init__(self, program, *options):
        self._ports = plain, tls = Port(), Port()
        self.plain_port, self.tls_port = plain.number, tls.number
        self.process = subprocess.Popen(
            [program, "serve", "--port", str(plain.number), "--tls-port", str(tls.number), *options], bufsize=0,
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment(LC_ALL="C.UTF-8"),
        )  # fmt: skip
        self.start_line = self.process.stderr.readline().decode()

    def post(self, body, content_type="text/xml", tls=None):
        with Connection(self.tls_port if tls else self.plain_port, tls=tls) as connection:
            return connection.ask(post_request(body, "/BrindlexServer", content_type))

    def line(self):
        ready, _, _ = select.select([self.process.stdout], [], [], PATIENCE)
        assert ready, "nothing was shown"
        return self.process.stdout.readline().decode()

    def stop(self, number=15):
        """Returns (exit status, rest of standard output, rest of standard error)."""
        self.process.send_signal(number)
        out, err = self.process.communicate(timeout=PATIENCE)
        for port in self._ports:
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
            server.stop(9)


def test_serve_answers_every_form_of_a_call(serve):
    server = serve("--ssl-state", "true")
    assert f"127.0.0.1:{server.plain_port} and 127.0.0.1:{server.tls_port}" in server.start_line
    state = envelope("GetSSLState", request={"uuid": "me", "hostTarget": "h"})
    bodies = [(prefix + state, "text/xml") for prefix in (b"", b"CommandBody=", b"x=1&CommandBody=")] + [(form(state), FORM)]
    for tls, protocol in ((None, "plain"), (anonymous_tls(), "TLS")):
        for body, content_type in bodies:
            answer = server.post(body, content_type, tls)
            assert (answer.status, b'response="success"' in answer.body) == (200, True)
            assert b'<Server sslState="true"/>' in answer.body
            line = rf"[0-9-]{{10}} [0-9:]{{8}} {protocol} /BrindlexServer GetSSLState uuid=me hostTarget=h\n"
            assert re.fullmatch(line, server.line())
    assert b"<Server " in server.post(envelope("Ping")).body
    server.line()
    answer = server.post(envelope("UpdateAction", '<R code="0"><Out>\xc2\x9b</Out></R>', request={"uuid": "u\uef1b"}))
    assert b"<Response" in answer.body and b"<Server" not in answer.body
    assert "UpdateAction uuid=u\\x1b" in server.line()
    assert [server.line() for _ in range(4)] == ["  Method\n", "    R\n", "      code  0\n", "      Out: Â\\x9b\n"]
    bad = (b"rubbish", b"<Other/>", envelope("Ping", version="1.1"), envelope(None), b"<NorvalithRMI/>")
    assert [server.post(body).status for body in bad] == [400] * len(bad)
    status, out, err = server.stop()
    assert (status, out, err.count("\n")) == (0, "", len(bad)) and "/BrindlexServer: the call: not XML" in err


def test_serve_ends_on_signals_even_with_an_idle_client(serve):
    for number in (2, 15):
        server = serve()
        with Connection(server.plain_port) as connection:
            assert connection.ask(GET11).status == 404
            assert server.stop(number)[0] == 0


def test_serve_says_which_port_it_cannot_have(ctl):
    taken, free = Port(), Port()
    taken.listen()
    for plain, tls, missed in ((taken, free, taken), (free, taken, taken), (free, free, free)):
        result = ctl("serve", "--port", plain.number, "--tls-port", tls.number)
        assert result.error(3) == f"cannot listen on 127.0.0.1:{missed.number}: Address already in use"
    taken.release()
    free.release()


def test_serve_stands_in_for_the_server(ctl, serve, start):
    server = serve("--json")
    at = (*agent_at(start(server=server).port), "--uuid", "me")
    assert ctl("call", "PingServer", *at).status == 0
    shown = [json.loads(server.line()) for _ in range(2)]
    shown = [(call["method"], call["protocol"], call["uri"], call.get("uuid")) for call in shown]
    assert shown == [("GetSSLState", "TLS", "/BrindlexServer", ""), ("Ping", "plain", "/BrindlexServer", "me")]
    assert server.stop()[0] == 0
    assert ctl("call", "PingServer", *at).status == 1


# ---- completion


def test_completion_offers_methods_of_the_agent(ctl, stage, at):
    script = (stage / "share/bash-completion/completions/qdvctl").read_text()
    methods = re.search(r"_qdvctl_methods='([^']+)'", script)[1].split()
    assert "Ping" in methods and not [one for one in methods if "unknown method" in ctl("call", one, *at).stdout]


def test_output_that_cannot_be_written(ctl, at):
    for command in ("--version", "--help", f"ping {' '.join(at)}"):
        with open("/dev/full", "w") as full:
            done = subprocess.run([ctl.program, *command.split()], stdout=full, stderr=subprocess.PIPE, timeout=PATIENCE)
        assert (done.returncode, done.stderr) == (3, b"qdvctl: the output cannot be written\n"), command
