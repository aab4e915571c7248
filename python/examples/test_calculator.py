"""Qt's calculator example: press 1, +, 2, = and read the display."""
import pytest

from qt_examples import example

CALCULATOR = example("widgets/calculator/calculator")


def press(app, label):
    # The calculator's keys are Button widgets, told apart by their text
    # (× and ÷ for multiply and divide).
    app.find(f"Button[text={label}]").call("click")


@pytest.mark.qt_program([CALCULATOR])
def test_one_plus_two(qt_app):
    for label in ["1", "+", "2", "="]:
        press(qt_app, label)
    assert qt_app.find("Calculator/QLineEdit").get("text") == "3"


@pytest.mark.qt_program([CALCULATOR])
def test_clear_all_resets_the_display(qt_app):
    for label in ["7", "×", "6", "="]:
        press(qt_app, label)
    display = qt_app.find("Calculator/QLineEdit")
    assert display.get("text") == "42"
    press(qt_app, "Clear All")
    assert display.get("text") == "0"
