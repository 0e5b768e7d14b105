"""Indexing and slicing give what NumPy gives, on random shapes, keys and
orderings; what NumPy refuses is refused alike."""

import random
import unittest

import lumcore

try:
    import numpy
except ImportError:
    numpy = None


def random_key(rng, shape):
    """A key of integers, slices (any steps, ends past the extent), `...`
    and fewer items than dimensions."""
    items = []
    for extent in shape[:rng.randint(0, len(shape))]:
        if rng.random() < 0.3 and extent:
            items.append(rng.randint(-extent, extent - 1))
        else:
            ends = [None] + list(range(-extent - 2, extent + 3))
            items.append(slice(rng.choice(ends), rng.choice(ends), rng.choice([None, 1, 2, 3, -1, -2])))
    if items and rng.random() < 0.3:
        items.insert(rng.randint(0, len(items)), Ellipsis)
    return items[0] if len(items) == 1 and rng.random() < 0.5 else tuple(items)


@unittest.skipIf(numpy is None, "NumPy is not installed")
class AgainstNumpy(unittest.TestCase):
    def test_random_keys_on_random_shapes_and_orderings(self):
        rng = random.Random(2026)
        for trial in range(600):
            shape = tuple(rng.randint(0, 5) for _ in range(rng.randint(1, 4)))
            expected = numpy.arange(int(numpy.prod(shape)), dtype=numpy.int32).reshape(shape)
            ordering = rng.choice(["RowMajor", "ColumnMajor"])
            v = lumcore.Variant(expected, ordering=ordering)
            key = random_key(rng, shape)
            with self.subTest(trial=trial, shape=shape, key=key, ordering=ordering):
                try:
                    want = expected[key]
                except IndexError:
                    with self.assertRaises(IndexError):
                        v[key]
                    continue
                got = v[key]
                if isinstance(got, lumcore.Variant):
                    self.assertEqual((got.shape, got.tolist()), (want.shape, want.tolist()))
                    self.assertEqual(got.ordering, ordering)
                else:
                    self.assertEqual(got, want)

    def test_text_slices_as_numbers_do(self):
        words = numpy.array([["a", "b", "c"], ["d", "e", "f"]])
        v = lumcore.Variant(words).reorder("ColumnMajor")
        self.assertEqual(v[::-1, 1:].tolist(), words[::-1, 1:].tolist())
        self.assertEqual(v[1, -1], "f")

    def test_what_numpy_refuses(self):
        v = lumcore.Variant(numpy.zeros((2, 3)))
        for key, error, words in [((0, 0, 0), IndexError, "too many indices for array: array is 2-dimensional, "
                                                          "but 3 were indexed"),
                                  ((2,), IndexError, "index 2 is out of bounds for axis 0 with size 2"),
                                  ((0, -4), IndexError, "index -4 is out of bounds for axis 1 with size 3"),
                                  (1.7, TypeError, "only integers, slices"),
                                  ((1, 2.0), TypeError, "only integers, slices"),
                                  ((True,), TypeError, "only integers, slices"),
                                  ((..., 0, ...), IndexError, "a single ellipsis"),
                                  ((slice(0, 1, 0),), ValueError, "slice step cannot be zero"),
                                  ((1 << 70,), IndexError, "cannot fit 'int' into an index-sized integer")]:
            with self.subTest(key=key), self.assertRaisesRegex(error, words):
                v[key]
        scalar = lumcore.Variant(2.5)
        self.assertEqual((scalar[()], scalar[...]), (2.5, scalar))
        with self.assertRaisesRegex(IndexError, "array is 0-dimensional, but 1 were indexed"):
            scalar[0]
        with self.assertRaisesRegex(IndexError, "the null Variant has no elements"):
            lumcore.Variant()[0]

    def test_the_whole_is_the_same_value_and_a_part_is_a_copy(self):
        v = lumcore.Variant(numpy.arange(6.0).reshape(2, 3))
        self.assertIs(v[:], v)
        self.assertIs(v[...], v)
        self.assertFalse(numpy.shares_memory(numpy.asarray(v[1:]), numpy.asarray(v)))


if __name__ == "__main__":
    unittest.main()
