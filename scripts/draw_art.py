#!/usr/bin/env python3
"""Draws ORVANE's interface art as SVG.

Writes resources/svg/*.svg (compiled into the program as they are) and
resources/art/**/*.svg (the sources of the PNG images, rasterised by make_resources.sh).
Everything is drawn here from a handful of primitives in one style: flat shapes, thin
strokes, the program's palette, and lettering from a small stroke alphabet so that no
font is needed to render the art.

Usage: draw_art.py <resources-dir>
"""

import math
import os
import sys

# --- palette ---------------------------------------------------------------------------
TEXT = "#e6e7fa"
WHITE = "#ffffff"
BLACK = "#121212"
PANEL = "#111111"
MENU = "#1a1c28"
STRIP = "#2d2e39"
HOVER_OUTER = "#363744"
READOUT = "#43476c"
ACCENT = "#4c58c8"
ACCENT_LIGHT = "#8d96ec"
OVER = "#8f3832"
PROBLEM = "#fa4d42"
MUTED = "#6b7592"
SEPARATOR = "#242738"
GREEN = "#21d22c"

# --- stroke alphabet -------------------------------------------------------------------
# Glyphs on a grid 4 wide (unless told) and 6 high, y downwards; each is a list of polylines.
_O = [[(1, 0), (3, 0), (4, 1), (4, 5), (3, 6), (1, 6), (0, 5), (0, 1), (1, 0)]]
_P = [[(0, 6), (0, 0), (3, 0), (4, 1), (4, 2), (3, 3), (0, 3)]]
GLYPHS = {
    "A": [[(0, 6), (0, 2), (2, 0), (4, 2), (4, 6)], [(0, 4), (4, 4)]],
    "B": [[(0, 3), (3, 3), (4, 2), (4, 1), (3, 0), (0, 0), (0, 6), (3, 6), (4, 5), (4, 4), (3, 3)]],
    "C": [[(4, 0), (1, 0), (0, 1), (0, 5), (1, 6), (4, 6)]],
    "D": [[(0, 0), (3, 0), (4, 1), (4, 5), (3, 6), (0, 6), (0, 0)]],
    "E": [[(4, 0), (0, 0), (0, 6), (4, 6)], [(0, 3), (3, 3)]],
    "F": [[(4, 0), (0, 0), (0, 6)], [(0, 3), (3, 3)]],
    "G": [[(4, 1), (3, 0), (1, 0), (0, 1), (0, 5), (1, 6), (3, 6), (4, 5), (4, 3), (2, 3)]],
    "H": [[(0, 0), (0, 6)], [(4, 0), (4, 6)], [(0, 3), (4, 3)]],
    "I": [[(0, 0), (0, 6)]],
    "J": [[(4, 0), (4, 5), (3, 6), (1, 6), (0, 5)]],
    "K": [[(0, 0), (0, 6)], [(4, 0), (1, 3), (0, 3)], [(1, 3), (4, 6)]],
    "L": [[(0, 0), (0, 6), (4, 6)]],
    "M": [[(0, 6), (0, 0), (2, 3), (4, 0), (4, 6)]],
    "N": [[(0, 6), (0, 0), (4, 6), (4, 0)]],
    "O": _O,
    "P": _P,
    "Q": _O + [[(2.5, 4.5), (4, 6)]],
    "R": _P + [[(2, 3), (4, 6)]],
    "S": [[(4, 0), (1, 0), (0, 1), (0, 2), (1, 3), (3, 3), (4, 4), (4, 5), (3, 6), (0, 6)]],
    "T": [[(0, 0), (4, 0)], [(2, 0), (2, 6)]],
    "U": [[(0, 0), (0, 5), (1, 6), (3, 6), (4, 5), (4, 0)]],
    "V": [[(0, 0), (2, 6), (4, 0)]],
    "W": [[(0, 0), (1, 6), (2, 2), (3, 6), (4, 0)]],
    "X": [[(0, 0), (4, 6)], [(4, 0), (0, 6)]],
    "Y": [[(0, 0), (2, 3), (4, 0)], [(2, 3), (2, 6)]],
    "Z": [[(0, 0), (4, 0), (0, 6), (4, 6)]],
    "0": _O + [[(1, 5), (3, 1)]],
    "1": [[(1, 1), (2, 0), (2, 6)], [(1, 6), (3, 6)]],
    "2": [[(0, 1), (1, 0), (3, 0), (4, 1), (4, 2), (0, 6), (4, 6)]],
    "3": [[(0, 0), (4, 0), (2, 2.5), (3, 2.5), (4, 3.5), (4, 5), (3, 6), (0, 6)]],
    "4": [[(3, 6), (3, 0), (0, 4), (4, 4)]],
    "5": [[(4, 0), (0, 0), (0, 3), (3, 3), (4, 4), (4, 5), (3, 6), (0, 6)]],
    "6": [[(3, 0), (1, 0), (0, 1), (0, 5), (1, 6), (3, 6), (4, 5), (4, 4), (3, 3), (0, 3)]],
    "7": [[(0, 0), (4, 0), (1, 6)]],
    "8": [[(1, 0), (3, 0), (4, 1), (4, 2), (3, 3), (1, 3), (0, 2), (0, 1), (1, 0)],
          [(1, 3), (0, 4), (0, 5), (1, 6), (3, 6), (4, 5), (4, 4), (3, 3)]],
    "9": [[(4, 3), (1, 3), (0, 2), (0, 1), (1, 0), (3, 0), (4, 1), (4, 5), (3, 6), (1, 6)]],
    "-": [[(0.5, 3), (3.5, 3)]],
    "+": [[(0, 3), (4, 3)], [(2, 1), (2, 5)]],
    "?": [[(0, 1), (1, 0), (3, 0), (4, 1), (4, 2), (2, 3.5), (2, 4.2)], [(2, 5.6), (2, 6)]],
}


def glyph_width(ch):
    if ch == " ":
        return 2.5
    pts = [p for line in GLYPHS[ch] for p in line]
    return max(x for x, _ in pts)


def text_width(text, cap, tracking=1.6):
    s = cap / 6.0
    widths = [glyph_width(c) for c in text]
    return (sum(widths) + tracking * (len(text) - 1)) * s


def lettering(text, x, y, cap, colour, width=1.0, anchor="start", tracking=1.6, opacity=1.0):
    """Stroked capitals with their top-left corner at (x, y); anchor "middle" centres on x."""
    s = cap / 6.0
    if anchor == "middle":
        x -= text_width(text, cap, tracking) / 2.0
    elif anchor == "end":
        x -= text_width(text, cap, tracking)
    d = []
    pen = x
    for ch in text:
        if ch != " ":
            for line in GLYPHS[ch]:
                pts = " L ".join(f"{fmt(pen + gx * s)} {fmt(y + gy * s)}" for gx, gy in line)
                d.append("M " + pts)
        pen += (glyph_width(ch) + tracking) * s
    return path(" ".join(d), stroke=colour, width=width, opacity=opacity)


# --- SVG primitives --------------------------------------------------------------------

def fmt(v):
    v = round(v, 2)
    return str(int(v)) if v == int(v) else f"{v}"


def svg(w, h, body):
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{fmt(w)}" height="{fmt(h)}" '
            f'viewBox="0 0 {fmt(w)} {fmt(h)}">\n' + "\n".join(b for b in body if b) + "\n</svg>\n")


def _paint(fill, stroke, width, opacity):
    a = [f'fill="{fill or "none"}"']
    if stroke:
        a.append(f'stroke="{stroke}" stroke-width="{fmt(width)}" stroke-linecap="round" stroke-linejoin="round"')
    if opacity != 1.0:
        a.append(f'opacity="{fmt(opacity)}"')
    return " ".join(a)


def path(d, fill=None, stroke=None, width=1.0, opacity=1.0):
    return f'<path d="{d}" {_paint(fill, stroke, width, opacity)}/>'


def rect(x, y, w, h, r=0, fill=None, stroke=None, width=1.0, opacity=1.0):
    rr = f' rx="{fmt(r)}"' if r else ""
    return f'<rect x="{fmt(x)}" y="{fmt(y)}" width="{fmt(w)}" height="{fmt(h)}"{rr} {_paint(fill, stroke, width, opacity)}/>'


def circle(cx, cy, r, fill=None, stroke=None, width=1.0, opacity=1.0):
    return f'<circle cx="{fmt(cx)}" cy="{fmt(cy)}" r="{fmt(r)}" {_paint(fill, stroke, width, opacity)}/>'


def poly(points, closed=True):
    d = "M " + " L ".join(f"{fmt(x)} {fmt(y)}" for x, y in points)
    return d + (" Z" if closed else "")


def gradient(gid, top, bottom):
    return (f'<defs><linearGradient id="{gid}" x1="0" y1="0" x2="0" y2="1">'
            f'<stop offset="0" stop-color="{top}"/><stop offset="1" stop-color="{bottom}"/>'
            f'</linearGradient></defs>')


# --- state styles ----------------------------------------------------------------------
# Each style: ink (stroke colour), ink opacity, backdrop fill (or None) and its opacity.
STATES = {
    "Normal":   dict(ink=TEXT, alpha=0.85, back=None, back_alpha=0.0),
    "Hover":    dict(ink=WHITE, alpha=1.0, back=ACCENT, back_alpha=0.35),
    "Down":     dict(ink=WHITE, alpha=1.0, back=ACCENT, back_alpha=1.0),
    "Disabled": dict(ink=MUTED, alpha=0.5, back=None, back_alpha=0.0),
}


def backdrop(w, h, st, radius=3):
    if st["back"] is None:
        return ""
    return rect(0.5, 0.5, w - 1, h - 1, radius, fill=st["back"], opacity=st["back_alpha"])


# --- icon drawings (w, h, ink, width, opacity) -> list of elements ----------------------

def draw_add_tracks(w, h, ink, sw, op):
    return [path("M 2 7 L 2 14.5 L 15 14.5 L 15 7", stroke=ink, width=sw, opacity=op),
            path("M 8.5 2 L 8.5 10.5 M 5 6 L 8.5 2.5 L 12 6", stroke=ink, width=sw, opacity=op)]


def draw_save(w, h, ink, sw, op):
    return [path(poly([(2, 2), (12.5, 2), (15, 4.5), (15, 15), (2, 15)]), stroke=ink, width=sw, opacity=op),
            path(poly([(5, 2), (5, 6.5), (11.5, 6.5), (11.5, 2)], closed=False), stroke=ink, width=sw, opacity=op),
            rect(5, 10, 7, 5, fill=None, stroke=ink, width=sw, opacity=op)]


def draw_text_export(w, h, ink, sw, op):
    return [path(poly([(10, 15), (3, 15), (3, 2), (10, 2), (13, 5), (13, 8)], closed=False), stroke=ink, width=sw, opacity=op),
            path("M 5.5 6 L 10 6 M 5.5 9 L 9 9 M 5.5 12 L 8 12", stroke=ink, width=sw, opacity=op),
            path("M 10.5 12.5 L 15.5 12.5 M 13.5 10.5 L 15.5 12.5 L 13.5 14.5", stroke=ink, width=sw, opacity=op)]


def draw_play(w, h, ink, sw, op):
    return [path(poly([(3, 1.5), (11.5, 6.5), (3, 11.5)]), fill=ink, opacity=op)]


def draw_feedback(w, h, ink, sw, op):
    return [path(poly([(1, 1.5), (12, 1.5), (12, 9), (6, 9), (3, 12), (3, 9), (1, 9)]), stroke=ink, width=sw, opacity=op),
            path("M 3.5 4.5 L 9.5 4.5 M 3.5 6.5 L 7.5 6.5", stroke=ink, width=sw * 0.8, opacity=op)]


def draw_presets_menu(w, h, ink, sw, op):
    return [path("M 1 3 L 13 3 M 1 8 L 13 8 M 1 13 L 13 13", stroke=ink, width=sw, opacity=op),
            path(poly([(15.5, 6.5), (21, 6.5), (18.25, 10)]), fill=ink, opacity=op)]


def draw_eye(w, h, ink, sw, op, off=False):
    cx, cy = w / 2, h / 2
    e = [path(f"M 1.5 {fmt(cy)} Q {fmt(cx)} {fmt(cy - 9)} {fmt(w - 1.5)} {fmt(cy)} Q {fmt(cx)} {fmt(cy + 9)} 1.5 {fmt(cy)} Z",
              stroke=ink, width=sw, opacity=op),
         circle(cx, cy, 2.2, fill=ink, opacity=op)]
    if off:
        e.append(path(f"M 3 {fmt(h - 0.5)} L {fmt(w - 3)} 0.5", stroke=ink, width=sw, opacity=op))
    return e


def draw_cross(w, h, ink, sw, op, inset=2.0):
    return [path(f"M {fmt(inset)} {fmt(inset)} L {fmt(w - inset)} {fmt(h - inset)} "
                 f"M {fmt(w - inset)} {fmt(inset)} L {fmt(inset)} {fmt(h - inset)}", stroke=ink, width=sw, opacity=op)]


def draw_plus(w, h, ink, sw, op, inset=4.0):
    return [path(f"M {fmt(w / 2)} {fmt(inset)} L {fmt(w / 2)} {fmt(h - inset)} "
                 f"M {fmt(inset)} {fmt(h / 2)} L {fmt(w - inset)} {fmt(h / 2)}", stroke=ink, width=sw, opacity=op)]


def draw_minus(w, h, ink, sw, op, inset=4.0):
    return [path(f"M {fmt(inset)} {fmt(h / 2)} L {fmt(w - inset)} {fmt(h / 2)}", stroke=ink, width=sw, opacity=op)]


def draw_gear(w, h, ink, sw, op):
    cx, cy = w / 2, h / 2
    teeth = []
    for i in range(8):
        a = i * math.pi / 4
        teeth.append(f"M {fmt(cx + 5.3 * math.cos(a))} {fmt(cy + 5.3 * math.sin(a))} "
                     f"L {fmt(cx + 7.6 * math.cos(a))} {fmt(cy + 7.6 * math.sin(a))}")
    return [circle(cx, cy, 5, stroke=ink, width=sw, opacity=op),
            circle(cx, cy, 2, stroke=ink, width=sw, opacity=op),
            path(" ".join(teeth), stroke=ink, width=sw * 1.6, opacity=op)]


def draw_key(w, h, ink, sw, op):
    return [circle(5.5, 8.5, 3.5, stroke=ink, width=sw, opacity=op),
            path("M 9 8.5 L 15.5 8.5 M 13 8.5 L 13 11 M 15 8.5 L 15 10.5", stroke=ink, width=sw, opacity=op)]


def draw_help(w, h, ink, sw, op):
    return [circle(w / 2, h / 2, 7.5, stroke=ink, width=sw, opacity=op),
            lettering("?", w / 2 - 2.0, h / 2 - 3.5, 7, ink, sw, opacity=op)]


def draw_drop(w, h, ink, sw, op):
    c = w / 2
    return [circle(c, c, c - 1.5, stroke=ink, width=sw, opacity=op * 0.5),
            path(f"M {fmt(c)} 13 L {fmt(c)} 33 M {fmt(c - 8)} 25 L {fmt(c)} 33 L {fmt(c + 8)} 25", stroke=ink, width=sw * 1.4, opacity=op),
            path("M 15 33 L 15 42 L 42 42 L 42 33", stroke=ink, width=sw * 1.4, opacity=op)]


def draw_chevron(w, h, ink, sw, op):
    return [path(f"M 1 1 L {fmt(w / 2)} {fmt(h - 1)} L {fmt(w - 1)} 1", stroke=ink, width=sw, opacity=op)]


def waveform_mark(x, y, w, h, ink, sw, op):
    """A short symmetric waveform, the program's emblem."""
    heights = [0.25, 0.55, 0.9, 0.6, 1.0, 0.45, 0.75, 0.3]
    step = w / (len(heights) - 1)
    d = []
    for i, k in enumerate(heights):
        px = x + i * step
        d.append(f"M {fmt(px)} {fmt(y + h / 2 - k * h / 2)} L {fmt(px)} {fmt(y + h / 2 + k * h / 2)}")
    return path(" ".join(d), stroke=ink, width=sw, opacity=op)


# --- families ----------------------------------------------------------------------------

def icon_family(out, family, w, h, drawer, stroke_width=1.2, radius=3):
    for state, st in STATES.items():
        body = [backdrop(w, h, st, radius)] + drawer(w, h, st["ink"], stroke_width, st["alpha"])
        out[f"{family}{state}"] = svg(w, h, body)


def text_button(w, h, label, ink, frame=None, fill=None, fill_alpha=1.0, op=1.0, cap=7.0, radius=None):
    r = h / 2 if radius is None else radius
    body = []
    if fill:
        body.append(rect(0.5, 0.5, w - 1, h - 1, r, fill=fill, opacity=fill_alpha))
    if frame:
        body.append(rect(0.5, 0.5, w - 1, h - 1, r, stroke=frame, width=1, opacity=op))
    if label:
        body.append(lettering(label, w / 2, (h - cap) / 2, cap, ink, 1.1, "middle", opacity=op))
    return svg(w, h, body)


def text_family(out, family, w, h, label, states=("Normal", "Hover", "Down", "Disabled"), cap=7.0):
    looks = {
        "Normal": dict(ink=TEXT, frame=TEXT, fill=None, fill_alpha=1.0, op=0.85),
        "Hover": dict(ink=WHITE, frame=ACCENT_LIGHT, fill=ACCENT, fill_alpha=0.35, op=1.0),
        "Down": dict(ink=WHITE, frame=ACCENT, fill=ACCENT, fill_alpha=1.0, op=1.0),
        "Disabled": dict(ink=MUTED, frame=MUTED, fill=None, fill_alpha=1.0, op=0.5),
        "Active": dict(ink=WHITE, frame=ACCENT, fill=ACCENT, fill_alpha=1.0, op=1.0),
        "Unavailable": dict(ink=MUTED, frame=MUTED, fill=None, fill_alpha=1.0, op=0.35),
    }
    for state in states:
        out[f"{family}{state}"] = text_button(w, h, label, cap=cap, **looks[state])


def readout_family(out, family, title):
    w, h = 82, 110
    looks = {
        "Normal": (TEXT, 0.55),
        "Hover": (TEXT, 0.9),
        # Over its target the button's fill turns red, so the title stays light on it.
        "Problem": (TEXT, 0.8),
        "ProblemHoverDown": (TEXT, 1.0),
    }
    for state, (ink, op) in looks.items():
        # The icon stands at (8, 10) and the figures at y 53 and 74: the title goes under them. The
        # empty frame keeps the drawing's bounds on the whole canvas, so it is placed as drawn.
        out[f"{family}{state}"] = svg(w, h, [
            rect(0, 0, w, h),
            path(f"M 8 48.5 L {w - 8} 48.5", stroke=ink, width=1, opacity=op * 0.4),
            lettering(title, 8, 93, 6, ink, 1.0, opacity=op)])


def emblem(kind, ink, sw, op):
    if kind == "lufs":
        return [path("M 11 24 L 11 19 M 15 24 L 15 14 M 19 24 L 19 10 M 23 24 L 23 16", stroke=ink, width=sw * 1.6, opacity=op)]
    if kind == "peak":
        return [path("M 8 22 L 13 22 L 17 9 L 21 22 L 26 22", stroke=ink, width=sw, opacity=op),
                path("M 8 9 L 26 9", stroke=ink, width=sw * 0.7, opacity=op * 0.6)]
    if kind == "stereo":
        return [circle(14, 17, 6, stroke=ink, width=sw, opacity=op), circle(20, 17, 6, stroke=ink, width=sw, opacity=op)]
    # dr: arrows apart
    return [path("M 17 8 L 17 26 M 13 12 L 17 8 L 21 12 M 13 22 L 17 26 L 21 22", stroke=ink, width=sw, opacity=op)]


def emblem_family(out, kind):
    size = 34
    looks = {
        "selectedOK": dict(back=ACCENT, ring=None, ink=WHITE),
        "selectedERROR": dict(back=PROBLEM, ring=None, ink=WHITE),
        "unselectedOK": dict(back=None, ring=ACCENT, ink=TEXT),
        "unselectedERROR": dict(back=None, ring=PROBLEM, ink=PROBLEM),
    }
    for member, lk in looks.items():
        body = []
        if lk["back"]:
            body.append(circle(17, 17, 15.5, fill=lk["back"]))
        if lk["ring"]:
            body.append(circle(17, 17, 15.5, stroke=lk["ring"], width=1.2))
        body += emblem(kind, lk["ink"], 1.3, 1.0)
        out[f"{kind}{member}"] = svg(size, size, body)


# --- slanted PNG sources and their hit areas -------------------------------------------

LOUDNESS_MATCH = [(0, 0), (137, 0), (121, 38), (16, 38)]
HIDE_EQ = [(0, 0), (208, 0), (197, 24), (11, 24)]
COMPARE_EQ = [(0, 0), (222, 0), (206, 35), (16, 35)]
TOP_BAR = [(0, 0), (395, 0), (373, 42), (22, 42)]


def slanted(w, h, shape, label, st, cap=7.0, extra=None):
    fill, fill_alpha, edge, ink = st
    body = [path(poly(shape), fill=fill, opacity=fill_alpha),
            path(poly(shape), stroke=edge, width=1.2)]
    body += extra or []
    body.append(lettering(label, w / 2, (h - cap) / 2, cap, ink, 1.1, "middle"))
    return svg(w, h, body)


def hit_area(w, h, shape):
    return svg(w, h, [path(poly(shape), fill=WHITE)])


SLANT_LOOKS = {
    "Normal": (PANEL, 1.0, STRIP, TEXT),
    "Hover": (HOVER_OUTER, 1.0, ACCENT, WHITE),
    "Down": (ACCENT, 1.0, ACCENT, WHITE),
    "Disabled": (PANEL, 1.0, SEPARATOR, MUTED),
}


def corner(w, h, left):
    # A rounded corner where the EQ panel's outline meets the split.
    if left:
        d = f"M {fmt(w)} 9.5 L 9 9.5 Q 1 9.5 1 17.5 L 1 {fmt(h)}"
    else:
        d = f"M 0 9.5 L {fmt(w - 9)} 9.5 Q {fmt(w - 1)} 9.5 {fmt(w - 1)} 17.5 L {fmt(w - 1)} {fmt(h)}"
    return svg(w, h, [path(d, stroke=STRIP, width=2)])


def cursor(kind):
    s = 24
    shadow = dict(stroke=BLACK, width=3.2)
    ink = dict(stroke=WHITE, width=1.4)
    beam = "M 9 3 L 9 21 M 6 3 L 12 3 M 6 21 L 12 21"
    marks = {
        "addloopcursor": beam + " M 15 8 L 21 8 M 18 5 L 18 11",
        "createloopcursor": beam + " M 15 7 L 15 17 M 15 7 L 18 7 M 15 17 L 18 17",
        "deleteloopcursor": beam + " M 15 5 L 21 11 M 21 5 L 15 11",
        "dragcursor": "M 3 12 L 21 12 M 7 8 L 3 12 L 7 16 M 17 8 L 21 12 L 17 16 M 12 6 L 12 18",
        "playcursor": "M 6 3 L 6 21",
    }
    body = [path(marks[kind], **shadow), path(marks[kind], **ink)]
    if kind == "playcursor":
        tri = poly([(9, 7), (18, 12), (9, 17)])
        body += [path(tri, fill=WHITE, stroke=BLACK, width=1.2)]
    return svg(s, s, body)


def app_icon(size):
    k = size / 128.0

    def S(v):
        return v * k

    heights = [0.22, 0.5, 0.85, 0.58, 1.0, 0.42, 0.7, 0.3]
    step = S(70) / (len(heights) - 1)
    bars = []
    for i, hh in enumerate(heights):
        x = S(29) + i * step
        bars.append(f"M {fmt(x)} {fmt(S(64) - hh * S(30))} L {fmt(x)} {fmt(S(64) + hh * S(30))}")
    return svg(size, size, [
        gradient("bg", "#12171f", "#444951"),
        rect(S(4), S(4), S(120), S(120), S(26), fill="url(#bg)"),
        rect(S(4), S(4), S(120), S(120), S(26), stroke=STRIP, width=S(2)),
        path(" ".join(bars), stroke=TEXT, width=S(5)),
        path(f"M {fmt(S(22))} {fmt(S(40))} L {fmt(S(106))} {fmt(S(40))}", stroke=PROBLEM, width=S(2.5)),
        path(f"M {fmt(S(22))} {fmt(S(96))} L {fmt(S(106))} {fmt(S(96))}", stroke=ACCENT, width=S(2.5)),
    ])


# --- the whole set -----------------------------------------------------------------------

def compiled_svgs():
    out = {}
    icon_family(out, "AddTracks", 17, 17, draw_add_tracks)
    icon_family(out, "SaveSession", 17, 17, draw_save)
    icon_family(out, "TextExport", 17, 17, draw_text_export)
    icon_family(out, "Play", 13, 13, draw_play, radius=2)
    icon_family(out, "PresetsMenu", 22, 16, draw_presets_menu)
    icon_family(out, "Eye", 18, 12, lambda w, h, i, s, o: draw_eye(w, h, i, s, o))
    icon_family(out, "EyeOff", 18, 12, lambda w, h, i, s, o: draw_eye(w, h, i, s, o, off=True))
    text_family(out, "Reset", 60, 26, "RESET")
    text_family(out, "Browse", 176, 38, "BROWSE FILES", cap=8)

    for state, st in {"Normal": STATES["Normal"], "Hover": STATES["Hover"], "Down": STATES["Down"]}.items():
        out[f"Feedback{state}"] = svg(13, 13, [backdrop(13, 13, st, 2)] + draw_feedback(13, 13, st["ink"], 1.1, st["alpha"]))
    out["FeedbackHoverRed"] = svg(13, 13, [rect(0.5, 0.5, 12, 12, 2, fill=PROBLEM, opacity=0.35)] + draw_feedback(13, 13, WHITE, 1.1, 1.0))
    out["FeedbackDownRed"] = svg(13, 13, [rect(0.5, 0.5, 12, 12, 2, fill=PROBLEM)] + draw_feedback(13, 13, WHITE, 1.1, 1.0))

    close_looks = {"Normal": (TEXT, 0.6, None), "Hover": (WHITE, 1.0, PROBLEM),
                   "Active": (WHITE, 1.0, ACCENT), "Unavailable": (MUTED, 0.35, None)}
    for state, (ink, op, back) in close_looks.items():
        body = [circle(6, 6, 5.5, fill=back)] if back else [circle(6, 6, 5.5, stroke=ink, width=1, opacity=op)]
        out[f"CloseTrack{state}"] = svg(12, 12, body + draw_cross(12, 12, ink, 1.1, op, inset=4))

    for fam, label in (("Mid", "MID"), ("Side", "SIDE"), ("Stereo", "STEREO")):
        text_family(out, fam, 79, 21, label, states=("Normal", "Hover", "Active", "Unavailable"), cap=6)

    for fam, title in (("Loudness", "LOUDNESS"), ("Peaks", "PEAKS"), ("PhaseStereo", "STEREO"), ("DynamicRange", "DYNAMICS")):
        readout_family(out, fam, title)
    for kind in ("lufs", "peak", "stereo", "dr"):
        emblem_family(out, kind)

    text_family(out, "PresetPreview", 100, 26, "PREVIEW", states=("Normal", "Hover", "Down"))
    text_family(out, "SetUserPreset", 100, 26, "SET USER", states=("Normal", "Hover", "Down"))

    out["TopBar_Background"] = svg(395, 43, [path(poly(TOP_BAR), fill=PANEL), path(poly(TOP_BAR), stroke=STRIP, width=1.5)])
    out["LoudnessMatchHitArea"] = hit_area(137, 38, LOUDNESS_MATCH)
    out["HideEQHitArea"] = hit_area(208, 24, HIDE_EQ)
    out["EQWindowCompareEQHitArea"] = hit_area(222, 35, COMPARE_EQ)
    # The line that the main window's bottom frame takes round the Hide EQ tab.
    out["HideEQTrapezoidPath"] = svg(222, 26, [path(poly([(0, 1), (14, 25), (208, 25), (222, 1)], closed=False), stroke=STRIP, width=2)])

    # Confirm and cancel, buy, and the other text buttons.
    out["OKNormal"] = text_button(80, 28, "OK", TEXT, frame=TEXT, op=0.85)
    out["OKHover"] = text_button(80, 28, "OK", WHITE, frame=WHITE, fill=BLACK, fill_alpha=0.25)
    out["CancelNormal"] = text_button(80, 28, "CANCEL", TEXT, frame=TEXT, op=0.85)
    out["CancelHover"] = text_button(80, 28, "CANCEL", WHITE, frame=WHITE, fill=BLACK, fill_alpha=0.25)
    out["ClickBuyNormal"] = text_button(97, 20, "BUY NOW", WHITE, fill=ACCENT, cap=6)
    out["analysebutton"] = text_button(120, 28, "ANALYSE", WHITE, fill=ACCENT)
    out["analysesetbutton"] = text_button(120, 28, "ANALYSE SET", WHITE, fill=ACCENT)
    out["createtargets"] = text_button(130, 28, "CREATE TARGETS", WHITE, fill=ACCENT)
    out["deleteallbutton"] = text_button(110, 28, "DELETE ALL", TEXT, frame=PROBLEM)
    out["outputsettings"] = text_button(109, 34, "OUTPUT SETTINGS", TEXT, frame=TEXT, op=0.85, cap=6)
    out["settingspopupbutton"] = text_button(73, 35, "", TEXT, frame=TEXT, fill=ACCENT, fill_alpha=0.35)
    out["textbutton"] = text_button(73, 35, "", TEXT, frame=TEXT, op=0.85)

    out["DropTracks"] = svg(57, 57, draw_drop(57, 57, TEXT, 1.2, 0.85))
    out["dropfilestext"] = svg(260, 31, [lettering("DROP AUDIO FILES HERE", 130, 8, 14, TEXT, 1.4, "middle")])
    out["orvanetitle"] = svg(105, 31, [lettering("ORVANE 2", 2, 8, 14, TEXT, 1.5)])
    out["OrvaneLogo"] = svg(120, 24, [waveform_mark(2, 4, 18, 16, TEXT, 1.5, 0.85), lettering("ORVANE", 28, 7, 10, TEXT, 1.3, opacity=0.85)])
    out["OrvaneLogoHover"] = svg(120, 24, [waveform_mark(2, 4, 18, 16, ACCENT_LIGHT, 1.5, 1.0), lettering("ORVANE", 28, 7, 10, WHITE, 1.3)])

    out["X"] = svg(10, 10, draw_cross(10, 10, TEXT, 1.2, 0.7, inset=1.5))
    out["add"] = svg(16, 16, [circle(8, 8, 7.5, stroke=TEXT, width=1, opacity=0.6)] + draw_plus(16, 16, TEXT, 1.2, 0.9))
    out["delete"] = svg(16, 16, [circle(8, 8, 7.5, stroke=PROBLEM, width=1, opacity=0.7)] + draw_minus(16, 16, PROBLEM, 1.2, 0.9))
    out["closeanalysis"] = svg(16, 16, [circle(8, 8, 7.5, stroke=TEXT, width=1, opacity=0.6)] + draw_cross(16, 16, TEXT, 1.2, 0.9, inset=5))
    out["increase"] = svg(28, 28, [rect(0.5, 0.5, 27, 27, 4, stroke=TEXT, width=1, opacity=0.5)] + draw_plus(28, 28, TEXT, 1.3, 0.85, inset=9))
    out["increasehover"] = svg(28, 28, [rect(0.5, 0.5, 27, 27, 4, fill=ACCENT)] + draw_plus(28, 28, WHITE, 1.3, 1.0, inset=9))
    out["decrease"] = svg(28, 28, [rect(0.5, 0.5, 27, 27, 4, stroke=TEXT, width=1, opacity=0.5)] + draw_minus(28, 28, TEXT, 1.3, 0.85, inset=9))
    out["decreasehover"] = svg(28, 28, [rect(0.5, 0.5, 27, 27, 4, fill=ACCENT)] + draw_minus(28, 28, WHITE, 1.3, 1.0, inset=9))
    out["loopdeleteoff"] = svg(16, 16, [circle(8, 8, 7, fill=BLACK, stroke=TEXT, width=1, opacity=0.8)] + draw_cross(16, 16, TEXT, 1.2, 0.8, inset=5))
    out["loopdeleteon"] = svg(16, 16, [circle(8, 8, 7, fill=PROBLEM)] + draw_cross(16, 16, WHITE, 1.2, 1.0, inset=5))
    out["menuarrow"] = svg(8, 5, draw_chevron(8, 5, TEXT, 1.1, 0.85))

    out["settingsnormal"] = svg(17, 17, draw_gear(17, 17, TEXT, 1.1, 0.85))
    out["settingshoverorvane"] = svg(17, 17, draw_gear(17, 17, ACCENT_LIGHT, 1.1, 1.0))
    out["keynormal"] = svg(17, 17, draw_key(17, 17, TEXT, 1.2, 0.85))
    out["keyhoverorvane"] = svg(17, 17, draw_key(17, 17, ACCENT_LIGHT, 1.2, 1.0))
    out["helpnormal"] = svg(17, 17, draw_help(17, 17, TEXT, 1.1, 0.85))
    out["helphoverorvane"] = svg(17, 17, draw_help(17, 17, ACCENT_LIGHT, 1.1, 1.0))

    # The maker's mark beside the link at the bottom right, plain and announcing news.
    def mark(ring, ink):
        hexagon = [(12 + 10.5 * math.cos(math.pi / 6 + i * math.pi / 3), 12 + 10.5 * math.sin(math.pi / 6 + i * math.pi / 3)) for i in range(6)]
        return svg(24, 24, [path(poly(hexagon), stroke=ring, width=1.2), lettering("B", 10, 8, 8, ink, 1.3)])
    out["BrenwickSoundLogo"] = mark(TEXT, TEXT)
    out["BrenwickSoundLogoNew"] = mark(GREEN, WHITE)
    return out


def png_sources():
    """Sources of the PNG images: name -> (svg text, kind), kind 'x2' or '2x' for the twin."""
    out = {}
    for state in ("Normal", "Hover", "Down"):
        out[f"LoudnessMatch{state}"] = (slanted(137, 38, LOUDNESS_MATCH, "LOUDNESS MATCH", SLANT_LOOKS[state], cap=7), "x2")
    for state in ("Normal", "Hover", "Down", "Disabled"):
        chevron = [path("M 34 9.5 L 38 13.5 L 42 9.5", stroke=SLANT_LOOKS[state][3], width=1.2),
                   path("M 166 9.5 L 170 13.5 L 174 9.5", stroke=SLANT_LOOKS[state][3], width=1.2)]
        out[f"HideEQ{state}"] = (slanted(208, 24, HIDE_EQ, "HIDE EQ", SLANT_LOOKS[state], cap=6, extra=chevron), "x2")
    grip = [path("M 96 29.5 L 126 29.5", stroke=MUTED, width=1.2)]
    out["EQWindowCompareEQ"] = (slanted(222, 35, COMPARE_EQ, "COMPARE EQ", SLANT_LOOKS["Normal"], cap=7, extra=grip), "x2")
    out["EQWindowCompareEQHover"] = (slanted(222, 35, COMPARE_EQ, "COMPARE EQ", SLANT_LOOKS["Hover"], cap=7, extra=grip), "x2")
    out["EQWindowSeparatorL"] = (corner(11, 31, True), "x2")
    out["EQWindowSeparatorR"] = (corner(12, 31, False), "x2")
    out["TopBar_Background"] = (svg(395, 43, [path(poly(TOP_BAR), fill=PANEL), path(poly(TOP_BAR), stroke=STRIP, width=1.5)]), "x2")
    for kind in ("addloopcursor", "createloopcursor", "deleteloopcursor", "dragcursor", "playcursor"):
        out[kind] = (cursor(kind), "2x")
    return out


def app_icons():
    """Application icons, drawn at their pixel size: file name -> svg text."""
    return {"icon_128x128@2x": app_icon(256), "icon_512x512@2x": app_icon(1024)}


def write(path_name, text):
    os.makedirs(os.path.dirname(path_name), exist_ok=True)
    with open(path_name, "w", encoding="utf-8") as f:
        f.write(text)


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", "resources")
    for name, text in compiled_svgs().items():
        write(os.path.join(root, "svg", name + ".svg"), text)
    for name, (text, kind) in png_sources().items():
        write(os.path.join(root, "art", kind, name + ".svg"), text)
    for name, text in app_icons().items():
        write(os.path.join(root, "art", "icon", name + ".svg"), text)


if __name__ == "__main__":
    main()
