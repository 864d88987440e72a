"""Line plots as SVG, with linear or logarithmic axes."""

import math
from dataclasses import dataclass
from xml.sax.saxutils import escape

WIDTH, HEIGHT = 760, 420
LEFT, RIGHT, TOP, BOTTOM = 90, 150, 50, 60
COLOURS = ("#0b6e99", "#d9730d", "#6b6b6b")


@dataclass(frozen=True)
class Axis:
    label: str
    ticks: tuple  # values; the first and the last are the ends of the axis
    logarithmic: bool
    text: object  # value -> text

    def at(self, value):
        """0 to 1 along the axis."""
        low, high = self.ticks[0], self.ticks[-1]
        if self.logarithmic:
            return math.log(value / low) / math.log(high / low)
        return (value - low) / (high - low)


def decades(values):
    low, high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))
    return tuple(10.0**power for power in range(low, max(high, low + 1) + 1))


def even_steps(values):
    """From 0 to beyond the largest value, in steps of a round number."""
    rough = max(values) / 5
    magnitude = 10 ** math.floor(math.log10(rough))
    step = next(factor * magnitude for factor in (1, 2, 5, 10) if factor * magnitude >= rough)
    return tuple(step * i for i in range(math.ceil(max(values) / step) + 1))


def plot(title, x, y, lines):
    """lines: name -> [(x, middle, lowest, highest)]. Each point has a bar from its lowest to its highest value."""

    def across(value):
        return LEFT + x.at(value) * (WIDTH - LEFT - RIGHT)

    def up(value):
        return HEIGHT - BOTTOM - y.at(value) * (HEIGHT - TOP - BOTTOM)

    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}" viewBox="0 0 {WIDTH} {HEIGHT}" '
        'font-family="sans-serif" font-size="13">',
        f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
        _text(LEFT, 28, title, "start", "font-size='16'"),
        _text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 14, x.label, "middle"),
        _text(0, 0, y.label, "middle", f"transform='translate(22 {(TOP + HEIGHT - BOTTOM) / 2}) rotate(-90)'"),
    ]
    for tick in x.ticks:
        parts.append(_line(across(tick), TOP, across(tick), HEIGHT - BOTTOM))
        parts.append(_text(across(tick), HEIGHT - BOTTOM + 20, x.text(tick), "middle", "font-size='11'"))
    for tick in y.ticks:
        parts.append(_line(LEFT, up(tick), WIDTH - RIGHT, up(tick)))
        parts.append(_text(LEFT - 8, up(tick) + 4, y.text(tick), "end"))
    for number, (name, points) in enumerate(lines.items()):
        parts += _curve([(across(a), up(b), up(c), up(d)) for a, b, c, d in points], COLOURS[number])
        parts += _legend(number, name)
    return "\n".join([*parts, "</svg>", ""])


def _curve(points, colour):
    path = " ".join(f"{across:.1f},{middle:.1f}" for across, middle, _, _ in points)
    yield f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>'
    for across, middle, lowest, highest in points:
        yield _line(across, lowest, across, highest, colour)
        yield f'<circle cx="{across:.1f}" cy="{middle:.1f}" r="3.5" fill="{colour}"/>'


def _legend(number, name):
    height = TOP + 12 + 22 * number
    yield _line(WIDTH - RIGHT + 14, height, WIDTH - RIGHT + 38, height, COLOURS[number])
    yield _text(WIDTH - RIGHT + 44, height + 4, name, "start")


def _line(x1, y1, x2, y2, colour="#dddddd"):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}"/>'


def _text(x, y, text, anchor, more=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" {more}>{escape(text)}</text>'
