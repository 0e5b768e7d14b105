"""Variants handed to NumPy and back with no copy: both DLPack forms, the
buffer protocol, who keeps whom alive, deleters that run once, and refused
handovers that leak nothing."""

import ctypes
import gc
import unittest
import weakref

import lumcore

try:
    import numpy
except ImportError:
    numpy = None

# Every type that maps directly, with NumPy's name for it.
DIRECT = {"bool": "bool", "int8": "int8", "int16": "int16", "int32": "int32", "int64": "int64",
          "unsignedInt8": "uint8", "unsignedInt16": "uint16", "unsignedInt32": "uint32",
          "unsignedInt64": "uint64", "float": "float32", "double": "float64",
          "complexFloat": "complex64", "complexDouble": "complex128"}
# The integer complex types, which go as pairs of their part type.
PAIRS = {"complex" + word[0].upper() + word[1:]: word
         for word in ("int8", "int16", "int32", "int64", "unsignedInt8", "unsignedInt16", "unsignedInt32",
                      "unsignedInt64")}


def data_of(variant):
    return numpy.asarray(variant).ctypes.data if variant.type in DIRECT else None


class DLTensor(ctypes.Structure):
    _fields_ = [("data", ctypes.c_void_p), ("device", ctypes.c_int32 * 2), ("ndim", ctypes.c_int32),
                ("dtype", ctypes.c_uint8 * 4), ("shape", ctypes.POINTER(ctypes.c_int64)),
                ("strides", ctypes.POINTER(ctypes.c_int64)), ("byte_offset", ctypes.c_uint64)]


class DLManagedTensor(ctypes.Structure):
    pass


DELETER = ctypes.CFUNCTYPE(None, ctypes.POINTER(DLManagedTensor))
DLManagedTensor._fields_ = [("dl_tensor", DLTensor), ("manager_ctx", ctypes.c_void_p), ("deleter", DELETER)]
_new_capsule = ctypes.pythonapi.PyCapsule_New
_new_capsule.restype, _new_capsule.argtypes = ctypes.py_object, [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p]


def sample(word, ordering="RowMajor"):
    values = [[0, 1, 1], [0, 1, 0]] if word == "bool" else [[1, 2, 3], [4, 5, 6]]
    return lumcore.Variant(values).convert(word, "Cast").reorder(ordering)


class Producer:
    """A tensor made in Python over a NumPy buffer, counting its deleter's calls."""

    def __init__(self, array, code, bits):
        self.array = array
        self.deleted = 0
        self.shape = (ctypes.c_int64 * array.ndim)(*array.shape)
        self.strides = (ctypes.c_int64 * array.ndim)(*(s // array.itemsize for s in array.strides))
        self.managed = DLManagedTensor()
        tensor = self.managed.dl_tensor
        tensor.data = array.ctypes.data
        tensor.device[:] = (1, 0)
        tensor.ndim = array.ndim
        tensor.dtype[:] = (code, bits, 1, 0)
        tensor.shape = self.shape
        tensor.strides = self.strides
        self._deleter = DELETER(self._delete)
        self.managed.deleter = self._deleter

    def _delete(self, _):
        self.deleted += 1

    def capsule(self):
        return _new_capsule(ctypes.addressof(self.managed), b"dltensor", None)


class OwnCapsules(unittest.TestCase):
    """Out through either DLPack form and back into the library: every type."""

    def test_every_mappable_type_round_trips_in_place(self):
        for word in list(DIRECT) + list(PAIRS):
            for ordering in ("RowMajor", "ColumnMajor"):
                v = sample(word, ordering)
                for versioned in (False, True):
                    with self.subTest(type=word, ordering=ordering, versioned=versioned):
                        capsule = v.__dlpack__(max_version=(1, 0) if versioned else None)
                        if word in PAIRS:
                            if ordering == "ColumnMajor":
                                # Pairs of a column-major array are dense in neither order.
                                with self.assertRaisesRegex(ValueError, "row-major or column-major"):
                                    lumcore.from_dlpack(capsule)
                                continue
                            back = lumcore.from_dlpack(capsule)
                            self.assertEqual((back.type, back.shape), (PAIRS[word], (2, 3, 2)))
                            self.assertEqual(back.tolist(), [[[x, 0] for x in row] for row in v.tolist()])
                        else:
                            back = lumcore.from_dlpack(capsule)
                            self.assertTrue(back.identical(v))
                        if numpy is not None and word in DIRECT:
                            self.assertEqual(data_of(back), data_of(v))

    def test_a_scalar_goes_without_dimensions_and_comes_back_a_scalar(self):
        v = lumcore.Variant(2.5)
        back = lumcore.from_dlpack(v.__dlpack__(max_version=(1, 0)))
        self.assertTrue(back.is_scalar and back.identical(v))

    def test_only_cpu_and_no_stream(self):
        v = sample("double")
        self.assertEqual(v.__dlpack_device__(), (1, 0))
        with self.assertRaises(BufferError):
            v.__dlpack__(dl_device=(2, 0))
        with self.assertRaises(BufferError):
            v.__dlpack__(stream=1)
        copied = lumcore.from_dlpack(v.__dlpack__(copy=True))
        self.assertTrue(copied.identical(v))
        if numpy is not None:
            self.assertNotEqual(data_of(copied), data_of(v))

    def test_refused_types_say_why(self):
        for value, word in [(["a"], "string"), ([True], "complexBool"), (None, "unknown")]:
            v = lumcore.Variant(value)
            if word == "complexBool":
                v = v.convert("complexBool")
            with self.subTest(word=word):
                with self.assertRaises(ValueError) as caught:
                    v.__dlpack__()
                self.assertEqual(str(caught.exception), f"A variant of element type '{word}' has no DLPack data type.")


@unittest.skipIf(numpy is None, "NumPy is not installed")
class WithNumpy(unittest.TestCase):
    def test_numpy_reads_every_mappable_type_in_place(self):
        for word in DIRECT:
            for ordering in ("RowMajor", "ColumnMajor"):
                v = sample(word, ordering)
                expected = numpy.array(v.tolist()).astype(DIRECT[word])
                with self.subTest(type=word, ordering=ordering):
                    seen = numpy.asarray(v)
                    self.assertEqual(seen.dtype, expected.dtype)
                    self.assertTrue(numpy.array_equal(seen, expected))
                    self.assertEqual((memoryview(v).readonly, memoryview(v).shape), (True, expected.shape))
                    self.assertFalse(seen.flags.writeable)
                    self.assertEqual(lumcore.Variant(seen), v)
                    if ordering == "ColumnMajor":
                        self.assertTrue(seen.flags.f_contiguous)
                    if word == "bool":
                        continue  # NumPy 1.24 reads no bool tensors
                    viewed = numpy.from_dlpack(v)
                    self.assertTrue(numpy.array_equal(viewed, expected))
                    self.assertTrue(numpy.shares_memory(viewed, seen))

    def test_numpy_arrays_come_in_place_in_either_ordering(self):
        for dtype in ("int8", "uint16", "int32", "uint64", "float32", "float64", "complex64", "complex128"):
            for fortran in (False, True):
                array = numpy.arange(12).reshape(3, 4).astype(dtype)
                if fortran:
                    array = numpy.asfortranarray(array)
                with self.subTest(dtype=dtype, fortran=fortran):
                    v = lumcore.from_dlpack(array)
                    self.assertEqual(v.ordering, "ColumnMajor" if fortran else "RowMajor")
                    self.assertEqual(v.tolist(), array.tolist())
                    self.assertTrue(numpy.shares_memory(numpy.asarray(v), array))
                    # And out again, still the same memory.
                    self.assertTrue(numpy.shares_memory(numpy.from_dlpack(v), array))

    def test_what_cannot_be_shared_is_copied_on_request(self):
        strided = numpy.arange(16.0).reshape(4, 4)[:, ::2]
        with self.assertRaisesRegex(BufferError, "Only DLPack tensors with row-major or column-major strides can be "
                                                 "imported. \\(with copy=True, from_dlpack copies instead\\)"):
            lumcore.from_dlpack(strided, copy=False)
        read_only = numpy.arange(3.0)
        read_only.flags.writeable = False
        with self.assertRaisesRegex(BufferError, "readonly"):
            lumcore.from_dlpack(read_only, copy=False)
        for producer in (strided, read_only):
            for copy in (None, True):
                v = lumcore.from_dlpack(producer, copy=copy)
                self.assertEqual(v.tolist(), producer.tolist())
                self.assertFalse(numpy.shares_memory(numpy.asarray(v), producer))
        shared = numpy.arange(3.0)
        self.assertTrue(numpy.shares_memory(numpy.asarray(lumcore.from_dlpack(shared)), shared))
        self.assertFalse(numpy.shares_memory(numpy.asarray(lumcore.from_dlpack(shared, copy=True)), shared))
        with self.assertRaises(ValueError) as caught:
            lumcore.from_dlpack(numpy.zeros(3, dtype=numpy.float16).__dlpack__())
        self.assertEqual(str(caught.exception), "No element type has the DLPack data type of code 2, 16 bits and 1 lanes.")
        self.assertEqual(caught.exception.word, "invalid_argument")

    def test_refused_handovers_leak_nothing(self):
        def resident_bytes():
            with open("/proc/self/statm") as statm:
                return int(statm.read().split()[1]) * 4096
        flags = numpy.ones(1_000_000, dtype=bool)
        for _ in range(20):
            with self.assertRaises((BufferError, TypeError, RuntimeError)):
                numpy.from_dlpack(lumcore.Variant(flags))  # NumPy 1.24 reads no bool tensors
        before = resident_bytes()
        for _ in range(200):  # a leak of each refused array would be 200 MB
            try:
                numpy.from_dlpack(lumcore.Variant(flags))
            except (BufferError, TypeError, RuntimeError) as refused:
                self.assertIsNone(refused.__context__)
        gc.collect()
        self.assertLess(resident_bytes() - before, 16 << 20)

    def test_a_numpy_view_keeps_the_variant_alive(self):
        for make_view in (numpy.asarray, numpy.from_dlpack):
            with self.subTest(view=make_view.__name__):
                v = lumcore.Variant(list(range(1000)), dtype="int32")
                gone = weakref.ref(v)
                view = make_view(v)
                del v
                gc.collect()
                if make_view is numpy.from_dlpack:
                    self.assertIsNone(gone())  # the tensor holds the library's share
                numpy.ones(1000, dtype=numpy.int32)  # would land on freed memory
                self.assertEqual(int(view.sum()), 999 * 1000 // 2)

    def test_deleters_and_the_librarys_release_each_run_once(self):
        array = numpy.arange(6, dtype=numpy.float64)
        producer = Producer(array, 2, 64)
        capsule = producer.capsule()
        v = lumcore.from_dlpack(capsule)
        del capsule  # consumed: its destructor leaves the tensor alone
        self.assertEqual(producer.deleted, 0)
        view = numpy.from_dlpack(v)  # a tensor holding a share of v
        del v
        gc.collect()
        self.assertEqual(producer.deleted, 0)
        self.assertTrue(numpy.shares_memory(view, array))
        del view  # NumPy calls the library's deleter, which gives up the last share
        gc.collect()
        self.assertEqual(producer.deleted, 1)

        # A capsule nobody consumed gives its tensor back when it goes.
        producer = Producer(array, 2, 64)
        v = lumcore.from_dlpack(producer.capsule())
        unconsumed = v.__dlpack__(max_version=(1, 0))
        del v
        gc.collect()
        self.assertEqual(producer.deleted, 0)
        del unconsumed
        gc.collect()
        self.assertEqual(producer.deleted, 1)

        # A refused tensor stays the producer's.
        producer = Producer(array, 2, 16)
        capsule = producer.capsule()
        with self.assertRaises(ValueError):
            lumcore.from_dlpack(capsule)
        self.assertEqual(producer.deleted, 0)

if __name__ == "__main__":
    unittest.main()
