"""The package viq, compared with numpy, Pillow and OpenCV."""
import ctypes
import gc
import io
import os
import re
import subprocess
import sys
import threading
import weakref
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow

import viq
from viq import functions as c
from viq import _image, _pictures, _strips, operations

try:
    import cv2
except ImportError:
    cv2 = None
compares_with_opencv = pytest.mark.skipif(cv2 is None, reason='the module cv2 is missing')

PACKAGE = Path(viq.__file__).parent


def noise(height=41, width=30, samples=3, dtype=np.uint8):
    shape = (height, width, samples) if samples > 1 else (height, width)
    return np.random.default_rng(1).integers(0, np.iinfo(dtype).max, shape, dtype, endpoint=True)


def ramps(height=48, width=64):
    y, x = np.mgrid[0:height, 0:width]
    return np.stack([x * 3, y * 4, 255 - x * 2 - y], 2).astype(np.uint8)


def psnr(a, b):
    return 10 * np.log10(255 ** 2 / max(1e-9, np.mean((a.astype(float) - b.astype(float)) ** 2)))


# ---- Arrays and their lifetime

@pytest.mark.parametrize('format', [f for f in viq.FORMATS if f != 'hsi'])
def test_arrays_keep_every_format(format):
    layout = _image._LAYOUTS[format]
    array = noise(5, 8, layout.samples, layout.dtype)
    image = viq.from_array(array, format)
    assert image.format == format
    assert image.array.__array_interface__['data'] == array.__array_interface__['data']
    assert np.array_equal(image.array, array)
    assert (image.width, image.height) == (64 if format == 'y1' else 8, 5)


def test_array_without_a_copy_keeps_the_image():
    image = viq.test_pattern(33, 9, 'rgb24').to('y8')
    gone = weakref.ref(image)
    view = image.array[2:5]
    expected = view.copy()
    view[0, 0] = 99
    assert image.array[2, 0] == 99
    with pytest.raises(BufferError):
        image.close()
    for call, arguments in ((c.VIQ_image_destroy, [image.handle]),
                            (c.VIQ_image_free_data, [image.handle]),
                            (c.VIQ_image_destroy, [c.VIQ_ALL_IMAGES]),
                            (c.VIQ_image_move, [viq.test_pattern(2, 2).handle, image.handle])):
        with pytest.raises(BufferError):
            call(*arguments)
    del image
    gc.collect()
    assert gone() is not None and np.array_equal(view[1:], expected[1:])
    del view
    assert gone() is None


def test_image_keeps_the_array():
    array = noise()
    alive = weakref.ref(array)
    image = viq.from_array(array)
    with pytest.raises((ValueError, BufferError)):
        array.resize((1, 1, 3))
    del array
    assert alive() is not None and image.array.shape == (41, 30, 3)
    image.close()
    assert alive() is None
    with pytest.raises(ValueError):
        image.array
    fixed = np.frombuffer(bytes(48), np.uint8).reshape(4, 12)
    image = viq.from_array(fixed)
    assert not image.array.flags.writeable
    with pytest.raises(ValueError):
        viq.draw_text(image, 'x', 0, 0)


def test_strided_and_unfit_arrays():
    array = noise()
    assert np.array_equal(viq.from_array(array[::2, ::-1]).array, array[::2, ::-1])
    for unfit in (np.zeros((3, 3), np.float32), np.zeros((0, 4), np.uint8),
                  np.zeros((2, 2, 5), np.uint8), np.zeros(4, np.uint8)):
        with pytest.raises(ValueError):
            viq.from_array(unfit)
    with pytest.raises(ValueError):
        viq.from_array(array, 'rgb99')


def test_with_statement_and_palette():
    with viq.from_array(noise(samples=1), 'paletted') as image:
        image.palette = [(1, 2, 3), (4, 5, 6)]
        assert image.palette.tolist() == [[1, 2, 3], [4, 5, 6]]
        assert viq.closest_colour(image, 4, 5, 7) == 1
        assert image.is_colour
    assert 'closed' in repr(image)


# ---- Peers

@compares_with_opencv
def test_conversions_equal_numpy_and_opencv():
    rgb = noise()
    grey = (rgb.astype(int) @ [77, 150, 29]) >> 8
    assert np.array_equal(viq.from_array(rgb).to('y8').array, grey)
    assert np.abs(grey - cv2.cvtColor(rgb, cv2.COLOR_RGB2GRAY).astype(int)).max() <= 1
    assert np.array_equal(viq.from_array(rgb).to('bgr24').array, cv2.cvtColor(rgb, cv2.COLOR_RGB2BGR))
    assert np.array_equal(viq.from_array(rgb).to('bgrx32').array[..., :3], rgb[..., ::-1])
    assert np.array_equal(viq.from_array(rgb).to('rgb16').array.view(np.uint8).reshape(41, 30, 2),
                          cv2.cvtColor(rgb, cv2.COLOR_RGB2BGR565))
    wide = noise(samples=1, dtype=np.uint16)
    assert np.array_equal(viq.from_array(wide).to('y8').array, wide >> 8)


@compares_with_opencv
def test_geometry_equals_numpy():
    rgb = noise()
    assert np.array_equal(viq.crop(rgb, 3, 4, 10, 20).array, rgb[4:24, 3:13])
    assert np.array_equal(viq.mirror(rgb).array, rgb[:, ::-1])
    for angle, turns in ((90, 3), (180, 2), (270, 1)):
        assert np.array_equal(viq.rotate(rgb, angle).array, np.rot90(rgb, turns))
    assert np.array_equal(viq.subsample(rgb[:40], 2).array, rgb[:40:2, ::2])
    assert np.array_equal(viq.replicate(rgb, 3).array, rgb.repeat(3, 0).repeat(3, 1))
    host = viq.from_array(rgb.copy())
    viq.insert(host, rgb[:5, :6], 7, 8)
    assert np.array_equal(host.array[8:13, 7:13], rgb[:5, :6])
    smooth = ramps()
    assert psnr(viq.scale(smooth, 32, 24).array, cv2.resize(smooth, (32, 24))) > 28
    marked = viq.mirror_rectangle(rgb, 2, 3, 10, 10).array
    assert np.array_equal(marked[3:13, 2:12], rgb[3:13, 11:1:-1])


@compares_with_opencv
def test_filter_and_threshold_equal_numpy():
    grey = noise(samples=1)
    kernel = [1, 2, 1, 2, 4, 2, 1, 2, 1]
    ours = viq.filter_3x3(grey, kernel).array
    exact = cv2.filter2D(grey.astype(np.float64), -1, np.reshape(kernel, (3, 3)).astype(float) / 16)
    assert np.array_equal(ours[1:-1, 1:-1], np.floor(exact[1:-1, 1:-1]).astype(np.uint8))
    expected = np.where(grey >= 200, 255, np.where(grey < 100, 0, grey))
    assert np.array_equal(viq.threshold(grey, 200, 100).array, expected)


def test_measurements_equal_numpy():
    rgb, grey = ramps(), noise(samples=1)
    assert viq.averages(grey) == (grey.astype(int).sum() // grey.size, grey.min(), grey.max())
    hsi = viq.from_array(rgb).to('hsi')
    counts = viq.histogram(hsi)
    assert np.array_equal(counts.hue, np.bincount(hsi.array['hue'].ravel(), minlength=360))
    assert np.array_equal(counts.intensity, np.bincount(hsi.array['intensity'].ravel(), minlength=256))
    assert viq.match_histograms(counts, counts) == 100
    smoothed = viq.smooth_histogram(counts)
    assert smoothed.hue[1] == (counts.hue[0] + 2 * counts.hue[1] + counts.hue[2]) // 4
    assert viq.motion(grey, grey) == 0


def test_tables_equal_numpy():
    rgb = noise()
    table = np.arange(255, -1, -1, dtype=np.uint8)
    assert np.array_equal(viq.apply_tables(rgb, red=table).array[..., 0], 255 - rgb[..., 0])
    assert np.array_equal(viq.apply_tables(rgb, red=table).array[..., 1:], rgb[..., 1:])
    assert np.array_equal(viq.adjust(rgb).array, rgb)
    assert viq.adjust(rgb, brightness=150).array.mean() > rgb.mean()
    with pytest.raises(ValueError):
        viq.apply_tables(rgb, red=[1, 2])


def test_palettes():
    rgb = np.repeat(np.repeat(noise(2, 2) & 0xF0 | 8, 8, 0), 8, 1)
    quantised = viq.quantise(rgb)
    assert quantised.format == 'paletted' and np.array_equal(quantised.to('rgb24').array, rgb)
    assert viq.dither(ramps()).format == 'paletted'
    viq.set_palette(quantised, 'grey')
    assert quantised.palette[7].tolist() == [7, 7, 7] and not quantised.is_colour
    assert viq.convert_by_table(viq.from_array(rgb).to('yuv422'), 'rgb16').format == 'rgb16'
    assert np.array_equal(viq.to_dib(rgb, 24).array[::-1, :, ::-1], rgb)


# ---- Files and coders

@pytest.mark.parametrize('extension', ['bmp', 'tif', 'tga'])
def test_files_of_and_for_pillow(tmp_path, extension):
    rgb = noise()
    ours, theirs = tmp_path / f'ours.{extension}', tmp_path / f'theirs.{extension}'
    viq.save(rgb, ours)
    assert np.array_equal(np.asarray(Pillow.open(ours).convert('RGB')), rgb)
    Pillow.fromarray(rgb).save(theirs)
    assert np.array_equal(viq.open(theirs, 'rgb24').array, rgb)
    assert viq.file_format(theirs) in ('bmp', 'tiff', 'tga')
    Pillow.fromarray(rgb).quantize(16).save(theirs)
    assert np.array_equal(viq.open(theirs, 'rgb24').array, np.asarray(Pillow.open(theirs).convert('RGB')))


@compares_with_opencv
def test_jpeg_of_and_for_peers():
    rgb = ramps()
    ours = viq.encode_jpeg(rgb, 64)
    recoded = viq.encode_jpeg(rgb, 64, optimise=1)
    assert len(recoded) < len(ours)
    assert np.array_equal(viq.decode_jpeg(recoded).array, viq.decode_jpeg(ours).array)
    for theirs in (np.asarray(Pillow.open(io.BytesIO(ours))),
                   cv2.imdecode(np.frombuffer(ours, np.uint8), 1)[..., ::-1]):
        assert psnr(theirs, rgb) > 33
        assert psnr(viq.decode_jpeg(ours).array, theirs) > 38
    buffer = io.BytesIO()
    Pillow.fromarray(rgb).save(buffer, 'JPEG', quality=95, subsampling=0)
    theirs = np.asarray(Pillow.open(buffer))
    assert np.abs(viq.decode_jpeg(buffer.getvalue()).array.astype(int) - theirs).max() <= 4
    assert viq.decode_jpeg(buffer.getvalue(), 'y8').array.shape == (48, 64)


def test_wavelet_and_memory():
    rgb = ramps()
    for small in (False, True):
        stream = viq.encode_wavelet(rgb[:, :63], 200, small)
        assert psnr(viq.decode_wavelet(stream, 'rgb24').array, rgb[:, :63]) > 30
    for name in ('bmp', 'tiff', 'tga', 'eps'):
        assert np.array_equal(viq.decode(bytearray(viq.encode(rgb, name))).array, rgb)
    assert viq.encode(rgb, 'raw') == rgb.tobytes()
    with pytest.raises(ValueError):
        viq.encode(rgb, 'png')


def test_jpeg_sequences():
    frames = [np.full((16, 32, 3), n, np.uint8) for n in (10, 100, 200)]
    parts = viq.split_jpeg_sequence(viq.build_jpeg_sequence(frames, 64))
    assert [int(viq.decode_jpeg(p).array.mean() + 0.5) // 10 for p in parts] == [1, 10, 20]


# ---- Camera, keying, video, drawing

@compares_with_opencv
def test_camera():
    rgb = ramps()
    mosaic = viq.mosaic(rgb)
    assert np.array_equal(mosaic.array[::2, ::2], rgb[::2, ::2, 0])
    theirs = cv2.cvtColor(np.ascontiguousarray(mosaic.array), cv2.COLOR_BayerRG2BGR)
    ours = viq.demosaic(mosaic, 'rg', 2)
    assert ours.format == 'rgb24' and viq.demosaic(mosaic.array.copy()).format == 'rgb24'
    grey = viq.from_array(mosaic.array.copy())
    assert grey.format == 'y8' and np.array_equal(viq.demosaic(grey, 'rg', 2).array, ours.array)
    inner = np.s_[2:-2, 2:-2]
    assert max(psnr(ours.array[inner], theirs[inner]), psnr(ours.array[inner], theirs[inner][..., ::-1])) > 45
    gains = viq.grey_world_gains(mosaic.array.copy())
    assert gains.min() == 4096 and np.array_equal(gains, viq.grey_world_gains(mosaic))
    assert np.array_equal(viq.apply_gains(mosaic, [4096] * 3).array, mosaic.array)
    deep = noise(8, 12, 1, np.uint16) & 0xFFF
    image = viq.from_array(deep, 'y16', data_width=12)
    frame = viq.pack_frame(image, 'Mono12p')
    assert len(frame) == viq.frame_size('Mono12p', 12, 8) == 144
    back = viq.unpack_frame(frame, 'Mono12p', 12, 8)
    assert np.array_equal(back.array, deep) and back.data_width == 12
    assert viq.frame_layout('bayerrg8').pixel_colour == 1


def test_shading():
    black = np.full((4, 6), 1000, np.uint16)
    white = np.full((4, 6), 33767, np.uint16)
    offset, gain = viq.shading_references(black, white)
    corrected = viq.correct_shading(white, offset, gain).array
    assert abs(int(corrected[0, 0]) - 65535) < 70


def test_keying_and_pseudo_colour():
    blue = np.zeros((8, 16, 3), np.uint8)
    blue[..., 2] = 200
    blue[:, :8] = (200, 180, 20)
    window = viq.KeyWindow(hue=viq.calibrate_key(blue[:, 8:].repeat(40, 1)).hue, luma=22, luma_tolerance=20)
    keyed = viq.chroma_key(blue, np.full_like(blue, 128), window, soft=False).array
    assert keyed[0, 15, 0] == 128 and keyed[0, 0, 0] != 128
    assert viq.yuv_of(255, 255, 255) == (255, 128, 128)
    assert viq.yuv_pseudo_colour(viq.from_array(blue).to('yuv422')).format == 'rgb24'
    assert viq.hsi_pseudo_colour(viq.from_array(blue).to('hsi')).format == 'rgb24'
    assert viq.grey_pseudo_colour(blue[..., 2].copy()).format == 'rgb16'
    assert np.array_equal(viq.take_byte(viq.from_array(blue).to('rgbx32'), 3).array, blue[..., 2])


def test_video_fields():
    one, two = noise(10, 8, 1), noise(10, 8, 1) // 2
    frame = viq.weave_fields(one, viq.from_array(two)).array
    assert np.array_equal(frame[::2], one) and np.array_equal(frame[1::2], two)
    assert np.array_equal(viq.field_to_frame(one, 1).array, one.repeat(2, 0))


def test_drawing():
    image = viq.from_array(np.zeros((40, 200, 3), np.uint8))
    viq.draw_text(image, 'VIQ', 5, 6, 'large', 15)
    ys, xs = np.nonzero(image.array[..., 0])
    assert ys.min() >= 6 and xs.min() >= 5 and image.array.max() == 255
    viq.draw_timestamp(image, 0, 25, 'small')
    yuv = viq.from_array(np.zeros((4, 4, 2), np.uint8), 'yuv422')
    viq.draw_pixel(yuv, 2, 0, 7)
    assert yuv.array[0, 2, 0] > 200 and yuv.array[1:].max() == 0


# ---- Strips

@pytest.mark.parametrize('extension', ['bmp', 'tif', 'jpg', 'dwt'])
@pytest.mark.parametrize('lines', [1, 7, 48, 100])
def test_strips_equal_the_whole_picture(tmp_path, extension, lines):
    name = tmp_path / f'picture.{extension}'
    viq.save(ramps(), name)
    whole = viq.open(name)
    strips = viq.strips(name, lines)
    assert (strips.width, strips.height, strips.format) == (64, 48, whole.format)
    assert np.array_equal(np.concatenate([s.array for s in strips]), whole.array)
    if whole.format == 'rgb24' and lines > 1:
        out = tmp_path / 'small.tif'
        viq.strips(name, lines).apply(viq.scale, 32, 20).apply(viq.mirror).to('y8').save(out)
        assert np.array_equal(viq.open(out).array, viq.mirror(viq.scale(whole, 32, 20)).to('y8').array)


def test_jpeg_is_written_in_strips(tmp_path):
    name, out = tmp_path / 'in.jpg', tmp_path / 'out.jpg'
    Pillow.fromarray(ramps()).save(name, optimize=True)  # with code tables of its own
    viq.strips(name, 16).save(out, 24)
    whole = viq.decode_jpeg(viq.encode_jpeg(viq.open(name), 24))
    assert np.array_equal(viq.open(out).array, whole.array)
    with pytest.raises(viq.Error):
        viq.strips(ramps(), 7).save(out)
    assert sorted(p.name for p in tmp_path.iterdir()) == ['in.jpg', 'out.jpg']


def test_abandoned_strips_and_failures(tmp_path):
    name = tmp_path / 'picture.bmp'
    viq.save(ramps(), name)
    for strip in viq.strips(name, 5).apply(viq.crop, 0, 0, 10, 48):
        assert np.array_equal(viq.open(name).array, ramps())  # in the middle of the strips
        break
    gc.collect()
    assert np.array_equal(viq.strips(name, 5).collect().array, ramps())
    out = tmp_path / 'out.tif'
    with pytest.raises(viq.Error):
        viq.strips(name, 5).to('hsi').save(out)
    assert sorted(p.name for p in tmp_path.iterdir()) == ['picture.bmp']
    with pytest.raises(ValueError):
        viq.strips(name).apply(viq.rotate, 90)
    assert np.array_equal(np.concatenate([s.array for s in viq.strips(ramps(), 9)]), ramps())


# ---- Errors, threads, completeness

def test_errors_carry_code_function_and_text(tmp_path):
    with pytest.raises(viq.Error) as caught:
        viq.open(tmp_path / 'missing.bmp')
    failure = caught.value
    assert (failure.code, failure.name) == (c.VIQ_ERR_OPEN, 'VIQ_ERR_OPEN')
    assert (failure.function, failure.text) == ('VIQ_image_find_file_format', 'Failed to open file')
    assert str(failure).startswith('VIQ_image_find_file_format: Failed to open file')
    assert str(failure).endswith(f', file {tmp_path / "missing.bmp"}')
    with pytest.raises(viq.Error) as caught:
        viq.crop(ramps(), 500, 0, 1, 1)
    assert caught.value.function == 'VIQ_IP_crop' and 'Rectangle outside' in str(caught.value)
    assert viq.crop(ramps(), 0, 0, 4, 4).width == 4  # the failure left nothing behind
    with pytest.raises(viq.Error) as caught:
        c.VIQ_image_set_parameter(60000, c.VIQ_WIDTH, 1)
    assert caught.value.name == 'VIQ_ERR_HANDLE'
    image = viq.test_pattern(2, 2)
    c.VIQ_image_set_parameter(image.handle, c.VIQ_PARAM_25, 0x10030000)  # not an error
    assert c.VIQ_image_get_parameter(image.handle, c.VIQ_PARAM_25) == 0x10030000


def work(seed, results):
    rgb = np.roll(ramps(120, 160), seed, 1)
    for _ in range(8):
        image = viq.from_array(rgb)
        small = viq.scale(image, 80, 60).to('y8')
        stream = viq.encode_jpeg(image)
        parts = [s.array.copy() for s in viq.strips(rgb, 17).apply(viq.filter_3x3, [1] * 9)]
        results.append((seed, small.array.copy(), stream, np.concatenate(parts)))
        with pytest.raises(viq.Error) as caught:
            viq.crop(image, 999 + seed, 0, 1, 1)
        assert caught.value.function == 'VIQ_IP_crop'


def test_eight_threads_work_as_one():
    alone = {}
    for seed in range(8):
        results = []
        work(seed, results)
        alone[seed] = results[0]
    contexts = c.VIQ_context_current()
    results, failures = [], []

    def guarded(seed):
        try:
            assert c.VIQ_context_current() != contexts
            work(seed, results)
        except BaseException as failure:
            failures.append(failure)
    threads = [threading.Thread(target=guarded, args=[seed]) for seed in range(8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures and len(results) == 64
    for seed, small, stream, filtered in results:
        assert np.array_equal(small, alone[seed][1]) and stream == alone[seed][2]
        assert np.array_equal(filtered, alone[seed][3])


def test_calls_release_the_interpreter_lock(tmp_path):
    pipe = tmp_path / 'pipe'
    os.mkfifo(pipe)
    seen = []
    reader = threading.Thread(target=lambda: seen.append(viq.file_format(pipe)))
    reader.start()
    pipe.write_bytes(b'BM' + bytes(100))  # while the call in the other thread waits for it
    reader.join()
    assert seen == ['bmp']


def test_limits_apply_to_later_threads():
    seen = []

    def decode():
        try:
            seen.append(viq.decode(contents).width)
        except viq.Error as failure:
            seen.append(str(failure))
    contents = viq.encode(ramps(), 'bmp')
    viq.set_limit('pixels', 100)
    try:
        assert viq.get_limit('pixels') == 100 and viq.get_limit('memory') == 0
        decode()
        thread = threading.Thread(target=decode)
        thread.start()
        thread.join()
    finally:
        viq.set_limit('pixels', 0)
    decode()
    assert all('VIQ_LIMIT_PIXELS' in text for text in seen[:2]) and seen[2:] == [64]


def test_contexts_end_with_their_threads():
    seen = set()
    for _ in range(30):
        thread = threading.Thread(target=lambda: seen.add(c.VIQ_context_current()))
        thread.start()
        thread.join()
    assert len(seen) <= 2  # numbers are used again


def test_every_function_of_the_headers_is_there():
    source = Path(os.environ.get('VIQ_SOURCE', '.'))
    if not (source / 'include').exists():
        pytest.skip('VIQ_SOURCE does not name the source folder')
    declared = set()
    for header in (source / 'include/viq').glob('*.h'):
        declared |= set(re.findall(r'^ *VIQ_API [^(]*?(\w+)\(', header.read_text(), re.M))
    assert declared == set(c.ALL)
    stub = (PACKAGE / 'functions.pyi').read_text()
    for name in declared:
        assert getattr(c, name).__doc__.strip(), name
        assert f'def {name}(' in stub
    # Operations on pictures have a function of their own in the upper layer.
    upper = ''.join((PACKAGE / f'{name}.py').read_text()
                    for name in ('operations', '_pictures', '_strips', '_image'))
    by_family = ('process', 'camera', 'draw', 'limits', 'one_call')
    indirect = {
        'VIQ_IP_histogram_clear', 'VIQ_IP_histogram_copy',  # a new or copied Histogram
        'VIQ_CK_get_YUV_values', 'VIQ_CK_get_component',    # yuv_of
        'VIQ_CK_generate_UV_to_hue_LUT', 'VIQ_CK_destroy_UV_to_hue_LUT',  # made when needed
    }
    for family in by_family:
        text = (source / f'include/viq/{family}.h').read_text()
        for name in re.findall(r'^ *VIQ_API [^(]*?(\w+)\(', text, re.M):
            assert name in indirect or re.search(rf'\b_?c\.{name}\b', upper), name
    for name in operations.__all__:
        assert getattr(viq, name).__doc__ and f'def {name}(' in (PACKAGE / 'operations.pyi').read_text()


def test_records_have_the_size_of_the_library():
    image = viq.test_pattern(3, 4)
    record = ctypes.cast(c.VIQ_image_get_ptr(image.handle, c.VIQ_PTR_IMAGE),
                         ctypes.POINTER(c.tVIQ_Image)).contents
    assert (record.width, record.height, record.lines_per_strip, record.jpeg) == (3, 4, 4, None)
    assert viq.__version__ == '4.20.6'


# ---- The examples

def run_example(name, *arguments):
    source = Path(os.environ.get('VIQ_SOURCE', '.')) / 'examples/python' / name
    if not source.exists():
        pytest.skip('VIQ_SOURCE does not name the source folder')
    assert len(source.read_text().splitlines()) < 60
    done = subprocess.run([sys.executable, source, *map(str, arguments)], capture_output=True,
                          text=True, check=False)
    assert done.returncode == 0, done.stderr
    return done.stdout


def test_examples(tmp_path):
    viq.save(ramps(), tmp_path / 'in.bmp')
    run_example('edge_picture.py', tmp_path / 'in.bmp', tmp_path / 'edges.tif')
    assert viq.open(tmp_path / 'edges.tif').array.shape == (47, 63)
    assert '64 x 48' in run_example('larger_than_memory.py', tmp_path / 'in.bmp', tmp_path / 'small.tif')
    assert viq.open(tmp_path / 'small.tif').array.shape == (24, 32)
    run_example('jpeg_in_threads.py', tmp_path / 'in.bmp', tmp_path / 'small.tif', tmp_path)
    assert psnr(viq.open(tmp_path / 'in.jpg').array, ramps()) > 30
    run_example('camera_frame.py', tmp_path / 'frame.jpg')
    frame = viq.open(tmp_path / 'frame.jpg').array
    assert frame.shape == (480, 640, 3) and np.ptp(frame[240, 320].astype(int)) < 40
