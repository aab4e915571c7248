"""The widget tree as ``tree`` gives it."""
from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any, Iterator


@dataclass
class Node:
    """A widget, a window without widget, or (with objects) any QObject."""

    class_name: str
    name: str
    path: str | None
    info: dict[str, Any]
    children: list["Node"] = field(default_factory=list)
    objects: list["Node"] = field(default_factory=list)

    @classmethod
    def from_result(cls, info: dict[str, Any]) -> "Node":
        return cls(info.get("className", ""), info.get("objectName", ""), info.get("path"), info,
                   [cls.from_result(child) for child in info.get("children", [])],
                   [cls.from_result(child) for child in info.get("objects", [])])

    @property
    def text(self) -> str | None:
        return self.info.get("qtText")

    @property
    def visible(self) -> bool:
        return bool(self.info.get("visible"))

    @property
    def enabled(self) -> bool:
        return bool(self.info.get("enabled"))

    def walk(self) -> Iterator["Node"]:
        """This node, its children and its objects, depth first."""
        yield self
        for node in self.children + self.objects:
            yield from node.walk()


@dataclass
class Tree:
    windows: list[Node]
    application: Node | None = None

    def walk(self) -> Iterator[Node]:
        for window in self.windows:
            yield from window.walk()
        if self.application:
            yield from self.application.walk()

    def find_all(self, class_name: str | None = None, **info: Any) -> list[Node]:
        """The nodes of that class whose members equal ``info`` (``qtText="Open"``)."""
        return [node for node in self.walk()
                if (class_name is None or node.class_name == class_name)
                and all(node.info.get(key) == value for key, value in info.items())]

    @classmethod
    def from_result(cls, result: dict[str, Any]) -> "Tree":
        application = result.get("application")
        return cls([Node.from_result(window) for window in result.get("windows", [])],
                   Node.from_result(application) if application else None)
