"""Finding objects and scripting them: get, set, call, describe, wait."""
import pytest

import vrqt


def test_find_gives_the_exact_path(gallery):
    button = gallery.find("counterButton")
    assert button.path == "/galleryWindow/pages/qt_tabwidget_stackedwidget/buttonsPage/commandGroup/counterButton"
    assert button.class_name == "GalleryButton"
    assert gallery.find(button.path) == button


@pytest.mark.parametrize("reference", [
    "commandGroup/counterButton",
    "galleryWindow//counterButton",
    "GalleryButton[objectName=counterButton]",
    "*[text=Count]",
])
def test_selector_forms(gallery, reference):
    assert gallery.find(reference).name == "counterButton"


def test_child_looks_below_an_object(gallery):
    assert gallery.find("buttonsPage").child("counterButton").name == "counterButton"


def test_texts_stay_texts(fresh_gallery):
    edit = fresh_gallery.find("fileNameEdit")
    for text in ["true", "007", "2.5", 'say "hi"', "Grüße ✓"]:
        edit.set("text", text)
        assert edit.get("text") == text


def test_numbers_and_enumerations(fresh_gallery):
    button = fresh_gallery.find("counterButton")
    button.set("clickCount", 7)
    assert button.get("clickCount") == 7
    policy = button.get("focusPolicy")
    assert isinstance(policy, vrqt.EnumValue)
    assert policy == "StrongFocus" and policy.qt_type == "Qt::FocusPolicy"
    button.set("focusPolicy", "NoFocus")
    assert button.get("focusPolicy").name == "NoFocus"


def test_qt_values_have_text_and_parts(gallery):
    geometry = gallery.find("galleryWindow").get("geometry")
    assert isinstance(geometry, vrqt.QtValue) and geometry.type_name == "QRect"
    assert geometry.width == geometry.parts["width"] > 0
    assert geometry == geometry.text
    assert gallery.find("galleryWindow").get("geometry.width") == geometry.width


def test_call_with_arguments(fresh_gallery):
    button = fresh_gallery.find("counterButton")
    assert button.call("addClicks", 5) == 5
    assert button.call("describe", "-> ", 2).startswith("-> ")
    assert button.call("click") is None
    assert fresh_gallery.find("clickCountLabel")["text"] == "Clicks: 6"


def test_describe_lists_members_by_class(gallery):
    description = gallery.find("counterButton").describe()
    chain = [entry["typeName"] for entry in description["chain"]]
    assert chain[0] == "GalleryButton" and "QObject" in chain
    members = {member["name"] for member in description["chain"][0]["members"]}
    assert {"clickCount", "addClicks"} <= members
    assert gallery.find("counterButton").describe("clickCount")["member"]["qtType"] == "int"


def test_wait_until_a_value(fresh_gallery):
    button = fresh_gallery.find("counterButton")
    button.call("addClicks", 3)
    assert button.wait_until("clickCount", 3, op=">=", timeout=5) == 3
    assert button.wait_until("enabled") is True


def test_wait_until_times_out_with_the_last_value(gallery):
    with pytest.raises(vrqt.TimedOut) as timeout:
        gallery.find("counterButton").wait_until("clickCount", 1000, timeout=0.2)
    assert isinstance(timeout.value.last, int)


def test_wait_for_an_object_and_for_its_absence(gallery):
    assert gallery.wait_for("counterButton", timeout=5).name == "counterButton"
    with pytest.raises(vrqt.TimedOut):
        gallery.wait_for("lateDialog", timeout=0.2)
    gallery.wait_gone("lateDialog", timeout=5)
    with pytest.raises(vrqt.TimedOut):
        gallery.wait_gone("counterButton", timeout=0.2)


def test_an_unknown_operator_is_refused_before_asking(gallery):
    with pytest.raises(ValueError):
        gallery.find("counterButton").wait_until("clickCount", 1, op="=~")


def test_settle(gallery):
    assert gallery.settle(quiet=0.05, timeout=5) in (True, False)
    assert gallery.request("settle", {"quiet": 50}, timeout=5)["milliseconds"] >= 0


def test_tree_with_and_without_objects(gallery):
    widgets = gallery.tree()
    assert widgets.windows[0].class_name == "GalleryWindow"
    assert not widgets.find_all("QAction")
    assert widgets.find_all("GalleryButton", objectName="counterButton")
    everything = gallery.tree(objects=True)
    assert everything.application is not None
    actions = everything.find_all("QAction")
    assert actions and all(node.path for node in actions)
    assert gallery.find(actions[0].path).class_name == "QAction"


def test_acting_like_a_user_and_a_picture(fresh_gallery, tmp_path):
    pages = fresh_gallery.find("pages")
    pages.item("Buttons").click()
    button = fresh_gallery.find("counterButton")
    button.click()
    assert button.get("clickCount") == 1
    pages.click("Save & Load")
    edit = fresh_gallery.find("fileNameEdit")
    edit.key("Ctrl+A")
    edit.type("typed.txt")
    assert edit.get("text") == "typed.txt"
    with pytest.raises(vrqt.InvalidParams, match="not visible"):
        button.click()
    shot = edit.shot(str(tmp_path / "edit.png"), outline=True)
    assert (tmp_path / "edit.png").stat().st_size > 0
    assert shot["width"] > 0
