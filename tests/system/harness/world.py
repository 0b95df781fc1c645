"""A machine made up for an agent: its disks, its tools and its tables.

A World is described by a small value: drives with partitions, volume groups, software RAID and mounts. From it come the
nodes below /dev (plain files with the bytes that an audit reads, and with records from which devices.c answers what
only a disk is asked), /etc/mtab, what /proc says, and the output of each tool in the form of its time. The agent sees
them in a mount namespace of its own; nothing of this machine changes. Needs root.

    world = World(tmp_path, drives=[...], ...)
    agent = start(**world.options)
    world.calls()       the command lines of the tools that ran, oldest first
    world.put("lvs", script)    another tool in its place; None for one that is missing
    world.say("lvs --segments vg0", text)   what a tool says to these arguments
"""

import os
import socket
import struct
import subprocess
from dataclasses import dataclass, field
from pathlib import Path

from .tree import environment

CYLINDER = 16065 * 512
LVM_ID = b"Ax7" + b"0123456789abcdefghijklmnopqrs"  # 32 bytes
LEVELS = {"0": "raid0", "1": "raid1", "5": "raid5", "linear": "linear"}

TOOL = """#!/bin/sh
call="${{0##*/}}${{*:+ $*}}"
printf '%s\\n' "$call" >> {top}/calls
f="{top}/say/$call"
[ -f "$f.out" ] && exec /bin/cat "$f.out"
[ "${{0##*/}}" = cat ] && exec /bin/cat "$@" 2>/dev/null
exit 1
"""
ENTER = """set -e
for node in null zero random urandom; do mount --bind /dev/$node {top}/dev/$node; done
mount -t overlay world -o lowerdir={top}/etc:/etc /etc
mount --rbind {top}/dev /dev
cd /
exec "$@"
"""


@dataclass
class Partition:
    """`kind` is the id in the partition table. A physical volume names its group."""

    number: int
    start: int  # cylinders
    cylinders: int
    kind: str = "83"
    boot: bool = False
    group: str = ""

    @property
    def blocks(self):
        return self.cylinders * CYLINDER // 1024


@dataclass
class Drive:
    """`address` is host, id and lun of a SCSI device. One without partitions is used as a whole."""

    path: str
    cylinders: int = 1000
    partitions: list = field(default_factory=list)
    address: tuple = None
    media: str = "disk"
    maker: str = ""
    model: str = ""
    serial: str = ""
    group: str = ""

    def name(self, partition):
        return self.path + ("p" if self.path[-1].isdigit() else "") + str(partition.number)


@dataclass
class Array:
    """`members` are device paths in their order; of those in `failed` a tool says that they do no work."""

    path: str
    level: str
    members: list
    failed: tuple = ()
    spares: tuple = ()
    group: str = ""
    blocks: int = 1 << 20


@dataclass
class Group:
    """`volumes` are pairs of a name and the type of its segment."""

    name: str
    extents: int
    volumes: list
    unit: str = "4.00 MB"


@dataclass
class Mount:
    device: str
    folder: str
    kind: str = "ext3"
    options: str = "rw"


def can_make_worlds():
    probe = ["unshare", "-m", "mount", "-t", "overlay", "probe", "-o", "lowerdir=/etc:/usr", "/etc"]
    return subprocess.run(probe, capture_output=True).returncode == 0


def escaped(text):
    """A word of mtab."""
    return "".join(f"\\{ord(c):03o}" if c in " \t\n\\" else c for c in text)


class World:
    def __init__(self, top, drives=(), arrays=(), groups=(), mounts=(), kernel="2.6.9-5.EL"):
        self.top, self.kernel = Path(top), kernel
        self.drives, self.arrays, self.groups, self.mounts = drives, arrays, groups, mounts
        self.is_24 = kernel.startswith("2.4")
        self.bin = self.top / "bin"
        for folder in ("bin", "dev", "etc", "say"):
            (self.top / folder).mkdir(parents=True)
        for node in ("null", "zero", "random", "urandom"):
            (self.top / "dev" / node).touch()
        (self.top / "calls").touch()
        for tool in ("cat", "fdisk", "lsraid", "lvdisplay", "lvs", "mdadm", "pvdisplay", "uname", "vgdisplay"):
            self.put(tool, TOOL.format(top=self.top))
        self.compile("devices.c", "devices.so")
        self.say("uname -r", kernel + "\n")
        self._say_drives()
        self._say_groups()
        self._say_raid()
        self.mount(mounts)
        self.options = {
            "before": ("unshare", "-m", "sh", "-c", ENTER.format(top=self.top), "world"),
            "more": {
                "PATH": f"{self.bin}:/usr/bin:/bin",  # the rest of the tools stands in sbin
                "LD_PRELOAD": str(self.top / "devices.so"),
                "LATER": str(self.top / "later"),
                "ASAN_OPTIONS": environment()["ASAN_OPTIONS"] + ":verify_asan_link_order=0",
            },
        }

    def compile(self, source, library):
        """Makes a library of a source file beside this one, at the top."""
        command = ["cc", "-shared", "-fPIC", "-o", self.top / library, Path(__file__).parent / source, "-ldl"]
        subprocess.run(command, check=True)

    # ---- what a test changes

    def put(self, name, script):
        """Replaces a tool in one step, as the agent may be about to run it."""
        if script is None:
            (self.bin / name).unlink()
            return
        new = self.bin / f".{name}"
        new.write_text(script if script.startswith("#!") else f"#!/bin/sh\n{script}\n")
        new.chmod(0o755)
        new.rename(self.bin / name)

    def say(self, command, text):
        file = self.top / "say" / (command + ".out")
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(os.fsencode(text))

    def mount(self, mounts):
        lines = (f"{escaped(m.device)} {escaped(m.folder)} {m.kind} {m.options} 0 0\n" for m in mounts)
        (self.top / "etc" / "mtab").write_bytes(os.fsencode("".join(lines)))

    def calls(self):
        return (self.top / "calls").read_text(errors="surrogateescape").splitlines()

    def forget_calls(self):
        (self.top / "calls").write_text("")

    def node(self, path):
        """Where a path below /dev stands outside of the agent's namespace."""
        return self.top / path.lstrip("/")

    def put_socket(self, path):
        """A node that cannot be opened, as a drive without a medium cannot."""
        with socket.socket(socket.AF_UNIX) as made:
            made.bind(str(self.node(path)))

    # ---- what the description says

    def _put_device(self, path, group="", records=()):
        data = bytearray(8192)
        if group and self.is_24:
            data[44:76], data[172 : 172 + len(group)] = LVM_ID, group.encode()
        elif group:
            data[544:576] = LVM_ID
        for offset, record in records:
            data[offset : offset + len(record)] = record
        self.node(path).parent.mkdir(parents=True, exist_ok=True)
        self.node(path).write_bytes(data)
        if group:
            self.say(
                f"pvdisplay {path}",
                f"  --- Physical volume ---\n  PV Name               {path}\n  VG Name               {group}\n"
                "  PV Size               1.00 GB / not usable 0\n  Allocatable           yes\n"
                "  PE Size (KByte)       4096\n  Total PE              255\n  Free PE               155\n"
                "  Allocated PE          100\n",
            )

    def _records(self, drive):
        if drive.address:
            host, number, lun = drive.address
            yield 4096, b"LUN " + struct.pack("<I", host << 24 | lun << 8 | number)
        if drive.maker and drive.address:
            fields = (drive.maker.ljust(8), drive.model.ljust(16), "1.0 ", drive.serial.ljust(12))
            yield 4608, b"INQ " + (b"\0\0\3\2\x5b\0\0\0" + "".join(fields).encode()).ljust(96, b"\0")
        elif drive.maker:
            words = bytearray(512)
            words[20 : 20 + len(drive.serial)] = drive.serial.encode()
            words[54:94] = f"{drive.maker} {drive.model}".encode().ljust(40, b"\0")
            yield 5120, b"IDE " + words

    def _table(self, drive):
        size = drive.cylinders * CYLINDER
        if self.is_24:
            head = f"\nDisk {drive.path}: 255 heads, 63 sectors, {drive.cylinders} cylinders\n"
            head += "Units = cylinders of 16065 * 512 bytes\n\n"
        else:
            head = f"\nDisk {drive.path}: {size / 1e9:.1f} GB, {size} bytes\n"
            head += f"255 heads, 63 sectors/track, {drive.cylinders} cylinders\n"
            head += "Units = cylinders of 16065 * 512 = 8225280 bytes\n\n"
        if not drive.partitions:
            return head
        rows = (
            f"{drive.name(p)}   {'*' if p.boot else ' '}  {p.start:10} {p.start + p.cylinders - 1:10} {p.blocks:10}"
            f"{'+' if p.cylinders % 2 else ' '}  {p.kind:>2}  System name\n"
            for p in drive.partitions
        )  # fmt: skip
        return head + "   Device Boot      Start         End      Blocks   Id  System\n" + "".join(rows)

    def _say_drives(self):
        tables, scsi = "", "Attached devices:\n"
        for drive in self.drives:
            self._put_device(drive.path, drive.group, self._records(drive))
            if drive.path.startswith("/dev/hd"):
                self.say(f"cat /proc/ide/{drive.path[5:]}/media", drive.media + "\n")
            elif drive.path.startswith("/dev/sd"):
                kind = {"disk": "Direct-Access", "cdrom": "CD-ROM"}[drive.media]
                host, number, lun = drive.address
                scsi += f"Host: scsi{host} Channel: 00 Id: {number:02} Lun: {lun:02}\n"
                scsi += f"  Vendor: {drive.maker:8} Model: {drive.model:16} Rev: 1.0 \n"
                scsi += f"  Type:   {kind:33}ANSI SCSI revision: 03\n"
            if drive.media == "disk":
                table = self._table(drive)
                self.say(f"fdisk -l {drive.path}", table)
                tables += table
            for partition in drive.partitions:
                if partition.kind != "5":
                    self._put_device(drive.name(partition), partition.group)
        self.say("fdisk -l", tables)
        self.say("cat /proc/scsi/scsi", scsi)

    def _say_groups(self):
        groups = volumes = ""
        for group in self.groups:
            groups += f"  --- Volume group ---\n  VG Name               {group.name}\n  Format                lvm2\n"
            groups += f"  PE Size               {group.unit}\n  Total PE              {group.extents}\n"
            segments = "  LV     VG     Attr   #Str Type   SSize\n"
            for name, kind in group.volumes:
                path, mapped = f"/dev/{group.name}/{name}", f"/dev/mapper/{group.name}-{name}"
                segments += f"  {name} {group.name} -wi-ao 1 {kind} 1.00G\n"
                volume = f"  --- Logical volume ---\n  LV Name                {path}\n"
                volume += f"  VG Name                {group.name}\n  LV Size                1.00 GB\n"
                volumes += volume
                self.say(f"lvdisplay {path}", volume)
                self.node(path).parent.mkdir(exist_ok=True)
                self.node(path).symlink_to(mapped)
            self.say(f"lvs --segments {group.name}", segments)
        self.say("vgdisplay", groups)
        self.say("lvdisplay", volumes)

    def _say_raid(self):
        partitions, raidtab = "major minor  #blocks  name\n\n", ""
        for number, array in enumerate(self.arrays):
            partitions += f"   9 {number:5} {array.blocks:10} {array.path[5:]}\n"
            self._put_device(array.path, array.group)
            raidtab += f"raiddev {array.path}\n\traid-level\t{array.level}\n\tnr-raid-disks {len(array.members)}\n"
            raidtab += "".join(f"\tdevice\t{m}\n\traid-disk {i}\n" for i, m in enumerate(array.members))
            self._say_array(array)
        self.say("cat /proc/partitions", partitions)
        self.say("cat /etc/raidtab", raidtab)

    def _say_array(self, array):
        level, count = LEVELS[array.level], len(array.members)
        detail = f"{array.path}:\n        Version : 00.90.01\n  Creation Time : Mon Feb  7 11:12:13 2005\n"
        detail += f"     Raid Level : {level}\n     Array Size : {array.blocks} (1.00 GiB 1.07 GB)\n"
        detail += "    Number   Major   Minor   RaidDevice State\n"
        for index, member in enumerate(array.members):
            state = "spare" if member in array.spares else "faulty" if member in array.failed else "active"
            if member in array.failed:
                detail += f"       {index}       8        {index}        -      faulty   {member}\n"
            else:
                what = "spare rebuilding" if member in array.spares else "active sync"
                detail += f"       {index}       8        {index}        {index}      {what}   {member}\n"
            self.say(
                f"mdadm -Q {member}",
                f"{member}: is not an md array\n{member}: device {index} in {count} device active {level} "
                f"{array.path}.  Use mdadm --examine for more detail.\n",
            )
            words = {"active": "active sync", "faulty": "faulty sync", "spare": "active sync"}[state]
            self.say(
                f"mdadm --examine {member}",
                f"{member}:\n          Magic : a92b4efc\n     Raid Level : {level}\n   Raid Devices : {count}\n\n"
                "      Number   Major   Minor   RaidDevice State\n"
                f"this     {index}       8        1        {index}      {words}   {member}\n",
            )
            online = "offline" if state == "faulty" else "online"
            self.say(f"lsraid -A -d {member}", f"[dev   9,   0] {array.path} 12345678.9ABCDEF0 {online}\n")
        self.say(f"mdadm -D {array.path}", detail)


def large_world(top, drives=200, partitions=400, volumes=100, **options):
    """A machine of so many SCSI drives, with their partitions in one group of so many mounted volumes."""
    names = [f"{a}{b}".strip() for a in " abcdefghijklmnopqrstuvwxyz" for b in "abcdefghijklmnopqrstuvwxyz"][:drives]
    each = partitions // drives
    folders = [str(Path(top) / "mnt" / f"v{number}") for number in range(volumes)]
    for folder in folders:
        os.makedirs(folder)
    return World(
        top,
        [
            Drive(
                f"/dev/sd{name}", 1000, [Partition(1 + p, 1 + p * 100, 100, "8e", group="vg") for p in range(each)],
                address=(number // 16, number % 16, 0), maker="MAKER", model="DISK", serial=f"S{number}",
            )
            for number, name in enumerate(names)
        ],
        groups=[Group("vg", 100 * partitions, [(f"v{number}", "linear") for number in range(volumes)])],
        mounts=[Mount(f"/dev/mapper/vg-v{number}", folder) for number, folder in enumerate(folders)],
        **options,
    )  # fmt: skip
