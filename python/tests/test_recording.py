"""Recording user actions as an iterator."""
import pytest

import vrqt


def test_record_gives_the_actions_in_order(fresh_gallery):
    if "record" not in fresh_gallery.requests:
        pytest.skip("this agent does not record (no \"record\" in hello)")
    with fresh_gallery.record() as recording:
        assert recording.answer["recording"] is True
        fresh_gallery.find("itemTree").item("Archive|2023").expand()
        fresh_gallery.find("quantitySpin").item("value").set(12)
        actions = [recording.next_action(timeout=10), recording.next_action(timeout=10)]
    assert [action.event for action in actions] == ["treeItemExpanded", "editorValueChanged"]
    assert isinstance(actions[0], vrqt.Action)
    assert actions[0].key == "Archive|2023" and actions[0].object.endswith("/itemTree")
    assert actions[1].value == 12
    # The object of an action names it again.
    assert fresh_gallery.find(actions[1].object).get("value") == 12


def test_iteration_ends_with_the_program(fresh_gallery):
    if "record" not in fresh_gallery.requests:
        pytest.skip("this agent does not record (no \"record\" in hello)")
    recording = fresh_gallery.record()
    fresh_gallery.find("itemTree").item("Archive|2023").expand()
    fresh_gallery.quit()
    assert [action.event for action in recording] == ["treeItemExpanded"]
    recording.close()
