"""The pytest plugin: a fixture that starts the program under test.

    @pytest.mark.qt_program(["vrqt-gallery"])
    def test_counter(qt_app):
        qt_app.find("counterButton").call("click")

The program comes from the test's ``qt_program`` marker, else from
``--qt-program "PROGRAM ARGS"``. On failure the program's output is saved
beside the report; the program always ends with the test.
"""
from __future__ import annotations

import os
import re
import shlex
from pathlib import Path
from typing import Any, Callable, Iterator, Sequence

import pytest

from .app import App, launch

_REPORT_KEY = pytest.StashKey[dict[str, pytest.TestReport]]()


def pytest_addoption(parser: pytest.Parser) -> None:
    group = parser.getgroup("vrqt", "Qt programs driven through the vrqt agent")
    group.addoption("--qt-program", help="the program (and arguments) qt_app starts when a test names none")
    group.addoption("--vrqt", help="the vrqt program (default: $VRQT, PATH, or the build tree)")
    group.addoption("--vrqt-artifacts", default="vrqt-artifacts",
                    help="where a failed test's program output goes (default: vrqt-artifacts)")


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line("markers", "qt_program(argv, **options): the program qt_app starts, "
                                       "with launch()'s options (env=, qt=, timeout=)")


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item: pytest.Item, call: pytest.CallInfo[None]) -> Iterator[None]:
    # Keeps each phase's report, so that the fixture knows whether the test failed.
    outcome = yield
    report: pytest.TestReport = outcome.get_result()
    item.stash.setdefault(_REPORT_KEY, {})[report.when] = report


def _failed(item: pytest.Item) -> bool:
    reports = item.stash.get(_REPORT_KEY, {})
    return any(report.failed for report in reports.values())


def _program(request: pytest.FixtureRequest) -> tuple[list[str], dict]:
    marker = request.node.get_closest_marker("qt_program")
    if marker is not None and marker.args:
        argv = marker.args[0]
        return ([argv] if isinstance(argv, str) else list(argv)), dict(marker.kwargs)
    option = request.config.getoption("--qt-program")
    if option:
        return shlex.split(option), {}
    pytest.fail("qt_app needs a program: mark the test with @pytest.mark.qt_program([...]) "
                "or give --qt-program", pytrace=False)


def _save_output(app: App, request: pytest.FixtureRequest) -> Path | None:
    folder = Path(request.config.rootpath, request.config.getoption("--vrqt-artifacts"))
    stem = re.sub(r"[^\w.-]+", "_", f"{request.node.nodeid}-{app.name}").strip("_")
    try:
        output = app.session.output_log.read_bytes()
    except OSError:
        return None  # an attached program's output is not ours to read
    folder.mkdir(parents=True, exist_ok=True)
    target = folder / f"{stem}.output.log"
    target.write_bytes(output)
    try:
        # What the program showed when the test failed, if it still runs.
        app.shot(str(folder / f"{stem}.png"))
    except Exception:  # noqa: BLE001 - a crashed or closing program shows nothing
        pass
    note = app.session.crash_note()
    if note:
        (folder / f"{stem}.crash.log").write_text(note + "\n")
    return target


@pytest.fixture
def qt_app_factory(request: pytest.FixtureRequest) -> Iterator[Callable[..., App]]:
    """Starts programs for a test: ``qt_app_factory(argv, **launch_options)``.

    Every program it started ends after the test; on failure each one's
    output is saved first.
    """
    apps: list[App] = []

    def start(argv: Sequence[str], **options: Any) -> App:
        options.setdefault("vrqt", request.config.getoption("--vrqt"))
        if not any(os.environ.get(name) for name in ("QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY")):
            # No screen to show on: Qt's offscreen platform instead of a failed start.
            options["env"] = {"QT_QPA_PLATFORM": "offscreen", **(options.get("env") or {})}
        app = launch(argv, **options)
        apps.append(app)
        return app

    yield start
    failed = _failed(request.node)
    for app in apps:
        try:
            if failed:
                saved = _save_output(app, request)
                if saved:
                    request.node.add_report_section("teardown", "vrqt", f"program output saved to {saved}")
        finally:
            app.close()


@pytest.fixture
def qt_app(request: pytest.FixtureRequest, qt_app_factory: Callable[..., App]) -> App:
    """The program the test names, started with the agent; ended after the test."""
    argv, options = _program(request)
    return qt_app_factory(argv, **options)
