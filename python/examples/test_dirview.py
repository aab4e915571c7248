"""Qt's dirview example: a QTreeView over the file system."""
import pytest

from qt_examples import example

DIRVIEW = example("itemviews/dirview/dirview")


@pytest.fixture
def folder(tmp_path):
    (tmp_path / "docs").mkdir()
    (tmp_path / "docs" / "guide.txt").write_text("a guide\n")
    (tmp_path / "docs" / "notes.txt").write_text("some notes\n")
    (tmp_path / "src").mkdir()
    return tmp_path


@pytest.fixture
def view(qt_app_factory, folder):
    # dirview shows the folder its argument names.
    app = qt_app_factory([DIRVIEW, str(folder)])
    return app.find("QTreeView")


def test_expand_a_folder(view):
    # The file system model reads folders in the background: wait for it.
    docs = view.wait_for_item("docs")
    assert docs.expanded is False
    assert docs.expand()["expanded"] is True
    assert view.item("docs").expanded is True
    assert view.wait_for_item("docs|notes.txt").text == "notes.txt"


def test_show_a_file_by_its_path(view):
    view.wait_for_item("docs")
    view.item("docs").expand()
    guide = view.wait_for_item("docs|guide.txt")
    guide.show()  # its parents expanded, scrolled into view
    guide = view.item("docs|guide.txt")
    assert guide.visible is True
    assert guide.selected is False
    assert guide.rect["height"] > 0
