#!/usr/bin/python3
"""The staged agent under load, beside nginx on the same machine in the same minutes.

    bench/compare_http.py [--seconds N] [--rounds N] [--idle N] [--stage DIR]

Everything runs on loopback and in scratch directories, which are gone at the end, as is every process that this
started. The runs against the agent and against nginx alternate, so that whatever else the machine does meets both;
a figure is the median of its runs, a ratio the median of the ratios of neighbouring runs. Needs nginx, wrk, strace
and the rights to trace the agent. Prints one table.
"""

import argparse
import contextlib
import os
import re
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "tests" / "system"))
from harness import Agent, Tree  # noqa: E402
from harness.envelope import SUCCESS, envelope  # noqa: E402
from harness.ports import Port  # noqa: E402
from harness.wire import Connection  # noqa: E402

PAGE = "<HTML><TITLE>Norvalith Agent</TITLE><CENTER><H1>Norvalith Agent</H1></CENTER></HTML>"
# The load: one thread, eight connections that stay open.
WRK = ("wrk", "-t1", "-c8")

NGINX_CONF = """
daemon off;
worker_processes 1;
pid {directory}/nginx.pid;
error_log {directory}/error.log;
events {{ worker_connections 64; }}
http {{
    access_log off;
    default_type text/html;
    keepalive_requests 1000000000;
    client_body_temp_path {directory}/body;
    proxy_temp_path {directory}/proxy;
    fastcgi_temp_path {directory}/fastcgi;
    uwsgi_temp_path {directory}/uwsgi;
    scgi_temp_path {directory}/scgi;
    server {{
        listen 127.0.0.1:{port};
        location = / {{ return 200 "{page}"; }}
    }}
}}
"""

PING_SCRIPT = """
wrk.method = "POST"
wrk.headers["Content-Type"] = "text/xml"
wrk.body = [[{body}]]
"""


@contextlib.contextmanager
def scratch():
    directory = Path(tempfile.mkdtemp(prefix="qdv-bench-"))
    # nginx drops its rights, and has to find its directory all the same.
    directory.chmod(0o755)
    try:
        yield directory
    finally:
        shutil.rmtree(directory, ignore_errors=True)


@contextlib.contextmanager
def nginx(directory):
    """nginx with one worker process; yields its port and the process id of the worker."""
    port = Port()
    conf = directory / "nginx.conf"
    conf.write_text(NGINX_CONF.format(directory=directory, port=port.number, page=PAGE))
    process = subprocess.Popen(["nginx", "-p", str(directory), "-c", str(conf)])
    try:
        await_server(port.number)
        worker = Path(f"/proc/{process.pid}/task/{process.pid}/children").read_text().split()
        assert len(worker) == 1, worker
        yield port.number, int(worker[0])
    finally:
        process.send_signal(signal.SIGTERM)
        process.wait(10)
        port.release()


@contextlib.contextmanager
def agent(stage):
    tree = Tree(stage)
    running = Agent(tree, verbose=False)
    try:
        yield running.wait_ready()
    finally:
        trouble = running.finish()
        tree.remove()
        if trouble:
            print(f"compare_http.py: {trouble}", file=sys.stderr)


def get(port):
    with Connection(port) as connection:
        connection.send(b"GET / HTTP/1.0\r\n\r\n")
        return connection.read_reply()


def await_server(port):
    for _ in range(200):
        with contextlib.suppress(OSError):
            if get(port):
                return
        time.sleep(0.05)
    sys.exit(f"compare_http.py: nothing answers on port {port}")


def check_answers(running, nginx_port):
    """What is compared must be the same page, and a Ping a success: an error would be quick to answer."""
    for port in (running.port, nginx_port):
        reply = get(port)
        if reply.status != 200 or reply.body != PAGE.encode():
            sys.exit(f"compare_http.py: port {port} does not serve the page: {reply}")
    answer = running.call("Ping")
    if answer.outcome != SUCCESS:
        sys.exit(f"compare_http.py: Ping answered {answer.outcome}")


def load(port, seconds, script=None, path="/"):
    """Runs wrk once. Returns requests per second and the number of requests."""
    command = [*WRK, f"-d{seconds}s", *(["-s", str(script)] if script else []), f"http://127.0.0.1:{port}{path}"]
    out = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    if "Non-2xx" in out or "Socket errors" in out:
        sys.exit(f"compare_http.py: wrk saw errors\n{out}")
    rate = float(re.search(r"^Requests/sec:\s+([\d.]+)", out, re.M).group(1))
    return rate, int(re.search(r"^\s*(\d+) requests in", out, re.M).group(1))


def cpu_seconds(pid):
    fields = Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def measure(pid, *arguments):
    """One run: requests per second, and microseconds of processor time that the server spent on a request."""
    before = cpu_seconds(pid)
    rate, requests = load(*arguments)
    return rate, (cpu_seconds(pid) - before) / requests * 1e6


def ping_script(directory):
    script = directory / "ping.lua"
    script.write_text(PING_SCRIPT.format(body=envelope("Ping").decode()))
    return script


def traced(pid, work):
    """Runs `work` while strace counts the system calls of the process. Returns {name: calls} and work's result."""
    tracer = subprocess.Popen(
        ["strace", "-f", "-c", "-qq", "-p", str(pid)], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True
    )
    try:
        tasks = Path(f"/proc/{pid}/task")
        deadline = time.monotonic() + 10
        while not all("TracerPid:\t0" not in (t / "status").read_text() for t in tasks.iterdir()):
            if tracer.poll() is not None or time.monotonic() > deadline:
                sys.exit("compare_http.py: strace could not attach to the agent")
            time.sleep(0.01)
        # What the threads slept in is restarted by the attaching itself; let that pass.
        time.sleep(0.2)
        result = work()
    finally:
        tracer.send_signal(signal.SIGINT)
        summary = tracer.communicate()[1]
    calls = {}
    for line in summary.splitlines():
        match = re.match(r"\s*[\d.]+\s+[\d.]+\s+\d+\s+(\d+)(?:\s+\d+)?\s+(\w+)$", line)
        if match and match.group(2) != "total":
            calls[match.group(2)] = int(match.group(1))
    return calls, result


def per_request(pid, seconds, *arguments):
    calls, (_, requests) = traced(pid, lambda: load(arguments[0], seconds, *arguments[1:]))
    total = sum(calls.values()) / requests
    busiest = sorted(calls.items(), key=lambda item: -item[1])[:5]
    return total, ", ".join(f"{name} {count / requests:.2f}" for name, count in busiest if count / requests >= 0.005)


def idle_wakeups(running, seconds):
    """How often threads of the agent wake while nobody asks for anything, and the system calls they make then."""
    before = running.context_switches()
    time.sleep(seconds)
    switches = running.context_switches() - before
    calls, _ = traced(running.pid, lambda: time.sleep(seconds))
    return switches, calls


def alternate(rounds, *measures):
    """Runs the measures in turn, several rounds; returns the list of results of each."""
    results = [[] for _ in measures]
    for number in range(rounds):
        # Each round the other way round, so that going first helps nobody.
        for index in range(len(measures)) if number % 2 == 0 else reversed(range(len(measures))):
            results[index].append(measures[index]())
    return results


def ratio(numerators, denominators):
    return statistics.median(n[0] / d[0] for n, d in zip(numerators, denominators))


def rate(runs):
    return f"{statistics.median(run[0] for run in runs):,.0f}"


def cost(runs):
    return f"{statistics.median(run[1] for run in runs):.1f}"


def main():
    parser = argparse.ArgumentParser(description="Measure the staged agent beside nginx.")
    parser.add_argument("--seconds", type=int, default=3, help="length of one run of wrk")
    parser.add_argument("--rounds", type=int, default=7, help="how many runs of each kind")
    parser.add_argument("--idle", type=int, default=10, help="seconds to watch the idle agent")
    parser.add_argument("--stage", type=Path, default=HERE.parent / "stage", help="the staged tree")
    options = parser.parse_args()
    stage = options.stage.resolve()
    missing = [tool for tool in ("nginx", "wrk", "strace") if shutil.which(tool) is None]
    if missing:
        sys.exit(f"compare_http.py: not installed: {', '.join(missing)}")
    if not (stage / "bin" / "QDVAgent").is_file():
        sys.exit(f"compare_http.py: no staged agent at {stage}; build and install it first")

    with scratch() as directory, nginx(directory) as (nginx_port, nginx_pid), agent(stage) as running:
        script = ping_script(directory)
        time.sleep(1)
        switches, idle_calls = idle_wakeups(running, options.idle)
        fresh = running.rss()
        check_answers(running, nginx_port)
        agent_get, nginx_get, pings = alternate(
            options.rounds,
            lambda: measure(running.pid, running.port, options.seconds),
            lambda: measure(nginx_pid, nginx_port, options.seconds),
            lambda: measure(running.pid, running.port, options.seconds, script, "/nxCommand"),
        )
        loaded = running.rss()
        get_calls, get_names = per_request(running.pid, options.seconds, running.port)
        ping_calls, ping_names = per_request(running.pid, options.seconds, running.port, script, "/nxCommand")

    rows = [
        ("GET / of the agent, requests/s", rate(agent_get), ""),
        ("GET / of nginx, requests/s", rate(nginx_get), ""),
        ("GET /, agent to nginx", f"{ratio(agent_get, nginx_get):.2f}", ">= 1.00"),
        ("Ping, requests/s", rate(pings), ""),
        ("Ping to GET / of the agent", f"{ratio(pings, agent_get):.2f}", ">= 0.50"),
        ("Processor time for GET / of the agent, µs", cost(agent_get), ""),
        ("Processor time for GET / of nginx, µs", cost(nginx_get), ""),
        ("Processor time for a Ping, µs", cost(pings), ""),
        (f"System calls per GET / ({get_names})", f"{get_calls:.2f}", "<= 4"),
        (f"System calls per Ping ({ping_names})", f"{ping_calls:.2f}", ""),
        (f"Idle for {options.idle} s: wake-ups", f"{switches}", "0"),
        (f"Idle for {options.idle} s: system calls", f"{sum(idle_calls.values())}", "0"),
        ("Resident, fresh, MiB", f"{fresh / 2**20:.1f}", "< 12"),
        ("Resident, after the load, MiB", f"{loaded / 2**20:.1f}", "< 12"),
    ]
    print("| | Measured | Aim |\n|---|---|---|")
    for row in rows:
        print("| {} | {} | {} |".format(*row))


if __name__ == "__main__":
    main()
