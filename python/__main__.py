"""Runs a module or a package of this directory: python3 -B python MODULE [ARG...]. Each finds the others by name, with
nothing in the environment."""
import runpy
import sys

del sys.argv[0]
runpy.run_module(sys.argv[0], run_name="__main__", alter_sys=True)
