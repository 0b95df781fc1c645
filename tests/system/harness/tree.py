"""A private copy of the staged tree, and programs run in it to their end."""

import os
import shutil
import subprocess
import tempfile
import xml.etree.ElementTree as ET
from dataclasses import dataclass
from pathlib import Path

from .envelope import attributes
from .limits import PATIENCE

SANITIZER_SIGNS = ("AddressSanitizer", "LeakSanitizer", "ThreadSanitizer", "runtime error:")


def environment(**more):
    """What the environment of a program holds: nothing that it could depend on."""
    sanitizers = {
        "ASAN_OPTIONS": "exitcode=99",
        "UBSAN_OPTIONS": "print_stacktrace=1:halt_on_error=1:exitcode=99",
        "TSAN_OPTIONS": "exitcode=99",
    }
    path = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin"}
    return path | {name: os.environ.get(name, value) for name, value in sanitizers.items()} | more


def bind(port, address="127.0.0.1", extra=""):
    return f'<Bind address="{address}" port="{getattr(port, "number", port)}"{extra}/>'


def agent_conf(pairs=(), *, server=None, agent=None, bind_xml=None):
    """The text of an agent.conf.

    pairs: (address, port) to listen on. server, agent: attributes of ServerInfo and AgentInfo that differ from the
    plain case; None leaves one out. bind_xml: the content of BindList instead of the pairs.
    """
    info = {"hostname": "127.0.0.1", "port": "9", "sslPort": "9", "uri": "/BrindlexServer"} | (server or {})
    if bind_xml is None:
        bind_xml = "".join(bind(port, address) for address, port in pairs)
    return (
        '<?xml version="1.0" encoding="UTF-8"?>\n<AgentConfiguration version="1.0">\n'
        f"<ServerInfo{attributes(info)}/>\n<AgentInfo{attributes(agent or {})}>\n<BindList>{bind_xml}</BindList>\n"
        "</AgentInfo>\n</AgentConfiguration>\n"
    )


def uuid_conf(pairs, version="1.1"):
    """The text of a uuid.conf with (value, hostTarget) pairs."""
    items = "".join(f"<Uuid{attributes({'value': v, 'hostTarget': h})}/>" for v, h in pairs)
    return f'<AgentUuidConfiguration version="{version}"><Uuids>{items}</Uuids></AgentUuidConfiguration>'


@dataclass
class Run:
    status: int
    stdout: str
    stderr: str


class Tree:
    """The installed tree. `remove` deletes it. `copy` makes each file, os.link for many trees of one stage."""

    def __init__(self, stage, copy=shutil.copy2):
        self.root = Path(tempfile.mkdtemp(prefix="qdv-tree-"))
        self.top = self.root / "agent"
        shutil.copytree(stage, self.top, symlinks=True, copy_function=copy)
        self.bin = self.top / "bin"
        self.program = self.bin / "QDVAgent"
        self.conf = self.top / "conf"
        self.conf.mkdir(exist_ok=True)
        self.agent_conf = self.conf / "agent.conf"
        self.uuid_conf = self.conf / "uuid.conf"
        self.log_file = self.bin / "QDVAgent.log"
        self._sanitized = None
        for leftover in (self.agent_conf, self.uuid_conf, self.log_file):
            leftover.unlink(missing_ok=True)

    def remove(self):
        shutil.rmtree(self.root, ignore_errors=True)

    def identities(self):
        """The pairs (value, hostTarget) of uuid.conf, which must be whole and in the form that is written."""
        root = ET.fromstring(self.uuid_conf.read_bytes())
        assert (root.tag, root.attrib) == ("AgentUuidConfiguration", {"version": "1.1"})
        assert [(child.tag, child.attrib) for child in root] == [("Uuids", {})]
        assert all(item.tag == "Uuid" and sorted(item.attrib) == ["hostTarget", "value"] for item in root[0])
        return [(item.get("value"), item.get("hostTarget")) for item in root[0]]

    def run(self, *flags, argv0=None, cwd="/", stdin=subprocess.DEVNULL):
        """Runs the program to its end. argv0 is what the program sees as its own name."""
        done = subprocess.run(
            [str(self.program) if argv0 is None else argv0, *flags], executable=str(self.program), cwd=cwd,
            env=environment(), stdin=stdin, capture_output=True, timeout=PATIENCE,
        )  # fmt: skip
        run = Run(done.returncode, done.stdout.decode(errors="surrogateescape"), done.stderr.decode(errors="replace"))
        assert not any(sign in run.stderr for sign in SANITIZER_SIGNS), run.stderr
        return run

    def scaled(self, number):
        """So many times for a release build, a tenth of it for a sanitizer build, which is that much slower."""
        return max(number // 10, 1) if self.is_sanitized() else number

    def is_sanitized(self):
        """True for a sanitizer build, whose own threads and memory make some measurements meaningless."""
        if self._sanitized is None:
            program = self.program.read_bytes()
            self._sanitized = b"__asan_init" in program or b"__tsan_init" in program
        return self._sanitized
