#!/usr/bin/env python3
"""Makes the PNG corpus of the decoder's tests, and the reference pixels of each file.

Rerun from anywhere, with ImageMagick's `convert` on the path:

    python3 tests/png/make_corpus.py

It rewrites every im_*.png, py_*.png and their .rgba files beside this script;
the output is the same on every run. A .rgba file is the image's pixels as raw
bytes R, G, B, A, row by row from the top, made by `convert x.png -depth 8
rgba:x.rgba`. Every reference is also checked against this script's own small
decoder (Python's zlib and the PNG row filters), and, for the files built
here, against the pixels they were built from; any disagreement stops the run.

im_*  files come from ImageMagick (libpng and zlib behind it) with the
      encoder's own choices: every accepted colour type and palette depth,
      its adaptive row filters (Sub, then Paeth), stored, fixed-code,
      Huffman-only and run-length deflate. (This ImageMagick ignores a
      request for one particular filter, so the py_ files cover each.)
py_*  files are put together here from Python's zlib and struct: one row
      filter per row with each filter first in some file, the stream split
      into IDAT chunks of a few bytes with other chunks between them, stored
      blocks whose headers straddle chunks, many small dynamic blocks, empty
      blocks from flushes, a small window, ancillary chunks, and a deflate
      stream written bit by bit to reach cases zlib's encoder does not write.
"""
import os
import struct
import subprocess
import sys
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))

GREY, RGB, PALETTE, RGBA = 0, 2, 3, 6
CHANNELS = {GREY: 1, RGB: 3, PALETTE: 1, RGBA: 4}


# ---- PNG files ----

def chunk(kind, payload):
    return (struct.pack(">I", len(payload)) + kind + payload +
            struct.pack(">I", zlib.crc32(kind + payload)))


def header(width, height, depth, colour_type):
    return chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, depth, colour_type, 0, 0, 0))


def png_file(ihdr, stream, before=(), pieces=None, between=(), after=()):
    """A file around a zlib stream: `before` chunks, the stream in IDAT chunks
    of the sizes in `pieces` (the rest in one), `between` chunks after each
    IDAT but the last, `after` chunks, then IEND."""
    out = b"\x89PNG\r\n\x1a\n" + ihdr + b"".join(before)
    sizes = list(pieces or [])
    position = 0
    parts = []
    while position < len(stream):
        size = sizes.pop(0) if sizes else len(stream) - position
        parts.append(stream[position:position + size])
        position += size
    for i, part in enumerate(parts):
        out += chunk(b"IDAT", part)
        if i + 1 < len(parts):
            out += b"".join(between)
    return out + b"".join(after) + chunk(b"IEND", b"")


# ---- row filters ----

def paeth(a, b, c):
    p = a + b - c
    pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
    if pa <= pb and pa <= pc:
        return a
    return b if pb <= pc else c


def predict(kind, row, above, i, distance):
    a = row[i - distance] if i >= distance else 0
    b = above[i]
    c = above[i - distance] if i >= distance else 0
    return [0, a, b, (a + b) // 2, paeth(a, b, c)][kind]


def filter_rows(rows, kinds, distance):
    """Raw scanlines, each row filtered with the kind given for it."""
    out = bytearray()
    above = bytes(len(rows[0]))
    for row, kind in zip(rows, kinds):
        out.append(kind)
        out += bytes((row[i] - predict(kind, row, above, i, distance)) & 0xFF
                     for i in range(len(row)))
        above = row
    return bytes(out)


def unfilter_rows(raw, height, stride, distance):
    rows = []
    above = bytes(stride)
    for y in range(height):
        kind = raw[y * (stride + 1)]
        if kind > 4:
            raise ValueError("filter byte %d" % kind)
        line = raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)]
        row = bytearray(stride)
        for i in range(stride):
            row[i] = (line[i] + predict(kind, row, above, i, distance)) & 0xFF
        rows.append(bytes(row))
        above = rows[-1]
    return rows


# ---- pixels ----

def pack_indices(indices, depth):
    """One row of palette indices, most significant first, padded to a byte."""
    out = bytearray()
    per_byte = 8 // depth
    for start in range(0, len(indices), per_byte):
        byte = 0
        group = indices[start:start + per_byte]
        for j, index in enumerate(group):
            byte |= index << (8 - depth * (j + 1))
        out.append(byte)
    return bytes(out)


def unpack_indices(row, width, depth):
    mask = (1 << depth) - 1
    return [row[i * depth // 8] >> (8 - depth - i * depth % 8) & mask for i in range(width)]


def rows_to_rgba(rows, width, depth, colour_type, palette=None, alpha=b""):
    """Reference pixels of unfiltered rows. The transparent colour of a grey or
    RGB file is not applied; a palette's missing entries are opaque black."""
    out = bytearray()
    for row in rows:
        if colour_type == GREY:
            for g in row[:width]:
                out += bytes((g, g, g, 255))
        elif colour_type == RGB:
            for i in range(width):
                out += row[3 * i:3 * i + 3] + b"\xff"
        elif colour_type == RGBA:
            out += row[:4 * width]
        else:
            for index in unpack_indices(row, width, depth):
                rgb = palette[3 * index:3 * index + 3] if 3 * index < len(palette) else b""
                out += (rgb or b"\0\0\0") + bytes((alpha[index] if index < len(alpha) else 255,))
    return bytes(out)


def python_decode(data):
    """This script's own reading of a file in the accepted set."""
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    position = 8
    stream, palette, alpha = b"", b"", b""
    while position < len(data):
        length, kind = struct.unpack(">I4s", data[position:position + 8])
        payload = data[position + 8:position + 8 + length]
        if kind == b"IHDR":
            width, height, depth, colour_type = struct.unpack(">IIBB", payload[:10])
        elif kind == b"IDAT":
            stream += payload
        elif kind == b"PLTE":
            palette = payload
        elif kind == b"tRNS":
            alpha = payload
        elif kind == b"IEND":
            break
        position += 12 + length
    bits = depth * CHANNELS[colour_type]
    stride = (width * bits + 7) // 8
    raw = zlib.decompress(stream)
    assert len(raw) == height * (stride + 1)
    rows = unfilter_rows(raw, height, stride, max(1, bits // 8))
    return rows_to_rgba(rows, width, depth, colour_type, palette, alpha)


# ---- content: smooth gradients with some noise, so every filter has work ----

class Noise:
    """A small deterministic generator (a 32-bit xorshift)."""

    def __init__(self, seed):
        self.state = seed

    def next(self):
        x = self.state
        x ^= (x << 13) & 0xFFFFFFFF
        x ^= x >> 17
        x ^= (x << 5) & 0xFFFFFFFF
        self.state = x
        return x

    def byte(self):
        return self.next() & 0xFF


def sample_rows(width, height, channels, seed, levels=256):
    """Left third noise of so many levels, middle third gradients, right third
    flat (ties for Paeth)."""
    noise = Noise(seed)
    rows = []
    for y in range(height):
        row = bytearray()
        for x in range(width):
            for c in range(channels):
                if x < width // 3:
                    row.append(noise.byte() % levels * (256 // levels))
                elif x < 2 * width // 3:
                    row.append((x * 37 + y * 23 + c * 71) & 0xFF)
                else:
                    row.append((c * 90 + 200) & 0xFF)
        rows.append(bytes(row))
    return rows


# ---- a deflate stream written bit by bit (RFC 1951) ----

class BitWriter:
    def __init__(self):
        self.bits = []

    def write(self, value, count):
        """A number, least significant bit first."""
        self.bits += [(value >> i) & 1 for i in range(count)]

    def code(self, code, length):
        """A Huffman code, most significant bit first."""
        self.bits += [(code >> (length - 1 - i)) & 1 for i in range(length)]

    def align(self):
        self.bits += [0] * (-len(self.bits) % 8)

    def data(self):
        self.align()
        return bytes(sum(self.bits[i + j] << j for j in range(8))
                     for i in range(0, len(self.bits), 8))


def canonical_codes(lengths):
    """{symbol: (code, length)} for the lengths, assigned as RFC 1951 3.2.2 says."""
    count = [0] * 16
    for length in lengths:
        count[length] += 1
    count[0] = 0
    next_code, code = [0] * 16, 0
    for length in range(1, 16):
        code = (code + count[length - 1]) << 1
        next_code[length] = code
    codes = {}
    for symbol, length in enumerate(lengths):
        if length:
            codes[symbol] = (next_code[length], length)
            next_code[length] += 1
    return codes


FIXED_LITERALS = canonical_codes([8] * 144 + [9] * 112 + [7] * 24 + [8] * 8)
FIXED_DISTANCES = canonical_codes([5] * 30)
LENGTH_BASE = [3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 15, 17, 19, 23, 27, 31,
               35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258]
LENGTH_EXTRA = [0] * 8 + [1] * 4 + [2] * 4 + [3] * 4 + [4] * 4 + [5] * 4 + [0]
DISTANCE_BASE = [1, 2, 3, 4, 5, 7, 9, 13, 17, 25, 33, 49, 65, 97, 129, 193,
                 257, 385, 513, 769, 1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577]
DISTANCE_EXTRA = [0, 0, 0, 0] + [i // 2 - 1 for i in range(4, 30)]
CODE_LENGTH_ORDER = [16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15]


def write_symbols(out, items, literals, distances):
    """Items are a literal byte, or (length, distance) for a copy."""
    for item in items:
        if isinstance(item, int):
            out.code(*literals[item])
            continue
        length, distance = item
        index = max(i for i in range(29) if LENGTH_BASE[i] <= length)
        out.code(*literals[257 + index])
        out.write(length - LENGTH_BASE[index], LENGTH_EXTRA[index])
        index = max(i for i in range(30) if DISTANCE_BASE[i] <= distance)
        out.code(*distances[index])
        out.write(distance - DISTANCE_BASE[index], DISTANCE_EXTRA[index])
    out.code(*literals[256])


def code_length_lengths(used):
    """A complete code over the code length symbols used, shortest for the first."""
    lengths = [0] * 19
    for i, symbol in enumerate(used):
        lengths[symbol] = min(i + 1, len(used) - 1)
    return lengths


def handmade_stream(rows):
    """A zlib stream of four blocks over the rows of py_handmade_deflate:
    fixed (a copy reaching back to the first byte, a copy overlapping
    itself), dynamic (code length runs of all three kinds, one of them
    crossing from the literal lengths into the distance lengths, and a
    distance code of a single one-bit code), stored after a partial byte, and
    fixed again, last, with copies of the longest length."""
    raw = b"".join(rows)
    out = BitWriter()

    # Block 1: fixed. Row 0 as literals, row 1 a copy of all of it, row 2 a run.
    out.write(0, 1)
    out.write(1, 2)
    items = list(rows[0]) + [(17, 17), rows[2][0], rows[2][1], (15, 1)]
    write_symbols(out, items, FIXED_LITERALS, FIXED_DISTANCES)

    # Block 2: dynamic. Rows 3 and 4, each a period of 4 copied forward.
    literal_lengths = [0] * 286
    for symbol in (1, 2, 3, 4, 5, 7):
        literal_lengths[symbol] = 3
    for symbol in (9, 250, 256, 265):
        literal_lengths[symbol] = 4
    distance_lengths = [0, 0, 0, 1]  # the one distance used is 4
    lengths = literal_lengths + distance_lengths
    # The lengths as code length symbols: (symbol, extra value, extra bits).
    runs = [(0, 0, 0), (3, 0, 0), (16, 1, 2), (0, 0, 0), (3, 0, 0), (0, 0, 0), (4, 0, 0),
            (18, 127, 7), (18, 91, 7), (4, 0, 0), (17, 2, 3), (4, 0, 0), (17, 5, 3),
            (4, 0, 0), (18, 12, 7), (1, 0, 0)]
    check = []
    for symbol, extra, _ in runs:
        if symbol < 16:
            check.append(symbol)
        elif symbol == 16:
            check += [check[-1]] * (3 + extra)
        else:
            check += [0] * ((3 if symbol == 17 else 11) + extra)
    assert check == lengths, "the runs spell the lengths"
    used = [0, 3, 4, 18, 17, 16, 1]
    cl_lengths = code_length_lengths(used)
    cl_codes = canonical_codes(cl_lengths)
    out.write(0, 1)
    out.write(2, 2)
    out.write(len(literal_lengths) - 257, 5)
    out.write(len(distance_lengths) - 1, 5)
    out.write(19 - 4, 4)
    for symbol in CODE_LENGTH_ORDER:
        out.write(cl_lengths[symbol], 3)
    for symbol, extra, extra_bits in runs:
        out.code(*cl_codes[symbol])
        out.write(extra, extra_bits)
    items = [rows[3][0]] + list(rows[3][1:5]) + [(12, 4)] + [rows[4][0]] + list(rows[4][1:5]) + [(12, 4)]
    write_symbols(out, items, canonical_codes(literal_lengths), canonical_codes(distance_lengths))

    # Block 3: stored, after the dynamic block's partial byte.
    out.write(0, 1)
    out.write(0, 2)
    out.align()
    out.write(len(rows[5]), 16)
    out.write(len(rows[5]) ^ 0xFFFF, 16)
    for byte in rows[5]:
        out.write(byte, 8)

    # Block 4: fixed, last. Sixteen rows of zeros: 1 + 258 + 13 bytes.
    out.write(1, 1)
    out.write(1, 2)
    write_symbols(out, [0, (258, 1), (13, 1)], FIXED_LITERALS, FIXED_DISTANCES)

    stream = b"\x78\x01" + out.data() + struct.pack(">I", zlib.adler32(raw))
    assert zlib.decompress(stream) == raw, "zlib reads the hand-made stream as meant"
    return stream


# ---- the files ----

def compress(raw, level=9, wbits=15, mem_level=8, strategy=zlib.Z_DEFAULT_STRATEGY):
    z = zlib.compressobj(level, zlib.DEFLATED, wbits, mem_level, strategy)
    return z.compress(raw) + z.flush()


def python_files():
    """(name, file bytes, reference pixels, the file as libpng takes it) for
    each file built here."""
    files = []

    def filtered(name, width, height, colour_type, first_filter, seed, depth=8, palette=b"",
                 alpha=b"", stream_of=compress, levels=256, **layout):
        if colour_type == PALETTE:
            noise = Noise(seed)
            entries = min(1 << depth, len(palette) // 3)
            indices = [[(x * 3 + y + (noise.byte() & 3)) % entries for x in range(width)]
                       for y in range(height)]
            rows = [pack_indices(row, depth) for row in indices]
        else:
            rows = sample_rows(width, height, CHANNELS[colour_type], seed, levels)
        distance = max(1, depth * CHANNELS[colour_type] // 8)
        kinds = [(first_filter + y) % 5 for y in range(height)]
        raw = filter_rows(rows, kinds, distance)
        stream = stream_of(raw)
        data = png_file(header(width, height, depth, colour_type), stream, **layout)
        # libpng refuses chunks between IDAT chunks, so ImageMagick is shown
        # the same file without them.
        layout.pop("between", None)
        conforming = png_file(header(width, height, depth, colour_type), stream, **layout)
        files.append((name, data, rows_to_rgba(rows, width, depth, colour_type, palette, alpha),
                      conforming))

    palette16 = bytes((i * 16, 255 - i * 16, (i * 97) & 0xFF)[c] for i in range(16) for c in range(3))
    palette_chunk = chunk(b"PLTE", palette16)

    # Each filter kind begins some file, so each meets the zero row above the image.
    filtered("py_filters_grey", 23, 11, GREY, 1, 11)
    filtered("py_filters_rgb", 19, 10, RGB, 2, 12)
    filtered("py_filters_rgba", 17, 10, RGBA, 3, 13)
    filtered("py_filters_palette8", 21, 10, PALETTE, 4, 14, palette=palette16,
             before=[palette_chunk])
    filtered("py_filters_palette1", 29, 10, PALETTE, 0, 15, depth=1, palette=palette16,
             before=[palette_chunk])

    # The stream in IDAT chunks of 1 to 13 bytes, with a zero-length IDAT and
    # other chunks between them.
    text = chunk(b"tEXt", b"Comment\0between the data")
    private = chunk(b"prVt", b"\x01\x02\x03")
    filtered("py_split_idat", 20, 12, RGBA, 0, 21, pieces=[1, 2, 3, 0, 5, 7, 11, 13] * 40,
             between=[text, private])

    # Stored blocks only, one per row (full flushes), in 3-byte chunks so that
    # block headers and LEN fields straddle chunks.
    def stored_rows(raw, stride=16 * 3 + 1):
        z = zlib.compressobj(0)
        out = b""
        for y in range(0, len(raw), stride):
            out += z.compress(raw[y:y + stride]) + z.flush(zlib.Z_FULL_FLUSH)
        return out + z.flush()
    filtered("py_stored_blocks", 16, 9, RGB, 0, 31, stream_of=stored_rows, pieces=[3] * 200)

    # A dozen small dynamic blocks (the encoder's symbol buffer holds 128),
    # with a 512-byte window.
    filtered("py_many_dynamic_blocks", 48, 32, RGBA, 0, 41, levels=4,
             stream_of=lambda raw: compress(raw, 9, 9, 1))

    # Flushes between rows leave empty stored blocks (sync and full flush) and
    # empty fixed blocks (partial flush) among fixed and dynamic ones.
    def flushed(raw, stride=24 * 4 + 1):
        z = zlib.compressobj(6)
        kinds = [zlib.Z_SYNC_FLUSH, zlib.Z_PARTIAL_FLUSH, zlib.Z_FULL_FLUSH, zlib.Z_NO_FLUSH]
        out = b""
        for i, y in enumerate(range(0, len(raw), stride)):
            out += z.compress(raw[y:y + stride]) + z.flush(kinds[i % 4])
        return out + z.flush()
    filtered("py_flushes", 24, 12, RGBA, 0, 51, levels=4, stream_of=flushed)

    filtered("py_fixed_huffman", 24, 12, RGB, 0, 61,
             stream_of=lambda raw: compress(raw, 9, 15, 8, zlib.Z_FIXED))

    # Ancillary chunks before and after the data, a suggested palette, and a
    # transparent colour that the decoder leaves opaque.
    ancillary = [chunk(b"gAMA", struct.pack(">I", 45455)), chunk(b"sRGB", b"\0"),
                 chunk(b"pHYs", struct.pack(">IIB", 2835, 2835, 1)),
                 chunk(b"PLTE", b"\x10\x20\x30" * 4),
                 chunk(b"tRNS", struct.pack(">HHH", 200, 200, 200))]
    filtered("py_ancillary_chunks", 15, 8, RGB, 0, 71, before=ancillary,
             after=[chunk(b"tIME", b"\x07\xe8\x01\x02\x03\x04\x05")])

    # Palette depths 2 and 4 with a tRNS shorter than the palette, and odd widths.
    short_palette = palette16[:3 * 6]
    alpha = bytes((0, 64, 128))
    for depth, width in ((2, 13), (4, 7)):
        filtered("py_palette%d_short" % depth, width, 6, PALETTE, 0, 80 + depth, depth=depth,
                 palette=short_palette, alpha=alpha,
                 before=[chunk(b"PLTE", short_palette), chunk(b"tRNS", alpha)])

    # A single pixel.
    filtered("py_one_pixel", 1, 1, PALETTE, 0, 91, depth=1, palette=palette16[:6],
             before=[chunk(b"PLTE", palette16[:6])])

    # The hand-made deflate stream: grey, 16 wide, 22 rows.
    width = 16
    noise = Noise(101)
    rows = [bytes([0] + [10 * (i + 1) for i in range(width)])]
    rows.append(rows[0])
    rows.append(bytes([0] + [200] * width))
    rows.append(bytes([1] + [5, 250, 7, 9] * 4))
    rows.append(bytes([2] + [1, 2, 3, 4] * 4))
    rows.append(bytes([4] + [noise.byte() for _ in range(width)]))
    rows += [bytes(width + 1)] * 16
    stream = handmade_stream(rows)
    raw = b"".join(rows)
    pixels = unfilter_rows(raw, len(rows), width, 1)
    data = png_file(header(width, len(rows), 8, GREY), stream)
    files.append(("py_handmade_deflate", data, rows_to_rgba(pixels, width, 8, GREY), data))
    return files


IMAGE = ["-size", "40x30", "-seed", "3", "plasma:red-blue", "-blur", "0x3"]
WITH_ALPHA = IMAGE + ["-alpha", "set", "-channel", "A", "-fx", "i/w", "+channel"]
SMALL = ["-size", "37x9", "-seed", "5", "plasma:"]

IMAGEMAGICK_FILES = [
    ("im_rgba", WITH_ALPHA + ["-depth", "8", "PNG32:"]),
    ("im_rgb", IMAGE + ["-depth", "8", "PNG24:"]),
    ("im_grey", IMAGE + ["-colorspace", "Gray", "-depth", "8", "-define", "png:color-type=0",
                         "-define", "png:bit-depth=8", "PNG:"]),
    ("im_palette8_trns", WITH_ALPHA + ["PNG8:"]),
    ("im_palette4", SMALL + ["-colors", "16", "-define", "png:bit-depth=4",
                             "-define", "png:color-type=3", "PNG:"]),
    ("im_palette2", SMALL + ["-colors", "4", "-define", "png:bit-depth=2",
                             "-define", "png:color-type=3", "PNG:"]),
    ("im_palette1", SMALL + ["-colors", "2", "-define", "png:bit-depth=1",
                             "-define", "png:color-type=3", "PNG:"]),
    ("im_stored", IMAGE + ["-depth", "8", "-define", "png:compression-level=0", "PNG24:"]),
    ("im_fixed", WITH_ALPHA + ["-depth", "8", "-define", "png:compression-strategy=4", "PNG32:"]),
    ("im_huffman_only", IMAGE + ["-depth", "8", "-define", "png:compression-strategy=2", "PNG24:"]),
    ("im_run_length", IMAGE + ["-depth", "8", "-define", "png:compression-strategy=3", "PNG24:"]),
]


def convert(*arguments):
    return subprocess.run(["convert", *arguments], check=True, stdout=subprocess.PIPE).stdout


def imagemagick_pixels(path):
    return convert(path, "-depth", "8", "rgba:-")


def main():
    names = set()
    for name, arguments in IMAGEMAGICK_FILES:
        path = os.path.join(HERE, name + ".png")
        format_prefix = arguments[-1]
        convert(*arguments[:-1], "-strip", format_prefix + path)
        with open(path, "rb") as f:
            data = f.read()
        reference = imagemagick_pixels(path)
        if python_decode(data) != reference:
            sys.exit("%s: ImageMagick and this script read different pixels" % name)
        with open(os.path.join(HERE, name + ".rgba"), "wb") as f:
            f.write(reference)
        names.add(name)

    for name, data, reference, conforming in python_files():
        path = os.path.join(HERE, name + ".png")
        if python_decode(data) != reference:
            sys.exit("%s: this script reads other pixels than it wrote" % name)
        with open(path, "wb") as f:
            f.write(conforming)
        by_imagemagick = imagemagick_pixels(path)
        with open(path, "wb") as f:
            f.write(data)
        if name == "py_ancillary_chunks":
            # ImageMagick applies the transparent colour; this decoder does not.
            by_imagemagick = bytes(255 if i % 4 == 3 else b for i, b in enumerate(by_imagemagick))
        if by_imagemagick != reference:
            sys.exit("%s: ImageMagick reads other pixels than were written" % name)
        with open(os.path.join(HERE, name + ".rgba"), "wb") as f:
            f.write(reference)
        names.add(name)

    for entry in sorted(os.listdir(HERE)):
        stem, extension = os.path.splitext(entry)
        if extension in (".png", ".rgba") and stem not in names:
            os.remove(os.path.join(HERE, entry))
    print("%d files with references in %s" % (len(names), HERE))


if __name__ == "__main__":
    main()
