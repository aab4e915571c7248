"""Starting, joining, leaving and ending sessions."""
import os
import shutil
import signal
import subprocess
import time

import pytest

import vrqt


def test_launch_connects_to_the_started_program(fresh_gallery):
    assert fresh_gallery.hello["protocol"] == 1
    assert fresh_gallery.pid == fresh_gallery.session.pid
    assert fresh_gallery.session.socket.exists()
    assert "get" in fresh_gallery.requests
    assert fresh_gallery.status()["mainWidgetShown"] is True


def test_a_second_client_sees_the_same_program(fresh_gallery):
    fresh_gallery.find("counterButton").call("click")
    other = vrqt.session(fresh_gallery.name)
    try:
        assert other.pid == fresh_gallery.pid
        assert other.find("clickCountLabel").get("text") == "Clicks: 1"
    finally:
        other.detach()
    # Leaving the session left the program running.
    assert fresh_gallery.find("clickCountLabel").get("text") == "Clicks: 1"


def test_close_ends_the_program_and_removes_the_session():
    app = vrqt.launch(["vrqt-gallery"], env={"QT_QPA_PLATFORM": "offscreen"})
    folder = app.session.folder
    with app:
        assert folder.is_dir()
    assert not folder.exists()
    assert app.wait_ended(timeout=0)


def test_a_session_by_name_from_the_environment(fresh_gallery, monkeypatch):
    monkeypatch.setenv("VRQT_SESSION", fresh_gallery.name)
    joined = vrqt.session()
    assert joined.name == fresh_gallery.name
    joined.detach()


def test_an_unknown_session_is_refused():
    with pytest.raises(vrqt.ConnectionLost, match="no session"):
        vrqt.session("no-such-session-here")


def test_launch_of_a_missing_program_fails():
    with pytest.raises(vrqt.VrqtError):
        vrqt.launch(["/nonexistent/program"], timeout=5)


def test_a_crash_raises_program_crashed_with_the_note(fresh_gallery):
    os.kill(fresh_gallery.pid, signal.SIGSEGV)
    with pytest.raises(vrqt.ProgramCrashed, match="signal 11") as crash:
        fresh_gallery.find("counterButton").get("text")
    assert "signal 11" in crash.value.details["crashLog"]
    assert fresh_gallery.wait_ended(timeout=10)


def test_a_program_that_ends_raises_program_ended(fresh_gallery):
    fresh_gallery.quit()
    assert fresh_gallery.wait_ended(timeout=10)
    with pytest.raises(vrqt.ProgramEnded) as ended:
        fresh_gallery.find("counterButton")
    assert not isinstance(ended.value, vrqt.ProgramCrashed)


@pytest.mark.skipif(shutil.which("gdb") is None, reason="vrqt attach needs gdb")
def test_attach_to_a_running_program_and_close_it_cleanly():
    gallery = shutil.which("vrqt-gallery")
    program = subprocess.Popen([gallery], env={**os.environ, "QT_QPA_PLATFORM": "offscreen"},
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        app = attach_once_it_runs(program.pid)
        with app:
            assert app.session.attached and app.pid == program.pid
            assert app.find("counterButton").get("text") == "Count"
        # Asked to quit, not killed: main returned.
        assert program.wait(timeout=30) == 0
        assert not app.session.folder.exists()
    finally:
        if program.poll() is None:
            program.kill()
            program.wait()


def attach_once_it_runs(pid):
    # Attaching needs the application object, which a just-started program
    # may not have made yet.
    for _ in range(100):
        try:
            return vrqt.attach(pid, timeout=10)
        except vrqt.VrqtError as error:
            last = error
            time.sleep(0.2)
    raise last


def test_a_failed_start_leaves_no_session_behind(tmp_path):
    # A program that runs but never makes an application object: the agent
    # never answers, and the start gives up.
    script = tmp_path / "silent.sh"
    script.write_text("#!/bin/sh\nexec sleep 60\n")
    script.chmod(0o755)
    with pytest.raises(vrqt.VrqtError):
        vrqt.launch([str(script)], name="silent-start", qt=5, timeout=2)
    assert not (vrqt.sessions.sessions_root() / "silent-start").exists()
