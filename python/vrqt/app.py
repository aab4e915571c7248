"""A running program with the agent: launch, attach, or join a session."""
from __future__ import annotations

import itertools
import os
import re
import select
import time
from pathlib import Path
from typing import Any, Sequence

from .connection import PROTOCOL_VERSION, Connection
from .errors import Closing, ConnectionLost, NoSuchObject, ProgramCrashed, ProgramEnded, VrqtError
from .objects import QtObject
from .recording import Recording
from .sessions import SessionInfo, find_vrqt, run_vrqt
from .tree import Tree


def _process_runs(pid: int | None) -> bool:
    if not pid:
        return True  # unknown: assume it does
    try:
        os.kill(pid, 0)
    except ProcessLookupError:
        return False
    except PermissionError:
        return True
    # A zombie has ended for our purposes.
    try:
        return Path(f"/proc/{pid}/stat").read_text().rsplit(") ", 1)[1][0] != "Z"
    except (OSError, IndexError):
        return True


class App:
    """A Qt program that a session's agent serves.

    Made by launch(), attach() or session(); a context manager that closes
    the program on leaving.
    """

    def __init__(self, session: SessionInfo, *, owned: bool, vrqt: str | None = None,
                 timeout: float = 10.0):
        self.session = session
        self.owned = owned  # we started or attached the session: close() stops it
        self.timeout = timeout
        self._vrqt = vrqt
        self._connection: Connection | None = None
        self.hello: dict[str, Any] = {}
        self.connect()

    # The connection.

    def connect(self) -> None:
        self._connection = Connection(str(self.session.socket), on_lost=self._lost)
        self.hello = self._connection.request("hello", timeout=self.timeout)
        if self.hello.get("protocol") != PROTOCOL_VERSION:
            raise VrqtError(f"the agent speaks protocol {self.hello.get('protocol')}, "
                            f"this package {PROTOCOL_VERSION}")

    def _lost(self, message: str) -> ConnectionLost:
        """The most telling exception for a connection that went away."""
        deadline = time.monotonic() + 2.0
        # The crash note is written before the signal takes its course, the
        # process ends soon after: give it a moment.
        while _process_runs(self.session.pid) and time.monotonic() < deadline:
            if self.session.crash_note():
                break
            time.sleep(0.02)
        note = self.session.crash_note()
        if note:
            return ProgramCrashed(f"the program of session {self.session.name} crashed: {note}",
                                  {"crashLog": note, "pid": self.session.pid})
        if not _process_runs(self.session.pid):
            return ProgramEnded(f"the program of session {self.session.name} (pid {self.session.pid}) "
                                f"ended: {message}", {"pid": self.session.pid})
        return ConnectionLost(message)

    @property
    def pid(self) -> int | None:
        return self.hello.get("pid") or self.session.pid

    @property
    def name(self) -> str:
        return self.session.name

    @property
    def requests(self) -> list[str]:
        """The requests this agent knows."""
        return list(self.hello.get("requests", []))

    def request(self, name: str, params: dict[str, Any] | None = None, *,
                timeout: float | None = None) -> Any:
        """Sends any request and returns its raw result (see docs/protocol.md)."""
        if self._connection is None:
            raise ConnectionLost(f"not connected to session {self.session.name}")
        return self._connection.request(name, params, timeout=timeout or self.timeout)

    # Objects.

    def find(self, reference: str) -> QtObject:
        """The one object ``reference`` names: a path, a name, a selector.

        Raises NoSuchObject or AmbiguousObject at once.
        """
        # describe of one cheap member says who the object is, nothing more.
        answer = self.request("describe", {"object": reference, "member": "objectName"})
        return QtObject.from_info(self, answer["object"])

    def exists(self, reference: str) -> bool:
        """Whether exactly one object answers to ``reference`` now."""
        try:
            self.find(reference)
        except NoSuchObject:
            return False
        return True

    def wait_for(self, reference: str, timeout: float = 10.0) -> QtObject:
        """Waits until an object exists and returns it."""
        self.request("wait", {"object": reference}, timeout=timeout)
        return self.find(reference)

    def wait_gone(self, reference: str, timeout: float = 10.0) -> None:
        """Waits until no object answers to the reference any more (a dialog
        closed and deleted, say)."""
        self.request("wait", {"object": reference, "gone": True}, timeout=timeout)

    def tree(self, objects: bool = False) -> Tree:
        """The widget tree; with objects, every QObject (actions, models, ...) too."""
        return Tree.from_result(self.request("tree", {"objects": True} if objects else {}))

    def status(self) -> dict[str, Any]:
        return self.request("status")

    def settle(self, quiet: float = 0.1, timeout: float = 5.0) -> bool:
        """Waits until the program has had no event for ``quiet`` seconds."""
        answer = self.request("settle", {"quiet": max(1, round(quiet * 1000))}, timeout=timeout)
        return bool(answer.get("settled"))

    def shot(self, path: str, *, screen: bool = False, outline: bool = False) -> dict[str, Any]:
        """Saves a PNG picture of the main window (or the whole screen)."""
        return self.request("shot", {"path": os.path.abspath(path), "screen": screen, "outline": outline})

    def record(self) -> Recording:
        """Starts recording what the user does; iterate the answer for actions."""
        connection = Connection(str(self.session.socket), on_lost=self._lost)
        try:
            connection.request("hello", timeout=self.timeout)
            answer = connection.request("record", timeout=self.timeout)
        except BaseException:
            connection.close()
            raise
        return Recording(connection, answer)

    def __getitem__(self, reference: str) -> QtObject:
        return self.find(reference)

    # The end.

    def quit(self) -> None:
        """Asks the program to quit; it ends as its main ends."""
        try:
            self.request("quit")
        except (Closing, ConnectionLost):
            pass  # quitting already, or gone

    def wait_ended(self, timeout: float = 10.0) -> bool:
        """Waits until the program has ended; False when it still runs after ``timeout``."""
        if self.pid:
            try:
                # Readable once the process has ended: no polling, and a
                # process that is not our child can be waited for too.
                descriptor = os.pidfd_open(self.pid)
            except ProcessLookupError:
                return True
            except OSError:
                pass  # a kernel without pidfds: look now and then below
            else:
                try:
                    return bool(select.select([descriptor], [], [], timeout)[0]) or not _process_runs(self.pid)
                finally:
                    os.close(descriptor)
        deadline = time.monotonic() + timeout
        while _process_runs(self.pid):
            if time.monotonic() > deadline:
                return False
            time.sleep(0.02)
        return True

    def detach(self) -> None:
        """Closes our connection and leaves the program running."""
        if self._connection is not None:
            self._connection.close()
            self._connection = None

    def close(self, timeout: float = 30.0) -> None:
        """Quits the program; a session we started or attached is stopped and removed."""
        if not self.owned:
            self.quit()
            self.detach()
            self.wait_ended(timeout)
            return
        self.detach()
        if not _process_runs(self.pid) and not self.session.folder.exists():
            return
        try:
            # vrqt stop asks the program to quit itself (a second quit would
            # be answered "closing" and taken for a program that does not
            # quit), waits, ends a program that stays, removes the folder.
            run_vrqt(find_vrqt(self._vrqt), ["stop", "--timeout", f"{timeout:g}", self.session.name],
                     timeout + 10)
        except VrqtError:
            if _process_runs(self.pid):
                raise

    def __enter__(self) -> "App":
        return self

    def __exit__(self, *exc: object) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<vrqt.App session={self.session.name} pid={self.pid}>"


def launch(program: Sequence[str], *, name: str | None = None, qt: int | None = None,
           vrqt: str | os.PathLike[str] | None = None, env: dict[str, str] | None = None,
           timeout: float = 30.0) -> App:
    """Starts ``program`` with the agent in a session of its own and connects.

    Returns once its main widget shows. ``env`` adds to the environment.
    The session is named ``name``, else after the program, this process
    and a count (``vrqt-gallery-4711-1``).
    """
    binary = find_vrqt(vrqt)
    # A name of our own, so that a start that fails half way (the program
    # runs, its agent never answered) can still be stopped.
    name = name or _session_name(str(program[0]))
    arguments = ["start", "--json", "--timeout", f"{timeout:g}", "--name", name]
    if qt:
        arguments += ["--qt", str(qt)]
    environment = {**os.environ, **env} if env else None
    try:
        answer = run_vrqt(binary, [*arguments, "--", *map(str, program)], timeout + 10, environment)
    except VrqtError:
        _stop_quietly(binary, name)
        raise
    return _joined(answer, binary)


_launches = itertools.count(1)


def _session_name(program: str) -> str:
    stem = re.sub(r"[^A-Za-z0-9_-]", "_", Path(program).name)[:32] or "session"
    return f"{stem}-{os.getpid()}-{next(_launches)}"


def _stop_quietly(binary: str, name: str) -> None:
    try:
        run_vrqt(binary, ["stop", name], 40)
    except VrqtError:
        pass  # no such session: nothing was left running


def attach(pid: int, *, name: str | None = None, vrqt: str | os.PathLike[str] | None = None,
           timeout: float = 30.0) -> App:
    """Makes a session of a running Qt program through the debugger and connects."""
    binary = find_vrqt(vrqt)
    arguments = ["attach", "--json", "--timeout", f"{timeout:g}"]
    if name:
        arguments += ["--name", name]
    return _joined(run_vrqt(binary, [*arguments, str(pid)], timeout + 10), binary)


def _joined(answer: dict[str, Any], binary: str) -> App:
    info = SessionInfo.load(answer["name"])
    if info.pid is None:
        info.pid = answer.get("pid")
    try:
        return App(info, owned=True, vrqt=binary)
    except BaseException:
        _stop_quietly(binary, info.name)
        raise


def session(name: str | None = None, *, vrqt: str | os.PathLike[str] | None = None) -> App:
    """Connects to a running session, by name or $VRQT_SESSION; close() quits its program."""
    name = name or os.environ.get("VRQT_SESSION")
    if not name:
        raise VrqtError("no session named: pass a name or set VRQT_SESSION")
    info = SessionInfo.load(name)
    if not info.socket.exists():
        raise ConnectionLost(f"no session {name} in {info.folder.parent}")
    return App(info, owned=False, vrqt=str(vrqt) if vrqt else None)
