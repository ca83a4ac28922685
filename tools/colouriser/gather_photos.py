#!/usr/bin/python3
"""Gathers square crops of 176 pixels from the colour photographs below a folder, as one .npy file.

The colouriser was trained on those in these Debian packages, fetched with `apt-get download` and unpacked with
`dpkg-deb -x`: lomiri-wallpapers-16.04, lomiri-wallpapers-20.04, mate-backgrounds, scratch, opencv-doc, kphotoalbum
and tuxpaint-stamps-default.
"""
import argparse
import pathlib

import numpy as np
from PIL import Image

SIDE = 176
SUFFIXES = {".jpg", ".jpeg", ".png", ".webp"}
NO_PHOTOGRAPH = "texture /html/ icon logo flag /map chess digits board aloe disparity mask normal screenshot".split()


def looks_like_photograph(path):
    name = str(path).lower()
    if path.suffix.lower() not in SUFFIXES or path.stat().st_size < 12000:
        return False
    if "mate-backgrounds" in name and "/nature/" not in name:
        return False
    return not any(word in name for word in NO_PHOTOGRAPH)


def load(path):
    """The picture over light grey, its short side SIDE long; None if it cannot be read or has an odd shape."""
    try:
        picture = Image.open(path)
        picture.draft("RGB", (512, 512))
        picture = picture.convert("RGBA")
    except (OSError, ValueError):
        return None
    page = Image.new("RGBA", picture.size, (245, 245, 245, 255))
    page.alpha_composite(picture)
    short, long = sorted(page.size)
    if short < 90 or long > 3 * short:
        return None
    size = [max(SIDE, round(length * SIDE / short)) for length in page.size]
    return page.convert("RGB").resize(size, Image.LANCZOS)


def is_colourful(picture):
    """Whether the picture is neither grey nor a drawing in a few flat colours."""
    pixels = np.asarray(picture, float)
    from_grey = np.abs(pixels - pixels.mean(2, keepdims=True)).mean()
    colours = np.unique((pixels[::4, ::4] // 8).reshape(-1, 3), axis=0)
    return from_grey >= 4 and len(colours) >= 250


def crops(picture):
    """As many squares, evenly spread along the long side, as it takes to show most of the picture."""
    long = max(picture.size)
    count = max(1, round(long / 230))
    for i in range(count):
        start = int((long - SIDE) * (i / (count - 1) if count > 1 else 0.5))
        left, top = (start, 0) if picture.width >= picture.height else (0, start)
        yield np.asarray(picture.crop((left, top, left + SIDE, top + SIDE)))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("out", help="the .npy file: N x 176 x 176 x 3 bytes")
    arguments = parser.parse_args()
    Image.MAX_IMAGE_PIXELS = None  # some wallpapers are larger than Pillow expects of an honest file
    gathered = []
    for path in sorted(filter(looks_like_photograph, arguments.folder.rglob("*.*"))):
        picture = load(path)
        if picture is not None and is_colourful(picture):
            gathered.extend(crops(picture))
    np.save(arguments.out, np.stack(gathered))
    print(len(gathered), "crops")


if __name__ == "__main__":
    main()
