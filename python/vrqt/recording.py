"""What the user does, as the record request streams it."""
from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any, Iterator

from .connection import Connection
from .errors import ConnectionLost, ProgramCrashed


@dataclass(frozen=True)
class Action:
    """One user action: the object to act on again, the event and its value."""

    time: str
    object: str
    kind: str
    event: str
    value: Any = None
    key: str | None = None
    extra: dict[str, Any] = field(default_factory=dict)

    @classmethod
    def from_line(cls, action: dict[str, Any]) -> "Action":
        known = ("time", "object", "kind", "event", "value", "key")
        return cls(*(action.get(name) for name in known),
                   extra={k: v for k, v in action.items() if k not in known})


class Recording:
    """An iterator of Actions on a connection of its own.

    Iterating blocks until the next action; ``next_action(timeout)`` waits
    at most that long. ``dropped`` counts the actions the agent had to drop
    because we read too slowly. Close it (or use ``with``) to stop.
    """

    def __init__(self, connection: Connection, answer: dict[str, Any]):
        self._connection = connection
        self.answer = answer
        self.dropped = 0

    def next_action(self, timeout: float | None = None) -> Action | None:
        """The next action, or None when none came within ``timeout`` seconds."""
        while True:
            try:
                line = self._connection.read_line(timeout, "record")
            except TimeoutError:
                return None
            if "action" in line:
                return Action.from_line(line["action"])
            self.dropped += int(line.get("dropped", 0))

    def __iter__(self) -> Iterator[Action]:
        """Every action until the program ends; a crash still raises."""
        while True:
            try:
                action = self.next_action()
            except ProgramCrashed:
                raise
            except ConnectionLost:
                return
            if action is not None:
                yield action

    def close(self) -> None:
        self._connection.close()

    def __enter__(self) -> "Recording":
        return self

    def __exit__(self, *exc: object) -> None:
        self.close()
