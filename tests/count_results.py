"""Adds up the JUnit files below a folder and prints one line; exit status 1 if any test failed."""

import pathlib
import sys
import xml.etree.ElementTree as ElementTree


def counts(path):
    root = ElementTree.parse(path).getroot()
    # GoogleTest repeats the sums of its suites in the root; pytest does not.
    suites = [root] if root.get("tests") else list(root.iter("testsuite"))

    def total(name):
        return sum(int(suite.get(name, 0)) for suite in suites)

    skipped = sum(1 for case in root.iter("testcase") if case.find("skipped") is not None)
    return total("tests"), total("failures") + total("errors"), skipped


def main():
    tests = failures = skipped = 0
    for path in sorted(pathlib.Path(sys.argv[1]).rglob("*.xml")):
        more = counts(path)
        tests, failures, skipped = tests + more[0], failures + more[1], skipped + more[2]
    print(f"{tests - failures - skipped} tests passed, {skipped} skipped, {failures} failed")
    return 1 if failures else 0


sys.exit(main())
