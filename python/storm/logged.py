"""Lines that the daemon must log: what a decision expects, and how expectations are held against the log."""
import re
from collections import Counter, namedtuple

LEVELS = {"CRITICAL": 2, "ERROR": 3, "WARNING": 4, "NOTICE": 5, "INFO": 6}
"""Level words, and the trace level from which on each is written."""

BAD = re.compile(r"\[(?:CRITICAL|ERROR|WARNING)\]")
TOLD = re.compile(
    r"\[(?:NOTICE|INFO)\] \S+ \(\w+\) - (?:ReleasePort: |Set trace level|Get trace level|smartSfp ID = |FP \S+ action "
    r"|setRedundantState: |creating enable filter|CPU exceeds|OPS ready|MSR reload|Connected to OPS|CONNECTION TO OPS"
    r"|Creating default|default\.conf|Finished)")
"""Lines of less weight that are held against expectations too."""

Line = namedtuple("Line", "level pattern")


def line(level, place, function, text):
    """`place` is a source and, where it is fixed, the line number or several; `text` is exact."""
    source, _, numbers = place.partition(":")
    choice = f"(?:{numbers})" if numbers else r"\d+"
    return Line(LEVELS[level], rf"\[{level}\] {re.escape(source)}:{choice} \({function}\) - " + re.escape(text))


def like(level, pattern):
    """`pattern` is a regular expression for all behind the level word."""
    return Line(LEVELS[level], rf"\[{level}\] " + pattern)


def watched(text):
    return BAD.match(text) or TOLD.match(text)


def compare(expected, possible, texts):
    """(lines that should not have come, patterns that should have); both empty when all is right."""
    missing = Counter(each.pattern for each in expected)
    welcome = Counter(each.pattern for each in possible)
    surplus = []
    for text in texts:
        for patterns in (missing, welcome):
            fit = next((pattern for pattern in patterns
                        if patterns[pattern] and re.fullmatch(pattern, text, re.DOTALL)), None)
            if fit is not None:
                patterns[fit] -= 1
                break
        else:
            surplus.append(text)
    return surplus, list(missing.elements())
