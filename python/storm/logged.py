"""Lines that the daemon must log: what a decision expects, and how expectations are held against the log."""
import re
from collections import Counter, namedtuple

LEVELS = {"CRITICAL": 2, "ERROR": 3, "WARNING": 4, "NOTICE": 5, "INFO": 6, "DEBUG1": 7, "DEBUG2": 8, "DEBUG3": 9}
"""Level words, and the trace level from which on each is written."""

WATCHED = re.compile(
    r"\[(?:CRITICAL|ERROR|WARNING)\]"
    r"|\[(?:NOTICE|INFO)\] \S+ \(\w+\) - (?:ReleasePort: |Set trace level|Get trace level|smartSfp ID = |FP \S+ action "
    r"|setRedundantState: |creating enable filter|CPU exceeds|OPS ready|MSR reload|Connected to OPS|CONNECTION TO OPS"
    r"|Creating default|default\.conf|Finished)"
    r"|\[DEBUG\d\] (?:SrvIss|SrvIssMgr|SrvSyncE|SrvSmartSfp|SrvRedundancy(?:\.cpp)?|MsgHandle"
    r"|main:(?:249|258|291|301|314|316|322|408|439|449|452|473|477|499|503|534|541|567|572|580|589|628|733|735) ):?")
"""What is held against expectations: every line of weight, and what services, messages, main loop and sender trace.
How often the sender is woken is left to it."""

PLACE = re.compile(r"^(\[\w+\] [\w.]+):\d+ ")

Line = namedtuple("Line", "level text pattern")
"""One of `text`, where the line is known exactly, and `pattern`."""


def line(level, place, function, text):
    """`place` is a source and, where it is fixed, the line number or several; `text` is exact."""
    source, _, number = place.partition(":")
    if "|" in number:
        return like(level, rf"{re.escape(source)}:(?:{number}) \({function}\) - " + re.escape(text))
    return Line(LEVELS[level], f"[{level}] {source}{':' if number else ''}{number} ({function}) - {text}", None)


def like(level, pattern):
    """`pattern` is a regular expression for all behind the level word."""
    return Line(LEVELS[level], None, rf"\[{level}\] " + pattern)


class Expected:
    """Lines, each as often as it must come."""

    def __init__(self, lines):
        self.texts = Counter(each.text for each in lines if each.text is not None)
        self.patterns = Counter(each.pattern for each in lines if each.pattern is not None)

    def take(self, text):
        """Whether this is one of them; it is then taken away."""
        for form in (text, PLACE.sub(r"\1 ", text)):
            if self.texts[form] > 0:
                self.texts[form] -= 1
                return True
        for pattern, left in self.patterns.items():
            if left and re.fullmatch(pattern, text, re.DOTALL):
                self.patterns[pattern] -= 1
                return True
        return False

    def left(self):
        return list((+self.texts).elements()) + list((+self.patterns).elements())


def compare(expected, possible, texts):
    """(lines that should not have come, lines and patterns that should have); both empty when all is right."""
    must, may = Expected(expected), Expected(possible)
    surplus = [text for text in texts if not must.take(text) and not may.take(text)]
    return surplus, must.left()
