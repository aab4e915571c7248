import pytest

import vrqt


@pytest.fixture(scope="module")
def gallery():
    """One gallery for a module's tests that only read or undo what they change."""
    with vrqt.launch(["vrqt-gallery"], env={"QT_QPA_PLATFORM": "offscreen"}) as app:
        yield app


@pytest.fixture
def fresh_gallery(qt_app_factory):
    """A gallery of the test's own, for tests that change it or end it."""
    return qt_app_factory(["vrqt-gallery"])
