"""Input that is meant to harm: the agent refuses it quickly and serves on."""

import os
import random
import socket
import threading
import time

import pytest

from harness import Port, envelope, limit, wait_until
from harness.agent import post_request
from harness.envelope import SUCCESS

QUICK = 3  # seconds of processor time; an honest request takes milliseconds


TLS_ALERT = b"\x15\x03"


def answered_quickly(agent, body, *statuses):
    """Sends a body, checks the status, what it cost, and that others are served meanwhile."""
    served = []

    def bystander():
        served.append(agent.get().status)

    other = threading.Thread(target=bystander)
    before = agent.cpu_seconds()
    other.start()
    reply = agent.post(body, seconds=30)
    other.join()
    cost = agent.cpu_seconds() - before
    assert reply.status in statuses
    if reply.status == 500:
        assert reply.body == b""
    assert cost < limit(QUICK), cost
    assert served == [200]
    assert agent.call().outcome == SUCCESS


def refused_quickly(agent, body):
    answered_quickly(agent, body, 500)


def bomb(levels=9, width=10):
    entities = '<!ENTITY e0 "0123456789">' + "".join(
        f'<!ENTITY e{n} "{f"&e{n - 1};" * width}">' for n in range(1, levels + 1)
    )
    return entities, f"&e{levels};"


def with_doctype(declarations, use, external=""):
    text = envelope("Ping", request={"vsamName": "USE"}).decode()
    return f"<!DOCTYPE NorvalithRMI {external} [{declarations}]>".encode() + text.replace(
        "</Method>", f"{use}</Method>"
    ).encode()


def test_entity_bombs(quiet_agent):
    entities, use = bomb()
    refused_quickly(quiet_agent, with_doctype(entities, use))
    refused_quickly(quiet_agent, with_doctype(entities, "").replace(b"USE", use.encode()))
    large = f'<!ENTITY a "{"x" * 100_000}">'
    refused_quickly(quiet_agent, with_doctype(large, "&a;" * 1000))
    refused_quickly(quiet_agent, with_doctype('<!ENTITY a "&b;"><!ENTITY b "&a;">', "&a;"))
    parameter = '<!ENTITY % a "x"><!ENTITY % b "%a;%a;">%b;'
    refused_quickly(quiet_agent, with_doctype(parameter, ""))


def test_external_entities_are_not_opened(quiet_agent):
    """Neither a file nor a pipe nor a connection: nothing that a document names is ever touched."""
    agent = quiet_agent
    canary = agent.tree.root / "canary.txt"
    canary.write_text("canary-content")
    pipe = agent.tree.root / "canary.pipe"
    os.mkfifo(pipe)
    held = Port()
    held.listen()
    listener = held._holder
    listener.settimeout(0.2)
    targets = [canary.as_uri(), str(canary), pipe.as_uri(), str(pipe), f"http://127.0.0.1:{held.number}/x"]
    for target in targets:
        for body in (
            with_doctype(f'<!ENTITY x SYSTEM "{target}">', "&x;"),
            with_doctype(f'<!ENTITY % x SYSTEM "{target}"> %x;', ""),
            with_doctype("", "", external=f'SYSTEM "{target}"'),
            with_doctype(f'<!NOTATION n SYSTEM "{target}"><!ENTITY x SYSTEM "{target}" NDATA n>', ""),
        ):
            reply = agent.post(body)
            assert (reply.status, reply.body) == (500, b"")
    assert agent.call("Ping", f'<xi:include xmlns:xi="http://www.w3.org/2001/XInclude" href="{canary}"/>').outcome == (
        "too many parameters",
        "",
    )
    hint = envelope().replace(
        b"<NorvalithRMI",
        b'<NorvalithRMI xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"'
        + f' xsi:noNamespaceSchemaLocation="{pipe.as_uri()}"'.encode(),
    )
    assert agent.answer(hint).outcome == SUCCESS
    with pytest.raises(OSError):
        os.open(pipe, os.O_WRONLY | os.O_NONBLOCK)  # succeeds only while somebody reads
    with pytest.raises(TimeoutError):
        listener.accept()
    held.release()


def test_depth(quiet_agent):
    levels = 100_000
    refused_quickly(quiet_agent, envelope("Ping", "<a>" * levels + "</a>" * levels))
    refused_quickly(quiet_agent, b"<a>" * quiet_agent.tree.scaled(1_000_000))
    refused_quickly(quiet_agent, envelope("Ping", '<a x:y="z">' * levels))
    assert quiet_agent.call("Ping", "<a>" * 100 + "</a>" * 100).outcome == ("too many parameters", "")


def test_width(quiet_agent):
    """Large, but nothing wrong with it: no part of a document may cost the square of its number."""
    scaled = quiet_agent.tree.scaled

    def with_attributes(number):
        attributes = " ".join(f'a{n}="x"' for n in range(number))
        return envelope().replace(b"<Request", f"<Request {attributes}".encode())

    for body in (
        envelope("Ping", "<a/>" * scaled(100_000)),
        with_attributes(scaled(5_000)),
        envelope(request={"vsamName": "x" * scaled(8 << 20)}),
        envelope("Ping", "&amp;" * scaled(1_000_000)),
        envelope("Ping", "<!-- x -->" * scaled(100_000)),
    ):
        answered_quickly(quiet_agent, body, 200)
    # Beyond what any honest request holds there may be a limit.
    for body in (
        with_attributes(scaled(100_000)),
        envelope("Ping", "".join(f"<a{n}/>" for n in range(scaled(200_000)))),
        envelope("Ping", "<a/>" * scaled(2_000_000)),
    ):
        answered_quickly(quiet_agent, body, 200, 500)
    for body in (b"<" + b"x" * scaled(8 << 20), b"x" * scaled(8 << 20)):
        refused_quickly(quiet_agent, body)


def test_bytes_that_are_no_text(quiet_agent):
    agent = quiet_agent
    invalid = [b"\x80", b"\xff", b"\xc0\x80", b"\xe0\x80\x80", b"\xed\xa0\x80", b"\xed\xa0\x80\xed\xb0\x80", b"\xf0\x80\x80\x80",
               b"\xf4\x90\x80\x80", b"\xf5\x80\x80\x80", b"\xf7\xbf\xbf\xbf", b"\xf8\x88\x80\x80\x80"]  # fmt: skip
    no_character = [b"\0", b"\x1b", b"\xef\xbf\xbe", b"&#0;", b"&#x1b;", b"&#xd800;", b"&#x110000;"]
    accepted = []
    for junk in invalid + no_character:
        if agent.post(envelope().replace(b'"Ping"', b'"Ping' + junk + b'"')).status != 500:
            accepted.append(junk)
        assert agent.exchange(b"GET /" + junk + b" HTTP/1.0\r\n\r\n").status == 404, junk
        assert agent.exchange(b"GET / HTTP/1.0\r\nX: " + junk + b"\r\n\r\n").status == 200, junk
    assert not accepted, "bytes that are no XML text"
    assert agent.post(b"\0" * 1000).status == 500
    assert agent.post(b"\0" + envelope()).status == 500


def test_rubbish_at_random(agent):
    """Seeded, so that a failure comes again."""
    seed = random.Random(421)
    for _ in range(agent.tree.scaled(300)):
        data = seed.randbytes(seed.randrange(1, 2000))
        if seed.random() < 0.7:
            data = seed.choice([b"GET ", b"POST ", b"GET /", b"POST /nxCommand HTTP/1.1\r\n"]) + data
        agent.raw(data, half_close=True)
    assert agent.call().outcome == SUCCESS


def test_mutated_requests(agent):
    """Damaged requests are answered or closed, never anything else."""
    seed = random.Random(2011)
    request = {"uuid": "u", "hostTarget": "h", "snmpPort": "1"}
    body = envelope("SetVerboseLog", "<VerboseMode>on</VerboseMode>", request=request)
    valid = post_request(body, headers="Connection: Close\r\n")
    seen = set()
    for _ in range(agent.tree.scaled(1000)):
        data = bytearray(valid)
        for _ in range(seed.randrange(1, 5)):
            position = seed.randrange(len(data))
            manner = seed.randrange(4)
            if manner == 0:
                data[position] = seed.randrange(256)
            elif manner == 1:
                del data[position : position + seed.randrange(1, 20)]
            elif manner == 2:
                data[position:position] = seed.randbytes(seed.randrange(1, 20))
            else:
                data[position:position] = data[position : position + seed.randrange(1, 200)]
        reply = agent.raw(bytes(data), half_close=True)
        if reply.startswith(TLS_ALERT):  # the damage hit the method, so that it was taken for a handshake
            reply = b""
        assert reply == b"" or reply.startswith(b"HTTP/"), reply[:100]
        seen.add(reply[9:12])
    assert {b"", b"500"} <= seen <= {b"", b"200", b"400", b"404", b"500", b"501"}, seen
    assert agent.call().outcome == SUCCESS


def test_many_unfinished_large_requests_cost_what_was_sent(start):
    agent = start(flags=())
    agent.call()
    before = agent.rss()
    claim = b"POST /nxCommand HTTP/1.0\r\nContent-Length: 200000000\r\n\r\n"
    connections = []
    for _ in range(14):
        connections.append(agent.connect())
        connections[-1].send(claim + b"x" * 10_000)
    time.sleep(0.2)
    assert agent.rss() < before + (48 << 20)
    assert agent.call().outcome == SUCCESS
    for connection in connections:
        connection.close()
    wait_until(lambda: agent.rss() < before + (48 << 20), 5, "the memory to be given back")


def test_memory_of_large_requests_is_given_back(start):
    agent = start(flags=())
    if agent.tree.is_sanitized():
        pytest.skip("a sanitizer keeps freed memory")
    body = envelope(request={"vsamName": "x" * (4 << 20)})
    for _ in range(3):
        assert agent.answer(body).outcome == SUCCESS
    after_some = agent.rss()
    for _ in range(8):
        assert agent.answer(body).outcome == SUCCESS
    assert agent.rss() < after_some + (12 << 20)


def test_tls_rubbish(quiet_agent):
    """Records that look like a handshake and are none."""
    seed = random.Random(7)
    for _ in range(30):
        record = b"\x16\x03\x01" + (200).to_bytes(2, "big") + b"\x01\x00\x00\xc4\x03\x03" + seed.randbytes(194)
        assert b"HTTP" not in quiet_agent.raw(record, half_close=True)
    with socket.create_connection(("127.0.0.1", quiet_agent.port)) as half:
        half.sendall(b"\x16\x03\x01")
        assert quiet_agent.call().outcome == SUCCESS
