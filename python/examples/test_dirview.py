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
def qt_app(qt_app_factory, folder):
    # dirview shows the folder its argument names.
    return qt_app_factory([DIRVIEW, str(folder)])


@pytest.fixture
def view(qt_app):
    return qt_app.find("QTreeView")


def test_expand_a_folder(view):
    # The file system model reads folders in the background: wait for it.
    docs = view.wait_for_item("docs")
    assert docs.expanded is False
    assert docs.expand()["expanded"] is True
    assert view.item("docs").expanded is True
    assert view.wait_for_item("docs|notes.txt").text == "notes.txt"


def test_select_a_file_by_its_path(qt_app, view):
    view.wait_for_item("docs").expand()
    guide = view.wait_for_item("docs|guide.txt")
    assert guide.selected is False
    # As a user selects it: the item is brought into view, then clicked.
    guide.click()
    # The view's selection, as its selection model holds it: that file only.
    assert [item.path for item in view.items().walk() if item.selected] == ["docs|guide.txt"]
    assert qt_app.find(f"{view.path}/QItemSelectionModel").get("hasSelection") is True
