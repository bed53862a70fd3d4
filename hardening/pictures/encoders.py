"""Writers of picture files in every variant that their formats allow, for judge.py.

Each takes samples as integers (height, width, channels) and returns the file's bytes. They are written apart from the library's
readers, from the formats' descriptions, and support what other writers avoid.
"""

import struct
import zlib


# ---- PNG

def png_chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def pack_rows(samples, bits, order="big"):
    """Rows of samples, each row padded to a byte; samples of 16 bits and more in the byte order `order`."""
    height, width, channels = samples.shape
    flat = samples.reshape(height, width * channels)
    if bits >= 16:
        kind = {16: "u2", 32: "u4", 64: "u8"}[bits]
        return [row.astype((">" if order == "big" else "<") + kind).tobytes() for row in flat]
    rows = []
    for row in flat:
        value = 0
        for sample in row:
            value = value << bits | int(sample)
        used = bits * len(row)
        size = (used + 7) // 8
        rows.append((value << (size * 8 - used)).to_bytes(size, "big"))
    return rows


def png_filter(rows, bpp, kind):
    """The rows with filter `kind` (0 to 4), or each another with 5."""
    out, above = [], bytes(len(rows[0]) if rows else 0)
    for y, row in enumerate(rows):
        f = y % 5 if kind == 5 else kind
        line = bytearray([f])
        for i, byte in enumerate(row):
            a = row[i - bpp] if i >= bpp else 0
            b = above[i]
            c = above[i - bpp] if i >= bpp else 0
            p = a + b - c
            nearest = min((abs(p - a), 0, a), (abs(p - b), 1, b), (abs(p - c), 2, c))[2]
            line.append((byte - (0, a, b, (a + b) // 2, nearest)[f]) & 255)
        out.append(bytes(line))
        above = row
    return b"".join(out)


ADAM7 = ((0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2))


def png(samples, depth, kind, interlaced=False, filters=5, palette=None, transparent=None, extra=b""):
    height, width, channels = samples.shape
    bpp = max(1, channels * depth // 8)
    passes = [samples[y::dy, x::dx] for x, y, dx, dy in ADAM7] if interlaced else [samples]
    data = b"".join(png_filter(pack_rows(p, depth), bpp, filters) for p in passes if p.size)
    header = struct.pack(">IIBBBBB", width, height, depth, kind, 0, 0, interlaced)
    out = b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", header) + extra
    if palette is not None:
        out += png_chunk(b"PLTE", bytes(c for entry in palette for c in entry[:3]))
    if transparent is not None:
        out += png_chunk(b"tRNS", transparent)
    return out + png_chunk(b"IDAT", zlib.compress(data)) + png_chunk(b"IEND", b"")


# ---- BMP

def mask_shift(mask):
    return (mask & -mask).bit_length() - 1 if mask else 0


def bmp(header, bits, rows, width, height, compression=0, masks=(), palette=(), top_down=False, used=0, gap=0):
    """`rows` are the bytes of the pixels in the order of the file; `header` is the size of the second header."""
    if header == 12:
        info = struct.pack("<IHHHH", 12, width, height, 1, bits)
        colours = b"".join(bytes((b, g, r)) for r, g, b in palette)
    else:
        info = struct.pack("<IiiHHIIiiII", header, width, -height if top_down else height, 1, bits, compression, len(rows), 2835,
                           2835, used or (len(palette) if palette and len(palette) != 1 << bits else 0), 0)
        colours = b"".join(bytes((b, g, r, 0)) for r, g, b in palette)
        given = struct.pack("<%dI" % len(masks), *masks)
        if header > 40:
            info += given[:header - 40].ljust(header - 40, b"\0")
        else:
            colours = given + colours
    offset = 14 + len(info) + len(colours) + gap
    return b"BM" + struct.pack("<IHHI", offset + len(rows), 0, 0, offset) + info + colours + bytes(gap) + rows


def bmp_rows(words, bits, top_down=False):
    """Words (height, width) of `bits` as rows, padded to four bytes."""
    rows = []
    for row in words if top_down else words[::-1]:
        if bits < 8:
            data = pack_rows(row.reshape(1, -1, 1), bits)[0]
        else:
            data = b"".join(int(word).to_bytes(bits // 8, "little") for word in row)
        rows.append(data + bytes(-len(data) % 4))
    return b"".join(rows)


def bmp_rle(indices, bits, skip=None):
    """Run-length rows; `skip(x, y)` leaves a pixel out, by a delta."""
    out = bytearray()
    height, width = indices.shape
    for y in range(height - 1, -1, -1):
        x = 0
        while x < width:
            if skip and skip(x, y):
                out += bytes((0, 2, 1, 0))
                x += 1
                continue
            end = x + 1
            while end < width and end - x < 255 and indices[y, end] == indices[y, x] and not (skip and skip(end, y)):
                end += 1
            literal = x + 1
            while literal < width and literal - x < 9 and not (skip and skip(literal, y)):
                literal += 1
            if end - x < 3 and literal - x >= 3:
                values = [int(v) for v in indices[y, x:literal]]
                data = bytes(values) if bits == 8 else pack_rows(indices[y, x:literal].reshape(1, -1, 1), 4)[0]
                out += bytes((0, len(values))) + data + bytes(len(data) % 2)
                x = literal
            else:
                value = int(indices[y, x])
                out += bytes((end - x, value if bits == 8 else value * 17))
                x = end
        out += b"\0\0"
    return bytes(out) + b"\0\1"


# ---- GIF

def gif_lzw(values, code_bits):
    clear, out, acc, used = 1 << code_bits, bytearray(), 0, 0
    table, size = {}, code_bits + 1

    def put(code):
        nonlocal acc, used
        acc |= code << used
        used += size
        while used >= 8:
            out.append(acc & 255)
            acc >>= 8
            used -= 8

    put(clear)
    table = {(i,): i for i in range(clear)}
    following, prefix = clear + 2, ()
    for value in values:
        if prefix + (value,) in table:
            prefix += (value,)
            continue
        put(table[prefix])
        if following < 4096:
            table[prefix + (value,)] = following
            if following == 1 << size and size < 12:
                size += 1
            following += 1
        else:
            put(clear)
            table = {(i,): i for i in range(clear)}
            following, size = clear + 2, code_bits + 1
        prefix = (value,)
    put(table[prefix])
    put(clear + 1)
    if used:
        out.append(acc & 255)
    return bytes(out)


def blocks(data, most=255):
    return b"".join(bytes((len(part),)) + part for part in (data[i:i + most] for i in range(0, len(data), most))) + b"\0"


def gif(screen, frames, palette=None, background=0, version=b"89a"):
    """`frames` are (left, top, indices, palette or None, interlaced, transparent index or None, code bits, disposal)."""
    def table(colours):
        bits = max(1, (len(colours) - 1).bit_length())
        return bits, b"".join(bytes(c[:3]) for c in colours) + bytes(3 * ((1 << bits) - len(colours)))

    bits, data = table(palette) if palette else (1, b"")
    out = b"GIF" + version + struct.pack("<HHBBB", *screen, (0x80 if palette else 0) | 0x70 | (bits - 1), background, 0) + data
    for left, top, indices, local, interlaced, transparent, code_bits, *disposal in frames:
        if transparent is not None or disposal:
            out += b"\x21\xf9\x04" + bytes((sum(disposal) << 2 | (transparent is not None), 0, 0, transparent or 0, 0))
        bits, data = table(local) if local else (1, b"")
        height, width = indices.shape
        out += b"," + struct.pack("<HHHHB", left, top, width, height, (0x80 | (bits - 1) if local else 0) | 0x40 * interlaced)
        order = [y for first, step in ((0, 8), (4, 8), (2, 4), (1, 2)) for y in range(first, height, step)] if interlaced \
            else range(height)
        values = [int(v) for y in order for v in indices[y]]
        out += data + bytes((code_bits,)) + blocks(gif_lzw(values, code_bits))
    return out + b";"


# ---- TIFF

def pack_bits(data):
    out, i = bytearray(), 0
    while i < len(data):
        end = i
        while end + 1 < len(data) and end - i < 127 and data[end + 1] == data[i]:
            end += 1
        if end > i:
            out += bytes((257 - (end - i + 1), data[i]))
            i = end + 1
            continue
        end = i + 1
        while end < len(data) and end - i < 128 and not (end + 1 < len(data) and data[end] == data[end + 1]):
            end += 1
        out += bytes((end - i - 1,)) + data[i:end]
        i = end
    return bytes(out)


def tiff_lzw(data):
    out, acc, used, size = bytearray(), 0, 0, 9
    table, following = {bytes((i,)): i for i in range(256)}, 258

    def put(code):
        nonlocal acc, used
        acc = acc << size | code
        used += size
        while used >= 8:
            out.append(acc >> (used - 8) & 255)
            used -= 8
        acc &= (1 << used) - 1

    put(256)
    prefix = b""
    for byte in data:
        longer = prefix + bytes((byte,))
        if longer in table:
            prefix = longer
            continue
        put(table[prefix])
        table[longer] = following
        following += 1
        if following == 4094:
            put(256)
            table, following, size = {bytes((i,)): i for i in range(256)}, 258, 9
        elif following + 1 > 1 << size:
            size += 1
        prefix = bytes((byte,))
    if prefix:
        put(table[prefix])
        following += 1
        if following + 1 > 1 << size and size < 12:
            size += 1
    put(257)
    if used:
        out.append(acc << (8 - used) & 255)
    return bytes(out)


COMPRESSIONS = {1: bytes, 5: tiff_lzw, 8: zlib.compress, 32946: zlib.compress, 32773: pack_bits}


def reverse_bits(data):
    return bytes(int("{:08b}".format(b)[::-1], 2) for b in data)


def predicted(samples, bits, predictor):
    import numpy as np
    if predictor != 2:
        return samples
    before = np.zeros_like(samples)
    before[:, 1:] = samples[:, :-1]
    return (samples - before) & ((1 << bits) - 1)


def float_predicted(rows, channels, bits):
    """Predictor 3: the bytes of a row by significance, each the difference to the one a pixel before it."""
    out, size = [], bits // 8
    for row in rows:  # big-endian
        planes = b"".join(row[i::size] for i in range(size))
        out.append(bytes((planes[i] - (planes[i - channels] if i >= channels else 0)) & 255 for i in range(len(planes))))
    return out


def tiff(samples, bits, photometric, order="little", planar=False, compression=1, predictor=1, strip=0, tile=0, fill=1,
         kind=1, extra=(), colours=None, tags=(), subsampling=None, base=0):
    """`kind` is the sample format: 1 unsigned, 2 signed, 3 float (then `samples` holds its bits as integers). `base` is where in a
    larger file it will be."""
    import numpy as np
    mark = "<" if order == "little" else ">"
    height, width, channels = samples.shape
    squeeze = COMPRESSIONS[compression]

    def block(part):
        part = predicted(part, bits, predictor)
        rows = pack_rows(part, bits, "big" if predictor == 3 else order)
        if predictor == 3:
            rows = float_predicted(rows, part.shape[2], bits)
        data = squeeze(b"".join(rows))
        return reverse_bits(data) if fill == 2 else data

    planes = [samples[:, :, c:c + 1] for c in range(channels)] if planar else [samples]
    parts = []
    rows_per_strip = strip or height
    if subsampling:
        parts = [squeeze(ycbcr_units(samples[y:y + rows_per_strip], *subsampling)) for y in range(0, height, rows_per_strip)]
    else:
        for plane in planes:
            if tile:
                padded = np.zeros((-(-height // tile) * tile, -(-width // tile) * tile, plane.shape[2]), samples.dtype)
                padded[:height, :width] = plane
                parts += [block(padded[y:y + tile, x:x + tile])
                          for y in range(0, padded.shape[0], tile) for x in range(0, padded.shape[1], tile)]
            else:
                parts += [block(plane[y:y + rows_per_strip]) for y in range(0, height, rows_per_strip)]

    SHORT, LONG = 3, 4
    entries = [(256, LONG, [width]), (257, LONG, [height]), (258, SHORT, [bits] * channels), (259, SHORT, [compression]),
               (262, SHORT, [photometric]), (277, SHORT, [channels]), (284, SHORT, [2 if planar else 1])]
    if fill != 1:
        entries.append((266, SHORT, [fill]))
    if predictor != 1:
        entries.append((317, SHORT, [predictor]))
    if kind != 1:
        entries.append((339, SHORT, [kind] * channels))
    if extra:
        entries.append((338, SHORT, list(extra)))
    if colours is not None:
        entries.append((320, SHORT, [c[i] * 257 for i in range(3) for c in colours]))
    if subsampling:
        entries.append((530, SHORT, list(subsampling)))
    entries += tags
    offsets, at, body = [], base + 8, b""
    for part in parts:
        offsets.append(at + len(body))
        body += part + bytes(len(part) % 2)
    if tile:
        entries += [(322, LONG, [tile]), (323, LONG, [tile]), (324, LONG, offsets), (325, LONG, [len(p) for p in parts])]
    else:
        entries += [(278, LONG, [rows_per_strip]), (273, LONG, offsets), (279, LONG, [len(p) for p in parts])]
    entries.sort()
    directory = at + len(body)
    values, after = b"", directory + 2 + 12 * len(entries) + 4
    table = struct.pack(mark + "H", len(entries))
    for tag, field, items in entries:
        code = {1: "B", 2: "s", 3: "H", 4: "I", 5: "I", 7: "B"}[field]
        data = items if field == 2 else struct.pack(mark + "%d%s" % (len(items), code), *items)
        count = len(items) // 2 if field == 5 else len(items)
        if len(data) > 4:
            place = struct.pack(mark + "I", after + len(values))
            values += data + bytes(len(data) % 2)
        else:
            place = data.ljust(4, b"\0")
        table += struct.pack(mark + "HHI", tag, field, count) + place
    head = (b"II" if order == "little" else b"MM") + struct.pack(mark + "HI", 42, directory)
    return head + body + table + bytes(4) + values


def tiff_chain(pages, order):
    """A file of pages, each a function that makes a file for a given `base`."""
    mark, out, link = "<" if order == "little" else ">", bytearray(), 4
    for make in pages:
        data = make(base=len(out))
        directory, = struct.unpack_from(mark + "I", data, 4)
        out += data
        struct.pack_into(mark + "I", out, link, directory)
        link = directory + 2 + 12 * struct.unpack_from(mark + "H", out, directory)[0]
    return bytes(out)


def ycbcr_units(part, across, down):
    """The samples of some rows as units of across x down luminances and two colour differences."""
    import numpy as np
    height, width, _ = part.shape
    padded = np.pad(part, ((0, -height % down), (0, -width % across), (0, 0)), mode="edge")
    out = bytearray()
    for y in range(0, padded.shape[0], down):
        for x in range(0, padded.shape[1], across):
            unit = padded[y:y + down, x:x + across]
            out += bytes(int(v) for v in unit[:, :, 0].flatten())
            out += bytes(int(round(unit[:, :, c].mean())) for c in (1, 2))
    return bytes(out)
