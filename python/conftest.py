# Lets the tests and examples run from a source checkout, with or without
# `pip install ./python`, and finds the programs of the build tree.
import importlib.metadata
import os
import sys
from pathlib import Path

here = Path(__file__).resolve().parent
try:
    import vrqt  # noqa: F401
except ImportError:
    sys.path.insert(0, str(here))
    import vrqt  # noqa: F401

from vrqt.sessions import find_vrqt

if not any(entry.name == "vrqt" for entry in importlib.metadata.entry_points(group="pytest11")):
    pytest_plugins = ["vrqt.pytest_plugin"]

# vrqt-gallery sits beside vrqt in a build tree or an installation.
try:
    os.environ["PATH"] = str(Path(find_vrqt()).parent) + os.pathsep + os.environ.get("PATH", "")
except vrqt.VrqtError:
    pass
