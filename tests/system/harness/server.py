"""The scripted management server.

It speaks HTTP by hand on sockets and threads, on a plain and on a TLS port, answers the agent's calls,
records them, and can be told to misbehave. A third port plays a proxy: it takes both plain and TLS. It ends by itself: every wait has a limit and every thread is a
daemon.

    server.answers["Ping"] = element text      what goes below Response for that call
    server.outcome = ("error", "no")           response and reason of every answer
    server.misbehave(behaviour)                the next connection is treated by that function instead
    with server.holding():                     replies are kept back until the block ends
    server.calls                               what came, oldest first
    server.down() / server.up()                refuse connections, and accept them again
"""

import socket
import ssl
import threading
import xml.etree.ElementTree as ET
from collections import deque
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path
from urllib.parse import unquote_to_bytes

from .envelope import attributes
from .limits import limit, wait_until

DH_PARAMETERS = Path(__file__).with_name("ffdhe2048.pem")

HEAD_LIMIT = 1 << 16
BODY_LIMIT = 1 << 28
TLS_HANDSHAKE = b"\x16"


@dataclass
class Call:
    """One call of the agent, as it came."""

    port: int  # of the server
    peer: tuple  # address and port of the agent's end
    tls: bool
    request_line: str
    headers: list
    body: bytes
    text: bytes  # the XML, with URL encoding and form field taken off
    method: str
    request: dict  # attributes of Request
    root: dict  # attributes of the root
    element: ET.Element  # the Method element

    def header(self, name):
        values = [value for key, value in self.headers if key.lower() == name.lower()]
        return values[0] if values else None


def anonymous_server_tls(ciphers="AECDH:ADH:@SECLEVEL=0"):
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.maximum_version = ssl.TLSVersion.TLSv1_2
    context.set_ciphers(ciphers)
    context.load_dh_params(str(DH_PARAMETERS))
    return context


# ---- behaviours: functions of (server, connected socket); the socket is closed when they return


def close_at_once(server, connection):
    """Ends the connection before anything is read."""


def close_after_request(server, connection):
    server.read_request(connection)


def close_within_reply(server, connection):
    server.read_request(connection)
    connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n<NorvalithRMI")


def rubbish(server, connection):
    server.read_request(connection)
    connection.sendall(bytes(range(256)) * 16)


def huge_reply(server, connection):
    """A well-formed reply of 10 MiB that holds no answer."""
    server.read_request(connection)
    body = b"<a>" + b"x" * (10 << 20) + b"</a>"
    connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n" % len(body) + body)


def endless_headers(server, connection):
    """Sends header lines until the peer has had enough, at most 64 MiB."""
    server.read_request(connection)
    connection.sendall(b"HTTP/1.1 200 OK\r\n")
    for _ in range(1 << 10):
        connection.sendall(b"X: y\r\n" * (1 << 16) if server.running else b"")


def status(code, text="TEXT", headers="", body=b""):
    """A reply with that status."""

    def reply(server, connection):
        server.read_request(connection)
        connection.sendall(f"HTTP/1.1 {code} {text}\r\nContent-Length: {len(body)}\r\n{headers}\r\n".encode() + body)

    return reply


def drip(server, connection):
    """The right reply, byte by byte."""
    call = server.read_request(connection)
    for byte in server.reply_bytes(call):
        connection.sendall(bytes([byte]))


def without_length(server, connection):
    """The right reply with no Content-Length: it ends with the connection."""
    call = server.read_request(connection)
    connection.sendall(b"HTTP/1.0 200 OK\r\n\r\n" + server.reply_bytes(call).partition(b"\r\n\r\n")[2])


class ManagementServer:
    def __init__(self, ssl_state="false"):
        self.running = True
        self.calls = []
        self.outcome = ("success", "success")
        self.version = ("1.2", "2.1")
        self.answers = {
            "Ping": '<Server version="3.0"/>',
            "GetSSLState": f'<Server sslState="{ssl_state}"/>',
        }
        self.faults = []  # what went wrong on connections that were meant to go well
        self._lock = threading.Lock()
        self._may_reply = threading.Event()
        self._may_reply.set()
        self._scripts = deque()
        self._connections = set()
        self._tls = anonymous_server_tls()
        self._listeners = {}
        self.plain_port = self._listen("plain", 0)
        self.tls_port = self._listen("tls", 0)
        self.proxy_port = self._listen("proxy", 0)

    # ---- what a test does

    def misbehave(self, *behaviours):
        self._scripts.extend(behaviours)

    def drop_scripts(self):
        """Takes back misbehaviour that no connection has met yet."""
        self._scripts.clear()

    def wait_calls(self, method, count=1, seconds=10):
        """Waits for so many calls of that method and returns them."""
        wait_until(lambda: len(self.of(method)) >= count, seconds, f"{count} calls of {method}")
        return self.of(method)

    def of(self, method):
        with self._lock:
            return [call for call in self.calls if call.method == method]

    def down(self):
        """Stops listening. The ports stay reserved, so that up() can take them again."""
        for listener, _ in self._listeners.values():
            try:
                listener.shutdown(socket.SHUT_RDWR)  # takes effect at once, though accept() still waits
            except OSError:
                pass
            listener.close()

    def up(self):
        self._listen("plain", self.plain_port)
        self._listen("tls", self.tls_port)
        self._listen("proxy", self.proxy_port)

    def stop(self):
        self.running = False
        self._may_reply.set()
        self.down()
        for _, holder in self._listeners.values():
            holder.close()
        with self._lock:
            open_now = list(self._connections)
        for connection in open_now:
            try:
                connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    @contextmanager
    def holding(self):
        self._may_reply.clear()
        try:
            yield
        finally:
            self._may_reply.set()

    # ---- connections

    def _listen(self, kind, number):
        holder = self._listeners[kind][1] if kind in self._listeners else None
        if holder is None:
            holder = socket.socket()
            holder.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            holder.bind(("127.0.0.1", number))
            number = holder.getsockname()[1]
        listener = socket.socket()
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        listener.bind(("127.0.0.1", number))
        listener.listen(64)
        listener.settimeout(0.1)
        self._listeners[kind] = (listener, holder)
        threading.Thread(target=self._accept, args=(listener, kind), daemon=True).start()
        return number

    def _accept(self, listener, kind):
        while self.running:
            try:
                connection, _ = listener.accept()
            except TimeoutError:
                continue
            except OSError:
                return
            threading.Thread(target=self._serve, args=(connection, kind), daemon=True).start()

    def _serve(self, connection, kind):
        connection.settimeout(limit(20))
        with self._lock:
            script = self._scripts.popleft() if self._scripts else None
        try:
            if kind == "proxy":
                kind = "tls" if connection.recv(1, socket.MSG_PEEK) == TLS_HANDSHAKE else "plain"
            if kind == "tls" and script is not close_at_once:
                connection = self._tls.wrap_socket(connection, server_side=True)
            with self._lock:
                self._connections.add(connection)
            if script:
                script(self, connection)
            else:
                self.reply(connection, self.read_request(connection))
        except Exception as fault:  # noqa: BLE001: a thread has nobody to tell
            if script is None:
                self.faults.append(fault)
        finally:
            with self._lock:
                self._connections.discard(connection)
            connection.close()

    # ---- HTTP

    def read_request(self, connection):
        data = b""
        while b"\r\n\r\n" not in data:
            chunk = connection.recv(1 << 16)
            if not chunk or len(data) > HEAD_LIMIT:
                raise ConnectionError("no request head")
            data += chunk
        head, _, body = data.partition(b"\r\n\r\n")
        lines = head.decode("ascii").split("\r\n")
        headers = [tuple(line.split(": ", 1)) for line in lines[1:]]
        lengths = [int(value) for name, value in headers if name == "Content-Length"]
        if len(lengths) != 1 or lengths[0] > BODY_LIMIT:
            raise ConnectionError("no usable Content-Length")
        while len(body) < lengths[0]:
            chunk = connection.recv(1 << 16)
            if not chunk:
                raise ConnectionError("body too short")
            body += chunk
        call = self._take_apart(connection, lines[0], headers, body)
        with self._lock:
            self.calls.append(call)
        return call

    @staticmethod
    def _take_apart(connection, request_line, headers, body):
        text = body
        if ("Content-Type", "application/x-www-form-urlencoded") in headers:
            text = unquote_to_bytes(text.replace(b"+", b" "))
        text = text.partition(b"CommandBody=")[2] or text
        root = ET.fromstring(text)
        request = root.find(".//Request")
        method = request.find(".//Method")
        return Call(
            port=connection.getsockname()[1],
            peer=connection.getpeername(),
            tls=isinstance(connection, ssl.SSLSocket),
            request_line=request_line,
            headers=headers,
            body=body,
            text=text,
            method=method.get("name"),
            request=request.attrib,
            root=root.attrib,
            element=method,
        )

    def reply_bytes(self, call):
        response, reason = self.outcome
        version, schema = self.version
        body = (
            f"<NorvalithRMI{attributes({'version': version, 'schema': schema})}>"
            f"<Response{attributes({'type': 'method', 'name': call.method, 'response': response, 'reason': reason})}>"
            f"{self.answers.get(call.method, '')}</Response></NorvalithRMI>"
        ).encode()
        head = f"HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nContent-Length: {len(body)}\r\nConnection: Close\r\n\r\n"
        return head.encode() + body

    def reply(self, connection, call):
        self._may_reply.wait(limit(20))
        connection.sendall(self.reply_bytes(call))
