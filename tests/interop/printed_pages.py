#!/usr/bin/env python3
"""Prints pictures to PDF files, renders these with ghostscript at 10 pixels a millimetre, and compares
the area and every pixel of the picture. With a printer for A4, the pages are those of the PostScript
documents that it writes to a file.

printed_pages.py TOOL [PRINTER DOCUMENT]     in an empty folder
"""
import subprocess
import sys

tool = sys.argv[1]
document = 'page.pdf'
destination = ['--to', document]
if len(sys.argv) > 2:
    document = sys.argv[3]
    destination = ['--printer', sys.argv[2]]
on_printer = destination[0] == '--printer'
failed = False


def fail(*what):
    global failed
    failed = True
    print('FAILED:', *what)


def run(*command):
    return subprocess.run([str(word) for word in command], capture_output=True)


def write_picture(name, width, height):
    """Every pixel has a colour of its own; none is white."""
    pixels = bytes(value for y in range(height) for x in range(width)
                   for value in ((x * 37 + y * 11) % 200, (x * 5 + y * 53) % 200, (x + y * 7) % 200))
    with open(name, 'wb') as file:
        file.write(b'P6 %d %d 255\n' % (width, height) + pixels)


def read_ppm(data):
    fields = data.split(None, 4)[:4]
    while b'#' in fields[1]:  # the comment that ghostscript writes
        data = data[:3] + data[data.index(b'\n', 3) + 1:]
        fields = data.split(None, 4)[:4]
    width, height = int(fields[1]), int(fields[2])
    return width, height, data[-3 * width * height:]


def turn_right(page):
    """A page that was fed upright, as it is viewed."""
    width, height, data = page
    turned = bytearray(len(data))
    for component in range(3):
        plane = data[component::3]
        turned[component::3] = b''.join(plane[x::width][::-1] for x in range(width))
    return height, width, bytes(turned)


def render(file, resolution=254):
    done = run('gs', '-q', '-dNOPAUSE', '-dBATCH', '-dSAFER', '-dUseFastColor', '-sDEVICE=ppmraw',
               f'-r{resolution}', '-sOutputFile=-', '-sstdout=%stderr', file)
    return read_ppm(done.stdout)


def area_of_picture(page):
    width, height, data = page
    white = b'\xff' * (3 * width)
    lines = [y for y in range(height) if data[3 * width * y:3 * width * (y + 1)] != white]
    line = data[3 * width * lines[len(lines) // 2]:][:3 * width]
    columns = [x for x in range(width) if line[3 * x:3 * x + 3] != b'\xff\xff\xff']
    return columns[0], lines[0], columns[-1] + 1 - columns[0], lines[-1] + 1 - lines[0]


def compare(what, file, arguments, page_size, area, tolerance=0):
    """The area is x, y, width and height in 1/10 mm."""
    reference = run(tool, 'convert', '--format', 'rgb24', file, 'reference.ppm')
    printed = run(tool, 'print', file, *destination, *arguments)
    if reference.returncode or printed.returncode:
        return fail(what, reference.stderr + printed.stderr)
    page = render(document)
    if on_printer and page_size[0] > page_size[1]:
        page = turn_right(page)
    if page_size is not None and max(abs(page[n] - page_size[n]) for n in (0, 1)) > 1:
        return fail(what, 'page of', page[:2])
    found = area_of_picture(page)
    if max(abs(a - b) for a, b in zip(found, area)) > 1:
        return fail(what, 'picture at', found, 'instead of', area)
    with open('reference.ppm', 'rb') as ppm:
        width, height, pixels = read_ppm(ppm.read())
    for y in range(height):
        for x in range(width):
            at = 3 * (int(area[0] + (x + 0.5) * area[2] / width) +
                      page[0] * int(area[1] + (y + 0.5) * area[3] / height))
            there, here = page[2][at:at + 3], pixels[3 * (y * width + x):][:3]
            if '--grey' in arguments:
                here = bytes([here[0]] * 3)
                there = bytes([there[0] if abs(there[0] - grey_of(pixels, y * width + x)) > 1 else here[0]] * 3)
            if max(abs(a - b) for a, b in zip(there, here)) > tolerance:
                return fail(what, 'pixel', x, y, tuple(there), 'instead of', tuple(here))


def grey_of(pixels, n):
    red, green, blue = pixels[3 * n:3 * n + 3]
    return (306 * red + 601 * green + 117 * blue) // 1024


WIDE, HIGH = (40, 30), (30, 40)  # pixels
A4, TURNED = (2100, 2970), (2970, 2100)
# picture, options, page as it is viewed, area of the picture
PLACEMENTS = [
    (WIDE, '', TURNED, (100, 100, 2533, 1900)),
    (HIGH, '', A4, (100, 100, 1900, 2533)),
    (WIDE, '--orientation portrait', A4, (100, 100, 1900, 1425)),
    (HIGH, '--orientation landscape', TURNED, (100, 100, 1425, 1900)),
    (WIDE, '--margin 20 --centre', TURNED, (352, 200, 2267, 1700)),
    (WIDE, '--margin 10,20,30,40', TURNED, (100, 200, 2000, 1500)),
    (WIDE, '--margin 10,20,30,40 --orientation portrait', A4, (100, 200, 1700, 1275)),
    (WIDE, '--margin 0', TURNED, (0, 0, 2800, 2100)),
    (WIDE, '--size 80x60', A4, (100, 100, 800, 600)),
    (WIDE, '--size 80x', A4, (100, 100, 800, 600)),
    (WIDE, '--size x60 --centre', A4, (650, 1185, 800, 600)),
    (WIDE, '--size 120x30.5', A4, (100, 100, 1200, 305)),
    (WIDE, '--size 240x180', TURNED, (100, 100, 2400, 1800)),
    (WIDE, '--size 200x150 --orientation landscape --centre', TURNED, (485, 300, 2000, 1500)),
    (WIDE, '--paper A5', (2100, 1480), (100, 100, 1707, 1280)),
    (WIDE, '--paper letter --size 40x30', (2159, 2794), (100, 100, 400, 300)),
    (WIDE, '--paper 120x90 --margin 5', (1200, 900), (50, 50, 1067, 800)),
    (HIGH, '--paper 120x90.5 --margin 5', (905, 1200), (50, 50, 805, 1073)),
    (WIDE, '--fit --grey', TURNED, (100, 100, 2533, 1900)),
    ((1, 1), '--size 10x10', A4, (100, 100, 100, 100)),
    ((3, 130), '--size 3x130', A4, (100, 100, 30, 1300)),
]
for size, options, page, area in PLACEMENTS:
    if on_printer and page not in (A4, TURNED):
        continue
    write_picture('picture.ppm', *size)
    compare(f'{size} {options}', 'picture.ppm', options.split(), page, area)

# Formats that are stored as they are, and some that are converted; CMYK is converted by ghostscript.
write_picture('picture.ppm', 40, 30)
for pixel_format, extension, tolerance in [('y8', 'bmp', 0), ('paletted', 'bmp', 0), ('rgb24', 'bmp', 0),
                                           ('cmyk32', 'tif', 2), ('rgb15', 'tga', 0), ('y16', 'tif', 0)]:
    made = run(tool, 'convert', '--format', pixel_format, 'picture.ppm', f'file.{extension}')
    if made.returncode:
        fail(pixel_format, made.stderr)
    compare(pixel_format, f'file.{extension}', ['--size', '80x60'], A4, (100, 100, 800, 600), tolerance)

# Black and white, with lines that do not fill their last byte; the right column is black.
with open('bits.pbm', 'wb') as file:
    file.write(b'P1 13 9\n' + b''.join(b'1 ' if (x * y + x) % 3 == 0 or x in (0, 12) or y in (0, 8) else b'0 '
                                       for y in range(9) for x in range(13)))
compare('y1', 'bits.pbm', ['--size', '65x45'], A4, (100, 100, 650, 450))

# Several pictures are the pages of one document.
write_picture('second.ppm', 30, 40)
run(tool, 'print', 'picture.ppm', 'second.ppm', '--to', 'pages.pdf', '--title', 'Ä (1) ☃')
count = run('gs', '-q', '-dNODISPLAY', '-dNOSAFER', '-c',
            '(pages.pdf) (r) file runpdfbegin pdfpagecount = Trailer /Info oget /Title oget == quit').stdout
if count.split(b'\n')[0] != b'2':
    fail('pages', count)

# title as the tool receives it, and as the document has it: bytes that are no characters count as one
# each. A printer is one of Windows, which passes characters and not bytes to programs.
titles = [('Ä (1) ☃ 😀'.encode(), 'Ä (1) ☃ 😀')]
if not on_printer:
    titles.append((b'a\x80\xf8b\xe2x\xc3', 'a\x80\xf8b\xe2x\xc3'))
for title, stored in titles:
    subprocess.run([tool, 'print', 'picture.ppm', '--to', 'title.pdf', '--title', title], check=True)
    with open('title.pdf', 'rb') as file:
        if b'<FEFF%s>' % stored.encode('utf-16-be').hex().upper().encode() not in file.read():
            fail('title', stored)

# option, error
REFUSED = [
    ('--size 300x300', 'Picture does not fit on the paper'),
    ('--size 280x20 --orientation portrait', 'Picture does not fit on the paper'),
    ('--margin 105', 'Margins larger than the paper'),
    ('--margin 10,150,10,150 --orientation portrait', 'Margins larger than the paper'),
    ('--paper 10-20', 'Unknown paper'),
    ('--size x', 'is not of the form'),
    ('--size 10,x5', 'is not of the form'),
    ('--size 1e9x5', 'is not of the form'),
    ('--margin 10001', 'is not of the form'),
    ('--margin ,', 'is not of the form'),
    ('--paper B99', 'Unknown paper'),
    ('--paper 0x10', 'Unknown paper'),
    ('--size 10', 'is not of the form'),
    ('--margin 1,2', 'is not of the form'),
    ('--margin -1', 'is not of the form'),
]
for options, error in REFUSED:
    done = run(tool, 'print', 'picture.ppm', '--to', 'refused.pdf', *options.split())
    if done.returncode != 2 or error not in done.stderr.decode() or run('ls', 'refused.pdf').returncode == 0:
        fail(options, done.returncode, done.stderr)
sys.exit(failed)
