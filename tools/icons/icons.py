"""The six status pictures, drawn on a 16x16 grid (coordinates in pixels, y pointing down).

Colour and shape both tell the status apart, so the icons still read for colour-blind users:
a check, a triangle, a circled "!", a circled cross, a circled "?" and an empty ring.
"""

from raster import arc, circle, ring, rounded_polygon, stroke

GREEN = "#2e9e44"
AMBER = "#f4b400"
ORANGE = "#ec6400"
RED = "#d93025"
GREY = "#8a8a8a"
LIGHT_GREY = "#a6a6a6"
WHITE = "#ffffff"
DARK = "#3b2f00"

NORMAL = [
    (circle(8, 8, 7.5), GREEN),
    (stroke([(4.4, 8.2), (6.9, 10.7), (11.6, 5.5)], 2.1), WHITE),
]

WARNING = [
    (rounded_polygon([(8, 1.9), (14.6, 13.9), (1.4, 13.9)], 1.0), AMBER),
    (stroke([(8, 5.9), (8, 8.9)], 2.0), DARK),
    (circle(8, 11.9, 1.1), DARK),
]

MAJOR = [
    (circle(8, 8, 7.5), ORANGE),
    (stroke([(8, 3.9), (8, 8.8)], 2.2), WHITE),
    (circle(8, 11.9, 1.25), WHITE),
]

ERROR = [
    (circle(8, 8, 7.5), RED),
    (stroke([(5.2, 5.2), (10.8, 10.8)], 2.2), WHITE),
    (stroke([(10.8, 5.2), (5.2, 10.8)], 2.2), WHITE),
]

UNKNOWN = [
    (circle(8, 8, 7.5), GREY),
    (arc(8, 6.2, 2.4, 1.9, -55, 165), WHITE),
    (stroke([(9.4, 8.2), (8, 9.3), (8, 9.7)], 1.9), WHITE),
    (circle(8, 12.3, 1.15), WHITE),
]

NOT_PRESENT = [
    (ring(8, 8, 7.0, 5.2), LIGHT_GREY),
]

# Name of the C++ constant, CSS class, image format, layers; in the order of the style sheet.
ICONS = [
    ("StatusNormal", "status-normal", "png", NORMAL),
    ("StatusWarning", "status-warning", "png", WARNING),
    ("StatusMajor", "status-major", "gif", MAJOR),
    ("StatusError", "status-error", "png", ERROR),
    ("StatusUnknown", "status-unknown", "png", UNKNOWN),
    ("StatusNotPresent", "status-not-present", "png", NOT_PRESENT),
]
