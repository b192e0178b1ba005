#!/usr/bin/env python3
"""Decodes a wavelet file: wavelet_decoder.py IN.dwt OUT. Written from docs/manual/wavelet_stream.md
alone, whose sections the names follow. OUT receives the bytes of the components one after another:
Y, or Y, U and V, each line by line without padding."""
import struct
import sys

TYPE_HUFFMAN, TYPE_RANS = 0, 1


class Corrupt(Exception):
    pass


# ------------------------------------------------------------------------ header and settings

def read_settings(block):
    """The steps of the bands, the size and the coding type of a component."""
    steps = size = coder = None
    while block:
        module, version, word = struct.unpack_from("<IHH", block)
        if version > 1:
            raise Corrupt("settings version")
        used = 8
        if module == 5:
            steps = struct.unpack_from(f"<{word}H", block, 8)
            used += 2 * word + 2
        elif module == 6:
            subbands = word
            size = struct.unpack_from("<II", block, 8)
            used += 8
        elif module == 8:
            coder = word
        elif module != 7 or word != 3:
            raise Corrupt("settings")
        block = block[used:]
    if len(steps) != subbands:
        raise Corrupt("number of steps")
    return steps, size, coder


def read_components(file):
    """Yields the settings and the coded bytes of each component."""
    magic, version, pixel_format, components = struct.unpack_from("<4sHHH", file)
    if magic != b"DWT\0" or version != 1 or (pixel_format, components) not in ((2, 1), (12, 3)):
        raise Corrupt("header")
    sizes = struct.unpack_from("<III", file, 10)
    chroma_settings = struct.unpack_from("<HH", file, 22) if components == 3 else (0, 0)
    (all_settings,) = struct.unpack_from("<H", file, 26)
    lengths = (all_settings - sum(chroma_settings),) + chroma_settings
    settings_at, data_at = 28, 28 + all_settings
    settings = None
    for component in range(components):
        if lengths[component]:
            settings = read_settings(file[settings_at:settings_at + lengths[component]])
        settings_at += lengths[component]
        yield settings, file[data_at:data_at + sizes[component]]
        data_at += sizes[component]


class Bytes:
    def __init__(self, data):
        self.data, self.at = data, 0

    def take(self, count):
        part = self.data[self.at:self.at + count]
        if len(part) != count:
            raise Corrupt("end of data")
        self.at += count
        return part

    def varint(self):
        value = shift = 0
        while True:
            (byte,) = self.take(1)
            value |= (byte & 127) << shift
            shift += 7
            if byte < 128:
                return value


# ------------------------------------------------------------------------ bands

def level_sizes(width, height, levels):
    sizes = [(width, height)]
    for _ in range(levels):
        sizes.append(((sizes[-1][0] + 1) // 2, (sizes[-1][1] + 1) // 2))
    return sizes


def band_size(width, height, subbands, band):
    levels = (subbands - 1) // 3
    sizes = level_sizes(width, height, levels)
    if band == 0:
        return sizes[levels]
    w, h = sizes[levels - 1 - (band - 1) // 3]
    return ((w // 2, (h + 1) // 2), ((w + 1) // 2, h // 2), (w // 2, h // 2))[(band - 1) % 3]


# ------------------------------------------------------------------------ contexts

def at(line, index):
    return line[index] if 0 <= index < len(line) else 0


def parent_terms(parent, row, count):
    line = lambda y: parent[y] if parent and 0 <= y < len(parent) else []
    above, here, below = line(row - 1), line(row), line(row + 1)
    return [(4 * at(here, i) + at(here, i - 1) + at(here, i + 1) + at(above, i) + at(below, i)) >> 2
            for i in range(count)]


def contexts_of(phase, even_above, odd_above, even_here, parent, count):
    contexts = []
    for i in range(count):
        if phase == 0:
            c = (8 * at(even_above, i) + 4 * (at(odd_above, i - 1) + at(odd_above, i))
                 + 3 * (at(even_above, i - 1) + at(even_above, i + 1)))
        else:
            c = (8 * (at(even_here, i) + at(even_here, i + 1) + at(odd_above, i))
                 + 2 * (at(even_above, i) + at(even_above, i + 1))
                 + at(odd_above, i - 1) + at(odd_above, i + 1))
        contexts.append(min(c + parent[i], 255))
    return contexts


def class_of(context, thresholds):
    return sum(context >= threshold for threshold in thresholds)


# ------------------------------------------------------------------------ coding type 1

RANS_CLASSES = [(1, 4, 200), (2, 38, 120), (2, 115, 195), (3, 205, 230), (4, 300, 290),
                (5, 380, 340), (6, 460, 410), (7, 530, 470), (7, 597, 535), (7, 658, 590),
                (7, 710, 645), (7, 770, 705), (7, 818, 750), (7, 857, 785), (7, 906, 820),
                (7, 953, 852)]
RANS_THRESHOLDS = [[1, 3, 6, 10, 14, 19, 25, 32, 40, 50, 64, 82, 105, 140, 185],
                   [1, 4, 8, 12, 17, 22, 28, 36, 46, 58, 74, 94, 120, 150, 200]]


class Table:
    def __init__(self, counts, alphabet):
        self.counts, self.alphabet, self.new = counts, alphabet, [0] * 16
        self.normalise()

    def normalise(self):
        self.total = sum(self.counts)
        shared = 1024 - len(self.alphabet)
        factor = (shared << 32) // max(self.total, 1)
        own = [count * factor >> 32 for count in self.counts]
        self.frequencies = [own[i] + (i in self.alphabet) for i in range(16)]
        self.frequencies[self.counts.index(max(self.counts))] += shared - sum(own)
        self.starts = [sum(self.frequencies[:i]) for i in range(16)]
        self.symbols = [i for i in range(16) for _ in range(self.frequencies[i])]
        if self.total > 16384:
            self.counts = [count // 2 for count in self.counts]

    def adapt(self):
        if sum(self.new) * 16 < max(self.total // 2, 384):
            return
        self.counts = [count + 16 * new for count, new in zip(self.counts, self.new)]
        self.new = [0] * 16
        self.normalise()


def value_table(limit, nonzero, larger):
    counts = [0] * 16
    counts[0] = 1024 - nonzero
    rest = nonzero
    for magnitude in range(1, limit + 1):
        counts[magnitude] = counts[16 - magnitude] = rest * (1024 - larger) // 2048
        rest -= 2 * counts[magnitude]
    counts[8] = rest
    return Table(counts, {*range(limit + 1), *range(16 - limit, 16), 8})


class RansModels:
    def __init__(self):
        self.values = [value_table(*row) for row in RANS_CLASSES]
        self.row_flag = Table([1024] + [0] * 15, {0, 1})
        self.lengths = Table([1024 >> (i + 1) for i in range(16)], set(range(16)))
        self.coefficients, self.interval = 0, 256

    def end_line(self):
        if self.coefficients < self.interval:
            return
        self.coefficients = 0
        self.interval = min(self.interval + self.interval // 4, 2048)
        for table in self.values + [self.row_flag, self.lengths]:
            table.adapt()

    def end_packet(self):
        pass


class RansPacket:
    def __init__(self, stream):
        packet = stream.take(stream.varint())
        packet += bytes(2 * max(0, 33 - len(packet)))
        (stored,) = struct.unpack_from("<H", packet)
        self.states, self.at = [], 2
        for lane in range(16):
            state = 65536
            if stored >> lane & 1:
                (state,) = struct.unpack_from("<I", packet, self.at)
                self.at += 4
            self.states.append(state)
        self.packet = packet

    def renormalise(self, lane):
        if self.states[lane] < 65536:
            (unit,) = struct.unpack_from("<H", self.packet + b"\0\0", self.at)
            self.states[lane] = self.states[lane] << 16 | unit
            self.at += 2

    def raw(self, lane, bits):
        value = self.states[lane] & ((1 << bits) - 1)
        self.states[lane] >>= bits
        self.renormalise(lane)
        return value

    def symbol(self, lane, table):
        slot = self.states[lane] & 1023
        symbol = table.symbols[slot]
        table.new[symbol] += 1
        self.states[lane] = (table.frequencies[symbol] * (self.states[lane] >> 10)
                             + slot - table.starts[symbol])
        self.renormalise(lane)
        return symbol

    def unit_header(self):
        return min(self.raw(0, 2), 2)

    def phase(self, models, phase, contexts):
        classes = [class_of(c, RANS_THRESHOLDS[phase]) for c in contexts]
        values = []
        for row in range(0, len(classes), 16):
            part = classes[row:row + 16]
            if len(part) == 16 and not any(part) and self.symbol(0, models.row_flag) == 0:
                values += [0] * 16
                continue
            symbols = [self.symbol(lane, models.values[k]) for lane, k in enumerate(part)]
            decoded = [s if s < 8 else s - 16 for s in symbols]
            for lane, symbol in enumerate(symbols):
                if symbol == 8:
                    decoded[lane] = self.escape(lane, models, RANS_CLASSES[part[lane]][0])
            values += decoded
        models.coefficients += len(values)
        return values

    def escape(self, lane, models, limit):
        length = self.symbol(lane, models.lengths)
        low_bits = min(length, 8)
        bits = self.raw(lane, low_bits + 1)
        rest = bits >> 1
        if length > 8:
            rest |= self.raw(lane, length - 8) << 8
        magnitude = limit + (1 << length) + rest
        return -magnitude if bits & 1 else magnitude

    def close(self):
        if self.states != [65536] * 16:
            raise Corrupt("final states")


# ------------------------------------------------------------------------ coding type 0

PREFIX_CODES = {(length, code): symbol for symbol, (code, length) in enumerate(
    [(464 + n, 9) for n in range(4)] + [(31, 5)] + [(n, 3) for n in range(1, 7)]
    + [(475 + n, 9) for n in range(21)])}
HUFFMAN_THRESHOLDS = [(3, 13, 49), (4, 21, 86)]
HUFFMAN_CLASSES = [(2, 0), (34, 12), (112, 118), (188, 790)]
# Short symbols: part of the run span, log2 of the parts, first excess, bits of the excess.
LAYOUTS = {
    "sparse": ([(0, 2, 0, 0), (1, 2, 0, 0), (2, 2, 0, 0), (3, 2, 0, 0), (0, 0, 1, 0)], 2, 1, 3),
    "medium": ([(0, 1, 0, 0), (1, 1, 0, 0), (0, 1, 1, 0), (1, 1, 1, 0), (0, 0, 2, 1)], 4, 2, 5),
    "dense": ([(0, 0, 0, 0), (0, 0, 1, 0), (0, 0, 2, 0), (0, 0, 3, 1), (0, 0, 5, 2)], 9, 3, 10),
}


def make_codebook(span_bits, shift):
    """symbol: (run, run bits, excess or None for a run of zeros only, excess bits)"""
    density = "dense" if span_bits == 0 else "medium" if span_bits == 1 else "sparse"
    short, excess, bits, _ = LAYOUTS[density]
    book = {5: (1 << span_bits, 0, None, 0)}
    for n, (part, part_bits, first, first_bits) in enumerate(short):
        run_bits = span_bits - part_bits
        book[6 + n] = (part << run_bits, run_bits, first << shift, first_bits + shift)
    excess, bits, symbol = excess << shift, bits + shift, 4
    while symbol < 32 and excess < 32768:
        bits = min(bits, 15)
        book[symbol] = (0, span_bits, excess, bits)
        excess += 1 << bits
        bits += 1
        symbol = max(symbol + 1, 11)
    return book


class HuffmanClass:
    def __init__(self, values, excess):
        self.coefficients, self.values, self.excess = 240, values, excess
        self.choose()
        self.pair = None  # zeros that remain, value or None, excess for the statistics

    def choose(self):
        if 3 * self.values >= 2 * self.coefficients:
            span = 0
        elif 2 * self.values >= self.coefficients:
            span = 1
        else:
            span = 2
            while span < 12 and self.values * 10 << span < self.coefficients * 11:
                span += 1
        limit = self.values * LAYOUTS[("dense", "medium", "sparse")[min(span, 2)]][3]
        shift = 0
        while shift < 12 and 2 * self.excess > limit << shift:
            shift += 1
        self.book = make_codebook(span, shift)

    def adapt(self):
        if self.values < 64 and self.coefficients < 8192:
            return
        self.choose()
        self.coefficients //= 2
        self.values = (self.values + 1) // 2
        self.excess //= 2


class HuffmanModels:
    def __init__(self):
        self.classes = [HuffmanClass(*row) for row in HUFFMAN_CLASSES]

    def end_line(self):
        for one in self.classes:
            one.adapt()

    def end_packet(self):
        for one in self.classes:
            one.pair = None


def prefix_symbols(data, count):
    """The symbols and the bytes that they occupy."""
    symbols, bit = [], 0
    for _ in range(count):
        code = length = 0
        while (length, code) not in PREFIX_CODES:
            if length == 9 or bit >= 8 * len(data):
                raise Corrupt("prefix code")
            code = code << 1 | data[bit // 8] >> (7 - bit % 8) & 1
            length, bit = length + 1, bit + 1
        symbols.append(PREFIX_CODES[length, code])
    return symbols, (bit + 7) // 8


class HuffmanPacket:
    def __init__(self, stream):
        count, extra_bytes, first_bytes = stream.varint(), stream.varint(), stream.varint()
        first, used = prefix_symbols(stream.take(first_bytes), count - count // 2)
        if used != first_bytes:
            raise Corrupt("first half")
        second, used = prefix_symbols(stream.data[stream.at:], count // 2)
        stream.take(used)
        self.symbols, self.next = first + second, 0
        self.extra, self.bit = int.from_bytes(stream.take(extra_bytes), "little"), 0

    def symbol(self):
        if self.next >= len(self.symbols):
            raise Corrupt("symbols")
        self.next += 1
        return self.symbols[self.next - 1]

    def bits(self, count):
        value = self.extra >> self.bit & ((1 << count) - 1)
        self.bit += count
        return value

    def unit_header(self):
        return self.symbol()

    def read_pair(self, model):
        entry = model.book.get(self.symbol())
        if entry is None:
            raise Corrupt("symbol")
        run, run_bits, excess, excess_bits = entry
        if excess is None:
            model.pair = [run, None, 0]
            return
        run += self.bits(run_bits)
        sign = self.bits(1)
        magnitude = 1 + excess + self.bits(excess_bits)
        typical = min(excess + ((1 << excess_bits) - 1) // 2, 32767)
        model.pair = [run, -magnitude if sign else magnitude, typical]

    def phase(self, models, phase, contexts):
        values = [0] * len(contexts)
        for start in range(0, len(contexts), 8192):
            classes = [class_of(c, HUFFMAN_THRESHOLDS[phase]) for c in contexts[start:start + 8192]]
            for k, model in enumerate(models.classes):
                positions = [start + i for i, own in enumerate(classes) if own == k]
                model.coefficients += len(positions)
                if positions:
                    self.read_class(model, positions, values)
        return values

    def read_class(self, model, positions, values):
        i = 0
        if model.pair is None:
            self.read_pair(model)
        while True:
            zeros = min(model.pair[0], len(positions) - i)
            i += zeros
            model.pair[0] -= zeros
            if i == len(positions):
                return
            _, value, typical = model.pair
            if value is not None:
                values[positions[i]] = value
                i += 1
                model.values += 1
                model.excess += typical
            self.read_pair(model)

    def close(self):
        if self.next != len(self.symbols):
            raise Corrupt("symbols are left")


# ------------------------------------------------------------------------ bands of a component

def decode_bands(settings, data):
    steps, (width, height), coder = settings
    packet_type, model_type = ((HuffmanPacket, HuffmanModels), (RansPacket, RansModels))[coder]
    subbands = len(steps)
    models = [model_type(), model_type()]
    stream, packet, covered = Bytes(data), None, 0
    bands, magnitudes = [], []
    for band in range(subbands):
        w, h = band_size(width, height, subbands, band)
        parent = magnitudes[band - 3] if band > 3 else None
        model = models[1 if band + 3 >= subbands else 0]
        values, sizes = [], []
        y = 0
        while y < h:
            lines = min(h - y, max(32768 // w, 1))
            if packet is None:
                packet, covered = packet_type(stream), 0
            content = packet.unit_header()
            for line in range(y, y + lines):
                if content == 0:
                    values.append([0] * w)
                    sizes.append([0] * w)
                    continue
                above = sizes[line - 1] if line else []
                terms = parent_terms(parent, line // 2, (w + 1) // 2)
                decoded = [0] * w
                even_sizes = []
                for phase in (0, 1):
                    contexts = contexts_of(phase, above[0::2], above[1::2], even_sizes, terms,
                                           (w + 1 - phase) // 2)
                    decoded[phase::2] = packet.phase(model, phase, contexts)
                    even_sizes = [min(abs(v), 15) for v in decoded[0::2]]
                model.end_line()
                sizes.append([min(abs(v), 15) for v in decoded])
                values.append([v - 1 if v < 0 and content == 1 else v for v in decoded])
            y += lines
            covered += lines * w
            if covered >= 131072 or (y >= h and band + 1 == subbands):
                packet.close()
                packet = None
                for one in models:
                    one.end_packet()
        bands.append(values)
        magnitudes.append(sizes)
    return bands


# ------------------------------------------------------------------------ quantiser and transform

def saturate(value):
    return max(-32768, min(32767, value))


def product(value, constant):
    return (value * constant + 8192) >> 14


def dequantise(bands, steps):
    def coefficient(value, step):
        half = (step + 1) >> 1
        return value * step + (half if value != 0 or step < 64 else 0)
    result = [[[coefficient(v, step) for v in line] for line in band]
              for band, step in zip(bands, steps)]
    headroom = int(any(abs(c) >= 32767 for band in result for line in band for c in line))
    return [[[saturate(c >> headroom) for c in line] for line in band] for band in result], headroom


def inverse_line(low, high):
    s = [product(v, 20155) for v in low]
    d = [product(v, -13318) for v in high]
    def before_and_after(i):
        return (d[max(i - 1, 0)] if i else d[0]) + d[min(i, len(d) - 1)]
    s = [s[i] - product(before_and_after(i), 7266) for i in range(len(s))]
    d = [d[i] - product(s[i] + s[min(i + 1, len(s) - 1)], 14466) for i in range(len(d))]
    s = [saturate(s[i] - product(before_and_after(i), -868)) for i in range(len(s))]
    d = [saturate(d[i] - product(s[i] + s[min(i + 1, len(s) - 1)], -25987)) for i in range(len(d))]
    line = [0] * (len(s) + len(d))
    line[0::2], line[1::2] = s, d
    return line


def inverse_columns(low, high):
    columns = [inverse_line(list(l), list(h)) for l, h in zip(zip(*low), zip(*high))]
    return [list(line) for line in zip(*columns)]


def inverse_transform(bands):
    picture = bands[0]
    for level in range((len(bands) - 1) // 3):
        horizontal, vertical, diagonal = bands[3 * level + 1:3 * level + 4]
        left = inverse_columns(picture, vertical)
        right = inverse_columns(horizontal, diagonal)
        picture = [inverse_line(l, r) for l, r in zip(left, right)]
    return picture


def decode_component(settings, data):
    coefficients, headroom = dequantise(decode_bands(settings, data), settings[0])
    samples = inverse_transform(coefficients)
    return bytes(max(0, min(255, ((saturate(s << headroom) + 32) >> 6) + 128))
                 for line in samples for s in line)


def main():
    with open(sys.argv[1], "rb") as file:
        data = file.read()
    with open(sys.argv[2], "wb") as out:
        for settings, coded in read_components(data):
            out.write(decode_component(settings, coded))


if __name__ == "__main__":
    main()
