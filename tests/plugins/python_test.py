"""The Python package, as its users call it: arrays in and out, what is refused, and what is documented."""

import concurrent.futures
import contextlib
import doctest
import functools
import os
import pathlib
import pickle
import subprocess
import sys
import tempfile
import textwrap
import unittest

import numpy as np
import trellis

SOURCE = pathlib.Path(__file__).resolve().parents[2]
RNG = np.random.default_rng(7)


def noise(shape, dtype=np.uint8):
    """Samples that every format keeps: of words, ten bits scaled."""
    codes = RNG.integers(0, 1024, shape)
    return (codes >> 2).astype(np.uint8) if dtype == np.uint8 else np.rint(codes * (16383 / 1023)).astype(dtype)


class InDirectory(unittest.TestCase):
    def setUp(self):
        self.old = os.getcwd()
        self.directory = tempfile.TemporaryDirectory()
        os.chdir(self.directory.name)

    def tearDown(self):
        os.chdir(self.old)
        self.directory.cleanup()

    def assert_error(self, code, *arguments, **options):
        with self.assertRaises(trellis.Error) as caught:
            trellis.load(*arguments, **options)
        self.assertEqual(caught.exception.code, code, caught.exception)
        return caught.exception


def arrays_of(picture):
    arrays = [a for a in (picture.colour, picture.matte) if a is not None]
    return arrays[0] if len(arrays) == 1 else np.dstack(arrays)


class Pictures(InDirectory):
    def test_every_array_comes_back(self):
        for name, dtype, shapes in [
            ("a.pic", np.uint8, [(7, 5, 3), (7, 5, 4)]),
            ("a.iff", np.uint8, [(7, 5, 3), (7, 5, 4), (7, 5)]),
            ("a.dpx", np.uint16, [(7, 5, 3), (1, 1, 3)]),
            ("a.cin", np.uint16, [(7, 5, 3)]),
            ("a.png", np.uint16, [(7, 5, 3), (7, 5, 4), (7, 5)]),
            ("a.png", np.uint8, [(7, 5, 3), (7, 5, 4)]),
        ]:
            for shape in shapes:
                with self.subTest(name=name, shape=shape, dtype=dtype):
                    array = noise(shape, dtype)
                    trellis.save(name, array)
                    kind = {2: "mask"}.get(array.ndim)  # which PNG files do not say
                    np.testing.assert_array_equal(arrays_of(trellis.load(name, kind)), array)

    def test_strides_and_byte_orders_do_not_matter(self):
        whole = noise((12, 10, 8), np.uint16)
        record = np.zeros((6, 5, 3), np.dtype([("pad", "u1"), ("sample", "u2")]))  # at odd addresses
        record["sample"] = noise((6, 5, 3), np.uint16)
        for view in [
            whole[::-1, ::-2, 2::-1],
            whole[..., ::2],
            whole.T[:3].transpose(2, 1, 0),
            np.asfortranarray(whole[..., :3]),
            np.broadcast_to(whole[0, 0, :3], (6, 5, 3)),
            whole[..., :3].astype(whole.dtype.newbyteorder()),
            record["sample"],
        ]:
            trellis.save("a.png", view)
            np.testing.assert_array_equal(arrays_of(trellis.load("a.png")), view)

    def test_floats_are_rounded_to_the_files_samples(self):
        ramp = np.linspace(0, 1, 300).reshape(10, 10, 3)
        for name, dtype, scale in [("a.pic", np.uint8, 255), ("a.png", np.uint16, 16383)]:
            for floats in (np.float16, np.float32, np.float64):
                trellis.save(name, ramp.astype(floats))
                expected = np.rint(ramp.astype(floats).astype(np.float64) * scale).astype(dtype)
                loaded = trellis.load(name)
                np.testing.assert_array_equal(loaded.colour, expected)
                np.testing.assert_allclose(loaded.as_float(), expected / scale, atol=1e-7)
        trellis.save("m.iff", noise((3, 4)))
        self.assertEqual(trellis.load("m.iff").as_float().shape, (3, 4))

    def test_regions_kinds_and_depths(self):
        array = noise((9, 7, 4))
        trellis.save("a.pic", array)
        part = trellis.load("a.pic", region=(1, 2, 4, 3))
        np.testing.assert_array_equal(arrays_of(part), array[2:5, 1:5])
        np.testing.assert_array_equal(trellis.load("a.pic", "mask").matte, array[..., 3])
        self.assertIsNone(trellis.load("a.pic", kind="image").matte)
        deep = trellis.load("a.pic", depth=16)
        np.testing.assert_array_equal(deep.matte, array[..., 3].astype(int) * 64 + array[..., 3] // 4)
        for region in [(0, 0, 8, 1), (-1, 0, 2, 2), (0, 0, 0, 1), (0, 8, 1, 2), (2**31 - 1, 0, 1, 1)]:
            self.assert_error(9, "a.pic", region=region)
        self.assert_error(14, "a.pic", depth=10)
        for wrong in [dict(kind="cut"), dict(depth=12), dict(kind="mask", depth=10)]:
            with self.assertRaises(ValueError):
                trellis.load("a.pic", **wrong)

    def test_arrays_are_the_pictures_memory(self):
        trellis.save("a.dpx", noise((4, 6, 3), np.uint16))
        colour = trellis.load("a.dpx").colour  # which keeps the memory
        self.assertFalse(colour.flags.owndata)
        picture = trellis.load("a.dpx")
        picture.colour[0, 0] = 16383, 0, 16383
        trellis.save("b.dpx", picture)
        np.testing.assert_array_equal(trellis.load("b.dpx").colour[0, :2], [[16383, 0, 16383], colour[0, 1]])
        picture.colour[0, 0, 0] = 16384
        with self.assertRaisesRegex(ValueError, "0 to 16383 here, not 16384"):
            trellis.save("b.dpx", picture)

    def test_film_headers_bits_and_codes(self):
        array = noise((4, 6, 3), np.uint16)
        fields = {"project": "Reel 7", "television": {"time code": "01:02:03:04", "frame rate": 24.0}}
        for bits in (8, 10, 12, 16):
            trellis.save("a.dpx", array, header=fields, bits=bits)
            info = trellis.info("a.dpx")
            self.assertEqual((info.bits, info.time_code, info.frame_rate), (bits, "01:02:03:04", 24.0))
            tolerance = 16383 / (2**bits - 1) / 2
            np.testing.assert_allclose(trellis.load("a.dpx").colour, array, atol=tolerance)
        trellis.save("a.dpx", array, header=fields)
        codes = trellis.load("a.dpx", depth=10)
        self.assertEqual(codes.scale, 1023)
        np.testing.assert_array_equal(codes.colour, np.rint(array * (1023 / 16383)))
        scaled = trellis.load("a.dpx")
        for image, header in [(codes, None), (scaled, None), (array, codes), (trellis.load("a.dpx"), scaled)]:
            trellis.save("b.dpx", image, header=header)
            self.assertEqual(trellis.header("b.dpx")["sections"]["file information"]["project"], "Reel 7")
            np.testing.assert_array_equal(trellis.load("b.dpx").colour, array)
        for name, wrong, bits in [
            ("c.dpx", {"reel": "7"}, None), ("c.dpx", {"image information": {"pixels per line": 3}}, None),
            ("c.dpx", {"project": "x" * 201}, None), ("c.pic", {"project": "x"}, None), ("c.dpx", {}, 11),
            ("c.cin", {}, 8), ("c.pic", {}, 16), ("c.iff", {}, 10),
        ]:
            with self.subTest(name=name, header=wrong, bits=bits), self.assertRaises(trellis.Error):
                trellis.save(name, array, header=wrong, bits=bits)
            self.assertEqual(sorted(os.listdir()), ["a.dpx", "b.dpx"])


class BadInput(InDirectory):
    def test_arrays_that_are_no_pictures(self):
        for error, message, array in [
            (ValueError, r"not \(3,\)", np.zeros(3, np.uint8)),
            (ValueError, r"not \(4, 4, 2\)", np.zeros((4, 4, 2), np.uint8)),
            (ValueError, r"not \(1, 4, 4, 3\)", np.zeros((1, 4, 4, 3), np.uint8)),
            (ValueError, "0 x 4 pixels", np.zeros((4, 0, 3), np.uint8)),
            (ValueError, "2147483648 x 1 pixels", np.broadcast_to(np.uint8(0), (1, 2**31, 3))),
            (TypeError, "not int64", np.zeros((4, 4, 3), np.int64)),
            (TypeError, "not bool", np.zeros((4, 4), bool)),
            (TypeError, "not object", np.full((4, 4), None)),
            (ValueError, "save array >> 2", np.full((4, 4, 3), 65535, np.uint16)),
            (ValueError, "save array >> 2", np.full((4, 4, 3), 65535, ">u2")),
            (ValueError, "or NaN", np.full((4, 4, 3), np.nan)),
            (ValueError, "or NaN", np.full((4, 4, 3), np.inf, np.float16)),
            (ValueError, "0 to 1", np.full((4, 4, 3), -0.01)),
            (ValueError, "0 to 1", np.full((4, 4, 3), 1.01)),
            (TypeError, "not <U1", np.array([["x"]])),
        ]:
            with self.subTest(message=message), self.assertRaisesRegex(error, message):
                trellis.save("a.dpx", array)
        with self.assertRaises(MemoryError):
            trellis.save("a.dpx", np.broadcast_to(np.uint8(0), (2**31 - 1, 2**31 - 1)))
        for name in ["a.pic", "a.iff"]:  # which count pixels in 16 bits
            with self.assertRaises(trellis.Error):
                trellis.save(name, np.broadcast_to(np.uint8(0), (1, 2**17, 3)))
        self.assertEqual(os.listdir(), [])

    def test_files_that_are_no_pictures(self):
        for name, code in [("none.dpx", 6), (".", 1), ("none", 6)]:
            error = self.assert_error(code, name)
            self.assertIsInstance(error, OSError)
            self.assertEqual(error.filename, name)
            self.assertEqual(str(pickle.loads(pickle.dumps(error))), str(error))
        with self.assertRaisesRegex(ValueError, "null byte"):
            trellis.load("a\0.dpx")
        for name in ["a.pic", "a.dpx", "a.cin", "a.iff"]:
            trellis.save(name, noise((5, 4, 3)))
            pixels = trellis.load(name).colour
            whole = pathlib.Path(name).read_bytes()
            loads = 0
            for size in range(0, len(whole), max(1, len(whole) // 200)):
                pathlib.Path(name).write_bytes(whole[:size])
                for call in (trellis.info, trellis.header, functools.partial(trellis.load, lenient=True), trellis.load):
                    with contextlib.suppress(trellis.Error):
                        result = call(name)
                        if call is trellis.load:  # what is cut off is padding
                            np.testing.assert_array_equal(result.colour, pixels)
                            loads += 1
            self.assertLess(loads, 102, name)
        hostile = bytearray(pathlib.Path("a.dpx").read_bytes())
        hostile[772:780] = b"\x00\x0f\x42\x40" * 2  # a million times a million pixels
        pathlib.Path("hostile.dpx").write_bytes(hostile)
        self.assertIn("missing", str(self.assert_error(1, "hostile.dpx")))

    def test_what_a_lenient_load_lacks_is_black_and_said(self):
        trellis.save("a.dpx", np.full((4, 6, 3), 16383, np.uint16))
        os.truncate("a.dpx", os.path.getsize("a.dpx") - 1)
        picture = trellis.load("a.dpx", lenient=True)
        self.assertIn("missing", picture.warnings[0])
        self.assertEqual((picture.colour[0].min(), picture.colour[-1].max()), (16383, 0))

    def test_a_file_that_changes_gives_a_picture_or_an_error(self):
        trellis.save("a.pic", noise((64, 64, 4)))
        whole = pathlib.Path("a.pic").read_bytes()
        with concurrent.futures.ThreadPoolExecutor(1) as pool:
            writing = pool.submit(lambda: [pathlib.Path("a.pic").write_bytes(whole[: i * 997 % len(whole)])
                                           for i in range(300)])
            while not writing.done():
                with contextlib.suppress(trellis.Error):
                    self.assertEqual(trellis.load("a.pic").matte.shape, (64, 64))

    def test_files_are_replaced_only_when_wanted(self):
        trellis.save("a.pic", noise((2, 2, 3)))
        with self.assertRaises(trellis.Error) as caught:
            trellis.save("a.pic", noise((2, 2, 3)), overwrite=False)
        self.assertEqual(caught.exception.code, 23)
        for name in [b"\xff.pic", pathlib.Path("ü.pic")]:
            trellis.save(name, noise((2, 2, 3)))
            self.assertEqual(trellis.info(name).path, os.fsdecode(name))


class Threads(InDirectory):
    def run_python(self, script):
        return subprocess.run([sys.executable, "-c", textwrap.dedent(script)], timeout=60, check=True,
                              capture_output=True, text=True).stdout

    def test_a_load_that_waits_lets_others_work(self):
        os.mkfifo("fifo")
        self.assertIn("went on", self.run_python("""
            import threading, trellis
            def load():
                try: trellis.load("fifo")  # waits until somebody writes
                except trellis.Error: print("ended")
            thread = threading.Thread(target=load)
            thread.start()
            print("went on")
            open("fifo", "wb").close()
            thread.join(5)
            if thread.is_alive(): open("fifo", "wb").close()
            """))

    def test_four_threads_load_different_files(self):
        arrays = {f"{i}.{e}": noise((40, 30, 3)) for i in range(8) for e in ("pic", "iff")}
        for name, array in arrays.items():
            trellis.save(name, array)
        with concurrent.futures.ThreadPoolExecutor(4) as pool:
            for name, picture in zip(arrays, pool.map(trellis.load, arrays)):
                np.testing.assert_array_equal(picture.colour, arrays[name])

    def test_the_package_can_be_loaded_again(self):
        self.assertEqual(self.run_python("""
            import importlib, trellis
            for _ in range(3):
                importlib.reload(trellis)
                try: trellis.load("none.pic")
                except trellis.Error as error: print(error.code)
            """), "6\n6\n6\n")


class Sequences(InDirectory):
    def setUp(self):
        super().setUp()
        for number in (1, 2, 3, 10):
            trellis.save(f"s.{number:04}.pic", np.full((2, 3, 3), number, np.uint8))

    def test_frames_come_in_order(self):
        for frames, threads, expected in [
            (None, None, [1, 2, 3, 10]), (None, 1, [1, 2, 3, 10]), ("10,1-3x2", 4, [10, 1, 3]),
        ]:
            found = list(trellis.sequence("s.####.pic", frames, threads))
            self.assertEqual([frame.number for frame in found], expected)
            self.assertEqual([frame.picture.colour[0, 0, 0] for frame in found], expected)

    def test_what_is_wrong_shows(self):
        for wrong in [("s.pic",), ("s.%04d.pic", "a-b"), ("s.%04d.pic", "1", 0)]:
            with self.assertRaises(ValueError):
                trellis.sequence(*wrong)
        frames = trellis.sequence("s.%04d.pic", "2-5")
        self.assertEqual([next(frames).number, next(frames).number], [2, 3])
        with self.assertRaises(trellis.Error) as caught:
            next(frames)
        self.assertEqual(caught.exception.filename, "s.0004.pic")
        trellis.sequence("s.%04d.pic").close()
        self.assertEqual(list(trellis.sequence("t.%04d.pic")), [])


class Documents(InDirectory):
    def setUp(self):
        super().setUp()
        for number in (1, 2, 3):
            level = np.full((36, 48, 3), 64 * number << 6 & 16383, np.uint16)
            trellis.save(f"shot.{number:04}.dpx", level)
        trellis.save("cutout.pic", np.full((36, 48, 4), 255, np.uint8))

    def test_what_is_documented_is_so(self):
        flags = doctest.NORMALIZE_WHITESPACE | doctest.ELLIPSIS
        self.assertEqual(doctest.testmod(trellis, extraglobs={"trellis": trellis}, optionflags=flags).failed, 0)
        page = SOURCE / "docs/plugins.md"
        results = doctest.testfile(str(page), module_relative=False, optionflags=flags)
        self.assertEqual(results.failed, 0)
        self.assertGreater(results.attempted, 10)

    def test_the_examples_run(self):
        for script, needs in [("histogram.py", "numpy"), ("flip.py", "matplotlib")]:
            with self.subTest(script):
                if subprocess.run([sys.executable, "-c", f"import {needs}"], capture_output=True).returncode:
                    self.skipTest(f"{needs} is not installed")
                path = SOURCE / "plugins/python/examples" / script
                subprocess.run([sys.executable, path, "shot.%04d.dpx"], check=True, timeout=100,
                               stdout=subprocess.DEVNULL, env=os.environ | {"MPLBACKEND": "Agg"})


if __name__ == "__main__":
    unittest.main()
