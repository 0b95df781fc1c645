"""qdvctl, run to its end."""

import json
import os
import re
import subprocess

from .limits import PATIENCE
from .tree import SANITIZER_SIGNS, environment


class Result:
    def __init__(self, done):
        self.status = done.returncode
        self.raw = done.stdout
        self.stderr = done.stderr.decode()
        assert not any(sign in self.stderr for sign in SANITIZER_SIGNS), self.stderr

    @property
    def stdout(self):
        return self.raw.decode()

    @property
    def json(self):
        """The documents shown, one a line."""
        return [json.loads(line) for line in self.stdout.splitlines()]

    def error(self, status):
        """The one line that a failed command leaves, without the program's name."""
        match = re.fullmatch(r"qdvctl: ([^\n]+)\n", self.stderr)
        assert (self.status, self.stdout) == (status, "") and match, (self.status, self.stdout, self.stderr)
        return match[1]


class Ctl:
    def __init__(self, stage):
        self.program = str(stage / "bin" / "qdvctl")

    def __call__(self, *arguments, stdin=b"", password=None, program=None):
        """Without a terminal; `password` is what --password-fd 3 gives."""
        options = {"stdin": stdin} if hasattr(stdin, "fileno") else {"input": stdin}
        command = [program or self.program, *map(str, arguments)]
        if password is not None:
            read, write = os.pipe()
            os.write(write, password)
            os.close(write)
            command += ["--password-fd", str(read)]
            options["pass_fds"] = (read,)
        done = subprocess.run(
            command, capture_output=True, env=environment(), cwd="/", timeout=PATIENCE, start_new_session=True, **options
        )
        if password is not None:
            os.close(read)
        return Result(done)
