"""A pipeline for viq_cluster.py: --function thumbnails:thumbnail"""
import viq


def thumbnail(source, target):
    """Reduces a picture to 160 columns."""
    photo = viq.open(source, 'rgb24')
    height = max(1, photo.height * 160 // photo.width)
    viq.save(viq.scale(photo, 160, height), target, quality=24)
