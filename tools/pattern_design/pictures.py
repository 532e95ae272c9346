"""One picture per pattern family: order magnitudes against frequency for each "WNG"
value, and the polar curves."""

import os

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

from fir import amplitude  # noqa: E402

FREQS = np.geomspace(20.0, 22050.0, 600)
ORDER_COLOURS = ("tab:blue", "tab:orange", "tab:green", "tab:red")
WNG_COLOURS = ("tab:purple", "tab:blue", "black", "tab:orange", "tab:red")


def magnitudes(ax, rows, title):
    for n, row in enumerate(rows):
        if np.any(row != 0):
            ax.semilogx(FREQS, np.abs(amplitude(row, FREQS)), color=ORDER_COLOURS[n],
                        label="order %d" % n)
    ax.set_title(title, fontsize=9)
    ax.set_xlim(20, 22050)
    ax.grid(True, which="both", alpha=0.3)
    ax.tick_params(labelsize=7)
    ax.legend(fontsize=6, loc="best")


def polars(ax, entry, title):
    angles = np.radians(np.arange(73) * 5.0)
    for p, curve in enumerate(entry["polar"]):
        colour = WNG_COLOURS[p] if len(entry["polar"]) > 1 else "black"
        label = "WNG %d" % entry["values"][p] if len(entry["polar"]) > 1 else None
        ax.plot(angles, curve, color=colour, label=label, linewidth=1)
    ax.set_theta_zero_location("N")
    ax.set_ylim(0, 1.02)
    ax.set_title(title, fontsize=9)
    ax.tick_params(labelsize=6)
    if len(entry["polar"]) > 1:
        ax.legend(fontsize=6, loc="lower right", bbox_to_anchor=(1.25, -0.1))


def family_picture(path, names, data):
    third, second, first = names
    fig = plt.figure(figsize=(18, 11))
    for p, value in enumerate(data[third]["values"]):
        magnitudes(fig.add_subplot(3, 5, 1 + p), data[third]["sets"][p],
                   '"%s" at WNG %d' % (third, value))
        magnitudes(fig.add_subplot(3, 5, 6 + p), data[second]["sets"][p],
                   '"%s" at WNG %d' % (second, value))
    magnitudes(fig.add_subplot(3, 5, 11), data[first]["sets"][0], '"%s"' % first)
    for i, name in enumerate(names):
        polars(fig.add_subplot(3, 5, 12 + i, projection="polar"), data[name],
               'polar "%s"' % name)
    fig.suptitle("Order filter magnitudes (linear) against frequency (Hz), and polar curves",
                 fontsize=11)
    fig.tight_layout()
    fig.savefig(path, dpi=80)
    plt.close(fig)


def single_picture(path, names, data):
    fig = plt.figure(figsize=(12, 7))
    for i, name in enumerate(names):
        magnitudes(fig.add_subplot(2, 3, 1 + i), data[name]["sets"][0], '"%s"' % name)
        polars(fig.add_subplot(2, 3, 4 + i, projection="polar"), data[name],
               'polar "%s"' % name)
    fig.suptitle("Order filter magnitudes (linear) against frequency (Hz), and polar curves",
                 fontsize=11)
    fig.tight_layout()
    fig.savefig(path, dpi=80)
    plt.close(fig)


def write_all(folder, data):
    os.makedirs(folder, exist_ok=True)
    for family in ("card", "hyper", "super"):
        names = tuple(family + d for d in "321")
        family_picture(os.path.join(folder, family + ".png"), names, data)
    single_picture(os.path.join(folder, "omni-dipole-torus.png"), ("omni", "dipole1", "torus"),
                   data)
