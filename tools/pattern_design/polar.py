"""Polar curves and beam widths of a filter set.

After the modal equalisers and steering, the order-n signal of a plane wave from angle
gamma off the beam axis carries sqrt((2n+1)/(4 pi)) * P_n(cos gamma); the beam is the sum
of those through the order filters.  A pattern's polar curve is the magnitude of that
beam relative to its largest magnitude at the same frequency, averaged with equal weight
per hertz over 850 Hz to 3 kHz, then scaled so that its largest entry is 1.

The band covers the frequencies where the beam's shape still changes with frequency.
Its upper edge is where every row of every pattern reaches its plateau (order 3 is in
full from 3 kHz at every "WNG" value); above it the shape is the plateau's at every
frequency, and how much of that were included would be an arbitrary weight on the ideal
shape.  An upper edge of 4 kHz, for instance, diluted the transition band most where it
lies highest, "hyper3" at 12 (order 3 arrives between 2 and 3 kHz), and left that curve
3.5 degrees narrower than measured.  The lower edge, 850 Hz, is the one fitted to the
measured polar samples and beam widths of all patterns together (the error is flat
between 800 and 900 Hz); a lower edge broadens the curves of the high parameter values.
"""

import numpy as np
from scipy.special import eval_legendre

from fir import amplitude

POINTS = 73  # every 5 degrees, 0 to 360 inclusive
BAND = np.linspace(850.0, 3000.0, 431)  # 5 Hz steps


def beam(rows, f, gamma_deg):
    """Beam response (len(f) x len(gamma)) of four order filters."""
    amps = np.array([amplitude(r, f) for r in rows])
    c = np.cos(np.radians(gamma_deg))
    legendre = np.array([np.sqrt((2 * n + 1) / (4 * np.pi)) * eval_legendre(n, c)
                         for n in range(len(rows))])
    return amps.T @ legendre


def polar_curve(rows):
    half = np.arange(37) * 5.0
    b = np.abs(beam(rows, BAND, half))
    mag = (b / b.max(axis=1, keepdims=True)).mean(axis=0)
    mag = mag / mag.max()
    full = np.concatenate([mag, mag[-2::-1]])
    return full.astype(np.float32)


def beam_width(curve):
    """Full width in degrees between the -3 dB points around the axis; 360 for no beam
    (nothing falls by 3 dB, or the axis is not a loud direction, as for the ring)."""
    curve = np.asarray(curve, dtype=float)
    level = curve[0] / np.sqrt(2.0)
    if curve[0] < 0.5 or np.all(curve[:37] >= level):
        return 360.0
    i = int(np.argmax(curve[:37] < level))
    x0, x1 = 5.0 * (i - 1), 5.0 * i
    y0, y1 = curve[i - 1], curve[i]
    return 2.0 * (x0 + (x1 - x0) * (y0 - level) / (y0 - y1))
