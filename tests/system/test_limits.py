"""What one peer, a crowd of them, or a few large requests can take: never the agent."""

import ctypes
import itertools
import os
import resource
import socket
import stat
import struct
from concurrent.futures import ThreadPoolExecutor
from contextlib import ExitStack, suppress

import pytest

from harness import FAILED, GET11, SUCCESS, anonymous_tls, envelope, post_request, wait_until

LIMIT = 180
PIDFD_OPEN, PIDFD_GETFD = 434, 438
POST = "POST /nxCommand HTTP/1.1\r\nContent-Type: text/xml\r\n"


def time_limits(agent, own_port):
    """Of the agent's connections with that port of ours: of reading, of writing, and until a vanished peer is noticed."""
    libc, found = ctypes.CDLL(None, use_errno=True), []
    process = libc.syscall(PIDFD_OPEN, agent.pid, 0)
    copies = [libc.syscall(PIDFD_GETFD, process, descriptor, 0) for descriptor in agent.descriptors()]
    os.close(process)
    for copy in copies:
        if copy == -1:
            continue  # closed meanwhile
        if not stat.S_ISSOCK(os.fstat(copy).st_mode):
            os.close(copy)
            continue
        with socket.socket(fileno=copy) as borrowed, suppress(OSError):  # the one that listens has no peer
            if borrowed.getpeername()[1] == own_port:
                for option in (socket.SO_RCVTIMEO, socket.SO_SNDTIMEO):
                    found.append(struct.unpack("ll", borrowed.getsockopt(socket.SOL_SOCKET, option, 16))[0])
                times = (socket.TCP_KEEPIDLE, socket.TCP_KEEPINTVL, socket.TCP_KEEPCNT)
                idle, interval, probes = (borrowed.getsockopt(socket.IPPROTO_TCP, option) for option in times)
                found.append(borrowed.getsockopt(socket.SOL_SOCKET, socket.SO_KEEPALIVE) * (idle + interval * probes))
    return found


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can look at the agent's sockets")
def test_no_wait_is_without_limit(start, server):
    """For a client that is silent after its handshake, between requests, or in a body; for a server after its."""
    agent = start(server=server)
    assert agent.outcome(uuid="id") == SUCCESS
    tls = anonymous_tls()
    began = (b"", GET11, POST.encode(), POST.encode() + b"Content-Length: 9\r\n\r\n1")
    for begun, way in [(begun, way) for begun in began for way in (None, tls)]:
        with agent.connect(tls=way) as connection:
            connection.send(begun)
            if begun == GET11:
                connection.read_reply()
            own_port = connection.socket.getsockname()[1]
            wait_until(lambda: time_limits(agent, own_port) == [LIMIT] * 3, "the limits")
    assert agent.outcome("SetCallServerWithSSL", "<x>true</x>", uuid="id", tls=tls) == SUCCESS
    with server.holding(), agent.connect() as connection:
        connection.send(post_request(envelope("PingServer")))
        server.wait_calls("Ping")
        assert time_limits(agent, server.tls_port) == [LIMIT] * 3


def test_connections_leave_descriptors_for_work(start):
    """The soft limit is raised, and however many connections wait, files can be opened and programs run."""
    limits = resource.getrlimit(resource.RLIMIT_NOFILE)
    agent = start(verbose=False)
    assert resource.prlimit(agent.pid, resource.RLIMIT_NOFILE) == (limits[1], limits[1])
    agent = start(verbose=False, before=("prlimit", "--nofile=100:100"))
    with ExitStack() as held:
        served = held.enter_context(agent.connect())
        assert served.ask(GET11).status == 200
        for _ in range(120):
            held.enter_context(agent.connect())
        wait_until(lambda: len(agent.descriptors()) >= 75, "all that connections may have")
        for uuid in ("one", "one"):
            ask = post_request(envelope("GetHostSummary", request={"uuid": uuid}), version="HTTP/1.1")
            assert b'response="success"' in served.ask(ask).body
        assert agent.tree.identities() == [("one", "")]
        assert len(agent.descriptors()) < 85
    assert agent.get().status == 200


@pytest.mark.long
@pytest.mark.xdist_group("memory")
@pytest.mark.skipif(os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE") < 4 << 30, reason="has a lower bound")
def test_large_requests_share_one_bound_and_leave_nothing(start):
    """A body is held once; what all bodies hold together is bounded, and goes back when they end."""
    agent = start(verbose=False)
    before, size = agent.rss(), 30 << 20
    honest = post_request(envelope(request={"vsamName": "x" * agent.tree.scaled(size)}))  # parsed one after another
    with ThreadPoolExecutor(8) as pool:
        assert {reply.status for reply in pool.map(lambda _: agent.exchange(honest), range(8))} == {200}
    wait_until(lambda: agent.rss() < before + (16 << 20) or agent.tree.is_sanitized(), "the memory to go back")
    with ExitStack() as held:
        for _ in range(8):
            connection = held.enter_context(agent.connect())
            connection.send(f"{POST}Content-Length: {size}\r\n\r\n".encode() + b"x" * (size - 1))
        wait_until(lambda: agent.rss() > before + 7 * size, "the bodies to arrive")
        assert agent.rss() < before + 8 * size + (32 << 20) or agent.tree.is_sanitized()
        rest = (1 << 30) - 8 * size
        one = 200 << 20
        large = [held.enter_context(agent.connect()) for _ in range(rest // one + 1)]
        for connection in large:
            try:
                connection.send(f"{POST}Content-Length: {one}\r\n\r\n".encode() + b"x" * (one - 1))
            except ConnectionError:
                break
        assert connection is large[-1] and connection.read_to_end() == b"", "the one that is too much is closed"
        assert agent.get().status == 200
    wait_until(lambda: agent.rss() < before + (32 << 20) or agent.tree.is_sanitized(), "the memory to go back")


def test_what_waits_holds_little(start, server):
    """Audits that are queued, and nobody waits for, and searches that have ended, whose results stay for days."""
    agent = start(verbose=False, server=server)
    agent.tools_complain = True
    before, text = agent.rss(), "x" * (64 << 10)
    full = {"uuid": "id"} | dict.fromkeys(("snmpCommunity", "serviceUid", "serviceGid", "userName", "fsType"), text)
    assert agent.answer(envelope("GetStorageSystem", request=full | {"fsType": f"{text}x"})).outcome == FAILED
    another, refused = envelope("GetStorageSystem", request=full), ("error", "maximum system audits in progress")
    with server.holding():
        wait_until(lambda: agent.answer(another).outcome == refused, "a refusal")
        assert agent.rss() < before + (64 << 20) or agent.tree.is_sanitized()
        assert agent.outcome("GetHostSummary", uuid="id") == SUCCESS
    parts = '<Condition logicalOperator="and"/><Token>T{}</Token><AccountID>7</AccountID><Volumes><Volume name="/{}"/></Volumes>'
    numbers, name = itertools.count(), "x" * (1 << 17)
    for _ in range(agent.tree.scaled(200)):
        search = (envelope("SearchFSOs", parts.format(number, name), request=full) for number in numbers)
        wait_until(lambda search=search: agent.answer(next(search)).outcome == SUCCESS, "a search to be taken")
    assert agent.rss() < before + (64 << 20) or agent.tree.is_sanitized()
    assert agent.answer(envelope("SearchFSOs", parts.format("", name * 8), request=full)).outcome == FAILED
    agent.stop()


def test_transfer_encoding_and_expect(agent):
    """A body without a length cannot be skipped, so the connection ends; who asks before it sends is let."""
    chunked = POST.encode() + b"Transfer-Encoding: chunked\r\n\r\n12\r\nGET / HTTP/1.1\r\n\r\n\r\n0\r\n\r\n"
    for data in (chunked, chunked.replace(b"Transfer-", b"tRANSFER-"), GET11 + chunked):
        replies = agent.raw(data)
        assert replies.count(b"HTTP/1.1 200 OK") == data.startswith(b"GET")
        assert replies.endswith(b"HTTP/1.1 400 BAD REQUEST\r\nContent-Type: text/html\r\n"
                                b"Content-Length: 0\r\nConnection: Close\r\n\r\n")
    body = envelope()
    for tls in (None, anonymous_tls()):
        with agent.connect(tls=tls) as connection:
            connection.send(f"{POST}Content-Length: {len(body)}\r\nExpect: 100-Continue\r\n\r\n".encode())
            connection.expect(b"HTTP/1.1 100 Continue\r\n\r\n")
            assert connection.ask(body).status == 200
    with agent.connect() as connection:
        assert connection.ask(f"{POST}Expect: 100-continue\r\n\r\n".encode()).status == 400
