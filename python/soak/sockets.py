"""A daemon's socket to the bus that takes little at once, as on a board with little memory for sockets."""
import ctypes
import os
import socket

PIDFD_GETFD = 438
"""The number of the system call, on every processor."""
LITTLE = 4096
"""Bytes; the kernel has a least size of its own."""


def _copy(pid, number):
    """A descriptor of another process, as one of this."""
    process = os.pidfd_open(pid)
    try:
        copied = ctypes.CDLL(None, use_errno=True).syscall(PIDFD_GETFD, process, number, 0)
        if copied < 0:
            raise OSError(ctypes.get_errno(), "a descriptor of the daemon cannot be had")
        return copied
    finally:
        os.close(process)


def shrink(pid, path):
    """The socket of this process that is connected to `path` keeps little for a bus that does not read."""
    folder = f"/proc/{pid}/fd"
    shrunk = 0
    for number in os.listdir(folder):
        if not os.readlink(os.path.join(folder, number)).startswith("socket:"):
            continue
        with socket.socket(fileno=_copy(pid, int(number))) as copied:
            if copied.family == socket.AF_UNIX and _peer(copied) == path:
                copied.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, LITTLE)
                shrunk += 1
    assert shrunk == 1, f"{shrunk} sockets of the daemon lead to {path}"


def _peer(connected):
    try:
        return connected.getpeername()
    except OSError:
        return None
