"""Where Debian's qtbase5-examples puts Qt's example programs."""
from pathlib import Path

import pytest

from vrqt.sessions import find_vrqt

EXAMPLES = Path("/usr/lib/x86_64-linux-gnu/qt5/examples/widgets")


def example(relative: str) -> str:
    """The example program's path; the test module is skipped without it."""
    program = EXAMPLES / relative
    if not program.exists():
        pytest.skip(f"{program} is missing: apt-get install qtbase5-examples", allow_module_level=True)
    # Qt's examples are Qt 5 programs: they need vrqt's agent for Qt 5.
    agent = Path(find_vrqt()).parent.parent / "lib" / "vrqt" / "qt5" / "libvrqthost.so"
    if not agent.exists():
        pytest.skip(f"this vrqt has no agent for Qt 5 ({agent})", allow_module_level=True)
    return str(program)
