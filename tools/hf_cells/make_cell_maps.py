#!/usr/bin/env python3
"""Cell maps of the high-frequency section.

Writes beamformer/tables/HfCellMaps.cpp: for every whole-degree direction (theta 0..180,
phi 0..360) the cell that serves it, in two divisions of the sphere round the 32 face
centres of a truncated icosahedron (the ideal capsule positions):

  type 1: the nearest capsule by great-circle angle; an exact tie goes to the lower index.
  type 2: the spherical triangle (one pentagon-centre and two hexagon-centre capsules)
          that contains the direction.

A direction exactly on a type 2 border belongs to the triangle that lies a hair towards
larger phi (towards smaller phi in column 360, so that column 360 closes the seam from
the other side), and on the poles, towards the column's own azimuth.

Deterministic: run from the repository root, no arguments.
    /usr/bin/python3 tools/hf_cells/make_cell_maps.py
"""

import math
import os

import numpy as np

ROWS, COLUMNS = 181, 361

# Capsule directions (theta, phi) in degrees, to four decimals; capsule index = channel.
CAPSULE_ANGLES = [
    (69.0948, 0.0), (90.0, 31.7175), (110.9052, 0.0), (90.0, 328.2825),
    (31.7175, 0.0), (54.7356, 45.0), (90.0, 69.0948), (125.2644, 45.0),
    (148.2825, 0.0), (125.2644, 315.0), (90.0, 290.9052), (54.7356, 315.0),
    (20.9052, 90.0), (58.2825, 90.0), (121.7175, 90.0), (159.0948, 90.0),
    (69.0948, 180.0), (90.0, 211.7175), (110.9052, 180.0), (90.0, 148.2825),
    (31.7175, 180.0), (54.7356, 225.0), (90.0, 249.0948), (125.2644, 225.0),
    (148.2825, 180.0), (125.2644, 135.0), (90.0, 110.9052), (54.7356, 135.0),
    (20.9052, 270.0), (58.2825, 270.0), (121.7175, 270.0), (159.0948, 270.0),
]

# The 60 triangles, as three capsules each (rows 0, 1, 2 of the cell list).
TRIANGLES = [
    (15, 8, 7), (16, 18, 19), (21, 17, 22), (4, 28, 12), (16, 20, 27), (13, 26, 6),
    (21, 16, 20), (15, 7, 14), (9, 2, 8), (9, 2, 3), (27, 19, 26), (7, 6, 1),
    (18, 24, 25), (24, 25, 15), (27, 13, 26), (29, 11, 10), (0, 1, 2), (10, 30, 9),
    (1, 5, 0), (14, 25, 26), (22, 29, 10), (20, 21, 28), (23, 22, 30), (24, 15, 31),
    (20, 28, 12), (11, 0, 4), (6, 7, 14), (1, 2, 7), (16, 18, 17), (29, 21, 22),
    (14, 25, 15), (28, 29, 11), (28, 4, 11), (3, 10, 9), (25, 26, 19), (24, 23, 31),
    (21, 17, 16), (10, 22, 30), (12, 13, 5), (13, 5, 6), (20, 27, 12), (23, 22, 17),
    (0, 4, 5), (4, 12, 5), (2, 3, 0), (12, 27, 13), (8, 31, 9), (24, 18, 23),
    (30, 31, 9), (29, 21, 28), (2, 8, 7), (0, 11, 3), (11, 3, 10), (19, 18, 25),
    (8, 15, 31), (26, 14, 6), (23, 30, 31), (17, 18, 23), (16, 19, 27), (1, 5, 6),
]

BORDER_NUDGE = 1e-7  # degrees


def unit(theta, phi):
    t, p = math.radians(theta), math.radians(phi)
    return np.array([math.sin(t) * math.cos(p), math.sin(t) * math.sin(p), math.cos(t)])


def ideal_centres():
    """The exact face centres: icosahedron vertices (pentagons) and dodecahedron
    vertices (hexagons), each capsule snapped to the nearest of them."""
    g = (1 + math.sqrt(5)) / 2
    candidates = []
    def cyclic(a, b):
        # Both chiralities: the capsule table says which of them the array uses.
        return [(0, a, b), (a, b, 0), (b, 0, a), (0, b, a), (b, a, 0), (a, 0, b)]

    for a in (-1, 1):
        for b in (-g, g):
            candidates += cyclic(a, b)
    for a in (-1, 1):
        for b in (-1, 1):
            for c in (-1, 1):
                candidates.append((a, b, c))
    for a in (-1 / g, 1 / g):
        for b in (-g, g):
            candidates += cyclic(a, b)
    candidates = [np.array(v) / np.linalg.norm(v) for v in candidates]
    centres = []
    for theta, phi in CAPSULE_ANGLES:
        u = unit(theta, phi)
        best = max(candidates, key=lambda v: float(v @ u))
        assert math.degrees(math.acos(min(1.0, float(best @ u)))) < 1e-3
        centres.append(best)
    return np.array(centres)


def nearest_capsule(centres, d):
    dots = centres @ d
    top = dots.max()
    return int(np.flatnonzero(dots >= top - 1e-12)[0])


def edge_normals(centres):
    """Unit normals of the three edge planes of every triangle, pointing inwards:
    shape (triangles, 3, 3)."""
    normals = np.zeros((len(TRIANGLES), 3, 3))
    for i, (a, b, c) in enumerate(TRIANGLES):
        va, vb, vc = centres[a], centres[b], centres[c]
        orient = 1.0 if np.dot(np.cross(va, vb), vc) > 0 else -1.0
        for e, (p, q) in enumerate(((va, vb), (vb, vc), (vc, va))):
            n = np.cross(p, q)
            normals[i, e] = orient * n / np.linalg.norm(n)
    return normals


def containing_triangle(normals, theta, phi):
    """The triangle whose smallest signed distance to its edges is largest: the one
    that contains the (nudged) direction."""
    t = min(max(theta, BORDER_NUDGE), 180 - BORDER_NUDGE)
    p = phi - BORDER_NUDGE if phi == 360 else phi + BORDER_NUDGE
    margins = (normals @ unit(t, p)).min(axis=1)
    best = int(np.argmax(margins))
    assert margins[best] > 0, (theta, phi)
    return best


def build_maps(centres):
    normals = edge_normals(centres)
    nearest = np.zeros((ROWS, COLUMNS), dtype=int)
    triangle = np.zeros((ROWS, COLUMNS), dtype=int)
    for theta in range(ROWS):
        for phi in range(COLUMNS):
            nearest[theta, phi] = nearest_capsule(centres, unit(theta, phi % 360))
            triangle[theta, phi] = containing_triangle(normals, theta, phi)
    return nearest, triangle


def check(nearest, triangle):
    outside = sum(1 for t in range(ROWS) for p in range(COLUMNS)
                  if nearest[t, p] not in TRIANGLES[triangle[t, p]])
    print(f"directions whose nearest capsule is not a corner of their triangle: {outside}")


def int_rows(values, per_line):
    flat = [str(int(v)) for v in values]
    return "\n".join("    " + ", ".join(flat[i:i + per_line]) + ","
                     for i in range(0, len(flat), per_line))


def float_rows(values):
    return "\n".join(f"    {v:.12f}," for v in values)


def emit(path, centres, nearest, triangle):
    theta = [math.degrees(math.acos(max(-1.0, min(1.0, v[2])))) for v in centres]
    phi = [math.degrees(math.atan2(v[1], v[0])) % 360.0 for v in centres]
    phi = [0.0 if abs(p - 360.0) < 1e-9 else p for p in phi]
    triangle_list = [TRIANGLES[c][r] for r in range(3) for c in range(len(TRIANGLES))]
    text = f"""// Generated by tools/hf_cells/make_cell_maps.py; do not edit by hand.
#include "beamformer/tables/HfCellMaps.h"

namespace HfCells {{

const double kCentreTheta[kCapsules] = {{
{float_rows(theta)}
}};

const double kCentrePhi[kCapsules] = {{
{float_rows(phi)}
}};

const int32_t kNearestList[kNearestCells] = {{
{int_rows(range(32), 16)}
}};

const int32_t kTriangleList[3 * kTriangleCells] = {{
{int_rows(triangle_list, 20)}
}};

const int32_t kNearestMap[kMapSize] = {{
{int_rows(nearest.flatten(), COLUMNS)}
}};

const int32_t kTriangleMap[kMapSize] = {{
{int_rows(triangle.flatten(), COLUMNS)}
}};

}}  // namespace HfCells
"""
    with open(path, "w") as f:
        f.write(text)


def main():
    centres = ideal_centres()
    nearest, triangle = build_maps(centres)
    check(nearest, triangle)
    emit(os.path.join("beamformer", "tables", "HfCellMaps.cpp"), centres, nearest, triangle)


if __name__ == "__main__":
    main()
