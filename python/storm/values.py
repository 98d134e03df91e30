"""Random arguments and answers; each is made of a chance of its own, so that a request is the same in every run."""
from . import methods, rules
from .layout import (ANSWERS, ERROR_AT, PORT_STATUS, RESPONSE_AT, SFP_PDU, SIZE, STATUS_AT, TRAP, TUNNEL, byte, record,
                     signed, word_at)
from .model import GOOD

EDGES = (0, 1, 2, 3, 4, 24, 25, 27, 28, 29, 31, 32, 33, 40, 255, 256, 4095, 4096, 5000, 0xFFFF, 0x10000, 0x10009,
         0x7FFFFFFF, 0x80000000, 0xDEADBEEF, 0xFFFFFFFE, 0xFFFFFFFF)
ODD = ("x", "", " ", "0x1F", "1e3", "2147483648", "99999999999999999999", "\u00e9", "+7", "--1", "+-1")
ERRORS = (b"Error\r\n", b"", b"No Error", b"No Error\r\n ", b"no error\r\n", b"VLAN 4005 is in use\r\n", b"x" * 500,
          b"%s%n%d", b"\xff\x01 \x7f", b"No Error\n")


def number(chance, common=()):
    if common and chance.random() < 0.8:
        return chance.choice(common)
    return chance.choice(EDGES) if chance.random() < 0.7 else chance.getrandbits(32)


def signed_number(chance, common=()):
    return signed(number(chance, common))


def listing(chance, separators):
    """A text that is a list of numbers, or nearly."""
    kind = chance.random()
    if kind < 0.1:
        return ""
    if kind < 0.13:
        return chance.choice(separators).join(str(each) for each in range(1, 2001))
    pieces = []
    for _ in range(chance.randrange(1, 9)):
        piece = str(chance.choice((chance.randrange(4096), chance.randrange(-300, 300), 2147483647, -2147483648)))
        odd = chance.random()
        if odd < 0.05:
            piece = chance.choice(ODD)
        elif odd < 0.15:
            piece = " \t\n\v\f\r"[chance.randrange(6)] + piece
        pieces.append(piece + (chance.choice(separators) if chance.random() < 0.95 else chance.choice(";x .,:-\u00e9")))
    text = "".join(pieces)
    return text if chance.random() < 0.5 else text[:-1]


def ports(chance):
    return (number(chance, (1, 1, 2, 2, 3, 4, 5, 0, 6)), number(chance, (6, 1)), number(chance, tuple(range(1, 29))),
            number(chance, (1000, 10000)), chance.random() < 0.8, number(chance, (100, 4094)), number(chance),
            number(chance))


def sync_e(chance):
    return (number(chance, (2, 2, 0, 1)), number(chance), number(chance, (0, 1)), number(chance), number(chance),
            number(chance, (0, 1)), number(chance), number(chance), number(chance))


def rule(chance):
    labels = (0, 0, 100, 200, 4095, 4096, 5000)
    return (number(chance, tuple(range(7))), number(chance, (0, 0, 1, 1, 2, 3)), number(chance, (1, 5, 9, 32)),
            number(chance), signed_number(chance, (0, 0, 1, 2)), number(chance), number(chance, (1, 2)),
            number(chance, (0, 3, 27)), number(chance, (679,)), number(chance, labels), number(chance, labels),
            listing(chance, ",,,, ;"), number(chance), number(chance), number(chance), chance.getrandbits(16),
            signed_number(chance), signed_number(chance))


def smart_sfp(chance):
    return (number(chance, (0, 1)), number(chance), number(chance, (0, 1)), number(chance, (0, 1, 5)), number(chance),
            listing(chance, ":::: ,"))


def redundancy(chance):
    return (signed_number(chance, tuple(range(-1, 16))),)


def debug(chance):
    kind = chance.choice(ANSWERS) if chance.random() < 0.8 else number(chance, tuple(range(27)))
    raw = record(kind, *[(chance.randrange(4, SIZE - 4), chance.getrandbits(32)) for _ in range(20)], (RESPONSE_AT, 0))
    return raw if chance.random() < 0.8 else raw[:chance.randrange(1, SIZE)]


def level(chance):
    return (chance.choice((6, 6, 6, 9, 9, 4, 3, 0, 10, 7, 8, 5, 2, 1, 11, -1, 0x7FFFFFFF, -0x80000000)),)


MAKERS = {methods.PORTS: ports, methods.SYNC_E: sync_e, methods.RULES: rule, methods.SMART_SFP: smart_sfp,
          methods.REDUNDANCY: redundancy, methods.DEBUG: debug, methods.SET_LEVEL: level, methods.GET_LEVEL: lambda _: ()}
WEIGHTS = {methods.PORTS: 25, methods.SYNC_E: 10, methods.RULES: 40, methods.SMART_SFP: 12, methods.REDUNDANCY: 6,
           methods.DEBUG: 5, methods.SET_LEVEL: 2, methods.GET_LEVEL: 1}


def request(chance, among=None):
    """(method, arguments)"""
    choice = among or tuple(WEIGHTS)
    method = chance.choices(choice, [WEIGHTS[each] for each in choice])[0]
    return method, MAKERS[method](chance)


def related(chance, state):
    """A request that meets what the daemon keeps: a rule, a tunnel or a filter that is there."""
    kinds = [(lambda: (methods.SMART_SFP, (1, *smart_sfp(chance)[1:])))]
    if state.tunnels:
        port = chance.choice(sorted(state.tunnels))
        kinds.append(lambda: (methods.PORTS, (2, 6, port, 1000, True, 100, 0, 0)))
    if state.wan:
        port, mpls, pseudowire = chance.choice(sorted(state.wan))
        if chance.random() < 0.3:
            # Nearly that rule.
            step = chance.choice(((1, 0, 0), (0, 1, 0), (0, 0, 1), (0, 0, -1), (0, 4096, 0)))
            port, mpls, pseudowire = port + step[0], mpls + step[1], pseudowire + step[2]
        kinds.append(lambda: (methods.RULES, (rules.WAN, chance.choice((1, 1, 0)), *rule(chance)[2:7], port & 0xFFFFFFFF, 1,
                                              mpls & 0xFFFFFFFF, pseudowire & 0xFFFFFFFF, *rule(chance)[11:])))
    kinds.append(lambda: (methods.RULES, (rules.LAN, chance.choice((0, 1)), *rule(chance)[2:])))
    return chance.choice(kinds)()


def answer(chance, asked, plain=False):
    """OPS's answer to this record: mostly good; refusals, odd values and other types besides. It is of a type that
    answers, and where ids come with such an answer it has some."""
    raw = bytearray(asked)
    good = plain or chance.random() < 0.85
    error = GOOD if good else chance.choice(ERRORS)
    raw[ERROR_AT:ERROR_AT + 500] = error.ljust(500, b"\0") if good or chance.random() < 0.7 else (
        error + b"\0" + chance.randbytes(499 - len(error)) if len(error) < 500 else error)
    raw[STATUS_AT], raw[RESPONSE_AT] = int(not good), 1
    kind = word_at(raw, 0)
    if kind not in ANSWERS or not plain and chance.random() < 0.04:
        kind = chance.choice([each for each in ANSWERS if each != 8])
    parts = []
    if kind == TRAP and not plain:
        if chance.random() < 0.7:
            parts += [(220, chance.choice((0, 17, 301, 0xFFFFFFFE, chance.getrandbits(32)))), (224, chance.getrandbits(32))]
        if chance.random() < 0.2:
            parts += [(208, chance.choice((0, 1, 2, 2, 2, 3, 5))), (212, chance.choice((0, 1, 2, 3, 3, 4))),
                      (236, byte(chance.choice((0, 1, 1, 2))))]
        if chance.random() < 0.15:
            parts.append((204, chance.choice((bytes(4), b"\0\0\0\x0f", chance.randbytes(4)))))
        if chance.random() < 0.1:
            parts += [(28, chance.getrandbits(32)), (32, chance.getrandbits(32))]
    elif kind == TUNNEL and not plain:
        parts += [(at, chance.getrandbits(32)) for at in (48, 56, 60, 64)]
        if chance.random() < 0.2:
            parts += [(28, chance.choice((0, 1, 28, 29, 0xFFFFFFFF))), (6408, byte(chance.choice((0, 1, 2, 255))))]
    elif kind == SFP_PDU and not plain:
        parts.append((520, chance.getrandbits(32)))
    return record(kind, *parts, of=bytes(raw))


def port_status(chance):
    return record(PORT_STATUS, (4, number(chance)), (8, byte(chance.choice((0, 1, 2, 255)))),
                  (9, byte(chance.choice((0, 1, 2, 255)))))
