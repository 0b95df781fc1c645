"""The scripted management server.

It answers the agent's calls on a plain and on a TLS port, records them, and can be told to misbehave. A third port
plays a proxy: it takes both plain and TLS. Every wait has a limit and every thread is a daemon.

    server.answers["Ping"] = element text      what goes below Response for that call
    server.outcome = ("error", "no")           response and reason of every answer
    server.misbehave(behaviour)                the next connection is treated by that function instead
    with server.holding():                     replies are kept back until the block ends
    server.calls                               what came, oldest first
    server.down() / server.up()                refuse connections, and accept them again
"""

import http.client
import socket
import socketserver
import ssl
import threading
import xml.etree.ElementTree as ET
from collections import deque
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path
from urllib.parse import unquote_to_bytes

from .envelope import attributes
from .limits import PATIENCE, wait_until
from .ports import Port
from .wire import FORM

LINE_LIMIT = 1 << 16
TLS_HANDSHAKE = b"\x16"


@dataclass
class Call:
    """One call of the agent, as it came."""

    port: int  # of the server
    peer: tuple  # address and port of the agent's end
    tls: bool
    request_line: str
    headers: http.client.HTTPMessage
    body: bytes
    text: bytes  # the XML, with URL encoding and form field taken off
    method: str
    request: dict  # attributes of Request
    root: dict  # attributes of the root
    element: ET.Element  # the Method element


# ---- behaviours: functions of (server, connected socket); the socket is closed when they return


def close_at_once(server, connection):
    """Ends the connection before anything is read."""


def replying(data):
    """Takes the request and replies with these bytes."""

    def behave(server, connection):
        server.read_request(connection)
        connection.sendall(data)

    return behave


def status(code, text="TEXT", headers="", body=b""):
    return replying(f"HTTP/1.1 {code} {text}\r\nContent-Length: {len(body)}\r\n{headers}\r\n".encode() + body)


def endless_headers(server, connection):
    """Sends header lines until the peer has had enough, at most 64 MiB."""
    replying(b"HTTP/1.1 200 OK\r\n")(server, connection)
    for _ in range(1 << 10):
        connection.sendall(b"X: y\r\n" * 10923)


def drip(server, connection):
    """The right reply, byte by byte."""
    for byte in server.reply_bytes(server.read_request(connection)):
        connection.sendall(bytes([byte]))


def without_length(server, connection):
    """The right reply with no Content-Length: it ends with the connection."""
    call = server.read_request(connection)
    connection.sendall(b"HTTP/1.0 200 OK\r\n\r\n" + server.reply_bytes(call).partition(b"\r\n\r\n")[2])


BAD_BEHAVIOUR = (
    close_at_once,
    replying(b""),
    replying(b"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n<NorvalithRMI"),
    replying(bytes(range(256)) * 16),
    status(200, body=b"<a>" + b"x" * (10 << 20) + b"</a>"),
    endless_headers,
    status(500),
    status(200),
)


class Listener(socketserver.ThreadingTCPServer):
    allow_reuse_address = True
    daemon_threads = True
    request_queue_size = 64

    def __init__(self, port, kind, owner):
        self.kind, self.owner = kind, owner
        super().__init__(("127.0.0.1", port.number), owner.serve)
        threading.Thread(target=self.serve_forever, args=(0.02,), daemon=True).start()

    def end(self):
        self.shutdown()
        self.server_close()


class ManagementServer:
    def __init__(self, ssl_state="false"):
        self.calls = []
        self.outcome = ("success", "success")
        self.version = ("1.2", "2.1")
        self.answers = {"Ping": '<Server version="3.0"/>', "GetSSLState": f'<Server sslState="{ssl_state}"/>'}
        self.faults = []  # what went wrong on connections that were meant to go well
        self.is_cut_off = False  # set by a test that kills an agent in the midst of its calls, which is no fault then
        self._lock = threading.Lock()
        self._may_reply = threading.Event()
        self._may_reply.set()
        self._scripts = deque()
        self._tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self._tls.maximum_version = ssl.TLSVersion.TLSv1_2
        self._tls.set_ciphers("AECDH:ADH:@SECLEVEL=0")
        self._tls.load_dh_params(str(Path(__file__).with_name("ffdhe2048.pem")))
        self._ports = {kind: Port() for kind in ("plain", "tls", "proxy")}
        self.plain_port, self.tls_port, self.proxy_port = (port.number for port in self._ports.values())
        self.up()

    # ---- what a test does

    def misbehave(self, *behaviours):
        self._scripts.extend(behaviours)

    def drop_scripts(self):
        """Takes back misbehaviour that no connection has met yet."""
        self._scripts.clear()

    def of(self, method):
        with self._lock:
            return [call for call in self.calls if call.method == method]

    def wait_calls(self, method, count=1):
        """Waits for so many calls of that method and returns them."""
        wait_until(lambda: len(self.of(method)) >= count, f"{count} calls of {method}")
        return self.of(method)

    def up(self):
        self._listeners = [Listener(port, kind, self) for kind, port in self._ports.items()]

    def down(self):
        """Stops listening. The ports stay reserved, so that up() can take them again."""
        for listener in self._listeners:
            listener.end()

    def stop(self):
        self._may_reply.set()
        self.down()
        for port in self._ports.values():
            port.release()

    @contextmanager
    def holding(self):
        self._may_reply.clear()
        try:
            yield
        finally:
            self._may_reply.set()

    # ---- connections

    def serve(self, connection, address, listener):
        connection.settimeout(PATIENCE)
        with self._lock:
            script = self._scripts.popleft() if self._scripts else None
        try:
            tls = listener.kind == "tls"
            if listener.kind == "proxy":
                tls = connection.recv(1, socket.MSG_PEEK) == TLS_HANDSHAKE
            if tls and script is not close_at_once:
                connection = self._tls.wrap_socket(connection, server_side=True)
            if script:
                script(self, connection)
            else:
                call = self.read_request(connection)
                self._may_reply.wait(PATIENCE)
                connection.sendall(self.reply_bytes(call))
        except Exception as fault:  # noqa: BLE001: a thread has nobody to tell
            if script is None and not self.is_cut_off:
                self.faults.append(fault)
        finally:
            connection.close()

    def read_request(self, connection):
        with connection.makefile("rb") as stream:
            request_line = stream.readline(LINE_LIMIT).decode("ascii").rstrip("\r\n")
            headers = http.client.parse_headers(stream)
            body = stream.read(int(headers["Content-Length"]))
        text = unquote_to_bytes(body.replace(b"+", b" ")) if headers["Content-Type"] == FORM else body
        text = text.partition(b"CommandBody=")[2] or text
        root = ET.fromstring(text)
        request, method = root.find(".//Request"), root.find(".//Method")
        call = Call(
            port=connection.getsockname()[1], peer=connection.getpeername(), tls=isinstance(connection, ssl.SSLSocket),
            request_line=request_line, headers=headers, body=body, text=text,
            method=method.get("name"), request=request.attrib, root=root.attrib, element=method,
        )  # fmt: skip
        with self._lock:
            self.calls.append(call)
        return call

    def reply_bytes(self, call):
        (response, reason), (version, schema) = self.outcome, self.version
        outcome = attributes({"type": "method", "name": call.method, "response": response, "reason": reason})
        body = (
            f"<NorvalithRMI{attributes({'version': version, 'schema': schema})}><Response{outcome}>"
            f"{self.answers.get(call.method, '')}</Response></NorvalithRMI>"
        ).encode()
        head = f"HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nContent-Length: {len(body)}\r\nConnection: Close\r\n\r\n"
        return head.encode() + body
