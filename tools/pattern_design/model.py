"""Frequency-domain model of the pattern filter sets.

Every order filter of a pattern is a blend, across frequency, of the flat responses
("plateaus") of the patterns of its family: at frequency f the rows of a third-order
pattern equal w1(f) * plateaus(order-1 sibling) + w2(f) * plateaus(order-2 sibling)
+ w3(f) * plateaus(itself).  The weights come from two transition curves, T2 (share of
order 2 and up) and T3 (share of order 3), and a common low-frequency sag s(f):

    w1 = s * (1 - T2),  w2 = s * (T2 - T3),  w3 = s * T3.

The "WNG" parameter moves the transitions: a larger value keeps the high orders down
to a higher frequency, which costs directivity at low frequencies but amplifies less
sensor noise through the modal equalisers.
"""

import math

import numpy as np
from scipy.interpolate import PchipInterpolator

FS = 44100.0
WNG_VALUES = (-12, -6, 0, 6, 12)


def plateau_gain(order):
    """Plateau of an order filter per unit Legendre coefficient: sqrt(4 pi / (2n + 1))."""
    return math.sqrt(4.0 * math.pi / (2 * order + 1))


# Legendre coefficients (a0..a3) of each beam shape; the filters' plateaus are
# a_n * plateau_gain(n).
SHAPES = {
    "omni": (1.0, 0.0, 0.0, 0.0),
    "super3": (0.1753, 0.3822, 0.3177, 0.1247),
    "super2": (0.2342, 0.4672, 0.2984, 0.0),
    "super1": (0.3640, 0.6359, 0.0, 0.0),
    "hyper3": (1 / 16, 3 / 16, 5 / 16, 7 / 16),
    "hyper2": (1 / 9, 3 / 9, 5 / 9, 0.0),
    "hyper1": (1 / 4, 3 / 4, 0.0, 0.0),
    "card3": (1 / 4, 9 / 20, 1 / 4, 1 / 20),
    "card2": (1 / 3, 1 / 2, 1 / 6, 0.0),
    "card1": (1 / 2, 1 / 2, 0.0, 0.0),
    "dipole1": (0.0, 1.0, 0.0, 0.0),
    "torus": (2 / 3, 0.0, -2 / 3, 0.0),
}


def plateaus(name):
    return np.array([a * plateau_gain(n) for n, a in enumerate(SHAPES[name])])


# Common low-frequency sag of the weights: 1 from 400 Hz up, down to 0.85 at the bottom.
# The anchors below 100 Hz sit slightly under the measured gains (0.85 at 30 Hz, 0.856
# at 50 Hz, 0.882 at 100 Hz) because 251 taps cannot follow the bend there and the
# filters come out that much higher.
_SAG = PchipInterpolator([0, 30, 50, 100, 200, 300, 400, 22050],
                         [0.846, 0.847, 0.853, 0.881, 0.950, 0.993, 1.0, 1.0])


def sag(f):
    return _SAG(np.asarray(f, dtype=float))


class Transition:
    """A monotone-shaped curve from 0 at 0 Hz to 1, through anchor points, interpolated
    in log frequency.  Below its first anchor it rises as f squared, so the order it
    brings in has no gain at 0 Hz."""

    def __init__(self, freqs, values):
        self.freqs = np.asarray(freqs, dtype=float)
        self.values = np.clip(np.asarray(values, dtype=float), 0.0, 1.0)
        self._curve = PchipInterpolator(np.log(self.freqs), self.values)

    def __call__(self, f, warp=1.0):
        f = np.asarray(f, dtype=float) * warp
        out = np.empty_like(f)
        low = f < self.freqs[0]
        high = f > self.freqs[-1]
        mid = ~(low | high)
        out[low] = self.values[0] * (f[low] / self.freqs[0]) ** 2
        out[high] = self.values[-1]
        out[mid] = self._curve(np.log(f[mid]))
        return np.clip(out, 0.0, 1.0)


# Weights w1/w2/w3 of the measured filter sets, at these frequencies.
WEIGHT_FREQS = (200, 300, 500, 700, 1000, 1400, 2000, 3000)
WEIGHT_TABLE = {
    ("card3", -12): "0.28/0.55/0.12 0.09/0.59/0.31 0.01/0.19/0.80 0.00/0.01/0.99 "
                    "0.01/0.01/1.00 0.00/0.00/1.00 0.01/0.01/1.00 0.00/0.00/1.00",
    ("card3", 0): "0.63/0.32/0.00 0.46/0.51/0.02 0.11/0.66/0.23 0.00/0.34/0.66 "
                  "0.01/0.01/0.99 0.00/0.00/1.00 0.00/0.00/1.00 0.00/0.00/1.00",
    ("card3", 12): "0.64/0.31/0.00 0.50/0.49/0.00 0.30/0.70/0.00 0.28/0.72/0.00 "
                   "0.08/0.64/0.29 0.00/0.09/0.91 0.00/0.00/1.00 0.00/0.00/1.00",
    ("hyper3", -12): "0.63/0.32/0.00 0.44/0.55/0.02 0.07/0.80/0.12 0.00/0.63/0.37 "
                     "0.00/0.13/0.88 0.00/0.00/1.00 0.00/0.00/1.00 0.00/0.00/1.00",
    ("hyper3", 0): "0.85/0.08/0.00 0.84/0.15/0.00 0.62/0.38/0.00 0.29/0.69/0.02 "
                   "0.01/0.78/0.21 0.00/0.33/0.67 0.00/0.00/1.00 0.00/0.00/1.00",
    ("hyper3", 12): "0.85/0.08/0.00 0.86/0.13/0.00 0.81/0.19/0.00 0.84/0.17/0.00 "
                    "0.71/0.29/0.00 0.33/0.66/0.00 0.00/0.60/0.40 0.00/0.00/1.00",
    ("super3", -12): "0.44/0.48/0.03 0.22/0.67/0.11 0.01/0.50/0.48 0.00/0.11/0.89 "
                     "0.00/0.01/1.00 0.00/0.00/1.00 0.00/0.00/1.00 0.00/0.00/1.00",
    ("super3", 0): "0.78/0.17/0.00 0.69/0.30/0.00 0.32/0.64/0.04 0.04/0.70/0.26 "
                   "0.00/0.22/0.79 0.00/0.00/1.00 0.00/0.00/1.00 0.00/0.00/1.00",
    ("super3", 12): "0.79/0.16/0.00 0.73/0.27/0.00 0.62/0.38/0.00 0.61/0.39/0.00 "
                    "0.39/0.60/0.01 0.02/0.55/0.43 0.00/0.01/1.00 0.00/0.00/1.00",
}


def weight_table(name, wng):
    rows = [tuple(float(v) for v in cell.split("/")) for cell in WEIGHT_TABLE[(name, wng)].split()]
    return np.array(rows)


# Frequency (Hz) at which a row reaches half its plateau, per "WNG" value.
HALF_PLATEAU = {
    ("card3", 3): (380, 480, 630, 800, 1110),
    ("card3", 2): (200, 280, 390, 420, 770),
    ("card2", 2): (160, 210, 280, 290, 300),
    ("hyper3", 3): (780, 990, 1260, 1620, 2120),
    ("hyper3", 2): (180, 280, 430, 510, 990),
    ("hyper2", 2): (270, 400, 570, 810, 1220),
    ("super3", 3): (510, 650, 840, 1090, 1440),
    ("super3", 2): (200, 300, 430, 510, 930),
    ("super2", 2): (190, 280, 410, 480, 900),
}

# Measured magnitudes of some rows (order -> values at SAMPLE_FREQS).
SAMPLE_FREQS = (50, 100, 200, 500, 1000, 2000, 4000, 8000)
SAMPLE_ROWS = {
    ("card3", -12): {0: (1.337, 1.328, 1.273, 0.946, 0.887, 0.887, 0.886, 0.886),
                     1: (0.875, 0.900, 0.960, 0.942, 0.922, 0.922, 0.921, 0.921),
                     2: (0.018, 0.066, 0.192, 0.366, 0.400, 0.398, 0.396, 0.397),
                     3: (0.000, 0.002, 0.008, 0.053, 0.067, 0.067, 0.067, 0.067)},
    ("card3", 0): {0: (1.451, 1.472, 1.503, 1.174, 0.890, 0.887, 0.886, 0.886),
                   1: (0.876, 0.903, 0.972, 0.999, 0.923, 0.922, 0.921, 0.921),
                   2: (0.007, 0.026, 0.084, 0.266, 0.397, 0.397, 0.396, 0.397),
                   3: (0.000, 0.000, 0.000, 0.016, 0.066, 0.067, 0.067, 0.067)},
    ("card3", 12): {0: (1.450, 1.472, 1.508, 1.357, 1.146, 0.888, 0.886, 0.887),
                    1: (0.876, 0.903, 0.973, 1.023, 0.995, 0.922, 0.921, 0.921),
                    2: (0.007, 0.026, 0.082, 0.184, 0.282, 0.397, 0.396, 0.396),
                    3: (0.000, 0.000, 0.000, 0.000, 0.019, 0.067, 0.067, 0.067)},
    ("card1", 0): {0: (1.518, 1.563, 1.684, 1.772, 1.774, 1.773, 1.772, 1.773),
                   1: (0.876, 0.903, 0.973, 1.023, 1.024, 1.024, 1.023, 1.023)},
    ("torus", 0): {0: (0.017, 0.063, 0.199, 0.769, 2.287, 2.365, 2.362, 2.364),
                   2: (0.008, 0.028, 0.089, 0.344, 1.023, 1.058, 1.057, 1.057)},
    ("dipole1", 0): {0: (0.618, 0.536, 0.296, 0.002, 0.001, 0.000, 0.000, 0.000),
                     1: (1.396, 1.496, 1.774, 2.048, 2.049, 2.048, 2.046, 2.047)},
}

FAMILY = {"card": ("card1", "card2", "card3"),
          "hyper": ("hyper1", "hyper2", "hyper3"),
          "super": ("super1", "super2", "super3")}


def family_of(name):
    return FAMILY[name.rstrip("123")]


def blend(name, f, t2, t3):
    """Rows (4 x len(f)) of a family pattern for given transition values."""
    p1, p2, p3 = (plateaus(n) for n in family_of(name))
    s = sag(f)
    w = np.stack([s * (1 - t2), s * (t2 - t3), s * t3])
    return np.outer(p1, w[0]) + np.outer(p2, w[1]) + np.outer(p3, w[2])


def _solve_low_transitions(name, wng):
    """T2 and T3 at 50 and 100 Hz from the measured rows of orders 2 and 3."""
    p2, p3 = plateaus(family_of(name)[1]), plateaus(family_of(name)[2])
    rows = SAMPLE_ROWS[(name, wng)]
    out = []
    for i, f in enumerate(SAMPLE_FREQS[:2]):
        s = float(sag(f))
        t3 = rows[3][i] / (s * p3[3])
        t2 = (rows[2][i] / s - t3 * p3[2]) / p2[2] + t3
        out.append((f, max(t2, 1e-4), max(t3, 1e-5)))
    return out


def _clean(t):
    """Rounded table values made monotone, with 0.98 and up taken as full."""
    t = np.maximum.accumulate(np.asarray(t, dtype=float))
    return np.where(t >= 0.98, 1.0, t)


def _tabulated_transitions(name, wng):
    table = weight_table(name, wng)
    total = table.sum(axis=1)
    t2 = (table[:, 1] + table[:, 2]) / total
    t3 = table[:, 2] / total
    freqs = list(WEIGHT_FREQS)
    if (name, wng) in SAMPLE_ROWS:
        low = _solve_low_transitions(name, wng)
        freqs = [f for f, _, _ in low] + freqs
        t2 = np.concatenate([[a for _, a, _ in low], t2])
        t3 = np.concatenate([[b for _, _, b in low], t3])
    t2, t3 = _clean(t2), _clean(t3)
    t2 = np.maximum(t2, t3)
    freqs = np.array(freqs, dtype=float)
    if t3[-2] < 0.98:
        # The last step to full order must be complete a little below 3 kHz, so that
        # the filters are flat from there.
        freqs[-1] = 2500.0
    # Keep T3 a clean rise: start it where it is first measured above zero.
    first = max(0, int(np.argmax(t3 > 0.0)) - 1)
    return Transition(freqs, t2), Transition(freqs[first:], np.maximum(t3[first:], 1e-5))


def half_plateau(f, row, plateau):
    """First frequency at which |row| reaches half of |plateau| (linear interpolation)."""
    mag = np.abs(row) - 0.5 * abs(plateau)
    i = int(np.argmax(mag >= 0))
    return f[i - 1] + (f[i] - f[i - 1]) * (-mag[i - 1]) / (mag[i] - mag[i - 1])


def _solve_warp(function, target, lo=0.05, hi=20.0):
    """Warp factor r (log bisection) that brings function(r) to target; function falls in r."""
    for _ in range(80):
        mid = math.sqrt(lo * hi)
        if function(mid) > target:
            lo = mid
        else:
            hi = mid
    return math.sqrt(lo * hi)


GRID = np.linspace(1.0, 8000.0, 16000)


class FilterSet:
    """Target amplitude of the four order filters of one pattern at one parameter value."""

    def __init__(self, name, wng, with_dip=True):
        self.name, self.wng = name, wng
        self.order = max(n for n, a in enumerate(SHAPES[name]) if a != 0.0)
        self.t2 = self.t3 = None
        self.warp2 = self.warp3 = 1.0
        self.dip0 = None
        if name.startswith(("card", "hyper", "super")) and self.order >= 2:
            self._make_transitions()
            if name == "card3" and with_dip:
                self._make_order0_dip()

    def _make_transitions(self):
        name, wng = self.name, self.wng
        family = family_of(name)
        if self.order == 3 and wng in (-12, 0, 12):
            self.t2, self.t3 = _tabulated_transitions(name, wng)
            return
        k = WNG_VALUES.index(wng)
        if self.order == 3:
            # Untabulated values: the transitions of the middle setting, moved in
            # frequency so that each order reaches half its plateau where measured.
            self.t2, self.t3 = _tabulated_transitions(name, 0)
            self.warp3 = _solve_warp(lambda r: half_plateau(GRID, self.t3(GRID, r), 1.0),
                                     HALF_PLATEAU[(name, 3)][k])
        else:
            # Second-order patterns: the order-2 transition of the sibling of order 3
            # at the nearest measured value, moved to the measured half-plateau frequency.
            nearest = {-12: -12, -6: 0, 0: 0, 6: 0, 12: 12}[wng]
            self.t2, _ = _tabulated_transitions(family[2], nearest)
            self.t3 = Transition([1.0, 2.0], [0.0, 0.0])
        target = HALF_PLATEAU[(name, 2)][k]
        plateau = plateaus(name)[2]
        self.warp2 = _solve_warp(lambda r: half_plateau(
            GRID, self._rows(GRID, warp2=r)[2], plateau), target)

    def _make_order0_dip(self):
        """Order 0 of "card3" sits below the blend at the bottom of the band, as measured."""
        def dip_at(wng):
            rows = SAMPLE_ROWS[("card3", wng)][0]
            f = np.array(SAMPLE_FREQS[:3], dtype=float)
            other = FilterSet("card3", wng, with_dip=False)
            return np.array(rows[:3]) - other._rows(f)[0]
        if self.wng in (-12, 0, 12):
            d = dip_at(self.wng)
        else:
            lo, hi = (-12, 0) if self.wng < 0 else (0, 12)
            d = 0.5 * (dip_at(lo) + dip_at(hi))
        self.dip0 = PchipInterpolator([0, 50, 100, 200, 400, 22050],
                                      [d[0], d[0], d[1], d[2], 0.0, 0.0])

    def _rows(self, f, warp2=None):
        warp2 = self.warp2 if warp2 is None else warp2
        t3 = self.t3(f, self.warp3)
        t2 = np.maximum(self.t2(f, warp2), t3)
        return blend(self.name, f, t2, t3)

    def target(self, f):
        """Target amplitudes, 4 x len(f), signed."""
        f = np.asarray(f, dtype=float)
        name = self.name
        if name == "torus":
            return np.outer(plateaus(name), _TORUS_RISE(f))
        if name == "dipole1":
            return np.stack([_DIPOLE_ORDER0(f), plateaus(name)[1] * _DIPOLE_ORDER1(f),
                             0 * f, 0 * f])
        if self.t2 is None:
            return np.outer(plateaus(name), sag(f))
        rows = self._rows(f)
        if self.dip0 is not None:
            rows[0] += self.dip0(f)
        return rows


def _even_pchip(freqs, values, top):
    """A curve through measured points, flat at 0 Hz (a + b f^2 through the first two)."""
    f0, f1 = freqs[0], freqs[1]
    b = (values[1] - values[0]) / (f1 ** 2 - f0 ** 2)
    a = values[0] - b * f0 ** 2
    return PchipInterpolator([0.0, *freqs, 22050.0], [a, *values, top])


# "torus": both rows rise together from 0 at 0 Hz, as measured, so the ring keeps its shape.
_TORUS_RISE = Transition(SAMPLE_FREQS[:6],
                         np.array(SAMPLE_ROWS[("torus", 0)][0][:6]) / plateaus("torus")[0])

# "dipole1": order 1 lifts to its plateau by 500 Hz; order 0 fades out by 500 Hz.
_DIPOLE = SAMPLE_ROWS[("dipole1", 0)]
_DIPOLE_ORDER1 = _even_pchip(SAMPLE_FREQS[:4],
                             [*(np.array(_DIPOLE[1][:3]) / plateaus("dipole1")[1]), 1.0], 1.0)
_DIPOLE_ORDER0 = _even_pchip(SAMPLE_FREQS[:4], [*_DIPOLE[0][:3], 0.0], 0.0)
