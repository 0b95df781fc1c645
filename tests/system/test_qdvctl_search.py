"""The operator's search: hits in each form, later looks at them, and what is said when something is in the way."""

import os
import re
import signal

import pytest

from harness import Dialog, Port, to_bytes


def test_hits_as_table_json_and_bare_paths(ctl, reporting, tmp_path):
    at, listen = reporting
    names = [b"a'\n\x1b[31m\xff", "ä".encode(), b"results", b"small"]
    for name in names:
        with open(os.fsencode(tmp_path / "one") + name, "wb") as file:
            file.truncate(10 if name == b"small" else 3 << 20)
    (tmp_path / "two").mkdir()
    (tmp_path / "two" / "onemore").write_bytes(b"")
    sought = ["search", "--volume", tmp_path, *at, *listen]

    table = ctl(*sought, "--volume", tmp_path / "two", "--volume", tmp_path / "none", "size", ">", "1M", "or", "name", "=", "onemore")
    assert table.status == 1 and table.stderr == f"qdvctl: {tmp_path}/none: its search ended with Error_Access\n"
    rows = {line.split()[-1]: line.split()[:-1] for line in table.stdout.splitlines() if "  " in line}
    bytes_found = str(9 << 20)
    assert rows[str(tmp_path)] == ["5", "1", "4", bytes_found, "0"]
    assert rows[f"{tmp_path}/two"] == ["1", "0", "1", "0", "0"] and rows[f"{tmp_path}/none"] == ["0", "0", "0", "0", "1"]
    assert rows["(together)"] == ["6", "1", "5", bytes_found, "1"]
    assert table.stdout.count(f"{tmp_path}/two/onemore\n") == 2 and "\\x0a\\x1b[31m\\xff\n" in table.stdout

    bare = ctl(*sought, "--null", *"name contains results or size > 1M".split())
    expected = {os.fsencode(tmp_path / "one") + name for name in names[:3]}
    assert bare.status == 0 and set(bare.raw.rstrip(b"\0").split(b"\0")) == expected
    assert bare.raw.count(b"\0") == 3 and "Search qdvctl-" in bare.stderr

    told = ctl(*sought, "--json", "--token", "mine", "name = oneresults or size > 1M").json
    assert told[0]["token"] == "mine" and told[0]["elements"][1]["elements"][0]["attributes"]["numFilesHit"] == "3"
    assert {to_bytes(hit["attributes"]["path"]) for hit in told[1:]} == expected
    later = ctl("search", "results", "mine", "--volume", tmp_path, "--start", "1", "--json", *at).json
    assert later == told[2:]
    assert ctl("search", "delete", "mine", *at).status == 0
    gone = ctl("search", "results", "mine", "--volume", tmp_path, *at)
    assert (gone.status, gone.stdout) == (1, "") and f"{tmp_path}: the search has no results there" in gone.stderr


def test_many_hits_come_by_pages(ctl, start, server, tmp_path):
    """Of an agent that reports to a server on this host, which keeps the ports."""
    at = ["--agent", f"127.0.0.1:{start(server=server).port}", "--uuid", "id"]
    for number in range(2001):
        (tmp_path / f"{number}").touch()
    listen = ["--port", server.plain_port, "--tls-port", server.tls_port]
    first = ctl("search", "--volume", tmp_path, "not", "dir", *at, *listen)
    assert first.status == 0 and first.stdout.count(f"{tmp_path}/") == 100
    assert "no progress and no summary" in first.stderr
    command = re.search(r"^There are more; all of them: qdvctl (.*)$", first.stdout, re.M)[1].split()
    everything = ctl(*command)
    assert everything.status == 0 and len(set(re.findall(rf"{tmp_path}/\d+$", everything.stdout, re.M))) == 2001
    assert "There are more" not in everything.stdout
    nothing = ctl(*command, "--start", "2001")
    assert (nothing.status, nothing.stdout) == (0, "No hits.\n")


@pytest.mark.parametrize(
    "line, complaint",
    [
        (["dir"], r"--volume is required; see"),
        (["--volume", "here", "dir"], r"--volume here: an absolute path is expected; see"),
        (["results", "t", "--volume", "/a", "--volume", "/b", "--start", "1"], r"--start needs a single --volume"),
        (["--volume", "/", "size", ">", "1M", "and", "foo"], r'column 15: there is no value "foo".*\nsize > 1M and foo\n {14}\^\n$'),
    ],
)
def test_what_cannot_be_obeyed(ctl, line, complaint):
    done = ctl("search", *line)
    assert (done.status, done.stdout) == (2, "") and re.search(complaint, done.stderr), done.stderr


def test_refusals_are_told(ctl, agent):
    done = ctl("search", "--volume", "/etc", "dir", "--agent", f"127.0.0.1:{agent.port}", "--port", Port().number)
    assert done.status == 1 and "SearchFSOs: error, invalid uuid\nqdvctl: the method needs" in done.stderr


def test_interrupt_leaves_the_terminal_clean_and_says_how_to_go_on(ctl, start, server, tmp_path):
    (tmp_path / "file's").touch()
    agent = start(server=server)
    line = ["search", "--volume", f"{tmp_path}", "--volume", f"{tmp_path}/no'ne", "not dir", "--uuid", "id"]
    with server.holding():
        dialog = Dialog(ctl.program, *line, "--agent", f"127.0.0.1:{agent.port}", "--port", str(Port().number))
        server.wait_calls("SearchProgress")
        dialog.type("\x03")
        assert dialog.finish() == -signal.SIGINT
    assert "\x1b[Kqdvctl: interrupted; the agent goes on" in dialog.seen
    command = re.search(r"What it finds: qdvctl (.*)\n$", dialog.seen)[1]
    assert f"--volume {tmp_path} --volume $'{tmp_path}/no\\'ne'" in command
    server.wait_calls("SearchResultsSummary")
    found = ctl(*command.partition(" --volume $")[0].split(), "--agent", f"127.0.0.1:{agent.port}", "--uuid", "id")
    assert found.status == 0 and f"{tmp_path}/file's\n" in found.stdout
