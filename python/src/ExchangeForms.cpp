// dumps and loads: variants and trees as the library's CBOR and JSON.
#include <cstring>

#include "Extension.hpp"

namespace lumpy {

namespace {

// "cbor" or "json" (true), or a ValueError.
int isJson(const char* format)
{
    if (std::strcmp(format, "json") == 0 || std::strcmp(format, "cbor") == 0) {
        return format[0] == 'j';
    }
    PyErr_Format(PyExc_ValueError, "format is 'cbor' or 'json', not '%s'", format);
    return -1;
}

PyObject* jsonText(const FPropertyNodeData* node)
{
    Record record;
    ZStringData* text = FPropertyNodeData_C_API_encodeJson(&record, node);
    return record.ok() ? adoptText(text, "surrogateescape") : nullptr;
}

}  // namespace

PyObject* dumps(PyObject*, PyObject* args, PyObject* keywords)
{
    static const char* names[] = {"obj", "format", nullptr};
    PyObject* value;
    const char* format = "cbor";
    if (!PyArg_ParseTupleAndKeywords(args, keywords, "O|s:dumps", const_cast<char**>(names), &value, &format)) {
        return nullptr;
    }
    const int json = isJson(format);
    if (json < 0) {
        return nullptr;
    }
    // A tree is written as it is; anything else becomes one first (a Variant
    // by a share of its handle).
    FPropertyNodeData* made = isTree(value) ? nullptr : treeFrom(value);
    if (made == nullptr && !isTree(value)) {
        return nullptr;
    }
    const FPropertyNodeData* node = made != nullptr ? made : reinterpret_cast<Tree*>(value)->node;
    PyObject* result = json ? jsonText(node) : cborBytes(node);
    releaseNode(made);
    return result;
}

PyObject* loads(PyObject*, PyObject* args, PyObject* keywords)
{
    static const char* names[] = {"data", "format", nullptr};
    PyObject* data;
    const char* format = nullptr;
    if (!PyArg_ParseTupleAndKeywords(args, keywords, "O|z:loads", const_cast<char**>(names), &data, &format)) {
        return nullptr;
    }
    // str is JSON; bytes are CBOR unless told otherwise.
    const int json = format != nullptr ? isJson(format) : PyUnicode_Check(data);
    if (json < 0) {
        return nullptr;
    }
    Py_buffer view{};
    const char* bytes = nullptr;
    Py_ssize_t size = 0;
    if (PyUnicode_Check(data)) {
        if (!json) {
            return PyErr_Format(PyExc_TypeError, "CBOR is read from bytes, not str");
        }
        bytes = PyUnicode_AsUTF8AndSize(data, &size);
    } else if (PyObject_GetBuffer(data, &view, PyBUF_SIMPLE) == 0) {
        bytes = static_cast<const char*>(view.buf);
        size = view.len;
    }
    if (bytes == nullptr) {
        return nullptr;
    }
    Record record;
    FPropertyNodeData* tree;
    // Decoding reads only the bytes held here, so other threads may run.
    Py_BEGIN_ALLOW_THREADS
    tree = json ? FPropertyNodeData_C_API_decodeJson(&record, bytes, size_t(size))
                : FPropertyNodeData_C_API_decodeCbor(&record, bytes, size_t(size));
    Py_END_ALLOW_THREADS
    if (view.obj != nullptr) {
        PyBuffer_Release(&view);
    }
    return record.ok() ? adoptTree(tree) : nullptr;
}

}  // namespace lumpy
