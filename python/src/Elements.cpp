// Elements between Python and the library: a Variant made from Python's
// numbers, text and nested lists (or anything with the buffer protocol),
// and elements read back as Python objects.
#include <cstring>
#include <vector>

#include "Extension.hpp"

namespace lumpy {

namespace {

template <class T>
T load(const char* at)
{
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

// One part of a numeric element as a double, by the part's code.
double partAsDouble(ZWellKnownType part, const char* at)
{
    switch (part) {
    case ZWellKnownType_double: return load<double>(at);
    case ZWellKnownType_float: return load<float>(at);
    case ZWellKnownType_bool: return *at != 0;
    case ZWellKnownType_int8: return load<int8_t>(at);
    case ZWellKnownType_int16: return load<int16_t>(at);
    case ZWellKnownType_int32: return load<int32_t>(at);
    case ZWellKnownType_int64: return static_cast<double>(load<int64_t>(at));
    case ZWellKnownType_unsignedInt8: return load<uint8_t>(at);
    case ZWellKnownType_unsignedInt16: return load<uint16_t>(at);
    case ZWellKnownType_unsignedInt32: return load<uint32_t>(at);
    default: return static_cast<double>(load<uint64_t>(at));
    }
}

PyObject* decodeText(const char* text, size_t size)
{
    return PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(size), "surrogateescape");
}

// Durations and time points are read in their text form.
ZVariantData* asText(const Variant* v)
{
    Record record;
    ZVariantData* text =
        ZVariantData_C_API_convertDataTo(&record, v->handle, ZWellKnownType_string, ZConversionMode_CastOrParse);
    if (record.ok() && text == nullptr) {
        PyErr_Format(PyExc_TypeError, "elements of type '%s' have no text form", typeWord(v->type));
    }
    return text;
}

PyObject* readText(ZVariantData* handle, Py_ssize_t at)
{
    Record record;
    size_t size = 0;
    const char* text = ZVariantData_C_API_textElementAt(&record, handle, static_cast<size_t>(at), &size);
    return record.ok() ? decodeText(text, size) : nullptr;
}

}  // namespace

PyObject* readElement(Variant* v, Py_ssize_t at)
{
    const char* p = v->data + at * v->itemsize;
    switch (v->type) {
    case ZWellKnownType_double: return PyFloat_FromDouble(load<double>(p));
    case ZWellKnownType_float: return PyFloat_FromDouble(load<float>(p));
    case ZWellKnownType_bool: return PyBool_FromLong(*p != 0);
    case ZWellKnownType_int8: return PyLong_FromLong(load<int8_t>(p));
    case ZWellKnownType_int16: return PyLong_FromLong(load<int16_t>(p));
    case ZWellKnownType_int32: return PyLong_FromLong(load<int32_t>(p));
    case ZWellKnownType_int64: return PyLong_FromLongLong(load<int64_t>(p));
    case ZWellKnownType_unsignedInt8: return PyLong_FromLong(load<uint8_t>(p));
    case ZWellKnownType_unsignedInt16: return PyLong_FromLong(load<uint16_t>(p));
    case ZWellKnownType_unsignedInt32: return PyLong_FromUnsignedLong(load<uint32_t>(p));
    case ZWellKnownType_unsignedInt64: return PyLong_FromUnsignedLongLong(load<uint64_t>(p));
    case ZWellKnownType_complexDouble: return PyComplex_FromDoubles(load<double>(p), load<double>(p + 8));
    case ZWellKnownType_complexFloat: return PyComplex_FromDoubles(load<float>(p), load<float>(p + 4));
    case ZWellKnownType_string: return readText(v->handle, at);
    case ZWellKnownType_duration:
    case ZWellKnownType_timePoint:
        if (v->textForm == nullptr) {
            v->textForm = asText(v);  // once: the elements never change
        }
        return v->textForm == nullptr ? nullptr : readText(v->textForm, at);
    default:
        if (v->itemsize > 0) {  // the integer and boolean complex types
            const auto part = static_cast<ZWellKnownType>(v->type & 0x7FFF);
            return PyComplex_FromDoubles(partAsDouble(part, p), partAsDouble(part, p + v->itemsize / 2));
        }
        return PyErr_Format(PyExc_TypeError, "elements of type '%s' cannot be read from Python",
                            v->type == 0 ? "unknown" : typeWord(v->type) ? typeWord(v->type) : "customType");
    }
}

namespace {

PyObject* nestedList(Variant* v, int d, Py_ssize_t at)
{
    if (d == v->ndim) {
        return readElement(v, at);
    }
    PyObject* list = PyList_New(v->shape[d]);
    for (Py_ssize_t i = 0; list != nullptr && i < v->shape[d]; ++i) {
        PyObject* item = nestedList(v, d + 1, at + i * v->steps[d]);
        if (item == nullptr) {
            Py_CLEAR(list);
            break;
        }
        PyList_SET_ITEM(list, i, item);
    }
    return list;
}

}  // namespace

PyObject* toList(Variant* v)
{
    if (v->type == 0) {
        Py_RETURN_NONE;
    }
    return nestedList(v, 0, 0);
}

// ---- From Python -------------------------------------------------------------------

namespace {

// The kinds of Python element, in the order in which they promote.
enum Kind { kNone, kBool, kInteger, kFloat, kComplex, kText };

bool isNumpyBool(PyObject* o) { return std::strcmp(Py_TYPE(o)->tp_name, "numpy.bool_") == 0; }

Kind kindOf(PyObject* o)
{
    if (PyBool_Check(o) || isNumpyBool(o)) {
        return kBool;
    }
    if (PyLong_Check(o)) {
        return kInteger;
    }
    if (PyFloat_Check(o)) {
        return kFloat;
    }
    if (PyComplex_Check(o)) {
        return kComplex;
    }
    if (PyUnicode_Check(o) || isString(o)) {
        return kText;
    }
    // NumPy's scalars, and arrays of no dimensions, by their buffer's type;
    // anything else with a buffer is a nested array, named by the caller.
    Py_buffer view;
    if (isVariant(o) || !PyObject_CheckBuffer(o) || PyObject_GetBuffer(o, &view, PyBUF_RECORDS_RO) < 0) {
        PyErr_Clear();
        return kNone;
    }
    const ZWellKnownType type = view.ndim == 0 ? typeOfBufferFormat(view.format, view.itemsize) : 0;
    PyBuffer_Release(&view);
    if (type == 0) {
        return kNone;
    }
    return type == ZWellKnownType_bool ? kBool : type & 0x8000 ? kComplex : (type & 0x000F) <= 2 ? kFloat : kInteger;
}

// The UTF-8 of a str; text with lone surrogates (from bytes decoded with
// surrogateescape) goes back to its bytes, kept alive in `held`.
const char* utf8Of(PyObject* text, Py_ssize_t* size, std::vector<PyObject*>& held)
{
    const char* bytes = PyUnicode_AsUTF8AndSize(text, size);
    if (bytes != nullptr) {
        return bytes;
    }
    PyErr_Clear();
    PyObject* encoded = PyUnicode_AsEncodedString(text, "utf-8", "surrogateescape");
    if (encoded == nullptr) {
        return nullptr;
    }
    held.push_back(encoded);
    *size = PyBytes_GET_SIZE(encoded);
    return PyBytes_AS_STRING(encoded);
}

// The shape of nested lists and tuples, and their leaves in row-major order.
struct Nested {
    Py_ssize_t shape[kMaxDims];
    size_t dims[kMaxDims];
    int ndim = 0;
    std::vector<PyObject*> leaves;  // borrowed from the lists
};

bool isSequence(PyObject* o) { return PyList_Check(o) || PyTuple_Check(o); }

bool collect(PyObject* node, int depth, Nested& nested)
{
    if (depth == nested.ndim) {
        if (isSequence(node)) {
            PyErr_Format(PyExc_ValueError,
                         "ragged nested sequences: a sequence of length %zd stands where depth %d holds elements",
                         PySequence_Fast_GET_SIZE(node), depth);
            return false;
        }
        nested.leaves.push_back(node);
        return true;
    }
    if (!isSequence(node) || PySequence_Fast_GET_SIZE(node) != nested.shape[depth]) {
        PyErr_Format(PyExc_ValueError,
                     "ragged nested sequences: at depth %d the first sequence has %zd elements, another %s", depth,
                     nested.shape[depth], isSequence(node) ? "a different number" : "is no sequence");
        return false;
    }
    PyObject** items = PySequence_Fast_ITEMS(node);
    for (Py_ssize_t i = 0; i < nested.shape[depth]; ++i) {
        if (!collect(items[i], depth + 1, nested)) {
            return false;
        }
    }
    return true;
}

ZVariantData* fillText(const Nested& nested)
{
    const size_t count = nested.leaves.size();
    std::vector<const char*> texts(count);
    std::vector<size_t> sizes(count);
    std::vector<PyObject*> held;  // texts of lumcore.String leaves, and encoded bytes
    ZVariantData* handle = nullptr;
    bool ok = true;
    for (size_t i = 0; ok && i < count; ++i) {
        PyObject* leaf = nested.leaves[i];
        if (!PyUnicode_Check(leaf)) {
            leaf = textOfString(leaf);
            ok = leaf != nullptr;
            if (ok) {
                held.push_back(leaf);
            }
        }
        Py_ssize_t size = 0;
        texts[i] = ok ? utf8Of(leaf, &size, held) : nullptr;
        sizes[i] = static_cast<size_t>(size);
        ok = texts[i] != nullptr;
    }
    if (ok) {
        Record record;
        handle = ZVariantData_C_API_constructTextArray(&record, texts.data(), sizes.data(), count,
                                                       ZArrayDimensions{nested.dims, size_t(nested.ndim)},
                                                       ZDataOrdering_RowMajor);
        (void)record.ok();
    }
    for (PyObject* o : held) {
        Py_DECREF(o);
    }
    return handle;
}

template <class T, class Read>
bool fillEach(void* elements, const std::vector<PyObject*>& leaves, Read read)
{
    T* out = static_cast<T*>(elements);
    for (PyObject* leaf : leaves) {
        *out++ = read(leaf);
        if (PyErr_Occurred()) {
            return false;
        }
    }
    return true;
}

// The integer type of a list's integers: int64, or unsignedInt64 when one
// needs it and none is negative.
ZWellKnownType integerType(const std::vector<PyObject*>& leaves)
{
    bool negative = false, large = false;
    for (PyObject* leaf : leaves) {
        if (!PyLong_Check(leaf)) {
            continue;
        }
        int overflow = 0;
        const long long value = PyLong_AsLongLongAndOverflow(leaf, &overflow);
        negative |= (overflow == 0 && value < 0) || overflow < 0;
        large |= overflow > 0;
        if (overflow < 0 || (overflow > 0 && (PyLong_AsUnsignedLongLong(leaf), PyErr_Occurred()))) {
            PyErr_Clear();
            PyErr_Format(PyExc_OverflowError, "the integer %R is beyond 64 bits and has no element type", leaf);
            return 0;
        }
    }
    if (large && negative) {
        PyErr_SetString(PyExc_OverflowError,
                        "the integers mix negative values with values beyond int64: no element type holds both");
        return 0;
    }
    return large ? ZWellKnownType_unsignedInt64 : ZWellKnownType_int64;
}

ZVariantData* fillNumbers(const Nested& nested, Kind kind)
{
    const ZWellKnownType type = kind == kBool      ? ZWellKnownType(ZWellKnownType_bool)
                                : kind == kFloat   ? ZWellKnownType(ZWellKnownType_double)
                                : kind == kComplex ? ZWellKnownType(ZWellKnownType_complexDouble)
                                                   : integerType(nested.leaves);
    if (type == 0) {
        return nullptr;
    }
    Record record;
    ZVariantData* handle = ZVariantData_C_API_createWithAllocatedArray(
        &record, type, ZArrayDimensions{nested.dims, size_t(nested.ndim)}, ZDataOrdering_RowMajor);
    void* elements = nullptr;
    if (record.ok()) {
        handle = ZVariantData_C_API_mutableStoredData(&record, handle, &elements);
    }
    if (!record.ok()) {
        return nullptr;
    }
    const std::vector<PyObject*>& leaves = nested.leaves;
    bool filled = false;
    switch (type) {
    case ZWellKnownType_bool:
        filled = fillEach<uint8_t>(elements, leaves, [](PyObject* o) { return uint8_t(PyObject_IsTrue(o) == 1); });
        break;
    case ZWellKnownType_double:
        filled = fillEach<double>(elements, leaves, [](PyObject* o) {
            return PyFloat_CheckExact(o) ? PyFloat_AS_DOUBLE(o) : PyFloat_AsDouble(o);
        });
        break;
    case ZWellKnownType_complexDouble:
        filled = fillEach<Py_complex>(elements, leaves, [](PyObject* o) { return PyComplex_AsCComplex(o); });
        break;
    case ZWellKnownType_int64:
        filled = fillEach<int64_t>(elements, leaves, [](PyObject* o) { return PyLong_AsLongLong(o); });
        break;
    default:
        filled = fillEach<uint64_t>(elements, leaves, [](PyObject* o) -> uint64_t {
            if (PyLong_Check(o) || isNumpyBool(o)) {
                return PyLong_Check(o) ? uint64_t(PyLong_AsUnsignedLongLong(o)) : uint64_t(PyObject_IsTrue(o) == 1);
            }
            PyObject* number = PyNumber_Index(o);  // NumPy's integer scalars
            const uint64_t value = number == nullptr ? 0 : uint64_t(PyLong_AsUnsignedLongLong(number));
            Py_XDECREF(number);
            return value;
        });
    }
    if (!filled) {
        ZVariantData_C_API_destruct(&record, handle);
        return nullptr;
    }
    return handle;
}

ZVariantData* fromNested(PyObject* value)
{
    Nested nested;
    for (PyObject* node = value; isSequence(node);) {
        if (nested.ndim == kMaxDims) {
            PyErr_Format(PyExc_ValueError, "nested sequences deeper than %d dimensions", kMaxDims);
            return nullptr;
        }
        const Py_ssize_t length = PySequence_Fast_GET_SIZE(node);
        nested.shape[nested.ndim] = length;
        nested.dims[nested.ndim++] = static_cast<size_t>(length);
        if (length == 0) {
            break;
        }
        node = PySequence_Fast_ITEMS(node)[0];
    }
    if (!collect(value, 0, nested)) {
        return nullptr;
    }
    Kind kind = nested.leaves.empty() ? kFloat : kBool;
    bool text = false;
    for (size_t i = 0; i < nested.leaves.size(); ++i) {
        const Kind leaf = kindOf(nested.leaves[i]);
        if (leaf == kNone) {
            PyObject* o = nested.leaves[i];
            PyErr_Format(PyExc_TypeError,
                         isVariant(o) || PyObject_CheckBuffer(o)
                             ? "element %zu of the nested lists is an array (%.100s): nested arrays make no Variant; "
                               "give their elements as lists (v.tolist()) or stack them first"
                             : "element %zu of the nested lists is a %.100s, which has no element type",
                         i, Py_TYPE(o)->tp_name);
            return nullptr;
        }
        if ((leaf == kText) != text && i > 0) {
            PyErr_SetString(PyExc_TypeError, "text and numbers do not mix in one Variant");
            return nullptr;
        }
        text = leaf == kText;
        kind = leaf > kind ? leaf : kind;
    }
    return text ? fillText(nested) : fillNumbers(nested, kind);
}

ZVariantData* scalarOf(PyObject* value)
{
    Record record;
    ZVariantData* handle = nullptr;
    if (PyBool_Check(value)) {
        const bool flag = value == Py_True;
        handle = ZVariantData_C_API_constructScalar(&record, &flag, ZWellKnownType_bool);
    } else if (PyFloat_Check(value)) {
        const double number = PyFloat_AS_DOUBLE(value);
        handle = ZVariantData_C_API_constructScalar(&record, &number, ZWellKnownType_double);
    } else if (PyComplex_Check(value)) {
        const Py_complex number = PyComplex_AsCComplex(value);
        handle = ZVariantData_C_API_constructScalar(&record, &number, ZWellKnownType_complexDouble);
    } else if (PyLong_Check(value)) {
        std::vector<PyObject*> one{value};
        const ZWellKnownType type = integerType(one);
        if (type == 0) {
            return nullptr;
        }
        const uint64_t bits = type == ZWellKnownType_int64 ? uint64_t(PyLong_AsLongLong(value))
                                                           : PyLong_AsUnsignedLongLong(value);
        handle = ZVariantData_C_API_constructScalar(&record, &bits, type);
    } else {
        PyObject* text = PyUnicode_Check(value) ? Py_NewRef(value) : textOfString(value);
        std::vector<PyObject*> held;
        Py_ssize_t size = 0;
        const char* bytes = text == nullptr ? nullptr : utf8Of(text, &size, held);
        if (bytes != nullptr) {
            handle = ZVariantData_C_API_constructText(&record, bytes, static_cast<size_t>(size));
        }
        Py_XDECREF(text);
        for (PyObject* o : held) {
            Py_DECREF(o);
        }
        if (bytes == nullptr) {
            return nullptr;
        }
    }
    return record.ok() ? handle : nullptr;
}

}  // namespace

ZVariantData* buildHandle(PyObject* value)
{
    if (isVariant(value)) {
        Record record;
        ZVariantData* share = ZVariantData_C_API_copy(&record, reinterpret_cast<Variant*>(value)->handle);
        return record.ok() ? share : nullptr;
    }
    if (value == Py_None) {
        return ZVariantData_C_API_constructNull();
    }
    if (PyBool_Check(value) || PyLong_Check(value) || PyFloat_Check(value) || PyComplex_Check(value) ||
        PyUnicode_Check(value) || isString(value)) {
        return scalarOf(value);
    }
    if (isSequence(value)) {
        return fromNested(value);
    }
    // (A masked array has a buffer too, which knows nothing of the mask.)
    if (PyObject_CheckBuffer(value) && !PyObject_HasAttrString(value, "mask")) {
        Py_buffer view;
        if (PyObject_GetBuffer(value, &view, PyBUF_RECORDS_RO) == 0) {
            if (typeOfBufferFormat(view.format, view.itemsize) != 0) {
                ZVariantData* handle = copyOfBuffer(&view);
                PyBuffer_Release(&view);
                return handle;
            }
            PyBuffer_Release(&view);
        }
        PyErr_Clear();
    }
    PyObject* prepared = callInputHook(value);
    if (prepared == nullptr) {
        return nullptr;
    }
    ZVariantData* handle = prepared == value ? nullptr : buildHandle(prepared);
    if (prepared == value) {
        PyErr_Format(PyExc_TypeError, "%.100s has no LumCore element type", Py_TYPE(value)->tp_name);
    }
    Py_DECREF(prepared);
    return handle;
}

}  // namespace lumpy
