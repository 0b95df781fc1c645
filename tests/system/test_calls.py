"""Calls from the agent to its management server, and the scripted server itself."""

import hashlib
import random
import re
import socket
from base64 import b64encode
from concurrent.futures import ThreadPoolExecutor
from urllib.parse import quote_plus

from harness import FAILED, FORM, INVALID_UUID, SUCCESS, TOO_MANY, ManagementServer, anonymous_tls
from harness import server as behaviour


def test_ssl_state_decides_where_calls_go(start):
    """It is asked over TLS at the start; only the word false brings the calls to the plain port."""
    for word, tls in (("false", False), ("true", True), ("False", True), ("", True), ("no", True)):
        server = ManagementServer(ssl_state=word)
        agent = start(server=server)
        assert "Agent: Check SSL state successful\n" in agent.log()
        assert f"Server: SSL state: {word}\n" in agent.log()
        assert agent.outcome("PingServer") == SUCCESS
        (asked,), (ping,) = server.of("GetSSLState"), server.of("Ping")
        assert (asked.tls, asked.request, ping.tls) == (True, {"uuid": ""}, tls), word
        server.stop()
        assert not server.faults


def test_start_without_a_useful_server(start, server):
    """Whatever the server does, the agent starts, and keeps to TLS for its calls."""
    for bad in behaviour.BAD_BEHAVIOUR:
        server.misbehave(bad)
        agent = start(server=server)
        assert "Agent: Check SSL state invoke call failed. QDV Server may not be available\n" in agent.log()
        assert agent.outcome("PingServer") == SUCCESS
        assert server.of("Ping")[-1].tls
        assert agent.stop() == 0


def test_what_a_call_looks_like(start, server):
    agent = start(server=server)
    agent.call(uuid='own "id"')
    agent.call(uuid="other", host="alpha")
    answer = agent.call("PingServer", host="alpha")
    assert (answer.outcome, answer.uuid, [child.tag for child in answer.children]) == (SUCCESS, "other", ["Agent"])
    (call,) = server.of("Ping")
    assert call.request_line == "POST /BrindlexServer HTTP/1.0"
    assert call.headers.items() == [
        ("User-Agent", "Norvalith Brindlex Agent"), ("Content-Type", FORM), ("Content-Length", str(len(call.body))),
        ("Connection", "Keep-Alive"),
    ]  # fmt: skip
    assert call.root == {"version": "1.2", "schema": "2.1"}
    assert call.request == {"uuid": 'own "id"'}
    assert (call.element.attrib, len(call.element)) == ({"name": "Ping"}, 0)
    encoded = quote_plus(call.text)
    for character in "-_.~":
        encoded = encoded.replace(character, f"%{ord(character):X}")
    assert call.body == encoded.encode()


def test_ping_server_tells_whether_the_server_is_there(start, server):
    agent = start(server=server)

    def ping():
        return agent.outcome("PingServer")

    assert ping() == SUCCESS
    server.down()
    answer = agent.call("PingServer")
    refusal = {"type": "method", "name": "PingServer", "response": "error", "reason": ""}
    assert (answer.attributes, answer.children) == (refusal, [])
    assert agent.outcome("PingServer", "<x/>") == TOO_MANY
    server.up()
    for one in (behaviour.without_length, behaviour.drip):
        server.misbehave(one)
        assert ping() == SUCCESS
    bad_status = [behaviour.status(404), behaviour.status(401), behaviour.status(200, text="")]
    for one in (*behaviour.BAD_BEHAVIOUR, *bad_status):
        server.misbehave(one)
        assert ping() == FAILED
    good, version = ("success", None), ("1.2", "2.1")
    for server.outcome, server.version, server.answers["Ping"], expected in (
        *((outcome, version, "<Server/>", FAILED) for outcome in (("error", "success"), ("Success", None), (None, None))),
        *((good, other, "<Server/>", FAILED) for other in (("1.1", "2.1"), ("1.2", "2.0"), (None, "2.1"), ("1.2", None))),
        (good, version, "<server/>", FAILED),
        (good, version, "<x><Server/></x>", SUCCESS),
    ):
        assert ping() == expected, (server.outcome, server.version, server.answers)


def test_replies_of_every_form(start, server):
    """A body is as long as it is told or, without its line ends, as it comes. What is no reply is none, and asks for none."""
    agent = start(server=server, conf={"ServerInfo": {"username": "agent", "password": "secret"}})
    whole = b'<NorvalithRMI version="1.2" schema="2.1"><Response response="success"><Server/></Response></NorvalithRMI>'
    cut = whole.replace(b"<Server", b"<Ser\r\nv\n\rer")

    def reply(body=whole, headers="", first="HTTP/1.1 200 OK"):
        return f"{first}\r\n{headers}\r\n".encode() + body

    def told(length):
        return f"Content-Length: {length}\r\n"

    good = [reply(), reply(cut), reply(whole + b"rest", told(len(whole)))]
    bad = [
        reply(cut, told(len(cut))), reply(headers=told(0)), reply(headers=told(len(whole) + 1)), reply(headers=told(10**12 - 1)),
        reply(headers=told(10**26 - 1)), b"nonsense", reply(headers="no header\r\n"), reply(headers="A: b\n"),
        reply(headers="WWW-Authenticate: Nothing known\r\n"),
        *(reply(first=f"HTTP/1.{rest}") for rest in ("0 500 NO", "0 418 I'm a teapot", "1 200", "1 OK fine", "1 " + "9" * 5000)),
        reply(first="HTTP/1.1 401 X"), reply(first="HTTP/1.1 407 X", headers='WWW-Authenticate: Basic realm="r"\r\n'),
        reply(first="HTTP/1.1 401 X", headers="WWW-Authenticate: Digest nonce=n,qop=auth-int\r\n"),
    ]
    for data, outcome in [(one, SUCCESS) for one in good] + [(one, FAILED) for one in bad]:
        server.misbehave(behaviour.replying(data))
        assert agent.outcome("PingServer") == outcome, data[:200]
    server.calls.clear()
    beyond = {"port": str((1 << 16) + server.plain_port), "sslPort": str((1 << 16) + server.tls_port)}
    assert start(conf={"ServerInfo": beyond}).outcome("PingServer") == FAILED and not server.calls


def test_a_slow_server_holds_up_only_who_asked(start, server):
    agent = start(server=server)
    with ThreadPoolExecutor(8) as pool:
        with server.holding():
            slow = [pool.submit(agent.outcome, "PingServer") for _ in range(8)]
            server.wait_calls("Ping", 8)
            for _ in range(20):
                assert agent.outcome() == SUCCESS
            assert not any(one.done() for one in slow)
        assert all(one.result() == SUCCESS for one in slow)


def test_the_server_can_change_where_calls_go(start, server):
    agent = start(server=server)
    bad = ("error", "Malformed SetCallServerWithSSL RMI")
    for params, outcome, state in (
        ("<x>true</x>", SUCCESS, True),
        ("<x>false</x><y>true</y><z>false</z>", SUCCESS, False),
        ("", bad, False),
        ("<x/>", bad, False),
        ("<x>TRUE</x>", bad, False),
        ("<x>true</x><x>maybe</x>", bad, False),
        ("text <!-- c --> <x>true</x>", SUCCESS, True),
    ):
        assert agent.outcome("SetCallServerWithSSL", params, uuid="id", tls=anonymous_tls()) == outcome, params
        assert agent.outcome("PingServer") == SUCCESS
        assert server.of("Ping")[-1].tls == state, params
    assert agent.outcome("SetCallServerWithSSL", "<x>true</x>", uuid="no", tls=anonymous_tls()) == INVALID_UUID


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
    assert agent.outcome("PingServer") == SUCCESS
    for (call,), tls, port in ((server.of("GetSSLState"), True, 444), (server.of("Ping"), False, 81)):
        assert (call.port, call.tls) == (server.proxy_port, tls)
        assert call.request_line == f"POST http://server.invalid:{port}/else/where HTTP/1.0"
        assert call.headers["Proxy-Authorization"] is None
    agent = start(server=server, conf={"ServerInfo": {"proxyHostname": "proxy.invalid", "proxyPort": "0"}})
    assert agent.outcome("PingServer") == SUCCESS
    assert server.of("Ping")[-1].port == server.plain_port


def test_credentials_are_sent_when_they_are_asked_for(start, server):
    """Once for each call, and not a byte of them before."""
    agent = start(server=server, conf={"ServerInfo": {"username": "agent", "password": "pass:word"}})

    def ping(outcome, code, *challenges):
        server.calls.clear()
        server.misbehave(*[behaviour.status(code, headers=challenge) for challenge in challenges])
        assert agent.outcome("PingServer") == outcome
        server.drop_scripts()
        return server.of("Ping")

    for code, asked_by, answered_by in ((401, "WWW-", "Authorization"), (407, "Proxy-", "Proxy-Authorization")):
        basic = asked_by + 'Authenticate: Basic realm="here"\r\n'
        first, second = ping(SUCCESS, code, basic)
        assert first.headers[answered_by] is None and first.text == second.text
        assert second.headers[answered_by] == "Basic " + b64encode(b"agent:pass:word").decode()
        for challenge in (basic, basic + asked_by + "Authenticate: Digest\r\n", basic.replace('"', "")):
            assert len(ping(FAILED, code, challenge, challenge)) <= 2
        for realm, more in (("x", ""), ("a, b", ', qop="auth-int, auth", opaque="o"'), ("c", ", qop=auth, algorithm=MD5-sess")):
            challenge = f'{basic}{asked_by}Authenticate: Digest realm="{realm}", nonce="n0nce"{more}\r\n'
            first, second = ping(SUCCESS, code, challenge)
            assert first.headers[answered_by] is None
            assert_digest(second.headers[answered_by], "agent", "pass:word", realm, "n0nce")
            assert ('opaque="o"' in second.headers[answered_by]) == ("opaque" in more)
        assert ping(SUCCESS, code)[-1].headers[answered_by] is None


def assert_digest(header, user, password, realm, nonce):
    """Checks an answer to a Digest challenge by RFC 2617, section 3.2.2."""
    scheme, _, rest = header.partition(" ")
    quoted = {name: quotes or bare for name, quotes, bare in re.findall(r'(\w+)=(?:"([^"]*)"|([^",\s]+))', rest)}
    assert scheme == "Digest" and password not in header
    assert (quoted["username"], quoted["realm"], quoted["nonce"]) == (user, realm, nonce)
    assert quoted.get("nc", "00000001") == "00000001"

    def md5(*parts):
        return hashlib.md5(":".join(parts).encode()).hexdigest()

    middle = [quoted["nc"], quoted["cnonce"], quoted["qop"]] if "qop" in quoted else []
    assert len(quoted.get("cnonce", "")) == (8 if middle else 0)
    key = md5(user, realm, password)
    if quoted.get("algorithm") == "MD5-sess":
        key = md5(key, nonce, quoted["cnonce"])
    expected = md5(key, nonce, *middle, md5("POST", quoted["uri"]))
    assert quoted["response"] == expected, header


def free_range(length=10):
    """The first of so many free ports in a row, where the system gives none of them to others by itself."""
    chance = random.SystemRandom()
    while True:
        first = chance.randrange(10000, 30000)
        try:
            for number in range(first, first + length):
                with socket.socket() as probe:
                    probe.bind(("127.0.0.1", number))
            return first
        except OSError:
            continue


def test_return_ports_and_address(start, server):
    def used(**info):
        """What a start and a PingServer come to: its outcome, and the agent's ends of the server's connections."""
        server.calls.clear()
        agent = start(server=server, conf={"AgentInfo": {name: str(value) for name, value in info.items()}})
        return agent.outcome("PingServer"), [call.peer for call in server.calls]

    # Of one port a second call has to wait until the first one's connection is forgotten. Somebody else may have taken it
    # since it was free.
    for _ in range(5):
        port = free_range()
        if peers := used(returnPortMin=port, returnPortMax=port)[1]:
            break
    assert {number for _, number in peers} == {port}
    with socket.socket() as busy:
        busy.bind(("127.0.0.1", port + 1))
        outcome, peers = used(returnPortMin=port + 1, returnPortMax=port + 9)
        assert outcome == SUCCESS and all(port + 1 < number < port + 10 for _, number in peers)
        assert used(returnPortMin=port + 1) == (FAILED, [])
    outcome, peers = used(returnAddress="127.0.0.9")
    assert outcome == SUCCESS and {address for address, _ in peers} == {"127.0.0.9"}
