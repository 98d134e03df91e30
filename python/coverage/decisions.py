"""Which lines decide something. The compiler branches elsewhere too, and by itself: whether a static object has been
made already, whether there is anything to delete, which parts an exception leaves to destroy. None of that is the
daemon's to test."""
import re

DECIDING = re.compile(r"\b(if|for|while|switch)\b|\?|(^|\s)(&&|\|\|)(\s|$)")
TEXT = re.compile(r'"(\\.|[^"\\])*"|\'(\\.|[^\'\\])+\'')
LOG = re.compile(r"\bLOG\(")
END = re.compile(r"[;{}]$|^$|^#|^(case\b.*|default|public|private|protected):$")
HEAD = re.compile(r"\b((if|for|while) .*\)|else)$")


def decides(lines, number):
    """Whether the line of that number is part of a statement that has decided something until there. A log statement
    does not: it tests the level, as all do, in one place (TraceObject.h), and each of them once written and once not
    would tell nothing of the daemon."""
    text = bare(lines[number - 1])
    above = number - 2
    while above >= 0 and not ends(bare(lines[above])):
        text = bare(lines[above]) + "\n" + text
        above -= 1
    return DECIDING.search(LOG.split(text)[0]) is not None


def ends(line):
    """Whether what follows the line is a statement of its own, or one that the line's decision leads to."""
    return END.search(line) is not None or (HEAD.search(line) is not None and line.count("(") == line.count(")"))


def bare(line):
    """The line without its texts and its comment."""
    return TEXT.sub("0", line).partition("//")[0].strip()
