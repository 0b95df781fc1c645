"""Each method and each call happens as docs/protocol.md shows it.

An xml block of that page is one exchange: a Method and its Response. Those of its part "Methods" are sent in their order to
an agent on a made-up machine; those of "Calls of the agent" are what it calls meanwhile, and how it is answered. Compared are
elements, their order and texts, and names and values of attributes, but for

- values that this machine decides, of which only the names are compared: BY_NAME, and sizes of directories, with which
  those that lie deeper are counted;
- what is "..." on the page;
- the user and the password of the page, in place of which stand those of a user made for the test.
"""

import os
import re
import xml.etree.ElementTree as ET
from calendar import timegm
from pathlib import Path
from tempfile import TemporaryDirectory

import pytest

from harness import Drive, Mount, Partition, World, anonymous_tls, can_make_worlds, envelope
from test_actions import User

REPOSITORY = Path(__file__).resolve().parents[2]
METHODS, CALLS = (REPOSITORY / "docs/protocol.md").read_text().partition("## Methods\n")[2].split("## Calls of the agent\n")
LONG_AGO = timegm((2025, 3, 14, 7, 57, 22))
BY_NAME = {
    "OS": {"name"}, "Machine": {"name", "domain"},
    "StorageVolume": {"totalBytes", "usedBytes", "totalInodes", "usedInodes"},
}  # fmt: skip
# What is asked next needs the end of what these began.
ENDS_WITH = {
    "GetStorageSystem": "GetStorageSystemResults", "GetFSOBatchStats": "FSOStats", "SearchFSOs": "SearchResultsSummary",
}  # fmt: skip

pytestmark = pytest.mark.skipif(not can_make_worlds(), reason="needs root, and overlays in mount namespaces of its own")


def exchanges(part):
    """Pairs of a Method and its Response, in their order."""
    blocks = re.findall(r"^```xml\n(.*?)^```$", part, re.M | re.S)
    assert blocks
    return [tuple(ET.fromstring(f"<block>{block}</block>")) for block in blocks]


def names_in_table(part):
    """The names in the first column, each with the text of the last one."""
    rows = re.findall(r"^\| (`.*?`) \|.*\| ([^|]*)\|$", part, re.M)
    return {name: last.strip() for names, last in rows for name in re.findall(r"`(\w+)`", names)}


def said(element):
    free = BY_NAME.get(element.tag, set()) | ({"size"} if element.get("isdir") else set())
    free |= {"sizeRecursive"} if element.get("numDirs") else set()
    return element.tag, {name: name in free or value for name, value in element.attrib.items()}


def compare(real, shown):
    assert said(real) == said(shown), ET.tostring(real)
    if shown.text != "...":
        assert (real.text or "").strip() == (shown.text or "").strip()
        assert [child.tag for child in real] == [child.tag for child in shown], ET.tostring(real)
        for pair in zip(real, shown):
            compare(*pair)


@pytest.fixture
def user():
    made = User()
    yield made
    made.remove()


@pytest.fixture
def top():
    """Open to the user, whose scripts load a library from there."""
    with TemporaryDirectory() as path:
        os.chmod(path, 0o755)
        yield Path(path)


@pytest.fixture
def example(top, user, server, start):
    """The agent of the page, with a server that answers as the page shows."""
    data = top / "srv"
    (data / "logs").mkdir(parents=True)
    for name, size in (("today.txt", 97), ("old.txt", 5), ("logs/web.log", 2000)):
        (data / name).write_bytes(b"x" * size)
    for name in ("old.txt", "logs/web.log", "logs", "."):
        os.utime(data / name, (LONG_AGO, LONG_AGO))
    world = World(
        top / "world",
        [
            Drive("/dev/sda", 2000, [Partition(1, 1, 500)], (0, 0, 0), maker="SEAGULL", model="ST336607LW", serial="3JA0"),
            Drive("/dev/rd/c0d0"),
        ],
        mounts=[Mount("/dev/sda1", "/srv")],
    )
    for method, response in exchanges(CALLS):
        server.answers[method.get("name")] = "".join(ET.tostring(child, encoding="unicode") for child in response)
    mounted = ("sh", "-c", f'mount --bind {data} /srv && exec "$@"', "srv")
    return start(server=server, verbose=False, **world.options | {"before": (*world.options["before"], *mounted)})


def test_each_exchange_happens_as_shown(example, server, user):
    protocols = names_in_table(METHODS)
    for method, shown in exchanges(METHODS):
        name = method.get("name")
        for parameter in method:
            parameter.text = {"joe": user.name, "joes-password": user.password}.get(parameter.text, parameter.text)
        request = ET.fromstring(envelope(request={"uuid": "4711"}))
        request[0][:] = [method]
        answer = example.answer(ET.tostring(request), tls=anonymous_tls() if protocols[name] == "HTTPS" else None)
        real = ET.Element("Response", answer.attributes)
        real.extend(answer.children)
        compare(real, shown)
        if name in ENDS_WITH:
            server.wait_calls(ENDS_WITH[name])
    for method, _ in exchanges(CALLS):
        compare(server.of(method.get("name"))[0].element, method)


def test_every_method_and_call_is_shown():
    for part in (METHODS, CALLS):
        assert {method.get("name") for method, _ in exchanges(part)} == set(names_in_table(part))
    table, levels = (REPOSITORY / "src" / name for name in ("methods/AgentRMI_MethodFactory.cpp", "storage/Storage_Levels.cpp"))
    served = re.findall(r'\{\{"(\w+)"', table.read_text()) + re.findall(r'"(Get\w+)"', levels.read_text())
    assert set(served) == set(names_in_table(METHODS))
