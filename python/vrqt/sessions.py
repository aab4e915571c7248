"""Sessions on disk and the vrqt command line that starts and stops them."""
from __future__ import annotations

import json
import os
import shutil
import subprocess
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any, Sequence

from .errors import CommandFailed, ERRORS_BY_CODE, TimedOut


def sessions_root() -> Path:
    """Where sessions live: vrqt-sessions-UID in the runtime or temporary folder."""
    base = os.environ.get("XDG_RUNTIME_DIR") or os.environ.get("TMPDIR") or "/tmp"
    return Path(base) / f"vrqt-sessions-{os.getuid()}"


def find_vrqt(vrqt: str | os.PathLike[str] | None = None) -> str:
    """The vrqt program: the one given, $VRQT, PATH, or build/bin/vrqt in a
    source tree above this package or above the current folder."""
    candidates: list[str | os.PathLike[str] | None] = [vrqt, os.environ.get("VRQT"), shutil.which("vrqt")]
    for start in (Path(__file__).resolve(), Path.cwd()):
        candidates += [folder / "build" / "bin" / "vrqt" for folder in (start, *start.parents)]
    for candidate in candidates:
        if candidate and os.access(candidate, os.X_OK) and not os.path.isdir(candidate):
            return str(candidate)
    raise CommandFailed("no vrqt program found: pass vrqt=, set VRQT, or put it on PATH")


@dataclass
class SessionInfo:
    name: str
    folder: Path
    pid: int | None = None
    qt: int | None = None
    program: list[str] = field(default_factory=list)
    attached: bool = False

    @property
    def socket(self) -> Path:
        return self.folder / "agent.sock"

    @property
    def output_log(self) -> Path:
        return self.folder / "output.log"

    @property
    def crash_log(self) -> Path:
        return self.folder / "crash.log"

    @classmethod
    def load(cls, name: str) -> "SessionInfo":
        folder = sessions_root() / name
        try:
            data = json.loads((folder / "session.json").read_text())
        except (OSError, ValueError):
            data = {}
        return cls.from_json(name, folder, data)

    @classmethod
    def from_json(cls, name: str, folder: Path, data: dict[str, Any]) -> "SessionInfo":
        return cls(name, folder, data.get("pid"), data.get("qt"), list(data.get("program", [])),
                   bool(data.get("attached")))

    def crash_note(self) -> str:
        try:
            return self.crash_log.read_text(errors="replace").strip()
        except OSError:
            return ""


def run_vrqt(vrqt: str, arguments: Sequence[str], timeout: float, env: dict[str, str] | None = None) -> dict[str, Any]:
    """Runs one vrqt command with --json and returns what it printed last.

    A failure raises the exception of the code vrqt reports.
    """
    try:
        done = subprocess.run([vrqt, *arguments], capture_output=True, text=True,
                              timeout=timeout, env=env, stdin=subprocess.DEVNULL)
    except subprocess.TimeoutExpired:
        raise TimedOut(f"vrqt {arguments[0]} did not finish within {timeout:g} s") from None
    lines = [line for line in done.stdout.splitlines() if line.strip()]
    answer: dict[str, Any] = {}
    if lines:
        try:
            answer = json.loads(lines[-1])
        except ValueError:
            answer = {}
    if done.returncode == 0:
        return answer
    error = answer.get("error") or {}
    message = error.get("message") or done.stderr.strip() or f"vrqt {arguments[0]} failed"
    code = error.get("code")
    if code in ERRORS_BY_CODE:
        raise ERRORS_BY_CODE[code](message, {**error, "exit": done.returncode})
    raise CommandFailed(message, error, done.returncode)
