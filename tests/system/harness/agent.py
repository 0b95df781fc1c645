"""A running agent."""

import os
import re
import signal
import subprocess
import time
from pathlib import Path

from .envelope import envelope, form, parse_answer
from .limits import limit, wait_until
from .ports import Port
from .tree import SANITIZER_SIGNS, agent_conf, environment
from .wire import Connection

STARTED = "Agent: startup successful\n"
STOPPING_SIGNALS = (1, 2, 15, 24)


class Agent:
    """The program over a Tree, from its start to its end.

    tree      a Tree; its agent.conf is written unless write_conf is False
    flags     the command line; -verbose brings the log, which stays readable after the end
    server    a ManagementServer that agent.conf names, else nobody answers on the server's ports
    conf      more attributes for agent.conf, by element name
    binds     number of ports to listen on, at 127.0.0.1
    ports     the ports of an agent before this one instead; they must not be released meanwhile
    address   the address text of the Bind elements
    umask     file mode mask of the process
    """

    def __init__(
        self, tree, *, flags=("-verbose",), server=None, conf=None, binds=1, ports=None, address="127.0.0.1",
        write_conf=True, umask=0o22,
    ):  # fmt: skip
        self.tree = tree
        self.ports = ports if ports is not None else [Port() for _ in range(binds)]
        self._nobody = Port()
        self._held = [self._nobody, *(self.ports if ports is None else [])]
        self._killed = False
        self._end_is_expected = False
        self._log_read = bytearray()
        if write_conf:
            numbers = (
                {"port": str(server.plain_port), "sslPort": str(server.tls_port)}
                if server
                else {"port": str(self._nobody.number), "sslPort": str(self._nobody.number)}
            )
            pairs = [(address, port.number) for port in self.ports]
            conf = conf or {}
            info = numbers | conf.get("ServerInfo", {})
            tree.agent_conf.write_text(agent_conf(pairs, server=info, agent=conf.get("AgentInfo")))
        self.verbose = "-verbose" in flags
        self._stdout = tree.root / f"stdout-{time.monotonic_ns()}"
        self._stderr = tree.root / f"stderr-{time.monotonic_ns()}"
        with open(self._stdout, "wb") as out, open(self._stderr, "wb") as err:
            self.process = subprocess.Popen(
                [str(tree.program), *flags],
                cwd="/",
                env=environment(),
                stdin=subprocess.DEVNULL,
                stdout=out,
                stderr=err,
                umask=umask,
                start_new_session=True,  # an interrupt at the terminal is for the tests, which then end the agents
            )
        self.pid = self.process.pid

    @property
    def port(self):
        return self.ports[0].number

    # ---- start and end

    def wait_ready(self):
        """Waits until the agent serves; with -verbose until it says that it has started."""

        def ready():
            status = self.process.poll()
            assert status is None, f"the agent ended with {status} at its start\n{self.log()}{self.stderr()}"
            if self.verbose:
                return STARTED.encode() in self._log_bytes()
            return all(self._answers(port.number) for port in self.ports)

        wait_until(ready, 10, "the agent to be ready")
        return self

    def _answers(self, port):
        try:
            with Connection(port) as connection:
                connection.send(b"GET / HTTP/1.0\r\n\r\n")
                return connection.read_reply() is not None
        except OSError:
            return False

    def send_signal(self, number):
        self._end_is_expected |= number in STOPPING_SIGNALS
        os.kill(self.pid, number)

    def wait(self, seconds=10):
        """Waits for the end and returns the exit status; below 0 for a signal."""
        self._end_is_expected = True
        return self.process.wait(timeout=limit(seconds))

    def stop(self, number=signal.SIGTERM, seconds=10):
        self.send_signal(number)
        return self.wait(seconds)

    def kill(self):
        """Ends the process at once, as a crash would. Not counted as a fault."""
        self.process.kill()
        self.process.wait()
        self._killed = self._end_is_expected = True

    def is_running(self):
        return self.process.poll() is None

    def finish(self, seconds=10):
        """Ends the process if it still runs, and returns what was wrong with its life, or None."""
        trouble = None
        if not self.is_running():
            if not self._end_is_expected:
                trouble = f"the agent ended by itself with status {self.process.returncode}"
        else:
            try:
                self.stop(seconds=seconds)
            except subprocess.TimeoutExpired:
                trouble = "the agent did not end on SIGTERM"
                self.kill()
        status = self.process.returncode
        for port in self._held:
            port.release()
        if any(sign in self.stderr() for sign in SANITIZER_SIGNS):
            trouble = "sanitizer report:\n" + self.stderr()
        elif status not in (0, 1) and not self._killed:
            trouble = f"the agent ended with status {status}\n{self.stderr()}"
        elif self.stderr() and not trouble:
            trouble = "the agent wrote to standard error:\n" + self.stderr()
        return trouble

    # ---- requests

    def connect(self, **options):
        return Connection(self.port, **options)

    def raw(self, data, half_close=False, seconds=10):
        """Sends bytes and returns all that comes until the agent ends the connection."""
        with self.connect() as connection:
            try:
                connection.send(data)
                if half_close:
                    connection.half_close()
            except ConnectionError:
                pass  # the agent may end the connection before it has taken everything
            return connection.read_to_end(seconds)

    def exchange(self, data, seconds=10):
        """Sends bytes on a connection of its own and returns the one Reply, or None."""
        with self.connect() as connection:
            connection.send(data)
            return connection.read_reply(seconds)

    def get(self, uri="/", version="HTTP/1.0"):
        """Gets a page on a connection of its own and returns the Reply."""
        reply = self.exchange(f"GET {uri} {version}\r\n\r\n".encode())
        assert reply is not None, "the connection ended without a reply"
        return reply

    def post(self, body, uri="/nxCommand", content_type="text/xml", seconds=10, tls=None):
        """Posts one body on a connection of its own and returns the Reply."""
        with self.connect(tls=tls) as connection:
            connection.send(post_request(body, uri=uri, content_type=content_type))
            reply = connection.read_reply(seconds)
        assert reply is not None, "the connection ended without a reply"
        return reply

    def call(self, method="Ping", params="", *, uuid=None, host=None, seconds=10, tls=None, **request):
        """Calls a method and returns the Answer; the envelope must have been accepted."""
        body = envelope(method, params, request={"uuid": uuid, "hostTarget": host} | request)
        return self.answer(body, seconds=seconds, tls=tls)

    def answer(self, body, content_type="text/xml", seconds=10, tls=None):
        reply = self.post(body, content_type=content_type, seconds=seconds, tls=tls)
        assert reply.status == 200, f"status {reply.status} for {body[:300]!r}"
        assert reply.header("Content-Type") == "text/xml"
        return parse_answer(reply.body)

    def answer_form(self, xml):
        return self.answer(form(xml), content_type="application/x-www-form-urlencoded")

    # ---- what can be seen from outside

    def log(self):
        """Standard output, with its line ends as they are."""
        return self._log_bytes().decode("utf-8", errors="replace")

    def _log_bytes(self):
        """The same as bytes; only what is new is read, since it may be large and asked for often."""
        with open(self._stdout, "rb") as file:
            file.seek(len(self._log_read))
            self._log_read += file.read()
        return self._log_read

    def stderr(self):
        return self._stderr.read_text(errors="replace")

    def wait_log(self, text, count=1, seconds=10):
        wait_until(lambda: self._log_bytes().count(text.encode()) >= count, seconds, f"{text!r} in the log")

    def descriptors(self):
        """Descriptor number -> open flags."""
        flags = {}
        for entry in os.listdir(f"/proc/{self.pid}/fd"):
            try:
                info = Path(f"/proc/{self.pid}/fdinfo/{entry}").read_text()
            except FileNotFoundError:
                continue
            flags[int(entry)] = int(re.search(r"^flags:\s+(\d+)", info, re.M).group(1), 8)
        return flags

    def rss(self):
        """Resident memory in bytes."""
        return self._status_number("VmRSS") * 1024

    def threads(self):
        return self._status_number("Threads")

    def cpu_seconds(self):
        """Processor time used so far: unlike elapsed time it does not depend on what else the machine does."""
        fields = Path(f"/proc/{self.pid}/stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def context_switches(self):
        """How often all threads together have gone to sleep of themselves."""
        total = 0
        for task in Path(f"/proc/{self.pid}/task").iterdir():
            total += int(re.search(r"^voluntary_ctxt_switches:\s+(\d+)", (task / "status").read_text(), re.M).group(1))
        return total

    def _status_number(self, field):
        text = Path(f"/proc/{self.pid}/status").read_text()
        return int(re.search(rf"^{field}:\s+(\d+)", text, re.M).group(1))


def post_request(body, uri="/nxCommand", content_type="text/xml", version="HTTP/1.0", headers=""):
    """A POST with its head, as bytes."""
    head = (
        f"POST {uri} {version}\r\nContent-Type: {content_type}\r\nContent-Length: {len(body)}\r\n{headers}\r\n"
    )
    return head.encode() + body
