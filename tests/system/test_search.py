"""Searches from outside: their whole life on the wire and in fileSearch/."""

import os
import signal
import time
import xml.etree.ElementTree as ET
from datetime import datetime, timedelta, timezone
from xml.sax.saxutils import quoteattr

import pytest

from harness import FAILED, SUCCESS, to_bytes, to_text, to_xml, wait_until
from harness.result_files import expiry, offsets, records, volume_file
from harness.server import close_at_once, drip, status

BIG = '<Predicate valueName="size" operator="greaterThan" operand1="99"/>'
LINES = ("numFiles", "numDirs", "numFilesHit", "numDirsHit", "sizeHit")


def condition(*predicates, op="and"):
    return f'<Condition logicalOperator="{op}">{"".join(predicates)}</Condition>'


def comparison(name, value, operator="equal"):
    return f'<Predicate valueName="{name}" operator="{operator}" operand1={quoteattr(value)}/>'


def request(token, volumes, criteria=None):
    """`volumes` are paths; the server's id of each is its place, from 1 on."""
    names = "".join(f'<Volume nxId="{at}" name={quoteattr(to_text(os.fsencode(path)))}/>' for at, path in enumerate(volumes, 1))
    criteria = condition(BIG) if criteria is None else criteria
    return f"{criteria}<Token>{token}</Token><AccountID>7</AccountID><Volumes>{names}</Volumes>"


def begin(agent, token, volumes, criteria=None, host=None):
    return agent.outcome("SearchFSOs", request(token, volumes, criteria), uuid="id", host=host)


def page(agent, token, volume, start=None, count=None, host=None):
    """The SearchResults element, or None if the page is refused."""
    more = "".join(f"<{name}>{value}</{name}>" for name, value in (("StartIndex", start), ("NumResults", count)) if value is not None)
    text = f"<Token>{token}</Token><Volume>{to_xml(os.fsencode(volume))}</Volume>{more}"
    answer = agent.call("GetFSOSearchResults", text, uuid="id", host=host)
    if answer.outcome == FAILED and not answer.children:
        return None
    assert answer.outcome == SUCCESS
    (results,) = answer.children
    return results


def paths(results):
    return [to_bytes(hit.get("path")) for hit in results]


def delete(agent, *tokens):
    return agent.outcome("DeleteSearches", "".join(f"<Token>{token}</Token>" for token in tokens), uuid="id")


def summary(server, count=1):
    """Volumes by name and failures of the last summary."""
    element = server.wait_calls("SearchResultsSummary", count)[count - 1].element
    volumes = {each.get("name"): each.attrib for each in element.find("Volumes")}
    return volumes, {each.get("name"): each.get("type") for each in element.findall("AuditFailedItems/FailedObject")}


def folder_of(agent):
    return agent.tree.program.parent.parent / "fileSearch"


def files_of(agent, token):
    return sorted(path.name for path in folder_of(agent).glob(f"{token}.*"))


@pytest.fixture
def top(tmp_path):
    """420 files in 15 folders, of 0 to 419 bytes."""
    root = tmp_path / "top"
    for number in range(420):
        folder = root / f"a{number % 3}" / f"b{number % 4}"
        folder.mkdir(parents=True, exist_ok=True)
        (folder / f"f{number}.log").write_bytes(b"x" * number)
    return root


def test_a_whole_life(start, server, top):
    agent = start(server=server, verbose=False)
    inner, none, odd = top / "a1", top / "none", os.fsencode(top) + b"/a0/\xff\x01 <&RECORD"
    os.mkdir(odd)
    (top / "a0" / "link").symlink_to("x" * 150)
    (top / "a2" / "dangling").symlink_to("nowhere")
    open(odd + b"/RECORDRECORD", "wb").write(b"y" * 100)
    with server.holding():
        assert begin(agent, "T.1", [top, none, inner, odd]) == SUCCESS
        server.wait_calls("SearchProgress")
        # It is at work: no page, no second one, no deleting.
        assert page(agent, "T.1", top) is None and begin(agent, "T.1", [top]) == FAILED
        assert delete(agent, "T.1", "other") == FAILED and files_of(agent, "T.1")
    volumes, failures = summary(server)
    told = {call.element[0].get("nxId"): call.element[0].attrib for call in server.of("SearchProgress")}
    assert all(each["token"] == "T.1" for each in told.values()) and len(server.of("SearchProgress")) == 4
    assert told["2"]["progressStatus"] == "Error_Access" and "filesProcessed" not in told["2"]
    assert told["3"].items() >= {"progressStatus": "OK", "filesProcessed": "140", "dirsProcessed": "4"}.items()
    # A link that leads nowhere has no file system.
    assert failures == {
        str(none): "StorageVolume", str(top / "a0" / "link"): "FSO", str(top / "a2" / "dangling"): "FSO",
    }  # fmt: skip
    assert [volumes[str(top)][name] for name in LINES[:4]] == ["421", "16", "321", "16"]
    assert not any(name.endswith("Hit") for name in volumes[str(none)])

    for volume, name in ((top, str(top)), (inner, str(inner)), (odd, to_text(odd))):
        stored = records(volume_file(folder_of(agent), "T.1", os.fsencode(volume), "dat"))
        places = offsets(volume_file(folder_of(agent), "T.1", os.fsencode(volume), "offset.dat"))
        hits = int(volumes[name]["numFilesHit"]) + int(volumes[name].get("numDirsHit", 0))
        assert len(stored) == len(places) == hits
        whole = page(agent, "T.1", volume, count=1000)
        assert [hit.attrib for hit in whole] == [ET.fromstring(data).attrib for data in stored]
        assert sum(int(hit.get("size")) for hit in whole if not hit.get("isdir")) == int(volumes[name]["sizeHit"])
        # The same at every read, wherever a page begins.
        for first, count in ((0, 7), (100, 1), (max(hits - 2, 0), 100), (hits, 5), (0, 0), ("0x10", None)):
            at = int(str(first), 0)
            assert paths(page(agent, "T.1", volume, first, count)) == paths(whole)[at : at + (100 if count is None else count)]
    assert whole.attrib == {"token": "T.1", "volumeName": to_text(odd), "startIndex": "0", "numResults": "1000"}
    assert paths(whole) == [odd + b"/RECORDRECORD"]
    walked = {os.path.join(at, name) for at, folders, names in os.walk(top) for name in folders + names}
    hits = {path for path in map(os.fsencode, walked) if os.lstat(path).st_size > 99}
    assert {os.fsencode(str(top / "a0" / "link"))} == hits - set(paths(page(agent, "T.1", top, count=10**30)))
    assert page(agent, "T.1", none) is None and page(agent, "T.1", top / "a0") is None and page(agent, "T", top) is None

    # Another agent on the same files.
    before = paths(page(agent, "T.1", top))
    agent.stop()
    agent = start(agent.tree, server=server, ports=agent.ports, verbose=False)
    assert begin(agent, "T.1", [top]) == FAILED, "the token has files"
    assert paths(page(agent, "T.1", top)) == before
    assert delete(agent, "T.1") == SUCCESS and not files_of(agent, "T.1") and page(agent, "T.1", top) is None
    assert begin(agent, "T.1", [top]) == SUCCESS
    summary(server, 2)
    assert delete(agent) == SUCCESS and len(files_of(agent, "T.1")) == 3
    assert delete(agent, "x", "T") == SUCCESS and not files_of(agent, "T.1"), "the part before the first dot will do"


def test_directories_are_searched_from_below(start, server, top):
    """Their sizes are those of all below them, and no byte of a hit counts twice."""
    agent = start(server=server, verbose=False)
    every = sum(range(420))
    inner = sum(number for number in range(420) if number % 3 == 1)
    cases = {
        condition(comparison("isdir", "true")): every,
        condition(comparison("isdir", "true"), BIG, op="or"): every,
        condition(comparison("isdir", "true"), comparison("name", "a1")): inner,
        condition(comparison("name", "a1"), comparison("isdir", "true"), comparison("name", "b", "beginsWith"), op="or"): every,
        condition(comparison("isdir", "false")): every,
        condition(comparison("isdir", "true"), comparison("size", "nothing")): None,
    }
    for number, (criteria, size) in enumerate(cases.items(), 1):
        assert begin(agent, f"T{number}", [top], criteria) == SUCCESS
        volume = summary(server, number)[0][str(top)]
        assert volume.get("sizeHit") == (None if size is None else str(size)), criteria
    sizes = {hit.get("name"): hit.get("sizeRecursive") for hit in page(agent, "T3", top)}
    assert sizes == {"a1": str(inner)}


def test_what_is_refused(start, top):
    agent = start(verbose=False)
    good = request("T", [top])
    for bad in ("../x", "a/b", "..", "/etc/passwd", ""):
        assert begin(agent, bad, [top]) == FAILED and page(agent, bad, top) is None and delete(agent, bad) == FAILED, bad
    parts = {
        "<Token>T</Token>": "<Token/>", "<AccountID>7</AccountID>": "<AccountID></AccountID>", "<Volumes>": "<Volume>",
        '<Condition logicalOperator="and">': '<Condition logicalOperator="and"><Predicate valueName="x" operator="?"/>',
    }  # fmt: skip
    for part, instead in parts.items():
        broken = good.replace(part, instead).replace("</Volumes>", "</Volume>" if instead == "<Volume>" else "</Volumes>")
        assert broken != good and agent.outcome("SearchFSOs", broken, uuid="id") == FAILED, instead
    assert agent.outcome("SearchFSOs", good, uuid="id", host="h/1") == FAILED
    assert not any(folder_of(agent).iterdir())
    two = good + condition(comparison("name", "nothing"))
    assert agent.outcome("SearchFSOs", two.replace("<Volumes>", "<Volumes><Other/>"), uuid="id") == SUCCESS
    wait_until(lambda: page(agent, "T", top, count=1) is not None, "the search to end")
    assert agent.outcome("GetFSOSearchResults", f"<Token>T</Token><Volume>{top}</Volume><NumResults/>", uuid="id") == FAILED


def test_on_behalf_of_a_host(start, server, top):
    agent = start(server=server, verbose=False)
    assert begin(agent, "T", [top], host="h1") == SUCCESS
    summary(server)
    assert {call.element[0].get("token") for call in server.of("SearchProgress")} == {"T"}
    assert server.of("SearchResultsSummary")[0].element.findtext("Token") == "T"
    assert len(files_of(agent, "T_h1")) == 3 and not files_of(agent, "T")
    assert page(agent, "T", top) is None and len(page(agent, "T", top, host="h1")) == 100
    assert agent.outcome("DeleteSearches", "<Token>T</Token>", uuid="id", host="h1") == SUCCESS
    assert not files_of(agent, "T_h1")


def test_six_at_once(start, server, top):
    agent = start(server=server, verbose=False)
    with server.holding():
        for number in range(1, 6):
            assert begin(agent, f"T{number}", [top]) == SUCCESS
        server.wait_calls("SearchProgress", 5)
        answer = agent.call("SearchFSOs", request("T6", [top]), uuid="id")
        assert answer.outcome == ("error", "maximum searches in progress")
        assert begin(agent, "0urgent", [top]) == SUCCESS
        server.wait_calls("SearchProgress", 6)
        assert agent.outcome("SearchFSOs", request("0other", [top]), uuid="id") == ("error", "maximum searches in progress")
    server.wait_calls("SearchResultsSummary", 6)
    assert len(page(agent, "0urgent", top, count=9)) == 9


def test_a_server_that_does_not_listen(start, server, top):
    agent = start(server=server, verbose=False)
    server.misbehave(close_at_once, status(500), drip)
    assert begin(agent, "T", [top, top / "a1"]) == SUCCESS
    summary(server)
    server.down()
    assert begin(agent, "U", [top]) == SUCCESS
    wait_until(lambda: page(agent, "U", top) is not None, "the search to end")
    assert len(page(agent, "T", top)) == len(page(agent, "U", top)) == 100
    server.up()


def test_stopped_and_killed(start, server, tmp_path):
    """What was whole can be read afterwards, and nothing else; all can be deleted."""
    for number in range(50):
        folder = tmp_path / "top" / f"d{number}"
        folder.mkdir(parents=True)
        for name in range(400):
            (folder / f"f{name}").touch()
    top, every = tmp_path / "top", condition('<Predicate valueName="name" operator="isAnything"/>')
    for end in (signal.SIGTERM, signal.SIGKILL):
        agent, server.is_cut_off = start(server=server, verbose=False), end == signal.SIGKILL
        tokens = [f"T{number}" for number in range(5)]
        for token in tokens:
            assert begin(agent, token, [top], every) == SUCCESS
        agent.kill() if end == signal.SIGKILL else agent.stop()
        again = start(agent.tree, server=server, ports=agent.ports, verbose=False)
        for token in tokens:
            is_whole = volume_file(folder_of(agent), token, str(top), "offset.dat").exists()
            last = page(again, token, top, 20_049)
            assert len(last) == 1 if is_whole else last is None
            assert delete(again, token) == SUCCESS and not files_of(again, token)
        again.stop()


def test_old_results_go(start, server, top):
    agent = start(server=server, verbose=False)
    for number, token in enumerate(("old", "recent", "damaged", "unread"), 1):
        assert begin(agent, token, [top]) == SUCCESS
        summary(server, number)
    agent.stop()
    folder = folder_of(agent)
    now = datetime.now(timezone.utc).replace(tzinfo=None)
    for token, age in (("old", timedelta(days=4, minutes=1)), ("recent", timedelta(days=3, hours=23)), ("unread", timedelta(days=5))):
        text = (now - age).strftime("%Y-%m-%d %H:%M:%S").encode()
        with open(folder / f"{token}._expire_.dat", "r+b") as file:
            file.seek(1024)
            file.write(text)
    (folder / "damaged._expire_.dat").write_bytes(b"")
    long_ago = time.time() - 5 * 86400
    os.utime(folder / "damaged._expire_.dat", (long_ago, long_ago))
    (folder / "stray.dat").touch()
    (folder / "old.L2E=.offset.dat.new").touch()
    agent = start(agent.tree, server=server, ports=agent.ports, verbose=False)
    wait_until(lambda: len(list(folder.iterdir())) < 5, "the first look at the files")
    assert sorted(path.name.partition(".")[0] for path in folder.iterdir()) == ["recent"] * 3 + ["stray"]
    assert len(page(agent, "recent", top)) == 100
    assert abs(expiry(folder / "recent._expire_.dat") - now) < timedelta(minutes=30), "reading keeps it for as long again"
