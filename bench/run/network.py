"""A network of its own for everything that this process starts."""

import ctypes
import fcntl
import os
import socket
import struct
from pathlib import Path

CLONE_NEWUSER, CLONE_NEWNET = 0x10000000, 0x40000000
SIOCSIFFLAGS, IFF_UP, IFF_LOOPBACK = 0x8914, 0x1, 0x8

OWN = "a name space of its own, in which no port is kept in TIME_WAIT"
SHARED = "the machine's: ports in TIME_WAIT slow down whoever needs a new one"


def isolate():
    """Which network it has become.

    A hundred thousand transfers in a few minutes leave so many ports in TIME_WAIT that looking for a free one takes
    longer than the transfer, and in the end fails. Who else uses the machine's loopback would be measured, too.
    """
    user, root = os.geteuid(), os.geteuid() == 0
    if ctypes.CDLL(None).unshare(CLONE_NEWNET | (0 if root else CLONE_NEWUSER)) != 0:
        return SHARED
    if not root:
        Path("/proc/self/uid_map").write_text(f"{user} {user} 1")
    with socket.socket() as any_socket:
        fcntl.ioctl(any_socket, SIOCSIFFLAGS, struct.pack("16sh22x", b"lo", IFF_UP | IFF_LOOPBACK))
    Path("/proc/sys/net/ipv4/tcp_max_tw_buckets").write_text("0")
    return OWN
