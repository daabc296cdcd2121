"""Pixar pictures, 10-bit DPX, Cineon and Maya IFF files as NumPy arrays.

>>> import trellis
>>> picture = trellis.load("shot.0001.dpx")
>>> picture.colour.shape, picture.colour.dtype, picture.scale
((36, 48, 3), dtype('uint16'), 16383)
>>> trellis.save("shot.pic", picture)
>>> trellis.info("shot.pic").bits
8

Arrays have the top row first and the colours in the order red, green, blue. A sample of `uint8` is
0 to 255, one of `uint16` 0 to 16383, whatever the bits of the file.
"""

from __future__ import annotations

import collections
import concurrent.futures
import dataclasses
import functools
import os
from collections.abc import Iterator, Mapping
from typing import Any, NamedTuple, Union

import numpy as np
import numpy.typing as npt

__all__ = [
    "Error", "Format", "Frame", "Info", "Picture",
    "formats", "header", "info", "load", "save", "sequence",
]

Array = npt.NDArray[Any]
Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
Region = tuple[int, int, int, int]

_MOST = {np.dtype(np.uint8): 255, np.dtype(np.uint16): 16383}


class Error(OSError):
    """What is wrong with a file: `code` is the library's number, `filename` the file.

    >>> try:
    ...     trellis.load("none.dpx")
    ... except trellis.Error as error:
    ...     print(error.code, error.filename, error, sep=" | ")
    6 | none.dpx | none.dpx: Failed to open file in trellis: No such file or directory (code 6)
    """

    def __init__(self, code: int, message: str, reason: str, filename: str) -> None:
        super().__init__(message)
        self.filename = filename
        self.code = code
        self.message = message
        self.reason = reason

    def __str__(self) -> str:
        texts = (self.filename, self.message, self.reason)
        return ": ".join(text for text in texts if text) + f" (code {self.code})"

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), (self.code, self.message, self.reason, self.filename)


from . import _core  # noqa: E402  (it raises Error)


@dataclasses.dataclass(frozen=True)
class Info:
    """What a file holds, by its header. What the file does not say is None."""

    path: str
    format: str  #: such as "DPX"
    kind: str  #: "image", "cutout" (colour and matte), "mask", or "other"
    width: int
    height: int
    channels: int
    bits: int  #: of a sample in the file
    compressed: bool
    byte_order: str | None
    packing: str | None  #: of samples in words
    transfer: str | None  #: how samples stand for light
    time_code: str | None
    frame_rate: float | None
    creator: str | None
    refusal: str | None  #: why `load` refuses the file
    missing: str | None  #: of the picture; only a lenient `load` takes the file then


@dataclasses.dataclass(frozen=True)
class Format:
    """A file format, and the kinds of pictures that it loads and saves."""

    code: str
    name: str
    extensions: tuple[str, ...]
    depth: int  #: of pictures that need no conversion, 8 or 16
    loads: tuple[str, ...]
    saves: tuple[str, ...]


class Picture:
    """A picture from a file, with its film header if it has one.

    >>> picture = trellis.load("cutout.pic")
    >>> picture
    <trellis.Picture: cutout of 48 x 36 pixels, uint8>
    >>> picture.matte[0, :3]
    array([255, 255, 255], dtype=uint8)
    >>> picture.colour[:] = 0  # the arrays are the picture's own memory
    """

    colour: Array | None  #: (height, width, 3), red, green, blue; None for a mask
    matte: Array | None  #: (height, width); None for an image
    kind: str  #: "image", "cutout" or "mask"
    width: int
    height: int
    scale: int  #: the sample that stands for 1: 255, 16383, or 1023 for the codes of film
    warnings: tuple[str, ...]  #: what a lenient load did without

    def __init__(self, core: _core.Picture) -> None:
        self._core = core
        self.colour = core.colour
        self.matte = core.matte
        self.kind = core.kind
        self.width = core.width
        self.height = core.height
        self.scale = core.scale
        self.warnings = tuple(core.warnings)

    def __repr__(self) -> str:
        samples = self.matte if self.colour is None else self.colour
        assert samples is not None
        return f"<trellis.Picture: {self.kind} of {self.width} x {self.height} pixels, {samples.dtype}>"

    def as_float(self) -> npt.NDArray[np.float32]:
        """A new array of samples from 0 to 1: (height, width, 3), with 4 channels for a cutout,
        (height, width) for a mask.

        >>> trellis.load("cutout.pic").as_float().shape
        (36, 48, 4)
        """
        channels = 3 if self.matte is None else 4
        result = np.empty((self.height, self.width, channels), np.float32)
        if self.colour is None:
            result = result[..., 3]
        else:
            np.divide(self.colour, self.scale, out=result[..., :3], dtype=np.float32)
        if self.matte is not None:
            out = result if self.colour is None else result[..., 3]
            np.divide(self.matte, self.scale, out=out, dtype=np.float32)
        return result


class Frame(NamedTuple):
    """One frame of a `sequence`."""

    number: int
    path: str
    picture: Picture


def info(path: Path) -> Info:
    """What a file holds.

    >>> trellis.info("shot.0001.dpx").transfer
    'logarithmic'
    >>> trellis.info("cutout.pic").transfer is None
    True
    """
    return Info(os.fsdecode(path), **_core.describe(_name(path)))


def header(path: Path) -> dict[str, Any]:
    """Every field of a file's header: sections of fields, or the chunks of an IFF file. Fields that
    the file leaves undefined are None.

    >>> trellis.header("shot.0001.dpx")["sections"]["image information"]["pixels per line"]
    48
    """
    return _core.header(_name(path))


def formats() -> list[Format]:
    """The formats that this package reads and writes.

    >>> [format.code for format in trellis.formats()]
    ['PIXAR', 'DPX', 'SMPTE', 'MAYA', 'PNG', 'PNG16']
    """
    return [Format(*facts) for facts in _core.formats()]


def load(
    path: Path,
    kind: str | None = None,
    region: Region | None = None,
    depth: int | None = None,
    *,
    lenient: bool = False,
) -> Picture:
    """Load a picture.

    `kind` is "image", "cutout" or "mask"; the file's own if it is None. `region` is (left, top,
    width, height), counted from the upper left. `depth` is 8 for `uint8`, 16 for `uint16`, and 10
    for the codes of a 10-bit film scan as they are, 0 to 1023; what suits the file if it is None.
    A file that is cut short is an error unless the load is `lenient`: what is missing is black then.

    >>> trellis.load("shot.0001.dpx", kind="mask", region=(8, 0, 16, 9), depth=8)
    <trellis.Picture: mask of 16 x 9 pixels, uint8>
    """
    if depth not in (None, 8, 10, 16):
        raise ValueError(f"depth is 8, 10 or 16, not {depth}")
    if depth == 10 and kind is not None:
        raise ValueError("the codes of film, depth 10, come as the kind that the file has")
    return Picture(_core.load(_name(path), kind, region, depth, lenient))


def save(
    path: Path,
    image: Picture | npt.ArrayLike,
    header: Picture | Mapping[str, Any] | None = None,
    bits: int | None = None,
    *,
    compress: bool = True,
    overwrite: bool = True,
) -> None:
    """Save a picture or an array in the format of the file's extension. The file appears whole or
    not at all.

    An array is (height, width) for a mask, (height, width, 3) for an image, (height, width, 4) for
    a cutout: of `uint8`, of `uint16` from 0 to 16383, or of floats from 0 to 1. `header` is what a
    DPX or Cineon file's header is to hold: that of a picture, or fields by name, alone or in their
    sections; None is undefined. `bits` are those of a sample in a DPX file (8, 10, 12, 16).

    >>> ramp = np.linspace(0, 1, 48, dtype=np.float32)
    >>> trellis.save("ramp.dpx", np.stack([np.tile(ramp, (36, 1))] * 3, axis=2), bits=16,
    ...              header={"project": "Ramps", "television": {"frame rate": 24.0}})
    >>> trellis.info("ramp.dpx").frame_rate
    24.0
    """
    name = _name(path)
    if isinstance(image, Picture):
        _check_samples(image.colour, image.scale)
        _check_samples(image.matte, image.scale)
        core = image._core
        if isinstance(header, Picture):
            core = _core.picture_from(image.colour, image.matte, core.depth)
    else:
        core = _picture_from(np.asarray(image), name, bits)
    if isinstance(header, Picture):
        core.take_header(header._core)
        header = None
    _core.save(core, name, bits, _fields(header or {}), compress, overwrite)


def sequence(
    pattern: Path,
    frames: str | None = None,
    threads: int | None = None,
    *,
    kind: str | None = None,
    region: Region | None = None,
    depth: int | None = None,
    lenient: bool = False,
) -> Iterator[Frame]:
    """Load the frames of a reel, in order and some of them ahead.

    The pattern has a place for the number, such as %04d or ####. `frames` is a list such as
    "1001-1100,1200" or "1001-1100x2"; without it, every frame on disk. As many `threads` as there
    are processors load, each one frame ahead. A frame that does not load ends the sequence with
    its error.

    >>> for number, path, picture in trellis.sequence("shot.%04d.dpx"):
    ...     print(number, path, picture.colour.mean().round())
    1 shot.0001.dpx 4100.0
    2 shot.0002.dpx 8200.0
    3 shot.0003.dpx 12283.0
    """
    found = _core.frames(_name(pattern), frames)
    if threads is None:
        threads = _core.usable_processors()
    if threads < 1:
        raise ValueError(f"threads are at least 1, not {threads}")
    load_one = functools.partial(load, kind=kind, region=region, depth=depth, lenient=lenient)
    return _loaded(found, threads, load_one)


def _loaded(
    frames: list[tuple[int, bytes]], threads: int, load_one: functools.partial[Picture]
) -> Iterator[Frame]:
    ahead: collections.deque[tuple[int, bytes, concurrent.futures.Future[Picture]]]
    ahead = collections.deque()
    pool = concurrent.futures.ThreadPoolExecutor(threads)
    try:
        for number, name in frames:
            ahead.append((number, name, pool.submit(load_one, name)))
            if len(ahead) > threads:
                yield _first(ahead)
        while ahead:
            yield _first(ahead)
    finally:  # also when the caller has had enough
        pool.shutdown(cancel_futures=True)


def _first(ahead: collections.deque[tuple[int, bytes, concurrent.futures.Future[Picture]]]) -> Frame:
    number, name, loading = ahead.popleft()
    return Frame(number, os.fsdecode(name), loading.result())


def _name(path: Path) -> bytes:
    name = os.fsencode(path)
    if b"\0" in name:
        raise ValueError("embedded null byte in the name of a file")
    return name


def _picture_from(array: Array, name: bytes, bits: int | None) -> _core.Picture:
    if array.ndim not in (2, 3) or (array.ndim == 3 and array.shape[2] not in (3, 4)):
        raise ValueError(
            "an array of pixels is (height, width), (height, width, 3) or (height, width, 4), "
            f"not {array.shape}"
        )
    if array.size == 0 or max(array.shape) >= 2**31:
        raise ValueError(f"no file holds a picture of {array.shape[1]} x {array.shape[0]} pixels")
    deep = _core.depth_for_name(name, bits or 16) != 8
    array = _samples(array, np.dtype(np.uint16 if deep else np.uint8))
    depth = 8 if array.dtype == np.uint8 else 16
    if array.ndim == 2:
        return _core.picture_from(None, array, depth)
    return _core.picture_from(array[..., :3], array[..., 3] if array.shape[2] == 4 else None, depth)


def _samples(array: Array, for_floats: np.dtype[Any]) -> Array:
    """The array with native bytes or words; floats become samples of the type given."""
    if array.dtype.kind == "f":
        if not (array.min() >= 0 and array.max() <= 1):  # which NaN is not either
            raise ValueError("samples of float arrays are from 0 to 1; this one has others, or NaN")
        exact = np.result_type(array.dtype, np.float32)
        scaled: Array = np.rint(array.astype(exact) * _MOST[for_floats])
        return scaled.astype(for_floats)
    native = array.dtype.newbyteorder("=")
    if native not in _MOST:
        raise TypeError(f"samples are uint8, uint16 or float, not {array.dtype}")
    _check_samples(array, _MOST[native])
    return array.astype(native, copy=False)


def _check_samples(array: Array | None, most: int) -> None:
    if array is not None and array.dtype.itemsize == 2 and array.max() > most:
        raise ValueError(
            f"samples of uint16 are from 0 to {most} here, not {array.max()}; "
            "of full-range samples, save array >> 2"
        )


def _fields(header: Mapping[str, Any], section: str = "") -> list[tuple[str, str]]:
    fields = []
    for name, value in header.items():
        if isinstance(value, Mapping):
            fields += _fields(value, name + ".")
        else:
            fields.append((section + name, "undefined" if value is None else str(value)))
    return fields
