"""Qt's menus example: choose an entry through the menu bar."""
import pytest

from qt_examples import example

MENUS = example("mainwindows/menus/menus")


def choose(app, entry):
    """Chooses a menu bar entry such as "File|New".

    The menu bar lists its entries by path, with their states. What an
    entry runs is a QAction, which the tree lists with objects=True; the
    action whose text is the entry's is triggered.
    """
    item = app.find("QMenuBar").item(entry)
    assert item.enabled, f"{entry} is disabled"
    actions = [app.find(node.path) for node in app.tree(objects=True).find_all("QAction")]
    # Mnemonics ("&New") are not part of an entry's key.
    matching = [action for action in actions if action.get("text").replace("&", "") == item.text]
    assert len(matching) == 1, f"{len(matching)} actions are called {item.text!r}"
    matching[0].call("trigger")


@pytest.mark.qt_program([MENUS])
def test_the_menu_bar_lists_its_entries(qt_app):
    entries = [item.path for item in qt_app.find("QMenuBar").items().walk()]
    assert {"File|New", "File|Exit", "Edit|Undo", "Edit|Format|Bold"} <= set(entries)


@pytest.mark.qt_program([MENUS])
def test_file_new_from_the_menu_bar(qt_app):
    choose(qt_app, "File|New")
    assert qt_app.find("QLabel").get("text") == "Invoked <b>File|New</b>"


@pytest.mark.qt_program([MENUS])
def test_edit_copy_from_the_menu_bar(qt_app):
    choose(qt_app, "Edit|Copy")
    assert qt_app.find("QLabel").get("text") == "Invoked <b>Edit|Copy</b>"
