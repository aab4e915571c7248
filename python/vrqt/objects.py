"""An object of the program, named as the agent names objects."""
from __future__ import annotations

import os
import time
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

from .errors import TimedOut
from .items import Item, Items, items_from_result
from .values import from_result, to_literal

if TYPE_CHECKING:
    from .app import App

# The operators a wait compares with.
OPERATORS = ("==", "=", "!=", "<", "<=", ">", ">=", "~")


@dataclass(eq=False)
class QtObject:
    """One QObject or QWidget of the program.

    ``path`` is its exact path (``/window/.../okButton``), which names
    exactly this object in every later request.
    """

    app: "App"
    path: str
    class_name: str | None = None
    name: str | None = None
    address: str | None = None

    @classmethod
    def from_info(cls, app: "App", info: dict[str, Any]) -> "QtObject":
        # An object of another thread has no path; its address still names it.
        reference = info.get("path") or "@" + str(info.get("address"))
        if not reference.startswith(("/", "@")):
            reference = "/" + reference
        return cls(app, reference, info.get("className"), info.get("objectName"), info.get("address"))

    def __eq__(self, other: object) -> bool:
        return isinstance(other, QtObject) and other.app is self.app and other.path == self.path

    def __hash__(self) -> int:
        return hash(self.path)

    def __repr__(self) -> str:
        return f"<QtObject {self.class_name or '?'} {self.path}>"

    def _request(self, name: str, timeout: float | None = None, **params: Any) -> Any:
        return self.app.request(name, {"object": self.path, **params}, timeout=timeout)

    # Scripting through the type description.

    def get(self, member: str) -> Any:
        """Reads a property, or a path of them (``geometry.width``)."""
        return from_result(self.app, self._request("get", member=member))

    def set(self, member: str, value: Any) -> None:
        """Writes a property; texts arrive as texts, numbers as numbers."""
        self._request("set", member=member, value=to_literal(value))

    def call(self, method: str, *arguments: Any, timeout: float | None = None) -> Any:
        """Calls a method; a ModalLoop when it opened a modal dialog or menu."""
        return from_result(self.app, self._request(
            "call", timeout, method=method, arguments=[to_literal(a) for a in arguments]))

    def describe(self, member: str | None = None) -> dict[str, Any]:
        """The members the object's type description offers, class by class."""
        return self._request("describe", **({"member": member} if member else {}))

    def __getitem__(self, member: str) -> Any:
        return self.get(member)

    def __setitem__(self, member: str, value: Any) -> None:
        self.set(member, value)

    def child(self, reference: str) -> "QtObject":
        """An object below this one: ``dialog.child("okButton")`` at any depth."""
        return self.app.find(f"{self.path}//{reference}")

    # Items through the control helpers.

    def items(self) -> Items:
        """Rows, cells, tree items, menu entries, tabs or editor values."""
        return items_from_result(self, self._request("items"))

    def item(self, key: str) -> Item:
        """One item by key or path (``Archive|2023``, ``Apple|Price``)."""
        return self.items()[key]

    def wait_for_item(self, key: str, timeout: float = 10.0) -> Item:
        """Waits until an item exists: models that fill in the background
        (a file system model) list their items only after a while."""
        deadline = time.monotonic() + timeout
        while True:
            try:
                return self.item(key)
            except KeyError:
                if time.monotonic() >= deadline:
                    raise TimedOut(f"{self.path} has no item {key!r} after {timeout:g} s") from None
            self.app.settle(quiet=0.05, timeout=max(0.05, min(1.0, deadline - time.monotonic())))

    def act(self, key: str, action: str, value: Any = None) -> dict[str, Any]:
        """Runs an item action (``expand``, ``select``, ``set`` ...) on the item ``key``."""
        params: dict[str, Any] = {"key": key, "action": action}
        if value is not None:
            # Item values are texts: numbers, dates, check states by name.
            params["value"] = str(value).lower() if isinstance(value, bool) else str(value)
        return self._request("item", **params)

    # Acting like a user: real input under an X server, Qt's events offscreen.

    def _input(self, action: str, item: str | None = None, **params: Any) -> dict[str, Any]:
        if item is not None:
            params["item"] = item
        done = self._request("input", action=action, **params)
        # The next request sees the result: the program has taken the input.
        self.app.settle(quiet=0.05, timeout=3.0)
        return done

    def click(self, item: str | None = None) -> dict[str, Any]:
        """Clicks the object, or its item (a row, a cell, a tab, ``File|Save``)."""
        return self._input("click", item)

    def double_click(self, item: str | None = None) -> dict[str, Any]:
        return self._input("dclick", item)

    def right_click(self, item: str | None = None) -> dict[str, Any]:
        return self._input("rclick", item)

    def type(self, text: str) -> dict[str, Any]:
        """Gives the object the focus and types ``text``."""
        return self._input("type", text=text)

    def key(self, sequence: str) -> dict[str, Any]:
        """Presses a key sequence in Qt's syntax: ``Ctrl+S``, ``Alt+F4``, ``Down``."""
        return self._input("key", sequence=sequence)

    def scroll(self, steps: int) -> dict[str, Any]:
        """Turns the wheel ``steps`` notches over the object (negative: down)."""
        return self._input("scroll", steps=steps)

    def drag_to(self, target: "QtObject", item: str | None = None, target_item: str | None = None) -> dict[str, Any]:
        """Presses on the object (or its item), moves to ``target`` and releases."""
        to: dict[str, Any] = {"object": target.path}
        if target_item is not None:
            to["item"] = target_item
        return self._input("drag", item, to=to)

    def shot(self, path: str, *, outline: bool = False) -> dict[str, Any]:
        """Saves a PNG picture of the object; returns the rectangles of what
        can be named in it (its items, else its widgets)."""
        return self._request("shot", path=os.path.abspath(path), outline=outline)

    # Waiting.

    def wait_until(self, member: str, value: Any = True, *, op: str = "==",
                   timeout: float = 10.0) -> Any:
        """Waits until ``member`` compares with ``value`` as ``op`` says.

        ``obj.wait_until("enabled")`` waits for true; ``obj.wait_until("value",
        3, op=">=")`` for a number. Returns what the last check read;
        raises TimedOut (with ``.last``) when the time runs out.
        """
        if op not in OPERATORS:
            raise ValueError(f"unknown operator {op!r}; use one of {', '.join(OPERATORS)}")
        params: dict[str, Any] = {"member": member, "operator": op}
        if value is not True or op != "==":
            params["value"] = to_literal(value)
        else:
            del params["operator"]  # without one the member must read true
        return self._request("wait", timeout, **params).get("value")
