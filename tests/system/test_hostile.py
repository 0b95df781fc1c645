"""Input that is meant to harm: the agent refuses it quickly and serves on."""

import os
import random
from concurrent.futures import ThreadPoolExecutor

import pytest

from harness import SLOW, SUCCESS, TOO_MANY, Port, envelope, post_request

QUICK = 3 * SLOW  # seconds of processor time; an honest request takes milliseconds
TLS_ALERT = b"\x15\x03"


@pytest.fixture(scope="module")
def quiet(ward_of_file):
    agent = ward_of_file.start(verbose=False)
    yield agent
    assert agent.outcome() == SUCCESS


def answered_quickly(agent, body, *statuses):
    """Sends a body, checks the status, what it cost, and that others are served meanwhile."""
    before = agent.cpu_seconds()
    with ThreadPoolExecutor(1) as pool:
        bystander = pool.submit(agent.get)
        reply = agent.post(body)
        assert bystander.result().status == 200
    assert reply.status in (statuses or (500,)) and (reply.status == 200 or reply.body == b"")
    assert agent.cpu_seconds() - before < QUICK


def with_doctype(declarations, use="", external="", attribute=""):
    text = envelope("Ping", use.replace("&", "\0"), request={"vsamName": "USE"}).decode().replace("\0", "&")
    doctype = f"<!DOCTYPE NorvalithRMI {external} [{declarations}]>"
    return (doctype + text.replace("USE", attribute)).encode()


def test_entity_bombs(quiet):
    entities = '<!ENTITY e0 "0123456789">' + "".join(f'<!ENTITY e{n} "{f"&e{n - 1};" * 10}">' for n in range(1, 10))
    for bomb in (
        with_doctype(entities, "&e9;"), with_doctype(entities, attribute="&e9;"),
        with_doctype(f'<!ENTITY a "{"x" * 100_000}">', "&a;" * 1000),
        with_doctype('<!ENTITY a "&b;"><!ENTITY b "&a;">', "&a;"),
        with_doctype('<!ENTITY % a "x"><!ENTITY % b "%a;%a;">%b;'),
    ):  # fmt: skip
        answered_quickly(quiet, bomb)


def test_external_entities_are_not_opened(quiet):
    """Neither a file nor a pipe nor a connection: nothing that a document names is ever touched."""
    canary, pipe = quiet.tree.root / "canary.txt", quiet.tree.root / "canary.pipe"
    canary.write_text("canary-content")
    os.mkfifo(pipe)
    port = Port()
    port.listen()
    port.holder.settimeout(0.2)
    for target in (canary.as_uri(), canary, pipe.as_uri(), pipe, f"http://127.0.0.1:{port.number}/x"):
        system = f'SYSTEM "{target}"'
        for body in (
            with_doctype(f"<!ENTITY x {system}>", "&x;"), with_doctype(f"<!ENTITY % x {system}> %x;"),
            with_doctype("", external=system), with_doctype(f"<!NOTATION n {system}><!ENTITY x {system} NDATA n>"),
        ):  # fmt: skip
            answered_quickly(quiet, body)
    include = f'<xi:include xmlns:xi="http://www.w3.org/2001/XInclude" href="{canary}"/>'
    assert quiet.outcome("Ping", include) == TOO_MANY
    schema = f'xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xsi:noNamespaceSchemaLocation="{pipe.as_uri()}"'
    assert quiet.answer(envelope().replace(b"<Request", f"<Request {schema}".encode())).outcome == SUCCESS
    with pytest.raises(OSError):
        os.open(pipe, os.O_WRONLY | os.O_NONBLOCK)  # succeeds only while somebody reads
    with pytest.raises(TimeoutError):
        port.holder.accept()
    port.release()


def test_depth_and_width(quiet):
    """Large, but nothing wrong with most of it: no part of a document may cost the square of its number."""
    scaled = quiet.tree.scaled

    def with_attributes(number):
        return envelope().replace(b"<Request", b"<Request" + b"".join(b' a%d="x"' % n for n in range(number)))

    # Beyond what any honest request holds there may be a limit.
    for statuses, bodies in {
        (200,): (
            envelope("Ping", "<a/>" * scaled(100_000)), envelope("Ping", "&amp;" * scaled(1_000_000)),
            envelope("Ping", "<!-- x -->" * scaled(100_000)), envelope("Ping", "<a>" * 100 + "</a>" * 100),
            with_attributes(scaled(5_000)), envelope(request={"vsamName": "x" * scaled(8 << 20)}),
        ),
        (200, 500): (
            with_attributes(scaled(100_000)), envelope("Ping", "<a/>" * scaled(2_000_000)),
            *(envelope("Ping", "".join(form.format(n) for n in range(scaled(200_000)))) for form in ("<a{}/>", '<e n{}=""/>')),
        ),
        (500,): (
            b"<" + b"x" * scaled(8 << 20), b"x" * scaled(8 << 20), b"<a>" * scaled(1_000_000),
            envelope("Ping", "<a>" * 100_000 + "</a>" * 100_000), envelope("Ping", '<a x:y="z">' * 100_000),
        ),
    }.items():  # fmt: skip
        for body in bodies:
            answered_quickly(quiet, body, *statuses)


def test_bytes_that_are_no_text(quiet):
    invalid = (
        b"\x80", b"\xff", b"\xc0\x80", b"\xe0\x80\x80", b"\xed\xa0\x80", b"\xed\xa0\x80\xed\xb0\x80", b"\xf0\x80\x80\x80",
        b"\xf4\x90\x80\x80", b"\xf5\x80\x80\x80", b"\xf7\xbf\xbf\xbf", b"\xf8\x88\x80\x80\x80",
    )  # fmt: skip
    no_character = (b"\0", b"\x1b", b"\xef\xbf\xbe", b"&#0;", b"&#x1b;", b"&#xd800;", b"&#x110000;")
    for junk in invalid + no_character:
        assert quiet.post(envelope().replace(b'"Ping"', b'"Ping' + junk + b'"')).status == 500, junk
        assert quiet.exchange(b"GET /" + junk + b" HTTP/1.0\r\n\r\n").status == 404, junk
        assert quiet.exchange(b"GET / HTTP/1.0\r\nX: " + junk + b"\r\n\r\n").status == 200, junk
    for body in (b"\0" * 1000, b"\0" + envelope()):
        assert quiet.post(body).status == 500


def test_rubbish_at_random(agent):
    """Seeded, so that a failure comes again."""
    seed = random.Random(421)
    starts = (b"", b"GET ", b"POST ", b"GET /", b"POST /nxCommand HTTP/1.1\r\n")
    for _ in range(agent.tree.scaled(300)):
        agent.raw(seed.choice(starts) + seed.randbytes(seed.randrange(1, 2000)), half_close=True)
    for _ in range(30):  # records that look like a handshake and are none
        record = b"\x16\x03\x01\x00\xc8\x01\x00\x00\xc4\x03\x03" + seed.randbytes(194)
        assert b"HTTP" not in agent.raw(record, half_close=True)
    with agent.connect() as half:
        half.send(b"\x16\x03\x01")
        assert agent.outcome() == SUCCESS


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
            at = seed.randrange(len(data))
            start, end, new = seed.choice((
                (at, at + 1, seed.randbytes(1)),
                (at, at + seed.randrange(1, 20), b""),
                (at, at, seed.randbytes(seed.randrange(1, 20))),
                (at, at, data[at : at + seed.randrange(1, 200)]),
            ))  # fmt: skip
            data[start:end] = new
        reply = agent.raw(bytes(data), half_close=True)
        if reply.startswith(TLS_ALERT):  # the damage hit the method, so that it was taken for a handshake
            reply = b""
        assert reply == b"" or reply.startswith(b"HTTP/"), reply[:100]
        seen.add(reply[9:12])
    assert {b"", b"500"} <= seen <= {b"", b"200", b"400", b"404", b"500", b"501"}, seen
    assert agent.outcome() == SUCCESS


def test_unfinished_large_requests_cost_what_was_sent(start):
    agent = start(verbose=False)
    agent.call()
    most = agent.rss() + (48 << 20)
    connections = [agent.connect() for _ in range(14)]
    for connection in connections:
        connection.send(b"POST /nxCommand HTTP/1.0\r\nContent-Length: 200000000\r\n\r\n" + b"x" * 10_000)
    assert agent.outcome() == SUCCESS
    assert agent.rss() < most
    for connection in connections:
        connection.close()
