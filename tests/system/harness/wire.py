"""HTTP by hand: bytes out, bytes in, nothing tidied up on the way."""

import re
import socket
import ssl
import struct
import time
from dataclasses import dataclass

from .limits import PATIENCE

GET = b"GET / HTTP/1.0\r\n\r\n"
GET11 = b"GET / HTTP/1.1\r\n\r\n"
FORM = "application/x-www-form-urlencoded"


@dataclass
class Reply:
    """One HTTP reply. `raw` is the reply byte for byte; header names are kept as they came, in order."""

    version: str
    status: int
    reason: str
    headers: list
    body: bytes
    raw: bytes

    def header(self, name):
        (value,) = [value for key, value in self.headers if key.lower() == name.lower()] or [None]
        return value


def parse_head(head):
    """Takes the head of a reply apart: (version, status, reason, headers)."""
    first, *lines = head.decode("ascii").split("\r\n")
    match = re.fullmatch(r"(HTTP/\d\.\d) (\d{3}) ([^\r\n]+)", first)
    assert match, f"no status line: {first!r}"
    assert all(re.fullmatch(r"[^\r\n:]+: [^\r\n]*", line) for line in lines), f"no header lines: {lines}"
    return match[1], int(match[2]), match[3], [tuple(line.split(": ", 1)) for line in lines]


def anonymous_tls(ciphers="AECDH:ADH:@SECLEVEL=0"):
    """A client context for the anonymous suites, which exist up to TLS 1.2."""
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
    context.check_hostname = False
    context.verify_mode = ssl.CERT_NONE
    context.maximum_version = ssl.TLSVersion.TLSv1_2
    context.set_ciphers(ciphers)
    return context


class Connection:
    """One client connection, plain or TLS. Usable as a context manager."""

    def __init__(self, port, tls=None, session=None):
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=PATIENCE)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self._pending = b""
        if tls:
            try:
                self.socket = tls.wrap_socket(self.socket, session=session, suppress_ragged_eofs=False)
            except BaseException:
                self.close()
                raise

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self.close()

    def close(self):
        self.socket.close()

    def reset(self):
        """Ends the connection with RST, as a crashed peer would."""
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.close()

    def send(self, data):
        self.socket.settimeout(PATIENCE)
        self.socket.sendall(data)

    def half_close(self):
        """Says that nothing more comes; the reply can still be read."""
        self.socket.shutdown(socket.SHUT_WR)

    def _fill(self, end):
        """Waits for more bytes. False if the peer has ended the connection, in whatever manner."""
        self.socket.settimeout(max(end - time.monotonic(), 0.001))
        try:
            data = self.socket.recv(1 << 16)
        except TimeoutError:
            raise AssertionError(f"nothing more within the time limit after {self._pending[:200]!r}") from None
        except (ConnectionError, ssl.SSLError):
            return False
        self._pending += data
        return bool(data)

    def read_reply(self):
        """The next reply, or None if the peer ended the connection without a byte of one."""
        end = time.monotonic() + PATIENCE
        while b"\r\n\r\n" not in self._pending:
            if not self._fill(end):
                assert not self._pending, f"connection ended within a head: {self._pending[:200]!r}"
                return None
        head = self._pending.partition(b"\r\n\r\n")[0]
        version, status, reason, headers = parse_head(head)
        (length,) = [value for name, value in headers if name == "Content-Length"]
        total = len(head) + 4 + int(length)
        while len(self._pending) < total:
            assert self._fill(end), f"connection ended within a body: {self._pending[:200]!r}"
        raw, self._pending = self._pending[:total], self._pending[total:]
        return Reply(version, status, reason, headers, raw[len(head) + 4 :], raw)

    def ask(self, data):
        self.send(data)
        return self.read_reply()

    def expect(self, data):
        """Takes these bytes, which must come next."""
        end = time.monotonic() + PATIENCE
        while len(self._pending) < len(data):
            assert self._fill(end), f"connection ended with {self._pending!r}"
        assert self._pending.startswith(data), self._pending
        self._pending = self._pending[len(data) :]

    def read_to_end(self):
        """All that comes until the peer ends the connection, which it must do within the time limit."""
        end = time.monotonic() + PATIENCE
        while self._fill(end):
            pass
        data, self._pending = self._pending, b""
        return data

    def is_silent_for(self, seconds):
        """True if in this time nothing comes and the connection is not ended."""
        self.socket.settimeout(seconds)
        try:
            self._pending += self.socket.recv(1 << 16)
        except TimeoutError:
            return not self._pending
        except ConnectionError:
            pass
        return False
