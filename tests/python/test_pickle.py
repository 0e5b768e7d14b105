"""pickle, copy and multiprocessing: numeric elements travel as buffers
(out of band with protocol 5, and shared again when they come back), the
other types as the library's CBOR."""

import multiprocessing
import pickle
import unittest

import lumcore

try:
    import numpy
except ImportError:
    numpy = None

SAMPLES = [lumcore.Variant([[1.5, -2.0], [3.0, 4.25]], ordering="ColumnMajor"), lumcore.Variant(7, dtype="int16"),
           lumcore.Variant([True, False]), lumcore.Variant([1 + 2j], dtype="complexInt32"),
           lumcore.Variant([["a", "\u00e9"], ["", "z"]]), lumcore.Variant("text"), lumcore.Variant(),
           lumcore.Variant([], dtype="float")]


def summed(v):
    """Runs in a worker process."""
    return lumcore.Variant(sum(v.tolist()) if v.ndim else v.item())


class Pickling(unittest.TestCase):
    def test_every_kind_of_value_round_trips_with_every_protocol(self):
        for protocol in range(2, pickle.HIGHEST_PROTOCOL + 1):
            for v in SAMPLES:
                with self.subTest(protocol=protocol, v=v):
                    back = pickle.loads(pickle.dumps(v, protocol=protocol))
                    self.assertTrue(back.identical(v) if v.type != "unknown" else back.type == "unknown")
        s = lumcore.String("shared")
        self.assertEqual(pickle.loads(pickle.dumps(s)), s)

    @unittest.skipIf(numpy is None, "NumPy is not installed")
    def test_out_of_band_buffers_copy_no_element_either_way(self):
        v = lumcore.Variant(numpy.arange(1 << 16, dtype=numpy.float64).reshape(256, 256)).reorder("ColumnMajor")
        buffers = []
        data = pickle.dumps(v, protocol=5, buffer_callback=buffers.append)
        self.assertLess(len(data), 300)
        self.assertEqual(len(buffers), 1)
        self.assertTrue(numpy.shares_memory(numpy.asarray(buffers[0].raw()), numpy.asarray(v)))
        back = pickle.loads(data, buffers=buffers)
        self.assertTrue(back.identical(v))
        self.assertTrue(numpy.shares_memory(numpy.asarray(back), numpy.asarray(v)))
        # Bytes that came over a wire are read in place too, and kept alive.
        wire = bytearray(buffers[0].raw())
        del buffers
        back = pickle.loads(data, buffers=[wire])
        self.assertTrue(numpy.shares_memory(numpy.asarray(back), numpy.frombuffer(wire)))
        del wire
        self.assertEqual(back, v)
        with self.assertRaisesRegex(ValueError, "does not hold the elements"):
            pickle.loads(data, buffers=[b"short"])

    def test_a_spawned_pool_maps_over_variants(self):
        context = multiprocessing.get_context("spawn")
        values = [lumcore.Variant([1, 2, 3]), lumcore.Variant([0.5, 0.25]), lumcore.Variant("x")]
        with context.Pool(2) as pool:
            results = pool.map_async(summed, values).get(timeout=120)
        self.assertEqual(results, [lumcore.Variant(6), lumcore.Variant(0.75), lumcore.Variant("x")])


if __name__ == "__main__":
    unittest.main()
