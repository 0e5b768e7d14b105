"""LumCore's values in Python: immutable, shared, exact, and read by NumPy
in place.

    import lumcore, numpy
    v = lumcore.Variant([[1, 2, 3], [4, 5, 6]], dtype="int32")
    v.shape, v.type, v.ordering          # (2, 3), 'int32', 'RowMajor'
    v[1, -1], v[:, ::2].tolist()         # 6, [[1, 3], [4, 6]]
    v.convert("uint8")                   # exact, or ValueError
    v.astype("float")                    # cast, as NumPy's astype
    a = numpy.asarray(v)                 # the same memory, read-only
    w = lumcore.from_dlpack(a)           # and back, with no copy

Trees: a TreeMap is a read-only Mapping (str keys in insertion order), a
TreeList a read-only Sequence; a value in a tree comes out as a Variant and
a null node as None.

    t = lumcore.Tree.from_python({"sensors": [{"rate": 2.5}], "name": "rig"})
    t["sensors", 0, "rate"]              # a path: Variant(2.5)
    data = lumcore.dumps(t)              # CBOR bytes; format="json" gives str
    lumcore.loads(data) == t             # True
    print(t)                             # the library's outline

A Variant behaves as a read-only NumPy array: len, iteration over the
first axis, `in`, indexing and slicing, ==, hash, copy and pickle (protocol
5 keeps numeric elements out of band). A scalar converts with bool, int,
float, complex, operator.index and format.

Element types are the library's words, listed in TYPES ("int32",
"complexDouble", "string", ...); a NumPy dtype names the same types.
Conversion modes are "Lossless", "Cast" and "CastOrParse". A failure inside
the library raises a LumCoreError carrying the library's word and text:
LumIndexError (an IndexError) for out_of_range, LumValueError (a
ValueError) for invalid_argument and length_error, LumRuntimeError for
runtime_error, LumMemoryError for bad_alloc.
"""

from collections.abc import Mapping as _Mapping, Sequence as _Sequence

from ._lumcore import (LumCoreError, LumIndexError, LumMemoryError, LumRuntimeError, LumValueError, String,
                       TYPES, Tree, TreeList, TreeMap, Variant, dumps, loads, _library_path, _set_input_hook)
from ._dlpack import from_dlpack
from ._input import prepare as _prepare

__all__ = ["Variant", "String", "Tree", "TreeMap", "TreeList", "dumps", "loads", "from_dlpack", "TYPES", "MODES", "ORDERINGS", "LumCoreError", "LumIndexError",
           "LumValueError", "LumRuntimeError", "LumMemoryError", "library_path"]

MODES = ("Lossless", "Cast", "CastOrParse")
ORDERINGS = ("RowMajor", "ColumnMajor")

#: The shared library this module runs on.
library_path = _library_path()

_set_input_hook(_prepare)
_Mapping.register(TreeMap)
_Sequence.register(TreeList)
