"""Searches under faults: kills at any moment, a full disk, and load."""

import os
import random
import threading
import time

import pytest
from test_search import begin, condition, delete, files_of, folder_of, page, request, summary

from harness import FAILED, PATIENCE, SUCCESS, can_make_worlds, wait_until
from harness.result_files import records, volume_file

EVERY = condition('<Predicate valueName="name" operator="isAnything"/>')
SMALL_DISK = 'mount -t tmpfs -o size=128k small {folder} && exec "$@"'
TOO_MANY_SEARCHES = ("error", "maximum searches in progress")


@pytest.fixture
def top(tmp_path):
    """300 files in 10 folders, with long names, so that there is much to write."""
    for number in range(300):
        folder = tmp_path / "top" / f"d{number % 10}"
        folder.mkdir(parents=True, exist_ok=True)
        (folder / f"{'x' * 200}{number}").touch()
    return tmp_path / "top"


@pytest.fixture
def everything(top):
    return {f"{at}/{name}" for at, folders, files in os.walk(top) for name in folders + files}


def is_whole(results, everything):
    """False for a page that was refused."""
    found = [] if results is None else [hit.get("path") for hit in results]
    assert results is None or (len(found) == len(everything) and set(found) == everything)
    return results is not None


@pytest.mark.long
def test_killed_at_any_moment(start, server, top, everything):
    """Each kill meets six searches, each at a moment of its own."""
    chance, span, whole, server.is_cut_off = random.Random(13), None, 0, True
    agent = start(server=server, verbose=False)
    lives = agent.tree.scaled(84)
    for life in range(lives):
        tokens = [f"{number}T{life}" for number in range(6)]
        begun = time.monotonic()
        for token in tokens:
            assert begin(agent, token, [top], EVERY) == SUCCESS
        if span:
            time.sleep(chance.random() * span)
        else:
            server.wait_calls("SearchResultsSummary", 6)
            span = time.monotonic() - begun
        agent.kill()
        told = {call.element.findtext("Token") for call in server.of("SearchResultsSummary")}
        agent = start(agent.tree, server=server, ports=agent.ports, verbose=False)
        for token in tokens:
            is_there = volume_file(folder_of(agent), token, str(top), "offset.dat").exists()
            assert is_there or token not in told
            assert is_whole(page(agent, token, top, count=10**6), everything) == is_there
            whole += is_there
        assert delete(agent, *tokens) == SUCCESS and not any(folder_of(agent).iterdir())
    assert 6 <= whole < 6 * lives


@pytest.mark.skipif(not can_make_worlds(), reason="needs root and mount namespaces of its own")
def test_a_full_disk(start, server, new_tree, tmp_path, top, everything):
    tree = new_tree()
    (tree.top / "fileSearch").mkdir(exist_ok=True)
    mount = SMALL_DISK.format(folder=tree.top / "fileSearch")
    agent = start(tree, server=server, verbose=False, before=("unshare", "-m", "sh", "-c", mount, "disk"))
    folder = f"/proc/{agent.pid}/root{folder_of(agent)}"
    few = tmp_path / "few"
    few.mkdir()
    (few / "file").touch()
    for number, token in enumerate(("T", "U"), 1):
        assert begin(agent, token, [few, top], EVERY) == SUCCESS
        volumes, _ = summary(server, number)
        statuses = [call.element[0].get("progressStatus") for call in server.of("SearchProgress")[-2:]]
        assert statuses == ["OK", "Error_Write"]
        counted = volumes[str(top)]
        stored = records(volume_file(folder, token, str(top), "dat"))
        assert int(counted["numFilesHit"]) + int(counted["numDirsHit"]) == len(stored) > 100
        assert int(counted["numFiles"]) + int(counted["numDirs"]) == len(everything)
        assert len(page(agent, token, few)) == 1
        found = page(agent, token, top, count=10**6)
        assert found is None or len(found) == len(stored)
        assert delete(agent, token) == SUCCESS and not os.listdir(folder)


class Load:
    """Six clients, each with tokens of its own, begin, read and delete searches at random until told to stop."""

    def __init__(self, agent, server, top, everything, life):
        self.agent, self.server, self.top, self.everything = agent, server, top, everything
        self.begun = {}  # token -> how often it was begun, and whether its files are there; None if that is unknown
        self.stopping = threading.Event()
        self.wrong = []
        self.read_right = 0
        self.calls_before_stop = None  # of a search that is stopped there is a summary too
        self.threads = [threading.Thread(target=self.run, args=(f"{life}{n}",), daemon=True) for n in range(6)]
        for thread in self.threads:
            thread.start()

    def run(self, name):
        chance = random.Random(name)
        tokens = [f"T{name}a", f"T{name}b", f"0{name}"]
        for token in tokens:
            self.begun[token] = (0, False)
        while not self.stopping.is_set() and not self.wrong:
            token = chance.choice(tokens)
            try:
                chance.choice((self.begin, self.read, self.read, self.delete))(token, chance)
            except (OSError, AssertionError) as fault:
                if not self.stopping.is_set():
                    self.wrong.append((token, repr(fault)))

    def has_ended(self, token):
        times, is_there = self.begun[token]
        told = [call.element for call in self.server.calls[: self.calls_before_stop] if call.method == "SearchResultsSummary"]
        volumes = [each.find("Volumes/Volume") for each in told if each.findtext("Token") == token]
        return bool(is_there) and str(times) in [each.get("nxId") for each in volumes]

    def begin(self, token, chance):
        times, is_there = self.begun[token]
        self.begun[token] = (times + 1, None)
        asked = request(token, [self.top], EVERY).replace('nxId="1"', f'nxId="{times + 1}"')
        outcome = self.agent.outcome("SearchFSOs", asked, uuid="id")
        assert outcome == FAILED if is_there else outcome in (SUCCESS, TOO_MANY_SEARCHES)
        self.begun[token] = (times + (outcome != FAILED), True)

    def read(self, token, chance):
        has_ended, is_there = self.has_ended(token), self.begun[token][1]
        first, count = chance.randrange(400), chance.choice((0, 1, 100, 2000))
        results = page(self.agent, token, self.top, first, count)
        assert results is not None or not has_ended
        if results is not None:
            found = [hit.get("path") for hit in results]
            assert is_there and self.everything.issuperset(found) and len(set(found)) == len(found)
            assert len(found) == max(min(count, len(self.everything) - first), 0)
            self.read_right += 1

    def delete(self, token, chance):
        has_ended, (times, _) = self.has_ended(token), self.begun[token]
        self.begun[token] = (times, None)
        outcome = delete(self.agent, token)
        assert outcome == SUCCESS or (outcome == FAILED and not has_ended)
        assert outcome == FAILED or not files_of(self.agent, token)
        self.begun[token] = (times, outcome == FAILED)


@pytest.mark.long
def test_load(start, server, top, everything):
    """The agent is stopped under it time and again; what had ended can be read afterwards."""
    end = time.monotonic() + float(os.environ.get("QDV_LOAD_SECONDS", "8"))
    chance, agent, life = random.Random(14), start(server=server, verbose=False), 0
    while time.monotonic() < end:
        life += 1
        server.calls.clear()
        load = Load(agent, server, top, everything, f"{life}c")
        time.sleep(0.5 + 2 * chance.random())
        wait_until(lambda: load.wrong or load.read_right > 10, "pages to be read")
        load.stopping.set()
        load.calls_before_stop = len(server.calls)
        agent.send_signal(15)
        for thread in load.threads:
            thread.join(PATIENCE)
        assert not load.wrong, load.wrong
        assert agent.wait() == 0
        agent = start(agent.tree, server=server, ports=agent.ports, verbose=False)
        for token in load.begun:
            assert is_whole(page(agent, token, top, count=2000), everything) or not load.has_ended(token), token
        assert delete(agent, *load.begun) == SUCCESS and not any(folder_of(agent).iterdir())
    server.faults.clear()  # calls that a stop cut off
