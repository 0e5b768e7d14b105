"""The Variant from Python: what it is made from, the protocols it follows
as a Python object, and the library's operations and failures."""

import copy
import math
import operator
import unittest

import lumcore

try:
    import numpy
except ImportError:
    numpy = None


class Construction(unittest.TestCase):
    def test_python_values_take_their_natural_types(self):
        cases = [(True, "bool"), (7, "int64"), (1 << 63, "unsignedInt64"), (2.5, "double"),
                 (1 - 2j, "complexDouble"), ("text", "string"), (lumcore.String("shared"), "string"),
                 ([1, 2.5], "double"), ([True, 2], "int64"), ([1, 1j], "complexDouble"), ([], "double"),
                 ([[1 << 63], [5]], "unsignedInt64")]
        for value, word in cases:
            with self.subTest(value=value):
                v = lumcore.Variant(value)
                self.assertEqual(v.type, word)
                expected = str(value) if isinstance(value, lumcore.String) else value
                self.assertEqual(v.tolist(), expected)
        self.assertEqual(lumcore.Variant(-(1 << 63)).item(), -(1 << 63))
        self.assertEqual(lumcore.Variant("caf\u00e9 \udcff").item(), "caf\u00e9 \udcff")

    def test_dtype_converts_exactly_and_ordering_reorders(self):
        v = lumcore.Variant([[1, 2], [3, 4]], dtype="uint8", ordering="ColumnMajor")
        self.assertEqual((v.type, v.ordering, v.tolist()), ("unsignedInt8", "ColumnMajor", [[1, 2], [3, 4]]))
        with self.assertRaisesRegex(ValueError, "Lossless conversion of double to int32 is refused"):
            lumcore.Variant([1.5], dtype="int32")

    def test_what_makes_no_variant_is_named(self):
        cases = [([[1, 2], [3]], ValueError, "ragged nested sequences: at depth 1"),
                 ([[1, 2], 3], ValueError, "ragged nested sequences"),
                 ([1, [2]], ValueError, "ragged nested sequences: a sequence of length 1 stands where depth 1"),
                 ([lumcore.Variant(1)], TypeError, "element 0 of the nested lists is an array"),
                 ([1, "a"], TypeError, "text and numbers do not mix"),
                 ([1, None], TypeError, "element 1 of the nested lists is a NoneType"),
                 ([1 << 64], OverflowError, "beyond 64 bits"),
                 ([-1, 1 << 63], OverflowError, "mix negative values"),
                 (object(), TypeError, "object has no LumCore element type")]
        for value, error, words in cases:
            with self.subTest(value=value), self.assertRaisesRegex(error, words):
                lumcore.Variant(value)
        with self.assertRaisesRegex(ValueError, r"'int33' names no element type; the types are bool, complexBool, double, "):
            lumcore.Variant(1, dtype="int33")
        self.assertIn("complexUnsignedInt16", lumcore.TYPES)
        self.assertEqual(len(lumcore.TYPES), 26)

    @unittest.skipIf(numpy is None, "NumPy is not installed")
    def test_numpy_arrays_of_numbers_and_of_text(self):
        for array in (numpy.arange(6, dtype=numpy.int16).reshape(2, 3), numpy.asfortranarray(numpy.eye(3)),
                      numpy.arange(12.0).reshape(3, 4)[::2, ::-1], numpy.float32(2.5), numpy.array(True)):
            with self.subTest(array=array):
                v = lumcore.Variant(array)
                self.assertEqual((v.shape, v.dtype, v.tolist()), (array.shape, array.dtype, array.tolist()))
        self.assertEqual(lumcore.Variant(numpy.asfortranarray(numpy.eye(2))).ordering, "ColumnMajor")
        for text in (numpy.array([["a", "\u00e9t\u00e9"], ["", "z"]]), numpy.array(["x", "yz"], dtype=object)):
            v = lumcore.Variant(text)
            self.assertEqual((v.type, v.tolist()), ("string", text.tolist()))
            back = numpy.asarray(v)
            self.assertEqual((back.dtype.kind, back.tolist()), ("U", text.tolist()))
        self.assertEqual(lumcore.Variant(list(numpy.arange(3))).type, "int64")
        with self.assertRaisesRegex(TypeError, "a masked array has no Variant"):
            lumcore.Variant(numpy.ma.masked_array([1, 2], mask=[0, 1]))
        with self.assertRaisesRegex(TypeError, "NumPy's float16 has no LumCore element type"):
            lumcore.Variant(numpy.zeros(2, dtype=numpy.float16))


class Protocols(unittest.TestCase):
    def test_length_iteration_and_membership_along_the_first_axis(self):
        grid = lumcore.Variant([[1, 2, 3], [4, 5, 6]])
        self.assertEqual(len(grid), 2)
        self.assertEqual([row.tolist() for row in grid], [[1, 2, 3], [4, 5, 6]])
        self.assertEqual(list(grid[0]), [1, 2, 3])
        self.assertTrue(5 in grid and 7 not in grid)
        scalar = lumcore.Variant(2)
        with self.assertRaisesRegex(TypeError, "len\\(\\) of unsized object"):
            len(scalar)
        with self.assertRaisesRegex(TypeError, "iteration over a 0-d array"):
            iter(scalar)

    def test_scalars_convert_as_numpy_scalars_do(self):
        self.assertEqual((bool(lumcore.Variant(0)), bool(lumcore.Variant([3.5]))), (False, True))
        self.assertEqual((int(lumcore.Variant(2.7)), float(lumcore.Variant(3)), complex(lumcore.Variant(1j))),
                         (2, 3.0, 1j))
        self.assertEqual(operator.index(lumcore.Variant(5, dtype="int8")), 5)
        self.assertEqual([10, 20, 30][lumcore.Variant(1)], 20)
        self.assertEqual(f"{lumcore.Variant(3.14159):.2f}|{lumcore.Variant([1, 2])}", "3.14|[1 2]")
        with self.assertRaisesRegex(ValueError, "truth value of an array with more than one element is ambiguous"):
            bool(lumcore.Variant([1, 2]))
        with self.assertRaisesRegex(TypeError, "only size-1 arrays"):
            float(lumcore.Variant([1, 2]))
        with self.assertRaisesRegex(TypeError, "only integer scalar arrays"):
            operator.index(lumcore.Variant(1.0))

    def test_equality_is_by_type_shape_and_values_whatever_the_ordering(self):
        v = lumcore.Variant([[1.0, -0.0], [3.0, 4.0]])
        same = lumcore.Variant([[1.0, 0.0], [3.0, 4.0]], ordering="ColumnMajor")
        self.assertTrue(v == same and not v != same)
        self.assertEqual(hash(v), hash(same))
        self.assertEqual(len({v, same, lumcore.Variant([[1, 0], [3, 4]])}), 2)
        unequal = [lumcore.Variant([[1, 0], [3, 4]]), v.reshape(4), lumcore.Variant([1.0]), lumcore.Variant(1.0)]
        for other in unequal:
            self.assertNotEqual(v if other.size > 1 else lumcore.Variant([1.0] if other.ndim == 0 else 1.0), other)
        self.assertNotEqual(lumcore.Variant(math.nan), lumcore.Variant(math.nan))
        self.assertEqual(lumcore.Variant(["a", "b"]), lumcore.Variant(["a", "b"]))
        self.assertEqual(hash(lumcore.Variant(["a", "b"])), hash(lumcore.Variant(("a", "b"))))
        self.assertFalse(v == [[1.0, 0.0], [3.0, 4.0]])

    def test_text_shows_values_and_summarises_large_arrays(self):
        self.assertEqual(repr(lumcore.Variant([[1, 2], [3, 4]], dtype="int32")),
                         "lumcore.Variant([[1, 2],\n                 [3, 4]], dtype='int32')")
        self.assertEqual(str(lumcore.Variant(["a", "b"])), "['a' 'b']")
        self.assertEqual((str(lumcore.Variant("a")), repr(lumcore.Variant())), ("a", "lumcore.Variant()"))
        large = str(lumcore.Variant(list(range(2000))))
        self.assertEqual(large, "[0 1 2 ... 1997 1998 1999]")
        self.assertEqual(eval(repr(lumcore.Variant([1.5, 2.0])), {"lumcore": lumcore}), lumcore.Variant([1.5, 2.0]))

    def test_copies_share_because_values_never_change(self):
        v = lumcore.Variant([1, 2, 3])
        self.assertIs(copy.copy(v), v)
        self.assertIs(copy.deepcopy([v])[0], v)
        s = lumcore.String("text")
        self.assertIs(copy.deepcopy(s), s)
        self.assertEqual((s, len(s), hash(s)), ("text", 4, hash("text")))
        with self.assertRaisesRegex(TypeError, "a String is made from str or bytes, not int"):
            lumcore.String(5)
        fresh = v.copy()
        self.assertEqual(fresh, v)
        if numpy is not None:
            self.assertFalse(numpy.shares_memory(numpy.asarray(fresh), numpy.asarray(v)))


class Operations(unittest.TestCase):
    def test_convert_is_exact_and_astype_casts(self):
        v = lumcore.Variant([-1.5, 2.0])
        self.assertEqual(v.astype("int32").tolist(), [-1, 2])
        self.assertEqual(v.convert("INT32", "cast").type, "int32")
        with self.assertRaisesRegex(ValueError, "Lossless conversion of double to int32 is refused"):
            v.convert("int32")
        self.assertEqual(lumcore.Variant(["7"]).convert("int32", "CastOrParse").tolist(), [7])
        with self.assertRaisesRegex(ValueError, "'Exact' is not a conversion mode; the conversion modes are Lossless"):
            v.convert("int32", "Exact")
        self.assertEqual(lumcore.Variant([1 + 2j]).convert("complexInt16").tolist(), [1 + 2j])
        if numpy is not None:
            self.assertEqual(v.astype(numpy.float32).dtype, numpy.float32)
            self.assertEqual(v.convert(numpy.dtype("<u2"), "Cast").type, "unsignedInt16")

    def test_reshape_keeps_the_size_as_numpy_does(self):
        v = lumcore.Variant([[1, 2, 3], [4, 5, 6]])
        self.assertEqual(v.reshape(-1).tolist(), [1, 2, 3, 4, 5, 6])
        self.assertEqual(v.reshape((3, -1)).shape, (3, 2))
        self.assertEqual(v.reshape((3, 2), "ColumnMajor").tolist(), [[1, 4], [2, 5], [3, 6]])
        self.assertEqual(lumcore.Variant(["a", "b"]).reshape((2, 1)).tolist(), [["a"], ["b"]])
        self.assertEqual(lumcore.Variant([7]).reshape(()).shape, ())
        for shape, error, words in [((4,), ValueError, r"cannot reshape array of size 6 into shape \(4,\)"),
                                    ((2 ** 64,), ValueError, "cannot fit 'int' into an index-sized integer"),
                                    ((2 ** 40, 2 ** 40), ValueError, "too big"),
                                    ((2.0, 3), TypeError, "'float' object cannot be interpreted as an integer"),
                                    ((-1, -1), ValueError, "can only specify one unknown dimension"),
                                    ((-2, -3), ValueError, "negative dimensions not allowed")]:
            with self.subTest(shape=shape), self.assertRaisesRegex(error, words):
                v.reshape(shape)

    def test_reorder_and_the_librarys_two_comparisons(self):
        v = lumcore.Variant([[1, 2], [3, 4]])
        columns = v.reorder("C").reorder("F")
        self.assertEqual((columns.ordering, columns.tolist()), ("ColumnMajor", v.tolist()))
        self.assertTrue(v.equivalent(columns) and not v.identical(columns))
        self.assertTrue(v.equivalent([[1.0, 2.0], [3.0, 4.0]]))
        with self.assertRaisesRegex(ValueError, "'Diagonal' is not an ordering"):
            v.reorder("Diagonal")

    def test_library_failures_keep_their_word_and_text(self):
        with self.assertRaises(ValueError) as caught:
            lumcore.Variant(["a"]).__dlpack__()
        failure = caught.exception
        self.assertIsInstance(failure, lumcore.LumValueError)
        self.assertEqual((failure.word, failure.text), ("invalid_argument",
                                                        "A variant of element type 'string' has no DLPack data type."))
        with self.assertRaises(RuntimeError) as caught:
            lumcore.Variant([1]).convert("customType", "Cast")
        self.assertEqual((caught.exception.word, str(caught.exception)), ("runtime_error", "unknown type"))


if __name__ == "__main__":
    unittest.main()
