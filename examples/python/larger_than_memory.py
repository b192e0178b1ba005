"""Crops, reduces and converts a picture of any size, 64 lines at a time: larger_than_memory.py IN OUT.tif"""
import sys

import viq

source = viq.strips(sys.argv[1], 64)
(source.apply(viq.crop, 0, 0, min(30000, source.width), min(30000, source.height))
       .apply(viq.subsample, 2)
       .to('y8')
       .save(sys.argv[2]))
print(f'{source.width} x {source.height} {source.format} -> {sys.argv[2]}')
