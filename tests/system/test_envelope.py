"""The envelope of the remote method calls: every refusal, and Ping, PingServer and SetVerboseLog."""

import os
import re

import pytest

from harness import envelope, form, wait_until
from harness.envelope import FAILED, INVALID_UUID, SUCCESS, parse_answer

XML = '<?xml version="1.0" encoding="UTF-8"?>'


def rmi(content, attributes='version="1.2" schema="2.1"', root="NorvalithRMI"):
    return f"<{root} {attributes}>{content}</{root}>".encode()


REQUEST = '<Request><Method name="Ping"/></Request>'

# Envelopes that fail as a whole: status 500 and no body.
REFUSED = {
    "no XML": b"Ping",
    "blank": b" ",
    "cut short": envelope()[:-1],
    "text behind the root": envelope() + b"x",
    "two roots": envelope() * 2,
    "unbound entity": rmi("<Request>&x;</Request>"),
    "attribute twice": rmi(REQUEST, 'version="1.2" version="1.2" schema="2.1"'),
    "document type": b"<!DOCTYPE NorvalithRMI>" + envelope(),
    "UTF-16": envelope().decode().encode("utf-16"),
    "no valid UTF-8": envelope().replace(b'"Ping"', b'"Ping\xff"'),
    "UTF-8 sequence cut off": envelope().replace(b'"Ping"', b'"Ping\xc3"'),
    "control character": envelope().replace(b'"Ping"', b'"Ping\x01"'),
    "other root": rmi(REQUEST, root="RMI"),
    "other case of root": rmi(REQUEST, root="norvalithrmi"),
    "root with a prefix": rmi(REQUEST, root="x:NorvalithRMI"),
    "right root inside another": rmi(rmi(REQUEST).decode(), root="x"),
    "no version": rmi(REQUEST, 'schema="2.1"'),
    "empty version": rmi(REQUEST, 'version="" schema="2.1"'),
    "other version": rmi(REQUEST, 'version="1.1" schema="2.1"'),
    "longer version": rmi(REQUEST, 'version="1.2.0" schema="2.1"'),
    "version with a blank": rmi(REQUEST, 'version=" 1.2" schema="2.1"'),
    "no schema": rmi(REQUEST, 'version="1.2"'),
    "empty schema": rmi(REQUEST, 'version="1.2" schema=""'),
    "other schema": rmi(REQUEST, 'version="1.2" schema="2.0"'),
    "wrong version without a request": rmi("", 'version="1" schema="2.1"'),
}


@pytest.mark.parametrize("name", REFUSED)
def test_refused_as_a_whole(agent, name):
    reply = agent.post(REFUSED[name])
    assert (reply.status, reply.body) == (500, b"")
    assert reply.header("Content-Length") == "0"


NOT_A_REQUEST = {"type": "request", "response": "not a request"}
NO_METHOD = {"type": "method", "response": "no method", "reason": "missing method element"}
NO_NAME = {"type": "method", "response": "no method name", "reason": "missing method name in method element"}


def unknown(name):
    return {"type": "method", "name": name, "response": "unknown method", "reason": "no methods implemented"}


# content of the root -> attributes of the Response, all of them
ANSWERED = {
    "empty root": ("", NOT_A_REQUEST),
    "text only": ("Request", NOT_A_REQUEST),
    "other element": ('<request><Method name="Ping"/></request>', NOT_A_REQUEST),
    "no Method": ("<Request/>", NO_METHOD),
    "Method in lower case": ('<Request><method name="Ping"/></Request>', NO_METHOD),
    "Method beside the Request": ('<Request/><Method name="Ping"/>', NO_METHOD),
    "first Request counts": ("<Request/>" + REQUEST, NO_METHOD),
    "no name": ("<Request><Method/></Request>", NO_NAME),
    "empty name": ('<Request><Method name=""/></Request>', NO_NAME),
    "Name in another case": ('<Request><Method Name="Ping"/></Request>', NO_NAME),
    "first Method counts": ('<Request><Method/><Method name="Ping"/></Request>', NO_NAME),
    "unknown name": ('<Request><Method name="Pong"/></Request>', unknown("Pong")),
    "name in another case": ('<Request><Method name="PING"/></Request>', unknown("PING")),
    "name with a blank": ('<Request><Method name="Ping "/></Request>', unknown("Ping ")),
    "name as prefix": ('<Request><Method name="PingServer2"/></Request>', unknown("PingServer2")),
    "identity does not come first": ('<Request uuid="x" hostTarget="h"><Method name="No"/></Request>', unknown("No")),
}


@pytest.mark.parametrize("name", ANSWERED)
def test_refused_with_an_answer(agent, name):
    content, attributes = ANSWERED[name]
    answer = agent.answer(rmi(content))
    assert (answer.attributes, answer.children) == (attributes, [])


def test_names_come_back_as_they_were_sent(agent):
    """Whatever characters XML can carry survive the way through the agent."""
    for name in ('a"b<c>&d\'e', "Grüße €", "\U0001f4be", "\uef80\uefff", "%s%n", " \t\n", "x" * 100_000):
        answer = agent.call(name)
        assert answer.attributes == unknown(name)
    latin = '<?xml version="1.0" encoding="ISO-8859-1"?>'.encode() + envelope("Gr\xfc\xdfe").decode().encode("latin-1")
    assert agent.answer(latin).attributes == unknown("Grüße")


def test_ways_to_carry_the_envelope(agent):
    xml = envelope().decode()
    deep = "<a>" * 200 + REQUEST + "</a>" * 200
    for body in (
        xml,
        XML + xml,
        "\ufeff" + xml,
        "<?pi x?><!-- c -->" + xml + "\n<!-- c -->\n",
        "CommandBody=" + xml,
        "junk=1&CommandBody=" + xml,
        "<junk>CommandBody=" + xml,
        xml + "\0 rubbish behind a zero byte",
        xml.replace('"1.2"', '"1&#46;2"').replace('"2.1"', "'2.1'"),
        rmi(deep).decode(),
        rmi('<Request><x><Method name="Ping"/></x><Method name="Pong"/></Request>').decode(),
        rmi('<Request><Method name="Ping"/><Method name="Pong"/></Request><Request/>').decode(),
    ):
        assert agent.answer(body.encode()).outcome == SUCCESS, body[:200]
    assert agent.answer_form(envelope()).outcome == SUCCESS
    # The field's name is looked for in the whole text, so inside an attribute it cuts the document.
    assert agent.post(xml.replace("<Method", '<Method x="CommandBody=1"').encode()).status == 500
    assert agent.post(b"CommandBody=CommandBody=" + envelope()).status == 500
    assert agent.post(b"CommandBody=").status == 500


def test_attributes_of_the_request_do_no_harm(agent):
    for request in (
        {"snmpPort": "0"},
        {"snmpPort": "161", "snmpCommunity": "public", "serviceUid": "1", "serviceGid": "1", "fsType": "ext4"},
        {"snmpPort": "-1"},
        {"snmpPort": "99999999999999999999999"},
        {"snmpPort": "no number", "userName": "root", "userPassword": "x", "vsamName": "v"},
        {"unheard": "of"},
        {"vsamName": "x" * (1 << 20)},
    ):
        assert agent.answer(envelope(request=request)).outcome == SUCCESS


def test_ping(agent):
    answer = agent.call("Ping")
    assert answer.attributes == {"type": "method", "name": "Ping", "response": "success", "reason": "success"}
    assert [child.tag for child in answer.children] == ["Agent"]
    assert answer.children[0].attrib == {"product": "VRK", "version": "2.1.1", "build": "421", "type": "Linux"}
    for params in ("<x/>", "<x/><y/>", "<x><y/></x>"):
        answer = agent.call("Ping", params)
        assert (answer.outcome, answer.children) == (("too many parameters", ""), [])
    for params in ("text", "<!-- comment -->", "<?pi?>", "<![CDATA[<x/>]]>"):
        assert agent.call("Ping", params).outcome == SUCCESS


def test_ping_server_without_a_server(agent):
    answer = agent.call("PingServer")
    assert answer.attributes == {"type": "method", "name": "PingServer", "response": "error", "reason": ""}
    assert answer.children == []
    assert agent.call("PingServer", "<x/>").outcome == ("too many parameters", "")


def mode(word):
    return f"<VerboseMode>{word}</VerboseMode>"


@pytest.fixture
def set_log(start):
    """An agent without -verbose, and SetVerboseLog on it with its identity."""
    agent = start(flags=())
    return agent, lambda params: agent.call("SetVerboseLog", params, uuid="id").outcome


def test_verbose_log_parameters(set_log):
    agent, call = set_log
    few, many = ("too few parameters", ""), ("too many parameters", "")
    for params, outcome in (
        ("", few),
        ("on", few),
        ("<Mode>on</Mode>", few),
        ("<verboseMode>on</verboseMode>", few),
        ("<VerboseMode/>", many),
        (mode("on") + mode("on"), many),
        (mode("<on/>"), many),
        (mode("on") + "<x/>", many),
        (mode("yes"), FAILED),
        (mode(" on"), FAILED),
        (mode("onn"), FAILED),
        (mode("1"), FAILED),
        (mode("<!-- -->on"), FAILED),
        (mode("off"), SUCCESS),
        (mode("OFF"), SUCCESS),
    ):
        assert call(params) == outcome, params
        assert not agent.tree.log_file.exists()
    assert agent.call("SetVerboseLog", mode("on")).outcome == INVALID_UUID
    assert agent.call("SetVerboseLog", mode("on"), uuid="other").outcome == INVALID_UUID
    assert not agent.tree.log_file.exists()


def test_verbose_log_on_and_off(set_log):
    agent, call = set_log
    log = agent.tree.log_file
    assert call(mode("On")) == SUCCESS
    assert agent.call().outcome == SUCCESS
    wait_until(lambda: b"HTTP_FileImpl::sendReply: finish\n" in log.read_bytes(), 5, "the log")
    first = log.read_bytes()
    assert re.match(rb"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d: ", first)
    assert call(mode("<![CDATA[oN]]>")) == SUCCESS
    assert log.read_bytes().startswith(first), "the open file is not opened again"

    assert call(mode("oFF")) == SUCCESS
    closed = log.read_bytes()
    assert str(log) not in {descriptor_target(agent, fd) for fd in agent.descriptors()}
    assert agent.call("NoSuchMethod").attributes == unknown("NoSuchMethod")
    assert call(mode("off")) == SUCCESS
    assert log.read_bytes() == closed and b"NoSuchMethod" not in closed

    assert call(mode("on")) == SUCCESS
    assert agent.call("Another").attributes == unknown("Another")
    wait_until(lambda: b"Another" in log.read_bytes(), 5, "the log")
    assert not log.read_bytes().startswith(first), "opening it anew empties the file"
    assert agent.log() == "", "nothing of it goes to standard output"
    assert call(mode("off")) == SUCCESS

    log.unlink()
    log.mkdir()
    assert call(mode("on")) == FAILED
    assert agent.stop() == 0


def descriptor_target(agent, fd):
    try:
        return os.readlink(f"/proc/{agent.pid}/fd/{fd}")
    except FileNotFoundError:
        return ""


def test_verbose_log_is_left_alone_while_it_goes_to_the_console(start):
    agent = start()
    for word in ("on", "off", "ON", "yes"):
        assert agent.call("SetVerboseLog", mode(word), uuid="id").outcome == FAILED, word
    assert agent.call("SetVerboseLog", uuid="id").outcome == ("too few parameters", "")
    assert not agent.tree.log_file.exists()
    before = len(agent.log())
    assert agent.get().status == 200
    assert len(agent.log()) > before


def test_log_file_starts_again_when_it_is_full(set_log):
    """Past 20,480,000 bytes the next line lands at the start of an emptied file."""
    agent, call = set_log
    log = agent.tree.log_file
    assert call(mode("on")) == SUCCESS
    body = b"<" + b"x" * 7_000_000
    sizes = []
    for _ in range(2):
        assert agent.post(body).status == 500
        sizes.append(log.stat().st_size)
    assert 14_000_000 < sizes[1] < 15_000_000
    assert agent.post(body).status == 500
    wait_until(lambda: log.stat().st_size < 1_000_000, 5, "the log to be cut")
    assert agent.call("Afterwards").attributes == unknown("Afterwards")
    wait_until(lambda: b"Afterwards" in log.read_bytes(), 5, "the log")
    assert re.match(rb"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d: ", log.read_bytes())
    assert b"x" * 1000 not in log.read_bytes()


@pytest.mark.parametrize("name", ["SetCallServerWithSSL", "SubmitAction", "SaveAction", "GetActionScriptList"])
def test_methods_for_tls_only_are_refused_on_a_plain_connection(agent, name):
    """The protocol is looked at before the identity."""
    refusal = {"type": "method", "name": name, "response": "error", "reason": "invalid encryption protocol"}
    for uuid in (None, "whatever"):
        assert agent.call(name, uuid=uuid).attributes == refusal
    assert ("whatever", "") not in agent.tree.identities()


def test_form_and_bare_body_get_the_same_reply(agent):
    bare = agent.post(envelope("Pong"))
    encoded = agent.post(form(envelope("Pong")), content_type="application/x-www-form-urlencoded")
    assert bare.raw == encoded.raw
    assert parse_answer(bare.body).attributes == unknown("Pong")
