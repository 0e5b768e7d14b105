"""LumCore values in Python, through the library's flat C interface.

    import lumcore, numpy
    v = lumcore.Variant([[1, 2, 3], [4, 5, 6]], dtype="int32")
    v.dtype, v.shape, v.ordering          # 'int32', (2, 3), 'RowMajor'
    v[1, 2]                               # 6
    v.convert("double").reorder("ColumnMajor")
    v.convert("uint8", "Lossless")        # fine; [-1] would raise ValueError
    a = numpy.asarray(v)                  # the same memory, read-only
    b = numpy.from_dlpack(v)              # the same memory, through DLPack
    w = lumcore.from_dlpack(a)            # and back, with no copy

Element types are the library's words ("int32", "complexDouble", "string",
...); conversion modes are "Lossless", "Cast" and "CastOrParse". A failure in
the library raises a LumCoreError that carries its word and text: IndexError
for out_of_range, ValueError for invalid_argument and length_error,
RuntimeError for runtime_error, MemoryError for bad_alloc.
"""

import ctypes
import math

from . import _dlpack
from ._flat import (Flat, LumCoreError, LumIndexError, LumMemoryError, LumRuntimeError, LumValueError,
                    dimensions)

__all__ = ["Variant", "String", "from_dlpack", "LumCoreError", "LumIndexError", "LumValueError",
           "LumRuntimeError", "LumMemoryError", "MODES", "ORDERINGS", "library_path"]

_lib = Flat()
library_path = _lib.path

MODES = {"Lossless": 0, "Cast": 1, "CastOrParse": 2}
ORDERINGS = {"RowMajor": 0, "ColumnMajor": 1}
_ORDERING_WORDS = {value: word for word, value in ORDERINGS.items()}

# ---- Element types, derived from the library's list of codes ------------------

_KIND_MASK, _UNSIGNED, _COMPLEX = 0x000F, 0x4000, 0x8000
_KIND_BOOL = 3
_PART_CTYPES = {
    1: (ctypes.c_double, ctypes.c_double), 2: (ctypes.c_float, ctypes.c_float), 3: (ctypes.c_bool, ctypes.c_bool),
    4: (ctypes.c_int8, ctypes.c_uint8), 5: (ctypes.c_int16, ctypes.c_uint16),
    6: (ctypes.c_int32, ctypes.c_uint32), 7: (ctypes.c_int64, ctypes.c_uint64),
}
_CODES = _lib.codes
_CODES_LOWER = {word.lower(): code for word, code in _CODES.items()}
_STRING = _CODES["string"]


def _part_ctype(code):
    """The ctypes class of one part of a numeric element, or None."""
    pair = _PART_CTYPES.get(code & _KIND_MASK)
    return None if pair is None else pair[1 if code & _UNSIGNED else 0]


def _typestr(code):
    """NumPy's type string of a part of a numeric element, and whether an
    element is a pair of parts; None for the types NumPy cannot hold."""
    part = _part_ctype(code)
    kind = code & _KIND_MASK
    complex_ = bool(code & _COMPLEX)
    if part is None or (kind == _KIND_BOOL and complex_):
        return None
    size = ctypes.sizeof(part)
    if kind == _KIND_BOOL:
        return "|b1", False
    if kind in (1, 2):
        return ("<c%d" % (2 * size), False) if complex_ else ("<f%d" % size, False)
    letter = "u" if code & _UNSIGNED else "i"
    return ("|" if size == 1 else "<") + letter + str(size), complex_


# NumPy's (kind letter, item size) of each type NumPy holds as one element.
_BY_NUMPY = {}
for _code in _lib.words:
    _layout = _typestr(_code)
    if _layout is not None and not _layout[1]:
        _BY_NUMPY[(_layout[0][1], int(_layout[0][2:]))] = _code


def _type_code(dtype):
    """The code of a type given by word ("int32") or as a NumPy dtype."""
    if isinstance(dtype, str) and dtype.lower() in _CODES_LOWER:
        return _CODES_LOWER[dtype.lower()]
    try:
        import numpy
        described = numpy.dtype(dtype)
    except (ImportError, TypeError):
        described = None
    if described is not None and (described.kind, described.itemsize) in _BY_NUMPY:
        return _BY_NUMPY[(described.kind, described.itemsize)]
    raise ValueError(f"{dtype!r} names no LumCore element type")


def _mode(mode):
    for word, value in MODES.items():
        if mode.lower() == word.lower():
            return value
    raise ValueError(f"{mode!r} is not a conversion mode; the modes are Lossless, Cast and CastOrParse")


def _dense_strides(shape, ordering, step=1):
    """The step of each dimension when `shape` lies densely in `ordering`,
    counted from `step` for the fastest one."""
    strides = [0] * len(shape)
    for k in (range(len(shape)) if ordering == "ColumnMajor" else reversed(range(len(shape)))):
        strides[k] = step
        step *= shape[k]
    return strides


def _ordering(ordering):
    aliases = {"rowmajor": 0, "c": 0, "columnmajor": 1, "f": 1}
    if ordering.lower() in aliases:
        return aliases[ordering.lower()]
    raise ValueError(f"{ordering!r} is not an ordering; the orderings are RowMajor and ColumnMajor")


# ---- Strings -------------------------------------------------------------------


class String:
    """The library's immutable shared string."""

    __slots__ = ("_h",)

    def __init__(self, text=""):
        data = text.encode("utf-8") if isinstance(text, str) else bytes(text)
        self._h = _lib("ZStringData_C_API_constructCString", data, len(data))

    @classmethod
    def _read(cls, handle):
        pointer = _lib("ZStringData_C_API_getConstDataPointer", handle)
        return ctypes.string_at(pointer, _lib("ZStringData_C_API_getLength", handle)).decode("utf-8", "replace")

    def __str__(self):
        return self._read(self._h)

    def __repr__(self):
        return f"lumcore.String({str(self)!r})"

    def __len__(self):
        return _lib("ZStringData_C_API_getLength", self._h)

    def __eq__(self, other):
        if isinstance(other, (String, str)):
            return str(self) == str(other)
        return NotImplemented

    def __hash__(self):
        return hash(str(self))

    def __del__(self):
        handle, self._h = getattr(self, "_h", None), None
        if handle:
            _lib.release_string(handle)


# ---- Construction ----------------------------------------------------------------


def _flatten(value):
    """The shape and the elements, in row-major order, of nested sequences."""
    if isinstance(value, (list, tuple)):
        if not value:
            return (0,), []
        parts = [_flatten(item) for item in value]
        shape = parts[0][0]
        if any(part[0] != shape for part in parts):
            raise ValueError("nested sequences of different lengths make no array")
        return (len(value),) + shape, [element for part in parts for element in part[1]]
    return (), [value]


def _natural_code(elements):
    """The element type Python's own values ask for."""
    def plain(x):
        return x.item() if hasattr(x, "item") and not isinstance(x, (str, String)) else x
    values = [plain(x) for x in elements]
    if not values:
        return _CODES["double"], values
    if all(isinstance(x, (str, String)) for x in values):
        return _STRING, values
    if any(isinstance(x, (str, String)) for x in values):
        raise TypeError("text and numbers do not mix in one variant")
    if all(isinstance(x, bool) for x in values):
        return _CODES["bool"], values
    if all(isinstance(x, int) for x in values):
        if all(-(1 << 63) <= x < (1 << 63) for x in values):
            return _CODES["int64"], values
        if all(0 <= x < (1 << 64) for x in values):
            return _CODES["unsignedInt64"], values
        raise ValueError("integers beyond 64 bits have no element type")
    if all(isinstance(x, (bool, int, float)) for x in values):
        return _CODES["double"], values
    if all(isinstance(x, (bool, int, float, complex)) for x in values):
        return _CODES["complexDouble"], values
    bad = next(x for x in values if not isinstance(x, (bool, int, float, complex)))
    raise TypeError(f"{type(bad).__name__} has no LumCore element type")


def _packed(code, values):
    """The elements as a ctypes array the library reads; text as a table of
    pointers and one of lengths."""
    if code == _STRING:
        texts = [str(v).encode("utf-8") for v in values]
        return ((ctypes.c_char_p * max(len(texts), 1))(*texts),
                (ctypes.c_size_t * max(len(texts), 1))(*map(len, texts)))
    part = _part_ctype(code)
    if code & _COMPLEX:
        flat = [p for v in values for p in (complex(v).real, complex(v).imag)]
    else:
        flat = values
    return (part * max(len(flat), 1))(*flat), None


def _from_python(value):
    shape, elements = _flatten(value)
    code, values = _natural_code(elements)
    array, sizes = _packed(code, values)
    if code == _STRING:
        if shape == ():
            return _lib("ZVariantData_C_API_constructText", array[0], sizes[0])
        return _lib("ZVariantData_C_API_constructTextArray", array, sizes, len(values), dimensions(shape), 0)
    if shape == ():
        return _lib("ZVariantData_C_API_constructScalar", array, code)
    return _lib("ZVariantData_C_API_constructArray", array, code, len(values), dimensions(shape), 0)


def _from_numpy(array):
    import numpy
    if not array.dtype.isnative:
        array = array.astype(array.dtype.newbyteorder("="))
    key = (array.dtype.kind, array.dtype.itemsize)
    if key not in _BY_NUMPY:
        raise TypeError(f"NumPy's {array.dtype} has no LumCore element type")
    code = _BY_NUMPY[key]
    if array.ndim == 0:
        array = numpy.ascontiguousarray(array)
        return _lib("ZVariantData_C_API_constructScalar", array.ctypes.data, code)
    if array.flags.c_contiguous:
        ordering = 0
    elif array.flags.f_contiguous:
        ordering = 1
    else:
        array, ordering = numpy.ascontiguousarray(array), 0
    return _lib("ZVariantData_C_API_constructArray", array.ctypes.data, code, array.size, dimensions(array.shape),
                 ordering)


def _is_numpy_array(value):
    return type(value).__module__ == "numpy" and hasattr(value, "__array_interface__") and hasattr(value, "dtype") \
        and hasattr(value, "ndim")


# ---- Variants ----------------------------------------------------------------------


class Variant:
    """A scalar or n-dimensional array of one of the library's element types.

    Variant(value, dtype=None) takes a Python number, str, String, a nested
    list or tuple, a NumPy array of any ordering (copied) or another Variant
    (shared); with `dtype`, the value is converted to it losslessly.
    Variant() is the null variant.
    """

    # A Python Variant never changes its handle's content, so what NumPy asks
    # for is worked out once.
    __slots__ = ("_h", "_interface", "__weakref__")

    def __init__(self, value=None, dtype=None):
        self._h = None
        self._interface = None
        if value is None:
            self._h = _lib.null()
        elif isinstance(value, Variant):
            self._h = _lib("ZVariantData_C_API_copy", value._h)
        elif _is_numpy_array(value):
            self._h = _from_numpy(value)
        else:
            self._h = _from_python(value)
        if dtype is not None:
            converted = self.convert(dtype, "Lossless")
            self._h, converted._h = converted._h, self._h

    @classmethod
    def _adopt(cls, handle):
        variant = cls.__new__(cls)
        variant._h = handle
        variant._interface = None
        return variant

    def __del__(self):
        handle, self._h = getattr(self, "_h", None), None
        if handle:
            _lib.release(handle)

    # -- Queries --

    @property
    def type_code(self):
        return _lib("ZVariantData_C_API_wellKnownDataType", self._h)

    @property
    def dtype(self):
        """The element type's word, such as "int32"; "unknown" for the null variant."""
        return _lib.words.get(self.type_code, "unknown")

    @property
    def is_scalar(self):
        return _lib("ZVariantData_C_API_isScalarStorage", self._h)

    @property
    def shape(self):
        """The extents; () for a scalar, and (0,) for an array without
        dimensions, which holds nothing."""
        if self.is_scalar:
            return ()
        dims = _lib("ZVariantData_C_API_dimensions", self._h)
        return tuple(dims.data[i] for i in range(dims.size)) or (0,)

    @property
    def ordering(self):
        return _ORDERING_WORDS.get(_lib("ZVariantData_C_API_dataOrdering", self._h), "unknown")

    @property
    def size(self):
        return math.prod(self.shape)

    def __len__(self):
        shape = self.shape
        if not shape:
            raise TypeError("a scalar variant has no length")
        return shape[0]

    def __repr__(self):
        return f"lumcore.Variant({self.dtype}, shape={self.shape}, {self.ordering})"

    # -- Elements --

    def _offset(self, index):
        shape = self.shape
        if not isinstance(index, tuple):
            index = (index,)
        if len(index) != len(shape):
            raise IndexError(f"{len(index)} indices for a variant of {len(shape)} dimensions")
        fixed = []
        for i, extent in zip(index, shape):
            i = int(i)
            if not -extent <= i < extent:
                raise IndexError(f"index {i} is out of range for an extent of {extent}")
            fixed.append(i % extent if extent else i)
        return sum(i * step for i, step in zip(fixed, _dense_strides(shape, self.ordering)))

    def _reader(self):
        """A function from a storage offset to the element there; what it
        needs of the library is asked once, not for each element."""
        code = self.type_code
        data = _lib("ZVariantData_C_API_constStoredData", self._h)
        if code == _STRING:
            handle, length = self._h, ctypes.c_size_t()

            def read_text(offset):
                text = _lib("ZVariantData_C_API_textElementAt", handle, offset, ctypes.byref(length))
                return ctypes.string_at(text, length.value).decode("utf-8", "replace")
            return read_text
        part = _part_ctype(code)
        if part is None:
            # Durations, time points and an application's classes: the
            # library gives them no text a reader could show.
            raise TypeError(f"elements of type '{self.dtype}' cannot be read from Python")
        size = ctypes.sizeof(part)
        if code & _COMPLEX:
            pair = part * 2
            return lambda offset: complex(*pair.from_address(data + 2 * offset * size))
        return lambda offset: part.from_address(data + offset * size).value

    def __getitem__(self, index):
        if index == () and self.is_scalar:
            return self._reader()(0)
        return self._reader()(self._offset(index))

    def item(self):
        """The one element of a scalar or of an array of one element."""
        if self.size != 1:
            raise ValueError(f"item() needs one element, not {self.size}")
        return self._reader()(0)

    def tolist(self):
        """The elements as nested lists, in row-major order whatever the ordering."""
        shape = self.shape
        strides = _dense_strides(shape, self.ordering)
        read = self._reader() if self.size else None

        def nested(k, offset):
            if k == len(shape):
                return read(offset)
            return [nested(k + 1, offset + i * strides[k]) for i in range(shape[k])]
        return nested(0, 0)

    # -- Operations that make new variants --

    def convert(self, dtype, mode="Lossless"):
        """The elements converted to `dtype` by the library's rules in `mode`;
        ValueError when the mode refuses. The same type is a share."""
        target = _type_code(dtype)
        handle = _lib("ZVariantData_C_API_convertDataTo", self._h, target, _mode(mode))
        if not handle:
            raise ValueError(f"{mode} conversion of {self.dtype} to {_lib.words[target]} is refused")
        return Variant._adopt(handle)

    def reorder(self, ordering):
        """The same elements stored in `ordering` ("RowMajor" or "ColumnMajor")."""
        share = _lib("ZVariantData_C_API_copy", self._h)
        try:
            return Variant._adopt(_lib("ZVariantData_C_API_reorderData", share, _ordering(ordering)))
        except BaseException:
            _lib.release(share)
            raise

    def reshape(self, shape, ordering=None):
        """A new array of this type and `shape`, filled from these elements in
        storage order (any further elements start at zero)."""
        if isinstance(shape, int):
            shape = (shape,)
        share = _lib("ZVariantData_C_API_copy", self._h)
        order = _ordering(ordering) if ordering is not None else _lib("ZVariantData_C_API_dataOrdering", self._h)
        try:
            return Variant._adopt(_lib("ZVariantData_C_API_reshapeToZVariant", self._h, share, dimensions(shape),
                                        order))
        except BaseException:
            _lib.release(share)
            raise

    def equivalent(self, other, mode="Lossless"):
        """Whether the two hold the same values once converted to a common type."""
        other = other if isinstance(other, Variant) else Variant(other)
        return _lib("ZVariantData_C_API_isEquivalentTo", self._h, other._h, _mode(mode))

    def identical(self, other):
        """Whether the two have the same type, shape, ordering and elements."""
        other = other if isinstance(other, Variant) else Variant(other)
        return _lib("ZVariantData_C_API_isIdenticalTo", self._h, other._h)

    # -- Exchange --

    def _layout(self):
        layout = _typestr(self.type_code)
        if layout is None:
            raise TypeError(f"A variant of element type '{self.dtype}' has no NumPy type.")
        return layout

    @property
    def __array_interface__(self):
        """NumPy's view of the elements in place, read-only; the array keeps
        this Variant (and so its elements) alive."""
        if self._interface is None:
            self._interface = self._array_interface()
        return self._interface

    def _array_interface(self):
        typestr, pairs = self._layout()
        shape = self.shape
        itemsize = int(typestr[2:])
        strides = None
        if pairs or (self.ordering == "ColumnMajor" and len(shape) > 1):
            strides = _dense_strides(shape, self.ordering, 2 * itemsize if pairs else itemsize)
            if pairs:
                shape, strides = shape + (2,), strides + [itemsize]
            strides = tuple(strides)
        return {"version": 3, "shape": shape, "typestr": typestr, "strides": strides,
                "data": (_lib("ZVariantData_C_API_constStoredData", self._h) or 0, True)}

    def __dlpack_device__(self):
        return (1, 0)

    def __dlpack__(self, *, stream=None, max_version=None, dl_device=None, copy=None):
        """A DLPack capsule over the elements: versioned (and marked read-only)
        when the caller reads version 1, the unversioned form otherwise."""
        if stream is not None and stream != -1:
            raise BufferError("a variant lives in CPU memory and takes no stream")
        if dl_device is not None and tuple(dl_device) != (1, 0):
            raise BufferError("a variant can only be exported to the CPU")
        source = self._private_copy() if copy else self
        if max_version is not None and max_version[0] >= 1:
            managed = _lib("ZVariantData_C_API_exportDLManagedTensorVersioned", source._h)
            return _dlpack.make_capsule(managed, _dlpack.VERSIONED)
        managed = _lib("ZVariantData_C_API_exportDLManagedTensor", source._h)
        return _dlpack.make_capsule(managed, _dlpack.PLAIN)

    def _private_copy(self):
        if self.is_scalar:
            return Variant._adopt(_lib("ZVariantData_C_API_constructScalar",
                                        _lib("ZVariantData_C_API_constStoredData", self._h), self.type_code))
        return self.reshape(self.shape)


_UNVERSIONED_PRODUCERS = set()


def from_dlpack(obj):
    """A Variant over the memory of `obj` (anything with __dlpack__, or a
    DLPack capsule) with no copy; the producer lets go when the last share
    of the variant goes."""
    if hasattr(obj, "__dlpack__"):
        if type(obj) in _UNVERSIONED_PRODUCERS:
            capsule = obj.__dlpack__()
        else:
            try:
                capsule = obj.__dlpack__(max_version=(1, 0))
            except TypeError:
                # A producer from before the versioned form (NumPy 1.24):
                # asked once, remembered for its type.
                _UNVERSIONED_PRODUCERS.add(type(obj))
                capsule = obj.__dlpack__()
    else:
        capsule = obj
    name, address = _dlpack.open_capsule(capsule)
    function = ("ZVariantData_C_API_importDLManagedTensorVersioned" if name == _dlpack.VERSIONED
                else "ZVariantData_C_API_importDLManagedTensor")
    handle = _lib(function, address)
    _dlpack.mark_consumed(capsule, name)
    return Variant._adopt(handle)
