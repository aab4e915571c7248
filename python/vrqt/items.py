"""The items of an object: rows, cells, tree items, menu entries, tabs."""
from __future__ import annotations

from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any, Iterator

if TYPE_CHECKING:
    from .objects import QtObject


def escape_key(text: str) -> str:
    """An item's text written as a key step: ``|`` and ``\\`` escaped, a leading ``[`` too."""
    escaped = text.replace("\\", "\\\\").replace("|", "\\|")
    return "\\" + escaped if escaped.startswith("[") else escaped


def key_path(*steps: str) -> str:
    """A tree or menu key from its texts: ``key_path("usr", "lib")`` is ``usr|lib``."""
    return "|".join(escape_key(step) for step in steps)


@dataclass
class Item:
    """One item of an object, as ``items`` lists it; its actions act on it."""

    owner: "QtObject"
    key: str
    info: dict[str, Any]
    children: list["Item"] = field(default_factory=list)

    @property
    def text(self) -> str | None:
        return self.info.get("text")

    @property
    def path(self) -> str:
        """The key from the top (tree items, menu entries), else the key."""
        return self.info.get("path") or self.key

    def __getattr__(self, name: str) -> Any:
        # States and measures: selected, expanded, checked, rect, ...
        info = self.__dict__.get("info", {})
        if name in info:
            return info[name]
        raise AttributeError(f"item {self.__dict__.get('key')!r} has no {name!r}")

    def act(self, action: str, value: Any = None) -> dict[str, Any]:
        """Runs one of the family's actions (``item`` request) and returns the answer."""
        return self.owner.act(self.path, action, value)

    def click(self) -> dict[str, Any]:
        """Clicks the item as a user would, once it is brought into view."""
        return self.owner.click(self.path)

    def double_click(self) -> dict[str, Any]:
        return self.owner.double_click(self.path)

    # The actions the families offer, by name.
    def select(self) -> dict[str, Any]:
        return self.act("select")

    def deselect(self) -> dict[str, Any]:
        return self.act("deselect")

    def expand(self) -> dict[str, Any]:
        return self.act("expand")

    def collapse(self) -> dict[str, Any]:
        return self.act("collapse")

    def scroll(self) -> dict[str, Any]:
        """Scrolls the item into view."""
        return self.act("scroll")

    def show(self) -> dict[str, Any]:
        return self.act("show")

    def hide(self) -> dict[str, Any]:
        return self.act("hide")

    def bring_into_view(self) -> dict[str, Any]:
        return self.act("bringIntoView")

    def set_text(self, text: str) -> dict[str, Any]:
        return self.act("setText", text)

    def set(self, value: Any) -> dict[str, Any]:
        return self.act("set", value)

    def step(self, steps: int) -> dict[str, Any]:
        return self.act("step", steps)

    def walk(self) -> Iterator["Item"]:
        """This item and every one below it, depth first."""
        yield self
        for child in self.children:
            yield from child.walk()


@dataclass
class Items:
    """What ``items`` answers for an object: its family and its items."""

    owner: "QtObject"
    kind: str
    info: dict[str, Any]
    items: list[Item]

    @property
    def values(self) -> dict[str, Any]:
        """An editor's values by key (``value``, ``text``, ``state``, ...)."""
        return {entry["key"]: entry.get("value") for entry in self.info.get("values", [])}

    def __iter__(self) -> Iterator[Item]:
        return iter(self.items)

    def __len__(self) -> int:
        return len(self.items)

    def walk(self) -> Iterator[Item]:
        for item in self.items:
            yield from item.walk()

    def __getitem__(self, key: str) -> Item:
        """The item whose key or path is ``key``."""
        for item in self.walk():
            if key in (item.key, item.path):
                return item
        raise KeyError(key)

    def keys(self) -> list[str]:
        return [item.key for item in self.items]


def items_from_result(owner: "QtObject", result: dict[str, Any]) -> Items:
    def item_of(entry: dict[str, Any]) -> Item:
        children = [item_of(child) for child in entry.get("children", []) or entry.get("cells", [])]
        return Item(owner, entry.get("key", ""), entry, children)

    # An editor's values are its items: ``spin.item("value").set(12)``.
    entries = result.get("items") or result.get("values") or []
    return Items(owner, result.get("kind", ""), result, [item_of(entry) for entry in entries])
