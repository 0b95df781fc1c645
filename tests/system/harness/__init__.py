"""Everything that the tests from outside need to drive a staged QDVAgent.

Run them with the system's own interpreter and nothing besides pytest:

    /usr/bin/python3 -m pytest tests/system -q

What is tested is the tree that an administrator gets. Each agent runs in a private copy of it, so the stage
is never written to. No code of the program is used here: requests, replies, envelopes, configuration files
and the management server are written by hand, so that a fault cannot cancel itself.

Environment:

    QDV_STAGE   the staged tree to test; default is stage/ in the checkout. Point it at the stage of a
                sanitizer build to run the same tests under ASan, UBSan or TSan: a report on standard error
                fails the test in which it appears.
    QDV_SLOW    factor by which every time limit is stretched (1 by default; 5 or so under sanitizers).

The pieces:

    tree.py      Tree: a copy of the stage with its conf/ and uuid.conf; runs the program to its end.
    agent.py     Agent: the program running over a Tree: requests, log, signals, /proc, orderly end.
    wire.py      Connection and Reply: HTTP by hand, byte for byte, plain or TLS.
    envelope.py  the XML request envelope and the parsed answer.
    server.py    ManagementServer: answers the agent's own calls, and can misbehave in every way.
    ports.py     loopback ports that nobody else is given while a test holds them.
    limits.py    time limits and waiting.

A test takes the fixtures of conftest.py: `new_tree` makes trees, `start` starts agents that are stopped and
examined when the test ends, `agent` and `quiet_agent` are shared by a whole file (with and without
-verbose) for tests that leave no trace in it.
"""

from .agent import Agent
from .envelope import Answer, envelope, form
from .limits import limit, wait_until
from .ports import Port
from .server import ManagementServer
from .tree import Tree, agent_conf, uuid_conf
from .wire import Connection, Incomplete, Reply

__all__ = [
    "Agent",
    "Answer",
    "Connection",
    "Incomplete",
    "ManagementServer",
    "Port",
    "Reply",
    "Tree",
    "agent_conf",
    "envelope",
    "form",
    "limit",
    "uuid_conf",
    "wait_until",
]
