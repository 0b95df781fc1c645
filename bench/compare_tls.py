#!/usr/bin/python3
"""The staged agent's TLS beside nginx with an ECDSA P-256 certificate, and its host summary beside the host commands.

    bench/compare_tls.py [--seconds N] [--rounds N] [--stage DIR]

Both servers meet the same clients in alternating runs on loopback: `openssl s_time` makes a new connection with a full
handshake for each GET, `wrk` keeps eight connections open. The agent shows no certificate, so its clients offer
anonymous suites; nginx is spoken to with TLS 1.2 and ECDHE-ECDSA. Needs nginx, wrk, openssl. Prints one table.
"""

import argparse
import os
import re
import shutil
import statistics
import subprocess
import sys
import time
from pathlib import Path

import compare_http as http

OPENSSL_CONF = """
openssl_conf = main
[main]
ssl_conf = ssl
[ssl]
system_default = tls
[tls]
CipherString = {ciphers}
MaxProtocol = TLSv1.2
"""
ANONYMOUS = "AECDH:@SECLEVEL=0"
CERTIFIED = "ECDHE-ECDSA-AES256-GCM-SHA384"

# What the host summary runs, each through a shell of its own.
HOST_COMMANDS = (
    "ls /etc/*-release", "cat /etc/os-release", "uname -r", "cat /etc/resolv.conf | grep domain", "uname -m"
)  # fmt: skip


def make_certificate(directory):
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "2",
         "-subj", "/CN=localhost", "-keyout", directory / "key.pem", "-out", directory / "cert.pem"],
        check=True, capture_output=True,
    )  # fmt: skip


def tls_configuration():
    """nginx as compare_http sets it up, but over TLS."""
    return http.NGINX_CONF.replace(
        "listen 127.0.0.1:{port};",
        "listen 127.0.0.1:{port} ssl; ssl_certificate {directory}/cert.pem; ssl_certificate_key {directory}/key.pem; "
        "ssl_protocols TLSv1.2;",
    )


def handshakes(port, seconds, ciphers):
    """New connections per second of wall clock, each with a full handshake and one GET."""
    started = time.monotonic()
    done = subprocess.run(
        ["openssl", "s_time", "-connect", f"127.0.0.1:{port}", "-new", "-tls1_2", "-time", str(seconds), "-www", "/",
         "-cipher", ciphers],
        capture_output=True, text=True,
    )  # fmt: skip
    match = re.search(r"^(\d+) connections in \d+ real seconds", done.stdout, re.M)
    if match is None or int(match.group(1)) == 0:
        sys.exit(f"compare_tls.py: no connections: {done.stdout}{done.stderr}")
    return (int(match.group(1)) / (time.monotonic() - started),)


def kept_alive(port, seconds, conf):
    environment = {**os.environ, "OPENSSL_CONF": str(conf)}
    out = subprocess.run(
        [*http.WRK, f"-d{seconds}s", f"https://127.0.0.1:{port}/"],
        check=True, capture_output=True, text=True, env=environment,
    ).stdout  # fmt: skip
    if "Non-2xx" in out or "Socket errors" in out:
        sys.exit(f"compare_tls.py: wrk saw errors\n{out}")
    return (float(re.search(r"^Requests/sec:\s+([\d.]+)", out, re.M).group(1)),)


def client_configuration(directory, name, ciphers):
    path = directory / name
    path.write_text(OPENSSL_CONF.format(ciphers=ciphers))
    return path


def summary_seconds(running):
    started = time.monotonic()
    answer = running.call("GetHostSummary", uuid="bench")
    if answer.outcome != http.SUCCESS:
        sys.exit(f"compare_tls.py: GetHostSummary answered {answer.outcome}")
    return (time.monotonic() - started,)


def commands_seconds():
    started = time.monotonic()
    for command in HOST_COMMANDS:
        subprocess.run(["sh", "-c", command], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return (time.monotonic() - started,)


def await_tls(port):
    for _ in range(100):
        probe = ["openssl", "s_client", "-connect", f"127.0.0.1:{port}", "-tls1_2"]
        if b"BEGIN CERTIFICATE" in subprocess.run(probe, input=b"", capture_output=True).stdout:
            return
        time.sleep(0.05)
    sys.exit("compare_tls.py: nginx does not answer over TLS")


def main():
    parser = argparse.ArgumentParser(description="Measure the staged agent's TLS beside nginx.")
    parser.add_argument("--seconds", type=int, default=3, help="length of one run")
    parser.add_argument("--rounds", type=int, default=5, help="how many runs of each kind")
    parser.add_argument("--stage", type=Path, default=http.HERE.parent / "stage", help="the staged tree")
    options = parser.parse_args()
    missing = [tool for tool in ("nginx", "wrk", "openssl") if shutil.which(tool) is None]
    if missing:
        sys.exit(f"compare_tls.py: not installed: {', '.join(missing)}")

    http.NGINX_CONF = tls_configuration()
    http.await_server = await_tls
    with http.scratch() as directory:
        make_certificate(directory)
        anonymous = client_configuration(directory, "anonymous.cnf", ANONYMOUS)
        certified = client_configuration(directory, "certified.cnf", CERTIFIED)
        with http.nginx(directory) as (nginx_port, _), http.agent(options.stage.resolve()) as running:
            shakes, nginx_shakes, kept, nginx_kept = http.alternate(
                options.rounds,
                lambda: handshakes(running.port, options.seconds, ANONYMOUS),
                lambda: handshakes(nginx_port, options.seconds, CERTIFIED),
                lambda: kept_alive(running.port, options.seconds, anonymous),
                lambda: kept_alive(nginx_port, options.seconds, certified),
            )
            summaries, commands = http.alternate(
                4 * options.rounds, lambda: summary_seconds(running), commands_seconds
            )

    def milliseconds(runs):
        return f"{1000 * statistics.median(run[0] for run in runs):.1f}"

    rows = [
        ("TLS connections/s of the agent, full handshake and one GET", http.rate(shakes), ""),
        ("the same of nginx, ECDSA P-256", http.rate(nginx_shakes), ""),
        ("TLS connections, agent to nginx", f"{http.ratio(shakes, nginx_shakes):.2f}", ">= 1.00"),
        ("Kept-alive TLS GET / of the agent, requests/s", http.rate(kept), ""),
        ("the same of nginx", http.rate(nginx_kept), ""),
        ("Kept-alive TLS GET /, agent to nginx", f"{http.ratio(kept, nginx_kept):.2f}", ">= 1.00"),
        ("GetHostSummary, ms", milliseconds(summaries), ""),
        ("its host commands by hand, ms", milliseconds(commands), ""),
        ("GetHostSummary to its commands", f"{http.ratio(summaries, commands):.2f}", "<= 1.20"),
    ]
    print("| | Measured | Aim |\n|---|---|---|")
    for row in rows:
        print("| {} | {} | {} |".format(*row))


if __name__ == "__main__":
    main()
