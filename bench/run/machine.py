"""The machine and the programs that the figures were measured with."""

import gzip
import os
import platform
import re
import subprocess
from pathlib import Path


def _said(*command):
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    lines = (done.stdout + done.stderr).strip().splitlines()
    return lines[0] if lines else "unknown"


def _found(pattern, file):
    match = re.search(pattern, Path(file).read_text(), re.M)
    return match[1].strip() if match else "unknown"


def _packaged_version(folder):
    """The version of a package that is unpacked but not installed, from its changelog: "vsftpd (3.0.3-13) unstable"."""
    with gzip.open(next(folder.glob("usr/share/doc/*/changelog.Debian.gz")), "rt") as changes:
        return re.search(r"\((.*?)\)", changes.readline())[1]


def facts(vsftpd, network):
    huge_pages = _found(r"\[(\w+)\]", "/sys/kernel/mm/transparent_hugepage/enabled")
    memory = int(_found(r"^MemTotal:\s+(\d+)", "/proc/meminfo")) / (1 << 20)
    return {
        "processor": f"{_found(r'^model name.*: (.*)$', '/proc/cpuinfo')}, {os.cpu_count()} cores",
        "memory": f"{memory:.0f} GiB, transparent huge pages: {huge_pages}",
        "system": f"Linux {platform.release()}, glibc {platform.libc_ver()[1]}",
        "compiler": _said("g++", "--version") + ", CMake's Release",
        "source": _said("git", "describe", "--always", "--dirty"),
        "libcurl": _said("dpkg-query", "-W", "-f", "${Version}", "libcurl4"),
        "vsftpd": _packaged_version(vsftpd),
        "network": network,
    }
