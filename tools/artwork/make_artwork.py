#!/usr/bin/python3
"""Draws the program's pictures as SVG and rasterises them to PNG.

The SVG files in tools/artwork/svg/ are the sources; the PNG files in resources/pictures/
are what the program's resource set holds. Both are committed, so the build needs no
rasteriser. Run from anywhere:

    tools/artwork/make_artwork.py            # writes svg/ and the PNGs
    tools/artwork/make_artwork.py --svg-only # writes svg/ only

Rasterising needs rsvg-convert (Debian package librsvg2-bin). The output is deterministic:
the same script gives the same files byte for byte.
"""

import math
import pathlib
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
SVG_DIR = HERE / "svg"
PNG_DIR = HERE.parent.parent / "resources" / "pictures"

TRANSPORT_SIZE = 512
FILE_BUTTON_SIZE = 64
LOGO_SIZE = 512

# Symbol colours of the transport buttons when they are down.
ACTIVE_COLOURS = {
    "stop": "#7cc0ff",
    "pause": "#f7bd4a",
    "play": "#46de8c",
    "loop": "#4fd6e3",
    "record": "#ff5050",
}
INACTIVE_SYMBOL = "#56606c"

# Beam lobe colours of the logo; the first three colours of a new track list.
LOBE_COLOURS = ["#ff8a1f", "#22c4ae", "#d452d4"]


def num(value):
    """A coordinate with at most two decimals and no trailing zeros."""
    text = f"{value:.2f}".rstrip("0").rstrip(".")
    return "0" if text == "-0" else text


def document(size, body, defs=""):
    head = (f'<svg xmlns="http://www.w3.org/2000/svg" width="{size}" height="{size}" '
            f'viewBox="0 0 {size} {size}">\n')
    if defs:
        head += f"<defs>\n{defs}</defs>\n"
    return head + body + "</svg>\n"


# Transport buttons -------------------------------------------------------------------

def plate(active):
    """The rounded square behind every transport symbol."""
    if active:
        defs = ('<linearGradient id="plate" x1="0" y1="0" x2="0" y2="1">\n'
                '<stop offset="0" stop-color="#38424f"/><stop offset="1" stop-color="#171d25"/>\n'
                '</linearGradient>\n')
        body = ('<rect x="16" y="16" width="480" height="480" rx="96" fill="url(#plate)" '
                'stroke="#0d1116" stroke-width="12"/>\n'
                '<rect x="40" y="40" width="432" height="432" rx="76" fill="none" '
                'stroke="#ffffff" stroke-opacity="0.10" stroke-width="8"/>\n')
    else:
        defs = ('<linearGradient id="plate" x1="0" y1="0" x2="0" y2="1">\n'
                '<stop offset="0" stop-color="#f4f6f8"/><stop offset="1" stop-color="#cdd3da"/>\n'
                '</linearGradient>\n')
        body = ('<rect x="16" y="16" width="480" height="480" rx="96" fill="url(#plate)" '
                'stroke="#98a1ab" stroke-width="12"/>\n')
    return defs, body


def glow(active, colour):
    """A soft halo behind an active symbol."""
    if not active:
        return "", ""
    defs = ('<radialGradient id="glow" cx="0.5" cy="0.5" r="0.5">\n'
            f'<stop offset="0" stop-color="{colour}" stop-opacity="0.45"/>\n'
            f'<stop offset="1" stop-color="{colour}" stop-opacity="0"/>\n'
            '</radialGradient>\n')
    return defs, '<circle cx="256" cy="256" r="200" fill="url(#glow)"/>\n'


def loop_symbol(colour):
    """A rounded loop with an arrow head on its top and bottom runs, turning clockwise."""
    runs = ('M 216 336 H 186 A 60 60 0 0 1 126 276 V 236 A 60 60 0 0 1 186 176 H 222',
            'M 296 176 H 326 A 60 60 0 0 1 386 236 V 276 A 60 60 0 0 1 326 336 H 290')
    heads = ('M 222 126 L 282 176 L 222 226 Z', 'M 290 286 L 230 336 L 290 386 Z')
    body = ""
    for run, head in zip(runs, heads):
        body += (f'<path d="{run}" fill="none" stroke="{colour}" stroke-width="40" '
                 'stroke-linecap="round" stroke-linejoin="round"/>\n'
                 f'<path d="{head}" fill="{colour}" stroke="{colour}" stroke-width="10" '
                 'stroke-linejoin="round"/>\n')
    return body


def transport_symbol(name, colour):
    if name == "stop":
        return f'<rect x="162" y="162" width="188" height="188" rx="22" fill="{colour}"/>\n'
    if name == "pause":
        return (f'<rect x="166" y="150" width="68" height="212" rx="16" fill="{colour}"/>\n'
                f'<rect x="278" y="150" width="68" height="212" rx="16" fill="{colour}"/>\n')
    if name == "play":
        return (f'<path d="M 196 146 L 384 256 L 196 366 Z" fill="{colour}" stroke="{colour}" '
                'stroke-width="28" stroke-linejoin="round"/>\n')
    if name == "loop":
        return loop_symbol(colour)
    if name == "record":
        return f'<circle cx="256" cy="256" r="104" fill="{colour}"/>\n'
    raise ValueError(name)


def transport_button(name, active):
    colour = ACTIVE_COLOURS[name] if active else INACTIVE_SYMBOL
    plate_defs, plate_body = plate(active)
    glow_defs, glow_body = glow(active, colour)
    return document(TRANSPORT_SIZE, plate_body + glow_body + transport_symbol(name, colour),
                    plate_defs + glow_defs)


# File buttons -----------------------------------------------------------------------

def save_file():
    """A sheet with an arrow down into a tray."""
    body = ('<path d="M 14 4 H 38 L 50 16 V 40 H 14 Z" fill="#ffffff" stroke="#5f6b78" '
            'stroke-width="3" stroke-linejoin="round"/>\n'
            '<path d="M 38 4 V 16 H 50" fill="none" stroke="#5f6b78" stroke-width="3" '
            'stroke-linejoin="round"/>\n'
            '<path d="M 32 18 V 44" stroke="#2f7fd8" stroke-width="7" stroke-linecap="round"/>\n'
            '<path d="M 20 36 L 32 50 L 44 36 Z" fill="#2f7fd8" stroke="#2f7fd8" stroke-width="3" '
            'stroke-linejoin="round"/>\n'
            '<path d="M 8 48 V 58 H 56 V 48" fill="none" stroke="#3b4550" stroke-width="5" '
            'stroke-linecap="round" stroke-linejoin="round"/>\n')
    return document(FILE_BUTTON_SIZE, body)


def load_file():
    """An open folder with a sheet coming out of it."""
    body = ('<path d="M 6 14 H 24 L 29 19 H 54 V 54 H 6 Z" fill="#d99a2b" stroke="#8a5c12" '
            'stroke-width="3" stroke-linejoin="round"/>\n'
            '<path d="M 18 8 H 44 V 40 H 18 Z" fill="#ffffff" stroke="#5f6b78" stroke-width="3" '
            'stroke-linejoin="round"/>\n'
            '<path d="M 23 16 H 39 M 23 23 H 39 M 23 30 H 35" stroke="#9aa5b1" stroke-width="3" '
            'stroke-linecap="round"/>\n'
            '<path d="M 6 54 L 14 28 H 60 L 54 54 Z" fill="#f3bd4e" stroke="#8a5c12" '
            'stroke-width="3" stroke-linejoin="round"/>\n')
    return document(FILE_BUTTON_SIZE, body)


# Logo and application icon ---------------------------------------------------------

def capsule_directions():
    """32 directions: the 12 vertices and 20 face centres of an icosahedron."""
    phi = (1.0 + math.sqrt(5.0)) / 2.0
    vertices = []
    for a in (-1.0, 1.0):
        for b in (-phi, phi):
            vertices += [(0.0, a, b), (a, b, 0.0), (b, 0.0, a)]
    vertices = [tuple(c / math.sqrt(1.0 + phi * phi) for c in v) for v in vertices]
    edge = min(math.dist(vertices[0], v) for v in vertices[1:])
    faces = set()
    for i, a in enumerate(vertices):
        for j, b in enumerate(vertices):
            for k, c in enumerate(vertices):
                if i < j < k and all(abs(math.dist(p, q) - edge) < 1e-9
                                     for p, q in ((a, b), (b, c), (a, c))):
                    faces.add((i, j, k))
    centres = []
    for i, j, k in sorted(faces):
        s = [vertices[i][n] + vertices[j][n] + vertices[k][n] for n in range(3)]
        length = math.sqrt(sum(c * c for c in s))
        centres.append(tuple(c / length for c in s))
    return vertices + centres


def rotate(p, yaw, pitch):
    x, y, z = p
    x, z = x * math.cos(yaw) + z * math.sin(yaw), -x * math.sin(yaw) + z * math.cos(yaw)
    y, z = y * math.cos(pitch) - z * math.sin(pitch), y * math.sin(pitch) + z * math.cos(pitch)
    return x, y, z


def lobe_path(cx, cy, angle, length):
    """A narrow beam pattern, ((1 + cos t) / 2)^8, around `angle` (degrees, 0 to the right)."""
    points = []
    for step in range(0, 361, 2):
        t = math.radians(step)
        r = length * ((1.0 + math.cos(t)) / 2.0) ** 8
        a = t + math.radians(angle)
        points.append((cx + r * math.cos(a), cy - r * math.sin(a)))
    return "M " + " L ".join(f"{num(x)} {num(y)}" for x, y in points) + " Z"


def logo():
    # Centred on the whole picture: the lobe at the bottom reaches further than the two above.
    cx, cy, radius = 256.0, 212.0, 118.0
    defs = ('<radialGradient id="sphere" cx="0.38" cy="0.32" r="0.75">\n'
            '<stop offset="0" stop-color="#7d93b0"/><stop offset="0.55" stop-color="#34465e"/>\n'
            '<stop offset="1" stop-color="#141c27"/>\n'
            '</radialGradient>\n')
    body = ""
    for colour, angle in zip(LOBE_COLOURS, (30.0, 150.0, 270.0)):
        body += (f'<path d="{lobe_path(cx, cy, angle, 250.0)}" fill="{colour}" fill-opacity="0.7" '
                 f'stroke="{colour}" stroke-width="8" stroke-linejoin="round"/>\n')
    body += (f'<circle cx="{num(cx)}" cy="{num(cy)}" r="{num(radius)}" fill="url(#sphere)" '
             'stroke="#0e141c" stroke-width="8"/>\n')
    body += (f'<ellipse cx="{num(cx)}" cy="{num(cy)}" rx="{num(radius)}" ry="{num(radius * 0.3)}" '
             'fill="none" stroke="#ffffff" stroke-opacity="0.18" stroke-width="4"/>\n')
    capsules = [rotate(p, math.radians(20.0), math.radians(-25.0)) for p in capsule_directions()]
    for x, y, z in sorted(capsules, key=lambda p: p[2]):
        if z <= 0.05:
            continue
        size = 7.0 + 9.0 * z
        body += (f'<circle cx="{num(cx + radius * 0.9 * x)}" cy="{num(cy - radius * 0.9 * y)}" '
                 f'r="{num(size)}" fill="#dfe7f0" fill-opacity="{num(0.45 + 0.55 * z)}" '
                 'stroke="#0e141c" stroke-width="3"/>\n')
    return document(LOGO_SIZE, body, defs)


# Output -----------------------------------------------------------------------------

def pictures():
    result = {"velkor": (logo(), LOGO_SIZE),
              "saveFile": (save_file(), FILE_BUTTON_SIZE),
              "loadFile": (load_file(), FILE_BUTTON_SIZE)}
    for name in ACTIVE_COLOURS:
        result[name + "Inactive"] = (transport_button(name, False), TRANSPORT_SIZE)
        result[name + "Active"] = (transport_button(name, True), TRANSPORT_SIZE)
    return result


def main(argv):
    svg_only = "--svg-only" in argv[1:]
    SVG_DIR.mkdir(parents=True, exist_ok=True)
    PNG_DIR.mkdir(parents=True, exist_ok=True)
    for name, (svg, size) in sorted(pictures().items()):
        svg_path = SVG_DIR / f"{name}.svg"
        svg_path.write_text(svg, encoding="ascii")
        if svg_only:
            continue
        png_path = PNG_DIR / f"{name}.png"
        try:
            subprocess.run(["rsvg-convert", "--width", str(size), "--height", str(size),
                            "--output", str(png_path), str(svg_path)], check=True)
        except FileNotFoundError:
            sys.exit("make_artwork: rsvg-convert not found (Debian package librsvg2-bin)")
        print(f"wrote {png_path.relative_to(HERE.parent.parent)}")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
