"""Histogram of a reel: histogram.py 'scan/shot.%04d.dpx'"""

import sys

import numpy as np
import trellis

counts = np.zeros(16, int)
for frame in trellis.sequence(sys.argv[1]):
    counts += np.histogram(frame.picture.as_float(), bins=16, range=(0, 1))[0]
for number, share in enumerate(counts / counts.sum()):
    print(f"{number / 16:6.1%} {'#' * round(share * 60)}")
