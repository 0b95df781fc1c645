"""`qdvctl host capture`: this machine as a folder that tests can audit."""

import platform
import subprocess

from harness import limit
from harness.tree import environment


def test_capture_of_this_machine(stage, tmp_path):
    def capture(*arguments):
        command = [str(stage / "bin" / "qdvctl"), "host", "capture", *arguments]
        done = subprocess.run(command, cwd=tmp_path, capture_output=True, env=environment(), timeout=limit(120), text=True)
        return done.returncode, done.stdout, done.stderr

    status, stdout, stderr = capture("here")
    assert status == 0 and "are recorded in here\n" in stdout, stderr
    index = (tmp_path / "here" / "index").read_text().splitlines()
    assert f'command "uname -r" = "{platform.release()}\\n"' in index
    assert any(line.startswith("filesystem / = ") for line in index)
    assert sorted(path.name for path in (tmp_path / "here").iterdir()) == ["index", "text"]

    for arguments, why in ((["here"], "not empty"), (["no/such"], "No such file"), ([], "required"), (["a", "b"], "b")):
        status, stdout, stderr = capture(*arguments)
        assert status == 2 and stdout == "" and why in stderr, arguments
