"""Nothing of a password stays: not in the memory of the agent, not in its log."""

import os
import re
import secrets
import time
from base64 import b64encode
from collections import deque
from contextlib import suppress

import pytest
from harness import server as behaviour
from test_actions import User, action, parameter, scriptlets

from harness import FORM, SUCCESS, anonymous_tls, envelope, form, parse_answer, post_request

TRANSPORTS = (None, anonymous_tls())


def forms_of(secret):
    """What a search for a text must look for."""
    return [secret.encode(encoding) for encoding in ("utf-8", "utf-16-le", "utf-16-be")]


def copies(pid, texts):
    """How often each text stands in the memory of a process."""
    found = dict.fromkeys(texts, 0)
    with open(f"/proc/{pid}/maps") as maps, open(f"/proc/{pid}/mem", "rb", 0) as memory:
        for line in maps:
            begin, end, access = re.match(r"(\w+)-(\w+) (\S+)", line).groups()
            if not access.startswith("rw"):
                continue  # what cannot be written holds no password
            memory.seek(int(begin, 16))
            with suppress(OSError):  # given back since it was listed
                content = memory.read(int(end, 16) - int(begin, 16))
                for text in texts:
                    found[text] += content.count(text)
    return {text: count for text, count in found.items() if count}


def declared(xml, encoding):
    return b'<?xml version="1.0"?>' + xml if encoding == "utf-8" else xml.decode().encode(encoding)


@pytest.fixture(scope="module")
def user():
    made = User()
    made.password = secrets.token_hex(16)
    made.set_password()
    yield made
    made.remove()


@pytest.mark.long
@pytest.mark.skipif(os.geteuid() != 0, reason="only root can make the user and read the memory")
def test_no_copy_of_a_password_is_left_in_memory(stage, start, server, user):
    """After each kind of request that carries one, on connections that stay open."""
    program = (stage / "bin" / "QDVAgent").read_bytes()
    if b"__asan_init" in program or b"__tsan_init" in program:
        pytest.skip("the sanitizers keep memory and stacks of their own, which nobody can wipe")
    kept = secrets.token_hex(16)
    agent = start(server=server, conf={"ServerInfo": {"username": "agent", "password": kept}})
    assert agent.outcome(uuid="id") == SUCCESS
    used, kept_open = [], deque()

    def ask(request, tls):
        connection = agent.connect(tls=tls)
        kept_open.append(connection)
        if len(kept_open) > 6:  # others need workers too
            kept_open.popleft().close()
        for piece in (request[: len(request) // 2], request[len(request) // 2 :]):
            connection.send(piece)
            time.sleep(0.01)
        reply = connection.read_reply()
        return parse_answer(reply.body).outcome if reply.status == 200 else reply.status

    def new_secret():
        used.append(secrets.token_hex(16))
        return used[-1]

    def rpc(method, encoding, tls, params="", **request):
        xml = declared(envelope(method, params, request={"uuid": "id"} | request), encoding)
        return ask(post_request(xml, version="HTTP/1.1"), tls)

    for encoding, taken in (("utf-8", SUCCESS), ("utf-16", 500)):  # text ends at its first zero byte
        for tls in TRANSPORTS:
            for method in ("Ping", "GetHostSummary"):
                credentials = {"userName": "root", "userPassword": new_secret()}
                assert rpc(method, encoding, tls, **credentials) == taken
        script = {"actionscript": scriptlets(":"), "templatename": "t"}
        for method in ("SubmitAction", "SaveAction"):
            values = action(user, script["actionscript"], **({} if method == "SubmitAction" else script))
            for wrong in (False, True):
                values["syspwd"] = new_secret() if wrong else user.password
                params = "".join(parameter(name, value) for name, value in values.items())
                assert (rpc(method, encoding, anonymous_tls(), params) == taken) != (wrong and taken == SUCCESS)
    as_form = form(envelope("Ping", request={"userPassword": new_secret()}))
    assert ask(post_request(as_form, content_type=FORM), None) == SUCCESS
    basic = b64encode(f"root:{new_secret()}".encode()).decode()
    for tls in TRANSPORTS:
        authorization = f"Authorization: Basic {basic}\r\n"
        assert ask(post_request(envelope(), version="HTTP/1.1", headers=authorization), tls) == SUCCESS
    for challenge in ('Basic realm="here"', 'Digest realm="here", nonce="n0nce", qop="auth"'):
        server.misbehave(behaviour.status(407, headers=f"Proxy-Authenticate: {challenge}\r\n"))
        assert agent.outcome("PingServer") == SUCCESS

    time.sleep(1)
    texts = [one for secret in (*used, user.password) for one in forms_of(secret)]
    sent = b64encode(f"agent:{kept}".encode())
    assert copies(agent.pid, [*texts, basic.encode(), sent]) == {}
    assert copies(agent.pid, forms_of(kept)) == {kept.encode(): 1}, "the configuration has it, and nobody else"
    log = agent.log()
    assert not any(text in log for text in (*used, user.password, basic, kept))
    assert ": Authorization: (not logged)\r\n" in log
    assert log.count("\nProxy-Authorization: (not logged)\r\n") == log.count("Proxy-Authorization:") == 2


def test_bodies_that_cannot_be_read_plainly_are_not_logged(start):
    """Encodings that hide a password from those who look for one."""
    agent = start()
    refused = "RMI request body not logged for security reasons\n"
    secret = "xyzzy-secret"
    xml = envelope("Ping", request={"userName": "joe", "userPassword": secret}).decode()
    for number, (declared_as, encoding) in enumerate((
        ("UTF-16", "utf-16"), ("UTF-16BE", "utf-16-be"), ("UTF-7", "utf-7"), ("UCS-4", "utf-32"), ("IBM037", "cp037"),
    ), 1):  # fmt: skip
        body = f'<?xml version="1.0" encoding="{declared_as}"?>{xml}'.encode(encoding)
        assert agent.post(body).status == 500, encoding
        agent.wait_log(refused, number)
    assert secret not in agent.log().replace("\0", "")


# What the first line says of the encoding, the bytes of a host name, whether it is read.
@pytest.mark.parametrize(
    "name, value, read",
    [
        ("UTF-8", "\u00e9".encode(), True), ("utf-8", b"e", True), ("US-ASCII", b"e", True),
        ("ISO-8859-1", b"\xe9", True), ("windows-1252", b"\x80", True),
        ("UTF-8", b"\xe9", False), ("UTF8", b"\xe9", False), ("UTF8", b"e", False), ("US-ASCII", b"\xe9", False),
        ("UTF-7", b"e", False), ("ISO-8859-15", b"e", False), ("latin-9", b"e", False), ("IBM037", b"e", False),
        ("GBK", b"e", False),
    ],
)  # fmt: skip
def test_encodings(agent, name, value, read):
    xml = envelope("Ping", request={"vsamName": "@"}).replace(b"@", value)
    status = agent.post(f'<?xml version="1.0" encoding="{name}"?>'.encode() + xml).status
    assert status == (200 if read else 500)
