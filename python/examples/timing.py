"""How long each example takes, against how long its program takes to show.

    /usr/bin/python3 examples/timing.py [--vrqt ../build/bin/vrqt] [--runs 5]

For each program: the time from its start until the X server maps its
first window, the bare program under Xvfb with no agent (the median of
``--runs``). Then each example module runs under pytest, offscreen as CTest
runs it and under the same Xvfb, and each test's time (setup, call and
teardown: the program's start with the agent, the test's work, the
program's end) is read from pytest's JUnit report. On an idle machine.
"""
from __future__ import annotations

import argparse
import ctypes
import ctypes.util
import os
import select
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
import xml.etree.ElementTree as ElementTree
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))
sys.path.insert(0, str(HERE))

from qt_examples import EXAMPLES  # noqa: E402
from vrqt.sessions import find_vrqt  # noqa: E402

MAP_NOTIFY = 19
SUBSTRUCTURE_NOTIFY_MASK = 1 << 19


class XEvent(ctypes.Union):
    # XMapEvent's members up to override_redirect; Xlib's XEvent is 24 longs.
    _fields_ = [("type", ctypes.c_int), ("pad", ctypes.c_long * 24)]


def _x11():
    x11 = ctypes.CDLL(ctypes.util.find_library("X11"))
    x11.XOpenDisplay.restype = ctypes.c_void_p
    x11.XOpenDisplay.argtypes = [ctypes.c_char_p]
    x11.XDefaultRootWindow.restype = ctypes.c_ulong
    x11.XDefaultRootWindow.argtypes = [ctypes.c_void_p]
    x11.XSelectInput.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_long]
    x11.XConnectionNumber.argtypes = [ctypes.c_void_p]
    x11.XPending.argtypes = [ctypes.c_void_p]
    x11.XNextEvent.argtypes = [ctypes.c_void_p, ctypes.POINTER(XEvent)]
    x11.XFlush.argtypes = [ctypes.c_void_p]
    x11.XCloseDisplay.argtypes = [ctypes.c_void_p]
    return x11


def time_to_shown(argv: list[str], display: str, limit: float = 30.0) -> float:
    """Seconds from starting argv until a window is mapped on display."""
    x11 = _x11()
    connection = x11.XOpenDisplay(display.encode())
    if not connection:
        raise RuntimeError(f"cannot open display {display}")
    try:
        # Every window mapped on the root, the program's top level among them.
        x11.XSelectInput(connection, x11.XDefaultRootWindow(connection), SUBSTRUCTURE_NOTIFY_MASK)
        x11.XFlush(connection)
        descriptor = x11.XConnectionNumber(connection)
        environment = dict(os.environ, DISPLAY=display, QT_QPA_PLATFORM="xcb")
        start = time.monotonic()
        program = subprocess.Popen(argv, env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            event = XEvent()
            while time.monotonic() - start < limit:
                while x11.XPending(connection):
                    x11.XNextEvent(connection, ctypes.byref(event))
                    if event.type == MAP_NOTIFY:
                        return time.monotonic() - start
                select.select([descriptor], [], [], 0.5)
            raise RuntimeError(f"{argv[0]} showed no window within {limit:g} s")
        finally:
            program.terminate()
            program.wait()
    finally:
        x11.XCloseDisplay(connection)


def start_xvfb(display: str) -> subprocess.Popen:
    server = subprocess.Popen(["Xvfb", display, "-noreset", "-screen", "0", "1280x1024x24"],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    deadline = time.monotonic() + 10
    while subprocess.run(["xprop", "-root"], env=dict(os.environ, DISPLAY=display),
                         capture_output=True).returncode != 0:
        if time.monotonic() > deadline or server.poll() is not None:
            raise RuntimeError("Xvfb did not start")
        time.sleep(0.05)
    return server


def example_times(module: str, vrqt: str, display: str | None) -> dict[str, float]:
    """Each test's seconds, setup and teardown included: offscreen without a display."""
    with tempfile.TemporaryDirectory(prefix="vrqt-timing-") as folder:
        report = Path(folder, "report.xml")
        environment = dict(os.environ, VRQT=vrqt, PYTHONDONTWRITEBYTECODE="1")
        environment.update({"DISPLAY": display, "QT_QPA_PLATFORM": "xcb"} if display else {"QT_QPA_PLATFORM": "offscreen"})
        if not display:
            environment.pop("DISPLAY", None)
        subprocess.run([sys.executable, "-m", "pytest", "-q", "-p", "no:cacheprovider", "--basetemp",
                        str(Path(folder, "tmp")), f"--junitxml={report}", "-o", "junit_duration_report=total",
                        str(HERE / module)], env=environment, cwd=HERE.parent, stdout=subprocess.DEVNULL, check=True)
        return {case.get("name"): float(case.get("time"))
                for case in ElementTree.parse(report).iter("testcase")}


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--vrqt", default=None, help="the vrqt program (default: $VRQT, PATH, the build tree)")
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--display", default=":93")
    args = parser.parse_args()
    vrqt = os.path.abspath(find_vrqt(args.vrqt))
    gallery = shutil.which("vrqt-gallery", path=str(Path(vrqt).parent)) or "vrqt-gallery"
    with tempfile.TemporaryDirectory(prefix="vrqt-timing-dir-") as folder:
        programs = {
            "test_calculator.py": [str(EXAMPLES / "widgets/calculator/calculator")],
            "test_dirview.py": [str(EXAMPLES / "itemviews/dirview/dirview"), folder],
            "test_menus.py": [str(EXAMPLES / "mainwindows/menus/menus")],
            "test_gallery.py": [gallery],
        }
        server = start_xvfb(args.display)
        try:
            shown = {module: statistics.median(time_to_shown(argv, args.display) for _ in range(args.runs))
                     for module, argv in programs.items()}
            print(f"{'example':<20} {'shown':>7} {'tests':>5} {'offscreen median':>17} {'slowest':>8} "
                  f"{'Xvfb median':>12} {'slowest':>8} {'Xvfb/shown':>11}")
            for module in programs:
                offscreen = example_times(module, vrqt, None)
                xvfb = example_times(module, vrqt, args.display)
                ms = {name: 1000 * statistics.median(times.values()) for name, times in
                      (("offscreen", offscreen), ("xvfb", xvfb))}
                print(f"{module:<20} {shown[module] * 1000:5.0f}ms {len(offscreen):5d} {ms['offscreen']:15.0f}ms "
                      f"{max(offscreen.values()) * 1000:6.0f}ms {ms['xvfb']:10.0f}ms {max(xvfb.values()) * 1000:6.0f}ms "
                      f"{ms['xvfb'] / 1000 / shown[module]:11.2f}")
        finally:
            server.terminate()
            server.wait()


if __name__ == "__main__":
    main()
