"""Numbers read out of a text, one by one, until one cannot be read. A character is a byte."""
import re

NUMBER = re.compile(r"[ \t\n\v\f\r]*([+-]?[0-9]+)")


def _number(text, at):
    """(value, place behind it) of a number of 32 bits, or None."""
    match = NUMBER.match(text, at)
    if match is None or not -(1 << 31) <= int(match[1]) < 1 << 31:
        return None
    return int(match[1]), match.end()


def _bytes(text):
    return text.encode().decode("latin-1")


def with_commas(text):
    """What stands between a number and the next comma is passed over."""
    text = _bytes(text)
    values, at = [], 0
    while (found := _number(text, at)) is not None:
        value, at = found
        comma = text.find(",", at)
        at = len(text) if comma < 0 else comma + 1
        values.append(value)
    return values


def with_one_between(text):
    """One character, whichever, between two numbers."""
    text = _bytes(text)
    values, at = [], 0
    while (found := _number(text, at)) is not None:
        value, at = found
        at += 1
        values.append(value)
    return values
