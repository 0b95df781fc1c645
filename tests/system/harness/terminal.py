"""A program that talks to a person, on a terminal or through pipes."""

import fcntl
import os
import pty
import select
import subprocess
import termios
import time

from .limits import PATIENCE, wait_until
from .tree import environment


class Dialog:
    """The program at work, read and answered one prompt at a time. A terminal is its controlling one."""

    def __init__(self, *command, terminal=True):
        if terminal:
            self.descriptor, inner = pty.openpty()
            stdin, stdout, stderr, self._out = inner, inner, inner, self.descriptor
        else:
            (stdin, self.descriptor), (self._out, stdout), stderr = os.pipe(), os.pipe(), subprocess.DEVNULL
        self.process = subprocess.Popen(
            command, cwd="/", env=environment(), stdin=stdin, stdout=stdout, stderr=stderr, start_new_session=True,
            preexec_fn=(lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0)) if terminal else None,
        )  # fmt: skip
        for descriptor in {stdin, stdout}:
            os.close(descriptor)
        self.seen = ""

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
        end = time.monotonic() + PATIENCE
        while not self.seen.endswith(prompt):
            assert self._read_some(end), f"ended without asking {prompt!r}: {self.seen[-300:]!r}"
        self.type(text + "\n")
        self.seen += "\0"  # what has been seen before does not count as an answer to this

    def type(self, text):
        os.write(self.descriptor, text.encode())

    def has_echo(self):
        return bool(termios.tcgetattr(self.descriptor)[3] & termios.ECHO)

    def wait_for_password(self, prompt):
        end = time.monotonic() + PATIENCE
        while not self.seen.endswith(prompt):
            assert self._read_some(end), self.seen
        wait_until(lambda: not self.has_echo(), "the echo to go")

    def finish(self):
        """Reads to the end and returns the exit status."""
        end = time.monotonic() + PATIENCE
        while self._read_some(end):
            pass
        for descriptor in {self.descriptor, self._out}:
            os.close(descriptor)
        return self.process.wait(PATIENCE)
