#!/usr/bin/env python3
"""LumCore beside NumPy, as a Python user meets both, in one process.

Each row times one whole operation three ways, interleaved so that all three
see the same machine state: LumCore through ctypes, NumPy doing the same, and
the limit, a copy of the result's bytes into memory already mapped. Printed
are the medians and two ratios of speed (above 1: LumCore is faster).

    /usr/bin/python3 bench/numpy/side_by_side.py --lumcore build/release/libLumCore.so \\
        --helper build/release/bench/liblumcore_numpy_bench_helper.so

NumPy comes from Debian's python3-numpy, which Debian's /usr/bin/python3
sees; without it the benchmark says so and is skipped.
"""

import argparse
import ctypes
import statistics
import sys
import time


class Row:
    """One case: three callables, each doing the whole operation once."""

    def __init__(self, name, lumcore, numpy, limit, check=None):
        self.name = name
        self.lumcore = lumcore
        self.numpy = numpy
        self.limit = limit
        self.check = check


def median_seconds(call, repeats):
    times = []
    for _ in range(repeats):
        started = time.perf_counter()
        call()
        times.append(time.perf_counter() - started)
    return statistics.median(times)


def measure(row, repeats):
    # Warm each side once, then interleave so that all three share the state.
    row.lumcore(), row.numpy(), row.limit()
    if row.check is not None and not row.check():
        raise SystemExit(f"{row.name}: LumCore's result differs from NumPy's")
    lum, peer, limit = [], [], []
    for _ in range(repeats):
        lum.append(median_seconds(row.lumcore, 1))
        peer.append(median_seconds(row.numpy, 1))
        limit.append(median_seconds(row.limit, 1))
    return statistics.median(lum), statistics.median(peer), statistics.median(limit)


def warm_copy(np, nbytes):
    """The limit: memmove of nbytes between two buffers already mapped."""
    source = np.ones(nbytes, dtype=np.uint8)
    target = np.zeros(nbytes, dtype=np.uint8)
    return lambda: ctypes.memmove(target.ctypes.data, source.ctypes.data, nbytes)


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
    ctypes.CDLL(args.lumcore, mode=ctypes.RTLD_GLOBAL)
    helper = load_helper(args.helper)

    print(f"NumPy {np.__version__}, Python {sys.version.split()[0]}, medians of {args.repeats}")
    print(f"{'case':44} {'LumCore':>10} {'NumPy':>10} {'limit':>10} {'vs NumPy':>9} {'vs limit':>9}")
    for row in slice_rows(np, helper):
        lum, peer, limit = measure(row, args.repeats)
        print(f"{row.name:44} {lum * 1e3:8.3f}ms {peer * 1e3:8.3f}ms {limit * 1e3:8.3f}ms "
              f"{peer / lum:8.2f}x {limit / lum:8.2f}x")
    return 0


if __name__ == "__main__":
    sys.exit(main())
