"""Which parts of the agent the tests expect to stand.

A part that is False has its tests skipped with a reason, so they are counted and not forgotten. Turn it to
True when the part is there; QDV_EXPECT=name,name does so for one run.
"""

import os

import pytest

STANDING = {
    "actions": True,  # SubmitAction, SaveAction
    "script_list": True,  # GetActionScriptList
    "audit": False,  # GetHostSummary and the other audit methods
}


def stands(name):
    return STANDING[name] or name in os.environ.get("QDV_EXPECT", "").split(",")


def needs(*names):
    missing = [name for name in names if not stands(name)]
    return pytest.mark.skipif(bool(missing), reason="the agent has no " + ", ".join(missing) + " yet")
