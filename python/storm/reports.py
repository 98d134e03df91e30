"""What OPS says on its own."""
from . import layout, values
from .layout import CPU, ERROR_AT, INTERVAL, ISS_ACTIVE, MSR_RELOAD, RUN_SCRIPT, TASK_INIT, byte, record, text
from .model import DEFAULT_SCRIPT


def port_status(chance):
    return values.port_status(chance)


def alive(chance):
    return record(chance.choice((ISS_ACTIVE, INTERVAL)), (100, chance.getrandbits(32)))


def cpu(chance):
    name = chance.choice((b"", b"CLI task", b"x" * 200, b"%s %n", b"vlan"))
    return record(CPU, (ERROR_AT, name), (6912, chance.getrandbits(32)))


def task_init(chance):
    return record(TASK_INIT, (14, chance.getrandbits(32)))


def reloaded(chance):
    return record(MSR_RELOAD, (4, chance.getrandbits(32)), (15, byte(chance.getrandbits(8))))


def not_reloaded(chance):
    return record(MSR_RELOAD, (14, byte(chance.choice((1, 2, 255)))))


def default_script(chance):
    return record(RUN_SCRIPT, (4, text(DEFAULT_SCRIPT, 24)), (ERROR_AT, b"No Error\r\n"))


def unexpected(chance):
    return record(chance.choice((0, 3, 4, 5, 6, 21, 26, 99, 0x0A000000, 0xFFFFFFFF)), (4, chance.getrandbits(32)))


KINDS = {port_status: 8, alive: 2, cpu: 2, task_init: 2, reloaded: 0.7, not_reloaded: 0.3, default_script: 0.5,
         unexpected: 1.5}
"""By weight."""
READY = (reloaded, default_script)


def some(stand, chance, count=1):
    makers = chance.choices(tuple(KINDS), tuple(KINDS.values()), k=count)
    stand.say(*(maker(chance) for maker in makers))


def not_ready(stand, chance):
    """A report that leaves readiness as it is."""
    kinds = [each for each in KINDS if each not in READY]
    stand.say(chance.choice(kinds)(chance))


def become_ready(stand, chance):
    stand.say(chance.choice(READY)(chance))


def in_two(stand, chance):
    """A report cut in two on its way: each part counts as a message."""
    raw = values.port_status(chance)
    cut = chance.randrange(12, layout.SIZE - 12)
    second = values.port_status(chance)
    stand.say(raw[:cut])
    stand.say(second[:layout.SIZE - cut])
