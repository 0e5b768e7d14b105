"""The Python module over the flat interface: construction, queries, element
access, the library's operations and its failures as Python exceptions."""

import unittest

import lumcore
from lumcore import _flat

try:
    import numpy
except ImportError:
    numpy = None


class Construction(unittest.TestCase):
    def test_python_values_take_their_natural_types(self):
        cases = [(True, "bool"), (7, "int64"), (1 << 63, "unsignedInt64"), (2.5, "double"),
                 (1 - 2j, "complexDouble"), ("text", "string"), (lumcore.String("shared"), "string"),
                 ([1, 2.5], "double"), ([True, 2], "int64"), ([1, 1j], "complexDouble")]
        for value, word in cases:
            with self.subTest(value=value):
                v = lumcore.Variant(value)
                self.assertEqual(v.dtype, word)
        self.assertEqual(lumcore.Variant("text").item(), "text")
        self.assertEqual(lumcore.Variant(lumcore.String("shared")).item(), "shared")
        self.assertEqual(lumcore.Variant(1 << 63).item(), 1 << 63)
        self.assertEqual(lumcore.Variant(-(1 << 63)).item(), -(1 << 63))

    def test_nested_sequences_make_row_major_arrays(self):
        v = lumcore.Variant([[1, 2, 3], [4, 5, 6]])
        self.assertEqual((v.shape, v.ordering, v.size, len(v)), ((2, 3), "RowMajor", 6, 2))
        self.assertEqual(v.tolist(), [[1, 2, 3], [4, 5, 6]])
        self.assertEqual(lumcore.Variant([]).shape, (0,))
        self.assertEqual(lumcore.Variant([[], []]).tolist(), [[], []])
        self.assertEqual(lumcore.Variant((("a", "b"),)).tolist(), [["a", "b"]])
        self.assertEqual(lumcore.Variant(["", "é"]).tolist(), ["", "é"])

    def test_values_that_make_no_variant_are_refused(self):
        with self.assertRaisesRegex(ValueError, "different lengths"):
            lumcore.Variant([[1, 2], [3]])
        with self.assertRaisesRegex(TypeError, "text and numbers"):
            lumcore.Variant(["a", 1])
        with self.assertRaisesRegex(ValueError, "beyond 64 bits"):
            lumcore.Variant(1 << 64)
        with self.assertRaisesRegex(TypeError, "dict has no LumCore element type"):
            lumcore.Variant([{}])

    def test_a_dtype_converts_losslessly(self):
        v = lumcore.Variant([1, 2, 300], dtype="int16")
        self.assertEqual((v.dtype, v.tolist()), ("int16", [1, 2, 300]))
        with self.assertRaisesRegex(ValueError, "Lossless conversion of int64 to int8 is refused"):
            lumcore.Variant([1, 2, 300], dtype="int8")
        with self.assertRaisesRegex(ValueError, "'float128' names no LumCore element type"):
            lumcore.Variant([1], dtype="float128")

    @unittest.skipIf(numpy is None, "NumPy is not installed")
    def test_numpy_arrays_of_any_ordering_are_copied(self):
        grid = numpy.arange(6, dtype=numpy.int32).reshape(2, 3)
        for array, ordering in [(grid, "RowMajor"), (numpy.asfortranarray(grid), "ColumnMajor"),
                                (grid[:, ::2], "RowMajor"), (grid.T, "ColumnMajor"),
                                (grid.astype(">i4"), "RowMajor")]:
            with self.subTest(strides=array.strides, dtype=array.dtype.str):
                v = lumcore.Variant(array)
                self.assertEqual((v.dtype, v.ordering), ("int32", ordering))
                self.assertEqual(v.tolist(), array.tolist())
                self.assertFalse(numpy.shares_memory(numpy.asarray(v), array))
        scalar = lumcore.Variant(numpy.float32(1.5))
        self.assertEqual((scalar.dtype, scalar.item()), ("float", 1.5))
        zero_d = lumcore.Variant(numpy.array(3, dtype=numpy.uint16))
        self.assertEqual((zero_d.dtype, zero_d.shape, zero_d.item()), ("unsignedInt16", (), 3))
        with self.assertRaisesRegex(TypeError, "NumPy's float16 has no LumCore element type"):
            lumcore.Variant(numpy.zeros(2, dtype=numpy.float16))


class Queries(unittest.TestCase):
    def test_the_null_variant(self):
        null = lumcore.Variant()
        self.assertEqual(null.dtype, "unknown")
        self.assertTrue(null.identical(lumcore.Variant()))

    def test_elements_by_index_in_either_ordering(self):
        rows = lumcore.Variant([[1, 2, 3], [4, 5, 6]], dtype="int8")
        columns = rows.reorder("ColumnMajor")
        for v in (rows, columns):
            with self.subTest(ordering=v.ordering):
                self.assertEqual((v[0, 2], v[1, 0], v[-1, -1]), (3, 4, 6))
                self.assertEqual(v.tolist(), [[1, 2, 3], [4, 5, 6]])
                with self.assertRaisesRegex(IndexError, "index 3 is out of range for an extent of 3"):
                    v[0, 3]
                with self.assertRaisesRegex(IndexError, "1 indices for a variant of 2 dimensions"):
                    v[0]
        self.assertEqual(repr(columns), "lumcore.Variant(int8, shape=(2, 3), ColumnMajor)")
        scalar = lumcore.Variant(2.5)
        self.assertEqual((scalar.shape, scalar[()], scalar.tolist()), ((), 2.5, 2.5))
        with self.assertRaisesRegex(TypeError, "no length"):
            len(scalar)
        with self.assertRaisesRegex(ValueError, "one element, not 6"):
            rows.item()

    def test_element_classes_read_back(self):
        self.assertEqual(lumcore.Variant([1 + 2j]).convert("complexInt16").tolist(), [1 + 2j])
        self.assertEqual(lumcore.Variant([1.5]).convert("complexFloat", "Cast").tolist(), [1.5 + 0j])
        self.assertEqual(lumcore.Variant([True, False]).convert("uint8").tolist(), [1, 0])
        self.assertEqual(lumcore.Variant([1.5, 2]).convert("string", "CastOrParse").tolist(), ["1.5", "2.0"])
        with self.assertRaisesRegex(TypeError, "elements of type 'duration' cannot be read from Python"):
            lumcore.Variant([0]).convert("duration").tolist()


class Operations(unittest.TestCase):
    def test_convert_by_word_or_numpy_type_in_the_three_modes(self):
        v = lumcore.Variant([-1.5, 2.0])
        self.assertIs(type(v.convert("double")), lumcore.Variant)
        self.assertEqual(v.convert("int32", "Cast").tolist(), [-1, 2])
        self.assertEqual(v.convert("INT32", "cast").dtype, "int32")
        with self.assertRaisesRegex(ValueError, "Lossless conversion of double to int32 is refused"):
            v.convert("int32")
        self.assertEqual(lumcore.Variant(["7"]).convert("int32", "CastOrParse").tolist(), [7])
        with self.assertRaisesRegex(ValueError, "'Exact' is not a conversion mode"):
            v.convert("int32", "Exact")
        if numpy is not None:
            self.assertEqual(v.convert(numpy.float32).dtype, "float")
            self.assertEqual(v.convert(numpy.dtype("<u2"), "Cast").dtype, "unsignedInt16")

    def test_reorder_reshape_and_the_two_comparisons(self):
        v = lumcore.Variant([[1, 2], [3, 4]])
        columns = v.reorder("ColumnMajor")
        self.assertEqual(columns.tolist(), v.tolist())
        self.assertTrue(v.equivalent(columns))
        self.assertFalse(v.identical(columns))
        self.assertTrue(v.identical(columns.reorder("RowMajor")))
        self.assertTrue(v.equivalent([[1.0, 2.0], [3.0, 4.0]]))
        self.assertFalse(v.equivalent([[1.5, 2.0], [3.0, 4.0]], "Cast"))
        self.assertEqual(v.reshape(4).tolist(), [1, 2, 3, 4])
        self.assertEqual(v.reshape((1, 2)).tolist(), [[1, 2]])
        self.assertEqual(v.reshape((4, 1), "ColumnMajor").ordering, "ColumnMajor")
        # A grown array starts its tail at zero, never at what the heap held.
        self.assertEqual(lumcore.Variant([1.0]).reshape(8).tolist(), [1.0] + [0.0] * 7)
        with self.assertRaisesRegex(ValueError, "'Diagonal' is not an ordering"):
            v.reorder("Diagonal")


class Failures(unittest.TestCase):
    """A failure inside the library arrives with its word and exact text."""

    def check(self, call, python_class, word, text):
        with self.assertRaises(python_class) as caught:
            call()
        self.assertIsInstance(caught.exception, lumcore.LumCoreError)
        self.assertEqual((caught.exception.word, caught.exception.text, str(caught.exception)), (word, text, text))

    def test_each_word_raises_its_python_class(self):
        v = lumcore.Variant([1])
        self.check(lambda: v.convert("customType", "Cast"), RuntimeError, "runtime_error", "unknown type")
        self.check(lambda: v.reshape((3, 0x5555555555555557)), ValueError, "length_error",
                   "dimensions do not match data length")
        self.check(lambda: lumcore.Variant(["a"]).__dlpack__(), ValueError, "invalid_argument",
                   "A variant of element type 'string' has no DLPack data type.")
        self.check(lambda: v.reshape((1 << 40,)), MemoryError, "bad_alloc", "std::bad_alloc")
        # No variant operation reports out_of_range; the mapping is the same.
        error = _flat.error_for("out_of_range", "Index value out-of-range")
        self.assertIsInstance(error, IndexError)
        self.assertEqual((error.word, str(error)), ("out_of_range", "Index value out-of-range"))
        self.assertIs(type(_flat.error_for("exception", "unknown exception")), lumcore.LumCoreError)


if __name__ == "__main__":
    unittest.main()
