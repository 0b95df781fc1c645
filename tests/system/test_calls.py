"""Calls from the agent to its management server, and the scripted server itself."""

import hashlib
import http.client
import re
import socket
from base64 import b64encode
from concurrent.futures import ThreadPoolExecutor
from urllib.parse import quote_plus

import pytest

from harness import ManagementServer, Port, envelope, form
from harness import server as behaviour
from harness.envelope import FAILED, INVALID_UUID, SUCCESS, parse_answer
from harness.wire import Connection, anonymous_tls


def test_scripted_server_answers_and_records(server):
    """The other tests of this file rest on it."""
    suites = [anonymous_tls(ciphers) for ciphers in ("AECDH:@SECLEVEL=0", "ADH:@SECLEVEL=0")]
    bodies = {"text/xml": envelope("Ping"), "application/x-www-form-urlencoded": form(envelope("Ping"))}
    for port, tls in ((server.plain_port, None), *((server.tls_port, suite) for suite in suites)):
        for kind, body in bodies.items():
            with Connection(port, tls=tls) as connection:
                head = f"POST /x HTTP/1.0\r\nContent-Type: {kind}\r\nContent-Length: {len(body)}\r\n\r\n"
                connection.send(head.encode() + body)
                answer = parse_answer(connection.read_reply().body)
            assert answer.outcome == SUCCESS and answer.children[0].tag == "Server"
            assert server.calls[-1].text == envelope("Ping") and server.calls[-1].tls == bool(tls)
    client = http.client.HTTPConnection("127.0.0.1", server.plain_port)
    client.request("POST", "/y", body=envelope("Other"))
    assert client.getresponse().status == 200
    assert server.wait_calls("Other")[0].request_line == "POST /y HTTP/1.1"
    client.close()
    server.down()
    with pytest.raises(ConnectionRefusedError):
        Connection(server.plain_port)
    server.up()
    server.misbehave(behaviour.close_at_once, behaviour.status(503))
    with Connection(server.plain_port) as connection:
        assert connection.read_to_end() == b""
    client = http.client.HTTPConnection("127.0.0.1", server.plain_port)
    client.request("POST", "/y", body=envelope("Other"))
    assert client.getresponse().status == 503
    client.close()


def test_ssl_state_decides_where_calls_go(start):
    """It is asked over TLS at the start; only the word false brings the calls to the plain port."""
    for word, tls in (("false", False), ("true", True), ("False", True), ("", True), ("no", True)):
        server = ManagementServer(ssl_state=word)
        agent = start(server=server)
        assert "Agent: Check SSL state successful\n" in agent.log()
        assert f"Server: SSL state: {word}\n" in agent.log()
        (asked,) = server.of("GetSSLState")
        assert asked.tls and asked.request == {"uuid": ""}
        assert agent.call("PingServer").outcome == SUCCESS
        (ping,) = server.of("Ping")
        assert ping.tls == tls, word
        server.stop()
        assert not server.faults


def test_start_without_a_useful_server(start, server):
    """Whatever the server does, the agent starts, and keeps to TLS for its calls."""
    bad = [
        behaviour.close_at_once,
        behaviour.close_after_request,
        behaviour.close_within_reply,
        behaviour.rubbish,
        behaviour.huge_reply,
        behaviour.endless_headers,
        behaviour.status(500),
        behaviour.status(200),
    ]
    for one in bad:
        server.misbehave(one)
        agent = start(server=server)
        assert "Agent: Check SSL state invoke call failed. QDV Server may not be available\n" in agent.log()
        assert agent.get().status == 200
        assert agent.call("PingServer").outcome == SUCCESS
        assert server.of("Ping")[-1].tls
        assert agent.stop() == 0


def test_what_a_call_looks_like(start, server):
    agent = start(server=server)
    agent.call(uuid='own "id"')
    agent.call(uuid="other", host="alpha")
    answer = agent.call("PingServer", host="alpha")
    assert answer.outcome == SUCCESS and answer.uuid == "other"
    assert [child.tag for child in answer.children] == ["Agent"]
    (call,) = server.of("Ping")
    assert call.request_line == "POST /BrindlexServer HTTP/1.0"
    assert [name for name, _ in call.headers] == ["User-Agent", "Content-Type", "Content-Length", "Connection"]
    assert call.header("User-Agent") == "Norvalith Brindlex Agent"
    assert call.header("Content-Type") == "application/x-www-form-urlencoded"
    assert call.header("Connection") == "Keep-Alive"
    assert call.root == {"version": "1.2", "schema": "2.1"}
    assert call.request == {"uuid": 'own "id"'}
    assert call.element.attrib == {"name": "Ping"} and len(call.element) == 0
    assert call.body == quote_plus(call.text).replace("-", "%2D").replace("_", "%5F").replace(".", "%2E").replace(
        "~", "%7E"
    ).encode()


def test_ping_server_tells_whether_the_server_is_there(start, server):
    agent = start(server=server, flags=())
    assert agent.call("PingServer").outcome == SUCCESS
    server.down()
    assert agent.call("PingServer").outcome == FAILED
    server.up()
    assert agent.call("PingServer").outcome == SUCCESS

    server.misbehave(behaviour.without_length)
    assert agent.call("PingServer").outcome == SUCCESS
    server.misbehave(behaviour.drip)
    assert agent.call("PingServer").outcome == SUCCESS
    for one in (
        behaviour.close_at_once,
        behaviour.close_after_request,
        behaviour.close_within_reply,
        behaviour.rubbish,
        behaviour.huge_reply,
        behaviour.endless_headers,
        behaviour.status(404),
        behaviour.status(500),
        behaviour.status(200),
        behaviour.status(401),
        behaviour.status(200, text=""),
    ):
        server.misbehave(one)
        answer = agent.call("PingServer", seconds=30)
        assert answer.outcome == FAILED and not answer.children
    for outcome in (("error", "success"), ("Success", None), (None, None)):
        server.outcome = outcome
        assert agent.call("PingServer").outcome == FAILED, outcome
    server.outcome = ("success", None)
    for version in (("1.1", "2.1"), ("1.2", "2.0"), (None, "2.1"), ("1.2", None)):
        server.version = version
        assert agent.call("PingServer").outcome == FAILED, version
    server.version = ("1.2", "2.1")
    server.answers["Ping"] = "<server/>"
    assert agent.call("PingServer").outcome == FAILED
    server.answers["Ping"] = "<x><Server/></x>"
    assert agent.call("PingServer").outcome == SUCCESS
    assert agent.call().outcome == SUCCESS


def test_a_slow_server_holds_up_only_who_asked(start, server):
    agent = start(server=server, flags=())
    with ThreadPoolExecutor(8) as pool:
        with server.holding():
            slow = [pool.submit(agent.call, "PingServer") for _ in range(8)]
            server.wait_calls("Ping", 8)
            for _ in range(20):
                assert agent.call().outcome == SUCCESS
            assert not any(one.done() for one in slow)
        assert all(one.result().outcome == SUCCESS for one in slow)


def test_the_server_can_change_where_calls_go(start, server):
    agent = start(server=server, flags=())
    tls = anonymous_tls()
    bad = ("error", "Malformed SetCallServerWithSSL RMI")
    state = False
    for params, outcome, becomes in (
        ("<x>true</x>", SUCCESS, True),
        ("<x>false</x><y>true</y><z>false</z>", SUCCESS, False),
        ("", bad, None),
        ("<x/>", bad, None),
        ("<x>TRUE</x>", bad, None),
        ("<x>true</x><x>maybe</x>", bad, None),
        ("text <!-- c --> <x>true</x>", SUCCESS, True),
    ):
        assert agent.call("SetCallServerWithSSL", params, uuid="id", tls=tls).outcome == outcome, params
        state = state if becomes is None else becomes
        assert agent.call("PingServer").outcome == SUCCESS
        assert server.of("Ping")[-1].tls == state, params
    plain = agent.call("SetCallServerWithSSL", "<x>true</x>", uuid="id")
    assert plain.outcome == ("error", "invalid encryption protocol")
    assert agent.call("SetCallServerWithSSL", "<x>true</x>", uuid="no", tls=tls).outcome == INVALID_UUID
    assert agent.stop() == 0


def test_signal_during_the_call_at_the_start(start, server):
    """It is acted upon when the start is through."""
    with server.holding():
        agent = start(server=server, wait=False)
        server.wait_calls("GetSSLState")
        assert agent.get().status == 200
        agent.send_signal(15)
        agent.wait_log("Agent_SignalHandler() agent received signal 15. Shutting down.\n")
        assert agent.get().status == 200
    assert agent.wait() == 0
    log = agent.log()
    assert log.index("Shutting down") < log.index("Agent: startup successful") < log.index("Agent: shutdown successful")


def test_through_a_proxy(start, server):
    """Calls go to the proxy with the server's whole address in the request line, over TLS too."""
    nowhere = {"hostname": "server.invalid", "port": "81", "sslPort": "444", "uri": "/else/where"}
    proxy = {"proxyHostname": "127.0.0.1", "proxyPort": str(server.proxy_port)}
    agent = start(server=server, conf={"ServerInfo": nowhere | proxy})
    assert agent.call("PingServer").outcome == SUCCESS
    (asked,), (ping,) = server.of("GetSSLState"), server.of("Ping")
    assert (asked.port, asked.tls) == (server.proxy_port, True)
    assert asked.request_line == "POST http://server.invalid:444/else/where HTTP/1.0"
    assert (ping.port, ping.tls) == (server.proxy_port, False)
    assert ping.request_line == "POST http://server.invalid:81/else/where HTTP/1.0"
    assert ping.header("Proxy-Authorization") is None

    agent = start(server=server, conf={"ServerInfo": {"proxyHostname": "proxy.invalid", "proxyPort": "0"}})
    assert agent.call("PingServer").outcome == SUCCESS
    assert server.of("Ping")[-1].port == server.plain_port


def test_credentials_are_sent_when_they_are_asked_for(start, server):
    """Once for each call, and not a byte of them before."""
    conf = {"ServerInfo": {"username": "agent", "password": "pass:word"}}
    basic = 'Authenticate: Basic realm="here"\r\n'
    expected = "Basic " + b64encode(b"agent:pass:word").decode()
    for code, asked_by, answered_by in (
        (401, "WWW-", "Authorization"),
        (407, "Proxy-", "Proxy-Authorization"),
    ):
        agent = start(server=server, conf=conf)
        server.calls.clear()
        server.misbehave(behaviour.status(code, headers=asked_by + basic))
        assert agent.call("PingServer").outcome == SUCCESS
        first, second = server.of("Ping")
        assert first.header(answered_by) is None and second.header(answered_by) == expected
        assert first.text == second.text

        for challenge in (basic, basic + asked_by + "Authenticate: Digest\r\n", basic.replace('"', "")):
            server.calls.clear()
            server.misbehave(*[behaviour.status(code, headers=asked_by + challenge)] * 2)
            assert agent.call("PingServer").outcome == FAILED
            assert len(server.of("Ping")) <= 2
            server.drop_scripts()
        for realm, more in (("x", ""), ("a b", ', qop="auth", opaque="o"')):
            server.calls.clear()
            challenge = f'{asked_by}Authenticate: Digest realm="{realm}", nonce="n0nce"{more}\r\n'
            server.misbehave(behaviour.status(code, headers=challenge))
            assert agent.call("PingServer").outcome == SUCCESS
            first, second = server.of("Ping")
            assert first.header(answered_by) is None
            assert_digest(second.header(answered_by), "agent", "pass:word", realm, "n0nce")
        assert agent.call("PingServer").outcome == SUCCESS
        assert server.of("Ping")[-1].header(answered_by) is None


def assert_digest(header, user, password, realm, nonce):
    """Checks an answer to a Digest challenge by RFC 2617, section 3.2.2."""
    scheme, _, rest = header.partition(" ")
    quoted = {name: quotes or bare for name, quotes, bare in re.findall(r'(\w+)=(?:"([^"]*)"|([^",\s]+))', rest)}
    assert scheme == "Digest" and password not in header
    assert (quoted["username"], quoted["realm"], quoted["nonce"]) == (user, realm, nonce)

    def md5(*parts):
        return hashlib.md5(":".join(parts).encode()).hexdigest()

    middle = [quoted["nc"], quoted["cnonce"], quoted["qop"]] if "qop" in quoted else []
    expected = md5(md5(user, realm, password), nonce, *middle, md5("POST", quoted["uri"]))
    assert quoted["response"] == expected, header


def test_return_ports_and_address(start, server):
    held = [Port() for _ in range(2)]
    low, high = sorted(port.number for port in held)
    for port in held:
        port.release()  # the agent does not ask for address reuse, so nobody may hold them
    agent = start(server=server, conf={"AgentInfo": {"returnPortMin": str(low), "returnPortMax": str(low)}})
    assert server.of("GetSSLState")[-1].peer[1] == low
    busy = socket.socket()
    busy.bind(("127.0.0.1", high))
    agent = start(server=server, conf={"AgentInfo": {"returnPortMin": str(high), "returnPortMax": str(high + 9)}})
    assert high < server.of("GetSSLState")[-1].peer[1] <= high + 9
    agent = start(server=server, conf={"AgentInfo": {"returnPortMin": str(high)}})
    assert agent.call("PingServer").outcome == FAILED
    busy.close()
    agent = start(server=server, conf={"AgentInfo": {"returnAddress": "127.0.0.9"}})
    assert agent.call("PingServer").outcome == SUCCESS
    assert {call.peer[0] for call in server.calls[-2:]} == {"127.0.0.9"}
