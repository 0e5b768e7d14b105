// The Variant type: Python's protocols over a flat variant handle.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "Extension.hpp"

namespace lumpy {

void releaseHandle(ZVariantData* handle)
{
    Record record;
    ZVariantData_C_API_destruct(&record, handle);
}

namespace {

Variant* self_(PyObject* o) { return reinterpret_cast<Variant*>(o); }

bool isNull(const Variant* v) { return v->type == 0; }

}  // namespace

namespace {

// The handle is released on failure unless `owner` holds it. A value read
// in a batch of tree children comes with its type and elements known.
PyObject* wrapWith(ZVariantData* handle, PyObject* owner, const ZPropertyChild* known)
{
    const auto releaseHandle = [owner](ZVariantData* unused) {
        if (owner == nullptr) {
            lumpy::releaseHandle(unused);
        }
    };
    // What the object's size depends on is read first.
    Record record;
    const ZWellKnownType type = known != nullptr ? known->type : ZVariantData_C_API_wellKnownDataType(&record, handle);
    const bool scalar = ZVariantData_C_API_isScalarStorage(&record, handle);
    const ZArrayDimensions dims =
        scalar ? ZArrayDimensions{nullptr, 0} : ZVariantData_C_API_dimensions(&record, handle);
    if (!record.ok()) {
        releaseHandle(handle);
        return nullptr;
    }
    // An array without dimensions holds nothing: shape (0,).
    const int ndim = type == 0 || scalar ? 0 : dims.size == 0 ? 1 : int(std::min(dims.size, size_t(kMaxDims) + 1));
    if (ndim > kMaxDims) {
        releaseHandle(handle);
        return PyErr_Format(PyExc_ValueError, "a Variant of %zu dimensions: Python reads at most %d", dims.size,
                            kMaxDims);
    }
    Variant* v = PyObject_NewVar(Variant, &VariantType, 2 * ndim);
    if (v == nullptr) {
        releaseHandle(handle);
        return nullptr;
    }
    v->handle = handle;
    v->owner = Py_XNewRef(owner);
    v->shapeTuple = nullptr;
    v->weakrefs = nullptr;
    v->textForm = nullptr;
    v->hash = -1;
    v->data = nullptr;
    v->type = type;
    v->scalar = scalar;
    v->ordering = ZVariantData_C_API_dataOrdering(&record, handle);
    v->itemsize = itemSizeOf(type);
    v->ndim = ndim;
    v->shape = v->extents;
    v->steps = v->extents + ndim;
    v->size = type == 0 ? 0 : 1;
    for (int d = 0; d < ndim; ++d) {
        const size_t extent = dims.size == 0 ? 0 : dims.data[d];
        if (extent > size_t(PY_SSIZE_T_MAX) || (extent != 0 && v->size > PY_SSIZE_T_MAX / Py_ssize_t(extent))) {
            Py_DECREF(v);
            return PyErr_Format(PyExc_OverflowError, "a Variant of more elements than Python can count");
        }
        v->shape[d] = Py_ssize_t(extent);
        v->size *= Py_ssize_t(extent);
    }
    Py_ssize_t step = 1;
    for (int k = 0; k < ndim; ++k) {
        const int d = v->ordering == ZDataOrdering_ColumnMajor ? k : ndim - 1 - k;
        v->steps[d] = step;
        step *= v->shape[d];
    }
    if (v->size > 0) {
        v->data = static_cast<const char*>(known != nullptr ? known->data
                                                            : ZVariantData_C_API_constStoredData(&record, handle));
    }
    if (!record.ok()) {
        Py_DECREF(v);
        return nullptr;
    }
    return reinterpret_cast<PyObject*>(v);
}

}  // namespace

PyObject* wrap(ZVariantData* handle)
{
    return handle == nullptr ? nullptr : wrapWith(handle, nullptr, nullptr);  // a failure is raised already
}

PyObject* wrapView(const ZPropertyChild& value, PyObject* owner)
{
    return wrapWith(const_cast<ZVariantData*>(value.value), owner, &value);
}

namespace {

// Converted (the same handle for the same type); ValueError when the mode refuses.
PyObject* converted(Variant* v, PyObject* dtype, int mode)
{
    const int code = typeCodeOf(dtype);
    if (code < 0) {
        return nullptr;
    }
    if (code == v->type) {
        return Py_NewRef(reinterpret_cast<PyObject*>(v));
    }
    Record record;
    ZVariantData* handle = ZVariantData_C_API_convertDataTo(&record, v->handle, ZWellKnownType(code), ZConversionMode(mode));
    if (record.ok() && handle == nullptr) {
        return PyErr_Format(PyExc_ValueError, "%s conversion of %s to %s is refused", kModeWords[mode],
                            isNull(v) ? "unknown" : typeWord(v->type), typeWord(ZWellKnownType(code)));
    }
    return record.ok() ? wrap(handle) : nullptr;
}

PyObject* reordered(Variant* v, int ordering)
{
    if (ordering == int(v->ordering)) {
        return Py_NewRef(reinterpret_cast<PyObject*>(v));
    }
    Record record;
    ZVariantData* share = ZVariantData_C_API_copy(&record, v->handle);
    ZVariantData* handle = ZVariantData_C_API_reorderData(&record, share, ZDataOrdering(ordering));
    if (record.r.typeName != nullptr) {
        releaseHandle(share);
    }
    return record.ok() ? wrap(handle) : nullptr;
}

PyObject* variantNew(PyTypeObject*, PyObject* args, PyObject* kwargs)
{
    static const char* kKeywords[] = {"value", "dtype", "ordering", nullptr};
    PyObject *value = Py_None, *dtype = Py_None, *ordering = Py_None;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|OOO:Variant", const_cast<char**>(kKeywords), &value, &dtype,
                                     &ordering)) {
        return nullptr;
    }
    PyObject* made = wrap(buildHandle(value));
    if (made != nullptr && dtype != Py_None) {
        Py_SETREF(made, converted(self_(made), dtype, ZConversionMode_Lossless));
    }
    if (made != nullptr && ordering != Py_None) {
        const int order = orderingOf(ordering);
        Py_SETREF(made, order < 0 ? nullptr : reordered(self_(made), order));
    }
    return made;
}

void variantDealloc(PyObject* o)
{
    Variant* v = self_(o);
    if (v->weakrefs != nullptr) {
        PyObject_ClearWeakRefs(o);
    }
    if (v->owner != nullptr) {
        Py_DECREF(v->owner);
    } else {
        releaseHandle(v->handle);
    }
    releaseHandle(v->textForm);
    Py_XDECREF(v->shapeTuple);
    Py_TYPE(o)->tp_free(o);
}

// ---- Attributes ----------------------------------------------------------------

PyObject* shapeOf(PyObject* o, void*)
{
    Variant* v = self_(o);
    if (v->shapeTuple == nullptr) {
        PyObject* shape = PyTuple_New(v->ndim);
        for (int d = 0; shape != nullptr && d < v->ndim; ++d) {
            PyObject* extent = PyLong_FromSsize_t(v->shape[d]);
            if (extent == nullptr) {
                Py_CLEAR(shape);
                break;
            }
            PyTuple_SET_ITEM(shape, d, extent);
        }
        v->shapeTuple = shape;
    }
    return Py_XNewRef(v->shapeTuple);
}

PyObject* typeOf(PyObject* o, void*)
{
    return PyUnicode_FromString(isNull(self_(o)) ? "unknown" : typeWord(self_(o)->type) ? typeWord(self_(o)->type) : "customType");
}

PyObject* typeCodeOfVariant(PyObject* o, void*) { return PyLong_FromLong(self_(o)->type); }

PyObject* dtypeOf(PyObject* o, void* closure)
{
    PyObject* numpy = numpyOrNone();
    const char* format = bufferFormatOf(self_(o)->type);
    if (numpy == Py_None || format == nullptr) {
        return typeOf(o, closure);
    }
    return PyObject_CallMethod(numpy, "dtype", "s", format[0] == 'Z' ? (format[1] == 'd' ? "D" : "F") : format);
}

PyObject* ndimOf(PyObject* o, void*) { return PyLong_FromLong(self_(o)->ndim); }
PyObject* sizeOf(PyObject* o, void*) { return PyLong_FromSsize_t(self_(o)->size); }
PyObject* itemsizeOf(PyObject* o, void*) { return PyLong_FromSsize_t(self_(o)->itemsize); }
PyObject* nbytesOf(PyObject* o, void*) { return PyLong_FromSsize_t(self_(o)->itemsize * self_(o)->size); }
PyObject* orderingOfVariant(PyObject* o, void*) { return PyUnicode_FromString(kOrderingWords[self_(o)->ordering & 1]); }
PyObject* isScalarOf(PyObject* o, void*) { return PyBool_FromLong(self_(o)->scalar); }

PyGetSetDef kGetSet[] = {
    {"shape", shapeOf, nullptr, "The extents: () for a scalar, (n,) for a vector.", nullptr},
    {"ndim", ndimOf, nullptr, "The number of dimensions.", nullptr},
    {"size", sizeOf, nullptr, "The number of elements.", nullptr},
    {"itemsize", itemsizeOf, nullptr, "Bytes of one element (0 for text and times).", nullptr},
    {"nbytes", nbytesOf, nullptr, "Bytes of all elements (0 for text and times).", nullptr},
    {"dtype", dtypeOf, nullptr, "NumPy's dtype of the element type where NumPy has one, else the type word.", nullptr},
    {"type", typeOf, nullptr, "The element type's word, such as 'int32'.", nullptr},
    {"type_code", typeCodeOfVariant, nullptr, "The element type's code in the flat interface.", nullptr},
    {"ordering", orderingOfVariant, nullptr, "'RowMajor' or 'ColumnMajor'.", nullptr},
    {"is_scalar", isScalarOf, nullptr, "Whether this is a scalar, not an array (of one or more).", nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr}};

// ---- Length, items, iteration ------------------------------------------------------

Py_ssize_t length(PyObject* o)
{
    Variant* v = self_(o);
    if (v->ndim == 0) {
        PyErr_SetString(PyExc_TypeError, "len() of unsized object");
        return -1;
    }
    return v->shape[0];
}

// Along the first axis, for iteration.
PyObject* itemAt(PyObject* o, Py_ssize_t i)
{
    Variant* v = self_(o);
    if (v->ndim == 0) {
        return PyErr_Format(PyExc_TypeError, "iteration over a 0-d array");
    }
    if (i < 0 || i >= v->shape[0]) {
        return PyErr_Format(PyExc_IndexError, "index %zd is out of bounds for axis 0 with size %zd", i, v->shape[0]);
    }
    if (v->ndim == 1) {
        return readElement(v, i * v->steps[0]);
    }
    PyObject* index = PyLong_FromSsize_t(i);
    PyObject* row = index == nullptr ? nullptr : subscript(o, index);
    Py_XDECREF(index);
    return row;
}

PyObject* iterate(PyObject* o)
{
    if (self_(o)->ndim == 0) {
        return PyErr_Format(PyExc_TypeError, "iteration over a 0-d array");
    }
    return PySeqIter_New(o);
}

// Walks every element in row-major order, whatever the storage ordering.
template <class Visit>
bool forEachElement(Variant* v, Visit&& visit)
{
    if (v->size == 0) {
        return true;
    }
    Py_ssize_t index[kMaxDims] = {};
    for (Py_ssize_t n = 0; n < v->size; ++n) {
        if (!visit(storageOffset(v, index))) {
            return false;
        }
        for (int d = v->ndim - 1; d >= 0 && ++index[d] == v->shape[d]; --d) {
            index[d] = 0;
        }
    }
    return true;
}

int contains(PyObject* o, PyObject* wanted)
{
    Variant* v = self_(o);
    int found = 0;
    forEachElement(v, [&](Py_ssize_t at) {
        PyObject* element = readElement(v, at);
        found = element == nullptr ? -1 : PyObject_RichCompareBool(element, wanted, Py_EQ);
        Py_XDECREF(element);
        return found == 0;
    });
    return found;
}

// ---- Comparison and hash -------------------------------------------------------------

// Equal: the same element type and shape, and equal elements at each index
// (isIdenticalTo once both lie in one ordering; NaN equals nothing). The
// ordering is layout, not value.
int equal(Variant* a, Variant* b)
{
    if (a->type != b->type || a->scalar != b->scalar || a->ndim != b->ndim ||
        std::memcmp(a->shape, b->shape, sizeof(Py_ssize_t) * size_t(a->ndim)) != 0) {
        return 0;
    }
    if (isNull(a)) {
        return 1;
    }
    PyObject* other = reordered(b, a->ordering);
    if (other == nullptr) {
        return -1;
    }
    Record record;
    const bool same = ZVariantData_C_API_isIdenticalTo(&record, a->handle, self_(other)->handle);
    Py_DECREF(other);
    return record.ok() ? same : -1;
}

PyObject* compare(PyObject* a, PyObject* b, int op)
{
    if ((op != Py_EQ && op != Py_NE) || !isVariant(b)) {
        Py_RETURN_NOTIMPLEMENTED;
    }
    const int same = equal(self_(a), self_(b));
    return same < 0 ? nullptr : PyBool_FromLong((same == 1) == (op == Py_EQ));
}

// FNV-1a over the type, the shape and the elements in row-major order;
// equal floating parts hash alike (+0.0 and -0.0).
Py_hash_t hashOf(PyObject* o)
{
    Variant* v = self_(o);
    if (v->hash != -1) {
        return v->hash;
    }
    uint64_t h = 1469598103934665603ull;
    auto mix = [&h](const void* bytes, size_t size) {
        for (size_t i = 0; i < size; ++i) {
            h = (h ^ static_cast<const unsigned char*>(bytes)[i]) * 1099511628211ull;
        }
    };
    mix(&v->type, sizeof v->type);
    mix(&v->scalar, sizeof v->scalar);
    mix(v->shape, sizeof(Py_ssize_t) * size_t(v->ndim));
    const unsigned kind = v->type & 0x000F;
    const bool floating = (kind == 1 || kind == 2) && v->itemsize > 0;
    const bool ok = forEachElement(v, [&](Py_ssize_t at) {
        if (v->type == ZWellKnownType_string || v->itemsize == 0) {
            PyObject* element = readElement(v, at);
            const Py_hash_t part = element == nullptr ? -1 : PyObject_Hash(element);
            Py_XDECREF(element);
            mix(&part, sizeof part);
            return part != -1;
        }
        const char* p = v->data + at * v->itemsize;
        if (!floating) {
            mix(p, size_t(v->itemsize));
            return true;
        }
        const size_t parts = v->type & 0x8000 ? 2 : 1, size = size_t(v->itemsize) / parts;
        for (size_t k = 0; k < parts; ++k) {
            const double value = size == 8 ? *reinterpret_cast<const double*>(p + k * size)
                                           : *reinterpret_cast<const float*>(p + k * size);
            const double normal = value == 0.0 ? 0.0 : value;
            mix(&normal, sizeof normal);
        }
        return true;
    });
    if (!ok) {
        return -1;
    }
    const auto hash = static_cast<Py_hash_t>(h);
    v->hash = hash == -1 ? -2 : hash;
    return v->hash;
}

// ---- Scalars as NumPy's scalars ----------------------------------------------------------

// The one element of a scalar or an array of one; what the error names
// otherwise is NumPy's.
PyObject* onlyElement(Variant* v, PyObject* error, const char* message)
{
    if (v->size != 1) {
        PyErr_SetString(error, message);
        return nullptr;
    }
    return readElement(v, 0);
}

int truth(PyObject* o)
{
    Variant* v = self_(o);
    PyObject* element = onlyElement(v, PyExc_ValueError,
                                    v->size == 0 ? "The truth value of an empty array is ambiguous."
                                                 : "The truth value of an array with more than one element is "
                                                   "ambiguous. Use a.any() or a.all()");
    const int result = element == nullptr ? -1 : PyObject_IsTrue(element);
    Py_XDECREF(element);
    return result;
}

template <PyObject* (*Convert)(PyObject*)>
PyObject* asNumber(PyObject* o)
{
    PyObject* element = onlyElement(self_(o), PyExc_TypeError, "only size-1 arrays can be converted to Python scalars");
    PyObject* result = element == nullptr ? nullptr : Convert(element);
    Py_XDECREF(element);
    return result;
}

PyObject* asIndex(PyObject* o)
{
    Variant* v = self_(o);
    const unsigned kind = v->type & 0x000F;
    if (v->ndim != 0 || v->type & 0x8000 || kind < 3 || kind > 7 || v->itemsize == 0) {
        PyErr_SetString(PyExc_TypeError, "only integer scalar arrays can be converted to a scalar index");
        return nullptr;
    }
    return readElement(v, 0);
}

PyObject* asComplex(PyObject* o, PyObject*)
{
    PyObject* element = onlyElement(self_(o), PyExc_TypeError, "only size-1 arrays can be converted to Python scalars");
    PyObject* result = element == nullptr ? nullptr : PyObject_CallOneArg(reinterpret_cast<PyObject*>(&PyComplex_Type), element);
    Py_XDECREF(element);
    return result;
}

PyNumberMethods kNumber = {};

// ---- Buffer protocol -----------------------------------------------------------------------

int getBuffer(PyObject* o, Py_buffer* view, int flags)
{
    Variant* v = self_(o);
    const char* format = bufferFormatOf(v->type);
    if (format == nullptr) {
        PyErr_Format(PyExc_BufferError, "a Variant of element type '%s' has no buffer: NumPy has no such type",
                     isNull(v) ? "unknown" : typeWord(v->type) ? typeWord(v->type) : "customType");
        return -1;
    }
    if (flags & PyBUF_WRITABLE) {
        PyErr_SetString(PyExc_BufferError, "a Variant is read-only");
        return -1;
    }
    const bool columns = v->ndim > 1 && v->ordering == ZDataOrdering_ColumnMajor;
    // Plain bytes are fine (the elements are contiguous either way); a shape
    // without strides would be read as row-major.
    if (columns && (flags & PyBUF_ND) == PyBUF_ND && (flags & PyBUF_STRIDES) != PyBUF_STRIDES) {
        PyErr_SetString(PyExc_BufferError, "a column-major Variant needs a consumer that reads strides");
        return -1;
    }
    if (columns && (flags & PyBUF_C_CONTIGUOUS) == PyBUF_C_CONTIGUOUS) {
        PyErr_SetString(PyExc_BufferError, "a column-major Variant is not C-contiguous");
        return -1;
    }
    view->buf = const_cast<char*>(v->data);
    view->obj = Py_NewRef(o);
    view->len = v->size * v->itemsize;
    view->readonly = 1;
    view->itemsize = v->itemsize;
    view->format = (flags & PyBUF_FORMAT) ? const_cast<char*>(format) : nullptr;
    view->ndim = v->ndim;
    view->shape = (flags & PyBUF_ND) == PyBUF_ND ? v->shape : nullptr;
    view->strides = nullptr;
    if ((flags & PyBUF_STRIDES) == PyBUF_STRIDES) {
        auto* strides = static_cast<Py_ssize_t*>(PyMem_Malloc(sizeof(Py_ssize_t) * size_t(v->ndim + 1)));
        if (strides == nullptr) {
            Py_CLEAR(view->obj);
            PyErr_NoMemory();
            return -1;
        }
        for (int d = 0; d < v->ndim; ++d) {
            strides[d] = v->steps[d] * v->itemsize;
        }
        view->strides = strides;
    }
    view->suboffsets = nullptr;
    view->internal = view->strides;
    return 0;
}

void releaseBuffer(PyObject*, Py_buffer* view) { PyMem_Free(view->internal); }

PyBufferProcs kBuffer = {getBuffer, releaseBuffer};

// ---- Text for people ------------------------------------------------------------------------

// Written in Python (lumcore._text), where NumPy's way of summarising
// large arrays is easier to follow.
PyObject* textHook(PyObject* o, const char* function)
{
    PyObject* module = PyImport_ImportModule("lumcore._text");
    PyObject* text = module == nullptr ? nullptr : PyObject_CallMethod(module, function, "O", o);
    Py_XDECREF(module);
    return text;
}

PyObject* reprOf(PyObject* o) { return textHook(o, "variant_repr"); }
PyObject* strOf(PyObject* o) { return textHook(o, "variant_str"); }

// ---- Methods --------------------------------------------------------------------------------

PyObject* item(PyObject* o, PyObject*)
{
    Variant* v = self_(o);
    if (v->size != 1) {
        return PyErr_Format(PyExc_ValueError, "can only convert an array of size 1 to a Python scalar");
    }
    return readElement(v, 0);
}

PyObject* tolist(PyObject* o, PyObject*) { return toList(self_(o)); }

PyObject* convertMethod(PyObject* o, PyObject* args, PyObject* kwargs, const char* defaultMode, const char* name)
{
    static const char* kKeywords[] = {"dtype", "mode", nullptr};
    PyObject* dtype;
    PyObject* mode = nullptr;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, name, const_cast<char**>(kKeywords), &dtype, &mode)) {
        return nullptr;
    }
    PyObject* modeWord = mode != nullptr ? Py_NewRef(mode) : PyUnicode_FromString(defaultMode);
    const int m = modeWord == nullptr ? -1 : modeOf(modeWord);
    Py_XDECREF(modeWord);
    return m < 0 ? nullptr : converted(self_(o), dtype, m);
}

PyObject* convert(PyObject* o, PyObject* args, PyObject* kwargs)
{
    return convertMethod(o, args, kwargs, "Lossless", "O|O:convert");
}

PyObject* astype(PyObject* o, PyObject* args, PyObject* kwargs)
{
    return convertMethod(o, args, kwargs, "Cast", "O|O:astype");
}

PyObject* reorder(PyObject* o, PyObject* ordering)
{
    const int order = orderingOf(ordering);
    return order < 0 ? nullptr : reordered(self_(o), order);
}

// The shape a reshape asks for, as NumPy reads it (one -1 stands for what
// the others leave); every extent checked before it becomes a size_t.
int requestedShape(Variant* v, PyObject* shape, Py_ssize_t* extents)
{
    PyObject* list = PyIndex_Check(shape) ? Py_BuildValue("(O)", shape) : PySequence_Tuple(shape);
    if (list == nullptr) {
        return -1;
    }
    const Py_ssize_t ndim = PyTuple_GET_SIZE(list);
    Py_ssize_t known = 1, unknownAxis = -1;
    int result = int(ndim);
    for (Py_ssize_t d = 0; result >= 0 && d < ndim; ++d) {
        PyObject* item = PyTuple_GET_ITEM(list, d);
        // PyNumber_AsSsize_t raises the TypeError of a float itself.
        const Py_ssize_t extent = ndim > kMaxDims ? 0 : PyNumber_AsSsize_t(item, PyExc_ValueError);
        if (ndim > kMaxDims) {
            PyErr_Format(PyExc_ValueError, "maximum supported dimension for an ndarray is %d, found %zd", kMaxDims, ndim);
        } else if (extent == -1 && PyErr_Occurred()) {
            // as raised
        } else if (extent == -1 && unknownAxis < 0) {
            unknownAxis = d;
            extents[d] = -1;
            continue;
        } else if (extent < 0) {
            PyErr_SetString(PyExc_ValueError, extent == -1 ? "can only specify one unknown dimension"
                                                           : "negative dimensions not allowed");
        } else {
            extents[d] = extent;
            known = extent != 0 && known > PY_SSIZE_T_MAX / extent ? -1 : known * extent;
            if (known >= 0) {
                continue;
            }
            PyErr_SetString(PyExc_ValueError, "array is too big; `arr.size * arr.dtype.itemsize` is larger than the maximum possible size.");
        }
        result = -1;
    }
    if (result >= 0 && unknownAxis >= 0) {
        extents[unknownAxis] = known == 0 ? 0 : v->size / known;
        known *= extents[unknownAxis];
    }
    if (result >= 0 && known != v->size) {
        PyErr_Format(PyExc_ValueError, "cannot reshape array of size %zd into shape %R", v->size, list);
        result = -1;
    }
    Py_DECREF(list);
    return result;
}

PyObject* reshape(PyObject* o, PyObject* args, PyObject* kwargs)
{
    static const char* kKeywords[] = {"shape", "ordering", nullptr};
    PyObject *shape, *orderingWord = Py_None;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O|O:reshape", const_cast<char**>(kKeywords), &shape, &orderingWord)) {
        return nullptr;
    }
    Variant* v = self_(o);
    Py_ssize_t extents[kMaxDims];
    const int ndim = requestedShape(v, shape, extents);
    const int ordering = orderingWord == Py_None ? int(v->ordering) : orderingOf(orderingWord);
    if (ndim < 0 || ordering < 0) {
        return nullptr;
    }
    if (isNull(v)) {
        return PyErr_Format(PyExc_ValueError, "the null Variant has no elements to reshape");
    }
    if (bufferFormatOf(v->type) != nullptr) {
        return reshapedView(v, extents, ndim, ZDataOrdering(ordering));
    }
    // Text, times and the integer complex types: a new array (one element of
    // no dimensions becomes an array of one).
    size_t dims[kMaxDims];
    for (int d = 0; d < ndim; ++d) {
        dims[d] = size_t(extents[d]);
    }
    Record record;
    ZVariantData* share = ZVariantData_C_API_copy(&record, v->handle);
    ZVariantData* handle = ZVariantData_C_API_reshapeToZVariant(&record, v->handle, share, ZArrayDimensions{dims, size_t(ndim)},
                                                                ZDataOrdering(ordering));
    if (record.r.typeName != nullptr) {
        releaseHandle(share);
    }
    return record.ok() ? wrap(handle) : nullptr;
}

PyObject* copyMethod(PyObject* o, PyObject*)
{
    Variant* v = self_(o);
    if (v->ndim == 0) {
        return Py_NewRef(o);  // a scalar lives in its own record already
    }
    ZSliceRange ranges[kMaxDims];
    for (int d = 0; d < v->ndim; ++d) {
        ranges[d] = ZSliceRange{0, uint64_t(v->shape[d]), 1};
    }
    Record record;
    ZVariantData* handle = ZVariantData_C_API_copySlice(&record, v->handle, ranges, size_t(v->ndim));
    return record.ok() ? wrap(handle) : nullptr;
}

PyObject* withOther(PyObject* o, PyObject* args, bool identical)
{
    PyObject *other, *mode = nullptr;
    if (!PyArg_ParseTuple(args, identical ? "O:identical" : "O|O:equivalent", &other, &mode)) {
        return nullptr;
    }
    const int m = mode == nullptr ? 0 : modeOf(mode);
    PyObject* variant = m < 0 ? nullptr : isVariant(other) ? Py_NewRef(other) : wrap(buildHandle(other));
    if (variant == nullptr) {
        return nullptr;
    }
    Record record;
    const bool answer =
        identical ? ZVariantData_C_API_isIdenticalTo(&record, self_(o)->handle, self_(variant)->handle)
                  : ZVariantData_C_API_isEquivalentTo(&record, self_(o)->handle, self_(variant)->handle, ZConversionMode(m));
    Py_DECREF(variant);
    return record.ok() ? PyBool_FromLong(answer) : nullptr;
}

PyObject* equivalent(PyObject* o, PyObject* args) { return withOther(o, args, false); }
PyObject* identical(PyObject* o, PyObject* args) { return withOther(o, args, true); }

// NumPy calls this for every handover, so its keywords are read by hand
// (fast call, no parsing of a format).
PyObject* dlpack(PyObject* o, PyObject* const* args, Py_ssize_t count, PyObject* names)
{
    static const char* const kKeywords[] = {"stream", "max_version", "dl_device", "copy"};
    PyObject* given[4] = {Py_None, Py_None, Py_None, Py_None};
    const Py_ssize_t named = names == nullptr ? 0 : PyTuple_GET_SIZE(names);
    if (PyVectorcall_NARGS(count) != 0) {
        return PyErr_Format(PyExc_TypeError, "__dlpack__() takes keyword arguments only");
    }
    for (Py_ssize_t k = 0; k < named; ++k) {
        int slot = 0;
        while (slot < 4 && PyUnicode_CompareWithASCIIString(PyTuple_GET_ITEM(names, k), kKeywords[slot]) != 0) {
            ++slot;
        }
        if (slot == 4) {
            return PyErr_Format(PyExc_TypeError, "__dlpack__() got an unexpected keyword argument %R",
                                PyTuple_GET_ITEM(names, k));
        }
        given[slot] = args[k];
    }
    PyObject *stream = given[0], *maxVersion = given[1], *device = given[2], *copy = given[3];
    if (stream != Py_None && !(PyLong_Check(stream) && PyLong_AsLong(stream) == -1)) {
        PyErr_SetString(PyExc_BufferError, "a Variant lives in CPU memory and takes no stream");
        return nullptr;
    }
    if (device != Py_None) {
        PyObject* cpu = Py_BuildValue("(ii)", ZDLDeviceType_CPU, 0);
        const int same = cpu == nullptr ? -1 : PyObject_RichCompareBool(device, cpu, Py_EQ);
        Py_XDECREF(cpu);
        if (same != 1) {
            return same < 0 ? nullptr : (PyErr_SetString(PyExc_BufferError, "a Variant can only be exported to the CPU"), nullptr);
        }
    }
    bool versioned = false;
    if (maxVersion != Py_None) {
        PyObject* major = PySequence_GetItem(maxVersion, 0);
        const long value = major == nullptr ? -1 : PyLong_AsLong(major);
        Py_XDECREF(major);
        if (PyErr_Occurred()) {
            return nullptr;
        }
        versioned = value >= ZDLPACK_MAJOR_VERSION;
    }
    const int wantsCopy = copy == Py_None ? 0 : PyObject_IsTrue(copy);
    if (wantsCopy < 0) {
        return nullptr;
    }
    PyObject* source = wantsCopy ? copyMethod(o, nullptr) : Py_NewRef(o);
    PyObject* capsule = source == nullptr ? nullptr : dlpackCapsule(self_(source), versioned);
    Py_XDECREF(source);
    return capsule;
}

PyObject* dlpackDevice(PyObject*, PyObject*)
{
    static PyObject* cpu = Py_BuildValue("(ii)", ZDLDeviceType_CPU, 0);
    return Py_XNewRef(cpu);
}

// pickle: numeric arrays as their buffer (out of band with protocol 5 and
// a buffer_callback), everything else as the library's CBOR.
PyObject* reduceEx(PyObject* o, PyObject* protocolObject)
{
    Variant* v = self_(o);
    const long protocol = PyLong_AsLong(protocolObject);
    if (protocol == -1 && PyErr_Occurred()) {
        return nullptr;
    }
    PyObject* module = PyImport_ImportModule("lumcore._lumcore");
    if (module == nullptr) {
        return nullptr;
    }
    PyObject* result = nullptr;
    if (isNull(v)) {
        result = Py_BuildValue("(O())", reinterpret_cast<PyObject*>(&VariantType));
    } else if (protocol >= 5 && bufferFormatOf(v->type) != nullptr) {
        PyObject* buffer = PyPickleBuffer_FromObject(o);
        PyObject* shape = buffer == nullptr ? nullptr : shapeOf(o, nullptr);
        PyObject* rebuild = shape == nullptr ? nullptr : PyObject_GetAttrString(module, "_from_buffer");
        if (rebuild != nullptr) {
            result = Py_BuildValue("(O(NiNiO))", rebuild, buffer, int(v->type), shape, int(v->ordering),
                                   v->scalar ? Py_True : Py_False);
            buffer = shape = nullptr;
        }
        Py_XDECREF(buffer);
        Py_XDECREF(shape);
        Py_XDECREF(rebuild);
    } else {
        Record record;
        ZVariantData* encoded = ZVariantData_C_API_encodeCbor(&record, v->handle);
        if (record.ok()) {
            const void* bytes = ZVariantData_C_API_constStoredData(&record, encoded);
            const size_t count = ZVariantData_C_API_numberAllocatedElements(&record, encoded);
            PyObject* data = PyBytes_FromStringAndSize(static_cast<const char*>(bytes), Py_ssize_t(count));
            releaseHandle(encoded);
            PyObject* rebuild = data == nullptr ? nullptr : PyObject_GetAttrString(module, "_from_cbor");
            result = rebuild == nullptr ? nullptr : Py_BuildValue("(O(N))", rebuild, data);
            if (rebuild == nullptr) {
                Py_XDECREF(data);
            }
            Py_XDECREF(rebuild);
        }
    }
    Py_DECREF(module);
    return result;
}

PyObject* returnSelf(PyObject* o, PyObject*) { return Py_NewRef(o); }

PyObject* formatMethod(PyObject* o, PyObject* spec)
{
    Variant* v = self_(o);
    if (v->ndim == 0 && v->size == 1) {
        PyObject* element = readElement(v, 0);
        PyObject* text = element == nullptr ? nullptr : PyObject_Format(element, spec);
        Py_XDECREF(element);
        return text;
    }
    if (PyUnicode_Check(spec) && PyUnicode_GET_LENGTH(spec) == 0) {
        return PyObject_Str(o);
    }
    return PyErr_Format(PyExc_TypeError, "unsupported format string passed to lumcore.Variant.__format__");
}

// NumPy's view, for what np.asarray and np.array ask of an object that is
// not an array: the buffer for numeric types, 'U' arrays for text.
PyObject* asArray(PyObject* o, PyObject* args, PyObject* kwargs)
{
    static const char* kKeywords[] = {"dtype", "copy", nullptr};
    PyObject *dtype = Py_None, *copy = Py_None;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|OO:__array__", const_cast<char**>(kKeywords), &dtype, &copy)) {
        return nullptr;
    }
    Variant* v = self_(o);
    PyObject* numpy = numpyOrNone();
    if (numpy == Py_None) {
        return PyErr_Format(PyExc_ImportError, "__array__ needs NumPy");
    }
    PyObject* array = nullptr;
    if (bufferFormatOf(v->type) != nullptr) {
        PyObject* view = PyMemoryView_FromObject(o);
        array = view == nullptr ? nullptr : PyObject_CallMethod(numpy, "asarray", "O", view);
        Py_XDECREF(view);
    } else if (v->type == ZWellKnownType_string || v->type == ZWellKnownType_duration || v->type == ZWellKnownType_timePoint) {
        PyObject* list = toList(v);
        array = list == nullptr ? nullptr : PyObject_CallMethod(numpy, "array", "Os", list, "U");
        Py_XDECREF(list);
    } else {
        return PyErr_Format(PyExc_TypeError,
                            "NumPy has no element type for '%s': convert first, e.g. v.convert('complexDouble')",
                            isNull(v) ? "unknown" : typeWord(v->type) ? typeWord(v->type) : "customType");
    }
    if (array != nullptr && dtype != Py_None) {
        Py_SETREF(array, PyObject_CallMethod(array, "astype", "O", dtype));
    }
    return array;
}

PyMethodDef kMethods[] = {
    {"item", item, METH_NOARGS, "The one element of a scalar or an array of one, as a Python object."},
    {"tolist", tolist, METH_NOARGS, "The elements as nested lists of Python objects, in row-major order."},
    {"convert", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(convert)), METH_VARARGS | METH_KEYWORDS,
     "convert(dtype, mode='Lossless'): the elements converted by the library's rules; ValueError when the mode refuses."},
    {"astype", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(astype)), METH_VARARGS | METH_KEYWORDS,
     "astype(dtype, mode='Cast'): convert, casting as NumPy's astype does."},
    {"reorder", reorder, METH_O, "reorder(ordering): the same elements stored 'RowMajor' or 'ColumnMajor'."},
    {"reshape", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(reshape)), METH_VARARGS | METH_KEYWORDS,
     "reshape(shape, ordering=None): the elements, in storage order, laid out in a new shape of the same size "
     "(NumPy's order='A'); numeric types share the elements."},
    {"copy", copyMethod, METH_NOARGS, "A copy of the elements in storage of its own."},
    {"equivalent", equivalent, METH_VARARGS, "equivalent(other, mode='Lossless'): the same numbers across types and orderings."},
    {"identical", identical, METH_VARARGS, "identical(other): the same type, shape, ordering and elements."},
    {"__array__", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(asArray)), METH_VARARGS | METH_KEYWORDS, nullptr},
    {"__dlpack__", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(dlpack)), METH_FASTCALL | METH_KEYWORDS,
     "A DLPack capsule over the elements: versioned and marked read-only when max_version allows."},
    {"__dlpack_device__", dlpackDevice, METH_NOARGS, nullptr},
    {"__reduce_ex__", reduceEx, METH_O, nullptr},
    {"__copy__", returnSelf, METH_NOARGS, nullptr},
    {"__deepcopy__", returnSelf, METH_O, nullptr},
    {"__complex__", asComplex, METH_NOARGS, nullptr},
    {"__format__", formatMethod, METH_O, nullptr},
    {nullptr, nullptr, 0, nullptr}};

PyMappingMethods kMapping = {length, subscript, nullptr};
PySequenceMethods kSequence = {};

}  // namespace

PyTypeObject VariantType = {PyVarObject_HEAD_INIT(nullptr, 0)};

int variantsEqual(PyObject* a, PyObject* b) { return equal(self_(a), self_(b)); }

namespace {
struct Setup {
    Setup()
    {
        kNumber.nb_bool = truth;
        kNumber.nb_int = asNumber<PyNumber_Long>;
        kNumber.nb_float = asNumber<PyNumber_Float>;
        kNumber.nb_index = asIndex;
        kSequence.sq_length = length;
        kSequence.sq_item = itemAt;
        kSequence.sq_contains = contains;
        PyTypeObject& t = VariantType;
        t.tp_name = "lumcore.Variant";
        t.tp_doc = "Variant(value=None, dtype=None, ordering=None)\n--\n\n"
                   "A scalar or n-dimensional array of one of the library's element types, immutable and shared.\n"
                   "value: a number, str, nested lists, a NumPy array (copied), anything with the buffer protocol,\n"
                   "or a Variant (shared); with dtype, converted losslessly.";
        t.tp_basicsize = offsetof(Variant, extents);
        t.tp_itemsize = sizeof(Py_ssize_t);
        t.tp_flags = Py_TPFLAGS_DEFAULT;
        t.tp_new = variantNew;
        t.tp_dealloc = variantDealloc;
        t.tp_repr = reprOf;
        t.tp_str = strOf;
        t.tp_hash = hashOf;
        t.tp_richcompare = compare;
        t.tp_iter = iterate;
        t.tp_as_number = &kNumber;
        t.tp_as_mapping = &kMapping;
        t.tp_as_sequence = &kSequence;
        t.tp_as_buffer = &kBuffer;
        t.tp_methods = kMethods;
        t.tp_getset = kGetSet;
        t.tp_weaklistoffset = offsetof(Variant, weakrefs);
    }
} g_setup;
}  // namespace

}  // namespace lumpy
