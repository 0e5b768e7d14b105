// Python's indexing over a Variant, giving what NumPy gives: integers
// (negative ones count from the end), slices with steps, `...`, tuples of
// these, and fewer indices than dimensions. Integers alone read one
// element; anything else copies a slice through the library.
#include "Extension.hpp"

namespace lumpy {

namespace {

PyObject* tooManyIndices(const Variant* v, Py_ssize_t given)
{
    return PyErr_Format(PyExc_IndexError, "too many indices for array: array is %d-dimensional, but %zd were indexed",
                        v->ndim, given);
}

// An integer index within an extent, counting negatives from the end;
// -1 with an exception.
Py_ssize_t position(PyObject* key, Py_ssize_t extent, int axis)
{
    const Py_ssize_t i = PyNumber_AsSsize_t(key, PyExc_IndexError);
    if (i == -1 && PyErr_Occurred()) {
        return -1;
    }
    if (i < -extent || i >= extent) {
        PyErr_Format(PyExc_IndexError, "index %zd is out of bounds for axis %d with size %zd", i, axis, extent);
        return -1;
    }
    return i < 0 ? i + extent : i;
}

bool isInteger(PyObject* key) { return PyLong_Check(key) ? !PyBool_Check(key) : PyIndex_Check(key); }

PyObject* invalidIndex(PyObject* key)
{
    return PyErr_Format(PyExc_TypeError,
                        "only integers, slices (`:`) and ellipsis (`...`) are valid indices, not %.100s",
                        Py_TYPE(key)->tp_name);
}

}  // namespace

PyObject* subscript(PyObject* self, PyObject* key)
{
    auto* v = reinterpret_cast<Variant*>(self);
    // The common cases first: v[i] of a vector and v[i, j, ...] of every axis.
    if (PyLong_CheckExact(key) && v->ndim == 1) {
        const Py_ssize_t i = position(key, v->shape[0], 0);
        return i < 0 ? nullptr : readElement(v, i * v->steps[0]);
    }
    PyObject* items[kMaxDims + 1];
    Py_ssize_t given = 1;
    if (PyTuple_Check(key)) {
        given = PyTuple_GET_SIZE(key);
        if (given > kMaxDims) {
            return tooManyIndices(v, given);
        }
        for (Py_ssize_t k = 0; k < given; ++k) {
            items[k] = PyTuple_GET_ITEM(key, k);
        }
    } else {
        items[0] = key;
    }
    if (v->type == 0) {
        return PyErr_Format(PyExc_IndexError, "the null Variant has no elements");
    }
    // Which axis each item addresses, with `...` standing for the axes that
    // the other items leave.
    Py_ssize_t addressed = 0, ellipses = 0;
    for (Py_ssize_t k = 0; k < given; ++k) {
        if (items[k] == Py_Ellipsis) {
            ++ellipses;
        } else if (isInteger(items[k]) || PySlice_Check(items[k])) {
            ++addressed;
        } else {
            return invalidIndex(items[k]);
        }
    }
    if (ellipses > 1) {
        PyErr_SetString(PyExc_IndexError, "an index can only have a single ellipsis ('...')");
        return nullptr;
    }
    if (addressed > v->ndim) {
        return tooManyIndices(v, addressed);
    }
    ZSliceRange ranges[kMaxDims];
    size_t kept[kMaxDims];
    int keptCount = 0, axis = 0;
    bool whole = true;
    Py_ssize_t index[kMaxDims];
    for (Py_ssize_t k = 0; k <= given; ++k) {
        const bool end = k == given;
        if (end || items[k] == Py_Ellipsis) {
            const int until = end ? v->ndim : axis + static_cast<int>(v->ndim - addressed);
            for (; axis < until; ++axis) {
                ranges[axis] = ZSliceRange{0, uint64_t(v->shape[axis]), 1};
                kept[keptCount++] = size_t(v->shape[axis]);
            }
            continue;
        }
        const Py_ssize_t extent = v->shape[axis];
        if (PySlice_Check(items[k])) {
            Py_ssize_t start, stop, step;
            if (PySlice_Unpack(items[k], &start, &stop, &step) < 0) {
                return nullptr;
            }
            const Py_ssize_t count = PySlice_AdjustIndices(extent, &start, &stop, step);
            ranges[axis] = ZSliceRange{uint64_t(count > 0 ? start : 0), uint64_t(count), step};
            whole &= count == extent && (step == 1 || count <= 1) && start == 0;
            kept[keptCount++] = size_t(count);
        } else {
            const Py_ssize_t i = position(items[k], extent, axis);
            if (i < 0) {
                return nullptr;
            }
            index[axis] = i;
            ranges[axis] = ZSliceRange{uint64_t(i), 1, 1};
            whole = false;
        }
        ++axis;
    }
    if (keptCount == 0 && v->ndim == 0) {  // a scalar: v[()] is its element, v[...] itself
        return ellipses ? Py_NewRef(self) : readElement(v, 0);
    }
    if (keptCount == 0) {  // an integer for every axis: one element
        return readElement(v, storageOffset(v, index));
    }
    if (whole) {
        return Py_NewRef(self);  // values never change, so the whole is itself
    }
    Record record;
    ZVariantData* part = ZVariantData_C_API_copySlice(&record, v->handle, ranges, size_t(v->ndim));
    if (record.ok() && keptCount != v->ndim) {
        ZVariantData_C_API_reshapeNoRealloc(&record, part, ZArrayDimensions{kept, size_t(keptCount)});
        if (record.r.typeName != nullptr) {
            Record release;
            ZVariantData_C_API_destruct(&release, part);
        }
    }
    return record.ok() ? wrap(part) : nullptr;
}

}  // namespace lumpy
