"""One board in its sandbox. Writes its ledger to DIRECTORY/board-N.json, and its log beside it when it deviates."""
import json
import os
import time
import traceback

from storm.deviation import Deviation

from . import commandline
from .ending import Ending
from .ledger import Ledger


def main():
    options = commandline.inside()
    if options.kind == "hostile":
        from .hostile import Board
    else:
        from .oracle import Board
    ledger = Ledger()
    began = time.monotonic()
    ending = Ending(options.directory, options.minutes)
    board = Board(options.number, options.seed, ending, ledger, options.user)
    try:
        deviation = board.run()
    except Exception:  # a mistake of the soak itself must not look like a board that had nothing to tell
        deviation = Deviation("the soak itself", "to go on", traceback.format_exc())
    told = None
    if deviation is not None:
        ending.now()
        ledger.count("deviations")
        told = f"{deviation}"
    place = os.path.join(options.directory, f"board-{options.number}")
    if board.sandboxed is not None:
        with open(place + ".log", "w", encoding="utf-8") as log:
            log.write(board.sandboxed.log.journal())
        board.close()
    with open(place + ".json", "w", encoding="utf-8") as result:
        json.dump({"rows": ledger.rows, "deviation": told, "under": ledger.under, "grown": ledger.grown,
                   "after": time.monotonic() - began}, result)


if __name__ == "__main__":
    main()
