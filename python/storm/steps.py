"""The steps of the storm. Each takes a daemon that is ready and owes nothing, and leaves it so."""
import os
import shutil

from trelvik import files
from trelvik.bus import BusError

from . import layout, methods, reports, values
from .burst import held, queued
from .deviation import Deviation, same
from .exchange import answer, carry_out, drain, enqueue, probe, single, take_record
from .logged import like, line

SELECTED = "/flash/config/current/selected.txt"
BUS_METHODS = (methods.PORTS, methods.SYNC_E, methods.RULES, methods.SMART_SFP)
ERROR = "org.freedesktop.DBus.Error."


def request(stand, chance):
    if chance.random() < 0.25:
        method, args = values.related(chance, stand.model.state)
    else:
        method, args = values.request(chance)
    single(stand, chance, method, args, chance.random() < 0.93)


def report(stand, chance):
    reports.some(stand, chance, chance.randrange(1, 5))
    if chance.random() < 0.2:
        reports.in_two(stand, chance)


def unasked(stand, chance):
    """An answer to nothing changes nothing."""
    stand.say(values.answer(chance, layout.record(chance.choice((7, 10, 11, 16, 19)))))
    stand.barrier()  # or it would be taken for the answer to the next message


def several(stand, chance):
    """Callers at once, while OPS answers."""
    made = queued(stand, chance, chance.randrange(2, 7), independent=True)
    for each in made:
        stand.issue(each, chance.choice(stand.callers))
    carry_out(stand, chance, made)


def burst(stand, chance):
    """Callers at once, while OPS keeps an answer back: more than the ring holds, or less."""
    enqueue(stand, methods.PORTS, probe(chance))
    take_record(stand)
    drain(stand, chance, held(stand, chance, chance.choice((2, 5, 12, 25))))


def wrong(stand, chance):
    """A call that no service must see."""
    method = chance.choice((*BUS_METHODS, methods.TRIGGER, methods.SET_LEVEL))
    path, interface = method.where
    kind = chance.randrange(6)
    where, member, signature, body = method.where, method.name, "s", ("x",)
    errors = {"InvalidArgs"}
    if kind == 1:
        signature, body = "uuuuuuuuuu", (1,) * 10
    elif kind == 2:
        member, errors = method.name + "X", {"UnknownMethod"}
    elif kind == 3:
        where, errors = (path + "X", interface), {"UnknownObject"}
    elif kind == 4:
        where, errors = (path, interface + "X"), {"UnknownInterface", "UnknownMethod"}
    elif kind == 5:
        where = ("/otn/Trelvik/IssGetParams", "otn.OBgetIssParams_1_0")
        member, signature, body = "getInterfaceReceptionAndTransmissionCounters", "u" * 10, (1,) * 10
        errors = {"UnknownObject"}
    call = chance.choice(stand.callers).call(where, member, signature, *body)
    stand.tally.requests["wrong calls"] += 1
    expect_error(stand, call, errors)


def expect_error(stand, call, names):
    stand.wait(lambda: call.answered, f"error {names}")
    try:
        got = call.reply()
    except BusError as error:
        same("error of a wrong call", True, error.name.removeprefix(ERROR) in names or (error.name, names))
    else:
        raise Deviation("a wrong call", names, got)


def corrupt(stand, chance):
    """ISS could not restore its configuration; a CSM board removes it."""
    folders = "/flash/config/c1/iss", "/mnt/mmccard/VORNA_CONFIG/config/c1/iss"
    made = [each for each in folders if chance.random() < 0.8]
    for folder in made:
        os.makedirs(folder + "/deep")
    kind = chance.choice(("dir", "dir", "dir", "tar"))
    os.makedirs("/flash/config/current", exist_ok=True)
    files.write(SELECTED, kind + " /flash/config/c1" + chance.choice(("\n", "")))
    removed = made if kind == "dir" and stand.model.csm else []
    for folder, number, name in zip(folders, (803, 813), ("flash", "SD card")):
        if folder in removed:
            stand.model.expect(line("ERROR", f"main:{number}", "deletePersistentIssConfig",
                                    f"Delete iss folder on {name} [command = 'rm -rf {folder}']"))
    stand.say(reports.not_reloaded(chance))
    stand.barrier()
    same("folders that are left", [each for each in made if each not in removed],
         [each for each in made if os.path.exists(each)])
    for each in made:
        shutil.rmtree(each, ignore_errors=True)
    os.unlink(SELECTED)


def too_long(stand, chance):
    args = list(values.rule(chance))
    args[11] = "1," * (1 << 19) + "2"
    call = stand.callers[0].call(methods.RULES.where, methods.RULES.name, methods.RULES.signature, *args)
    stand.tally.requests["wrong calls"] += 1
    expect_error(stand, call, {"LimitsExceeded"})


def stray(stand, chance):
    """Signals that are not the redundancy manager's, or not of its kind."""
    stand.callers[1].set_redundant_state(chance.randrange(15))
    stand.callers[1].set_redundant_state(chance.randrange(15), to="otn.Trelvik")
    path, interface = methods.REDUNDANCY.where
    stand.manager.signal((path, interface), "setRedundantState", "u", 3)
    stand.manager.signal((path, interface), "setRedundantState", "ii", 3, 4)
    stand.manager.signal((path, interface), "setRedundantState")
    stand.tally.requests["stray signals"] += 5


def leave(stand, chance):
    """A caller goes before its answer comes."""
    caller = stand.board.peer()
    made = enqueue(stand, methods.PORTS, probe(chance), caller)
    got = take_record(stand)
    caller.leave()
    made.call = None
    answer(stand, chance, got)


def no_script(stand, chance):
    """A script that cannot be written."""
    made = scripted(stand, chance)
    (path, _), = stand.model.decide(made).scripts
    if os.path.exists(path):
        os.unlink(path)
    os.mkdir(path)
    unwritten(stand, chance, made)
    os.rmdir(path)


def scripted(stand, chance):
    """A request that needs a script; it is not sent yet."""
    port, action = chance.randrange(1, 29), chance.choice((1, 2))
    return stand.new(methods.PORTS, (action, 6, port, 1000, True, 100, 0, 0))


def unwritten(stand, chance, made, why=".*", plain=False):
    """Carries the request out, whose script cannot be written: ISS gets an empty record in its place."""
    decision = stand.model.decide(made)
    (path, _), = decision.scripts
    decision.scripts = []
    decision.records = [bytes(layout.SIZE) if layout.word_at(each, 0) == layout.RUN_SCRIPT else each
                        for each in decision.records]
    decision.lines += [line("ERROR", "SrvIss", "CreateOPSFile", "Unable to create OPS file!!\n"),
                       like("WARNING", rf"SrvIss:\d+ \(CreateOPSFile\) - Script {path} not written \({why}.*")]
    stand.issue(made)
    stand.model.settled(made, decision)
    stand.model.queue(made, decision)
    drain(stand, chance, plain=plain)


STEPS = {request: 80, report: 8, several: 4, burst: 2, unasked: 1, wrong: 3, stray: 1, leave: 1, no_script: 0.5,
         corrupt: 0.5, too_long: 0.1}
"""What is drawn at random, by weight; the others come at their turn."""
