#!/usr/bin/env python3
"""The tour's Python counterpart: LumCore's variants from Python, a tree
written to CBOR and JSON and read back, and arrays handed to NumPy and back
without a copy.

    cmake --workflow --preset tour-python
"""

import lumcore

# Values of the library's element types, from Python values.
grid = lumcore.Variant([[1, 2, 3], [4, 5, 6]], dtype="int32")
print(grid, grid[1, 2], grid.tolist())
print("as double, column-major:", grid.convert("double").reorder("ColumnMajor"))
print("text:", lumcore.Variant(["ok", "fine"]).tolist(), lumcore.Variant([2.5]).convert("string", "CastOrParse").item())

# Conversions follow the library's exact rules, in the three modes.
negative = lumcore.Variant([-1, 300])
print("Cast to uint8:", negative.convert("uint8", "Cast").tolist())
try:
    negative.convert("uint8", "Lossless")
except ValueError as refused:
    print("Lossless to uint8:", refused)

# A failure in the library keeps its word and its text.
try:
    lumcore.Variant(["text"]).__dlpack__()
except lumcore.LumCoreError as failure:
    print(f"{type(failure).__name__} ({failure.word}): {failure}")

# A tree from a dict: frozen, shared, read as a Mapping and by path.
config = lumcore.Tree.from_python({"instrument": "rig", "sensors": [{"rate": 2.5, "on": True}, {"rate": 10}],
                                   "limits": {"low": -1, "high": 4095}})
print("rate:", config["sensors", 0, "rate"], "low:", config["limits"].get("low"), "keys:", list(config))

# Written as CBOR (bytes) and JSON (str), read back, and printed as the library's outline.
as_cbor, as_json = lumcore.dumps(config), lumcore.dumps(config, format="json")
print(len(as_cbor), "bytes of CBOR;", as_json)
back = lumcore.loads(as_cbor)
print("read back equal:", back == config, lumcore.loads(as_json) == config)
print(back)

try:
    import numpy
except ImportError:
    print("NumPy is not installed: the rest of the tour needs Debian's python3-numpy")
    raise SystemExit(0)

# NumPy reads a variant in place, through its array interface or DLPack;
# the array keeps the variant's elements alive.
samples = lumcore.Variant(list(range(6)), dtype="float").reshape((2, 3), "ColumnMajor")
seen = numpy.asarray(samples)
viewed = numpy.from_dlpack(samples)
print("NumPy sees", seen.dtype, seen.shape, "Fortran order:", seen.flags.f_contiguous,
      "same memory:", numpy.shares_memory(seen, viewed))

# And the other way: a NumPy array read by the library in place.
measured = numpy.linspace(0.0, 1.0, 5)
wrapped = lumcore.from_dlpack(measured)
print(wrapped, "same memory:", numpy.shares_memory(numpy.asarray(wrapped), measured),
      "equivalent to [0, .25, .5, .75, 1]:", wrapped.equivalent([0, 0.25, 0.5, 0.75, 1]))
