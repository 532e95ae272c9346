#!/usr/bin/python3
"""Designs the order filters and polar curves of the twelve beam patterns and writes them,
with the listed crossover and equaliser filters, as static C++ tables into
beamformer/tables/, and one picture per family into docs/patterns/.

Usage: /usr/bin/python3 tools/pattern_design/design.py [repository root]
Deterministic: the same inputs give the same files.
"""

import os
import sys

import numpy as np

import emit
import pictures
from fir import TAPS, design
from model import SHAPES, WNG_VALUES, FilterSet
from polar import beam_width, polar_curve

# Index order of the factory; the name used in table identifiers; parameter values.
PATTERNS = (
    ("omni", "Omni", (0,)),
    ("super3", "Super3", WNG_VALUES),
    ("super2", "Super2", WNG_VALUES),
    ("super1", "Super1", (0,)),
    ("hyper3", "Hyper3", WNG_VALUES),
    ("hyper2", "Hyper2", WNG_VALUES),
    ("hyper1", "Hyper1", (0,)),
    ("card3", "Card3", WNG_VALUES),
    ("card2", "Card2", WNG_VALUES),
    ("card1", "Card1", (0,)),
    ("dipole1", "Dipole1", (0,)),
    ("torus", "Torus", (0,)),
)

OMNI_TAP = np.float32(3.54089)


def filter_set(name, wng):
    """Four order filters (251 taps each) of a pattern at one parameter value."""
    if name == "omni":
        return [np.array([OMNI_TAP], dtype=np.float32)] + [np.zeros(1, np.float32)] * 3
    model = FilterSet(name, wng)
    rows = []
    for n in range(4):
        used = SHAPES[name][n] != 0.0 or (name == "dipole1" and n == 0)
        if not used:
            rows.append(np.zeros(TAPS, np.float32))
            continue
        zero_dc = n >= 2 or name == "torus"
        # The order-0 row of "dipole1" must be flat at 0 from 500 Hz up.
        flat_from = 500.0 if name == "dipole1" and n == 0 else 2500.0
        rows.append(design(lambda f, n=n: model.target(f)[n], zero_dc, flat_from))
    return rows


def main(root):
    data = {}
    for name, ident, values in PATTERNS:
        sets = [filter_set(name, v) for v in values]
        polars = [polar_curve(rows) for rows in sets]
        data[name] = {"ident": ident, "values": values, "sets": sets, "polar": polars}
        widths = ", ".join("%.1f" % beam_width(p) for p in polars)
        print("%-8s -3 dB widths of the polar curves: %s" % (name, widths))
    emit.write_tables(os.path.join(root, "beamformer", "tables"), PATTERNS, data)
    pictures.write_all(os.path.join(root, "docs", "patterns"), data)


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else
         os.path.normpath(os.path.join(os.path.dirname(__file__), "..", "..")))
