"""What one request must lead to."""
from dataclasses import dataclass, field


@dataclass
class Decision:
    records: list = field(default_factory=list)
    """What OPS gets, in this order."""
    reply: tuple | None = None
    """The reply of a request that is answered at once."""
    final: object = None
    """Of an answer's bytes, the reply that comes after OPS's last answer."""
    overflow: tuple | None = None
    """The reply when the ring has no room for the records; None for a signal."""
    overflow_line: object = None
    lines: list = field(default_factory=list)
    """Lines that come whether there is room or not."""
    scripts: list = field(default_factory=list)
    """(path, text) of files that stand there when OPS gets the record that names them."""
    takes: object = None
    """Carried out on the model once the request has been decided, room or not."""
    tail: list = field(default_factory=list)
    """Lines at the end of a request that was not refused."""
    queued: object = None
    """Of an index in the ring, the line of a record that goes there."""
    discarded: int = 0
    """Records of a refused request that have to fit all the same, or the line of no room comes too."""

    @property
    def silent(self):
        """Nothing comes of it, and nobody is answered."""
        return not self.records and self.reply is None


@dataclass
class State:
    """What decisions depend on."""
    no_ac_port: bool = False
    mac: bytes = bytes(6)
    level: int = 6
    lan_id: int = 0
    wan: dict = field(default_factory=dict)
    """(port, MPLS label, pseudowire label): ids"""
    tunnels: dict = field(default_factory=dict)
    """port: (tunnel, VPN, pseudowire, circuit)"""
    sfp_id: int = 0
