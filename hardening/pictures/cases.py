"""Pictures of all kinds, each with what it shows, and damaged ones, for judge.py."""

import dataclasses
import functools
import io
import itertools
import pathlib
import random
import struct

import numpy as np
from PIL import Image

import encoders as e

MUST, MAY, NEVER = "must", "may", "never"  # be read; refused is what it may also be, or must be
BYTE = 0.51 / 255
JPEG = 18 / 255


@dataclasses.dataclass
class Case:
    name: str
    data: bytes
    truth: np.ndarray = None  # (height, width, 4), straight alpha, 0 to 1; None: what the other decoder reads
    expect: str = MUST
    tolerance: float = BYTE
    before: "Case" = None  # it was damaged
    frame: int = 0


def noise(height, width, channels, bits, seed=1):
    """Smooth in one half and noisy in the other, with both ends of the range."""
    rng = np.random.default_rng(seed)
    top = (1 << bits) - 1
    y, x, c = np.mgrid[0:height, 0:width, 0:channels]
    smooth = (x * 7 + y * 5 + c * 11) * top // (7 * width + 5 * height + 11 * channels)
    mixed = np.where(x < width // 2, smooth, rng.integers(0, top + 1, (height, width, channels)))
    mixed[0, 0], mixed[-1, -1] = 0, top
    return mixed.astype(np.int64)


def rgba(colours, alpha=None):
    """Colours of one or three channels, 0 to 1, with alpha."""
    colours = np.asarray(colours, float)
    if colours.shape[2] == 1:
        colours = np.repeat(colours, 3, axis=2)
    alpha = np.ones(colours.shape[:2]) if alpha is None else alpha
    return np.dstack([colours, alpha])


def palette_of(count, seed=3):
    rng = np.random.default_rng(seed)
    return [tuple(int(v) for v in row) for row in rng.integers(0, 256, (count, 3))]


def looked_up(indices, palette, alphas=()):
    entries = np.array([(*p[:3], 255) for p in palette] + [(0, 0, 0, 255)] * (256 - len(palette)), float) / 255
    for i, alpha in enumerate(alphas):
        entries[i, 3] = alpha / 255
    return entries[indices]


# ---- PNG

def pngs():
    kinds = [(0, 1, 1), (0, 2, 1), (0, 4, 1), (0, 8, 1), (0, 16, 1), (2, 8, 3), (2, 16, 3), (3, 1, 1), (3, 2, 1), (3, 4, 1),
             (3, 8, 1), (4, 8, 2), (4, 16, 2), (6, 8, 4), (6, 16, 4)]
    for (kind, depth, channels), interlaced, (w, h) in itertools.product(kinds, (False, True), ((1, 1), (7, 5), (33, 19))):
        samples = noise(h, w, channels, depth)
        top = (1 << depth) - 1
        name = f"png-{kind}-{depth}-{'i' if interlaced else 'n'}-{w}"
        if kind == 3:
            colours = palette_of(1 << depth)
            alphas = [0, 90, 200][:len(colours)]
            yield Case(name, e.png(samples, depth, kind, interlaced, 0, colours), looked_up(samples[:, :, 0], colours))
            yield Case(name + "-t", e.png(samples, depth, kind, interlaced, 5, colours, bytes(alphas)),
                       looked_up(samples[:, :, 0], colours, alphas))
            continue
        alpha = samples[:, :, -1] / top if kind & 4 else None
        colour = samples[:, :, :-1] if kind & 4 else samples
        yield Case(name, e.png(samples, depth, kind, interlaced, w % 6), rgba(colour / top, alpha))
        if kind in (0, 2):
            key = samples[h // 2, w // 2]
            hidden = np.where((samples == key).all(axis=2), 0.0, 1.0)
            yield Case(name + "-t", e.png(samples, depth, kind, interlaced, 5, None, struct.pack(f">{channels}H", *key)),
                       rgba(colour / top, hidden))
    short = noise(6, 9, 1, 4)
    yield Case("png-short-palette", e.png(short % 5, 4, 3, False, 0, palette_of(5)), looked_up(short[:, :, 0] % 5, palette_of(5)))


# ---- BMP

def bmps():
    for header, bits in itertools.product((12, 40, 64, 108, 124), (1, 4, 8, 24)):
        for w, h, down in ((1, 1, False), (7, 5, False), (33, 6, header > 12)):
            name = f"bmp-{header}-{bits}-{w}-{'down' if down else 'up'}"
            if bits < 24:
                words, colours = noise(h, w, 1, bits)[:, :, 0], palette_of(1 << bits)
                yield Case(name, e.bmp(header, bits, e.bmp_rows(words, bits, down), w, h, palette=colours, top_down=down),
                           looked_up(words, colours))
            else:
                c = noise(h, w, 3, 8)
                words = c[:, :, 0] << 16 | c[:, :, 1] << 8 | c[:, :, 2]
                yield Case(name, e.bmp(header, 24, e.bmp_rows(words, 24, down), w, h, top_down=down), rgba(c / 255))
    layouts = [(16, (0x7C00, 0x3E0, 0x1F)), (16, (0xF800, 0x7E0, 0x1F)), (16, (0xF00, 0xF0, 0xF)),
               (16, (0xF00, 0xF0, 0xF, 0xF000)), (16, (0x7C00, 0x3E0, 0x1F, 0x8000)), (16, (0x1F, 0x7E0, 0xF800)),
               (32, (0xFF0000, 0xFF00, 0xFF)), (32, (0xFF, 0xFF00, 0xFF0000)), (32, (0xFF, 0xFF00, 0xFF0000, 0xFF000000)),
               (32, (0xFF0000, 0xFF00, 0xFF, 0xFF000000)), (32, (0xFF000000, 0xFF0000, 0xFF00, 0xFF)),
               (32, (0x3FF00000, 0xFFC00, 0x3FF)), (32, (0x7C00, 0x3E0, 0x1F))]
    for (bits, masks), header, down in itertools.product(layouts, (40, 52, 56, 108, 124), (False, True)):
        if len(masks) == 4 and header in (40, 52):
            continue
        samples = np.stack([noise(5, 7, 1, bin(m).count("1"), i)[:, :, 0] for i, m in enumerate(masks)], axis=2)
        words = sum(samples[:, :, i] << e.mask_shift(m) for i, m in enumerate(masks))
        tops = np.array([(1 << bin(m).count("1")) - 1 for m in masks])
        name = f"bmp-{header}-{bits}-{'-'.join('%x' % m for m in masks)}-{'down' if down else 'up'}"
        all_ = samples / tops
        fives = 8 / 255 if tops[0] == 31 and tops[1] == 31 else BYTE * 1.1  # the library's own format of 5-5-5 has low bits 0
        yield Case(name, e.bmp(header, bits, e.bmp_rows(words, bits, down), 7, 5, 3, masks, top_down=down),
                   rgba(all_[:, :, :3], all_[:, :, 3] if len(masks) == 4 else None), MUST, fives)
    for bits in (16, 32):
        c = noise(5, 7, 4, 5 if bits == 16 else 8)
        words = c[:, :, 0] << 10 | c[:, :, 1] << 5 | c[:, :, 2]
        if bits == 32:
            words = c[:, :, 3] << 24 | c[:, :, 0] << 16 | c[:, :, 1] << 8 | c[:, :, 2]
        for header in (40, 108, 124):
            yield Case(f"bmp-{header}-{bits}-plain", e.bmp(header, bits, e.bmp_rows(words, bits), 7, 5),
                       rgba(c[:, :, :3] / (31 if bits == 16 else 255)), MUST, 8 / 255 if bits == 16 else BYTE)
    for bits, (w, h) in itertools.product((4, 8), ((1, 1), (7, 5), (40, 9), (300, 3))):
        indices, colours = noise(h, w, 1, bits)[:, :, 0], palette_of(1 << bits)
        indices[:, :w // 2] = indices[:, :1]
        yield Case(f"bmp-rle{bits}-{w}", e.bmp(40, bits, e.bmp_rle(indices, bits), w, h, 2 if bits == 4 else 1, palette=colours),
                   looked_up(indices, colours))
        left_out = indices.copy()
        y, x = np.mgrid[0:h, 0:w]
        left_out[(x + y) % 5 == 1] = 0
        data = e.bmp_rle(indices, bits, lambda x, y: (x + y) % 5 == 1)
        yield Case(f"bmp-rle{bits}-{w}-skips", e.bmp(40, bits, data, w, h, 2 if bits == 4 else 1, palette=colours),
                   looked_up(left_out, colours))
        only = np.zeros_like(indices)
        only[-1] = indices[-1]
        yield Case(f"bmp-rle{bits}-{w}-ends", e.bmp(40, bits, e.bmp_rle(indices[-1:], bits), w, h, 2 if bits == 4 else 1,
                                                    palette=colours), looked_up(only, colours))
    words = noise(5, 7, 1, 4)[:, :, 0] % 6
    yield Case("bmp-short-palette", e.bmp(40, 4, e.bmp_rows(words, 4), 7, 5, palette=palette_of(6)), looked_up(words, palette_of(6)))
    yield Case("bmp-gap", e.bmp(40, 8, e.bmp_rows(words, 8), 7, 5, palette=palette_of(16), gap=50), looked_up(words, palette_of(16)))
    words = noise(5, 7, 1, 2)[:, :, 0]
    yield Case("bmp-2", e.bmp(40, 2, e.bmp_rows(words, 2), 7, 5, palette=palette_of(4)), looked_up(words, palette_of(4)), MAY)
    yield Case("bmp-jpeg", e.bmp(40, 0, b"\xff\xd8\xff", 7, 5, 4), None, NEVER)


# ---- GIF

def gifs():
    for code_bits, interlaced, (w, h) in itertools.product((2, 3, 4, 5, 8), (False, True), ((1, 1), (7, 5), (90, 61))):
        bits = 1 if code_bits == 2 and w == 7 else code_bits
        indices, colours = noise(h, w, 1, bits)[:, :, 0], palette_of(1 << bits)
        name = f"gif-{bits}-{'i' if interlaced else 'n'}-{w}"
        for clear in (None, 1 % len(colours)):
            data = e.gif((w, h), [(0, 0, indices, None, interlaced, clear, code_bits)], colours)
            alphas = [0 if i == clear else 255 for i in range(len(colours))]
            yield Case(f"{name}-{'opaque' if clear is None else 'clear'}", data, looked_up(indices, colours, alphas))
    indices, colours = noise(6, 8, 1, 4)[:, :, 0], palette_of(16)
    for clear, left, top, count in itertools.product((None, 3), (0, 2), (0, 3), (16, 256)):
        local, inside = palette_of(count, 9), noise(6, 8, 1, 8 if count == 256 else 4)[:, :, 0]
        canvas = np.zeros((12, 14, 4))
        canvas[top:top + 6, left:left + 8] = looked_up(inside, local, [0 if i == clear else 255 for i in range(count)])
        data = e.gif((14, 12), [(left, top, inside, local, False, clear, 8 if count == 256 else 4)], colours, background=2)
        yield Case(f"gif-part-{clear}-{left}-{top}-{count}", data, canvas)
    every = np.arange(256).reshape(16, 16)
    canvas = np.zeros((17, 18, 4))
    canvas[:16, :16] = looked_up(every, palette_of(256))
    yield Case("gif-part-full", e.gif((18, 17), [(0, 0, every, None, False, None, 8)], palette_of(256)), canvas)
    wide = np.zeros((8, 11, 4))
    wide[2:, 3:] = looked_up(indices, colours)
    yield Case("gif-beyond", e.gif((8, 8), [(3, 2, indices, None, False, None, 4)], colours), wide, MAY)
    frames = [(0, 0, indices, None, False, None, 4), (1, 1, indices[:3], None, False, 2, 4)]
    yield Case("gif-frames", e.gif((8, 6), frames, colours), looked_up(indices, colours))
    yield from gif_animations()
    yield Case("gif-87", e.gif((8, 6), frames[:1], colours, version=b"87a"), looked_up(indices, colours))
    yield Case("gif-no-frame", e.gif((8, 6), [], colours), None, NEVER)


def gif_animations():
    """Frames anywhere, even beyond the screen, that leave all, nothing or what was there before."""
    rng = random.Random(7)
    for i in range(12):
        frames, shown, canvas, beginning = [], [], np.zeros((13, 17, 4)), palette_of(8)
        for n in range(6):
            w, h = (17, 13) if n in (0, i % 4 + 2) else (rng.randrange(1, 12), rng.randrange(1, 9))
            left, top = (0, 0) if w == 17 else (rng.randrange(17), rng.randrange(13))
            indices = noise(h, w, 1, 3, seed=10 * i + n)[:, :, 0]
            local = palette_of(8, 10 * i + n) if rng.randrange(2) else None
            clear, disposal = rng.choice((None, 3)), rng.randrange(4)
            frames.append((left, top, indices, local, bool(rng.randrange(2)), clear, 3, disposal))
            before = canvas.copy()
            colours = looked_up(indices, local or beginning)[:13 - top, :17 - left]
            place = canvas[top:top + h, left:left + w]
            place[:] = np.where((indices == (99 if clear is None else clear))[:13 - top, :17 - left, None], place, colours)
            shown.append(canvas.copy())
            if disposal == 2:
                canvas[top:top + h, left:left + w] = 0
            canvas = before if disposal == 3 else canvas
        data = e.gif((17, 13), frames, beginning)
        for n in range(6):
            yield Case(f"gif-animation-{i}-{n}", data, shown[n], frame=n)
        yield Case(f"gif-animation-{i}-none", data, None, NEVER, frame=6)


# ---- TIFF

def tiff_pages():
    kinds = ((3, 8, 2), (1, 8, 1), (1, 1, 1), (3, 16, 2))  # channels, bits, photometric
    samples = [noise(9, 13, channels, bits, seed) for seed, (channels, bits, _) in enumerate(kinds)]
    for order in ("little", "big"):
        pages = [functools.partial(e.tiff, s, bits, colours, order) for s, (_, bits, colours) in zip(samples, kinds)]
        data = e.tiff_chain(pages, order)
        for n, (_, bits, _) in enumerate(kinds):
            yield Case(f"tiff-page-{order}-{n}", data, rgba(samples[n] / ((1 << bits) - 1)), frame=n)
        yield Case(f"tiff-page-{order}-none", data, None, NEVER, frame=len(kinds))


def tiff_case(name, samples, bits, photometric, expect=MUST, tolerance=BYTE, truth=None, **how):
    return Case("tiff-" + name, e.tiff(samples, bits, photometric, **how), truth, expect, tolerance)


def tiffs():
    orders = ("little", "big")
    for order, bits, compression in itertools.product(orders, (1, 2, 4, 8, 16), (1, 5, 8, 32773)):
        w, h = 13 if bits % 3 else 21, 9
        s = noise(h, w, 1, bits)
        grey = rgba(s / ((1 << bits) - 1))
        yield tiff_case(f"grey-{order}-{bits}-{compression}", s, bits, 1, truth=grey, order=order, compression=compression, strip=4)
        yield tiff_case(f"white-{order}-{bits}-{compression}", s, bits, 0, truth=rgba(1 - s / ((1 << bits) - 1)), order=order,
                        compression=compression)
        if bits <= 8:
            colours = palette_of(1 << bits)
            yield tiff_case(f"palette-{order}-{bits}-{compression}", s, bits, 3, truth=looked_up(s[:, :, 0], colours), order=order,
                            compression=compression, colours=colours)
    for order, bits, planar, predictor, compression in itertools.product(orders, (8, 16), (False, True), (1, 2), (1, 5, 8)):
        if predictor == 2 and compression == 1:
            continue
        s = noise(11, 17, 3, bits)
        name = f"{order}-{bits}-{'planar' if planar else 'chunky'}-{predictor}-{compression}"
        how = dict(order=order, planar=planar, predictor=predictor, compression=compression)
        top = (1 << bits) - 1
        yield tiff_case("rgb-" + name, s, bits, 2, truth=rgba(s / top), strip=5, **how)
        a = noise(11, 17, 4, bits, 5)
        yield tiff_case("rgba-" + name, a, bits, 2, truth=rgba(a[:, :, :3] / top, a[:, :, 3] / top), extra=(2,), **how)
        yield tiff_case("tiled-" + name, s, bits, 2, truth=rgba(s / top), tile=16, **how)
        g = noise(11, 17, 1, bits)
        yield tiff_case("tiledgrey-" + name, g, bits, 1, truth=rgba(g / top), tile=16, **how)
        a = noise(11, 17, 2, bits, 5)
        yield tiff_case("greyalpha-" + name, a, bits, 1, truth=rgba(a[:, :, :1] / top, a[:, :, 1] / top), extra=(2,), **how)
    for bits, order in itertools.product((8, 16), orders):
        a = noise(11, 17, 4, bits, 5)
        top = (1 << bits) - 1
        a[:, :, :3] = a[:, :, :3] * a[:, :, 3:] // top
        straight = np.divide(a[:, :, :3], a[:, :, 3:], out=np.zeros((11, 17, 3)), where=a[:, :, 3:] > 0)
        yield tiff_case(f"premultiplied-{order}-{bits}", a, bits, 2, truth=rgba(straight, a[:, :, 3] / top), extra=(1,), order=order)
        s = noise(11, 17, 4, bits)
        ink = 1 - s / top
        yield tiff_case(f"cmyk-{order}-{bits}", s, bits, 5, truth=rgba(ink[:, :, :3] * ink[:, :, 3:]), order=order)
        s = noise(11, 17, 4, bits)
        yield tiff_case(f"rgbx-{order}-{bits}", s, bits, 2, truth=rgba(s[:, :, :3] / top), extra=(0,), order=order)
        s = noise(11, 17, 5, bits)
        yield tiff_case(f"five-{order}-{bits}", s, bits, 2, truth=rgba(s[:, :, :3] / top, s[:, :, 3] / top), extra=(2, 0), order=order)
    for order, channels, planar, compression in itertools.product(orders, (1, 3, 4), (False, True), (1, 5, 8)):
        f = noise(11, 17, channels, 10, 4) / 1023
        whole = f.astype("f4").view("u4").astype(np.int64)
        truth = rgba(f[:, :, :3], f[:, :, 3] if channels == 4 else None)
        extra = (2,) if channels == 4 else ()
        for predictor in (1, 3) if compression != 1 else (1,):
            name = f"float-{order}-{channels}-{'planar' if planar else 'chunky'}-{compression}-{predictor}"
            yield tiff_case(name, whole, 32, 2 if channels > 1 else 1, truth=truth, order=order, planar=planar, kind=3, extra=extra,
                            compression=compression, predictor=predictor)
    for order, (bits, kind) in itertools.product(orders, ((32, 1), (16, 3), (64, 3), (12, 1), (8, 2), (16, 2), (6, 1), (24, 1))):
        s = noise(11, 16, 1, min(bits, 10))
        truth = rgba(s / 1023)
        if kind == 3:
            f = s / 1023
            s = f.astype("f2").view("u2").astype(np.int64) if bits == 16 else f.view("u8")
        if bits == 24:
            continue
        if kind == 1:
            s = noise(11, 16, 1, bits)
            truth = rgba(s / ((1 << bits) - 1))
        yield tiff_case(f"odd-{order}-{bits}-{kind}", s, bits, 1, MAY if kind != 2 else NEVER, 1 / 255, truth, order=order, kind=kind)
    for across, down, compression in itertools.product((1, 2, 4), (1, 2, 4), (1, 5)):
        if down > across:
            continue
        y, x = np.mgrid[0:19, 0:23]
        s = np.stack([60 + x * 5 + y * 3, 90 + x * 3, 160 - y * 4], axis=2)
        cells = s.astype(float)
        for top, left in itertools.product(range(0, 19, down), range(0, 23, across)):
            padded = np.pad(s, ((0, -19 % down), (0, -23 % across), (0, 0)), mode="edge")[top:top + down, left:left + across]
            cells[top:top + down, left:left + across, 1:] = np.round(padded[:, :, 1:].mean(axis=(0, 1)))
        lum, cb, cr = cells[:, :, 0], cells[:, :, 1] - 128, cells[:, :, 2] - 128
        colour = np.stack([lum + 1.402 * cr, lum - 0.344136 * cb - 0.714136 * cr, lum + 1.772 * cb], axis=2)
        truth = rgba(np.clip(colour, 0, 255) / 255)
        yield tiff_case(f"ycbcr-{across}-{down}-{compression}", s, 8, 6, MUST, 14 / 255 if across > 1 else 2 / 255, truth,
                        subsampling=(across, down), compression=compression, strip=8)
    yield from tiff_pages()
    s = noise(9, 13, 1, 1)
    yield tiff_case("fill", s, 1, 1, truth=rgba(s / 1), fill=2)
    yield tiff_case("fill-lzw", s, 1, 1, truth=rgba(s / 1), fill=2, compression=5)
    yield tiff_case("lab", noise(9, 13, 3, 8), 8, 8, NEVER)
    yield tiff_case("no-strip-size", noise(9, 13, 3, 8), 8, 2, truth=rgba(noise(9, 13, 3, 8) / 255), strip=9)
    yield Case("tiff-big", b"II+\0\x08\0\0\0\x10\0\0\0\0\0\0\0" + bytes(64), None, NEVER)
    big = noise(300, 200, 3, 8)
    yield tiff_case("large-lzw", big, 8, 2, truth=rgba(big / 255), compression=5, strip=64)


# ---- pictures that Pillow writes

def saved(image, kind, **how):
    out = io.BytesIO()
    image.save(out, kind, **how)
    return out.getvalue()


def by_pillow():
    y, x = np.mgrid[0:45, 0:67]
    smooth = np.stack([40 + x * 3, 20 + y * 4, 200 - x - y], axis=2).astype(np.uint8)
    colour = Image.fromarray(smooth)
    jpeg = JPEG
    for kind, quality, sampling, progressive in itertools.product("L RGB CMYK".split(), (30, 75, 95), (0, 1, 2), (False, True)):
        if kind != "RGB" and sampling:
            continue
        for w, h in ((67, 45), (16, 16), (1, 1), (9, 31)):
            data = saved(colour.resize((w, h)).convert(kind), "JPEG", quality=quality, subsampling=sampling, progressive=progressive)
            yield Case(f"jpeg-{kind}-{quality}-{sampling}-{int(progressive)}-{w}", data, None, MUST, jpeg)
    yield Case("jpeg-restarts", saved(colour, "JPEG", quality=80, restart_marker_blocks=3), None, MUST, jpeg)
    bilevel = colour.convert("1")
    for compression in ("group3", "group4", "tiff_ccitt", "packbits", "tiff_lzw", "tiff_deflate"):
        yield Case(f"tiff-bilevel-{compression}", saved(bilevel, "TIFF", compression=compression))
    for mode in ("L", "RGB", "RGBA", "CMYK", "P", "LA", "I;16", "F"):
        image = Image.fromarray(smooth[:, :, 0].astype(np.uint16) * 300) if mode == "I;16" else colour.convert(mode)
        if mode == "F":
            image = Image.fromarray(smooth[:, :, 0].astype("f4") / 255)
        for compression in (None, "tiff_lzw", "tiff_adobe_deflate", "packbits"):
            data = saved(image, "TIFF", **({"compression": compression} if compression else {}))
            yield Case(f"tiff-pillow-{mode.replace(';', '')}-{compression}", data)
    for mode in ("L", "RGB"):
        yield Case(f"tiff-jpeg-{mode}", saved(colour.convert(mode), "TIFF", compression="jpeg"), None, MAY, jpeg)
    for compression in ("zstd", "lzma", "webp"):
        yield Case(f"tiff-{compression}", saved(colour, "TIFF", compression=compression), None, NEVER)
    for mode in ("1", "L", "RGB", "P", "RGBA"):
        yield Case(f"bmp-pillow-{mode}", saved(colour.convert(mode), "BMP"))
        yield Case(f"png-pillow-{mode}", saved(colour.convert(mode), "PNG"))
        yield Case(f"gif-pillow-{mode}", saved(colour.convert(mode), "GIF"))


def generated():
    return list(itertools.chain(pngs(), bmps(), gifs(), tiffs(), by_pillow()))


# ---- pictures that this machine has

MOST_PIXELS, MOST_OF_A_FOLDER = 1 << 21, 3


def real(root, most):
    """Pictures of many programs: those of this repository and, folder by folder, those of the system."""
    found, folders = [], {}
    places = [pathlib.Path(root), pathlib.Path("/usr/share"), pathlib.Path("/usr/lib")]
    for path in itertools.chain(*(sorted(place.rglob("*")) for place in places)):
        if path.suffix.lower() not in (".png", ".jpg", ".jpeg", ".gif", ".bmp", ".tif", ".tiff") or not path.is_file():
            continue
        if "build" in path.parts or "regressions" in path.parts:
            continue
        key = (path.parent, path.suffix)
        folders[key] = folders.get(key, 0) + 1
        if folders[key] <= MOST_OF_A_FOLDER or path.suffix != ".png":
            found.append(path)
    random.Random(4).shuffle(found)
    found.sort(key=lambda path: path.suffix == ".png")
    return [Case(f"real-{i}-{path.name}", path.read_bytes(), None, MUST, JPEG if path.suffix.startswith(".j") else BYTE)
            for i, path in enumerate(found[:most])]


# ---- damage

EXTREMES = (0, 1, 2, 0x7F, 0x80, 0xFE, 0xFF)


def damage(case, rng):
    data = bytearray(case.data)
    how = rng.randrange(6)
    if how == 0:
        del data[rng.randrange(len(data)):]
    elif how == 1:
        for _ in range(rng.randrange(1, 4)):
            data[rng.randrange(len(data))] ^= 1 << rng.randrange(8)
    elif how == 2:
        data[rng.randrange(min(len(data), 120))] = rng.choice(EXTREMES)
    elif how == 3:
        at = rng.randrange(len(data))
        data[at:at + 4] = bytes(rng.choice(EXTREMES) for _ in range(4))
    elif how == 4:
        at = rng.randrange(len(data))
        del data[at:at + rng.randrange(1, 9)]
    else:
        at = rng.randrange(len(data))
        data[at:at] = bytes(rng.randrange(256) for _ in range(rng.randrange(1, 9)))
    return bytes(data)


def damaged(sound, count):
    rng = random.Random(11)
    small = [case for case in sound if len(case.data) < 20000]
    for i in range(count):
        case = small[rng.randrange(len(small))]
        yield Case(f"damaged-{i}-{case.name}", damage(case, rng), None, MAY, 17 / 255 if case.name.startswith("bmp") and "-16-" in case.name else case.tolerance, case, case.frame)


def large():
    """Pictures with many rows and codes."""
    for depth, kind, channels in ((8, 0, 1), (8, 2, 3), (16, 2, 3)):
        samples = noise(290, 310, channels, depth)
        yield Case(f"png-{kind}-{depth}-large", e.png(samples, depth, kind), rgba(samples / ((1 << depth) - 1)))


def laborious():
    """Files in which every part refers to the whole, or which have far more parts than pixels: they must not take long."""
    count = 100000
    fields = ((256, 4, 1, 1), (257, 4, 1, count), (258, 3, 1, 8), (259, 3, 1, 32773), (262, 3, 1, 1), (273, 4, count, 110), (278, 3, 1, 1),
              (279, 4, count, 110 + 4 * count))
    head = b"II*\0\x08\0\0\0\x08\0" + b"".join(struct.pack("<HHII", *field) for field in fields) + bytes(4)
    row = b"\0\7" + bytes(1 << 20)
    data = head + struct.pack("<I", 110 + 8 * count) * count + struct.pack("<I", len(row)) * count + row
    whole = rgba(np.full((count, 1, 1), 7 / 255))
    yield Case("laborious-tiff-strips", data, whole)
    tile = np.zeros((1, 1, 1), np.int64)
    tags = [(322, 4, [1 << 20]), (323, 4, [64]), (324, 4, [8] * 1024), (325, 4, [2] * 1024)]
    data = e.tiff(tile, 8, 1, compression=32773, tags=tags).replace(struct.pack("<HHII", 257, 4, 1, 1), struct.pack("<HHII", 257, 4, 1, 65535))
    yield Case("laborious-tiff-tiles", data, None, NEVER)
    plain, chunks = e.png(noise(3, 3, 3, 8), 8, 2), 50000
    exif = b"".join(e.png_chunk(b"eXIf", b"II*\0" + struct.pack("<I", 20 * (chunks - i))) for i in range(chunks))
    exif += e.png_chunk(b"tAGs", struct.pack("<H", 60000) + struct.pack("<HHI4x", 270, 2, 1) * 60000 + bytes(4))
    yield Case("laborious-png-tags", plain[:33] + exif + plain[33:], rgba(noise(3, 3, 3, 8) / 255))
    jpeg = saved(Image.new("RGB", (16, 16), (9, 9, 9)), "JPEG", quality=95)
    part = b"\xff\xe2\0\x40ICC_PROFILE\0\1\1" + bytes(48)
    yield Case("laborious-jpeg-profile", jpeg[:2] + part * 100000 + jpeg[2:], rgba(np.full((16, 16, 3), 9 / 255)), MUST, JPEG)
    frame = b"\x21\xf9\4\4\0\0\0\0," + struct.pack("<HHHHB", 1, 1, 1, 1, 0) + b"\2\2\x4c\1\0"
    data = b"GIF89a" + struct.pack("<HHBBB", 3, 3, 0x80, 0, 0) + bytes(3) + b"\xff\0\0" + frame * count + b";"
    shown = np.zeros((3, 3, 4))
    shown[1, 1] = 1, 0, 0, 1
    yield Case("laborious-gif", data, shown, frame=count - 1)


def huge():
    """A few bytes that claim far more pixels than they can hold."""
    row = np.zeros((1, 1, 4), np.int64)
    png = bytearray(e.png(row, 16, 6))
    png[8:33] = e.png_chunk(b"IHDR", struct.pack(">IIBBBBB", 100000, 6000, 16, 6, 0, 0, 0))
    yield Case("huge-png", bytes(png), None, NEVER)
    jpeg = saved(Image.new("RGB", (16, 16)), "JPEG", progressive=True)
    at = jpeg.index(b"\xff\xc2") + 5
    yield Case("huge-jpeg", jpeg[:at] + struct.pack(">HH", 38000, 38000) + jpeg[at + 4:], None, NEVER)
    yield Case("huge-bmp", e.bmp(40, 32, bytes(64), 38000, 38000), None, NEVER)
    gif = e.gif((65535, 65535), [(0, 0, np.zeros((2, 2), int), None, False, None, 2)], palette_of(4))
    yield Case("huge-gif", gif, None, NEVER)
    for compression in (1, 5, 8):
        tags = [(256, 4, [60000]), (257, 4, [60000])]
        data = e.tiff(np.zeros((1, 1, 3), np.int64), 8, 2, compression=compression)
        data = bytearray(data)
        for tag, _, (value,) in tags:
            at = data.index(struct.pack("<HHI", tag, 4, 1))
            data[at + 8:at + 12] = struct.pack("<I", value)
        yield Case(f"huge-tiff-{compression}", bytes(data), None, NEVER)
