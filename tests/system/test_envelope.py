"""The envelope of the remote method calls: every refusal, Ping and SetVerboseLog."""

import os
import re

import pytest

from harness import FAILED, FORM, INVALID_UUID, SUCCESS, TOO_MANY, envelope, form, wait_until

REQUEST = '<Request><Method name="Ping"/></Request>'


def rmi(content, attributes='version="1.2" schema="2.1"', root="NorvalithRMI"):
    return f"<{root} {attributes}>{content}</{root}>".encode()


# Fail as a whole: status 500 and no body.
REFUSED = [
    b"Ping", b" ", envelope()[:-1], envelope() + b"x", envelope() * 2, rmi("<Request>&x;</Request>"),
    envelope().decode().encode("utf-16"), b'<?xml version="1.0" encoding="no-such"?>' + envelope(),
    b"CommandBody=", b"CommandBody=CommandBody=" + envelope(),
    envelope().replace(b"<Method", b'<Method x="CommandBody=1"'),  # looked for in the whole text, so it cuts that
    *(rmi(REQUEST, root=root) for root in ("RMI", "norvalithrmi", "x:NorvalithRMI")), rmi(rmi(REQUEST).decode(), root="x"),
    *(rmi(REQUEST, attributes) for attributes in (
        'version="1.2" version="1.2" schema="2.1"', 'schema="2.1"', 'version="" schema="2.1"', 'version="1.1" schema="2.1"',
        'version="1.2.0" schema="2.1"', 'version=" 1.2" schema="2.1"', 'version="1.2"', 'version="1.2" schema=""',
        'version="1.2" schema="2.0"',
    )),
    rmi("", 'version="1" schema="2.1"'),
]  # fmt: skip

def unknown(name):
    return {"type": "method", "name": name, "response": "unknown method", "reason": "no methods implemented"}


def method(attribute, element="Method"):
    return f"<Request><{element} {attribute}/></Request>"


# attributes of the Response, all of them, and contents of the root that bring it
ANSWERED = [
    ({"type": "request", "response": "not a request"},
     ["", "Request", '<request><Method name="Ping"/></request>']),
    ({"type": "method", "response": "no method", "reason": "missing method element"},
     ["<Request/>", method('name="Ping"', "method"), '<Request/><Method name="Ping"/>', "<Request/>" + REQUEST]),
    ({"type": "method", "response": "no method name", "reason": "missing method name in method element"},
     [method(""), method('name=""'), method('Name="Ping"'), '<Request><Method/><Method name="Ping"/></Request>',
      method(f'name="{"x" * (1 << 20)}x"')]),
    (unknown("No"), [method('name="No"'), '<Request uuid="x" hostTarget="h"><Method name="No"/></Request>']),
    *((unknown(name), [method(f'name="{name}"')]) for name in ("PING", "Ping ", "PingServer2")),
]  # fmt: skip


def test_refusals(agent):
    for body in REFUSED:
        reply = agent.post(body)
        assert (reply.status, reply.body) == (500, b""), body
    for attributes, contents in ANSWERED:
        for content in contents:
            answer = agent.answer(rmi(content))
            assert (answer.attributes, answer.children) == (attributes, []), content
    # The protocol is looked at before the identity.
    for name in ("SetCallServerWithSSL", "SubmitAction", "SaveAction", "GetActionScriptList"):
        refusal = {"type": "method", "name": name, "response": "error", "reason": "invalid encryption protocol"}
        assert [agent.call(name, uuid=uuid).attributes for uuid in (None, "whatever")] == [refusal] * 2
    assert agent.tree.identities() == []


def test_names_come_back_as_they_were_sent(agent):
    """Whatever characters XML can carry survive the way through the agent, bare and in a form."""
    for name in ('a"b<c>&d\'e', "Grüße €", "\U0001f4be", "\uef80\uefff", "%s%n", " \t\n", "x" * 100_000):
        bare = agent.post(envelope(name))
        assert agent.answer(envelope(name)).attributes == unknown(name)
        assert agent.post(form(envelope(name)), content_type=FORM).raw == bare.raw
    latin = b'<?xml version="1.0" encoding="ISO-8859-1"?>' + envelope("Gr\xfc\xdfe").decode().encode("latin-1")
    assert agent.answer(latin).attributes == unknown("Grüße")


def test_ways_to_carry_the_envelope(agent):
    xml = envelope().decode()
    requests = (
        {"snmpPort": "161", "snmpCommunity": "public", "serviceUid": "1", "serviceGid": "1", "fsType": "ext4"},
        {"snmpPort": "no number", "userName": "root", "userPassword": "x", "vsamName": "x" * (1 << 20)},
        *({"snmpPort": port, "unheard": "of"} for port in ("0", "-1", "9" * 23)),
    )
    for body in (
        xml,
        '<?xml version="1.0" encoding="UTF-8"?>' + xml,
        "\ufeff" + xml,
        "<?pi x?><!-- c -->" + xml + "\n<!-- c -->\n",
        *(start + "CommandBody=" + xml for start in ("", "junk=1&", "<junk>")),
        xml + "\0 rubbish behind a zero byte",
        xml.replace('"1.2"', '"1&#46;2"').replace('"2.1"', "'2.1'"),
        rmi("<a>" * 200 + REQUEST + "</a>" * 200).decode(),
        rmi('<Request><x><Method name="Ping"/></x><Method name="Pong"/></Request>').decode(),
        rmi('<Request><Method name="Ping"/><Method name="Pong"/></Request><Request/>').decode(),
        *(envelope(request=request).decode() for request in requests),
    ):
        assert agent.answer(body.encode()).outcome == SUCCESS, body[:200]
    assert agent.answer(form(envelope()), FORM).outcome == SUCCESS


def test_ping(agent):
    answer = agent.call("Ping")
    assert answer.attributes == {"type": "method", "name": "Ping", "response": "success", "reason": "success"}
    agent_attributes = {"product": "VRK", "version": "2.1.1", "build": "421", "type": "Linux"}
    assert [(child.tag, child.attrib) for child in answer.children] == [("Agent", agent_attributes)]
    for params in ("<x/>", "<x/><y/>", "<x><y/></x>"):
        answer = agent.call("Ping", params)
        assert (answer.outcome, answer.children) == (TOO_MANY, [])
    for params in ("text", "<!-- comment -->", "<?pi?>", "<![CDATA[<x/>]]>"):
        assert agent.outcome("Ping", params) == SUCCESS


# ---- SetVerboseLog


def mode(word):
    return f"<VerboseMode>{word}</VerboseMode>"


@pytest.fixture
def set_log(start):
    """An agent without -verbose, and SetVerboseLog on it with its identity."""
    agent = start(verbose=False)
    return agent, lambda params: agent.outcome("SetVerboseLog", params, uuid="id")


def test_verbose_log_parameters(set_log):
    agent, call = set_log
    too_few = ("too few parameters", "")
    rows = {
        too_few: ("", "on", "<Mode>on</Mode>", "<verboseMode>on</verboseMode>"),
        TOO_MANY: ("<VerboseMode/>", mode("on") * 2, mode("<on/>"), mode("on") + "<x/>"),
        FAILED: (mode(word) for word in ("yes", " on", "onn", "1", "<!-- -->on")),
        SUCCESS: (mode("off"), mode("OFF")),
    }
    for outcome, every in rows.items():
        for params in every:
            assert call(params) == outcome, params
            assert not agent.tree.log_file.exists()
    for uuid in (None, "other"):
        assert agent.outcome("SetVerboseLog", mode("on"), uuid=uuid) == INVALID_UUID
    assert not agent.tree.log_file.exists()


def test_verbose_log_on_and_off(set_log, start):
    agent, call = set_log
    log = agent.tree.log_file
    assert call(mode("On")) == SUCCESS
    assert agent.outcome() == SUCCESS
    wait_until(lambda: log.read_bytes().count(b"HTTP_FileImpl::sendReply: finish\n") == 2, "the log")
    first = log.read_bytes()
    assert re.match(rb"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d: ", first)
    assert call(mode("<![CDATA[oN]]>")) == SUCCESS
    assert log.read_bytes().startswith(first), "the open file is not opened again"
    assert call(mode("oFF")) == SUCCESS
    closed = log.read_bytes()
    assert str(log) not in [os.readlink(f"/proc/{agent.pid}/fd/{fd}") for fd in (0, 1, 2)]
    assert agent.call("NoSuchMethod").attributes == unknown("NoSuchMethod")
    assert call(mode("off")) == SUCCESS
    assert log.read_bytes() == closed and b"NoSuchMethod" not in closed
    assert call(mode("on")) == SUCCESS
    assert agent.call("Another").attributes == unknown("Another")
    wait_until(lambda: b"Another" in log.read_bytes(), "the log")
    assert not log.read_bytes().startswith(first), "opening it anew empties the file"
    assert agent.log() == "", "nothing of it goes to standard output"
    assert call(mode("off")) == SUCCESS
    log.unlink()
    log.mkdir()
    assert call(mode("on")) == FAILED
    # Where it goes to the console it is left alone.
    agent = start()
    assert [agent.outcome("SetVerboseLog", mode(word), uuid="id") for word in ("on", "off", "ON", "yes")] == [FAILED] * 4
    assert not agent.tree.log_file.exists()
    agent.wait_log("SetVerboseLog", 4)


def test_log_file_starts_again_when_it_is_full(set_log):
    """Past 20,480,000 bytes the next line lands at the start of an emptied file."""
    agent, call = set_log
    log = agent.tree.log_file
    assert call(mode("on")) == SUCCESS
    body = b"<" + b"x" * 7_000_000
    for _ in range(2):
        assert agent.post(body).status == 500
    assert 14_000_000 < log.stat().st_size < 15_000_000
    assert agent.post(body).status == 500
    wait_until(lambda: log.stat().st_size < 1_000_000, "the log to be cut")
    assert agent.call("Afterwards").attributes == unknown("Afterwards")
    wait_until(lambda: b"Afterwards" in log.read_bytes(), "the log")
    assert re.match(rb"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d: ", log.read_bytes())
    assert b"x" * 1000 not in log.read_bytes()
