"""HTTPS on the one port, beside plain HTTP."""

import ssl
import time

import pytest

from harness import Connection, envelope, limit
from harness.agent import post_request
from harness.envelope import SUCCESS, parse_answer
from harness.wire import anonymous_tls

GET11 = b"GET / HTTP/1.1\r\n\r\n"


def test_same_replies_on_the_same_port(agent):
    for ciphers in ("AECDH:@SECLEVEL=0", "ADH:@SECLEVEL=0", "ADH:AECDH:@SECLEVEL=0"):
        for request in (b"GET / HTTP/1.0\r\n\r\n", b"GET /x HTTP/1.0\r\n\r\n", b"get / HTTP/1.0\r\n\r\n",
                        post_request(envelope()), post_request(b"<x/>")):  # fmt: skip
            with agent.connect(tls=anonymous_tls(ciphers)) as connection:
                assert connection.socket.version() == "TLSv1.2"
                connection.send(request)
                assert connection.read_to_end() == agent.raw(request)


def test_kept_alive_pipelined_and_in_pieces(agent):
    with agent.connect(tls=anonymous_tls()) as connection:
        for _ in range(20):
            connection.send(GET11)
            assert connection.read_reply().status == 200
        connection.send((GET11 + post_request(envelope(), version="HTTP/1.1")) * 20)
        for _ in range(20):
            assert connection.read_reply().status == 200
            assert parse_answer(connection.read_reply().body).outcome == SUCCESS
        for byte in post_request(envelope(), version="HTTP/1.1"):
            connection.send(bytes([byte]))
        assert connection.read_reply().status == 200
        big = envelope(request={"vsamName": "x" * 3_000_000})
        connection.send(post_request(big, version="HTTP/1.1"))
        assert connection.read_reply().status == 200


def test_who_wants_certificates_is_refused(agent):
    for ciphers in ("ECDHE+AESGCM", "DHE+AESGCM", "AES128-SHA"):
        context = anonymous_tls(ciphers)
        with pytest.raises((ssl.SSLError, ConnectionError)):
            agent.connect(tls=context)
    modern = ssl.create_default_context()
    modern.check_hostname = False
    modern.verify_mode = ssl.CERT_NONE
    modern.minimum_version = ssl.TLSVersion.TLSv1_3
    with pytest.raises((ssl.SSLError, ConnectionError)):
        agent.connect(tls=modern)
    assert agent.get().status == 200


def test_refused_requests_close_without_reply(agent):
    for request in (b"HEAD / HTTP/1.0\r\n\r\n", b"rubbish that is none\r\n\r\n", b"GET /\r\n\r\n",
                    b"GET / HTTP/1.0\r\nX: y\n\r\n"):  # fmt: skip
        with agent.connect(tls=anonymous_tls()) as connection:
            connection.send(request)
            assert connection.read_to_end() == b"", request


def test_sessions_can_be_resumed(agent):
    context = anonymous_tls()
    with Connection(agent.port, tls=context) as connection:
        connection.send(GET11)
        assert connection.read_reply().status == 200
        session = connection.socket.session
    with Connection(agent.port, tls=context, session=session) as connection:
        connection.send(GET11)
        assert connection.read_reply().status == 200
        assert connection.socket.session_reused


def test_unfinished_handshakes_leave_nothing_behind(start):
    agent = start(flags=())
    agent.get()
    before = len(agent.descriptors())
    for number in range(60):
        connection = agent.connect()
        connection.send(b"\x16\x03\x01\x00\xc8\x01\x00"[: 1 + number % 7])
        connection.reset() if number % 2 else connection.close()
    for _ in range(20):
        connection = agent.connect(tls=anonymous_tls())
        connection.send(GET11)
        connection.reset()
    assert agent.get().status == 200
    end = time.monotonic() + limit(5)
    while len(agent.descriptors()) > before:
        assert time.monotonic() < end
        time.sleep(0.02)
