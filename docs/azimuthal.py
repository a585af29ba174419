# %% [markdown]
# From a frame to a powder pattern: reads a frame, bins and smooths it, and integrates it around the beam.
#
#     PYTHONPATH=build/python/python /usr/bin/python3 docs/azimuthal.py [FRAME]
#
# Without a frame it uses a synthetic one, of lanthanum hexaboride with some crystal spots. The picture goes to
# docs/images/azimuthal.png, or to the folder in the environment variable XRDIMAGE_PICTURES. Editors that know
# cells ("# %%") run it step by step.

# %%
import os
import sys
import tempfile
from pathlib import Path

import matplotlib.pyplot as plt
import numpy as np
from matplotlib.colors import LogNorm
from PIL import Image

import xrdimage
from xrdimage import classic

# %% [markdown]
# ## The frame
# Its header must have the geometry.

# %%
if len(sys.argv) > 1:
    name = Path(sys.argv[1]).name
    frame = xrdimage.load(sys.argv[1])
else:
    name = "a synthetic frame of LaB₆"
    with tempfile.TemporaryDirectory() as folder:
        xrdimage.sample(f"{folder}/lab6.mar2300")
        frame = xrdimage.load(f"{folder}/lab6.mar2300")

header = frame.header
geometry = (
    header.wavelength_angstrom,
    header.distance_mm,
    header.pixel_width_mm,
    header.pixel_height_mm,
    header.beam_x_pixels,
    header.beam_y_pixels,
)
if None in geometry:
    sys.exit("the frame's header lacks the wavelength, distance, pixel size or beam centre")
wavelength, distance, pixel_width, pixel_height, beam_x, beam_y = geometry

# %% [markdown]
# ## Binning
# Blocks of 2 x 2 pixels become one. A block is left out when the count of one of its pixels is unknown, or when one
# lies beside the round image plate, where scanners store 0.

# %%
FACTOR = 2
left_out = frame.mask | (frame.counts < 0)
if header.format == "mar345":
    left_out |= frame.counts == 0
binned = classic.binning(frame.counts.astype(np.uint32), FACTOR).image
height, width = binned.shape
rows, columns = height * FACTOR, width * FACTOR
left_out = left_out[:rows, :columns].reshape(height, FACTOR, width, FACTOR).any((1, 3))

# %% [markdown]
# ## Smoothing
# A Gaussian that is narrow beside the rings. The library's result is half as bright as the image.

# %%
smooth = 2.0 * classic.falte_gauss(binned, 1, 1)

# %% [markdown]
# ## The scattering vector
# Of each pixel's centre, in millimetres from the beam, and from there q = 4 pi sin(theta) / lambda.

# %%
x = (np.arange(width) + 0.5) * FACTOR * pixel_width - beam_x * pixel_width
y = (np.arange(height) + 0.5) * FACTOR * pixel_height - beam_y * pixel_height
radius = np.hypot(x[np.newaxis, :], y[:, np.newaxis])
q = 4 * np.pi / wavelength * np.sin(np.arctan(radius / distance) / 2)

# %% [markdown]
# ## Azimuthal integration
# Pixels are sorted into bins of q, as wide as a pixel is at the beam. The mean counts crystal spots in; the median over
# the ring is what the powder alone gives.

# %%
step = 2 * np.pi / wavelength * FACTOR * min(pixel_width, pixel_height) / distance
bins = (q[~left_out] / step).astype(int)
intensities = smooth[~left_out]
pixels_in_bin = np.bincount(bins)
used = pixels_in_bin > 0
mean = np.bincount(bins, intensities)[used] / pixels_in_bin[used]
by_bin = intensities[np.lexsort((intensities, bins))]
ends = np.cumsum(pixels_in_bin)[used]
median = by_bin[ends - (pixels_in_bin[used] + 1) // 2]
q_of_bin = (np.flatnonzero(used) + 0.5) * step

# %% [markdown]
# ## The picture

# %%
plt.rcParams.update({"font.size": 9, "axes.titlesize": 10, "axes.linewidth": 0.8})
figure, (left, right) = plt.subplots(
    1, 2, figsize=(10, 4.4), layout="constrained", gridspec_kw={"width_ratios": (1, 1.35)}
)

shown = np.ma.array(smooth, mask=left_out)
lowest, highest = np.percentile(shown.compressed(), (1, 99.7))
colours = plt.get_cmap("magma").copy()
colours.set_bad("0.92")
picture = left.imshow(
    shown,
    cmap=colours,
    norm=LogNorm(max(lowest, 1), highest, clip=True),
    extent=(x[0], x[-1], y[-1], y[0]),
    interpolation="antialiased",
)
left.set(xlabel="x / mm", ylabel="y / mm", title=name)
bar = figure.colorbar(picture, ax=left, shrink=0.85, pad=0.02, extend="both")
bar.ax.set_title("counts", fontsize=9, pad=12, loc="left")

right.plot(q_of_bin, mean, color="#c9a0c0", linewidth=0.8, label="mean, with crystal spots")
right.plot(q_of_bin, median, color="#51127c", linewidth=1.3, label="median")
right.set(
    xlabel="q / Å⁻¹",
    ylabel=f"counts in {FACTOR} × {FACTOR} pixels",
    title="azimuthal average",
    yscale="log",
    xlim=(0, 1.02 * q_of_bin[-1]),
    ylim=(0.7 * max(median[median > 0].min(), 1), 2.2 * np.percentile(mean, 99.8)),
)
right.grid(alpha=0.25, linewidth=0.6)
right.legend(frameon=False, loc="lower center")


def spacing_of(scattering):
    return 2 * np.pi / np.maximum(scattering, 1e-9)


spacings = right.secondary_xaxis("top", functions=(spacing_of, spacing_of))
spacings.set_xlabel("d / Å")
ticks = [20.0]  # as many round numbers as there is room for
for spacing in (10, 8, 6, 5, 4, 3, 2.5, 2, 1.8, 1.6, 1.4, 1.2, 1, 0.9, 0.8, 0.7, 0.6, 0.5):
    if spacing_of(spacing) - spacing_of(ticks[-1]) > 0.055 * q_of_bin[-1]:
        ticks.append(spacing)
spacings.set_xticks(ticks, [f"{tick:g}" for tick in ticks])
spacings.minorticks_off()

if len(sys.argv) == 1:
    for indices in ("100", "110", "111", "200", "210", "211"):
        q_of_ring = 2 * np.pi / 4.1569 * np.sqrt(sum(int(index) ** 2 for index in indices))
        nearest = np.abs(q_of_bin - q_of_ring) < 3 * step
        right.annotate(
            indices,
            (q_of_ring, median[nearest].max()),
            (0, 7),
            textcoords="offset points",
            ha="center",
            color="#51127c",
        )

folder = Path(os.environ.get("XRDIMAGE_PICTURES", Path(__file__).parent / "images"))
figure.savefig(folder / "azimuthal.png", dpi=120)
# A picture of 256 colours is a third as large.
with Image.open(folder / "azimuthal.png") as drawn:
    drawn.convert("RGB").quantize(256, Image.Quantize.MAXCOVERAGE).save(folder / "azimuthal.png", optimize=True)
plt.show()
