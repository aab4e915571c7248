#!/usr/bin/python3
"""vrqt against the desktop's accessibility stack on the same running program.

For each program: AT-SPI's walk of the program's accessible tree and one
AT-SPI call (GetExtents of one node), against vrqt's `tree` and one `get`
over an open session, with the protocol's own round trip (`hello`) beside
them. The sides take turns in one run, so that both see the same machine.
Reports per-node and per-call medians and the ratios.

Needs Xvfb, at-spi2-core and python3-pyatspi (scripts/install-deps.sh) and a
build of vrqt (default ./build). See docs/performance.md.
"""
import argparse
import json
import os
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile
import time

QT5_EXAMPLES = "/usr/lib/x86_64-linux-gnu/qt5/examples/widgets"

# (name, command, object for `get`, its member, how to find the same node in
# AT-SPI: a role name and, when several have it, its text)
PROGRAMS = {
    "dirview": (["{examples}/itemviews/dirview/dirview", "{folder}"], "QTreeView", "geometry"),
    "calculator": (["{examples}/widgets/calculator/calculator"], "Calculator", "geometry"),
    "gallery": (["{build}/bin/vrqt-gallery"], "galleryWindow", "geometry"),
}


def now():
    return time.perf_counter()


class Session:
    """One connection to a session's agent, speaking the protocol directly."""

    def __init__(self, path):
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.sock.connect(path)
        self.reader = self.sock.makefile("rb")
        self.next_id = 0

    def request(self, name, params=None):
        self.next_id += 1
        line = json.dumps({"id": self.next_id, "request": name, "params": params or {}})
        self.sock.sendall(line.encode() + b"\n")
        answer = json.loads(self.reader.readline())
        if not answer.get("ok"):
            raise RuntimeError("%s: %s" % (name, answer.get("error")))
        return answer["result"]

    def close(self):
        self.reader.close()
        self.sock.close()


def count_nodes(nodes):
    return sum(1 + count_nodes(node.get("children", [])) for node in nodes)


def atspi_walk(node, visit):
    """Every node below node, with what vrqt's tree gives of a widget."""
    visit(node)
    count = 1
    for index in range(node.childCount):
        child = node.getChildAtIndex(index)
        if child is not None:
            count += atspi_walk(child, visit)
    return count


def read_node(node):
    node.name
    node.getRoleName()
    node.getState()
    try:
        node.queryComponent().getExtents(0)
    except NotImplementedError:  # the application node has no place on screen
        pass


def find_application(pyatspi, pid, timeout=20):
    deadline = time.time() + timeout
    while time.time() < deadline:
        desktop = pyatspi.Registry.getDesktop(0)
        for index in range(desktop.childCount):
            application = desktop.getChildAtIndex(index)
            try:
                if application is not None and application.get_process_id() == pid:
                    return application
            except Exception:
                pass
        time.sleep(0.2)
    raise RuntimeError("the program never appeared on the accessibility bus")


def first_with_component(node):
    """The first top-level window: the node the AT-SPI call asks."""
    for index in range(node.childCount):
        child = node.getChildAtIndex(index)
        if child is not None:
            return child
    return node


def compare(args, name, environment, vrqt):
    command, get_object, get_member = PROGRAMS[name]
    command = [part.format(examples=args.examples, folder=args.folder, build=args.build) for part in command]
    session = "bench-%s-%d" % (name, os.getpid())
    subprocess.run([vrqt, "start", "--name", session, "--"] + command, env=environment, check=True,
                   stdout=subprocess.DEVNULL)
    try:
        # Sessions live under vrqt-sessions-UID in XDG_RUNTIME_DIR (docs/protocol.md).
        folder = os.path.join(environment["XDG_RUNTIME_DIR"], "vrqt-sessions-%d" % os.getuid(), session)
        client = Session(os.path.join(folder, "agent.sock"))
        pid = client.request("hello")["pid"]
        import pyatspi
        application = find_application(pyatspi, pid)
        target = first_with_component(application)
        results = {"tree": [], "walk": [], "get": [], "hello": [], "call": []}
        nodes = {"tree": 0, "walk": 0}
        # Each tool's walks on their own: the program's GUI thread would
        # otherwise still be answering one while the other's began.
        for _ in range(args.walks * 20):  # cheap enough for a steadier median
            start = now()
            tree = client.request("tree")
            nodes["tree"] = count_nodes(tree["windows"])
            results["tree"].append(now() - start)
        for _ in range(args.walks):
            start = now()
            application.clearCache()
            nodes["walk"] = atspi_walk(application, read_node)
            results["walk"].append((now() - start) / nodes["walk"])
        params = {"object": get_object, "member": get_member}
        component = target.queryComponent()
        for _ in range(args.calls):
            start = now()
            client.request("hello")
            first = now()
            client.request("get", params)
            second = now()
            component.getExtents(0)
            end = now()
            results["hello"].append(first - start)
            results["get"].append(second - first)
            results["call"].append(end - second)
        client.close()
    finally:
        subprocess.run([vrqt, "stop", session], env=environment, stdout=subprocess.DEVNULL)
    median = {key: statistics.median(values) * 1e6 for key, values in results.items()}
    # At the agent: without the round trip that any request costs.
    at_agent = (median["tree"] - median["hello"]) / nodes["tree"]
    median["tree"] /= nodes["tree"]
    print("%-10s tree %5d widgets %8.1f us/widget (%.1f at the agent) | AT-SPI walk %5d nodes %8.1f us/node | ratio %.3f"
          % (name, nodes["tree"], median["tree"], at_agent, nodes["walk"], median["walk"], median["tree"] / median["walk"]))
    print("%-10s get %8.1f us | hello %8.1f us | get/hello %.2f | AT-SPI call %8.1f us | get/AT-SPI %.3f"
          % ("", median["get"], median["hello"], median["get"] / median["hello"], median["call"],
             median["get"] / median["call"]))
    sys.stdout.flush()


def start_desktop(display):
    """Xvfb and the accessibility bus, whose address lands on the root window."""
    xvfb = subprocess.Popen(["Xvfb", display, "-noreset", "-screen", "0", "1280x1024x24"],
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    environment = dict(os.environ, DISPLAY=display, QT_QPA_PLATFORM="xcb", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
    environment.pop("AT_SPI_BUS_ADDRESS", None)
    environment["XDG_RUNTIME_DIR"] = tempfile.mkdtemp(prefix="vrqt-bench-runtime-")
    deadline = time.time() + 10
    while subprocess.run(["xprop", "-root"], env=environment, capture_output=True).returncode != 0:
        if time.time() > deadline:
            raise RuntimeError("Xvfb did not start")
        time.sleep(0.1)
    launcher = subprocess.Popen(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"], env=environment,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    while b"unix:" not in subprocess.run(["xprop", "-root", "AT_SPI_BUS"], env=environment,
                                         capture_output=True).stdout:
        if time.time() > deadline:
            raise RuntimeError("at-spi-bus-launcher set no AT_SPI_BUS")
        time.sleep(0.1)
    os.environ.update(DISPLAY=display)
    return [launcher, xvfb], environment


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default="build", help="vrqt's build folder")
    parser.add_argument("--examples", default=QT5_EXAMPLES)
    parser.add_argument("--display", default=":77")
    parser.add_argument("--walks", type=int, default=5)
    parser.add_argument("--calls", type=int, default=300)
    parser.add_argument("programs", nargs="*", default=list(PROGRAMS))
    args = parser.parse_args()
    if not os.environ.get("DBUS_SESSION_BUS_ADDRESS"):
        # The bus launcher registers on a session bus: run under one of our own.
        os.execvp("dbus-run-session", ["dbus-run-session", "--", sys.executable] + sys.argv)
    args.build = os.path.abspath(args.build)
    vrqt = os.path.join(args.build, "bin", "vrqt")
    args.folder = tempfile.mkdtemp(prefix="vrqt-bench-")
    for index in range(2000):
        open(os.path.join(args.folder, "file%04d.txt" % index), "w").close()
    processes, environment = start_desktop(args.display)
    try:
        for name in args.programs:
            compare(args, name, environment, vrqt)
    finally:
        for process in processes:
            process.terminate()
            process.wait()
        shutil.rmtree(args.folder)


if __name__ == "__main__":
    main()
