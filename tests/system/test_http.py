"""The wire, plain and over TLS: what is answered byte for byte, what closes without a reply, what a connection costs."""

import os
import ssl
from contextlib import suppress

import pytest

from harness import FORM, GET, GET11, SUCCESS, Connection, anonymous_tls, envelope, form, parse_answer, post_request
from harness import wait_until

PAGE = b"<HTML><TITLE>Norvalith Agent</TITLE><CENTER><H1>Norvalith Agent</H1></CENTER></HTML>"
OK, NOT_FOUND, BAD = "200 OK", "404 NOT FOUND", "400 BAD REQUEST"
FAILED, NOT_IMPLEMENTED = "500 INTERNAL SERVER ERROR", "501 NOT IMPLEMENTED"
CLOSED = None


def reply_bytes(status, keep=False, version="HTTP/1.1"):
    if status is CLOSED:
        return b""
    body = PAGE if status == OK else b""
    head = (
        f"{version} {status}\r\nContent-Type: text/html\r\nContent-Length: {len(body)}\r\n"
        f"Connection: {'Keep-Alive' if keep else 'Close'}\r\n\r\n"
    )
    return head.encode() + body


def head(first, *headers):
    return b"".join(line.encode() + b"\r\n" for line in (first, *headers, ""))


def with_headers(first, *headers):
    return [head(first, header) for header in headers]


POST = "POST /nxCommand HTTP/1."
GET0 = "GET / HTTP/1.0"
KEEP = True
# (status, whether the connection is kept) -> requests
ANSWERED = {
    (OK, not KEEP): [
        GET, head("GET / HTTP/2.0"), head("GET / http/1.1"), head("GET / HTTP/1.1 "), head("GET x/ HTTP/1.0"),
        head("GET    / HTTP/1.0"), b"GET / HTTP/1.0\r\nX: y\r\n\n", b"GET / HTTP/1.0\n\n",
        *with_headers("GET / HTTP/1.1", "Connection: Keep-Alive ", "Connection: close", "Connection: Upgrade"),
        head(GET0, *(f"X-{i}: {i}" for i in range(200))), head(GET0, "X: " + "y" * 100_000),
    ],
    (OK, KEEP): [
        GET11, b"GET / HTTP/1.1\n\r\n", b"GET / HTTP/1.1\rX: y\r\n\r\n", head("GET / HTTP/1.1", "X:", "User-Agent: y"),
        *with_headers(
            GET0, "Connection: keep-alive", "CONNECTION: KEEP-ALIVE", "Connection-Hint: Keep-Alive", "Connection:Keep-Alive",
            "   Connection   :    Keep-Alive",
        ),
    ],
    (NOT_FOUND, not KEEP): [
        *(head(f"GET {uri} HTTP/1.0") for uri in ("/x", "/?x", "/nxCommand", "/../conf/agent.conf", "/" + "x" * 100_000)),
        *(post_request(envelope(), uri) for uri in ("/", "/nxcommand", "/nxCommand?x=1")), head("POST /other HTTP/1.0"),
    ],
    (NOT_FOUND, KEEP): [head("GET /%2e HTTP/1.1")],
    (NOT_IMPLEMENTED, not KEEP): [head(f"{method} / HTTP/1.0") for method in ("get", "GETX", "POSTER")],
    (NOT_IMPLEMENTED, KEEP): [head("Post /nxCommand HTTP/1.1")],
    (BAD, not KEEP): [head(POST + "0"), *(head(POST + "0", f"Content-Length:{length}") for length in (" -5", " many", ""))],
    (BAD, KEEP): [head(POST + "1", "Content-Length: 0")],
    (FAILED, KEEP): [
        post_request(b"x", version="HTTP/1.1"), head(POST + "1", "Content-Length: 5", "With Blank : v", "Content-Length:  1 bytes") + b"x",
        head(POST + "1\rContent-Length: 1") + b"x",
    ],
    # Without a byte of reply, though the client stays and would send more.
    (CLOSED, not KEEP): [
        head("HEAD / HTTP/1.1", "Host: x"), head("PUT / HTTP/1.0"), b"\x00\x01\x02\x03" * 16, b" " + GET, b"\r\n" + GET,
        b"GET /\r\n\r\n", b"GET\r\n\r\n", b"GET x HTTP/1.0\r\n\r\n", b"GET / HTTP/1.0\r\nX: y\n\r\n",
        b"GET / HTTP/1.0\r\nX: y\r\r\n\r\n", head(GET0, "Xy"), head(GET0, "    "),
    ],
}  # fmt: skip


@pytest.mark.parametrize("tls", [None, anonymous_tls()], ids=["plain", "tls"])
def test_answered_byte_for_byte(agent, tls):
    """On a new connection, and on one that has been kept; what was kept before stays kept."""
    for (status, keep), request in ((outcome, one) for outcome, requests in ANSWERED.items() for one in requests):
        with agent.connect(tls=tls) as connection:
            connection.send(request)
            if keep:
                assert connection.read_reply().raw == reply_bytes(status, KEEP), request[:200]
                assert connection.ask(GET11).raw == reply_bytes(OK, KEEP)
            else:
                assert connection.read_to_end() == reply_bytes(status), request[:200]
        with agent.connect(tls=tls) as connection:
            assert connection.ask(GET11).raw == reply_bytes(OK, KEEP)
            connection.send(request)
            found = connection.read_to_end() if status is CLOSED else connection.read_reply().raw
            assert found == reply_bytes(status, KEEP), request[:200]


def test_cut_short(start):
    """Closed without a byte of reply once the client has said that nothing more comes."""
    agent = start()
    most = agent.rss() + (16 << 20)
    post = post_request(envelope())
    parts = [GET[:length] for length in (0, 3, 8, 16, 17)] + [GET[:-2] + b"X: ", GET[:-2] + b"X: y\r\n", post[:-1]]
    claims = [head(POST + "0", f"Content-Length: {length}") + envelope() for length in (1000, 10**12, 2**63 - 1)]
    for request in parts + claims:
        assert agent.raw(request, half_close=True) == b"", request
        assert agent.rss() < most, "memory follows what has come, not what is claimed"
    assert agent.get().status == 200


def test_replies_of_methods(agent):
    with agent.connect() as connection:
        reply = connection.ask(post_request(envelope()))
        assert [name for name, _ in reply.headers] == ["Content-Type", "Content-Length", "Connection"]
        assert (reply.version, reply.status, reply.reason) == ("HTTP/1.1", 200, "OK")
        assert reply.body.startswith(b'<?xml version="1.0" encoding="UTF-8"') and b"\0" not in reply.body
        assert connection.read_to_end() == b""
    for uri, status in (("/", OK), ("/x", NOT_FOUND)):
        assert agent.raw(head(f"GET {uri} HTTP/0.9")) == reply_bytes(status, version="HTTP/0.9")


def test_keep_alive_once_given_stays_and_nothing_else_does(agent):
    """A later request to close is answered with Keep-Alive and kept; headers and body are forgotten."""
    with agent.connect() as connection:
        for request, status in (
            (head("GET / HTTP/1.0", "Connection: Keep-Alive"), 200),
            (head("GET / HTTP/1.1", "Connection: Close"), 200),
            (head("GET /x HTTP/0.9"), 404),
            (post_request(form(envelope()), content_type=FORM), 200),
            (head(POST + "0"), 400),
            (post_request(envelope(), headers="Connection: close\r\n"), 200),
        ):
            reply = connection.ask(request)
            assert (reply.status, reply.header("Connection")) == (status, "Keep-Alive"), request
        assert connection.is_silent_for(0.1)


@pytest.mark.parametrize("tls", [None, anonymous_tls()], ids=["plain", "tls"])
def test_pipelined_and_in_pieces(agent, tls):
    post = post_request(envelope(request={"uuid": ""}), version="HTTP/1.1")
    with agent.connect(tls=tls) as connection:
        connection.send((GET11 + head("GET /x HTTP/1.1") + post + head("get / HTTP/1.1")) * 50 + GET11[:10])
        for _ in range(50):
            assert [connection.read_reply().status for _ in range(4)] == [200, 404, 200, 501]
        assert connection.ask(GET11[10:]).body == PAGE
        for request in (b"GET / HTTP/1.1\rX: y\r\n\r\n", b"GET / HTTP/1.1\n\r\n", post):
            for byte in request:
                connection.send(bytes([byte]))
            reply = connection.read_reply()
            assert reply.status == 200
        assert parse_answer(reply.body).outcome == SUCCESS
        for cut in (1, 4, post.index(b"\r\n") + 1, post.index(b"\r\n\r\n") + 2, len(post) - 1):
            connection.send(post[:cut])
            assert connection.is_silent_for(0.02)
            assert connection.ask(post[cut:]).status == 200
        big = envelope(request={"vsamName": "x" * 3_000_000})
        assert connection.ask(post_request(big, version="HTTP/1.1")).status == 200


def test_form_encoding(agent):
    """A form is decoded before the envelope is looked at; any other type is taken as it is."""
    encoded = form(envelope("Ping", request={"vsamName": "a+b%c"}))
    assert b"%3C" in encoded
    for content_type in (FORM, FORM.upper(), FORM + "; charset=UTF-8"):
        assert agent.answer(encoded, content_type).outcome == SUCCESS
    for content_type in ("text/xml", "*/*", "x-" + FORM, "nonsense"):
        assert agent.post(encoded, content_type=content_type).status == 500
        assert agent.answer(envelope(), content_type).outcome == SUCCESS
    # Decoding ends at the first zero byte, and an escape that is cut off or no number must not read further.
    lower = encoded.replace(b"%3C", b"%3c").replace(b"%2F", b"%2f")
    for body in (lower, encoded + b"%00 rubbish"):
        assert agent.answer(body, FORM).outcome == SUCCESS
    for body in (*(encoded + tail for tail in (b"%", b"%4", b"%zz", b"%-1", b"%%%")), b"%00" + encoded):
        assert agent.post(body, content_type=FORM).status in (200, 400, 500)


def test_client_that_never_reads_costs_one_worker_only(start):
    agent = start(verbose=False)
    with agent.connect() as deaf:
        deaf.socket.settimeout(1)
        with pytest.raises(TimeoutError):
            for _ in range(2000):
                deaf.socket.send(GET11 * 1000)
        assert agent.get().status == 200
        assert agent.rss() < 64 << 20 or agent.tree.is_sanitized()
        deaf.reset()
    assert agent.get().status == 200


def test_fifteen_connections_take_up_the_pool(start):
    """Connections, not requests, take up workers: the sixteenth waits until another one ends."""
    agent = start()
    few = agent.settled_threads()
    held = [agent.connect() for _ in range(15)]
    assert [connection.ask(GET11).status for connection in held] == [200] * 15
    assert agent.threads() == few + 10
    with agent.connect() as waiting, agent.connect() as second:
        waiting.send(GET11)
        second.send(GET11)
        assert waiting.is_silent_for(0.5)
        assert [connection.ask(GET11).status for connection in held] == [200] * 15
        held.pop().close()
        assert waiting.read_reply().status == 200
        assert second.is_silent_for(0.2)
        held.pop(0).reset()
        assert second.read_reply().status == 200
    for connection in held:
        connection.close()
    assert agent.get().status == 200
    assert agent.threads() == few + 10, "the pool never shrinks"


def test_dropped_connections_leave_nothing_behind(start):
    agent = start(verbose=False)
    for _ in range(30):
        agent.get()
    before = len(agent.descriptors())
    hello = b"\x16\x03\x01\x00\xc8\x01\x00"
    cut_short = post_request(envelope())[:-7]
    manners = (b"", b"GE", GET[:-2], GET, cut_short, b"rubbish, more than enough of it", GET11 * 2, hello[:2], hello)
    for number in range(agent.tree.scaled(500)):
        connection = agent.connect(tls=anonymous_tls() if number % 20 == 19 else None)
        connection.send(manners[number % len(manners)])
        connection.close() if number % 3 else connection.reset()
    assert agent.get().status == 200
    wait_until(lambda: len(agent.descriptors()) <= before, "all descriptors to be closed again")


def test_every_descriptor_is_closed_on_exec(start):
    """What the agent runs later must not inherit its listening socket or anybody's connection."""
    agent = start(verbose=False, binds=2)
    with agent.connect() as one, agent.connect() as other:
        assert one.ask(GET11).status == 200
        other.send(GET11[:6])
        wait_until(lambda: len(agent.descriptors()) >= 3 + 2 + 2, "both connections to be accepted")
        # A sanitizer has a pipe of its own for moments.
        wait_until(lambda: all(fd <= 2 or flags & os.O_CLOEXEC for fd, flags in agent.descriptors().items()), "no other to be open")


def test_every_pair_serves(start):
    """Names, numbers and the loose reading of four short fields all lead to an address."""
    for address in ("127.0.0.1", "localhost", "127.x.y.1"):
        agent = start(verbose=False, binds=3, address=address)
        assert all(agent.answers(port.number) for port in agent.ports)


def test_endless_head_is_cut_off(start):
    """A line or a block of headers without an end is refused while it grows."""
    agent = start(verbose=False)
    before = agent.rss()
    for start_of_it, more in ((b"GET /", b"x" * 65536), (b"GET / HTTP/1.0\r\n", b"X: yyyyyyyyyyyy\r\n" * 4096)):
        with agent.connect() as connection:
            with suppress(OSError):  # refused within it
                connection.send(start_of_it)
                for _ in range(20 << 4):
                    connection.send(more)
            assert connection.read_to_end() == b""
    assert agent.get().status == 200
    assert agent.rss() < before + (96 << 20)


def test_log_of_a_request_and_its_passwords(start):
    agent = start()
    assert agent.get("/some/where").status == 404
    agent.wait_log("GET /some/where HTTP/1.0\r\n")
    agent.wait_log("HTTP_FileImpl::sendReply: finish\n")
    xml = envelope("Ping", request={"vsamName": "seen in the log"})
    agent.answer(xml)
    agent.wait_log(f"\nreceived request body: {len(xml)}\n{xml.decode()}\n")
    secret = "xyzzy-secret"
    for number, (body, content_type) in enumerate((
        (envelope("Ping", request={"userName": "root", "userPassword": secret}), "text/xml"),
        (form(envelope("Ping", request={"userPassword": secret})).replace(b"userP", b"user%50"), FORM),
        (envelope("Ping", f"<syspwd>{secret}</syspwd>"), "text/xml"),
        (b"<broken syspwd " + secret.encode(), "text/xml"),
    )):  # fmt: skip
        agent.post(body, content_type=content_type)
        agent.wait_log("RMI request body not logged for security reasons\n", 1 + number)
    assert secret not in agent.log()


# ---- TLS


def test_who_wants_certificates_is_refused(agent):
    modern = ssl.create_default_context()
    modern.check_hostname = False
    modern.verify_mode = ssl.CERT_NONE
    modern.minimum_version = ssl.TLSVersion.TLSv1_3
    for context in (modern, *map(anonymous_tls, ("ECDHE+AESGCM", "DHE+AESGCM", "AES128-SHA"))):
        with pytest.raises((ssl.SSLError, ConnectionError)):
            agent.connect(tls=context)
    assert agent.get().status == 200


@pytest.mark.parametrize("suites", ["AECDH:@SECLEVEL=0", "ADH:@SECLEVEL=0", "ADH:AECDH:@SECLEVEL=0"])
@pytest.mark.parametrize("options", [0, ssl.OP_NO_TICKET], ids=["tickets", "none"])
def test_sessions_can_be_resumed(agent, suites, options):
    """Of both kinds of suites the server takes the cheaper one, and it says goodbye before it closes."""
    context, session = anonymous_tls(suites), None
    context.options = (context.options | options) & ~ssl.OP_IGNORE_UNEXPECTED_EOF
    for resumed in (False, True):
        with Connection(agent.port, tls=context, session=session) as connection:
            assert connection.ask(GET).status == 200
            assert (connection.socket.version(), connection.socket.session_reused) == ("TLSv1.2", resumed)
            assert connection.socket.cipher()[0].startswith("AECDH-") == ("AECDH" in suites)
            session = connection.socket.session
            assert connection.socket.recv(1) == b""  # raises unless the end is told
