"""The report as a picture: a self-contained SVG with the latencies of the subjects, and where the CPU time goes."""
import math
from html import escape

from .plan import PLACEMENTS, ROWS, SUBJECTS

WIDTH = 1080
MARGIN = 40
COLOURS = {"floor": "#7a7a7a", "here": "#1464b4", "baseline": "#c8640a"}
PARTIES = {"caller": "#d9d9d9", "bus": "#bdbdbd", "peer": "#969696"}
THREADS = ("#08519c", "#3182bd", "#6baed6", "#9ecae1", "#006d2c", "#31a354", "#74c476", "#a1d99b")
OTHERS = "#c7e9c0"
SHOWN_ROWS = ("one", "eight", "debug", "query")
LEAST = 1.0
"""Microseconds below which a thread is shown together with others."""

PANEL_WIDTH, PANEL_HEIGHT = 480, 190
BAR_HEIGHT, BAR_STEP = 22, 32
BARS_LEFT = 210


class Drawing:
    def __init__(self):
        self._parts = []
        self.height = 0

    def text(self, x, y, text, size=12, anchor="start", fill="#222", weight="normal"):
        self._parts.append(f'<text x="{x:.1f}" y="{y:.1f}" font-size="{size}" text-anchor="{anchor}" fill="{fill}" '
                           f'font-weight="{weight}">{escape(text)}</text>')

    def line(self, x1, y1, x2, y2, colour="#ddd", width=1.0):
        self._parts.append(f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}" '
                           f'stroke-width="{width}"/>')

    def box(self, x, y, width, height, colour, title=""):
        self._parts.append(f'<rect x="{x:.1f}" y="{y:.1f}" width="{width:.1f}" height="{height}" fill="{colour}" '
                           f'stroke="#fff" stroke-width="0.5"><title>{escape(title)}</title></rect>')

    def path(self, points, colour):
        self._parts.append(f'<polyline fill="none" stroke="{colour}" stroke-width="1.8" points="'
                           + " ".join(f"{x:.1f},{y:.1f}" for x, y in points) + '"/>')

    def finish(self):
        return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {self.height:.0f}" width="{WIDTH}" '
                f'height="{self.height:.0f}" font-family="sans-serif">\n'
                '<rect width="100%" height="100%" fill="#fff"/>\n'
                + "\n".join(self._parts) + "\n</svg>\n")


def draw(report):
    drawing, figures = Drawing(), report["figures"]
    subjects = ["floor", *figures.daemons]
    drawing.text(MARGIN, 32, f"Trelvik {report['commit']}", 18, weight="bold")
    machine = report["machine"]
    drawing.text(MARGIN, 52, f"{machine['processor']}, {machine['cpus']} CPUs"
                 + (f", busy with other work (load {machine['load']:.1f})" if machine["busy"] else ""))
    x = MARGIN
    for subject in subjects:
        drawing.box(x, 64, 14, 12, COLOURS[subject])
        drawing.text(x + 20, 75, subject + (f" {report['baseline'][:12]}" if subject == "baseline" else ""))
        x += 190
    drawing.text(x, 75, "beside each title: p50 / p99", fill="#666")
    y = 110
    drawing.text(MARGIN, y, "Latencies: percent of the answers that took no longer than so many microseconds", 14,
                 weight="bold")
    y += 20
    for row in SHOWN_ROWS:
        for column, placement in enumerate(PLACEMENTS):
            draw_latencies(drawing, figures, row, placement, MARGIN + column * (PANEL_WIDTH + MARGIN), y)
        y += PANEL_HEIGHT + 62
    y = draw_cpu(drawing, figures, y + 10)
    drawing.height = y
    return drawing.finish()


def draw_latencies(drawing, figures, row, placement, left, top):
    curves = {subject: figures.distribution(row, placement, subject) for subject in SUBJECTS}
    curves = {subject: values for subject, values in curves.items() if values}
    least = min(values[0] for values in curves.values())
    most = max(values[99] for values in curves.values())
    low, high = math.log10(max(least, 0.1) / 1.1), math.log10(most * 1.1)

    def place(value, percent):
        across = (math.log10(max(value, 0.1)) - low) / (high - low)
        return left + min(max(across, 0), 1) * PANEL_WIDTH, top + 16 + (100 - percent) / 100 * PANEL_HEIGHT

    drawing.text(left, top + 8, f"{ROWS[row].title}, {PLACEMENTS[placement]}", 12, weight="bold")
    for percent in (0, 50, 90, 100):
        _, y = place(most, percent)
        drawing.line(left, y, left + PANEL_WIDTH, y)
        drawing.text(left - 5, y + 4, str(percent), 10, "end", "#666")
    for value in ticks(10 ** low, 10 ** high):
        x, bottom = place(value, 0)
        drawing.line(x, top + 16, x, bottom)
        drawing.text(x, bottom + 14, f"{value:,.10g}", 10, "middle", "#666")
    for subject, values in curves.items():
        drawing.path([place(value, percent) for percent, value in enumerate(values[:100])], COLOURS[subject])
    x = left + PANEL_WIDTH
    for subject, values in reversed(curves.items()):
        drawing.text(x, top + 8, f"{values[50]:.0f} / {values[99]:.0f}", 10, "end", COLOURS[subject])
        x -= 80


def ticks(low, high):
    """Round numbers within: as many as are read with ease."""
    for steps in ((1, 1.5, 2, 3, 4, 5, 6, 8), (1, 2, 5), (1,)):
        found = [step * 10 ** power for power in range(0, 8) for step in steps if low <= step * 10 ** power <= high]
        if len(found) <= 8:
            break
    return found


def draw_cpu(drawing, figures, top):
    drawing.text(MARGIN, top, "Where the microseconds of one request go: CPU time by party and thread, one caller", 14,
                 weight="bold")
    bars = [(subject, placement, parts_of(figures, subject, placement)) for placement in PLACEMENTS
            for subject in ["floor", *figures.daemons]]
    most = max(max(sum(time for _, time, _ in parts), figures.percentile(50, "one", placement, subject))
               for subject, placement, parts in bars)
    scale = (WIDTH - BARS_LEFT - MARGIN - 60) / most
    y = top + 18
    for subject, placement, parts in bars:
        drawing.text(BARS_LEFT - 10, y + 15, f"{subject}, {PLACEMENTS[placement]}", 12, "end")
        x = BARS_LEFT
        for name, time, colour in parts:
            drawing.box(x, y, time * scale, BAR_HEIGHT, colour, f"{name}: {time:.1f} us")
            if time * scale > 9 + 6.2 * len(name):
                drawing.text(x + time * scale / 2, y + 15, name, 10, "middle",
                             "#fff" if colour in (THREADS[0], THREADS[1], THREADS[4], THREADS[5]) else "#222")
            x += time * scale
        drawing.text(x + 6, y + 15, f"{sum(time for _, time, _ in parts):.0f} us", 11)
        median = BARS_LEFT + figures.percentile(50, "one", placement, subject) * scale
        drawing.line(median, y - 3, median, y + BAR_HEIGHT + 3, "#d00000", 1.6)
        y += BAR_STEP
    drawing.text(BARS_LEFT, y + 8, "Red: the median time from call to answer; on one CPU, all of them in turn.",
                 11, fill="#666")
    y += 30
    for subject, placement, parts in bars:
        y = draw_legend(drawing, f"{subject}, {PLACEMENTS[placement]}: "
                        + ", ".join(f"{name} {time:.1f}" for name, time, _ in parts), y)
    return y + 20


def draw_legend(drawing, text, y):
    """The text in lines of the picture's width; returns where the next one goes."""
    line = ""
    for word in text.split(", "):
        if len(line) + len(word) > 170:
            drawing.text(MARGIN, y, line, 11, fill="#444")
            y, line = y + 15, "    "
        line += ("" if line.strip() == "" else ", ") + word
    drawing.text(MARGIN, y, line, 11, fill="#444")
    return y + 17


def parts_of(figures, subject, placement):
    """[(name, microseconds, colour)] of one request."""
    parts = [(name, figures.cpu("one", placement, subject, name), colour) for name, colour in PARTIES.items()]
    threads = figures.threads("one", placement, subject)
    shown = [(name, time) for name, time in threads if time >= LEAST][:len(THREADS)]
    rest = [(name, time) for name, time in threads if (name, time) not in shown]
    parts += [("floor" if subject == "floor" else name, time, colour) for (name, time), colour in zip(shown, THREADS)]
    if rest:
        parts.append((f"{len(rest)} more threads", sum(time for _, time in rest), OTHERS))
    return parts
