"""One connection to an agent: JSON requests and answers, a line each."""
from __future__ import annotations

import itertools
import json
import os
import socket
import struct
from typing import Any, Callable, Iterator

from .errors import ConnectionLost, VrqtError, error_from_response

PROTOCOL_VERSION = 1
# Seconds beyond the agent's own time limit that we wait for its answer, so
# that the agent can say why it gave up before we do.
ANSWER_MARGIN = 5.0


class Connection:
    """A client connection to an agent's socket.

    ``on_lost`` turns a closed connection into the most telling exception
    (a crash, a program that ended); by default ConnectionLost.
    """

    def __init__(self, path: str, *, on_lost: Callable[[str], VrqtError] | None = None,
                 connect_timeout: float = 10.0):
        self.path = path
        self._on_lost = on_lost or ConnectionLost
        self._ids = itertools.count(1)
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self._socket.settimeout(connect_timeout)
        try:
            self._socket.connect(path)
        except OSError as error:
            self._socket.close()
            raise self._on_lost(f"cannot connect to {path}: {error.strerror or error}") from None
        self._check_peer()
        self._reader = self._socket.makefile("rb")

    def _check_peer(self) -> None:
        # The agent checks who we are; we check that it is one of ours.
        credentials = self._socket.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, struct.calcsize("3i"))
        _pid, uid, _gid = struct.unpack("3i", credentials)
        if uid != os.getuid():
            self.close()
            raise ConnectionLost(f"the agent at {self.path} runs as user {uid}, not as us")

    def send(self, name: str, params: dict[str, Any] | None = None) -> int:
        request_id = next(self._ids)
        line = json.dumps({"id": request_id, "request": name, "params": params or {}},
                          ensure_ascii=False, separators=(",", ":"))
        try:
            self._socket.sendall(line.encode() + b"\n")
        except OSError as error:
            raise self._on_lost(f"sending \"{name}\" failed: {error.strerror or error}") from None
        return request_id

    def read_line(self, timeout: float | None, during: str) -> dict[str, Any]:
        """The next line as a JSON object; TimeoutError when none came in time."""
        self._socket.settimeout(timeout)
        try:
            line = self._reader.readline()
        except TimeoutError:
            raise  # a socket timeout is an OSError too, but not a lost connection
        except OSError as error:
            raise self._on_lost(f"the connection failed during \"{during}\": {error.strerror or error}") from None
        if not line:
            raise self._on_lost(f"the agent closed the connection during \"{during}\"")
        return json.loads(line)

    def request(self, name: str, params: dict[str, Any] | None = None, *, timeout: float = 10.0) -> Any:
        """Sends a request, waits for its answer and returns its result.

        ``timeout`` (seconds) is the agent's limit; we wait a little longer.
        """
        params = dict(params or {})
        params.setdefault("timeout", max(1, round(timeout * 1000)))
        request_id = self.send(name, params)
        while True:
            try:
                answer = self.read_line(timeout + ANSWER_MARGIN, name)
            except TimeoutError:
                raise self._on_lost(f"no answer to \"{name}\" within {timeout + ANSWER_MARGIN:g} s") from None
            if answer.get("id") in (request_id, None):
                break
        if answer.get("ok"):
            return answer.get("result")
        raise error_from_response(answer.get("error") or {})

    def lines(self) -> Iterator[dict[str, Any]]:
        """Every further line, until the agent closes the connection."""
        while True:
            yield self.read_line(None, "record")

    def close(self) -> None:
        try:
            self._reader.close()
        finally:
            self._socket.close()

    def __enter__(self) -> "Connection":
        return self

    def __exit__(self, *exc: object) -> None:
        self.close()
