#!/usr/bin/env python3
"""LumCore beside NumPy, as a Python user meets both, in one process.

Each row times one whole operation three ways, interleaved so that all three
see the same machine state: LumCore (the lumcore module, or the flat
functions through ctypes for the kernels), NumPy doing the same, and the
limit, a copy of the result's bytes into memory already mapped. Printed
are the medians and two ratios of speed (above 1: LumCore is faster).

    PYTHONPATH=build/release/python /usr/bin/python3 bench/numpy/side_by_side.py \\
        --lumcore build/release/libLumCore.so --helper build/release/bench/liblumcore_numpy_bench_helper.so

NumPy comes from Debian's python3-numpy, which Debian's /usr/bin/python3
sees; without it the benchmark says so and is skipped.
"""

import argparse
import ctypes
import statistics
import sys
import time


class Row:
    """One case: three callables, each doing the whole operation once; a
    sample times `inner` calls in a row, for operations of microseconds."""

    def __init__(self, name, lumcore, numpy, limit, check=None, inner=1):
        self.name = name
        self.lumcore = lumcore
        self.numpy = numpy
        self.limit = limit
        self.check = check
        self.inner = inner


def median_seconds(call, repeats, inner=1):
    times = []
    for _ in range(repeats):
        started = time.perf_counter()
        for _ in range(inner):
            call()
        times.append((time.perf_counter() - started) / inner)
    return statistics.median(times)


def measure(row, repeats):
    # Warm each side once, then interleave so that all three share the state.
    limit_call = row.limit or (lambda: None)
    row.lumcore(), row.numpy(), limit_call()
    if row.check is not None and not row.check():
        raise SystemExit(f"{row.name}: LumCore's result differs from NumPy's")
    lum, peer, limit = [], [], []
    for _ in range(repeats):
        lum.append(median_seconds(row.lumcore, 1, row.inner))
        peer.append(median_seconds(row.numpy, 1, row.inner))
        limit.append(median_seconds(limit_call, 1, row.inner) if row.limit else None)
    return statistics.median(lum), statistics.median(peer), statistics.median(limit) if row.limit else None


def warm_copy(np, nbytes):
    """The limit: memmove of nbytes between two buffers already mapped."""
    source = np.ones(nbytes, dtype=np.uint8)
    target = np.zeros(nbytes, dtype=np.uint8)
    return lambda: ctypes.memmove(target.ctypes.data, source.ctypes.data, nbytes)


class ErrorRecord(ctypes.Structure):
    _fields_ = [("typeName", ctypes.c_char_p), ("message", ctypes.c_char * 200)]


class ArrayDimensions(ctypes.Structure):
    _fields_ = [("data", ctypes.POINTER(ctypes.c_size_t)), ("size", ctypes.c_size_t)]


class Flat:
    """The flat variant functions the rows use, each checked after the call."""

    DOUBLE, FLOAT, INT32 = 0x0001, 0x0002, 0x0006
    LOSSLESS, CAST = 0, 1
    ROW_MAJOR, COLUMN_MAJOR = 0, 1

    def __init__(self, path):
        lib = ctypes.CDLL(path, mode=ctypes.RTLD_GLOBAL)
        handle, err = ctypes.c_void_p, ctypes.POINTER(ErrorRecord)
        u16, u32, size = ctypes.c_uint16, ctypes.c_uint32, ctypes.c_size_t
        signatures = {
            "constructArray": (handle, [err, ctypes.c_void_p, u16, size, ArrayDimensions, u32]),
            "convertDataTo": (handle, [err, handle, u16, u32]),
            "reorderData": (handle, [err, handle, u32]),
            "copy": (handle, [err, handle]),
            "destruct": (None, [err, handle]),
            "isEquivalentTo": (ctypes.c_bool, [err, handle, handle, u32]),
            "constStoredData": (ctypes.c_void_p, [err, handle]),
        }
        self.error = ErrorRecord()
        for name, (restype, argtypes) in signatures.items():
            function = getattr(lib, "ZVariantData_C_API_" + name)
            function.restype, function.argtypes = restype, argtypes
            setattr(self, "_" + name, function)

    def call(self, name, *args):
        self.error.typeName = None
        result = getattr(self, "_" + name)(ctypes.byref(self.error), *args)
        if self.error.typeName is not None:
            raise RuntimeError(f"{name}: {self.error.typeName.decode()}: {self.error.message.decode()}")
        return result

    def array(self, np_array, type_code, shape):
        extents = (ctypes.c_size_t * len(shape))(*shape)
        dims = ArrayDimensions(extents, len(shape))
        return self.call("constructArray", np_array.ctypes.data, type_code, np_array.size, dims, self.ROW_MAJOR)

    def made_and_released(self, name, *args):
        """Runs a flat function that returns a new handle, and releases it."""
        self.call("destruct", self.call(name, *args))


def large_array_rows(np, flat):
    n, side = 16 << 20, 4096
    doubles = np.arange(n, dtype=np.float64) % 200003 - 100001
    int32s = doubles.astype(np.int32)
    square = doubles.reshape(side, side)
    other = doubles.copy()
    h_double = flat.array(doubles, flat.DOUBLE, [n])
    h_other = flat.array(other, flat.DOUBLE, [n])
    h_int32 = flat.array(int32s, flat.INT32, [n])
    h_square = flat.array(square, flat.DOUBLE, [side, side])

    def reorder():
        share = flat.call("copy", h_square)  # the reference reorderData consumes
        flat.call("destruct", flat.call("reorderData", share, flat.COLUMN_MAJOR))

    return [
        Row("make a 16 Mi double array from data",
            lambda: flat.call("destruct", flat.array(doubles, flat.DOUBLE, [n])),
            lambda: np.array(doubles),
            warm_copy(np, n * 8)),
        Row("Cast int32 -> double, 16 Mi",
            lambda: flat.made_and_released("convertDataTo", h_int32, flat.DOUBLE, flat.CAST),
            lambda: int32s.astype(np.float64),
            warm_copy(np, n * 8)),
        Row("Cast double -> float, 16 Mi",
            lambda: flat.made_and_released("convertDataTo", h_double, flat.FLOAT, flat.CAST),
            lambda: doubles.astype(np.float32),
            warm_copy(np, n * 4)),
        Row("Lossless double -> int32, 16 Mi",
            lambda: flat.made_and_released("convertDataTo", h_double, flat.INT32, flat.LOSSLESS),
            lambda: doubles.astype(np.int32),
            warm_copy(np, n * 4)),
        Row("reorder 4096 x 4096 double",
            reorder,
            lambda: np.asfortranarray(square),
            warm_copy(np, n * 8)),
        Row("isEquivalentTo, 16 Mi double",
            lambda: flat.call("isEquivalentTo", h_double, h_other, flat.LOSSLESS),
            lambda: np.array_equal(doubles, other),
            warm_copy(np, n * 8),
            check=lambda: flat.call("isEquivalentTo", h_double, h_other, flat.LOSSLESS)),
    ]


def slice_rows(np, helper):
    n, lo, hi = 4096, 1024, 2048
    grid = np.arange(n * n, dtype=np.float64).reshape(n, n)
    slice2d = helper.lumbench_slice2d_create(grid.ctypes.data, n, n, lo, hi, lo, hi)
    if not slice2d:
        raise SystemExit("could not make the 4096 x 4096 grid in LumCore")
    expected = float(grid[hi - 1, hi - 1])
    block_bytes = (hi - lo) * (hi - lo) * 8
    return [
        Row("copySlice 1024x1024 of 4096x4096 double",
            lambda: helper.lumbench_slice2d_copy(slice2d),
            lambda: grid[lo:hi, lo:hi].copy(),
            warm_copy(np, block_bytes),
            check=lambda: helper.lumbench_slice2d_copy(slice2d) == expected),
        Row("  the same, with its offset table built",
            lambda: helper.lumbench_slice2d_table_and_copy(slice2d, lo, hi, lo, hi),
            lambda: grid[lo:hi, lo:hi].copy(),
            warm_copy(np, block_bytes),
            check=lambda: helper.lumbench_slice2d_table_and_copy(slice2d, lo, hi, lo, hi) == expected),
    ]


class Exposed:
    """Any object that shows NumPy an array through the array interface."""

    def __init__(self, array):
        self.array = array

    @property
    def __array_interface__(self):
        return self.array.__array_interface__


def exchange_rows(np, lumcore):
    """Arrays handed to NumPy and back with no copy: the time of a handover
    is the same whatever the size. The peer is NumPy handing its own array
    over the same way; the limit, a copy of the elements, is what a handover
    that copied would at least cost."""
    rows = []
    for n, label in ((1 << 10, "1 Ki"), (16 << 20, "16 Mi")):
        values = np.arange(n, dtype=np.float64)
        v = lumcore.Variant(values)
        imported = np.arange(n, dtype=np.float64)
        copy = warm_copy(np, n * 8)
        rows += [
            Row(f"to NumPy by DLPack, {label} double",
                lambda v=v: np.from_dlpack(v),
                lambda a=values: np.from_dlpack(a),
                copy, check=lambda v=v: np.shares_memory(np.from_dlpack(v), np.asarray(v)), inner=200),
            Row(f"to NumPy by numpy.asarray, {label}",
                lambda v=v: np.asarray(v),
                lambda exposed=Exposed(values): np.asarray(exposed),
                copy, check=lambda v=v: np.shares_memory(np.asarray(v), np.from_dlpack(v)), inner=200),
            Row(f"back from NumPy by DLPack, {label}",
                lambda a=imported: lumcore.from_dlpack(a),
                lambda a=imported: np.from_dlpack(a),
                copy, check=lambda a=imported: np.shares_memory(np.asarray(lumcore.from_dlpack(a)), a), inner=200),
        ]
    return rows


def module_rows(np, lumcore):
    """The module as a Python user meets it, call by call, beside the same
    call on a NumPy array. Rows of one element or one attribute have no
    limit worth the name; the others are bounded by a copy of their bytes."""
    import pickle
    vector, grid = np.arange(1000.0), np.arange(1000.0).reshape(20, 50)
    v, g = lumcore.Variant(vector), lumcore.Variant(grid)
    floats = vector.tolist()
    large = np.arange(100_000.0)
    large_v = lumcore.Variant(large)
    huge = np.arange(16 << 20, dtype=np.float64)
    huge_v = lumcore.Variant(huge)

    def round_trip(value):
        buffers = []
        return pickle.loads(pickle.dumps(value, protocol=5, buffer_callback=buffers.append), buffers=buffers)

    return [
        Row("v[i], 1 Ki double", lambda: v[500], lambda: vector[500], None,
            check=lambda: v[500] == vector[500], inner=5000),
        Row("v[i, j], 20 x 50 double", lambda: g[7, 30], lambda: grid[7, 30], None,
            check=lambda: g[7, 30] == grid[7, 30], inner=5000),
        Row("len(v)", lambda: len(v), lambda: len(vector), None, check=lambda: len(v) == len(vector), inner=5000),
        Row("v.shape", lambda: g.shape, lambda: grid.shape, None, check=lambda: g.shape == grid.shape, inner=5000),
        Row("Variant from a list of 1 Ki float", lambda: lumcore.Variant(floats), lambda: np.array(floats),
            warm_copy(np, 8 << 10), check=lambda: lumcore.Variant(floats).tolist() == floats, inner=200),
        Row("tolist(), 100 Ki double", lambda: large_v.tolist(), lambda: large.tolist(), warm_copy(np, 800_000),
            check=lambda: large_v.tolist() == large.tolist(), inner=3),
        Row("convert 1 Ki double to float (Cast)", lambda: v.astype("float"), lambda: vector.astype(np.float32),
            warm_copy(np, 4 << 10), check=lambda: np.array_equal(np.asarray(v.astype("float")),
                                                               vector.astype(np.float32)), inner=500),
        Row("pickle round trip, 16 Mi double, out of band", lambda: round_trip(huge_v), lambda: round_trip(huge),
            warm_copy(np, 128 << 20), check=lambda: round_trip(huge_v) == huge_v, inner=20),
        Row("pickle round trip, 16 Mi double, in band", lambda: pickle.loads(pickle.dumps(huge_v, protocol=5)),
            lambda: pickle.loads(pickle.dumps(huge, protocol=5)), warm_copy(np, 128 << 20),
            check=lambda: pickle.loads(pickle.dumps(huge_v, protocol=5)) == huge_v),
    ]


def load_helper(path):
    helper = ctypes.CDLL(path)
    size = ctypes.c_size_t
    helper.lumbench_slice2d_create.restype = ctypes.c_void_p
    helper.lumbench_slice2d_create.argtypes = [ctypes.c_void_p, size, size, size, size, size, size]
    helper.lumbench_slice2d_copy.restype = ctypes.c_double
    helper.lumbench_slice2d_copy.argtypes = [ctypes.c_void_p]
    helper.lumbench_slice2d_table_and_copy.restype = ctypes.c_double
    helper.lumbench_slice2d_table_and_copy.argtypes = [ctypes.c_void_p, size, size, size, size]
    return helper


def duration(seconds):
    """Ten characters: milliseconds, or microseconds below one."""
    return f"{seconds * 1e3:8.3f}ms" if seconds >= 1e-3 else f"{seconds * 1e6:8.2f}us"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--lumcore", required=True, help="path of libLumCore.so")
    parser.add_argument("--helper", required=True, help="path of liblumcore_numpy_bench_helper.so")
    parser.add_argument("--repeats", type=int, default=7)
    args = parser.parse_args()
    try:
        import numpy as np
    except ImportError:
        print(f"skipped: {sys.executable} cannot import NumPy; install Debian's python3-numpy "
              "and run this with /usr/bin/python3")
        return 0

    # The library first, with its symbols global, so that the helper binds to it.
    flat = Flat(args.lumcore)
    helper = load_helper(args.helper)
    # The Python module this build gathered (PYTHONPATH), on the same library.
    import lumcore

    print(f"NumPy {np.__version__}, Python {sys.version.split()[0]}, medians of {args.repeats}")
    print(f"{'case':44} {'LumCore':>10} {'NumPy':>10} {'limit':>10} {'vs NumPy':>9} {'vs limit':>9}")
    rows = module_rows(np, lumcore) + exchange_rows(np, lumcore) + large_array_rows(np, flat) + slice_rows(np, helper)
    for row in rows:
        lum, peer, limit = measure(row, args.repeats)
        print(f"{row.name:44} {duration(lum)} {duration(peer)} {duration(limit) if limit else '         -'} "
              f"{peer / lum:8.2f}x {f'{limit / lum:8.2f}x' if limit else '        -'}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
