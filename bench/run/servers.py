"""The servers that the clients are measured with. Each has a loopback port and is stopped at the end of its block."""

import os
import select
import signal
import socket
import subprocess
import time
from contextlib import contextmanager
from pathlib import Path

PATIENCE = 30


@contextmanager
def _process(command, **options):
    # A process group of its own, so that a server's children are stopped with it.
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, start_new_session=True, **options)
    try:
        yield process
    finally:
        _end(process)


def _end(process):
    for sent in (signal.SIGTERM, signal.SIGKILL):
        try:
            os.killpg(process.pid, sent)
        except ProcessLookupError:
            pass
        try:
            process.wait(PATIENCE)
            break
        except subprocess.TimeoutExpired:
            continue
    if process.stdout:
        process.stdout.close()


def _free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def _greeting(port):
    try:
        with socket.create_connection(("127.0.0.1", port), PATIENCE) as connection:
            return connection.makefile("rb").readline().decode(errors="replace")
    except ConnectionRefusedError:
        return ""


@contextmanager
def vsftpd(program, served, work, one_process=False):
    """Starts vsftpd and yields its port. Anonymous login is allowed; all files in served are readable.

    one_process: each session has one process, without a second one that opens the data connections for it.
    """
    port = _free_port()
    mark = f"bench {os.getpid()} {port}"
    (work / "empty").mkdir(exist_ok=True)
    configuration = work / f"vsftpd_{port}.conf"
    own_user = os.geteuid() != 0
    configuration.write_text(
        "listen=YES\nlisten_ipv6=NO\nbackground=NO\n"
        f"listen_address=127.0.0.1\nlisten_port={port}\npasv_address=127.0.0.1\n"
        "pasv_enable=YES\nport_enable=YES\nconnect_from_port_20=NO\n"
        "anonymous_enable=YES\nlocal_enable=NO\nwrite_enable=NO\n"
        f"anon_root={served}\nftpd_banner={mark}\n"
        f"ftp_username=daemon\nrun_as_launching_user={'YES' if own_user else 'NO'}\n"
        "ascii_download_enable=NO\nmax_clients=0\nmax_per_ip=0\nxferlog_enable=NO\nsession_support=NO\n"
        f"secure_chroot_dir={work / 'empty'}\n"
        f"one_process_model={'YES' if one_process else 'NO'}\n"
        # The sandbox and the namespaces need permissions that containers often lack.
        "seccomp_sandbox=NO\nisolate=NO\nisolate_network=NO\n"
    )
    with _process([program, configuration]) as process:
        deadline = time.monotonic() + PATIENCE
        while mark not in (greeting := _greeting(port)):
            if process.poll() is not None or greeting or time.monotonic() > deadline:
                raise RuntimeError(f"{program} does not start: {greeting}")
            time.sleep(0.02)
        yield port


@contextmanager
def ftp_serve(program, served):
    """Starts ftp_serve and yields its port. Any login is accepted."""
    with _process([program, served, "--listen", "127.0.0.1:0"], stdout=subprocess.PIPE, text=True) as process:
        ready, _, _ = select.select([process.stdout], [], [], PATIENCE)
        said = process.stdout.readline() if ready else ""
        if not said.startswith("listening on "):
            raise RuntimeError(f"{program} does not start: {said}")
        yield int(said.rsplit(":", 1)[1])


def make_files(served, sizes):
    """Creates a file of each size, named after the size, with content that does not compress."""
    block = os.urandom(1 << 20)
    for size in sizes:
        with Path(served, str(size)).open("wb") as file:
            for begin in range(0, size, len(block)):
                file.write(block[: size - begin])
