"""A running agent."""

import os
import re
import signal
import subprocess
import time
from contextlib import suppress
from pathlib import Path

from .envelope import envelope, parse_answer
from .limits import PATIENCE, wait_until
from .ports import Port
from .tree import SANITIZER_SIGNS, agent_conf, environment
from .wire import GET, Connection

STARTED = "Agent: startup successful\n"


def post_request(body, uri="/nxCommand", content_type="text/xml", version="HTTP/1.0", headers=""):
    """A POST with its head, as bytes."""
    head = f"POST {uri} {version}\r\nContent-Type: {content_type}\r\nContent-Length: {len(body)}\r\n{headers}\r\n"
    return head.encode() + body


# Told once, by the first audit of drives on a machine without Fibre Channel.
NO_ADAPTERS = "warning: unable to load the HBAAPI library and/or find Fibre Channel adapters. status: -1\n"


class Agent:
    """The program over a Tree, from its start to its end.

    tree      a Tree; its agent.conf is written unless write_conf is False
    verbose   brings the log, which stays readable after the end
    flags     more of the command line
    before    a command line that runs the program's own, and is replaced by it
    server    a ManagementServer that agent.conf names, else nobody answers on the server's ports
    conf      more attributes for agent.conf, by element name
    binds     number of ports to listen on, at `address`
    ports     the ports of an agent before this one instead; they must not be released meanwhile
    more      environment variables
    umask     file mode mask of the process
    """

    def __init__(
        self, tree, *, verbose=True, flags=(), before=(), server=None, conf=None, binds=1, ports=None,
        address="127.0.0.1", write_conf=True, more=None, umask=0o22,
    ):  # fmt: skip
        self.tree = tree
        self.verbose = verbose
        self.ports = [Port() for _ in range(binds)] if ports is None else ports
        nobody = Port()
        self._held = [nobody, *self.ports]
        self._end_is_expected = self._killed = False
        self.tools_complain = False  # what they write to standard error is no fault of the agent's
        self._log_read = bytearray()
        if write_conf:
            plain, tls = (server.plain_port, server.tls_port) if server else (nobody.number, nobody.number)
            conf = conf or {}
            info = {"port": str(plain), "sslPort": str(tls)} | conf.get("ServerInfo", {})
            pairs = [(address, port.number) for port in self.ports]
            tree.agent_conf.write_text(agent_conf(pairs, server=info, agent=conf.get("AgentInfo")))
        self._stdout, self._stderr = (tree.root / f"{name}-{time.monotonic_ns()}" for name in ("stdout", "stderr"))
        with open(self._stdout, "wb") as out, open(self._stderr, "wb") as err:
            self.process = subprocess.Popen(
                [*before, str(tree.program), *flags, *(["-verbose"] if verbose else [])],
                cwd="/", env=environment(**(more or {})), stdin=subprocess.DEVNULL, stdout=out, stderr=err, umask=umask,
                start_new_session=True,  # an interrupt at the terminal is for the tests, which then end the agents
            )  # fmt: skip
        self.pid = self.process.pid
        self.port = self.ports[0].number if self.ports else None

    # ---- start and end

    def wait_ready(self):
        """Waits until the agent serves; with -verbose until it says that it has started."""

        def ready():
            assert self.is_running(), f"ended at its start, {self.process.returncode}\n{self.log()}{self.stderr()}"
            if self.verbose:
                return STARTED.encode() in self._log_bytes()
            return all(self.answers(port.number) for port in self.ports)

        wait_until(ready, "the agent to be ready")
        return self

    def answers(self, port):
        try:
            with Connection(port) as connection:
                return connection.ask(GET) is not None
        except OSError:
            return False

    def send_signal(self, number):
        self._end_is_expected |= number in (1, 2, 15, 24)
        os.kill(self.pid, number)

    def wait(self):
        """Waits for the end and returns the exit status; below 0 for a signal."""
        self._end_is_expected = True
        return self.process.wait(PATIENCE)

    def stop(self, number=signal.SIGTERM):
        self.send_signal(number)
        return self.wait()

    def kill(self):
        """Ends the process at once, as a crash would. Not counted as a fault."""
        self.process.kill()
        self.process.wait()
        # A child that was about to run a program has the ports until it does.
        wait_until(lambda: not any(port.is_listened_to() for port in self.ports), "the ports to be free")
        self._killed = self._end_is_expected = True

    def is_running(self):
        return self.process.poll() is None

    def finish(self):
        """Ends the process if it still runs, and returns what was wrong with its life, or None."""
        trouble = None
        if not self.is_running():
            if not self._end_is_expected:
                trouble = f"the agent ended by itself with status {self.process.returncode}"
        else:
            try:
                self.stop()
            except subprocess.TimeoutExpired:
                trouble = "the agent did not end on SIGTERM"
                self.kill()
        for port in self._held:
            port.release()
        # A shell of the agent's says there which of the host's tools are missing.
        told = self.stderr().replace(NO_ADAPTERS, "", 1)
        errors = "".join(line for line in told.splitlines(True) if not line.startswith("sh: "))
        status = self.process.returncode
        if any(sign in errors for sign in SANITIZER_SIGNS):
            trouble = "sanitizer report:\n" + errors
        elif status not in (0, 1) and not self._killed:
            trouble = f"the agent ended with status {status}\n{errors}"
        elif errors and not trouble and not self.tools_complain:
            trouble = "the agent wrote to standard error:\n" + errors
        return trouble

    # ---- requests

    def connect(self, **options):
        return Connection(self.port, **options)

    def raw(self, data, half_close=False):
        """Sends bytes and returns all that comes until the agent ends the connection."""
        with self.connect() as connection:
            try:
                connection.send(data)
                if half_close:
                    connection.half_close()
            except ConnectionError:
                pass  # the agent may end the connection before it has taken everything
            return connection.read_to_end()

    def exchange(self, data, tls=None):
        """Sends bytes on a connection of its own and returns the one Reply."""
        with self.connect(tls=tls) as connection:
            reply = connection.ask(data)
        assert reply is not None, "the connection ended without a reply"
        return reply

    def get(self, uri="/"):
        return self.exchange(f"GET {uri} HTTP/1.0\r\n\r\n".encode())

    def post(self, body, uri="/nxCommand", content_type="text/xml", tls=None):
        return self.exchange(post_request(body, uri=uri, content_type=content_type), tls)

    def call(self, method="Ping", params="", *, uuid=None, host=None, tls=None):
        """Calls a method and returns the Answer; the envelope must have been accepted."""
        return self.answer(envelope(method, params, request={"uuid": uuid, "hostTarget": host}), tls=tls)

    def outcome(self, *arguments, **options):
        return self.call(*arguments, **options).outcome

    def answer(self, body, content_type="text/xml", tls=None):
        reply = self.post(body, content_type=content_type, tls=tls)
        assert (reply.status, reply.header("Content-Type")) == (200, "text/xml"), body[:300]
        return parse_answer(reply.body)

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

    def wait_log(self, text, count=1):
        wait_until(lambda: self._log_bytes().count(text.encode()) >= count, f"{text!r} in the log")

    def descriptors(self):
        """Descriptor number -> open flags."""
        flags = {}
        for entry in os.listdir(f"/proc/{self.pid}/fd"):
            try:
                info = Path(f"/proc/{self.pid}/fdinfo/{entry}").read_text()
            except FileNotFoundError:
                continue
            flags[int(entry)] = int(re.search(r"^flags:\s+(\d+)", info, re.M)[1], 8)
        return flags

    def memory(self, field):
        """A figure of /proc/PID/status, in bytes."""
        return self._status_number(field) * 1024

    def rss(self):
        """Resident memory in bytes."""
        return self.memory("VmRSS")

    def threads(self):
        return self._status_number("Threads")

    def cpu_seconds(self):
        """Processor time used so far."""
        fields = Path(f"/proc/{self.pid}/stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def context_switches(self):
        """How often all threads together have gone to sleep of themselves."""
        return sum(number_in(text, "voluntary_ctxt_switches") for text in self._of_threads("status"))

    def wait_rest(self):
        """Waits until every thread sleeps, so that what was to follow a reply has been done."""

        def rests():
            before = self.context_switches()
            states = {text.rpartition(")")[2].split()[0] for text in self._of_threads("stat")}
            return states == {"S"} and self.context_switches() == before

        wait_until(rests, "every thread to sleep")

    def settled_threads(self):
        """How many there are once none has come or gone for longer than one stays after its work: a second."""

        def settled():
            before = self.threads()
            time.sleep(1.5)
            return self.threads() == before and before

        return wait_until(settled, "the threads to settle")

    def _of_threads(self, name):
        """A file of /proc for every thread; one that ends meanwhile is left out."""
        for thread in Path(f"/proc/{self.pid}/task").iterdir():
            with suppress(FileNotFoundError, ProcessLookupError):
                yield (thread / name).read_text()

    def _status_number(self, field):
        return number_in(Path(f"/proc/{self.pid}/status").read_text(), field)


def number_in(status, field):
    return int(re.search(rf"^{field}:\s+(\d+)", status, re.M)[1])
