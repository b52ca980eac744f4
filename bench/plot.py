#!/usr/bin/env python3
"""Draws time and memory against megapixels: plot.py REPORT.json PICTURE.svg

The report is what `vecamera_bench --compare --sizes --json REPORT.json` writes.
"""

import json
import math
import sys

WIDTH, HEIGHT = 860, 380
PANEL_WIDTH, PANEL_HEIGHT = 340, 270
COLORS = {"device": "#c2410c", "sharp": "#2563eb", "libvips": "#15803d", "OpenCV": "#7c3aed"}


class Panel:
    """One chart with logarithmic axes."""

    def __init__(self, left, top, title, points, key):
        self.left, self.top, self.title = left, top, title
        self.lines = {}
        for point in points:
            for name, value in point.get(key, {}).items():
                # The scale is logarithmic: less than 1 is drawn at the bottom.
                self.lines.setdefault(name, []).append((point["megapixels"], max(value, 1)))
        values = [value for line in self.lines.values() for _, value in line]
        self.low = 10 ** math.floor(math.log10(min(values)))
        self.high = 10 ** math.ceil(math.log10(max(values)))

    def x(self, megapixels):
        return self.left + PANEL_WIDTH * math.log10(megapixels) / 2

    def y(self, value):
        span = math.log10(self.high / self.low)
        return self.top + PANEL_HEIGHT * (1 - math.log10(value / self.low) / span)

    def draw(self):
        yield f'<text x="{self.left}" y="{self.top - 14}" class="title">{self.title}</text>'
        for megapixels in (1, 3, 12, 48, 100):
            x = self.x(megapixels)
            yield f'<path d="M{x:.1f} {self.top}v{PANEL_HEIGHT}" class="grid"/>'
            yield (f'<text x="{x:.1f}" y="{self.top + PANEL_HEIGHT + 18}" '
                   f'text-anchor="middle">{megapixels}</text>')
        value = self.low
        while value <= self.high:
            y = self.y(value)
            yield f'<path d="M{self.left} {y:.1f}h{PANEL_WIDTH}" class="grid"/>'
            yield f'<text x="{self.left - 8}" y="{y + 4:.1f}" text-anchor="end">{value:g}</text>'
            value *= 10
        yield (f'<text x="{self.left + PANEL_WIDTH / 2}" y="{self.top + PANEL_HEIGHT + 38}" '
               f'text-anchor="middle">megapixels</text>')
        for name, line in self.lines.items():
            places = " ".join(f"{self.x(m):.1f},{self.y(v):.1f}" for m, v in line)
            width = 3 if name == "device" else 1.6
            yield (f'<polyline points="{places}" fill="none" stroke="{COLORS[name]}" '
                   f'stroke-width="{width}"/>')


def main():
    with open(sys.argv[1], encoding="utf-8") as report:
        points = json.load(report)["sizes"]
    panels = [Panel(70, 60, "Time, milliseconds", points, "ms"),
              Panel(490, 60, "Peak memory over the source, megabytes", points, "megabytes")]
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
             f'font-family="sans-serif" font-size="12" fill="#333">',
             '<style>.grid{stroke:#ddd}.title{font-weight:bold;font-size:14px}</style>',
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#fff"/>']
    for panel in panels:
        parts.extend(panel.draw())
    names = [name for name in COLORS if any(name in panel.lines for panel in panels)]
    for i, name in enumerate(names):
        x = 70 + 110 * i
        parts.append(f'<path d="M{x} 20h24" stroke="{COLORS[name]}" stroke-width="3"/>')
        parts.append(f'<text x="{x + 30}" y="24">{name}</text>')
    parts.append("</svg>")
    with open(sys.argv[2], "w", encoding="utf-8") as picture:
        picture.write("\n".join(parts) + "\n")


main()
