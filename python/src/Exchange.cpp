// Elements in and out with no copy: DLPack capsules both ways, and a
// Variant over the memory of any buffer exporter (what pickle hands back).
#include <cstring>
#include <new>

#include "Extension.hpp"

namespace lumpy {

namespace {

constexpr const char* kPlain = "dltensor";
constexpr const char* kVersioned = "dltensor_versioned";

// A capsule that no consumer took still owns its tensor.
void dropUntakenTensor(PyObject* capsule)
{
    PyObject *type, *value, *trace;
    PyErr_Fetch(&type, &value, &trace);
    if (PyCapsule_IsValid(capsule, kVersioned)) {
        auto* tensor = static_cast<ZDLManagedTensorVersioned*>(PyCapsule_GetPointer(capsule, kVersioned));
        if (tensor->deleter != nullptr) {
            tensor->deleter(tensor);
        }
    } else if (PyCapsule_IsValid(capsule, kPlain)) {
        auto* tensor = static_cast<ZDLManagedTensor*>(PyCapsule_GetPointer(capsule, kPlain));
        if (tensor->deleter != nullptr) {
            tensor->deleter(tensor);
        }
    }
    PyErr_Restore(type, value, trace);
}

ZDLDataType dlpackTypeOf(ZWellKnownType code)
{
    const Py_ssize_t bits = itemSizeOf(code) * 8;
    const unsigned kind = code & 0x000F;
    const uint8_t dlCode = code == ZWellKnownType_bool ? ZDLDataTypeCode_Bool
                           : code & 0x8000          ? ZDLDataTypeCode_Complex
                           : kind <= 2              ? ZDLDataTypeCode_Float
                           : code & 0x4000          ? ZDLDataTypeCode_UInt
                                                    : ZDLDataTypeCode_Int;
    return ZDLDataType{dlCode, uint8_t(bits), 1};
}

// A tensor whose memory some other owner keeps alive until the deleter runs.
struct HeldTensor {
    ZDLManagedTensor managed;
    int64_t shape[kMaxDims];
    int64_t strides[kMaxDims];
    Py_buffer view;                  // a buffer exporter's, or
    ZDLManagedTensor* inner;         // a tensor of the library's
};

void releaseHeld(ZDLManagedTensor* tensor)
{
    auto* held = static_cast<HeldTensor*>(tensor->manager_ctx);
    if (held->inner != nullptr) {
        held->inner->deleter(held->inner);
    } else if (Py_IsInitialized()) {
        // The library calls this on whichever thread lets go last.
        const PyGILState_STATE state = PyGILState_Ensure();
        PyBuffer_Release(&held->view);
        PyGILState_Release(state);
    }
    delete held;
}

// Fills the tensor's shape and, column-major, its strides.
void describe(HeldTensor* held, void* data, ZWellKnownType type, const Py_ssize_t* shape, int ndim,
              ZDataOrdering ordering)
{
    ZDLTensor& t = held->managed.dl_tensor;
    t.data = data;
    t.device = ZDLDevice{ZDLDeviceType_CPU, 0};
    t.ndim = ndim;
    t.dtype = dlpackTypeOf(type);
    t.byte_offset = 0;
    int64_t step = 1;
    for (int k = 0; k < ndim; ++k) {
        const int d = ordering == ZDataOrdering_ColumnMajor ? k : ndim - 1 - k;
        held->shape[d] = shape[d];
        held->strides[d] = step;
        step *= shape[d] > 0 ? shape[d] : 1;
    }
    t.shape = held->shape;
    t.strides = ordering == ZDataOrdering_ColumnMajor ? held->strides : nullptr;
    held->managed.manager_ctx = held;
    held->managed.deleter = releaseHeld;
}

ZVariantData* importHeld(HeldTensor* held)
{
    Record record;
    ZVariantData* handle = ZVariantData_C_API_importDLManagedTensor(&record, &held->managed);
    if (record.r.typeName != nullptr) {
        releaseHeld(&held->managed);  // a failed import leaves the tensor ours
    }
    return record.ok() ? handle : nullptr;
}

}  // namespace

PyObject* dlpackCapsule(Variant* v, bool versioned)
{
    Record record;
    void* tensor = versioned ? static_cast<void*>(ZVariantData_C_API_exportDLManagedTensorVersioned(&record, v->handle))
                             : static_cast<void*>(ZVariantData_C_API_exportDLManagedTensor(&record, v->handle));
    if (!record.ok()) {
        return nullptr;
    }
    PyObject* capsule = PyCapsule_New(tensor, versioned ? kVersioned : kPlain, dropUntakenTensor);
    if (capsule == nullptr) {
        if (versioned) {
            static_cast<ZDLManagedTensorVersioned*>(tensor)->deleter(static_cast<ZDLManagedTensorVersioned*>(tensor));
        } else {
            static_cast<ZDLManagedTensor*>(tensor)->deleter(static_cast<ZDLManagedTensor*>(tensor));
        }
    }
    return capsule;
}

ZVariantData* importCapsule(PyObject* capsule)
{
    Record record;
    ZVariantData* handle = nullptr;
    if (PyCapsule_IsValid(capsule, kVersioned)) {
        handle = ZVariantData_C_API_importDLManagedTensorVersioned(
            &record, static_cast<ZDLManagedTensorVersioned*>(PyCapsule_GetPointer(capsule, kVersioned)));
        if (record.r.typeName == nullptr) {
            PyCapsule_SetName(capsule, "used_dltensor_versioned");
        }
    } else if (PyCapsule_IsValid(capsule, kPlain)) {
        handle = ZVariantData_C_API_importDLManagedTensor(
            &record, static_cast<ZDLManagedTensor*>(PyCapsule_GetPointer(capsule, kPlain)));
        if (record.r.typeName == nullptr) {
            PyCapsule_SetName(capsule, "used_dltensor");
        }
    } else {
        PyErr_SetString(PyExc_TypeError, "not a DLPack capsule, or one a consumer has taken already");
        return nullptr;
    }
    return record.ok() ? handle : nullptr;
}

PyObject* reshapedView(Variant* v, const Py_ssize_t* shape, int ndim, ZDataOrdering ordering)
{
    Record record;
    ZDLManagedTensor* inner = ZVariantData_C_API_exportDLManagedTensor(&record, v->handle);
    if (!record.ok()) {
        return nullptr;
    }
    auto* held = new (std::nothrow) HeldTensor{};
    if (held == nullptr) {
        inner->deleter(inner);
        return PyErr_NoMemory();
    }
    held->inner = inner;
    describe(held, inner->dl_tensor.data, v->type, shape, ndim, ordering);
    return wrap(importHeld(held));
}

ZVariantData* handleOverBuffer(PyObject* exporter, ZWellKnownType type, const Py_ssize_t* shape, int ndim,
                               ZDataOrdering ordering, bool scalar)
{
    auto* held = new (std::nothrow) HeldTensor{};
    if (held == nullptr) {
        return PyErr_NoMemory(), nullptr;
    }
    if (PyObject_GetBuffer(exporter, &held->view, PyBUF_SIMPLE) < 0) {
        delete held;
        return nullptr;
    }
    Py_ssize_t count = 1;
    for (int d = 0; d < ndim; ++d) {
        count = shape[d] != 0 && count > PY_SSIZE_T_MAX / shape[d] ? -1 : count * shape[d];
    }
    const Py_ssize_t itemsize = itemSizeOf(type);
    if (count < 0 || count > PY_SSIZE_T_MAX / itemsize || count * itemsize != held->view.len || (scalar && ndim)) {
        PyBuffer_Release(&held->view);
        delete held;
        PyErr_SetString(PyExc_ValueError, "the buffer does not hold the elements of that shape and type");
        return nullptr;
    }
    const auto part = reinterpret_cast<uintptr_t>(held->view.buf) % (type & 0x8000 ? itemsize / 2 : itemsize);
    if (scalar || part != 0) {
        // One element, or memory the library would misread: a copy.
        size_t dims[kMaxDims];
        for (int d = 0; d < ndim; ++d) {
            dims[d] = size_t(shape[d]);
        }
        Record record;
        ZVariantData* handle =
            scalar ? ZVariantData_C_API_constructScalar(&record, held->view.buf, type)
                   : ZVariantData_C_API_constructArray(&record, held->view.buf, type, size_t(count),
                                                       ZArrayDimensions{dims, size_t(ndim)}, ordering);
        PyBuffer_Release(&held->view);
        delete held;
        return record.ok() ? handle : nullptr;
    }
    describe(held, held->view.buf, type, shape, ndim, ordering);
    return importHeld(held);
}

ZVariantData* copyOfBuffer(Py_buffer* view)
{
    const ZWellKnownType type = typeOfBufferFormat(view->format, view->itemsize);
    Record record;
    if (view->ndim == 0) {
        ZVariantData* handle = ZVariantData_C_API_constructScalar(&record, view->buf, type);
        return record.ok() ? handle : nullptr;
    }
    if (view->ndim > kMaxDims) {
        PyErr_Format(PyExc_ValueError, "more than %d dimensions", kMaxDims);
        return nullptr;
    }
    size_t dims[kMaxDims];
    for (int d = 0; d < view->ndim; ++d) {
        dims[d] = size_t(view->shape ? view->shape[d] : view->len / view->itemsize);
    }
    const bool columns = view->ndim > 1 && !PyBuffer_IsContiguous(view, 'C') && PyBuffer_IsContiguous(view, 'F');
    const ZDataOrdering ordering = columns ? ZDataOrdering_ColumnMajor : ZDataOrdering_RowMajor;
    ZVariantData* handle = ZVariantData_C_API_createWithAllocatedArray(
        &record, type, ZArrayDimensions{dims, size_t(view->ndim)}, ordering);
    void* elements = nullptr;
    if (record.ok()) {
        handle = ZVariantData_C_API_mutableStoredData(&record, handle, &elements);
    }
    if (!record.ok()) {
        return nullptr;
    }
    if (view->len > 0 && PyBuffer_ToContiguous(elements, view, view->len, columns ? 'F' : 'C') < 0) {
        ZVariantData_C_API_destruct(&record, handle);
        return nullptr;
    }
    return handle;
}

}  // namespace lumpy
