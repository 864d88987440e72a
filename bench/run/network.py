"""A separate network for everything that this process starts."""

import ctypes
import fcntl
import os
import socket
import struct
from pathlib import Path

CLONE_NEWUSER, CLONE_NEWNET = 0x10000000, 0x40000000
SIOCSIFFLAGS, IFF_UP, IFF_LOOPBACK = 0x8914, 0x1, 0x8

OWN = "a separate network namespace, in which no port stays in TIME_WAIT"
SHARED = "the machine's own: ports in TIME_WAIT slow down every search for a free one"


def isolate():
    """Moves to a network namespace if possible, and returns a description of the network in use.

    A hundred thousand transfers in a few minutes leave so many ports in TIME_WAIT that finding a free one takes longer
    than the transfer, and finally fails. On the machine's own loopback, other programs' traffic would also be measured.
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
