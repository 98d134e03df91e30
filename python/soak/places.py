"""Places where nothing can be written: a /tmp that is full, a /persistency that is read-only."""
import contextlib
import glob
import os
import subprocess

from storm import reports
from storm.deviation import Deviation, same
from storm.layout import byte, record
from storm.logged import line
from storm.model import COMMITTED, READY, RELOADED
from storm.steps import scripted, unwritten

from .requests import plain, set_up

TMP = "/tmp"
PERSISTENCY = "/persistency/iss"
NO_SPACE = "No space left on device"


def _mount(*words):
    subprocess.run(["mount", *words], check=True)


@contextlib.contextmanager
def _no_blocks():
    """Files can be made, and nothing put into them."""
    system = os.statvfs(TMP)
    used = (system.f_blocks - system.f_bfree) * system.f_frsize
    _mount("-o", f"remount,size={max(used, system.f_frsize)}", TMP)
    filled = os.path.join(TMP, "filled")
    try:
        with open(filled, "wb", buffering=0) as full, contextlib.suppress(OSError):
            while True:
                full.write(bytes(system.f_frsize))
        yield
    finally:
        os.unlink(filled)
        _mount("-o", f"remount,size={system.f_blocks * system.f_frsize}", TMP)


@contextlib.contextmanager
def _no_files():
    """No file can be made."""
    system = os.statvfs(TMP)
    _mount("-o", f"remount,nr_inodes={system.f_files - system.f_ffree}", TMP)
    try:
        yield
    finally:
        _mount("-o", f"remount,nr_inodes={system.f_files}", TMP)


def full_tmp(stand, chance):
    """ISS gets an empty message in place of a script; all that needs no file goes on."""
    for path in (*glob.glob(TMP + "/SetVlanPort*"), READY, RELOADED):
        if os.path.exists(path):
            os.unlink(path)
    no_files = chance.random() < 0.5
    with (_no_files if no_files else _no_blocks)():
        for _ in range(chance.randrange(1, 4)):
            unwritten(stand, chance, scripted(stand, chance), NO_SPACE, plain=True)
            plain(stand, chance)
        if no_files:
            _unmarked(stand, chance)
        same("scripts in a full /tmp", [], glob.glob(TMP + "/SetVlanPort*"))
    set_up(stand, chance)


def _unmarked(stand, chance):
    """ISS says that it is ready: nobody can be shown by markers, which is told."""
    stand.model.expect(*(line("ERROR", f"main:{number}", "main", f"Failed to touch {path}")
                         for number, path in ((416, RELOADED), (420, READY))))
    stand.stderr += "".join(f"touch: cannot touch '{path}': {NO_SPACE}\n" for path in (RELOADED, READY))
    raw = reports.reloaded(chance)
    stand.ops.send(raw)
    stand.model.handle(raw)
    stand.model.markers.clear()
    stand.barrier()


def read_only_persistency(stand, chance):
    """ISS has run its default script, and a CSM board cannot note that: it is run again at ISS's next start."""
    noted = os.path.exists(COMMITTED)
    _mount("--bind", PERSISTENCY, PERSISTENCY)
    try:
        _mount("-o", "remount,bind,ro", PERSISTENCY)
        stand.say(record(2, (14, byte(0))))  # asks for the script where there is no note of it
        raw = reports.default_script(chance)
        if stand.model.csm:
            stand.model.expect(line("WARNING", "main", "main", f"{COMMITTED} not made (Read-only file system): ISS runs its "
                                                               "default script again when it starts next"))
        stand.ops.send(raw)
        stand.model.handle(raw)
        stand.model.markers.clear()
        stand.model.committed = noted
        stand.barrier()
        if os.path.exists(COMMITTED) != noted:
            raise Deviation("the note of the default script", "as it was", "changed")
        set_up(stand, chance)
        stand.say(record(2, (14, byte(0))))
    finally:
        subprocess.run(["umount", PERSISTENCY], check=True)
