"""The project's gallery: buttons, lists, trees and editors."""
import pytest

import vrqt

pytestmark = pytest.mark.qt_program(["vrqt-gallery"])


def test_click_counts(qt_app):
    qt_app.find("counterButton").call("click")
    qt_app.find("counterButton").call("click")
    assert qt_app.find("clickCountLabel").get("text") == "Clicks: 2"


def test_expand_a_tree_item(qt_app):
    tree = qt_app.find("itemTree")
    assert tree.item("Archive|2023").expand()["expanded"] is True
    assert tree.item("Archive|2023").expanded is True


def test_select_a_list_row(qt_app):
    fruits = qt_app.find("itemList")
    fruits.item("Apple").select()
    assert [row.key for row in fruits.items() if row.selected] == ["Apple"]


def test_set_a_spin_box(qt_app):
    spin = qt_app.find("quantitySpin")
    spin.item("value").set(12)
    assert spin.get("value") == 12


def test_a_missing_object_raises(qt_app):
    with pytest.raises(vrqt.NoSuchObject):
        qt_app.find("noSuchButton")
