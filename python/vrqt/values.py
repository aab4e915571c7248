"""Values between Python and the agent: results read, literals written."""
from __future__ import annotations

from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    from .app import App


class EnumValue(int):
    """An enumeration or flags value: an int that also knows its key.

    Compares equal to its number and to its key: ``policy == "StrongFocus"``.
    """

    name: str | None
    qt_type: str | None

    def __new__(cls, number: int, name: str | None, qt_type: str | None) -> "EnumValue":
        value = super().__new__(cls, number)
        value.name = name
        value.qt_type = qt_type
        return value

    def __eq__(self, other: object) -> bool:
        if isinstance(other, str):
            return other == self.name
        return int(self) == other

    __hash__ = int.__hash__

    def __repr__(self) -> str:
        return f"EnumValue({int(self)}, {self.name!r}, {self.qt_type!r})"


@dataclass(frozen=True)
class QtValue:
    """A Qt value object (QRect, QColor, QDate, ...): its text and its parts.

    Parts read as attributes: ``geometry.width``. A QtValue compares equal
    to its text.
    """

    type_name: str
    text: str
    parts: dict[str, Any] = field(default_factory=dict)

    def __getattr__(self, name: str) -> Any:
        parts = self.__dict__.get("parts", {})
        if name in parts:
            return parts[name]
        raise AttributeError(f"{self.type_name} has no part {name!r}")

    def __eq__(self, other: object) -> bool:
        if isinstance(other, str):
            return other == self.text
        if isinstance(other, QtValue):
            return (self.type_name, self.text) == (other.type_name, other.text)
        return NotImplemented

    def __hash__(self) -> int:
        return hash((self.type_name, self.text))

    def __str__(self) -> str:
        return self.text


@dataclass(frozen=True)
class ModalLoop:
    """The answer to a call that opened a modal dialog or menu.

    The call goes on inside the dialog's loop; later requests reach it.
    """

    message: str


def from_result(app: "App", result: Any) -> Any:
    """What a get or call result is in Python terms."""
    if not isinstance(result, dict):
        return result
    if result.get("modal"):
        return ModalLoop(str(result.get("message", "")))
    if "vt" not in result:
        return result
    value = result.get("value")
    if "object" in result:
        from .objects import QtObject
        return QtObject.from_info(app, result["object"])
    if result.get("vt") == "VT_DISPATCH" and value is None:
        return None  # a null pointer
    if "qtType" in result and isinstance(value, int):
        return EnumValue(value, result.get("name"), result.get("qtType"))
    type_name = result.get("typeName")
    if type_name in ("QString", "QByteArray", "QChar", "QUrl"):
        return value
    if type_name:
        return QtValue(type_name, str(value), dict(result.get("parts") or {}))
    return value


def to_literal(value: Any) -> Any:
    """A Python value as the literal the agent reads.

    Texts are quoted so that they arrive as exactly that text ("true" and
    "5" stay texts); numbers and booleans go as JSON; objects by path.
    """
    from .objects import QtObject
    if isinstance(value, QtObject):
        return f'"{value.path}"'
    if isinstance(value, EnumValue):
        return int(value)
    if isinstance(value, (bool, int, float)):
        return value
    if isinstance(value, QtValue):
        return f'"{value.text}"'
    if isinstance(value, (list, tuple)):
        # A QStringList: items separated by line breaks.
        return '"' + "\n".join(str(item) for item in value) + '"'
    return f'"{value}"'
