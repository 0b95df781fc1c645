"""Files and directories from outside: listings, and totals of whole trees."""

import os
import subprocess
import sys
from xml.sax.saxutils import quoteattr

import pytest
from test_search import begin, condition

from harness import FAILED, SUCCESS, can_make_worlds, to_bytes, to_text, to_xml, wait_until

IN_MOUNTS = """set -e
mount -t tmpfs -o nr_inodes=100 skipped {top}/tmp
truncate -s 4M {top}/../image && mkfs.ext2 -q -F {top}/../image && mount -o loop {top}/../image {top}/ext
mkdir {top}/ext/in; echo 12345 > {top}/ext/in/file; echo > {top}/tmp/not-seen
mount --bind {top} {top}/again
exec "$@"
"""

# A file system whose daemon never answers, and ends with the agent.
WITH_DEAD_MOUNT = """
import ctypes, os, sys, time
libc = ctypes.CDLL(None)
daemon = os.open("/dev/fuse", os.O_RDWR)
options = f"fd={daemon},rootmode=40000,user_id=0,group_id=0,allow_other"
if libc.mount(b"dead", os.fsencode(sys.argv[1]), b"fuse", 0, options.encode()) != 0:
    sys.exit("the mount failed")
agent = os.getpid()
if os.fork() != 0:
    os.execvp(sys.argv[2], sys.argv[2:])
while os.getppid() == agent:
    time.sleep(0.2)
"""


def path_parameter(path):
    return f"<Path>{to_xml(path)}</Path>"


def listing(agent, path):
    """The object, and its members as pairs of name and whether it is a directory."""
    answer = agent.call("GetFSOs", path_parameter(path), uuid="id")
    assert answer.outcome == SUCCESS, path
    (found,) = answer.children
    return found, [(each.get("name"), each.get("isdir") == "true") for each in found]


def stats(agent, server, *paths):
    """The attributes that come back for the paths, in the order of the calls."""
    before = len([call for call in server.calls if call.method == "FSOStats"])
    batch = "".join(f"<FSO path={quoteattr(to_text(os.fsencode(path)))}/>" for path in paths)
    assert agent.outcome("GetFSOBatchStats", batch, uuid="id") == SUCCESS
    return [call.element[0].attrib for call in server.wait_calls("FSOStats", before + len(paths))[-len(paths) :]]


def measured(top):
    """Files, directories and bytes below a directory, as the system's own tools count."""
    out = subprocess.run(["find", top, "-mindepth", "1", "-printf", "%y %s\n"], check=True, capture_output=True).stdout
    kinds = [(line[:1], int(line[2:])) for line in out.splitlines()]
    return (
        sum(kind != b"d" for kind, _ in kinds), sum(kind == b"d" for kind, _ in kinds),
        sum(size for kind, size in kinds if kind in b"fl"),
    )  # fmt: skip


def test_listings(start, tmp_path):
    agent = start(verbose=False)  # with the log on each listing asks for the logical volume of each mount
    top = os.fsencode(tmp_path)
    (tmp_path / "file.txt").write_bytes(b"12345")
    found, members = listing(agent, top + b"/file.txt")
    assert members == [] and found.attrib.items() >= {
        "name": "file.txt", "path": str(tmp_path / "file.txt"), "exists": "true", "extension": "txt", "size": "5",
        "userId": "root", "groupId": "0",
    }.items()  # fmt: skip

    # Names of every byte come back, and lead to the same files again.
    names = [bytes([byte]) + b"x" for byte in range(1, 256) if byte != ord("/")] + [b"\xee\xbc\x80", b"a\xc3\xa9\xff&<>"]
    for name in names:
        (os.mkdir if name[0] % 2 else lambda path: open(path, "wb").close())(top + b"/" + name)
    times = os.stat(tmp_path)
    found, members = listing(agent, top)
    assert {to_bytes(name) for name, _ in members} == {b"file.txt", *names}
    kinds = [is_folder for _, is_folder in members]
    assert kinds == sorted(kinds), "files come first"
    for member in found:
        again, _ = listing(agent, to_bytes(member.get("path")))
        assert again.get("name") == member.get("name") and again.get("isdir") == member.get("isdir")
    after = os.stat(tmp_path)
    assert (after.st_atime_ns, after.st_mtime_ns) == (times.st_atime_ns, times.st_mtime_ns)

    assert listing(agent, b"/")[0].attrib.items() >= {"path": "/", "isdir": "true"}.items()
    assert ("etc", True) in listing(agent, b"//")[1]
    assert listing(agent, top + b"//")[0].get("name") == tmp_path.name
    for bad in (path_parameter(top + b"/none"), path_parameter(top + b"/file.txt/x"), "", "<Path/>", "<Path></Path>"):
        assert agent.outcome("GetFSOs", bad, uuid="id") == FAILED, bad
    answer = agent.call("GetFSOs", path_parameter(b"/none") + path_parameter(top + b"/file.txt"), uuid="id")
    assert answer.children[0].get("name") == "file.txt", "the last path counts"


def test_a_listing_ends(agent, tmp_path):
    for number in range(3000):
        (tmp_path / f"f{number}").touch()
    (tmp_path / "folder").mkdir()
    _, members = listing(agent, os.fsencode(tmp_path))
    assert len(members) == 2500 and not any(is_folder for _, is_folder in members)


def test_totals_of_trees(start, server, tmp_path):
    top = tmp_path / "top"
    for number in range(300):
        folder = top / f"a{number % 7}" / f"b{number % 31}"
        folder.mkdir(parents=True, exist_ok=True)
        (folder / f"f{number}").write_bytes(b"x" * number)
    os.link(top / "a0" / "b0" / "f0", top / "hard")
    os.symlink("/", top / "soft")
    old = top / "a1" / "b1" / "f1"
    os.utime(old, (1, 1))
    agent = start(server=server)
    found, missing, one = stats(agent, server, top, top / "none", old)
    files, folders, size = measured(top)
    counts = ("numFilesRecursive", "numDirsRecursive", "sizeRecursive", "numFilesModifiedRecursive")
    # Directories count with their own sizes, as they do in what a walk finds.
    assert [int(found[name]) for name in counts[:2]] == [files, folders] and found["exists"] == "true"
    assert int(found["sizeRecursive"]) >= size and int(found[counts[3]]) == files - 1
    assert missing.items() >= {"exists": "false", "path": str(top / "none")}.items() and one["size"] == "1"


@pytest.mark.skipif(not can_make_worlds(), reason="needs root and mount namespaces of its own")
def test_totals_across_mount_points(start, server, tmp_path):
    top = tmp_path / "top"
    for name in ("ext", "tmp", "again", "plain"):
        (top / name).mkdir(parents=True)
    (top / "dangling").symlink_to("nowhere")
    loop = subprocess.run(["sh", "-c", "losetup -f"], capture_output=True).returncode == 0
    if not loop:
        pytest.skip("needs a loop device")
    agent = start(server=server, before=("unshare", "-m", "sh", "-c", IN_MOUNTS.format(top=top), "mounts"))
    (found,) = stats(agent, server, top)
    # ext2 is gone into; tmpfs, the tree itself once more and the link that leads nowhere are left out.
    assert (found["numFilesRecursive"], found["numDirsRecursive"]) == ("1", "4")


@pytest.mark.skipif(not (can_make_worlds() and os.path.exists("/dev/fuse")), reason="needs root, mount namespaces and FUSE")
def test_what_lies_on_a_dead_server_holds_nobody_for_good(start, server, tmp_path):
    dead, top = tmp_path / "dead", tmp_path / "top"
    for folder in (dead, top):
        folder.mkdir()
    (top / "file").touch()
    (top / "link").symlink_to(dead / "x")
    before = ("unshare", "-m", sys.executable, "-c", WITH_DEAD_MOUNT, str(dead))
    agent = start(server=server, before=before)
    if agent.tree.is_sanitized():
        pytest.skip("a sanitizer waits at the end for threads that nobody can wake")
    agent.tools_complain = True  # of what lies on the dead server, now and then by empty lines
    every = condition('<Predicate valueName="name" operator="isAnything"/>')
    for token, volume in (("S", top), ("T", dead)):
        assert begin(agent, token, [volume], every) == SUCCESS
    assert agent.outcome("GetFSOs", path_parameter(os.fsencode(dead) + b"/x"), uuid="id") == FAILED
    told = {}
    for call in server.wait_calls("SearchResultsSummary", 2):
        hits = [each.get("numFilesHit") for each in call.element.find("Volumes")]
        told[call.element.findtext("Token")] = hits, [each.get("name") for each in call.element.iter("FailedObject")]
    assert told == {"S": (["1"], [str(top / "link")]), "T": ([None], [str(dead)])}
    assert all(f"audit: no answer: {path}\n" in agent.log() for path in (top / "link", dead, dead / "x"))


def test_one_batch_at_a_time_and_the_end(start, server, tmp_path):
    (tmp_path / "file").touch()
    agent = start(server=server)
    with server.holding():
        assert agent.outcome("GetFSOBatchStats", f'<FSO path="{tmp_path}"/>', uuid="id") == SUCCESS
        server.wait_calls("FSOStats")
        answer = agent.call("GetFSOBatchStats", f'<FSO path="{tmp_path}"/>', uuid="id")
        assert answer.outcome == ("error", "maximum FSO batch stats in progress")
    wait_until(lambda: agent.outcome("GetFSOBatchStats", '<FSO path="/"/>', uuid="id") == SUCCESS, "the batch to end")
    agent.stop()


def test_a_batch_of_many_takes_little_more_than_its_text(start, server):
    agent = start(server=server)
    before = agent.rss()
    with server.holding():
        assert agent.outcome("GetFSOBatchStats", '<FSO path="/nx"/>' * 20000, uuid="id") == SUCCESS
        server.wait_calls("FSOStats")
        is_little = lambda: agent.rss() - before < 12 << 20 or agent.tree.is_sanitized()  # noqa: E731
        wait_until(is_little, "the rest of the request to be given back")
    agent.stop()


def test_for_the_operator(ctl, reporting, tmp_path):
    at, listen = reporting
    (tmp_path / "evil\x1b[31m").write_bytes(b"1234")
    (tmp_path / "dir").mkdir()
    shown = ctl("files", "ls", str(tmp_path), *at)
    assert shown.status == 0 and "evil\\x1b[31m" in shown.stdout and "dir/" in shown.stdout
    (listed,) = ctl("files", "ls", str(tmp_path), *at, "--json").json
    assert [each["attributes"]["name"] for each in listed["elements"][0]["elements"]] == ["evil\x1b[31m", "dir"]
    totals = ctl("files", "stats", str(tmp_path), str(tmp_path / "none"), *at, *listen)
    assert totals.status == 1 and f"{tmp_path / 'none'} (does not exist)" in totals.stdout
    assert totals.stderr == "qdvctl: 1 of 2 do not exist\n"
    row = next(line.split() for line in totals.stdout.splitlines() if line.endswith(f" {tmp_path}"))
    assert row[3:5] == ["1", "1"]
    assert ctl("files", "ls", str(tmp_path / "none"), *at).status == 1
