"""The library's flat C functions through ctypes, and its failures as Python exceptions.

Nothing here is compiled: the shared library is found at import time, in this
order: the path in the LUMCORE_LIBRARY environment variable; a libLumCore.so
beside this package; the library directory of a CMake install that also put
this package under <libdir>/python3/dist-packages; pkg-config's lumcore
libdir; the dynamic linker's own search (ctypes.util.find_library).
"""

import ctypes
import ctypes.util
import os
import pathlib
import subprocess

_SONAME_GLOB = "libLumCore.so*"


class LumCoreError(Exception):
    """A failure reported by the library: `word` is its class ("out_of_range"),
    `text` its message, which is also str(error)."""

    def __init__(self, word, text):
        super().__init__(text)
        self.word = word
        self.text = text


class LumIndexError(LumCoreError, IndexError):
    pass


class LumValueError(LumCoreError, ValueError):
    pass


class LumRuntimeError(LumCoreError, RuntimeError):
    pass


class LumMemoryError(LumCoreError, MemoryError):
    pass


_BY_WORD = {
    "out_of_range": LumIndexError,
    "invalid_argument": LumValueError,
    "length_error": LumValueError,
    "runtime_error": LumRuntimeError,
    "bad_alloc": LumMemoryError,
}


def error_for(word, text):
    return _BY_WORD.get(word, LumCoreError)(word, text)


def _candidates():
    explicit = os.environ.get("LUMCORE_LIBRARY")
    if explicit:
        yield pathlib.Path(explicit)
        return
    here = pathlib.Path(__file__).resolve().parent
    # Beside the package, then <libdir> of <libdir>/python3/dist-packages/lumcore.
    for directory in (here, here.parents[2]):
        yield from sorted(directory.glob(_SONAME_GLOB))
    try:
        libdir = subprocess.run(["pkg-config", "--variable=libdir", "lumcore"], capture_output=True, text=True,
                                check=False).stdout.strip()
        if libdir:
            yield from sorted(pathlib.Path(libdir).glob(_SONAME_GLOB))
    except OSError:
        pass
    found = ctypes.util.find_library("LumCore")
    if found:
        yield pathlib.Path(found)


def _load():
    tried = []
    for path in _candidates():
        try:
            return str(path), ctypes.CDLL(str(path))
        except OSError as failure:
            tried.append(f"{path}: {failure}")
    raise ImportError("lumcore cannot find libLumCore.so; set LUMCORE_LIBRARY to its path"
                      + ("".join("\n  " + t for t in tried)))


class ErrorRecord(ctypes.Structure):
    _fields_ = [("typeName", ctypes.c_char_p), ("message", ctypes.c_char * 200)]


class ArrayDimensions(ctypes.Structure):
    _fields_ = [("data", ctypes.POINTER(ctypes.c_size_t)), ("size", ctypes.c_size_t)]


class DLDevice(ctypes.Structure):
    _fields_ = [("device_type", ctypes.c_int32), ("device_id", ctypes.c_int32)]


class DLDataType(ctypes.Structure):
    _fields_ = [("code", ctypes.c_uint8), ("bits", ctypes.c_uint8), ("lanes", ctypes.c_uint16)]


class DLTensor(ctypes.Structure):
    _fields_ = [("data", ctypes.c_void_p), ("device", DLDevice), ("ndim", ctypes.c_int32), ("dtype", DLDataType),
                ("shape", ctypes.POINTER(ctypes.c_int64)), ("strides", ctypes.POINTER(ctypes.c_int64)),
                ("byte_offset", ctypes.c_uint64)]


class DLManagedTensor(ctypes.Structure):
    pass


class DLPackVersion(ctypes.Structure):
    _fields_ = [("major", ctypes.c_uint32), ("minor", ctypes.c_uint32)]


class DLManagedTensorVersioned(ctypes.Structure):
    pass


# The deleters keep the interpreter lock while they run (PYFUNCTYPE): the
# last share they give up may hold a tensor whose own deleter is Python's.
DLManagedTensor._fields_ = [("dl_tensor", DLTensor), ("manager_ctx", ctypes.c_void_p),
                            ("deleter", ctypes.PYFUNCTYPE(None, ctypes.POINTER(DLManagedTensor)))]
DLManagedTensorVersioned._fields_ = [("version", DLPackVersion), ("manager_ctx", ctypes.c_void_p),
                                     ("deleter", ctypes.PYFUNCTYPE(None, ctypes.POINTER(DLManagedTensorVersioned))),
                                     ("flags", ctypes.c_uint64), ("dl_tensor", DLTensor)]

_handle, _err = ctypes.c_void_p, ctypes.POINTER(ErrorRecord)
_u16, _u32, _size = ctypes.c_uint16, ctypes.c_uint32, ctypes.c_size_t

_SIGNATURES = {
    "ZStringData_C_API_constructCString": (_handle, [_err, ctypes.c_char_p, _size]),
    "ZStringData_C_API_copy": (_handle, [_err, _handle]),
    "ZStringData_C_API_getConstDataPointer": (ctypes.c_void_p, [_err, _handle]),
    "ZStringData_C_API_getLength": (_size, [_err, _handle]),
    "ZVariantData_C_API_constructScalar": (_handle, [_err, ctypes.c_void_p, _u16]),
    "ZVariantData_C_API_constructArray": (_handle, [_err, ctypes.c_void_p, _u16, _size, ArrayDimensions, _u32]),
    "ZVariantData_C_API_constructText": (_handle, [_err, ctypes.c_void_p, _size]),
    "ZVariantData_C_API_constructTextArray": (_handle, [_err, ctypes.c_void_p, ctypes.c_void_p, _size,
                                                        ArrayDimensions, _u32]),
    "ZVariantData_C_API_textElementAt": (ctypes.c_void_p, [_err, _handle, _size, ctypes.POINTER(_size)]),
    "ZVariantData_C_API_copy": (_handle, [_err, _handle]),
    "ZVariantData_C_API_constStoredData": (ctypes.c_void_p, [_err, _handle]),
    "ZVariantData_C_API_convertDataTo": (_handle, [_err, _handle, _u16, _u32]),
    "ZVariantData_C_API_dataOrdering": (_u32, [_err, _handle]),
    "ZVariantData_C_API_dimensions": (ArrayDimensions, [_err, _handle]),
    "ZVariantData_C_API_isEquivalentTo": (ctypes.c_bool, [_err, _handle, _handle, _u32]),
    "ZVariantData_C_API_isIdenticalTo": (ctypes.c_bool, [_err, _handle, _handle]),
    "ZVariantData_C_API_isScalarStorage": (ctypes.c_bool, [_err, _handle]),
    "ZVariantData_C_API_numberAllocatedElements": (_size, [_err, _handle]),
    "ZVariantData_C_API_reorderData": (_handle, [_err, _handle, _u32]),
    "ZVariantData_C_API_reshapeToZVariant": (_handle, [_err, _handle, _handle, ArrayDimensions, _u32]),
    "ZVariantData_C_API_wellKnownDataType": (_u16, [_err, _handle]),
    # The tensors as addresses: they go straight into a capsule.
    "ZVariantData_C_API_exportDLManagedTensor": (ctypes.c_void_p, [_err, _handle]),
    "ZVariantData_C_API_exportDLManagedTensorVersioned": (ctypes.c_void_p, [_err, _handle]),
}

# Releases keep the interpreter lock (PyDLL), for the same reason as the
# deleters; so do the imports, whose failure leaves a Python producer's
# tensor untouched but whose success may not race its capsule.
_LOCKED_SIGNATURES = {
    "ZStringData_C_API_destruct": (None, [_err, _handle]),
    "ZVariantData_C_API_destruct": (None, [_err, _handle]),
    "ZVariantData_C_API_constructNull": (_handle, []),
    "ZVariantData_C_API_importDLManagedTensor": (_handle, [_err, ctypes.c_void_p]),
    "ZVariantData_C_API_importDLManagedTensorVersioned": (_handle, [_err, ctypes.c_void_p]),
}


class Flat:
    """The flat functions, each called with a fresh record and checked after."""

    def __init__(self):
        self.path, free = _load()
        locked = ctypes.PyDLL(self.path)
        self._functions = {}
        for table, lib in ((_SIGNATURES, free), (_LOCKED_SIGNATURES, locked)):
            for name, (restype, argtypes) in table.items():
                function = getattr(lib, name)
                function.restype, function.argtypes = restype, argtypes
                self._functions[name] = function
        word_at = free.ZWellKnownType_C_API_wordAt
        word_at.restype, word_at.argtypes = ctypes.c_char_p, [_size, ctypes.POINTER(_u16)]
        self.words = {}
        code = _u16()
        index = 0
        while (word := word_at(index, ctypes.byref(code))) is not None:
            self.words[code.value] = word.decode()
            index += 1
        self.codes = {word: code for code, word in self.words.items()}
        # The failure words come from the library's one list; each must have
        # its Python class here ("exception" is LumCoreError itself).
        error_word_at = free.ErrorRecord_C_API_wordAt
        error_word_at.restype, error_word_at.argtypes = ctypes.c_char_p, [_size]
        self.error_words = []
        while (word := error_word_at(len(self.error_words))) is not None:
            self.error_words.append(word.decode())
        unmapped = set(self.error_words) - set(_BY_WORD) - {"exception"}
        if unmapped:
            raise ImportError(f"the library reports failures this module cannot raise: {sorted(unmapped)}")

    def __call__(self, name, *args):
        error = ErrorRecord()
        result = self._functions[name](ctypes.byref(error), *args)
        if error.typeName is not None:
            raise error_for(error.typeName.decode(), error.message.decode())
        return result

    def null(self):
        return self._functions["ZVariantData_C_API_constructNull"]()

    def release(self, handle):
        """Gives up a variant reference; never raises (it runs from __del__)."""
        error = ErrorRecord()
        self._functions["ZVariantData_C_API_destruct"](ctypes.byref(error), handle)

    def release_string(self, handle):
        error = ErrorRecord()
        self._functions["ZStringData_C_API_destruct"](ctypes.byref(error), handle)


def dimensions(extents):
    """A ZArrayDimensions over a fresh array of the extents (kept alive by the result)."""
    array = (ctypes.c_size_t * max(len(extents), 1))(*extents)
    dims = ArrayDimensions(array, len(extents))
    dims._keep = array
    return dims
