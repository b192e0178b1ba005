"""The operations that take a picture and give a new one: the name in Python, the C function, the
parameters in Python, and the arguments of the C function. `source` and `target` are the handles of the
pictures, `command` is the strip command; an operation without it processes whole pictures only."""

OPERATIONS = [
    # Geometry
    ('crop', 'VIQ_IP_crop', 'x: int, y: int, width: int, height: int',
     'source, target, x, y, width, height, command'),
    ('subsample', 'VIQ_IP_subsample', 'factor: int', 'source, target, factor, command'),
    ('replicate', 'VIQ_IP_pixel_rep', 'factor: int', 'source, target, factor, command'),
    ('scale', 'VIQ_IP_scale', 'width: int, height: int', 'source, target, width, height, command'),
    ('rotate', 'VIQ_IP_rotate_image', 'angle: int', 'source, target, angle'),
    ('mirror', 'VIQ_IP_mirror_image', '', 'source, target, command'),
    ('mirror_rectangle', 'VIQ_IP_mirror', 'x: int, y: int, width: int, height: int',
     'source, target, x, y, width, height, command'),
    ('extract_disc', 'VIQ_IP_extract_region', 'x: int, y: int, radius: int',
     'source, target, 0, x, y, radius, command'),
    # Filters
    ('threshold', 'VIQ_IP_threshold_grayscale', 'upper: int, lower: int',
     'source, target, upper, lower, command'),
    ('filter_3x3', 'VIQ_IP_filter_3x3', 'kernel: Sequence[int]',
     'source, target, kernel_of(kernel), command'),
    ('correct_shading', 'VIQ_IP_ShadingCorrection', 'offset: Image, gain: Image',
     'source, target, handle_of(offset), handle_of(gain)'),
    # Video fields
    ('weave_fields', 'VIQ_SPL_2fields_to_frame', 'second: Image',
     'source, handle_of(second), target, command'),
    ('field_to_frame', 'VIQ_SPL_field_to_frame', 'scheme: int = 3', 'source, target, scheme, command'),
    ('interlace', 'VIQ_SPL_interlace_frame', '', 'source, target, command'),
    # Single bytes and pseudo-colour
    ('take_bits', 'VIQ_SPL_Data32_to_Y8', 'shift: int', 'source, target, shift, command'),
    ('take_byte', 'VIQ_SPL_XXXX32_to_Y8', 'number: int', 'source, target, number, command'),
    ('yuv_pseudo_colour', 'VIQ_SPL_YUV422_to_RGB_pseudo_colour', '', 'source, target, command'),
    ('hsi_pseudo_colour', 'VIQ_SPL_HSI_to_RGB_pseudo_colour', '', 'source, target, command'),
    ('grey_pseudo_colour', 'VIQ_SPL_Y8_to_pseudo_colour', '', 'source, target, 0, command'),
    # Conversions that viq.Image.to does not make
    ('dither', 'VIQ_convert_to_RGB8_dither', '', 'source, target, command'),
    ('map_to_palette', 'VIQ_convert_to_paletted', '', 'source, target, command'),
    ('convert', 'VIQ_image_convert', 'format: int, option: int = 0',
     'source, target, format, option, command'),
    # Camera mosaics
    ('mosaic', 'VIQ_BAY_RGB24_to_RGGB32', '', 'source, target, command'),
    ('mosaic_colours', 'VIQ_BAY_RGGB32_map_to_RGB24', '', 'source, target, command'),
    ('mosaic_grey', 'VIQ_BAY_RGGB32_map_to_Y8', '', 'source, target, command'),
    ('demosaic_to_bgrx32', 'VIQ_BAY_RGGB32_to_BGRX32', 'scheme: int = 3, colour: int = 1',
     'source, target, scheme, colour, command'),
    ('demosaic_to_rgb16', 'VIQ_BAY_RGGB32_to_RGB16', 'scheme: int = 3, colour: int = 1',
     'source, target, scheme, colour, command'),
]
