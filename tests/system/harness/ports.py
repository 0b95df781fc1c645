"""Loopback ports that stay ours.

The port is held by a socket that is bound with SO_REUSEADDR and never listens. Linux lets the agent, which asks for
address reuse too, bind and listen beside it, while the system gives the port to nobody else. So the same port can be
used again after a restart, and test runs side by side never collide.
"""

import socket


class Port:
    def __init__(self):
        self.holder = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        self.holder.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.holder.bind(("127.0.0.1", 0))
        self.number = self.holder.getsockname()[1]

    def is_listened_to(self):
        with socket.socket() as caller:
            return caller.connect_ex(("127.0.0.1", self.number)) == 0

    def listen(self):
        """Takes the port for the test itself: who connects is left waiting, who binds is refused."""
        self.holder.listen(5)

    def release(self):
        self.holder.close()
