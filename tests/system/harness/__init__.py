"""Everything that the tests from outside need to drive a staged QDVAgent.

Run them with the system's own interpreter: /usr/bin/python3 -m pytest tests/system -q

Each agent runs in a private copy of the staged tree, which is never written to. No code of the program is used
here: requests, replies, envelopes, configuration files and the management server are written by hand, so that a
fault cannot cancel itself.

A World is a machine made up around an agent, for what depends on disks and tools that this one does not have.

    QDV_STAGE   the staged tree to test; stage/ in the checkout if not set. That of a sanitizer build runs the same
                tests under ASan, UBSan or TSan: a report on standard error fails the test in which it appears.
    QDV_SLOW    factor by which every time limit is stretched (1 if not set). Limits only end what hangs.
    QDV_LOAD_SECONDS, QDV_LOAD_REQUESTS     how long searches run under load, and how many mixed requests memory is
                measured over, where that is to be more than every day
"""

from .agent import Agent, post_request
from .bytes_in_xml import to_bytes, to_text, to_xml
from .ctl import Ctl
from .envelope import FAILED, INVALID_UUID, LEVELS, SUCCESS, TOO_MANY, Answer, envelope, form, parse_answer
from .limits import PATIENCE, SLOW, wait_until
from .ports import Port
from .server import ManagementServer
from .terminal import Dialog
from .tree import SANITIZER_SIGNS, Tree, agent_conf, environment, uuid_conf
from .wire import FORM, GET, GET11, Connection, anonymous_tls
from .world import Array, Drive, Group, Mount, Partition, World, can_make_worlds, large_world

__all__ = [
    "FAILED", "FORM", "GET", "GET11", "INVALID_UUID", "LEVELS", "PATIENCE", "SANITIZER_SIGNS", "SLOW", "SUCCESS", "TOO_MANY",
    "Agent", "Answer", "Array", "Connection", "Ctl", "Dialog", "Drive", "Group", "ManagementServer", "Mount",
    "Partition", "Port", "Tree", "World",
    "agent_conf", "anonymous_tls", "can_make_worlds", "envelope", "environment", "form", "large_world", "parse_answer",
    "post_request", "to_bytes", "to_text", "to_xml", "uuid_conf", "wait_until",
]  # fmt: skip
