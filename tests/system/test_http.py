"""The wire: what is answered byte for byte, what closes without a reply, and what a connection costs."""

import time

import pytest

from harness import Connection, envelope, form, limit, wait_until
from harness.agent import post_request
from harness.envelope import SUCCESS, parse_answer

PAGE = b"<HTML><TITLE>Norvalith Agent</TITLE><CENTER><H1>Norvalith Agent</H1></CENTER></HTML>"
GET = b"GET / HTTP/1.0\r\n\r\n"
GET11 = b"GET / HTTP/1.1\r\n\r\n"
FORM = "application/x-www-form-urlencoded"


def reply_bytes(status, body=b"", keep=False, version="HTTP/1.1", content_type="text/html"):
    head = (
        f"{version} {status}\r\nContent-Type: {content_type}\r\nContent-Length: {len(body)}\r\n"
        f"Connection: {'Keep-Alive' if keep else 'Close'}\r\n\r\n"
    )
    return head.encode() + body


OK = "200 OK"
NOT_FOUND = "404 NOT FOUND"
BAD = "400 BAD REQUEST"
FAILED = "500 INTERNAL SERVER ERROR"
NOT_IMPLEMENTED = "501 NOT IMPLEMENTED"


def head(first, *headers):
    return b"".join(line.encode() + b"\r\n" for line in (first, *headers, ""))


# request -> status, kept alive
ANSWERED = {
    "page": (GET, OK, False),
    "page, 1.1": (GET11, OK, True),
    "other versions": (head("GET / HTTP/2.0"), OK, False),
    "version in lower case": (head("GET / http/1.1"), OK, False),
    "blank behind the version": (head("GET / HTTP/1.1 "), OK, False),
    "text before the slash": (head("GET x/ HTTP/1.0"), OK, False),
    "blanks before the slash": (head("GET    / HTTP/1.0"), OK, False),
    "line ended by LF": (b"GET / HTTP/1.1\n\r\n", OK, True),
    "line ended by CR": (b"GET / HTTP/1.1\rX: y\r\n\r\n", OK, True),
    "headers ended by LF": (b"GET / HTTP/1.0\r\nX: y\r\n\n", OK, False),
    "only LF": (b"GET / HTTP/1.0\n\n", OK, False),
    "keep-alive in lower case": (head("GET / HTTP/1.0", "Connection: keep-alive"), OK, True),
    "header name in upper case": (head("GET / HTTP/1.0", "CONNECTION: KEEP-ALIVE"), OK, True),
    "header name as prefix": (head("GET / HTTP/1.0", "Connection-Hint: Keep-Alive"), OK, True),
    "blanks around the name": (head("GET / HTTP/1.0", "   Connection   :    Keep-Alive"), OK, True),
    "no blank behind the colon": (head("GET / HTTP/1.0", "Connection:Keep-Alive"), OK, True),
    "blank behind the value": (head("GET / HTTP/1.1", "Connection: Keep-Alive "), OK, False),
    "close": (head("GET / HTTP/1.1", "Connection: close"), OK, False),
    "unknown connection type": (head("GET / HTTP/1.1", "Connection: Upgrade"), OK, False),
    "empty header value": (head("GET / HTTP/1.1", "X:", "User-Agent: y"), OK, True),
    "200 headers": (head("GET / HTTP/1.0", *(f"X-{i}: {i}" for i in range(200))), OK, False),
    "header of 100,000 bytes": (head("GET / HTTP/1.0", "X: " + "y" * 100_000), OK, False),
    "other URI": (head("GET /x HTTP/1.0"), NOT_FOUND, False),
    "URI is not decoded": (head("GET /%2e HTTP/1.1"), NOT_FOUND, True),
    "URI with a query": (head("GET /?x HTTP/1.0"), NOT_FOUND, False),
    "GET of the command URI": (head("GET /nxCommand HTTP/1.0"), NOT_FOUND, False),
    "GET outside the tree": (head("GET /../conf/agent.conf HTTP/1.0"), NOT_FOUND, False),
    "URI of 100,000 bytes": (head("GET /" + "x" * 100_000 + " HTTP/1.0"), NOT_FOUND, False),
    "method in lower case": (head("get / HTTP/1.0"), NOT_IMPLEMENTED, False),
    "method in mixed case": (head("Post /nxCommand HTTP/1.1"), NOT_IMPLEMENTED, True),
    "method that begins with GET": (head("GETX / HTTP/1.0"), NOT_IMPLEMENTED, False),
    "method that begins with POST": (head("POSTER / HTTP/1.0"), NOT_IMPLEMENTED, False),
    "POST without a length": (head("POST /nxCommand HTTP/1.0"), BAD, False),
    "POST of length 0": (head("POST /nxCommand HTTP/1.1", "Content-Length: 0"), BAD, True),
    "POST of negative length": (head("POST /nxCommand HTTP/1.0", "Content-Length: -5"), BAD, False),
    "POST of no length": (head("POST /nxCommand HTTP/1.0", "Content-Length: many"), BAD, False),
    "POST of an empty length": (head("POST /nxCommand HTTP/1.0", "Content-Length:"), BAD, False),
    "POST elsewhere": (post_request(envelope(), uri="/"), NOT_FOUND, False),
    "POST elsewhere without a body": (head("POST /other HTTP/1.0"), NOT_FOUND, False),
    "command URI in lower case": (post_request(envelope(), uri="/nxcommand"), NOT_FOUND, False),
    "command URI with a query": (post_request(envelope(), uri="/nxCommand?x=1"), NOT_FOUND, False),
    "POST of no XML": (post_request(b"x", version="HTTP/1.1"), FAILED, True),
}


@pytest.mark.parametrize("name", ANSWERED)
def test_answered_byte_for_byte(agent, name):
    request, status, keep = ANSWERED[name]
    expected = reply_bytes(status, PAGE if status == OK else b"", keep)
    with agent.connect() as connection:
        connection.send(request)
        if keep:
            assert connection.read_reply().raw == expected
            connection.send(GET11)
            assert connection.read_reply().raw == reply_bytes(OK, PAGE, True)
        else:
            assert connection.read_to_end() == expected


def test_version_of_the_status_line(agent):
    assert agent.raw(head("GET / HTTP/0.9")) == reply_bytes(OK, PAGE, version="HTTP/0.9")
    assert agent.raw(head("GET /x HTTP/0.9")) == reply_bytes(NOT_FOUND, version="HTTP/0.9")
    assert len(PAGE) == 84


# Closed without a byte of reply, though the client stays and would send more.
SILENT = {
    "HEAD": head("HEAD / HTTP/1.1", "Host: x"),
    "PUT": head("PUT / HTTP/1.0"),
    "rubbish": b"\x00\x01\x02\x03" * 16,
    "blank before the method": b" GET / HTTP/1.0\r\n\r\n",
    "line end before the method": b"\r\nGET / HTTP/1.0\r\n\r\n",
    "no version": b"GET /\r\n\r\n",
    "no URI": b"GET\r\n\r\n",
    "no slash": b"GET x HTTP/1.0\r\n\r\n",
    "header ended by LF": b"GET / HTTP/1.0\r\nX: y\n\r\n",
    "header ended by CR": b"GET / HTTP/1.0\r\nX: y\r\r\n\r\n",
    "header without colon": head("GET / HTTP/1.0", "Xy"),
    "header of blanks": head("GET / HTTP/1.0", "    "),
}

# Closed without a byte of reply once the client has said that nothing more comes.
SILENT_AT_THE_END = {
    "nothing": b"",
    "three bytes": b"GET",
    "part of a request line": b"GET / HT",
    "request line only": b"GET / HTTP/1.0\r\n",
    "part of a header": b"GET / HTTP/1.0\r\nX: ",
    "no empty line": b"GET / HTTP/1.0\r\nX: y\r\n",
    "lone CR at the end": b"GET / HTTP/1.0\r\n\r",
    "body cut short": post_request(envelope())[:-1],
    "no body": head("POST /nxCommand HTTP/1.0", "Content-Length: 10"),
    "body of 10^12 bytes claimed": head("POST /nxCommand HTTP/1.0", "Content-Length: 1000000000000") + envelope(),
    "body of 2^63 bytes claimed": head("POST /nxCommand HTTP/1.0", f"Content-Length: {2**63 - 1}") + envelope(),
}


@pytest.mark.parametrize("name", [*SILENT, *SILENT_AT_THE_END])
def test_closed_without_reply(agent, name):
    before = agent.rss()
    if name in SILENT:
        assert agent.raw(SILENT[name]) == b""
    else:
        assert agent.raw(SILENT_AT_THE_END[name], half_close=True) == b""
    assert agent.rss() < before + (16 << 20), "memory follows what has come, not what is claimed"
    assert agent.get().status == 200


def test_failure_on_a_kept_connection_closes_it(agent):
    for name, request in SILENT.items():
        with agent.connect() as connection:
            connection.send(GET11)
            assert connection.read_reply().status == 200
            connection.send(request)
            assert connection.read_to_end() == b"", name


def test_keep_alive_once_given_stays(agent):
    """The flag is only ever set: a later request to close is answered with Keep-Alive and kept."""
    with agent.connect() as connection:
        connection.send(head("GET / HTTP/1.0", "Connection: Keep-Alive"))
        assert connection.read_reply().header("Connection") == "Keep-Alive"
        for request in (head("GET / HTTP/1.1", "Connection: Close"), GET, head("GET /x HTTP/0.9")):
            connection.send(request)
            assert connection.read_reply().header("Connection") == "Keep-Alive"
        connection.send(post_request(envelope(), headers="Connection: close\r\n"))
        reply = connection.read_reply()
        assert reply.status == 200 and reply.header("Connection") == "Keep-Alive"
        assert connection.is_silent_for(0.1)


def test_one_request_leaves_nothing_for_the_next(agent):
    """Headers and body of a request do not live on in the next one of the connection."""
    with agent.connect() as connection:
        connection.send(post_request(form(envelope()), content_type=FORM, version="HTTP/1.1"))
        assert connection.read_reply().status == 200
        connection.send(head("POST /nxCommand HTTP/1.1"))
        assert connection.read_reply().status == 400
        connection.send(GET11)
        assert connection.read_reply().body == PAGE
        connection.send(post_request(envelope(), version="HTTP/1.1"))
        assert connection.read_reply().status == 200


def test_pipelined_requests_are_answered_in_order(agent):
    round_of = GET11 + head("GET /x HTTP/1.1") + post_request(envelope(), version="HTTP/1.1") + head("get / HTTP/1.1")
    with agent.connect() as connection:
        connection.send(round_of * 50 + GET11[:10])
        for _ in range(50):
            assert [connection.read_reply().status for _ in range(4)] == [200, 404, 200, 501]
        assert connection.is_silent_for(0.05)
        connection.send(GET11[10:])
        assert connection.read_reply().body == PAGE


def test_body_may_come_in_any_pieces(agent):
    request = post_request(envelope(request={"uuid": ""}), version="HTTP/1.1")
    with agent.connect() as connection:
        for byte in request:
            connection.send(bytes([byte]))
        assert connection.read_reply().status == 200
        for cut in (1, 4, request.index(b"\r\n") + 1, request.index(b"\r\n\r\n") + 2, len(request) - 1):
            connection.send(request[:cut])
            time.sleep(0.02)
            connection.send(request[cut:])
            assert parse_answer(connection.read_reply().body).outcome == SUCCESS


def test_form_encoding(agent):
    """A form is decoded before the envelope is looked at; any other type is taken as it is."""
    encoded = form(envelope("Ping", request={"vsamName": "a+b%c"}))
    assert b"%3C" in encoded
    for content_type in (FORM, FORM.upper(), FORM + "; charset=UTF-8"):
        assert agent.answer(encoded, content_type=content_type).outcome == SUCCESS
    lower = encoded.replace(b"%3C", b"%3c").replace(b"%2F", b"%2f")
    assert agent.answer(lower, content_type=FORM).outcome == SUCCESS
    for content_type in ("text/xml", "*/*", "x-" + FORM, "nonsense"):
        assert agent.post(encoded, content_type=content_type).status == 500
        assert agent.answer(envelope(), content_type=content_type).outcome == SUCCESS
    # Decoding ends at the first zero byte, and an escape that is cut off or no number must not read further.
    assert agent.answer(encoded + b"%00 rubbish", content_type=FORM).outcome == SUCCESS
    for tail in (b"%", b"%4", b"%zz", b"%-1", b"%%%"):
        assert agent.post(encoded + tail, content_type=FORM).status in (200, 500)
    assert agent.post(b"%00" + encoded, content_type=FORM).status in (400, 500)


def test_reply_of_a_method(agent):
    reply = agent.post(envelope())
    assert (reply.version, reply.status, reply.reason) == ("HTTP/1.1", 200, "OK")
    assert [name for name, _ in reply.headers] == ["Content-Type", "Content-Length", "Connection"]
    assert reply.header("Content-Type") == "text/xml"
    assert reply.body.startswith(b'<?xml version="1.0" encoding="UTF-8"')
    assert b"\0" not in reply.body


def test_failed_envelope_has_no_body_and_keeps_the_connection(agent):
    with agent.connect() as connection:
        for _ in range(3):
            connection.send(post_request(b"<x/>", version="HTTP/1.1"))
            assert connection.read_reply().raw == reply_bytes(FAILED, keep=True)


def test_slow_client_costs_one_worker_only(agent):
    with agent.connect() as slow:
        request = post_request(envelope())
        slow.send(request[:20])
        threads = agent.threads()
        for byte in request[20:26]:
            slow.send(bytes([byte]))
            began = time.monotonic()
            while time.monotonic() < began + 0.25:
                assert agent.call().outcome == SUCCESS
        assert agent.threads() <= threads + 1
        slow.send(request[26:])
        assert slow.read_reply().status == 200


def test_client_that_never_reads_costs_one_worker_only(quiet_agent):
    agent = quiet_agent
    with agent.connect() as deaf:
        deaf.socket.settimeout(limit(0.5))
        try:
            for _ in range(2000):
                deaf.socket.send(GET11 * 1000)
        except TimeoutError:
            pass
        else:
            raise AssertionError("the agent took 2,000,000 requests without a reply being read")
        assert agent.get().status == 200
        before = agent.rss()
        time.sleep(0.2)
        assert agent.rss() < before + (16 << 20)
        deaf.reset()
    assert agent.get().status == 200


def test_fifteen_connections_take_up_the_pool(start):
    """Connections, not requests, take up workers: the sixteenth waits until another one ends."""
    agent = start()
    few = agent.threads()
    held = []
    for _ in range(15):
        held.append(agent.connect())
        held[-1].send(GET11)
        assert held[-1].read_reply().status == 200
    assert agent.threads() == few + 10
    with agent.connect() as waiting, agent.connect() as second:
        waiting.send(GET11)
        second.send(GET11)
        assert waiting.is_silent_for(0.5)
        for connection in held:
            connection.send(GET11)
            assert connection.read_reply().status == 200
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
    agent = start(flags=())
    for _ in range(30):
        agent.get()
    time.sleep(0.1)
    before = len(agent.descriptors())
    cut_short = post_request(envelope())[:-7]
    manners = (b"", b"GE", GET[:-2], GET, cut_short, b"rubbish, more than enough of it", GET11 + GET11)
    for number in range(agent.tree.scaled(500)):
        connection = agent.connect()
        connection.send(manners[number % len(manners)])
        if number % 3:
            connection.close()
        else:
            connection.reset()
    assert agent.get().status == 200
    wait_until(lambda: len(agent.descriptors()) <= before, 5, "all descriptors to be closed again")


def test_every_descriptor_is_closed_on_exec(start):
    """What the agent runs later must not inherit its listening socket or anybody's connection."""
    agent = start(flags=(), binds=2)
    with agent.connect() as one, agent.connect() as other:
        one.send(GET11)
        assert one.read_reply().status == 200
        other.send(GET11[:6])
        wait_until(lambda: len(agent.descriptors()) >= 3 + 2 + 2, 5, "both connections to be accepted")
        inherited = {fd: oct(flags) for fd, flags in agent.descriptors().items() if fd > 2 and not flags & 0o2000000}
        assert not inherited, inherited


def test_every_pair_serves(start):
    """Names, numbers and the loose reading of four short fields all lead to an address."""
    for address in ("127.0.0.1", "localhost", "127.x.y.1"):
        agent = start(binds=3, address=address)
        for port in agent.ports:
            with Connection(port.number) as connection:
                connection.send(GET)
                assert connection.read_to_end() == reply_bytes(OK, PAGE)


def test_endless_head_is_cut_off(start):
    """A line or a block of headers without an end is refused while it grows."""
    agent = start(flags=())
    agent.get()
    before = agent.rss()
    for start_of_it, more in ((b"GET /", b"x" * 65536), (b"GET / HTTP/1.0\r\n", b"X: yyyyyyyyyyyy\r\n" * 4096)):
        with agent.connect() as connection:
            try:
                connection.send(start_of_it)
                for _ in range(20 << 4):
                    connection.send(more)
            except OSError:
                pass  # refused within it
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
    inside = f"<syspwd>{secret}</syspwd>"
    hidden = [
        (envelope("Ping", request={"userName": "root", "userPassword": secret}), "text/xml"),
        (form(envelope("Ping", request={"userPassword": secret})).replace(b"userP", b"user%50"), FORM),
        (envelope("Ping", inside), "text/xml"),
        (b"<broken syspwd " + secret.encode(), "text/xml"),
    ]
    already = agent.log().count("RMI request body not logged for security reasons\n")
    for number, (body, content_type) in enumerate(hidden, 1):
        agent.post(body, content_type=content_type)
        agent.wait_log("RMI request body not logged for security reasons\n", already + number)
    assert secret not in agent.log()
