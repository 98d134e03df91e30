"""A board of its own for a command: fixed paths, devices, network and processes that are not the machine's."""
import os
import shutil
import subprocess

from .places import REPO

OWN_PLACES = ("--proc /proc --dev /dev "
              "--perms 1777 --tmpfs /tmp --perms 1777 --tmpfs /var/tmp "
              "--tmpfs /run --dir /run/dbus --perms 1777 --dir /run/lock --perms 0777 --dir /run/screen "
              "--symlink /run /var/run "
              "--dir /root --dir /sys --dir /flash --dir /persistency/iss --dir /mnt/mmccard").split()
OWN_IN_ETC = ("iss", "rc.d")
BINDS = {"--rw": "--bind", "--ro": "--ro-bind"}


class Refused(Exception):
    """Why there is no sandbox on this machine, and what to do."""


def _namespaces():
    options = ["--unshare-net", "--unshare-pid", "--unshare-ipc", "--cap-add", "ALL", "--die-with-parent"]
    # Root needs no user namespace, and keeps real uids to switch between; anybody else becomes the one uid 0 of his own.
    return options if os.geteuid() == 0 else [*options, "--unshare-user", "--uid", "0", "--gid", "0"]


def check():
    """Raises what stands in the way of a sandbox."""
    if not shutil.which("bwrap"):
        raise Refused("bwrap is missing: install the package bubblewrap")
    tried = subprocess.run(["bwrap", *_namespaces(), "--ro-bind", "/", "/", "--proc", "/proc", "--dev", "/dev", "true"],
                           check=False, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                           text=True)
    if tried.returncode != 0:
        why = tried.stdout.strip().rpartition("\n")[2]
        raise Refused(f"this machine gives no namespaces to uid {os.geteuid()} ({why}); run as root or allow user namespaces")


def _system():
    """The machine's programs and libraries, read-only."""
    root = ["--tmpfs", "/", "--ro-bind", "/usr", "/usr"]
    for place in ("/bin", "/sbin", "/lib", "/lib32", "/lib64", "/libx32"):
        if os.path.islink(place):
            root += ["--symlink", os.readlink(place), place]
        elif os.path.isdir(place):
            root += ["--ro-bind", place, place]
    return root


def _settings():
    """/etc must take new directories, so it is a directory of links to the machine's, one level below the root as /etc
    is, which keeps relative links inside it true."""
    etc = ["--ro-bind", "/etc", "/.etc", "--dir", "/etc"]
    for name in sorted(set(os.listdir("/etc")) - set(OWN_IN_ETC)):
        etc += ["--symlink", f"/.etc/{name}", f"/etc/{name}"]
    return etc + [word for name in OWN_IN_ETC for word in ("--dir", f"/etc/{name}")]


def _show(bind, path):
    """Shows a path as the bind option says. Directories on the way to it would otherwise be root's alone."""
    parents = []
    above = os.path.dirname(path)
    while above != "/":
        parents = ["--dir", above, *parents]
        above = os.path.dirname(above)
    return [*parents, bind, path, path]


def _checkout():
    # A build directory that is a link leads out of the checkout.
    build = os.path.join(REPO, "build")
    further = _show("--ro-bind", os.path.realpath(build)) if os.path.islink(build) and os.path.isdir(build) else []
    return _show("--ro-bind", REPO) + further


def command(shown, words, *further):
    """The arguments that run `words` in a sandbox, and a descriptor that they are to inherit. `shown` is what else is
    visible, as [("--ro" or "--rw", path)]; `further` are options of bwrap."""
    options = _system() + _settings() + OWN_PLACES + _checkout()
    for option, path in shown:
        options += _show(BINDS[option], os.path.realpath(path))
    # Hundreds of arguments do not belong into the process list.
    listed = os.memfd_create("options", 0)
    os.write(listed, b"".join(os.fsencode(option) + b"\0" for option in options))
    os.lseek(listed, 0, os.SEEK_SET)
    return ["bwrap", *_namespaces(), *further, "--args", str(listed), "--", *words], listed
