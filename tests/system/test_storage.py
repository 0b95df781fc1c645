"""The storage audits from outside, on machines that are made up."""

import os
import re
import signal
import threading
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from xml.etree import ElementTree

import pytest

from harness import LEVELS, SUCCESS, Array, Drive, Group, Mount, Partition, World, can_make_worlds
from harness import large_world, wait_until

pytestmark = pytest.mark.skipif(not can_make_worlds(), reason="needs root, and overlays in mount namespaces of its own")

USUAL = {"existence": "true", "deviceType": "DAS", "isNetwork": "false", "composition": "Unknown"} | {
    f"isPartOf{kind}Set": "false" for kind in ("Stripe", "Mirror", "Concatenation")
}
SIZES = ("totalBytes", "usedBytes", "totalInodes", "usedInodes")  # of a volume: what they are depends on this machine


def lines(collection):
    """One line for each object or link, without what most of them say."""
    if collection.tag == "StorageAssociations":
        return [" ".join([link.tag, *(end.get("name") for end in link)]) for kind in collection for link in kind]
    usual = USUAL | {"physicality": "Physical" if collection.tag == "PhysicalDrives" else "Logical"}
    return [
        " ".join([item.tag, item.get("name")] + [
            f"{key}={value}" for key, value in item.attrib.items()
            if key != "name" and usual.get(key) != value and not (item.tag == "StorageVolume" and key in SIZES)
        ])
        for item in collection
    ]  # fmt: skip


def audit(agent, method):
    """The collection and, as pairs, what failed in it."""
    answer = agent.call(method, uuid="id")
    assert answer.outcome == SUCCESS, method
    collection, *failures = answer.children
    return collection, [(one.get("name"), one.get("type")) for items in failures for one in items]


def stack(top, kernel):
    for folder in ("root", "home", "raid", "data", "whole", "lv", "nfs"):
        (top / folder).mkdir()
    return World(
        top / "world",
        [
            Drive("/dev/hda", 5000, [
                Partition(1, 1, 13, boot=True), Partition(2, 14, 4000, "5"), Partition(5, 14, 100, "82"),
                Partition(6, 114, 101), Partition(7, 215, 100),
            ], maker="Maker", model="HD 40", serial="WX1"),
            Drive("/dev/hdc", media="cdrom"),
            Drive("/dev/sda", 2000, [Partition(1, 1, 500, "fd"), Partition(2, 501, 600, "8e", group="vg0"),
                                     Partition(3, 1101, 100, "fd")],
                  (0, 0, 0), maker="SEAGULL", model="ST336607LW", serial="3JA0"),
            Drive("/dev/sdb", 2000, [Partition(1, 1, 500, "fd"), Partition(2, 501, 100, "fd"),
                                     Partition(3, 601, 100, "fd"), Partition(4, 701, 100, "fd")],
                  (0, 1, 0), maker="SEAGULL", model="ST336607LW", serial="3JA1"),
            Drive("/dev/sdc", 1000, [], (1, 2, 3), maker="M", model="WHOLE"),
            Drive("/dev/sdd", 1000, [], (1, 3, 0), maker="M", model="PV", group="vg1"),
            Drive("/dev/sde", 1000, [], (1, 4, 0), media="cdrom", maker="M", model="CD"),
            Drive("/dev/sdf", 1000, [], (1, 5, 0), maker="M", model="MEMBER"),
            Drive("/dev/cciss/c0d0", 1000, [Partition(1, 1, 100)]),
            Drive("/dev/rd/c0d0", 1000, [], maker="M", model="RD", address=(9, 9, 9)),
            Drive("/dev/rd/c0d1", 1000, []),
        ],
        [
            Array("/dev/md0", "1", ["/dev/sda1", "/dev/sdb1"]),
            Array("/dev/md1", "5", ["/dev/sda3", "/dev/sdb2", "/dev/sdf"], failed=("/dev/sdb2",), group="vg2"),
            Array("/dev/md2", "linear", ["/dev/sdb3"], spares=("/dev/sdb3",)),
            Array("/dev/md3", "0", ["/dev/sdb4"]),
        ],
        [
            Group("vg0", 100, [("lv", "striped"), ("lv2", "linear")], "32.00 MB"),
            Group("vg1", 50, [("one", "mirror")]),
            Group("vg2", 25, [("odd", "snapshot")], "512.00 KB"),
            Group("vg3", 1, [], "1.00 GB"),
        ],
        [
            Mount("/dev/hda1", str(top / "root")), Mount("/dev/hda6", str(top / "home"), "xfs"),
            Mount("/dev/md0", str(top / "raid")), Mount("/dev/cciss/c0d0p1", str(top / "data"), "unheard"),
            Mount("/dev/sdc", str(top / "whole")), Mount("/dev/sdd", str(top / "whole")),
            Mount("/dev/vg0/lv" if kernel.startswith("2.4") else "/dev/mapper/vg0-lv", str(top / "lv")),
            Mount("host:/export", str(top / "nfs"), "nfs"), Mount("proc", "/proc", "proc"),
            Mount("/dev/hdc", "/", "iso9660"), Mount("/dev/hda7", "/usr", "ext3", "rw,ignore"),
            Mount("/dev/hda7", str(top / "gone")),
        ],
        kernel=kernel,
    )  # fmt: skip


def system(agent, server):
    """What the queued audit of all levels delivers: the collections and what failed."""
    before = len(server.of("GetStorageSystemResults"))
    assert agent.outcome("GetStorageSystem", uuid="id") == SUCCESS
    *collections, failures = server.wait_calls("GetStorageSystemResults", before + 1)[-1].element
    if failures.tag != "AuditFailedItems":
        return [*collections, failures], []
    return collections, [(one.get("name"), one.get("type")) for one in failures]


@pytest.mark.parametrize("kernel", ["2.6.9-5.EL", "2.4.21-4.EL"])
def test_the_stack(start, server, tmp_path, kernel):
    """storage_stack.txt tells what is expected; lines that begin with a kernel are for that one only."""
    world = stack(tmp_path, kernel)
    agent = start(server=server, **world.options)
    expected = []
    for line in (Path(__file__).parent / "storage_stack.txt").read_text().splitlines():
        if line[:2] == "2.":
            line = line[4:] if line[:3] == kernel[:3] else ""
        expected += [line.replace("TOP", str(tmp_path))] if line else []
    failed = [("/dev/rd/c0d1", "PhysicalDrive")]

    collections, failures = system(agent, server)
    assert ([line for one in collections for line in lines(one)], failures) == (expected, failed)
    calls = world.calls()
    assert len(calls) == len(set(calls)), "a command ran twice"

    home = next(one for one in collections[4] if one.get("name").endswith("/home"))
    size = os.statvfs(tmp_path / "home")
    assert home.get("totalBytes") == str(size.f_blocks * size.f_bsize)
    assert home.get("totalInodes", "0") == str(size.f_files)
    for volume in collections[4]:
        if volume.get("isNetwork") == "true":
            assert not set(SIZES) & set(volume.keys())
        elif volume.get("composition") != "Unknown":
            volume.set("composition", "Unknown")  # found out by the links, which come last
    for method, collection in reversed(list(zip(LEVELS, collections))):
        alone, failures = audit(agent, method)
        assert (lines(alone), failures) == (lines(collection), failed if method == LEVELS[0] else []), method


def test_drives_that_cannot_be_audited(start, tmp_path):
    """What is busy or has no medium is passed over; what cannot be opened otherwise is told by its name."""
    drives = [Drive(f"/dev/{name}", maker="M", model="D", address=(0, i, 0) if name[0] == "s" else None)
              for i, name in enumerate(("hda", "hdb", "hdab", "sda", "sdb", "sdaa", "i2o/hda"))]  # fmt: skip
    world = World(tmp_path / "world", drives)
    world.put_socket("/dev/hdx")
    world.node("/dev/hdz").mkdir()  # opens, and does not read
    world.say("cat /proc/ide/hdz/media", "disk\n")
    for name in ("hdy", "sdy", "cciss/c0d0", "ida/c1d1"):
        world.node(f"/dev/{name}").parent.mkdir(exist_ok=True)
        world.node(f"/dev/{name}").symlink_to("nowhere")
    for name in ("hda1", "hdabc", "sd", "sda1", "xda", "ida/c1d11", "cciss/c0d0p1"):
        world.node(f"/dev/{name}").write_bytes(b"")
    world.put("fdisk", "case $* in *hdb) echo 'Disk /dev/hdb: 1 GB, 77 bytes'; exit 1;; esac")
    agent = start(**world.options)
    collection, failures = audit(agent, "GetPhysicalDrives")
    names = [drive.get("name") for drive in collection]
    assert names == ["/dev/hda", "/dev/hdab", "/dev/hdb", "/dev/i2o/hda", "/dev/sda", "/dev/sdaa", "/dev/sdb"]
    assert [drive.get("totalBytes") for drive in collection] == [None, None, "77", None, None, None, None]
    assert failures == [(name, "PhysicalDrive") for name in ("/dev/hdz", "c0d0", "c1d1", "hdy", "sdy")]
    world.node("/dev/sdb").write_bytes(b"")  # no address: what is left of the folder is not looked at
    collection, failures = audit(agent, "GetPhysicalDrives")
    assert [drive.get("name") for drive in collection] == [*names[:6]]
    assert ("sdy", "PhysicalDrive") not in failures


@pytest.mark.long
def test_requests_of_all_kinds_at_once(start, server, tmp_path):
    world = stack(tmp_path, "2.6.9-5.EL")
    agent = start(server=server, **world.options)
    alone = {method: lines(audit(agent, method)[0]) for method in LEVELS}
    server.down()  # a result that cannot be delivered keeps nobody up
    assert agent.outcome("GetStorageSystem", uuid="id") == SUCCESS
    assert agent.outcome("GetPlexes", "<a/>", uuid="id") != SUCCESS
    with ThreadPoolExecutor(12) as pool:
        answers = [(method, pool.submit(audit, agent, method)) for method in (*LEVELS, *reversed(LEVELS))]
        assert agent.outcome("GetStorageSystem", uuid="id") == SUCCESS
        for method, answer in answers:
            assert lines(answer.result()[0]) == alone[method], method
    server.up()
    assert [one.tag for one in system(agent, server)[0]] == [method[3:] for method in LEVELS]


@pytest.mark.long
def test_tools_of_every_kind(start, tmp_path):
    """Missing, failing, talking rubbish or endlessly: levels have what can be known, and the next audit is whole."""
    world = stack(tmp_path, "2.6.9-5.EL")
    agent = start(**world.options)
    whole = {method: lines(audit(agent, method)[0]) for method in LEVELS}
    tools = {name: (world.bin / name).read_text() for name in os.listdir(world.bin)}
    agent.tools_complain = True
    behaviours = {
        "missing": None,
        "failing": "exit 3",
        "rubbish": "head -c 100000 /dev/urandom",
        "words": "yes '/dev/sda1 device 1 1 VG Name LV raiddev' | head -c 20000",
    }
    for script in behaviours.values():
        for name in tools:
            world.put(name, script)
        for method in LEVELS:
            audit(agent, method)
    for name, script in tools.items():
        world.put(name, script)
    world.put("vgdisplay", "echo 'VG Name first'; head -c 52428800 /dev/zero | tr '\\0' x")
    assert "Plex first" in " ".join(lines(audit(agent, "GetPlexes")[0]))
    world.put("vgdisplay", tools["vgdisplay"])
    assert {method: lines(audit(agent, method)[0]) for method in LEVELS} == whole


def test_names_of_any_bytes(start, tmp_path):
    names = [b"a b\tc\nd\\e", b"<&>\"'", b"\x01\x7f\xff", "\u00fc\uffff\uef41".encode(), b"]]><!--"]
    world = World(tmp_path / "world", groups=[Group("<v&\x02>", 1, [])])
    for name in names:
        os.mkdir(os.fsencode(tmp_path) + b"/" + name)
    world.mount([Mount("/dev/<\x03&" + os.fsdecode(name), f"{tmp_path}/{os.fsdecode(name)}") for name in names])
    agent = start(**world.options)
    volumes, _ = audit(agent, "GetStorageVolumes")
    plain, valid = volumes[2].get("name"), {one.get("name") for one in volumes}
    assert len(volumes) == len(names) and plain.startswith(str(tmp_path))
    for name in ("a b\tc\nd\\e", "<&>\"'", "]]><!--", "\uef01\x7f\uefff"):
        assert f"{tmp_path}/{name}" in valid, name
    assert [one.get("name") for one in audit(agent, "GetPlexes")[0]] == ["<v&\uef02>"]


def test_the_stack_as_a_picture(start, ctl, tmp_path):
    """Every object is named once in the page's table and has its box; no name becomes markup."""
    names = ["<script>x</script>", "&amp;\"'", "]]><!--", "\x01\x1b[31m"]
    world = stack(tmp_path, "2.6.9-5.EL")
    for name in names:
        (tmp_path / name.replace("/", "_")).mkdir()
    world.mount(world.mounts + [Mount("/dev/<b>", f"{tmp_path}/{name.replace('/', '_')}") for name in names])
    agent = start(**world.options)
    call = ("audit", "--agent", f"127.0.0.1:{agent.port}", "--uuid", "id")
    page, picture = tmp_path / "page.html", ctl(*call, "--svg", "-").stdout
    assert ctl(*call, "--html", str(page)).status == 0 and [*tmp_path.glob("page*")] == [page]
    text = page.read_text()
    # What is used of this machine's disks may change from one audit to the next, and so may numbers.
    assert re.sub(r"[0-9.]+", "0", picture) in re.sub(r"[0-9.]+", "0", text)
    assert "http" not in text.replace("http://www.w3.org/", "")
    html = ElementTree.fromstring(text.removeprefix("<!DOCTYPE html>"))
    form = "{http://www.w3.org/1999/xhtml}"
    tags = {one.tag.rpartition("}")[2] for one in html.iter()}
    assert not tags & {"script", "b", "link", "img"}
    shown = sorted(one.text for one in html.iter(form + "th") if one.get("scope") == "row")
    audited = [one.get("name") for method in LEVELS[:5] for one in audit(agent, method)[0] if one.get("existence") == "true"]
    assert len(shown) == len(set(shown))  # what only links tell of is there, too
    assert {name.replace("\uef01\uef1b", r"\x01\x1b") for name in audited} <= set(shown)
    boxes = [one for one in ElementTree.fromstring(picture).iter("{http://www.w3.org/2000/svg}g")]
    assert len(boxes) + 1 == len(shown) and "! not audited: PhysicalDrive /dev/rd/c0d1" in picture
    tree = ctl(*call, "--tree").stdout
    assert all(name in tree for name in shown)
    (tmp_path / "link").symlink_to("/dev/stdout")
    assert all(ctl(*call, "--svg", str(tmp_path / name)).status == 2 for name in ("no/file", "link"))
    assert ctl(*call, "--svg", "-", "--tree").status == 2


def test_names_that_a_shell_or_a_tool_would_act_upon(start, server, tmp_path):
    forms = ("$(%s)", "`%s`", ";%s;", "|%s", "&%s&", "\n%s\n", "'$(%s)'", '"$(%s)"', "';%s;'", '";%s;"', "\\\n%s\n",
             "$IFS;%s", "${x:-$(%s)}", "<(%s)", ">(%s)", "\n#\n%s", "a$(%s)b", "~;%s", "*;%s", "x;%s", "'\n%s\n'",
             "-x$(%s)", "--config=$(%s)", "-x", "--help", "-", "--")  # fmt: skip
    strings = [form.replace("%s", "pwn") for form in forms]
    strings += [f"/dev/{text}" for text in strings]
    assert len(strings) >= 50
    for kernel in ("2.6.9", "3.10.0"):
        top = tmp_path / kernel
        (top / "mnt").mkdir(parents=True)
        world = World(top / "world", [Drive("/dev/hda", 10)], kernel=kernel)
        world.put("pwn", f"touch {world.top}/pwned")
        words = [text for text in strings if not set(text) & set(" \t\n")]
        table = "Disk /dev/hda: 1 GB, 1 bytes\n   Device Boot      Start         End      Blocks   Id  System\n"
        world.say("fdisk -l", table + "".join(f"/dev/{word} 1 2 3 83 Linux\n" for word in words))
        world.say("vgdisplay", "".join(f"VG Name {word}\n" for word in words))
        world.say("lvdisplay", "".join(f"LV Name {word}\nVG Name {word}\n" for word in words))
        world.say("cat /proc/partitions", "".join(f"9 0 1 m{word}\n" for word in words if "/" not in word))
        for word in words:
            if "/" not in word:
                world.node(f"/dev/{word}").write_bytes(bytes(544) + b"A" * 32)
                world.node(f"/dev/m{word}").write_bytes(bytes(544))
        world.mount([Mount(text, str(top / "mnt" / str(number))) for number, text in enumerate(strings)])
        for number in range(len(strings)):
            (top / "mnt" / str(number)).mkdir()
        agent = start(server=server, **world.options)
        collections, _ = system(agent, server)
        assert len(collections[4]) == len(strings)
        calls = world.calls()
        assert not (world.top / "pwned").exists(), "something was run"
        words_asked = [call.replace(" --segments ", " ", 1) for call in calls]
        assert not any(" -x" in call or " --" in call or call.endswith(" -") for call in words_asked)
        assert f"pvdisplay /dev/{words[0]}" in calls and f"lvs --segments {words[0]}" in calls
        assert kernel == "2.6.9" or {f"lvdisplay {words[0]}", "lvdisplay ';pwn;'"} & set(calls)


@pytest.mark.long
def test_the_end_in_the_middle_of_a_level(start, tmp_path):
    world = stack(tmp_path, "2.6.9-5.EL")
    mark = tmp_path / "tool"
    hang = f"echo $$ > {mark}.new; mv {mark}.new {mark}; exec sleep 1000"
    tools = ("fdisk", "mdadm", "cat", "vgdisplay", "lvdisplay", "mdadm", "lvs")
    for method, name in zip((*LEVELS, "GetStorageSystem"), tools):
        tool = (world.bin / name).read_text()
        world.put(name, tool.replace("call=", f'case "$*" in *scsi|*media) ;; *) {hang};; esac\ncall=', 1))
        agent = start(**world.options)
        caller = threading.Thread(target=ask_in_vain, args=(agent, method))
        caller.start()
        wait_until(mark.exists, f"{name} to run for {method}")
        running = Path(f"/proc/{mark.read_text().strip()}")
        assert running.exists() and agent.stop(signal.SIGTERM) == 0, method
        wait_until(lambda: not running.exists(), f"{name} to be gone")
        caller.join()
        mark.unlink()
        world.put(name, tool)


def ask_in_vain(agent, method):
    try:
        agent.call(method, uuid="id")
    except (AssertionError, OSError):
        pass  # the agent ends first


@pytest.mark.long
def test_what_takes_too_long(start, tmp_path):
    """A dead mount, a tool beyond its minute, a request beyond its ten: the rest is told, and the next request whole."""
    world = stack(tmp_path, "2.6.9-5.EL")
    agent = start(**world.options)
    volumes, plexes = (lines(audit(agent, method)[0]) for method in ("GetStorageVolumes", "GetPlexes"))
    agent.wait_rest()
    threads = agent.threads()
    world.mount([*world.mounts, Mount("/dev/hda7", f"{tmp_path}/dead")])
    for _ in range(3):
        assert lines(audit(agent, "GetStorageVolumes")[0]) == volumes
    wait_until(lambda: agent.threads() <= threads + 1, "all threads but the one that is stuck to go")
    tools = {name: (world.bin / name).read_text() for name in ("lvs", "vgdisplay")}
    others = [line for line in plexes if not line.startswith("Plex vg")]
    passes = f"head -c {{}} /dev/zero >> {world.top}/later"
    world.put("vgdisplay", f"{passes.format(61)}; echo VG Name vg0; exec sleep 1000")
    assert lines(audit(agent, "GetPlexes")[0]) == others
    world.put("vgdisplay", "for number in $(seq 13); do echo VG Name vg$number; done")
    world.put("lvs", passes.format(51))  # twelve take too long
    assert [line for line in lines(audit(agent, "GetPlexes")[0]) if not line.startswith("Plex vg")] == others
    assert "takes too long, not run: lvs --segments vg13\n" in agent.log()
    for name, script in tools.items():
        world.put(name, script)
    assert lines(audit(agent, "GetPlexes")[0]) == plexes


def test_drives_of_a_storage_network(start, server, tmp_path):
    """Found by address or by node. A faulty adapter makes all local; a library of another version counts as none."""
    world = stack(tmp_path, "2.6.9-5.EL")
    world.compile("hba.c", "libHBAAPI.so.2")
    found = {"/dev/cciss/c0d0": "50:06:01:60:90:20:1E:7A_3", "/dev/sda": "50:06:01:60:90:20:1E:7A_2"}
    for library, expected in ("2 1", found), ("2 2", {}), ("3 1", {}):
        world.options["more"] |= {"LD_LIBRARY_PATH": str(world.top), "HBA": library}
        agent = start(server=server, **world.options)
        drives = system(agent, server)[0][0]
        agent.tools_complain = library[0] == "3"
        assert agent.tools_complain == ("adapters. status: -2\n" in agent.stderr())
        network = {drive.get("name"): drive.get("providerAddress") for drive in drives if drive.get("deviceType") == "SAN"}
        assert network == expected and len(drives) == 8, library


def test_a_large_machine(start, server, tmp_path):
    world = large_world(tmp_path)
    agent = start(server=server, verbose=False, **world.options)
    collections, failures = system(agent, server)
    assert failures == []
    assert [len(one) for one in collections[:5]] == [200, 400, 400, 1, 100]
    assert [len(kind) for kind in collections[5]] == [100, 400, 400, 400, 0, 0]
    calls = world.calls()
    assert len(calls) == len(set(calls))
