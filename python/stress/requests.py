#!/usr/bin/python3
"""Sends many requests to one daemon without a restart; in scripts/sandbox.

First requests that are answered, through an ISS simulator, then requests that expect no answer. Prints each
run's figures with the daemon's resident memory before and after; exits 1 when one was not as expected.
"""
import argparse
import os
import subprocess
import sys

from trelvik.board import Board
from trelvik.places import PREFIX, RELOAD_MARKER, iss_sim

STRESS = os.path.join(os.path.dirname(PREFIX), "bench", "trelvik-stress")


def run(board, *options):
    environment = dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS=board.bus_address)
    return subprocess.run([STRESS, "--pid", str(board.daemon.pid), *options], env=environment, check=False).returncode


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--count", type=int, default=1000000)
    options = parser.parse_args()
    simulator = subprocess.Popen([iss_sim(PREFIX), "--quiet"], stdout=subprocess.DEVNULL)
    board = Board()
    board.start(ops=False)
    board.wait_file(RELOAD_MARKER)
    # What the first requests bring into memory once is not what is looked for.
    failed = run(board, "--count", "20000")
    failed |= run(board, "--count", "200000", "--silent", "--action", "5")
    failed |= run(board, "--count", str(options.count))
    failed |= run(board, "--count", str(options.count), "--silent", "--action", "5")
    board.stop()
    simulator.kill()
    simulator.wait()
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
