"""The daemon's status, as its own bus interface tells it."""
from .bus import PATH

DIAGNOSTICS = (PATH + "diagnostics", "otn.OBdiagnostics_1_0")
NAMES = ("version", "boardName", "boardMac", "options", "opsConnected", "issReady", "sinceMs", "ringUsed",
         "outstandingType", "outstandingSource", "outstandingAgeMs", "requestsWaiting", "workers", "messagesSent",
         "messagesReceived", "reconnects", "longestAnswerMs", "meanAnswerMicros", "interfaces")
COUNTS = ("received", "answered", "refusedByIss", "refusedByRing", "neverAnswered")


def status(bus):
    """Values by name; of `interfaces` the counts by the interface's name."""
    values = bus.call(DIAGNOSTICS, "getStatus").reply()
    assert len(values) == len(NAMES)
    found = dict(zip(NAMES, values))
    lines = [line.split() for line in found["interfaces"].splitlines()]
    found["interfaces"] = {name: tuple(map(int, counts)) for name, *counts in lines}
    return found


def counts(bus, interface):
    """received, answered, refused by ISS, refused by the ring, never answered."""
    return status(bus)["interfaces"][interface]
