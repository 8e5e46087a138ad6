#!/usr/bin/env python3
# Draws pears.png, the poster of Fernhill Market: python3 make_pears.py [FILE]
# Standard library only. Shapes are polygons, filled row by row with anti-aliased edges; the
# lettering is drawn with a pen of round ends from the strokes below.
import math
import os
import struct
import sys
import zlib

WIDTH, HEIGHT = 1170, 2340
SUBROWS = 4  # rows sampled in each row of pixels

CREAM = (251, 244, 230)
INK = (38, 62, 48)


class Canvas:
    def __init__(self, top, bottom):
        self.rows = []
        for y in range(HEIGHT):
            self.rows.append(bytearray(bytes(mix(top, bottom, y / HEIGHT)) * WIDTH))

    def fill(self, polygons, colour, clip=None, alpha=1.0):
        """Fills the union of the polygons (which turn the same way) inside the clip mask."""
        for y, start, cover in coverage(polygons):
            inside = clip.get(y) if clip is not None else None
            if clip is not None and inside is None:
                continue
            row = self.rows[y]
            for i, part in enumerate(cover):
                x = start + i
                if inside is not None:
                    at = x - inside[0]
                    part = part * inside[1][at] if 0 <= at < len(inside[1]) else 0
                part *= alpha
                if part > 0.002:
                    for c in range(3):
                        old = row[3 * x + c]
                        row[3 * x + c] = round(old + (colour[c] - old) * min(part, 1.0))

    def save(self, name):
        packed = zlib.compress(b"".join(b"\0" + bytes(row) for row in self.rows), 9)
        header = struct.pack(">IIBBBBB", WIDTH, HEIGHT, 8, 2, 0, 0, 0)
        with open(name, "wb") as file:
            file.write(b"\x89PNG\r\n\x1a\n")
            for kind, data in ((b"IHDR", header), (b"sRGB", b"\0"), (b"IDAT", packed), (b"IEND", b"")):
                file.write(struct.pack(">I", len(data)) + kind + data)
                file.write(struct.pack(">I", zlib.crc32(kind + data)))


def mix(a, b, t):
    return tuple(round(p + (q - p) * t) for p, q in zip(a, b))


def coverage(polygons):
    """Yields (row, first column, shares of the pixels covered) by the non-zero winding rule."""
    edges = []
    for polygon in polygons:
        for (x0, y0), (x1, y1) in zip(polygon, polygon[1:] + polygon[:1]):
            if y0 != y1:
                edges.append((min(y0, y1), max(y0, y1), x0, y0, (x1 - x0) / (y1 - y0),
                              1 if y1 > y0 else -1))
    if not edges:
        return
    edges.sort()
    live, coming = [], 0
    top = max(0, math.floor(edges[0][0]))
    bottom = min(HEIGHT, math.ceil(max(edge[1] for edge in edges)))
    for y in range(top, bottom):
        spans = []
        while coming < len(edges) and edges[coming][0] < y + 1:
            live.append(edges[coming])
            coming += 1
        live = [edge for edge in live if edge[1] > y]
        for sub in range(SUBROWS):
            spans += spans_at(live, y + (sub + 0.5) / SUBROWS)
        if spans:
            start = math.floor(min(span[0] for span in spans))
            end = math.ceil(max(span[1] for span in spans)) + 1
            yield y, start, shares(spans, start, end)


def spans_at(edges, y):
    crossings = sorted((x0 + (y - y0) * slope, turn)
                       for top, bottom, x0, y0, slope, turn in edges if top <= y < bottom)
    spans, winding = [], 0
    for x, turn in crossings:
        if winding == 0:
            begin = x
        winding += turn
        if winding == 0:
            left, right = max(begin, 0), min(x, WIDTH - 0.001)
            if right > left:
                spans.append((left, right))
    return spans


def shares(spans, start, end):
    steps = [0.0] * (end - start + 2)
    for left, right in spans:
        for x, sign in ((left - start, 1), (right - start, -1)):
            whole = math.floor(x)
            steps[whole] += sign * (1 - (x - whole))
            steps[whole + 1] += sign * (x - whole)
    total, cover = 0.0, []
    for step in steps[:min(end, WIDTH) - start]:
        total += step
        cover.append(total / SUBROWS)
    return cover


def mask(polygons):
    return {y: (start, cover) for y, start, cover in coverage(polygons)}


# Shapes


def curve(*points, steps=24):
    """A path of cubic curves: a start, then three points for each curve."""
    path = [points[0]]
    for i in range(0, len(points) - 1, 3):
        a, b, c, d = points[i:i + 4]
        for step in range(1, steps + 1):
            t = step / steps
            u = 1 - t
            path.append(tuple(u**3 * a[k] + 3 * u * u * t * b[k] + 3 * u * t * t * c[k] + t**3 * d[k]
                              for k in (0, 1)))
    return path


def arc(x, y, radius, start, end, steps=28):
    angles = [math.radians(start + (end - start) * i / steps) for i in range(steps + 1)]
    return [(x + radius * math.cos(a), y + radius * math.sin(a)) for a in angles]


def disc(x, y, radius, stretch=1.0, steps=120):
    return [(px, y + (py - y) * stretch) for px, py in arc(x, y, radius, 0, 360, steps)[:-1]]


def place(points, x, y, scale=1.0, turn=0.0):
    c, s = math.cos(math.radians(turn)) * scale, math.sin(math.radians(turn)) * scale
    return [(x + px * c - py * s, y + px * s + py * c) for px, py in points]


def pen(path, width, end_width=None):
    """The polygons of a line with round ends; it may grow thinner towards its end."""
    polygons = []
    end_width = width if end_width is None else end_width
    for i, ((x0, y0), (x1, y1)) in enumerate(zip(path, path[1:])):
        radius = (width + (end_width - width) * i / max(1, len(path) - 1)) / 2
        angle = math.degrees(math.atan2(y1 - y0, x1 - x0))
        polygons.append(arc(x0, y0, radius, angle + 90, angle + 270, 10) +
                        arc(x1, y1, radius, angle - 90, angle + 90, 10))
    return polygons


LEAF = curve((0, 0), (0.25, -0.34), (0.72, -0.34), (1, 0), (0.72, 0.26), (0.25, 0.26), (0, 0))
LEAFLET = [(x, 0.32 * y) for x, y in LEAF]
HALF_LEAF = curve((0, 0), (0.3, -0.02), (0.7, -0.04), (1, 0), (0.72, 0.26), (0.25, 0.26), (0, 0))


def fern(canvas, x, y, height, lean, colour):
    """A frond that rises from (x, y), leaning to the right or, below zero, to the left."""
    stem = curve((x, y), (x, y - height * 0.4), (x + lean * 0.3, y - height * 0.8),
                 (x + lean, y - height), steps=60)
    shapes = pen(stem, height * 0.014, height * 0.005)
    for i in range(9, len(stem) - 1, 4):
        (x0, y0), (x1, y1) = stem[i - 1], stem[i + 1]
        angle = math.degrees(math.atan2(y1 - y0, x1 - x0))
        size = height * 0.3 * math.sin(math.pi * (0.2 + 0.76 * i / len(stem)))
        for side in (-52, 52):
            shapes.append(place(LEAFLET, *stem[i], size, angle + side))
    shapes.append(place(LEAFLET, *stem[-2], height * 0.06, angle))
    canvas.fill(shapes, colour)


def pear(canvas, x, y, size, turn, body, shade, light, blush):
    right = [(0.0, -1.0), (0.27, -1.0), (0.27, -0.66), (0.33, -0.42), (0.4, -0.12), (0.76, 0.04),
             (0.76, 0.47), (0.76, 0.84), (0.4, 1.0), (0.0, 1.0)]
    left = [(-0.4, 1.0), (-0.74, 0.82), (-0.74, 0.45), (-0.74, 0.02), (-0.38, -0.12),
            (-0.31, -0.42), (-0.26, -0.66), (-0.25, -1.0), (0.0, -1.0)]

    def at(points):
        return place(points, x, y, size, turn)

    outline = at(curve(*right, *left))
    stem = at(curve((0.0, -0.95), (0.01, -1.1), (0.05, -1.2), (0.15, -1.31)))
    canvas.fill(pen(stem, size * 0.07, size * 0.05), (104, 74, 48))
    leaf = at(place(LEAF, 0.06, -1.15, 0.74, -24))
    canvas.fill([leaf], (86, 130, 74))
    canvas.fill([at(place(HALF_LEAF, 0.06, -1.15, 0.74, -24))], (66, 108, 62))
    canvas.fill([outline], body)
    inside = mask([outline])
    for i in range(10):  # a soft blush: discs that grow fainter outwards
        canvas.fill([at(disc(0.52, 0.5, 0.62 - 0.045 * i, 1.15))], blush, inside, 0.055)
    lit = at(curve((-0.12, -1.2), (0.25, -0.7), (-0.06, -0.2), (0.3, 0.1), (0.72, 0.5), (0.3, 1.1),
                   (-0.3, 1.3), (0.4, 1.5), (1.2, 1.3), (1.2, 0.0), (1.0, -0.9), (0.4, -1.3),
                   (-0.12, -1.2)))
    canvas.fill([lit], shade, inside, 0.5)
    canvas.fill([at(curve((-0.56, 0.42), (-0.56, 0.12), (-0.36, 0.0), (-0.24, -0.12), (-0.3, 0.1),
                          (-0.44, 0.2), (-0.46, 0.5), (-0.47, 0.62), (-0.55, 0.6), (-0.56, 0.42)))],
                light, inside, 0.85)
    for i in range(46):  # freckles, spread by the golden angle
        radius, angle = 0.74 * math.sqrt((i + 0.5) / 46), i * 2.39996
        spot = disc(radius * math.cos(angle), 0.4 + 0.62 * radius * math.sin(angle), 0.0085, steps=12)
        canvas.fill([at(spot)], (122, 92, 40), inside, 0.45)


# Lettering: strokes on a height of 1


def bowl(x, top, bottom):
    middle, radius = (top + bottom) / 2, (bottom - top) / 2
    return [(0, top)] + arc(x, middle, radius, -90, 90) + [(0, bottom)]


LETTERS = {
    " ": (0.3, []),
    "A": (0.84, [[(0, 1), (0.42, 0), (0.84, 1)], [(0.15, 0.66), (0.69, 0.66)]]),
    "C": (0.86, [arc(0.5, 0.5, 0.5, -45, -315)]),
    "D": (0.72, [[(0, 1)] + bowl(0.22, 0, 1)]),
    "E": (0.48, [[(0.48, 0), (0, 0), (0, 1), (0.48, 1)], [(0, 0.49), (0.42, 0.49)]]),
    "F": (0.48, [[(0.48, 0), (0, 0), (0, 1)], [(0, 0.5), (0.42, 0.5)]]),
    "G": (1.0, [arc(0.5, 0.5, 0.5, -45, -360) + [(0.6, 0.5)]]),
    "H": (0.66, [[(0, 0), (0, 1)], [(0.66, 0), (0.66, 1)], [(0, 0.49), (0.66, 0.49)]]),
    "I": (0.0, [[(0, 0), (0, 1)]]),
    "K": (0.6, [[(0, 0), (0, 1)], [(0.57, 0), (0, 0.6)], [(0.2, 0.4), (0.6, 1)]]),
    "L": (0.44, [[(0, 0), (0, 1), (0.44, 1)]]),
    "M": (0.92, [[(0, 1), (0.07, 0), (0.46, 0.72), (0.85, 0), (0.92, 1)]]),
    "N": (0.7, [[(0, 1), (0, 0), (0.7, 1), (0.7, 0)]]),
    "O": (1.0, [arc(0.5, 0.5, 0.5, 0, 360, 48)]),
    "P": (0.54, [[(0, 1)] + bowl(0.27, 0, 0.54)]),
    "R": (0.56, [[(0, 1)] + bowl(0.27, 0, 0.54), [(0.24, 0.54), (0.56, 1)]]),
    "S": (0.52, [arc(0.26, 0.25, 0.25, -30, -270) + arc(0.26, 0.75, 0.25, -90, 150)]),
    "T": (0.66, [[(0, 0), (0.66, 0)], [(0.33, 0), (0.33, 1)]]),
}


def text(canvas, words, y, height, weight, spacing, colour):
    """Words centred across the canvas; weight and spacing are shares of the height."""
    length = sum(LETTERS[c][0] + spacing for c in words) - spacing
    x = WIDTH / 2 - length * height / 2
    for c in words:
        width, strokes = LETTERS[c]
        canvas.fill([shape for stroke in strokes
                     for shape in pen(place(stroke, x, y, height), weight * height)], colour)
        x += (width + spacing) * height


def hill(canvas, heights, colour):
    step = WIDTH / (len(heights) // 3)
    points = [(i * step / 3, y) for i, y in enumerate(heights)]
    canvas.fill([curve(*points, steps=60) + [(WIDTH, HEIGHT), (0, HEIGHT)]], colour)


def main():
    canvas = Canvas((253, 247, 234), (248, 222, 184))
    canvas.fill([disc(585, 1270, 455)], (250, 205, 138))
    canvas.fill([disc(585, 1270, 372)], (247, 190, 112))

    hill(canvas, [1530, 1400, 1380, 1470, 1560, 1490, 1420], (164, 187, 132))
    hill(canvas, [1600, 1650, 1560, 1540, 1520, 1530, 1610], (124, 158, 106))
    hill(canvas, [1790, 1700, 1690, 1740, 1790, 1740, 1690], (84, 126, 86))

    canvas.fill([disc(610, 1776, 400, 0.11)], (52, 88, 62), alpha=0.5)
    pear(canvas, 775, 1470, 302, 13, (214, 150, 78), (172, 84, 58), (240, 196, 132), (190, 70, 52))
    pear(canvas, 462, 1420, 360, -7, (226, 198, 92), (176, 158, 62), (246, 230, 158), (214, 130, 66))

    hill(canvas, [1900, 1850, 1960, 1950, 1940, 1950, 1880], INK)
    for x, height, lean, colour in ((40, 640, 70, (46, 82, 58)), (140, 420, 60, (66, 108, 72)),
                                    (1130, 640, -70, (46, 82, 58)),
                                    (1030, 420, -60, (66, 108, 72))):
        fern(canvas, x, 2080, height, lean, colour)
    hill(canvas, [2000, 1980, 2050, 2060, 2070, 2050, 1990], INK)

    fern(canvas, 585, 248, 150, 0, (84, 126, 86))
    text(canvas, "FERNHILL MARKET", 278, 46, 0.105, 0.34, INK)
    text(canvas, "FIRST", 412, 150, 0.115, 0.26, INK)
    text(canvas, "PEARS", 606, 150, 0.115, 0.22, INK)

    text(canvas, "PICKED THIS MORNING", 2118, 38, 0.1, 0.32, CREAM)
    canvas.fill(pen([(445, 2240), (725, 2240)], 86), (247, 190, 112))
    text(canvas, "TAP TO SEE", 2224, 32, 0.13, 0.3, INK)
    canvas.save(sys.argv[1] if len(sys.argv) > 1 else
                os.path.join(os.path.dirname(os.path.abspath(__file__)), "pears.png"))


main()
