"""`qdvctl host capture`: this machine as a folder that tests can audit."""

import platform


def test_capture_of_this_machine(ctl, tmp_path):
    folder = tmp_path / "here"
    result = ctl("host", "capture", folder)
    assert result.status == 0 and f"are recorded in {folder}\n" in result.stdout, result.stderr
    index = (folder / "index").read_text().splitlines()
    assert f'command "uname -r" = "{platform.release()}\\n"' in index
    assert any(line.startswith("filesystem / = ") for line in index)
    assert sorted(path.name for path in folder.iterdir()) == ["index", "text"]
    assert folder.stat().st_mode & 0o777 == 0o700
    theirs = tmp_path / "theirs"
    theirs.mkdir()
    theirs.chmod(0o777)
    for arguments, why in ((["/no/such"], "No such file"), ([folder], "not empty"), ([theirs], "others can write"),
                           ([], "required"), (["a", "b"], "b")):  # fmt: skip
        assert why in ctl("host", "capture", *arguments).error(2)
