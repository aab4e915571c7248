"""Items and their actions through the control helpers."""
import vrqt
from vrqt.items import escape_key, key_path


def test_list_rows_select_and_deselect(fresh_gallery):
    fruits = fresh_gallery.find("itemList")
    rows = fruits.items()
    assert rows.kind == "list" and len(rows) == rows.info["count"]
    assert rows["Apple"].text == "Apple"
    assert fruits.item("Apple").select()["selected"] is True
    assert fruits.item("Apple").selected is True
    fruits.item("Apple").deselect()
    assert fruits.item("Apple").selected is False


def test_tree_items_by_path(fresh_gallery):
    tree = fresh_gallery.find("itemTree")
    items = tree.items()
    assert items.kind == "tree"
    paths = [item.path for item in items.walk()]
    assert "Archive|2023" in paths
    assert tree.item("Archive|2023").expand()["expanded"] is True
    assert tree.item("Archive|2023").expanded is True
    tree.item("Archive|2023").collapse()
    assert tree.item("Archive|2023").expanded is False


def test_table_cells(fresh_gallery):
    table = fresh_gallery.find("itemTable")
    rows = table.items()
    assert rows.kind == "table"
    first = rows.items[0]
    cell = first.children[1]
    assert cell.key == f"{first.key}|Quantity"
    assert cell.set_text("99")["text"] == "99"
    assert table.item(cell.key).text == "99"


def test_editor_values(fresh_gallery):
    spin = fresh_gallery.find("quantitySpin")
    values = spin.items()
    assert values.kind == "spin box"
    assert values.values["maximum"] == 999
    spin.item("value").set(12)
    assert spin.get("value") == 12
    spin.item("value").step(2)
    assert spin.item("value").value == 14


def test_keys_escape_what_would_split_them():
    assert escape_key("a|b") == "a\\|b"
    assert escape_key("[1]") == "\\[1]"
    assert key_path("Archive", "2023") == "Archive|2023"
