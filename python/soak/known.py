"""The lines that the daemon can write, out of docs/log-messages.md."""
import re

from trelvik.files import read
from trelvik.places import REPO

from storm.deviation import Deviation

ENTRY = re.compile(r"^\| `(?P<place>[^`]+)` \| `(?P<text>.*?)` \| \[", re.MULTILINE)
CONVERSION = re.compile(r"%(?:%|[-+ #0]*(?:\d+|\*)?(?:\.(?:\d+|\*))?(?:hh|h|ll|l|z|j)?[a-zA-Z])")
LINE = re.compile(r"\[\w+\] (?P<place>\S+ \(\S+\)) - (?P<text>.*)\Z", re.DOTALL)


def _pattern(text):
    """Of a text with conversions, as the document shows it."""
    for shown, meant in (("\\n", "\n"), ("\\r", "\r"), ("\\t", "\t"), ("\\|", "|")):
        text = text.replace(shown, meant)
    places = [match.span() for match in CONVERSION.finditer(text)]
    ends = [0, *(end for _, end in places)]
    starts = [*(start for start, _ in places), len(text)]
    return re.compile(".*".join(re.escape(text[end:start]) for end, start in zip(ends, starts)) + r"\n?\Z", re.DOTALL)


class Catalogue:
    def __init__(self):
        self._texts = {}
        for entry in ENTRY.finditer(read(REPO, "docs", "log-messages.md")):
            self._texts.setdefault(entry["place"], []).append(_pattern(entry["text"]))
        self._seen = 0

    def knows(self, text):
        line = LINE.match(text)
        return line is not None and any(each.match(line["text"]) for each in self._texts.get(line["place"], ()))

    def check(self, log):
        """Every line that has come since the last look."""
        lines = log.all()
        for line in lines[self._seen:]:
            if not self.knows(line.text):
                raise Deviation("a line of the log", "one that docs/log-messages.md has", repr(line.text))
        self._seen = len(lines)
