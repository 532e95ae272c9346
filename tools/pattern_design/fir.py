"""Linear-phase FIR design by weighted least squares on a dense frequency grid."""

import numpy as np

from model import FS

TAPS = 251
HALF = (TAPS - 1) // 2
GRID = np.linspace(0.0, FS / 2, 4097)


def amplitude(taps, f):
    """Zero-phase amplitude of a symmetric FIR at frequencies f (Hz), in double precision."""
    taps = np.asarray(taps, dtype=np.float64)
    centre = (len(taps) - 1) / 2
    k = np.arange(len(taps)) - centre
    return np.cos(2 * np.pi * np.outer(np.asarray(f, dtype=float), k) / FS) @ taps


def design(target, zero_dc, flat_from=2500.0):
    """Symmetric 251-tap filter whose amplitude follows target(f); the region from
    flat_from up, where the row must be flat, is weighted heavily so that it stays within
    a small fraction of a per cent."""
    f = GRID
    weight = np.where(f >= flat_from, 30.0, 1.0)
    basis = np.cos(2 * np.pi * np.outer(f, np.arange(HALF + 1)) / FS)
    a = basis * weight[:, None]
    b = target(f) * weight
    if zero_dc:
        # Amplitude at 0 Hz is the sum of the basis coefficients: drop the last one.
        a = a[:, :-1] - basis[:, -1:] * weight[:, None]
    coef, *_ = np.linalg.lstsq(a, b, rcond=None)
    if zero_dc:
        coef = np.append(coef, -coef.sum())
    taps = np.empty(TAPS)
    taps[HALF] = coef[0]
    taps[HALF + 1:] = coef[1:] / 2
    taps[:HALF] = taps[HALF + 1:][::-1]
    return finish(taps, zero_dc)


def finish(taps, zero_dc):
    """Rounds to float32, keeping exact symmetry and, where asked, a zero sum."""
    t = taps.astype(np.float32)
    t[:HALF] = t[HALF + 1:][::-1]
    if zero_dc:
        side = np.sum(t[:HALF].astype(np.float64)) * 2
        t[HALF] = np.float32(-side)
    return t
