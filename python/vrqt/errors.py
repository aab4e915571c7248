"""Exceptions: one class for each error code the agent answers with.

Every class derives from VrqtError, so ``except vrqt.VrqtError`` catches
anything this package raises about the program or its agent.
"""
from __future__ import annotations

from typing import Any

__all__ = [
    "VrqtError",
    "AgentError",
    "ParseError",
    "InvalidRequest",
    "UnknownRequest",
    "InvalidParams",
    "LineTooLong",
    "NoWidgets",
    "ModuleUnavailable",
    "Busy",
    "Closing",
    "NoSuchObject",
    "AmbiguousObject",
    "NoSuchMember",
    "InvokeFailed",
    "NotAProperty",
    "NotDeletable",
    "NoHelper",
    "NoSuchItem",
    "QtMismatch",
    "TimedOut",
    "InternalError",
    "ConnectionLost",
    "ProgramEnded",
    "ProgramCrashed",
    "CommandFailed",
    "ERRORS_BY_CODE",
    "error_from_response",
]


class VrqtError(Exception):
    """Something the agent refused, or the conversation with it failed."""

    code = "internal"

    def __init__(self, message: str, details: dict[str, Any] | None = None):
        super().__init__(message)
        self.message = message
        # Whatever else the error object carried (hresult, last, programQt...).
        self.details = dict(details or {})

    @property
    def hresult(self) -> str | None:
        return self.details.get("hresult")

    @property
    def hresult_text(self) -> str | None:
        return self.details.get("hresultText")

    def __str__(self) -> str:
        return f"{self.code}: {self.message}"


class AgentError(VrqtError):
    """The agent answered a request with an error."""


class ParseError(AgentError):
    code = "parse-error"


class InvalidRequest(AgentError):
    code = "invalid-request"


class UnknownRequest(AgentError):
    code = "unknown-request"


class InvalidParams(AgentError):
    code = "invalid-params"


class LineTooLong(AgentError):
    code = "line-too-long"


class NoWidgets(AgentError):
    code = "no-widgets"


class ModuleUnavailable(AgentError):
    code = "module-unavailable"


class Busy(AgentError):
    code = "busy"


class Closing(AgentError):
    code = "closing"


class NoSuchObject(AgentError):
    code = "no-such-object"


class AmbiguousObject(AgentError):
    code = "ambiguous-object"


class NoSuchMember(AgentError):
    code = "no-such-member"


class InvokeFailed(AgentError):
    code = "invoke-failed"


class NotAProperty(AgentError):
    code = "not-a-property"


class NotDeletable(AgentError):
    code = "not-deletable"


class NoHelper(AgentError):
    code = "no-helper"


class NoSuchItem(AgentError):
    code = "no-such-item"


class QtMismatch(AgentError):
    code = "qt-mismatch"


class TimedOut(AgentError):
    """A wait whose condition did not hold in time."""

    code = "timed-out"

    @property
    def last(self) -> Any:
        """The value the last check read, when there was one."""
        return self.details.get("last")


class InternalError(AgentError):
    code = "internal"


ERRORS_BY_CODE: dict[str, type[AgentError]] = {
    cls.code: cls
    for cls in (ParseError, InvalidRequest, UnknownRequest, InvalidParams, LineTooLong,
                NoWidgets, ModuleUnavailable, Busy, Closing, NoSuchObject,
                AmbiguousObject, NoSuchMember, InvokeFailed, NotAProperty, NotDeletable,
                NoHelper, NoSuchItem, QtMismatch, TimedOut, InternalError)
}


def error_from_response(error: dict[str, Any]) -> AgentError:
    """The exception for an error object; unknown codes count as internal."""
    code = str(error.get("code", "internal"))
    message = str(error.get("message", ""))
    details = {k: v for k, v in error.items() if k not in ("code", "message")}
    exception = ERRORS_BY_CODE.get(code, InternalError)(message, details)
    if code not in ERRORS_BY_CODE:
        exception.details["code"] = code
    return exception


class ConnectionLost(VrqtError):
    """The agent's connection closed while the program may still run."""

    code = "connection-lost"


class ProgramEnded(ConnectionLost):
    """The program ended while we waited for an answer."""

    code = "program-ended"


class ProgramCrashed(ProgramEnded):
    """The program died of a signal; the message says what is known."""

    code = "crashed"


class CommandFailed(VrqtError):
    """The vrqt command line (start, attach, stop) failed."""

    code = "failed"

    def __init__(self, message: str, details: dict[str, Any] | None = None, exit_status: int | None = None):
        super().__init__(message, details)
        self.exit_status = exit_status
