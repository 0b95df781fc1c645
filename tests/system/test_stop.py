"""A stop signal is acted upon soon, whatever a server, a tool, the log's reader or a connection does."""

import fcntl
import os
import re
import signal
import socket
import struct
import subprocess
import termios
from concurrent.futures import ThreadPoolExecutor
from contextlib import ExitStack

import pytest

from harness import FAILED, GET11, PATIENCE, Connection, Port, agent_conf, anonymous_tls, envelope, environment
from harness import parse_answer, post_request, wait_until

PAGE = 4096


@pytest.fixture
def stack():
    with ExitStack() as made:
        yield made


def listener(stack, backlog=8):
    """A server that the kernel accepts connections for, and nobody else."""
    port = Port()
    stack.callback(port.release)
    made = stack.enter_context(socket.socket())
    made.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    made.bind(("127.0.0.1", port.number))
    made.listen(backlog)
    return port.number


def full_listener(stack):
    """A server to which no connection comes about."""
    port = listener(stack, 0)
    for _ in range(3):
        waiting = stack.enter_context(socket.socket())
        waiting.setblocking(False)
        waiting.connect_ex(("127.0.0.1", port))
    return port


def silent(server, connection):
    """Takes the request and waits until the peer ends the connection."""
    server.read_request(connection)
    connection.recv(1)


@pytest.mark.long
def test_silent_servers(start, server, stack):
    """Calls are let go five seconds later. A connection that is held besides costs the status, not the stop."""

    def stopped_in_call(port, held=False):
        agent = start(conf={"ServerInfo": {"sslPort": str(port)}}, wait=False)
        agent.wait_log("HTTP_FileImpl::connect: attempting to connect", 2)
        with agent.connect() as connection:
            if held:
                assert connection.ask(GET11).status == 200
                agent.wait_rest()
            else:
                connection.close()
            assert agent.stop() == int(held)
        assert held or "Agent: shutdown successful\n" in agent.log()

    def stopped_in_method():
        server.answers["GetSSLState"] = '<Server sslState="false"/>'
        agent = start(server=server)
        server.misbehave(silent)
        with agent.connect() as connection:
            connection.send(post_request(envelope("PingServer"), version="HTTP/1.1"))
            server.wait_calls("Ping")
            agent.send_signal(15)
            reply = connection.read_reply()
            assert (parse_answer(reply.body).outcome, reply.header("Connection")) == (FAILED, "Close")
        assert agent.wait() == 0

    cases = [(listener(stack),), (full_listener(stack),), (listener(stack), True)]
    with ThreadPoolExecutor(4) as pool:
        for case in [pool.submit(stopped_in_method), *[pool.submit(stopped_in_call, *case) for case in cases]]:
            case.result()
    server.misbehave(silent)
    agent = start(server=server, wait=False)
    server.wait_calls("GetSSLState", 2)
    assert agent.stop() == 0


def test_log_that_nobody_reads(new_tree):
    """The agent waits for the reader, until it stops: then the log is given up."""
    tree, port = new_tree(), Port()
    tree.agent_conf.write_text(agent_conf([("127.0.0.1", port.number)], server={"port": "1", "sslPort": "1"}))
    ours, theirs = os.pipe()
    assert fcntl.fcntl(ours, fcntl.F_SETPIPE_SZ, PAGE) == PAGE

    def unread():
        return struct.unpack("i", fcntl.ioctl(ours, termios.FIONREAD, bytes(4)))[0]

    process = subprocess.Popen([tree.program, "-verbose"], stdout=theirs, cwd="/", env=environment())
    os.close(theirs)
    try:
        seen = ""
        # The second comes from a thread of its own.
        while "startup successful\n" not in seen.partition("Check SSL")[2] or "for expiration\n" not in seen:
            seen += os.read(ours, PAGE).decode()
        with Connection(port.number) as connection:
            connection.send(b"GET /" + b"x" * 2 * PAGE + b" HTTP/1.1\r\n\r\n")
            wait_until(lambda: unread() == PAGE, "the pipe to be full")
            process.send_signal(15)
            assert connection.read_reply().status == 404
        assert process.wait(PATIENCE) == 0
    finally:
        process.kill()
        process.wait()
        os.close(ours)
        port.release()


def test_busy_connections_end_after_the_request_in_hand(start):
    agent = start(verbose=False)
    asked = [0] * 4

    def ask_again_and_again(number):
        with agent.connect(tls=anonymous_tls() if number % 2 else None) as connection:
            while (reply := connection.ask(GET11)) is not None:
                last = reply
                asked[number] += 1
            return last.status

    with ThreadPoolExecutor(4) as pool:
        busy = [pool.submit(ask_again_and_again, number) for number in range(4)]
        wait_until(lambda: min(asked) > 9, "all connections to be busy")
        agent.send_signal(15)
        for connection in busy:
            try:
                assert connection.result() == 200
            except OSError:
                pass  # the next request came when the connection was closed already
    assert agent.wait() == 0


def test_tools_and_their_files_are_gone(start, tmp_path):
    tools, lives = tmp_path / "tools", tmp_path / "lives"
    tools.mkdir()
    for name in ("uname", "hostname", "cat"):
        (tools / name).write_text(f"#!/bin/sh\necho $$ >>{lives}\nexec /bin/sleep 1000\n")
        (tools / name).chmod(0o755)
    agent = start(more={"PATH": f"{tools}:/usr/sbin:/usr/bin:/sbin:/bin"})
    with agent.connect() as connection:
        connection.send(post_request(envelope("GetHostSummary", request={"uuid": "id"})))
        wait_until(lambda: lives.exists() and lives.read_text().endswith("\n"), "a tool to run")
        assert any(re.fullmatch(r"[0-9a-f]{32}\.tmp", path.name) for path in agent.tree.bin.iterdir())
        assert agent.stop(signal.SIGINT) == 0
    for number in lives.read_text().split():
        wait_until(lambda: not os.path.exists(f"/proc/{number}"), "the tool to be gone")
    assert not list(agent.tree.bin.glob("*.tmp"))
