"""Develops a frame of a camera, here a simulated one of 12 bits: camera_frame.py OUT.jpg"""
import sys

import numpy as np
import viq

WIDTH, HEIGHT = 640, 480


def simulate():
    """A frame as a sensor sends it: BayerRG12p, twelve bits a sample, without padding."""
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    light = (4000 * x / WIDTH).astype(np.uint16)
    light[(x - 320) ** 2 + (y - 240) ** 2 < 100 ** 2] = 3500
    light[1::2, 1::2] //= 2  # the sensor is less sensitive to blue
    return viq.pack_frame(viq.from_array(light, 'y16', data_width=12), 'BayerRG12p')


mosaic = viq.unpack_frame(simulate(), 'BayerRG12p', WIDTH, HEIGHT)
gains = viq.grey_world_gains(mosaic, 'rg')
balanced = viq.apply_gains(mosaic, gains, 'rg', gamma=220)
picture = viq.demosaic(balanced, 'rg')
viq.draw_timestamp(picture, 8, 8)
viq.save(picture, sys.argv[1], quality=24)
