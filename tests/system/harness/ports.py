"""Loopback ports that stay ours.

The port is held by a socket that is bound with SO_REUSEADDR and never listens. Linux lets the agent, which
asks for address reuse too, bind and listen beside it, while the system gives the port to nobody else. So the
same port can be used again after a restart, and two test runs side by side never collide.
"""

import socket


class Port:
    def __init__(self):
        self._holder = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        self._holder.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self._holder.bind(("127.0.0.1", 0))
        self.number = self._holder.getsockname()[1]

    def listen(self):
        """Takes the port for the test itself: who connects is left waiting, who binds is refused."""
        self._holder.listen(5)

    def release(self):
        self._holder.close()
