"""HTTP by hand: bytes out, bytes in, nothing tidied up on the way."""

import re
import socket
import ssl
import struct
import time
from dataclasses import dataclass

from .limits import limit

STATUS_LINE = re.compile(rb"(HTTP/\d\.\d) (\d{3}) ([^\r\n]+)\Z")


class Incomplete(AssertionError):
    """The connection ended, or the time was up, within a reply."""


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
        values = [value for key, value in self.headers if key.lower() == name.lower()]
        assert len(values) <= 1, f"{name} appears {len(values)} times"
        return values[0] if values else None


def parse_head(head):
    """Takes the head of a reply apart: (version, status, reason, headers)."""
    lines = head.split(b"\r\n")
    match = STATUS_LINE.match(lines[0])
    assert match, f"no status line: {lines[0]!r}"
    headers = []
    for line in lines[1:]:
        name, colon, value = line.partition(b": ")
        assert colon and b"\n" not in line and b"\r" not in line, f"no header line: {line!r}"
        headers.append((name.decode("ascii"), value.decode("ascii")))
    return match.group(1).decode(), int(match.group(2)), match.group(3).decode(), headers


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

    def __init__(self, port, host="127.0.0.1", tls=None, session=None):
        self.socket = socket.create_connection((host, port), timeout=limit(5))
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self._pending = b""
        if tls:
            try:
                self.socket = tls.wrap_socket(self.socket, session=session)
            except BaseException:
                self.socket.close()
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
        self.socket.close()

    def send(self, data):
        self.socket.settimeout(limit(20))
        self.socket.sendall(data)

    def half_close(self):
        """Says that nothing more comes; the reply can still be read."""
        self.socket.shutdown(socket.SHUT_WR)

    def _fill(self, end):
        """Waits for more bytes. False if the peer has ended the connection, in whatever manner."""
        self.socket.settimeout(max(end - time.monotonic(), 0.001))
        try:
            data = self.socket.recv(1 << 16)
        except (socket.timeout, TimeoutError):
            raise Incomplete(f"nothing more within the time limit after {self._pending[:200]!r}") from None
        except (ConnectionError, ssl.SSLError):
            return False
        self._pending += data
        return bool(data)

    def read_reply(self, seconds=10):
        """The next reply, or None if the peer ended the connection without a byte of one."""
        end = time.monotonic() + limit(seconds)
        while b"\r\n\r\n" not in self._pending:
            if not self._fill(end):
                if not self._pending:
                    return None
                raise Incomplete(f"connection ended within a head: {self._pending[:200]!r}")
        head, _, rest = self._pending.partition(b"\r\n\r\n")
        version, status, reason, headers = parse_head(head)
        lengths = [value for name, value in headers if name == "Content-Length"]
        assert len(lengths) == 1 and lengths[0].isdigit(), f"bad Content-Length in {head!r}"
        total = len(head) + 4 + int(lengths[0])
        while len(self._pending) < total:
            if not self._fill(end):
                raise Incomplete(f"connection ended within a body: {self._pending[:200]!r}")
        raw, self._pending = self._pending[:total], self._pending[total:]
        return Reply(version, status, reason, headers, raw[len(head) + 4 :], raw)

    def read_to_end(self, seconds=10):
        """All that comes until the peer ends the connection, which it must do within the time limit."""
        end = time.monotonic() + limit(seconds)
        while self._fill(end):
            pass
        data, self._pending = self._pending, b""
        return data

    def is_silent_for(self, seconds):
        """True if in this time nothing comes and the connection is not ended."""
        if self._pending:
            return False
        self.socket.settimeout(seconds)
        try:
            self._pending += self.socket.recv(1 << 16)
        except (socket.timeout, TimeoutError):
            return True
        except ConnectionError:
            pass
        return False
