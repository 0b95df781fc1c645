"""The dialog of -editConfig, through a pipe and on a terminal, and the file that comes out of it."""

import os
import pty
import re
import select
import signal
import socket
import subprocess
import termios
import time
import xml.etree.ElementTree as ET

import pytest

from harness import Connection, Port, agent_conf, limit
from harness.tree import SANITIZER_SIGNS, environment

THIS_HOST = socket.gethostname()
EXISTS = "The QDVAgent configuration file already exists.\nDo you want to edit it? <Y|n>: "
IS_NEW = "The QDVAgent configuration file does not exist, it will be created now.\n "
END_OF_INPUT = "\nAn error occurred.  Exiting and not saving changes.\n"
SAVE = "Changes have been made to the configuration.\nDo you want to save the changes? <Y|n>: "


class Dialog:
    """The editor at work, asked and answered one prompt at a time."""

    def __init__(self, tree, terminal=False, flags=()):
        self.seen = ""
        self._errors = tree.root / "editor-stderr"
        if terminal:
            self._out, slave = pty.openpty()
            self._in, stdin, stdout = self._out, slave, slave
        else:
            stdin, self._in = os.pipe()
            self._out, stdout = os.pipe()
        with open(self._errors, "wb") as errors:
            self.process = subprocess.Popen(
                [str(tree.program), *flags, "-editConfig"],
                cwd="/",
                env=environment(),
                stdin=stdin,
                stdout=stdout,
                stderr=errors,
            )
        for descriptor in {stdin, stdout}:
            os.close(descriptor)

    def _read_some(self, end):
        ready, _, _ = select.select([self._out], [], [], max(end - time.monotonic(), 0))
        assert ready, f"nothing more came after {self.seen[-300:]!r}"
        try:
            data = os.read(self._out, 1 << 16)
        except OSError:  # a terminal whose other end is closed
            data = b""
        self.seen += data.decode().replace("\r\n", "\n")
        return data

    def answer(self, prompt, text):
        """Waits until the last thing said is the prompt, then types the text."""
        end = time.monotonic() + limit(10)
        while not self.seen.endswith(prompt):
            assert self._read_some(end), f"the dialog ended without asking {prompt!r}: {self.seen[-300:]!r}"
        os.write(self._in, text.encode() + b"\n")
        self.seen += "\0"  # what has been seen before does not count as an answer to this

    def answers(self, *pairs):
        for prompt, text in pairs:
            self.answer(prompt, text)

    def finish(self):
        """Reads to the end and returns the exit status."""
        end = time.monotonic() + limit(10)
        while self._read_some(end):
            pass
        status = self.process.wait(limit(10))
        for descriptor in {self._in, self._out}:
            os.close(descriptor)
        errors = self._errors.read_text(errors="replace")
        assert not any(sign in errors for sign in SANITIZER_SIGNS), errors
        return status


def edit(tree, text, flags=()):
    """Holds the dialog with all answers given beforehand."""
    path = tree.root / "answers"
    path.write_bytes(text if isinstance(text, bytes) else text.encode())
    with open(path, "rb") as answers:
        return tree.run(*flags, "-editConfig", stdin=answers)


def attributes_of(tree):
    root = ET.fromstring(tree.agent_conf.read_bytes())
    assert root.tag == "AgentConfiguration" and root.attrib == {"version": "1.0"}
    server, agent = root
    binds = [(bind.get("address"), bind.get("port")) for bind in agent[0]]
    return dict(server.attrib), dict(agent.attrib), binds


@pytest.mark.parametrize("terminal", [False, True], ids=["pipe", "terminal"])
def test_new_file_starts_the_agent(new_tree, start, terminal):
    tree = new_tree()
    port = Port()
    dialog = Dialog(tree, terminal)
    dialog.answers(
        ("Enter the QDVServer hostname <ip|hostname>[]: ", "127.0.0.1"),
        ("Enter the QDVServer port <port>(80)[80]: ", "9"),
        ("Enter the QDVServer SSL port <port>(443)[443]: ", "9"),
        ("Should the QDVAgent contact an HTTP proxy to access the\nQDVServer? <y|N>: ", ""),
        ("Should the QDVAgent use return ports and/or addresses? <y|N>: ", "n"),
        (f"Enter the address to listen on <ip|hostname>[{THIS_HOST}]: ", "127.0.0.1"),
        ("Enter the port to listen on <port>(8372)[8372]: ", str(port.number)),
        ("Do you want to add more port/address pairs? <y|N>: ", ""),
        ("Do you want to modify your changes? <y|N>: ", ""),
        (SAVE, ""),
    )
    assert dialog.finish() == 0
    assert IS_NEW in dialog.seen and "CONTENTS\n\n" in dialog.seen
    assert f"\t127.0.0.1\t{port.number}\n" in dialog.seen
    assert tree.agent_conf.stat().st_mode & 0o007 == 0, "others can read the file"
    start(tree=tree, write_conf=False)
    with Connection(port.number) as connection:
        connection.send(b"GET / HTTP/1.0\r\n\r\n")
        assert connection.read_reply().status == 200
    port.release()


def test_every_answer_reaches_the_file(new_tree):
    tree = new_tree()
    tree.agent_conf.write_text(agent_conf([("old", 1), ("kept", 2)], server={"uri": "/other"}))
    answers = ["", "qdv", "81", "444", "y", "proxy", "3128", "y", "joe", "se<cret&\"'", "y", "5000", "5010", ""]
    answers += ["y", "n", "", "", "y", "kept", "2", "y", "new", "3", "", "", ""]
    run = edit(tree, "\n".join(answers) + "\n")
    assert run.status == 0, run.stdout
    server, agent, binds = attributes_of(tree)
    assert server == {
        "hostname": "qdv", "port": "81", "sslPort": "444", "uri": "/other",
        "proxyHostname": "proxy", "proxyPort": "3128", "username": "joe", "password": "se<cret&\"'",
    }  # fmt: skip
    assert agent == {"returnAddress": THIS_HOST, "returnPortMin": "5000", "returnPortMax": "5010"}
    assert binds == [("kept", "2"), ("new", "3")]
    assert "The port/address pair already exists.\n" in run.stdout
    for line in ("  TTP proxy port: 3128\n", "  HTTP proxy password: se<cret&\"'\n", "\tkept\t2\n\tnew\t3\n"):
        assert line in run.stdout


def test_empty_lines_give_a_file_without_server(new_tree):
    """The host's name on the usual port, but no server: that the agent refuses."""
    tree = new_tree()
    assert edit(tree, "\n" * 10).status == 0
    server, agent, binds = attributes_of(tree)
    assert server["hostname"] == "" and server["uri"] == "/BrindlexServer"
    assert binds == [(THIS_HOST, "8372")]
    run = tree.run("-verbose")
    assert run.status == 1
    assert "Agent: Failed to parse agent configuration file\n" in run.stdout


def test_existing_file_is_left_alone(new_tree):
    tree = new_tree()
    text = agent_conf([("127.0.0.1", 1)])
    tree.agent_conf.write_text(text)
    before = tree.agent_conf.stat()
    for answers, status in (("n\n", 0), ("N", 0), ("\n" * 8 + "\nn\n", 0), ("", 1), ("y\n", 1), ("\n" * 9, 1)):
        run = edit(tree, answers)
        assert run.status == status, run.stdout
        assert EXISTS in run.stdout
        assert run.stdout.endswith(END_OF_INPUT) == (status == 1)
        assert tree.agent_conf.read_text() == text
    assert tree.agent_conf.stat().st_ino == before.st_ino and tree.agent_conf.stat().st_mtime_ns == before.st_mtime_ns


@pytest.mark.parametrize("answers", ["", "\n" * 5, "\n" * 9 + "n\n"], ids=["none", "some", "no save"])
def test_new_file_that_is_not_saved_is_a_failure(new_tree, answers):
    tree = new_tree()
    run = edit(tree, answers)
    assert run.status == 1
    assert run.stdout.endswith(END_OF_INPUT) == (not answers.endswith("n\n"))
    assert not tree.agent_conf.exists()
    assert not list(tree.conf.iterdir())


def test_broken_file_is_edited_from_what_was_read(new_tree):
    tree = new_tree()
    tree.agent_conf.write_text(agent_conf([("gone", 1)], server={"hostname": "known", "port": ""}))
    run = edit(tree, "\n" * 11)
    assert run.status == 0, run.stdout
    assert EXISTS in run.stdout
    assert "Enter the QDVServer hostname <ip|hostname>[known]: " in run.stdout
    server, _, binds = attributes_of(tree)
    assert (server["hostname"], server["port"], binds) == ("known", "80", [(THIS_HOST, "8372")])


def test_file_that_cannot_be_written_is_a_failure(new_tree):
    tree = new_tree()
    tree.conf.rmdir()
    tree.conf.write_text("no directory")
    run = edit(tree, "\n" * 10, flags=("-verbose",))
    assert run.status == 1
    assert re.search(r"^[0-9 :-]{19}: Agent: Fatal error writting agent configuration file$", run.stdout, re.M)


def test_binary_and_endless_answers_do_no_harm(new_tree):
    tree = new_tree()
    run = edit(tree, b"h\xff\x01\n" + b"\0\n" * 2 + b"x" * 100000 + b"\n" * 50)
    assert run.status in (0, 1)
    if run.status == 0:
        assert attributes_of(tree)


def test_interrupt_ends_the_dialog_and_leaves_the_terminal_as_it_was(new_tree):
    tree = new_tree()
    dialog = Dialog(tree, terminal=True)
    dialog.answer("<ip|hostname>[]: ", "qdv")
    assert termios.tcgetattr(dialog._out)[3] & termios.ECHO
    dialog.process.send_signal(signal.SIGINT)
    assert dialog.finish() == -signal.SIGINT
    assert not tree.agent_conf.exists()
