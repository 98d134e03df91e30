"""The figure in README.md, which stands between two markers."""
import re

BEGIN, END = "<!-- coverage -->", "<!-- /coverage -->"
BETWEEN = re.compile(f"(?<={re.escape(BEGIN)}).*?(?={re.escape(END)})", re.DOTALL)
FIGURES = re.compile(r"([\d.]+) % of lines, ([\d.]+) % of branches")
WAVERS = 0.5
"""Which of two threads comes first decides some branches: by so many points the figure may differ from run to run."""


def sentence(total):
    lines, branches = total
    return (f"Coverage of `src/` and `platform/`: {lines.text()} % of lines, {branches.text()} % of branches "
            "(`scripts/coverage`).")


def replaced(text, total):
    """The text with the figure of now."""
    made, times = BETWEEN.subn(lambda _: sentence(total), text)
    if times != 1:
        raise ValueError(f"README.md has no place, or more than one, for the figure: {BEGIN}{END}")
    return made


def told(text):
    """(percent of lines, percent of branches) as the text has them."""
    place = BETWEEN.search(text)
    found = FIGURES.search(place[0]) if place else None
    return (float(found[1]), float(found[2])) if found else (0.0, 0.0)


def agrees(figures, total):
    return all(abs(figure - count.percent) <= WAVERS for figure, count in zip(figures, total))
