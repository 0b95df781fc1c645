"""agent.conf as it may be written, beyond the form that the agent itself would write."""

import pytest

from harness import Connection, Port, agent_conf


def bind(port, address="127.0.0.1", extra=""):
    return f'<Bind address="{address}" port="{port.number}"{extra}/>'


@pytest.fixture
def ports():
    held = [Port() for _ in range(3)]
    yield held
    for port in held:
        port.release()


def serves(port):
    try:
        with Connection(port.number) as connection:
            connection.send(b"GET / HTTP/1.0\r\n\r\n")
            return b"Norvalith Agent" in connection.read_to_end()
    except ConnectionRefusedError:
        return False


def test_forms_that_are_read(start, new_tree, ports):
    one, two, three = ports
    loose = f"""
        <!-- the first -->
        {bind(one)} text <Other address="127.0.0.1" port="{three.number}"/>
        <bind address="127.0.0.1" port="{three.number}"/>
        <Group>{bind(three)}</Group>
        <![CDATA[{bind(three)}]]>
        <?pi {bind(three)}?>
        {bind(two, extra=' more="x"')}
    """
    optional = {"proxyHostname": "", "proxyPort": "", "username": "", "password": ""}
    empty = {"returnAddress": "", "returnPortMin": "", "returnPortMax": ""}
    plain = agent_conf([("127.0.0.1", one.number), ("127.0.0.1", two.number)])
    padded = plain + "<!--" + "x" * (-(len(plain) + 7) % 1024) + "-->"
    assert len(padded) % 1024 == 0
    texts = {
        "loose": agent_conf([], bind_xml=loose),
        "optional attributes empty": agent_conf([], server=optional, agent=empty, bind_xml=bind(one) + bind(two)),
        "numbers with text behind": agent_conf(
            [], server={"port": "80x", "sslPort": "x"}, bind_xml=bind(one) + bind(two).replace('"/>', 'x"/>')
        ),
        "whole blocks": padded,
        "AgentInfo before ServerInfo": (
            f'<AgentConfiguration version="1.0"><AgentInfo><BindList>{bind(one)}{bind(two)}</BindList></AgentInfo>'
            '<ServerInfo uri="/x" sslPort="9" port="9" hostname="127.0.0.1"/></AgentConfiguration>'
        ),
        "another encoding": plain.replace("UTF-8", "ISO-8859-1").replace("<Agent", "<!-- ü --><Agent", 1),
    }
    for name, text in texts.items():
        tree = new_tree()
        tree.agent_conf.write_text(text, encoding="iso-8859-1" if "ISO-8859-1" in text else "utf-8")
        agent = start(tree, write_conf=False, binds=0)
        assert [serves(port) for port in ports] == [True, True, False], name
        assert tree.agent_conf.read_text(encoding="iso-8859-1") == text, name
        assert agent.stop() == 0


def test_large_bind_list(start, new_tree):
    """One accepting thread for each pair, and every pair serves."""
    agent = start(binds=40)
    assert all(serves(port) for port in agent.ports)
    assert agent.stop() == 0


def test_nothing_outside_the_tree_is_touched(start):
    """A run and its identity leave exactly the files that they are known to leave."""
    agent = start()

    def files():
        return {str(path.relative_to(agent.tree.top)) for path in agent.tree.top.rglob("*") if path.is_file()}

    before = files()
    assert "conf/uuid.conf" in before
    assert agent.call(uuid="id").uuid == "id"
    assert agent.get("/x").status == 404
    assert agent.stop() == 0
    assert files() == before
