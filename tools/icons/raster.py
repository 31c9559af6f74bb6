"""A tiny anti-aliasing rasteriser for the status icons.

Shapes are point predicates in pixel units (0..16, y pointing down). Each icon is a list of
layers (shape, colour) painted in order; every pixel is sampled on a grid of sub-pixels and the
covering colours are averaged, which gives smooth edges without any imaging library.
"""

import math

SIZE = 16
SUBSAMPLES = 8  # per axis, so 64 samples per pixel


def _segment_distance(px, py, ax, ay, bx, by):
    dx, dy = bx - ax, by - ay
    length2 = dx * dx + dy * dy
    t = 0.0 if length2 == 0 else max(0.0, min(1.0, ((px - ax) * dx + (py - ay) * dy) / length2))
    cx, cy = ax + t * dx, ay + t * dy
    return math.hypot(px - cx, py - cy)


def circle(cx, cy, r):
    return lambda x, y: (x - cx) ** 2 + (y - cy) ** 2 <= r * r


def ring(cx, cy, outer, inner):
    return lambda x, y: inner * inner <= (x - cx) ** 2 + (y - cy) ** 2 <= outer * outer


def stroke(points, width):
    """A polyline drawn with a round pen."""
    half = width / 2.0
    segments = list(zip(points, points[1:])) or [(points[0], points[0])]

    def inside(x, y):
        return any(_segment_distance(x, y, a[0], a[1], b[0], b[1]) <= half for a, b in segments)

    return inside


def _inside_polygon(x, y, points):
    inside = False
    j = len(points) - 1
    for i in range(len(points)):
        xi, yi = points[i]
        xj, yj = points[j]
        if (yi > y) != (yj > y) and x < (xj - xi) * (y - yi) / (yj - yi) + xi:
            inside = not inside
        j = i
    return inside


def rounded_polygon(points, radius):
    """A polygon grown by radius: its corners come out round."""
    edges = list(zip(points, points[1:] + points[:1]))

    def inside(x, y):
        if _inside_polygon(x, y, points):
            return True
        return any(_segment_distance(x, y, a[0], a[1], b[0], b[1]) <= radius for a, b in edges)

    return inside


def arc(cx, cy, r, width, start_deg, end_deg):
    """A stroked arc from start to end angle (degrees, counter-clockwise as seen on screen)."""
    half = width / 2.0
    start, end = math.radians(start_deg), math.radians(end_deg)
    lo, hi = min(start, end), max(start, end)
    caps = [(cx + r * math.cos(a), cy - r * math.sin(a)) for a in (start, end)]

    def inside(x, y):
        angle = math.atan2(-(y - cy), x - cx)
        for turn in (-2 * math.pi, 0.0, 2 * math.pi):
            if lo <= angle + turn <= hi and abs(math.hypot(x - cx, y - cy) - r) <= half:
                return True
        return any(math.hypot(x - px, y - py) <= half for px, py in caps)

    return inside


def hex_colour(text):
    text = text.lstrip("#")
    return tuple(int(text[i:i + 2], 16) for i in (0, 2, 4)) + (255,)


def render(layers):
    """Returns SIZE rows of SIZE (r, g, b, a) tuples, 8 bits per channel."""
    layers = [(shape, hex_colour(colour)) for shape, colour in layers]
    step = 1.0 / SUBSAMPLES
    offsets = [(i + 0.5) * step for i in range(SUBSAMPLES)]
    total = SUBSAMPLES * SUBSAMPLES
    rows = []
    for py in range(SIZE):
        row = []
        for px in range(SIZE):
            acc = [0, 0, 0, 0]  # premultiplied sums
            for oy in offsets:
                for ox in offsets:
                    x, y = px + ox, py + oy
                    for shape, colour in reversed(layers):
                        if shape(x, y):
                            acc[0] += colour[0]
                            acc[1] += colour[1]
                            acc[2] += colour[2]
                            acc[3] += 255
                            break
            if acc[3] == 0:
                row.append((0, 0, 0, 0))
            else:
                alpha = acc[3] / total
                row.append(tuple(round(c / (acc[3] / 255)) for c in acc[:3]) + (round(alpha),))
        rows.append(row)
    return rows
