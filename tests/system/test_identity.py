"""Who the agent is: identities given by the server, and the uuid.conf that keeps them."""

import random
import resource
import threading
import time
from concurrent.futures import ThreadPoolExecutor

from harness import INVALID_UUID, PATIENCE, SUCCESS, Connection, envelope, parse_answer, post_request, uuid_conf
from harness import wait_until

OFF = "<VerboseMode>off</VerboseMode>"
REFUSED = (INVALID_UUID, None)


def checked(agent, uuid=None, host=None):
    """Calls a method that requires the identity; it does nothing besides. Gives the outcome and the identity."""
    answer = agent.call("SetVerboseLog", OFF, uuid=uuid, host=host)
    assert not answer.children
    return answer.outcome, answer.uuid


def ping(agent, uuid=None, host=None):
    """Never fails on an identity; gives the agent's own."""
    answer = agent.call(uuid=uuid, host=host)
    assert answer.outcome == SUCCESS
    return answer.uuid


def test_first_call_gives_the_identity_of_each_target_host(start):
    agent = start(verbose=False)
    # Without an identity to adopt, and with one in a request that fails for another reason, nothing is adopted.
    assert agent.call("Ping").attributes.keys() == {"type", "name", "response", "reason"}
    assert ping(agent, "") is None
    assert agent.call("NoSuchMethod", uuid="early").uuid is None
    assert checked(agent) == checked(agent, "") == REFUSED
    assert agent.tree.identities() == []

    given = []
    for uuid, host in (("id-1", ""), ("a", "alpha"), ("b", "beta"), ("A", "Alpha")):
        assert ping(agent, host=host) is None
        assert checked(agent, uuid, host) == (SUCCESS, uuid)
        given.append((uuid, host))
        assert agent.tree.identities() == given
    for uuid in ("id-2", "ID-1", "id-1 ", "id-", None, ""):
        assert checked(agent, uuid) == REFUSED, uuid
    for uuid, host in (("id-1", "alpha"), ("a", "beta"), ("a", None), (None, "alpha"), (None, "gamma")):
        assert checked(agent, uuid, host) == REFUSED, (uuid, host)
    for uuid, host in given:
        assert checked(agent, uuid, host) == (SUCCESS, uuid)
        assert [ping(agent, other, host) for other in ("id-2", None, uuid)] == [uuid] * 3
    assert agent.call("PingServer", uuid="id-2").uuid == "id-1"
    assert ping(agent, host="gamma") is None
    assert agent.tree.identities() == given


def test_identities_survive_a_restart(start):
    agent = start(verbose=False)
    strange = ['q"<&>\'', " blanks ", "tab\tand\nline", "Grüße €\U0001f4be", "\uef80", "]]>", "x" * 50_000]
    expected = [(text, f"{text}-{number}") for number, text in enumerate(strange)]
    for uuid, host in expected:
        assert checked(agent, uuid, host) == (SUCCESS, uuid)
    assert agent.tree.identities() == expected
    agent.kill()
    agent = start(agent.tree, verbose=False)
    for uuid, host in expected:
        assert ping(agent, host=host) == uuid
        assert (checked(agent, uuid, host), checked(agent, uuid + "x", host)) == ((SUCCESS, uuid), REFUSED)
    assert agent.tree.identities() == expected


def test_first_requests_at_once_have_one_winner(start):
    """Among many servers that come first at the same moment one is accepted, the others are refused."""
    agent = start(verbose=False)
    clients, rounds = 12, 40
    barrier = threading.Barrier(clients)

    def client(number):
        results = []
        with Connection(agent.port) as connection:
            for turn in range(rounds):
                method, params = ("Ping", "") if number % 4 == 0 else ("SetVerboseLog", OFF)
                body = envelope(method, params, request={"uuid": f"{turn}-{number}", "hostTarget": f"host-{turn}"})
                barrier.wait(PATIENCE)
                answer = parse_answer(connection.ask(post_request(body, version="HTTP/1.1")).body)
                results.append((method, answer.outcome, answer.uuid))
        return results

    with ThreadPoolExecutor(clients) as pool:
        by_client = list(pool.map(client, range(clients)))
    stored = {host: uuid for uuid, host in agent.tree.identities()}
    assert len(stored) == len(agent.tree.identities()) == rounds
    for turn in range(rounds):
        winner = stored[f"host-{turn}"]
        for number, results in enumerate(by_client):
            method, *result = results[turn]
            accepted = method == "Ping" or f"{turn}-{number}" == winner
            assert result == ([SUCCESS, winner] if accepted else [INVALID_UUID, None]), (turn, number)


def test_identity_file_is_replaced_whole_or_the_request_refused(start):
    agent = start(verbose=False, umask=0)
    tree = agent.tree
    leftover = tree.conf / "uuid.conf.tmp"
    assert tree.identities() == []
    assert tree.uuid_conf.stat().st_mode & 0o777 == 0o660
    for number in range(2):
        leftover.write_text("x" * 100_000)
        assert checked(agent, f"id-{number}", f"host-{number}") == (SUCCESS, f"id-{number}")
        assert [path.name for path in tree.conf.iterdir() if "uuid" in path.name] == ["uuid.conf"]
    before = tree.uuid_conf.read_bytes()
    (leftover / "x").mkdir(parents=True)
    assert checked(agent, "id") == REFUSED
    answer = agent.call(uuid="other", host="h")
    assert (answer.outcome, answer.uuid) == REFUSED
    assert tree.uuid_conf.read_bytes() == before
    # A limit for files stands in for a disk that is full after so many bytes.
    (leftover / "x").rmdir()
    leftover.rmdir()
    for limit in (0, 1, len(before)):
        resource.prlimit(agent.pid, resource.RLIMIT_FSIZE, (limit, resource.RLIM_INFINITY))
        assert checked(agent, "full", str(limit)) == REFUSED
        assert tree.uuid_conf.read_bytes() == before and not leftover.exists()
    resource.prlimit(agent.pid, resource.RLIMIT_FSIZE, (resource.RLIM_INFINITY,) * 2)
    # All are known for the rest of this run, and get to the file with the next identity that can be written.
    assert ping(agent) == "id" and checked(agent, "other", "h") == (SUCCESS, "other")
    assert ping(agent, "last", "last") == "last"
    assert {("id", ""), ("other", "h"), ("last", "last")} <= set(tree.identities())


def test_invented_hosts_leave_room_for_the_own_identity(start, new_tree):
    tree = new_tree()
    tree.uuid_conf.write_text(uuid_conf([(f"id-{number}", f"host-{number}") for number in range(1000)]))
    agent = start(tree, verbose=False)
    assert ping(agent, "new", "invented") is None
    assert checked(agent, "new", "invented") == REFUSED
    assert checked(agent, "own") == (SUCCESS, "own")
    assert checked(agent, "id-7", "host-7") == (SUCCESS, "id-7")
    assert set(tree.identities()) >= {("own", ""), ("id-999", "host-999")} and len(tree.identities()) == 1001


# ---- what a start makes of uuid.conf


def test_identity_files_of_all_kinds(start, new_tree):
    one = "<AgentUuidConfiguration version='1.0'>{}</AgentUuidConfiguration>".format
    own = uuid_conf([("own", "")])
    whole_block = own + "<!--" + "x" * (1024 - len(own) - 7) + "-->"
    none = {"": None}
    complains = True
    cases = [
        (one("<Uuid>old</Uuid>"), {"": "old"}), (one("<Uuid/>"), none), (one("<Uuid>b</Uuid><Uuid>a</Uuid>"), none, complains),
        (uuid_conf([("own", ""), ("a", "alpha")]), {"": "own", "alpha": "a", "beta": None}),
        (uuid_conf([]), none), (uuid_conf([("x", "h"), ("y", "h")]), {"h": "x"}),
        (own.replace("<Uuids>", "<Uuids> <!-- --> <Other value='z'/><Uuid hostTarget='h'/>"), {"": "own", "h": None}),
        (one("<x><Uuid hostTarget='h'>old</Uuid></x>"), {"": "old", "h": None}), (one("<Uuid><x>old</x></Uuid>"), none),
        *((text, none, complains) for text in (
            "<AgentUuidConfiguration version='1.1'/>", own.replace("<Uuids>", "<Uuids/><Uuids>"),
            uuid_conf([("own", "")], version="2.0"), own.replace(' version="1.1"', ""),
            own.replace("Configuration", "Config"), "", "\0\1\2 rubbish",
        )),
        ('<!DOCTYPE x [<!ENTITY e "own">]>' + own.replace('"own"', '"&e;"'), none, complains),
        (whole_block, {"": "own"}), (whole_block + "<!--" + "x" * 1017 + "-->", {"": "own"}),
    ]  # fmt: skip

    def check(case):
        text, identities, *complaint = case
        tree = new_tree()
        tree.uuid_conf.write_text(text)
        agent = start(tree)
        assert ("Agent: Failed to parse agent guid configuration file\n" in agent.log()) == bool(complaint), text
        assert {host: ping(agent, host=host) for host in identities} == identities, text
        assert tree.uuid_conf.read_text() == text, "a file is not rewritten before there is something new"
        assert ping(agent, "new", "new host") == "new"
        kept = {(uuid, host) for host, uuid in identities.items() if uuid}
        assert kept | {("new", "new host")} <= set(tree.identities()), text

    with ThreadPoolExecutor(4) as pool:
        list(pool.map(check, cases))


def test_identity_file_that_cannot_be_had(start, new_tree):
    """A directory can be opened and not read, a dangling link not opened, and beside an obstacle none written."""
    cannot_find = "Agent: Failed to find agent guid configuration file\n"
    tree = new_tree()
    tree.uuid_conf.mkdir()
    assert ping(start(tree)) is None
    tree = new_tree()
    tree.uuid_conf.symlink_to(tree.root / "nowhere")
    agent = start(tree)
    assert "/uuid.conf: System error 2 No such file or directory\n" in agent.log()
    assert cannot_find in agent.log() and tree.identities() == []
    assert ping(agent, "id") == "id" and tree.identities() == [("id", "")]
    tree = new_tree()
    (tree.conf / "uuid.conf.tmp" / "x").mkdir(parents=True)
    log = start(tree).log()
    assert cannot_find in log and "Agent: Failed to write default agent guid configuration file\n" in log


def test_delete_config(start, new_tree):
    """The file goes, the identities stay for this run and come back with the next write."""
    tree = new_tree()
    tree.uuid_conf.write_text(uuid_conf([("own", ""), ("a", "alpha")]))
    agent = start(tree, verbose=False, flags=("-deleteConfig",))
    assert (ping(agent), checked(agent, "other"), checked(agent, "a", "alpha")) == ("own", REFUSED, (SUCCESS, "a"))
    assert not tree.uuid_conf.exists() and tree.agent_conf.exists()
    assert ping(agent, "b", "beta") == "b"
    assert tree.identities() == [("own", ""), ("a", "alpha"), ("b", "beta")]
    for text in ("rubbish", None):
        tree = new_tree()
        if text:
            tree.uuid_conf.write_text(text)
        agent = start(tree, flags=("-deleteConfig",))
        assert ("Agent: Failed to find agent guid configuration file\n" in agent.log()) == (text is None)
        assert tree.uuid_conf.exists() == (text is None)


def test_crash_during_writes_loses_nothing_that_was_granted(start, new_tree):
    """kill -9 within a storm of writes leaves a whole file that holds every identity already answered."""
    tree = new_tree()
    seed = random.Random(20)
    for turn in range(15):
        agent = start(tree, verbose=False)
        granted = []

        def storm(client):
            try:
                with Connection(agent.port) as connection:
                    for number in range(100_000):
                        host = f"{turn}-{client}-{number}"
                        body = envelope(request={"uuid": "id of " + host, "hostTarget": host})
                        reply = connection.ask(post_request(body, version="HTTP/1.1"))
                        if reply is None:
                            return
                        granted.append((parse_answer(reply.body).uuid, host))
            except (OSError, AssertionError):
                return  # cut off by the crash

        with ThreadPoolExecutor(3) as pool:
            pool.map(storm, range(3))
            wait_until(lambda: granted, "the first identity")
            time.sleep(seed.uniform(0, 0.1))
            agent.kill()
        stored = tree.identities()
        assert all(uuid == "id of " + host for uuid, host in stored)
        assert not set(granted) - set(stored)
    agent = start(tree, verbose=False)
    for uuid, host in seed.sample(stored, 5):
        assert ping(agent, host=host) == uuid
