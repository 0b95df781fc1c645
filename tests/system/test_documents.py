"""What the documents say of the program and of the tests is true."""

import re
import subprocess
from pathlib import Path

from harness import PATIENCE

TESTS = Path(__file__).resolve().parents[1]


def test_claims_about_security_name_tests_that_exist():
    claims = set(re.findall(r"(\w+\.(?:py|cpp))::([\w.]+)", (TESTS.parent / "docs/security.md").read_text()))
    assert len(claims) > 40
    for file, name in claims:
        suite, _, case = name.rpartition(".")
        wanted = rf"^def {name}\(" if file.endswith(".py") else rf"^TEST(_[FP])?\({suite}, {case}\)"
        texts = [path.read_text() for path in TESTS.rglob(file)]
        assert len(texts) == 1 and re.search(wanted, texts[0], re.M), (file, name)


def test_manual_pages_and_completion_know_every_command_and_option(stage):
    check = TESTS.parent / "packaging/check-options"
    done = subprocess.run([check, stage], stdout=subprocess.PIPE, text=True, timeout=PATIENCE)
    assert (done.returncode, done.stdout) == (0, "")


def test_folders_are_closed_as_told(stage):
    modes = {name: (stage / name).stat().st_mode & 0o777 for name in ("conf", "fileSearch", "actionSet")}
    assert modes == {"conf": 0o700, "fileSearch": 0o700, "actionSet": 0o711}
