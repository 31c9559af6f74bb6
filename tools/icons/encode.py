"""Image file writers for the status icons: PNG (RGBA) and GIF (palette, one transparent index).

Only the Python standard library is used; the GIF's LZW coder is written out here, together with
a decoder that checks every GIF we produce before it is accepted.
"""

import struct
import zlib


# ---------------------------------------------------------------------------------------------
# PNG

def _png_chunk(kind, data):
    body = kind + data
    return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)


def encode_png(rows):
    height, width = len(rows), len(rows[0])
    raw = bytearray()
    for row in rows:
        raw.append(0)  # filter type None
        for pixel in row:
            raw.extend(pixel)
    header = struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0)  # 8-bit RGBA
    data = (b"\x89PNG\r\n\x1a\n" + _png_chunk(b"IHDR", header) +
            _png_chunk(b"IDAT", zlib.compress(bytes(raw), 9)) + _png_chunk(b"IEND", b""))
    if zlib.decompress(data[8 + 25 + 8:-12 - 4]) != bytes(raw):
        raise ValueError("PNG image data does not inflate back to the pixels")
    return data


# ---------------------------------------------------------------------------------------------
# GIF

def flatten_for_gif(rows, background=(255, 255, 255), threshold=128):
    """GIF has no partial transparency: edge pixels are blended over the page background and
    pixels less than half covered become transparent. Returns (palette, indexes, transparent)."""
    flat = []
    for row in rows:
        for r, g, b, a in row:
            if a < threshold:
                flat.append(None)
            else:
                flat.append(tuple(round((c * a + bg * (255 - a)) / 255) for c, bg in zip((r, g, b), background)))
    shift = 0
    while True:
        colours = sorted({tuple((c >> shift) << shift for c in p) for p in flat if p is not None})
        if len(colours) <= 255:
            break
        shift += 1
    transparent = len(colours)
    palette = colours + [(0, 0, 0)]
    lookup = {c: i for i, c in enumerate(colours)}
    indexes = [transparent if p is None else lookup[tuple((c >> shift) << shift for c in p)] for p in flat]
    return palette, indexes, transparent


class _BitWriter:
    def __init__(self):
        self.bytes = bytearray()
        self.buffer = 0
        self.count = 0

    def write(self, code, size):
        self.buffer |= code << self.count
        self.count += size
        while self.count >= 8:
            self.bytes.append(self.buffer & 0xFF)
            self.buffer >>= 8
            self.count -= 8

    def finish(self):
        if self.count:
            self.bytes.append(self.buffer & 0xFF)
        return bytes(self.bytes)


def lzw_encode(indexes, min_code_size):
    clear = 1 << min_code_size
    end = clear + 1
    out = _BitWriter()

    def reset():
        return {(None, i): i for i in range(clear)}, clear + 2, min_code_size + 1

    table, next_code, code_size = reset()
    out.write(clear, code_size)
    prefix = None
    for index in indexes:
        key = (prefix, index)
        if key in table:
            prefix = table[key]
            continue
        out.write(prefix, code_size)
        table[key] = next_code
        next_code += 1
        if next_code > (1 << code_size) and code_size < 12:
            code_size += 1
        if next_code == 4096:
            # The table is full: start a new one rather than keep coding with a frozen table.
            out.write(clear, code_size)
            table, next_code, code_size = reset()
        prefix = table[(None, index)]
    if prefix is not None:
        out.write(prefix, code_size)
        # The decoder adds one more entry on reading this last code and may widen its codes
        # before it reads the end code.
        if next_code == (1 << code_size) and code_size < 12:
            code_size += 1
    out.write(end, code_size)
    return out.finish()


def lzw_decode(data, min_code_size):
    clear = 1 << min_code_size
    end = clear + 1
    position = 0
    bits = 0
    value = 0
    result = []
    table = None
    code_size = min_code_size + 1
    previous = None
    stream = iter(data)
    while True:
        while bits < code_size:
            value |= next(stream) << bits
            bits += 8
        code = value & ((1 << code_size) - 1)
        value >>= code_size
        bits -= code_size
        position += 1
        if code == clear:
            table = [[i] for i in range(clear)] + [None, None]
            code_size = min_code_size + 1
            previous = None
            continue
        if code == end:
            return result
        if previous is None:
            entry = table[code]
        elif code < len(table):
            entry = table[code]
            table.append(table[previous] + [entry[0]])
        elif code == len(table):
            entry = table[previous] + [table[previous][0]]
            table.append(entry)
        else:
            raise ValueError("bad LZW code %d at %d" % (code, position))
        result.extend(entry)
        previous = code
        if len(table) == (1 << code_size) and code_size < 12:
            code_size += 1


def encode_gif(rows):
    height, width = len(rows), len(rows[0])
    palette, indexes, transparent = flatten_for_gif(rows)
    table_bits = max(1, (len(palette) - 1).bit_length())
    min_code_size = max(2, table_bits)
    colour_table = b"".join(bytes(c) for c in palette) + b"\x00" * 3 * ((1 << table_bits) - len(palette))
    lzw = lzw_encode(indexes, min_code_size)
    if lzw_decode(lzw, min_code_size) != indexes:
        raise ValueError("GIF LZW data does not decode back to the pixels")
    blocks = b"".join(bytes([len(lzw[i:i + 255])]) + lzw[i:i + 255] for i in range(0, len(lzw), 255))
    return (b"GIF89a" + struct.pack("<HHBBB", width, height, 0x80 | 0x70 | (table_bits - 1), 0, 0) +
            colour_table +
            b"\x21\xF9\x04\x01\x00\x00" + bytes([transparent]) + b"\x00" +  # transparency
            b"\x2C" + struct.pack("<HHHHB", 0, 0, width, height, 0) +
            bytes([min_code_size]) + blocks + b"\x00" + b"\x3B")


def flattened_rows(rows):
    """The pixels as the GIF shows them (for previews)."""
    palette, indexes, transparent = flatten_for_gif(rows)
    width = len(rows[0])
    out = []
    for y in range(len(rows)):
        out.append([(0, 0, 0, 0) if i == transparent else palette[i] + (255,)
                    for i in indexes[y * width:(y + 1) * width]])
    return out
