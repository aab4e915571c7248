"""The pytest plugin, run on tests of its own through pytester."""
import importlib.metadata
import os
from pathlib import Path

import pytest

import vrqt

pytest_plugins = ["pytester"]


@pytest.fixture
def run_inner(pytester, monkeypatch):
    """Runs pytest on the inner tests with this package's plugin."""
    monkeypatch.setenv("PYTHONPATH", str(Path(vrqt.__file__).parent.parent))
    installed = any(entry.name == "vrqt" for entry in importlib.metadata.entry_points(group="pytest11"))
    plugin = [] if installed else ["-p", "vrqt.pytest_plugin"]
    return lambda *arguments: pytester.runpytest_subprocess(*plugin, *arguments)

TESTS = """
import pytest

@pytest.mark.qt_program(["vrqt-gallery"])
def test_passes(qt_app):
    assert qt_app.find("counterButton").get("text") == "Count"
    open("pid-pass", "w").write(str(qt_app.pid))

@pytest.mark.qt_program(["vrqt-gallery"])
def test_fails(qt_app):
    open("pid-fail", "w").write(str(qt_app.pid))
    assert qt_app.find("clickCountLabel").get("text") == "nothing like it"

def test_from_the_command_line(qt_app):
    assert qt_app.find("counterButton").name == "counterButton"
"""


def ended(pid):
    try:
        os.kill(pid, 0)
    except ProcessLookupError:
        return True
    with open(f"/proc/{pid}/stat") as stat:
        return stat.read().rsplit(") ", 1)[1].startswith("Z")


def test_fixture_saves_output_on_failure_and_always_ends_the_program(pytester, run_inner, monkeypatch):
    monkeypatch.setenv("QT_QPA_PLATFORM", "offscreen")
    pytester.makepyfile(test_inner=TESTS)
    result = run_inner("--qt-program", "vrqt-gallery")
    result.assert_outcomes(passed=2, failed=1)
    result.stdout.fnmatch_lines(["*program output saved to*test_fails*output.log*"])
    saved = list((pytester.path / "vrqt-artifacts").glob("*test_fails*.output.log"))
    assert len(saved) == 1
    assert not list((pytester.path / "vrqt-artifacts").glob("*test_passes*"))
    for name in ["pid-pass", "pid-fail"]:
        assert ended(int((pytester.path / name).read_text()))


def test_a_test_without_a_program_is_told_how_to_name_one(pytester, run_inner):
    pytester.makepyfile(test_inner="def test_it(qt_app):\n    pass\n")
    result = run_inner()
    result.assert_outcomes(errors=1)
    result.stdout.fnmatch_lines(["*qt_program*--qt-program*"])
