"""Drive a Qt program from Python through the vrqt agent inside it.

    with vrqt.launch(["vrqt-gallery"]) as app:
        app.find("counterButton").call("click")
        assert app.find("clickCountLabel").get("text") == "Clicks: 1"
"""
from . import sessions
from .app import App, attach, launch, session
from .errors import *  # noqa: F401,F403 - one class per error code
from .errors import ERRORS_BY_CODE, VrqtError
from .items import Item, Items, key_path
from .objects import QtObject
from .recording import Action, Recording
from .tree import Node, Tree
from .values import EnumValue, ModalLoop, QtValue

__version__ = "0.1.0"
