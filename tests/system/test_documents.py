"""What the documents say of the tests is true."""

import re
from pathlib import Path

TESTS = Path(__file__).resolve().parents[1]


def test_claims_about_security_name_tests_that_exist():
    claims = set(re.findall(r"(\w+\.(?:py|cpp))::([\w.]+)", (TESTS.parent / "docs/security.md").read_text()))
    assert len(claims) > 40
    for file, name in claims:
        suite, _, case = name.rpartition(".")
        wanted = rf"^def {name}\(" if file.endswith(".py") else rf"^TEST(_[FP])?\({suite}, {case}\)"
        texts = [path.read_text() for path in TESTS.rglob(file)]
        assert len(texts) == 1 and re.search(wanted, texts[0], re.M), (file, name)
