"""Whole text files, read and written."""
import os


def read(*path):
    with open(os.path.join(*path), encoding="utf-8", errors="replace") as file:
        return file.read()


def write(path, text, mode=0o644):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    os.chmod(path, mode)


def write_script(path, *lines):
    """Writes a shell script, which can be run."""
    write(path, "".join(line + "\n" for line in ("#!/bin/sh", *lines)), 0o755)
