"""Where Debian's qtbase5-examples puts Qt's example programs."""
from pathlib import Path

import pytest

EXAMPLES = Path("/usr/lib/x86_64-linux-gnu/qt5/examples/widgets")


def example(relative: str) -> str:
    program = EXAMPLES / relative
    if not program.exists():
        pytest.skip(f"{program} is missing: apt-get install qtbase5-examples")
    return str(program)
