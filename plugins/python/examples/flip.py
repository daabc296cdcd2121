"""Flip through a reel in a window, or in a Jupyter notebook: flip.py 'scan/shot.%04d.dpx'"""

import sys

import matplotlib.pyplot as plt
import trellis

figure, axes = plt.subplots()
shown = None
for frame in trellis.sequence(sys.argv[1]):
    pixels = frame.picture.as_float()
    if shown is None:
        shown = axes.imshow(pixels)
    shown.set_data(pixels)
    axes.set_title(frame.path)
    plt.pause(1 / 24)
