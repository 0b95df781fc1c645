"""Who the agent is: identities given by the server, and the uuid.conf that keeps them."""

import random
import threading
import time
from concurrent.futures import ThreadPoolExecutor

from harness import Connection, envelope, limit, uuid_conf, wait_until
from harness.agent import post_request
from harness.envelope import INVALID_UUID, SUCCESS, parse_answer

OFF = "<VerboseMode>off</VerboseMode>"


def checked(agent, uuid=None, host=None):
    """Calls a method that requires the identity; it does nothing besides."""
    return agent.call("SetVerboseLog", OFF, uuid=uuid, host=host)


def test_first_call_gives_the_identity(start):
    agent = start(flags=())
    tree = agent.tree
    assert tree.identities() == []

    # Nothing to adopt: the calls without an identity leave the agent without one.
    assert agent.call("Ping").attributes.keys() == {"type", "name", "response", "reason"}
    assert agent.call("Ping", uuid="").uuid is None
    for uuid in (None, ""):
        answer = checked(agent, uuid)
        assert (answer.outcome, answer.uuid, answer.children) == (INVALID_UUID, None, [])
    assert tree.identities() == []

    # The envelope's own refusals come before adoption.
    assert agent.call("NoSuchMethod", uuid="early").uuid is None
    assert tree.identities() == []

    answer = checked(agent, "id-1")
    assert (answer.outcome, answer.uuid) == (SUCCESS, "id-1")
    assert tree.identities() == [("id-1", "")]

    for uuid in ("id-2", "ID-1", "id-1 ", "id-", None, ""):
        assert checked(agent, uuid).outcome == INVALID_UUID, uuid
    assert checked(agent, "id-1").outcome == SUCCESS

    # Ping never fails on an identity, tells the agent's own, and changes nothing.
    for uuid in ("id-2", None, "id-1"):
        answer = agent.call("Ping", uuid=uuid)
        assert (answer.outcome, answer.uuid) == (SUCCESS, "id-1")
    answer = agent.call("PingServer", uuid="id-2")
    assert answer.uuid == "id-1"
    assert tree.identities() == [("id-1", "")]


def test_each_target_host_has_an_identity_of_its_own(start):
    agent = start(flags=())
    tree = agent.tree
    assert checked(agent, "a", host="alpha").uuid == "a"
    assert agent.call("Ping").uuid is None
    assert agent.call("Ping", uuid="b", host="beta").uuid == "b"
    assert checked(agent, "own").uuid == "own"
    assert tree.identities() == [("a", "alpha"), ("b", "beta"), ("own", "")]

    for uuid, host, outcome in (
        ("a", "alpha", SUCCESS),
        ("own", "alpha", INVALID_UUID),
        ("a", "beta", INVALID_UUID),
        ("a", None, INVALID_UUID),
        ("own", "", SUCCESS),
        (None, "alpha", INVALID_UUID),
        (None, "gamma", INVALID_UUID),
    ):
        assert checked(agent, uuid, host).outcome == outcome, (uuid, host)
    assert agent.call("Ping", host="gamma").uuid is None
    assert agent.call("Ping", host="alpha").uuid == "a"
    assert checked(agent, "A", host="Alpha").uuid == "A"
    assert tree.identities() == [("a", "alpha"), ("b", "beta"), ("own", ""), ("A", "Alpha")]


def test_identities_survive_a_restart(start):
    agent = start(flags=())
    strange = ['q"<&>\'', " blanks ", "tab\tand\nline", "Grüße €\U0001f4be", "\uef80", "]]>", "x" * 50_000]
    for number, text in enumerate(strange):
        assert checked(agent, text, host=f"{text}-{number}").uuid == text
    expected = [(text, f"{text}-{number}") for number, text in enumerate(strange)]
    assert agent.tree.identities() == expected
    agent.kill()
    agent = start(agent.tree, flags=())
    for uuid, host in expected:
        assert agent.call("Ping", host=host).uuid == uuid
        assert checked(agent, uuid, host).outcome == SUCCESS
        assert checked(agent, uuid + "x", host).outcome == INVALID_UUID
    assert agent.tree.identities() == expected


def test_first_requests_at_once_have_one_winner(start):
    """Among many servers that come first at the same moment one is accepted, the others are refused."""
    agent = start(flags=())
    clients, rounds = 12, 40
    barrier = threading.Barrier(clients)

    def client(number):
        results = []
        with Connection(agent.port) as connection:
            for turn in range(rounds):
                method, params = ("Ping", "") if number % 4 == 0 else ("SetVerboseLog", OFF)
                body = envelope(method, params, request={"uuid": f"{turn}-{number}", "hostTarget": f"host-{turn}"})
                barrier.wait(limit(30))
                connection.send(post_request(body, version="HTTP/1.1"))
                answer = parse_answer(connection.read_reply().body)
                results.append((method, answer.outcome, answer.uuid))
        return results

    with ThreadPoolExecutor(clients) as pool:
        by_client = list(pool.map(client, range(clients)))
    stored = {host: uuid for uuid, host in agent.tree.identities()}
    assert len(stored) == len(agent.tree.identities()) == rounds
    for turn in range(rounds):
        winner = stored[f"host-{turn}"]
        for number, results in enumerate(by_client):
            method, outcome, uuid = results[turn]
            if f"{turn}-{number}" == winner or method == "Ping":
                assert (outcome, uuid) == (SUCCESS, winner), (turn, number)
            else:
                assert (outcome, uuid) == (INVALID_UUID, None), (turn, number)
    assert len({uuid.split("-")[1] for uuid in stored.values()}) > 1, "the clients never raced"


def test_identity_that_cannot_be_written_is_refused(start):
    agent = start(flags=())
    before = agent.tree.uuid_conf.read_bytes()
    obstacle = agent.tree.conf / "uuid.conf.tmp"
    (obstacle / "x").mkdir(parents=True)
    answer = checked(agent, "id")
    assert (answer.outcome, answer.uuid) == (INVALID_UUID, None)
    answer = agent.call("Ping", uuid="other", host="h")
    assert (answer.outcome, answer.uuid) == (INVALID_UUID, None)
    assert agent.tree.uuid_conf.read_bytes() == before


def test_identity_file_is_replaced_and_nothing_is_left_over(start, new_tree):
    tree = new_tree()
    leftover = tree.conf / "uuid.conf.tmp"
    agent = start(tree, flags=(), umask=0)
    assert tree.identities() == []
    assert tree.uuid_conf.stat().st_mode & 0o777 == 0o660
    for number in range(2):
        leftover.write_text("x" * 100_000)
        assert checked(agent, f"id-{number}", host=f"host-{number}").outcome == SUCCESS
        assert not leftover.exists()
    assert tree.identities() == [("id-0", "host-0"), ("id-1", "host-1")]
    assert sorted(path.name for path in tree.conf.iterdir() if "uuid" in path.name) == ["uuid.conf"]


# ---- what a start makes of uuid.conf


def test_identity_files_of_earlier_versions_and_none(start, new_tree):
    """(text of the file, its reading, whether the agent complains)"""
    one = "<AgentUuidConfiguration version='1.0'><Uuid>{}</Uuid></AgentUuidConfiguration>"
    long_file = uuid_conf([("long", "")])
    exact = long_file + "<!--" + "x" * (1024 - len(long_file) - 7) + "-->"
    assert len(exact) == 1024
    cases = {
        "1.0": (one.format("old"), {"": "old"}, False),
        "1.0, empty": (one.format(""), {"": None}, False),
        "1.0, two": (one.format("a").replace("<Uuid>", "<Uuid>b</Uuid><Uuid>"), {"": None}, True),
        "1.1": (uuid_conf([("own", ""), ("a", "alpha")]), {"": "own", "alpha": "a", "beta": None}, False),
        "1.1, empty": (uuid_conf([]), {"": None}, False),
        "1.1, first one counts": (uuid_conf([("x", "h"), ("y", "h")]), {"h": "x"}, False),
        "1.1, other elements": (
            uuid_conf([("own", "")]).replace("<Uuids>", "<Uuids> <!-- --> <Other value='z'/>"), {"": "own"}, False,
        ),
        "1.1, no Uuids": ("<AgentUuidConfiguration version='1.1'/>", {"": None}, True),
        "1.1, two Uuids": (uuid_conf([("a", "")]).replace("<Uuids>", "<Uuids/><Uuids>"), {"": None}, True),
        "2.0": (uuid_conf([("own", "")], version="2.0"), {"": None}, True),
        "no version": (uuid_conf([("own", "")]).replace(' version="1.1"', ""), {"": None}, True),
        "other root": (uuid_conf([("own", "")]).replace("Configuration", "Config"), {"": None}, True),
        "empty file": ("", {"": None}, True),
        "rubbish": ("\0\1\2 rubbish", {"": None}, True),
        "document type": (
            '<!DOCTYPE x [<!ENTITY e "own">]>' + uuid_conf([("E", "")]).replace('"E"', '"&e;"'), {"": None}, True,
        ),
        "1024 bytes": (exact, {"": "long"}, False),
        "2048 bytes": (exact + "<!--" + "x" * 1017 + "-->", {"": "long"}, False),
    }  # fmt: skip

    def check(name):
        text, identities, complains = cases[name]
        tree = new_tree()
        tree.uuid_conf.write_text(text)
        agent = start(tree)
        complaint = "Agent: Failed to parse agent guid configuration file\n" in agent.log()
        assert complaint == complains, name
        for host, uuid in identities.items():
            assert agent.call("Ping", host=host).uuid == uuid, (name, host)
        assert tree.uuid_conf.read_text() == text, f"{name}: a file is not rewritten before there is something new"
        assert agent.call("Ping", uuid="new", host="new host").uuid == "new"
        kept = [(uuid, host) for host, uuid in identities.items() if uuid]
        if not name.endswith("counts"):
            assert tree.identities() == [*kept, ("new", "new host")], name

    with ThreadPoolExecutor(4) as pool:
        list(pool.map(check, cases))


def test_identity_file_that_cannot_be_read(start, new_tree):
    """A directory in its place can be opened and not read; a dangling link cannot be opened at all."""
    tree = new_tree()
    tree.uuid_conf.mkdir()
    agent = start(tree)
    assert agent.call("Ping").uuid is None

    tree = new_tree()
    tree.uuid_conf.symlink_to(tree.root / "nowhere")
    agent = start(tree)
    assert "Agent: Failed to find agent guid configuration file\n" in agent.log()
    assert tree.identities() == []
    assert agent.call("Ping", uuid="id").uuid == "id"
    assert tree.identities() == [("id", "")]


def test_delete_config(start, new_tree):
    """The file goes, the identities stay for this run and come back with the next write."""
    tree = new_tree()
    tree.uuid_conf.write_text(uuid_conf([("own", ""), ("a", "alpha")]))
    agent = start(tree, flags=("-deleteConfig",))
    assert not tree.uuid_conf.exists()
    assert agent.call("Ping").uuid == "own"
    assert checked(agent, "other").outcome == INVALID_UUID
    assert checked(agent, "a", host="alpha").outcome == SUCCESS
    assert not tree.uuid_conf.exists()
    assert agent.call("Ping", uuid="b", host="beta").uuid == "b"
    assert tree.identities() == [("own", ""), ("a", "alpha"), ("b", "beta")]
    assert tree.agent_conf.exists()

    tree = new_tree()
    tree.uuid_conf.write_text("rubbish")
    agent = start(tree, flags=("-verbose", "-deleteConfig"))
    assert not tree.uuid_conf.exists()

    tree = new_tree()
    agent = start(tree, flags=("-deleteConfig", "-verbose"))
    assert "Agent: Failed to find agent guid configuration file\n" in agent.log()
    assert tree.identities() == []
    agent.kill()
    agent = start(tree, flags=("-deleteConfig",))
    assert not tree.uuid_conf.exists()


def test_crash_during_writes_loses_nothing_that_was_granted(start, new_tree):
    """kill -9 within a storm of writes leaves a whole file that holds every identity already answered."""
    tree = new_tree()
    seed = random.Random(20)
    for turn in range(15):
        agent = start(tree, flags=())
        granted = []

        def storm(client):
            try:
                with Connection(agent.port) as connection:
                    for number in range(100_000):
                        host = f"{turn}-{client}-{number}"
                        body = envelope(request={"uuid": "id of " + host, "hostTarget": host})
                        connection.send(post_request(body, version="HTTP/1.1"))
                        reply = connection.read_reply()
                        if reply is None:
                            return
                        granted.append((parse_answer(reply.body).uuid, host))
            except (OSError, AssertionError):
                return  # cut off by the crash

        threads = [threading.Thread(target=storm, args=(client,)) for client in range(3)]
        for thread in threads:
            thread.start()
        wait_until(lambda: granted, 10, "the first identity")
        time.sleep(seed.uniform(0, 0.1))
        agent.kill()
        for thread in threads:
            thread.join()
        assert tree.uuid_conf.exists(), "a crash has lost the identities"
        stored = tree.identities()
        assert all(uuid == "id of " + host for uuid, host in stored)
        missing = set(granted) - set(stored)
        assert not missing, missing
    agent = start(tree, flags=())
    for uuid, host in seed.sample(stored, 5):
        assert agent.call("Ping", host=host).uuid == uuid
