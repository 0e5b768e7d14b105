// The compiled core of the lumcore Python module. It is a client of the
// library like any other module built apart: it includes the C headers only
// and reaches every value through the flat functions.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <cstdint>

#include "LumCore/c/DLPackTensor.h"
#include "LumCore/c/LumCoreFlat.h"
#include "LumCore/c/PropertyTreeFlat.h"

namespace lumpy {

// NumPy's limit, so that every array NumPy hands over fits.
constexpr int kMaxDims = 32;

// A Variant is immutable: what Python asks of it most (shape, type, where
// its elements are) is read from the library once, when it is made.
struct Variant {
    PyObject_VAR_HEAD  // ob_size: the Py_ssize_t that follow, shape then steps
    ZVariantData* handle;    // a share of its own, or with `owner` a view
    PyObject* owner;         // the tree that holds the value `handle` views; or null
    const char* data;        // the stored elements; null for the null variant
    PyObject* shapeTuple;    // made on first use
    PyObject* weakrefs;
    ZVariantData* textForm;  // durations and time points as text, made on first read
    Py_hash_t hash;          // -1 until asked
    Py_ssize_t size;         // number of elements
    Py_ssize_t itemsize;     // bytes of one element; 0 for text and times
    ZWellKnownType type;
    ZDataOrdering ordering;
    bool scalar;             // a scalar (Python shape ()), not an array of one
    int ndim;
    Py_ssize_t* shape;       // ndim extents
    Py_ssize_t* steps;       // ndim steps, in elements
    Py_ssize_t extents[1];   // where both lie: the object is as long as its shape needs
};

extern PyTypeObject VariantType;

inline bool isVariant(PyObject* o) { return PyObject_TypeCheck(o, &VariantType); }

// ---- Failures -------------------------------------------------------------

// Raises the Python exception of a failed flat call and returns null.
PyObject* raiseRecord(const ErrorRecord& record);

// The record of flat calls; ok() raises (once) when a call failed.
struct Record {
    ErrorRecord r;
    bool raised = false;
    Record() { r.typeName = nullptr; r.message[0] = '\0'; }
    ErrorRecord* operator&() { return &r; }
    [[nodiscard]] bool ok()
    {
        if (r.typeName != nullptr && !raised) {
            raised = true;
            raiseRecord(r);
        }
        return r.typeName == nullptr;
    }
};

// ---- Element types ----------------------------------------------------------

// The word of a type code, or null when the code is not in the list.
const char* typeWord(ZWellKnownType code);
// The code named by a word or a NumPy dtype (or anything numpy.dtype takes);
// -1 with a ValueError that lists the words.
int typeCodeOf(PyObject* named);
// Bytes of one part of an element (of both parts for complex types): 0 for
// text, times and unknown codes.
Py_ssize_t itemSizeOf(ZWellKnownType code);
// The buffer protocol's format of a type NumPy holds, or null.
const char* bufferFormatOf(ZWellKnownType code);
// The code of a buffer format, or 0.
ZWellKnownType typeOfBufferFormat(const char* format, Py_ssize_t itemsize);
// "RowMajor"/"ColumnMajor" (or NumPy's "C"/"F"); -1 with a ValueError.
int orderingOf(PyObject* named);
int modeOf(PyObject* named);
extern const char* const kOrderingWords[2];
extern const char* const kModeWords[3];
// numpy, or None when it is not installed; a borrowed reference.
PyObject* numpyOrNone();

// ---- Variants ----------------------------------------------------------------

// A new Variant over `handle`, which it takes over (released on failure).
PyObject* wrap(ZVariantData* handle);
// A new Variant over a value of a tree (read by describe() or in a batch of
// children), which `owner` keeps alive: no share is taken, so a value read from a tree costs no allocation in the library.
PyObject* wrapView(const ZPropertyChild& value, PyObject* owner);
// The handle built from a Python value: a share of a Variant's, or a new one
// from numbers, text, nested lists, and objects with the buffer protocol.
ZVariantData* buildHandle(PyObject* value);
void releaseHandle(ZVariantData* handle);
// Variant ==: 1, 0, or -1 with an exception.
int variantsEqual(PyObject* a, PyObject* b);

// The element at storage position `at`, as a Python object.
PyObject* readElement(Variant* v, Py_ssize_t at);
// The storage position of the logical multi-index `index`.
inline Py_ssize_t storageOffset(const Variant* v, const Py_ssize_t* index)
{
    Py_ssize_t at = 0;
    for (int d = 0; d < v->ndim; ++d) {
        at += index[d] * v->steps[d];
    }
    return at;
}
PyObject* toList(Variant* v);
PyObject* subscript(PyObject* self, PyObject* key);

// What the constructor does not read itself (NumPy's text and object
// arrays, masked arrays) goes to a hook of the Python layer, which answers
// with nested lists or raises.
PyObject* callInputHook(PyObject* value);
bool isString(PyObject* o);
// A str of a string handle's UTF-8, bytes that are not UTF-8 taken by the
// codec's `errors` handler.
PyObject* textOf(ZStringData* text, const char* errors);
// The same, releasing the handle.
inline PyObject* adoptText(ZStringData* text, const char* errors)
{
    PyObject* result = textOf(text, errors);
    Record record;
    ZStringData_C_API_destruct(&record, text);
    return result;
}
PyObject* textOfString(PyObject* o);

// ---- Trees ------------------------------------------------------------------

// A map or a list of a frozen tree. `node` is a view, valid while the tree
// is held: by `owned` in the object the tree was made for, by `owner` (that
// object) in the objects of its subtrees.
struct Tree {
    PyObject_HEAD
    const FPropertyNodeData* node;
    FPropertyNodeData* owned;
    PyObject* owner;
};

extern PyTypeObject TreeType;      // the base of the two below
extern PyTypeObject TreeMapType;   // a read-only Mapping
extern PyTypeObject TreeListType;  // a read-only Sequence

inline bool isTree(PyObject* o) { return PyObject_TypeCheck(o, &TreeType); }

// The Python object of a tree the caller owns, which it takes over: a
// TreeMap or TreeList, a Variant for a value, None for the null node.
PyObject* adoptTree(FPropertyNodeData* owned);
// A node built from dicts, lists, tuples, None, trees and whatever a Variant
// is made from; null with an exception.
FPropertyNodeData* treeFrom(PyObject* value);
void releaseNode(FPropertyNodeData* node);

// The module functions of the exchange forms and of pickled trees.
PyObject* dumps(PyObject* module, PyObject* args, PyObject* keywords);
PyObject* loads(PyObject* module, PyObject* args, PyObject* keywords);
PyObject* treeFromCbor(PyObject* module, PyObject* args);
// The CBOR of a node, written once, straight into a new bytes object.
PyObject* cborBytes(const FPropertyNodeData* node);

// ---- Exchange ----------------------------------------------------------------

PyObject* dlpackCapsule(Variant* v, bool versioned);
ZVariantData* importCapsule(PyObject* capsule);
// The elements of a Variant of a type NumPy holds, seen in another shape and
// ordering, with no copy.
PyObject* reshapedView(Variant* v, const Py_ssize_t* shape, int ndim, ZDataOrdering ordering);
// A variant over the memory of a buffer exporter, which it keeps until its
// last share goes; copies when the memory does not suit the library.
ZVariantData* handleOverBuffer(PyObject* exporter, ZWellKnownType type, const Py_ssize_t* shape, int ndim,
                               ZDataOrdering ordering, bool scalar);
// A copy of what a buffer exporter holds, of any layout.
ZVariantData* copyOfBuffer(Py_buffer* view);

}  // namespace lumpy
