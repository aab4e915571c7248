"""Every refusal is an exception of its code, with its message."""
import pytest

import vrqt
from vrqt.errors import ERRORS_BY_CODE, error_from_response

DOCUMENTED_CODES = {
    "parse-error", "invalid-request", "unknown-request", "invalid-params", "line-too-long",
    "no-widgets", "module-unavailable", "busy", "closing", "no-such-object", "ambiguous-object",
    "no-such-member", "invoke-failed", "not-a-property", "not-deletable", "no-helper",
    "no-such-item", "qt-mismatch", "timed-out", "internal",
}


def test_one_class_per_code():
    assert set(ERRORS_BY_CODE) == DOCUMENTED_CODES
    assert len(set(ERRORS_BY_CODE.values())) == len(DOCUMENTED_CODES)
    for code, cls in ERRORS_BY_CODE.items():
        error = error_from_response({"code": code, "message": "why"})
        assert type(error) is cls and isinstance(error, vrqt.VrqtError)
        assert error.message == "why" and str(error) == f"{code}: why"


def test_an_unknown_code_counts_as_internal():
    error = error_from_response({"code": "brand-new", "message": "m"})
    assert isinstance(error, vrqt.InternalError) and error.details["code"] == "brand-new"


@pytest.mark.parametrize("act, error", [
    (lambda app: app.find("noSuchThing"), vrqt.NoSuchObject),
    (lambda app: app.find("runButton"), vrqt.AmbiguousObject),
    (lambda app: app.find("counterButton/"), vrqt.InvalidParams),
    (lambda app: app.find("counterButton").get("noSuchMember"), vrqt.NoSuchMember),
    (lambda app: app.find("counterButton").get("click"), vrqt.NotAProperty),
    (lambda app: app.find("counterButton").items(), vrqt.NoHelper),
    (lambda app: app.find("itemList").act("No such fruit", "select"), vrqt.NoSuchItem),
    (lambda app: app.find("itemList").act("Apple", "fly"), vrqt.InvalidParams),
    (lambda app: app.request("noSuchRequest"), vrqt.UnknownRequest),
    (lambda app: app.find("galleryWindow").call("deleteLater"), vrqt.NotDeletable),
])
def test_refusals(gallery, act, error):
    with pytest.raises(error) as raised:
        act(gallery)
    assert raised.value.message


def test_ambiguity_lists_the_candidates(gallery):
    with pytest.raises(vrqt.AmbiguousObject, match="runButton"):
        gallery.find("runButton")
    assert len(gallery.find("runButton#2").path) > 0


def test_a_failed_call_carries_its_hresult(gallery):
    with pytest.raises(vrqt.InvokeFailed) as failed:
        gallery.find("counterButton").set("clickCount", "many")
    assert failed.value.hresult == "0x80020005"
    assert failed.value.hresult_text == "Type mismatch."
    assert "0x80020005" in str(failed.value)


def test_the_conversation_goes_on_after_an_error(gallery):
    with pytest.raises(vrqt.NoSuchObject):
        gallery.find("noSuchThing")
    assert gallery.find("counterButton").get("objectName") == "counterButton"
