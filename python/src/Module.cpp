// The module: its exceptions, the element type words, the small String
// class, and the functions that rebuild values pickle wrote.
#include <cstring>
#include <iterator>
#include <dlfcn.h>
#include <strings.h>

#include "Extension.hpp"

namespace lumpy {

namespace {

struct TypeEntry {
    const char* word;
    ZWellKnownType code;
};
#define LUMPY_TYPE_ENTRY(word, enumerator, code, Class) TypeEntry{#word, code},
constexpr TypeEntry kTypes[] = {LUMCORE_TYPE_CODES(LUMPY_TYPE_ENTRY)};
#undef LUMPY_TYPE_ENTRY

// Bits of a code: the numeric kind, unsigned, complex.
constexpr unsigned kKindMask = 0x000F, kUnsigned = 0x4000, kComplex = 0x8000;
constexpr unsigned kKindDouble = 1, kKindFloat = 2, kKindBool = 3;

PyObject* g_errors[6];  // one per word of the record, in the list's order
PyObject* g_numpy;      // numpy, once imported; Py_None when there is none

PyObject* wordList()
{
    PyObject* words = PyUnicode_FromString("");
    for (const TypeEntry& entry : kTypes) {
        PyObject* joined = PyUnicode_FromFormat("%U%s%s", words, entry.word == kTypes[0].word ? "" : ", ", entry.word);
        Py_DECREF(words);
        if (joined == nullptr) {
            return nullptr;
        }
        words = joined;
    }
    return words;
}

int unknownType(PyObject* named)
{
    PyObject* words = wordList();
    if (words != nullptr) {
        PyErr_Format(PyExc_ValueError, "%R names no element type; the types are %U", named, words);
        Py_DECREF(words);
    }
    return -1;
}

int wordIndex(PyObject* named, const char* const* words, std::size_t count, const char* what, const char* plural,
              const char* list)
{
    const char* text = PyUnicode_Check(named) ? PyUnicode_AsUTF8(named) : nullptr;
    for (std::size_t i = 0; text != nullptr && i < count; ++i) {
        if (strcasecmp(text, words[i]) == 0) {
            return static_cast<int>(i);
        }
    }
    PyErr_Clear();
    PyErr_Format(PyExc_ValueError, "%R is not %s; the %s are %s", named, what, plural, list);
    return -1;
}

}  // namespace

const char* const kOrderingWords[2] = {"RowMajor", "ColumnMajor"};
const char* const kModeWords[3] = {"Lossless", "Cast", "CastOrParse"};

PyObject* raiseRecord(const ErrorRecord& record)
{
    std::size_t index = 0;
    const char* word;
    while ((word = ErrorRecord_C_API_wordAt(index)) != nullptr && std::strcmp(word, record.typeName) != 0) {
        ++index;
    }
    PyObject* type = g_errors[word == nullptr ? 5 : index];
    PyObject* failure = PyObject_CallFunction(type, "s", record.message);
    if (failure != nullptr) {
        PyObject* word = PyUnicode_FromString(record.typeName);
        PyObject* text = PyUnicode_FromString(record.message);
        if (word != nullptr && text != nullptr && PyObject_SetAttrString(failure, "word", word) == 0 &&
            PyObject_SetAttrString(failure, "text", text) == 0) {
            PyErr_SetObject(type, failure);
        }
        Py_XDECREF(word);
        Py_XDECREF(text);
        Py_DECREF(failure);
    }
    return nullptr;
}

const char* typeWord(ZWellKnownType code)
{
    for (const TypeEntry& entry : kTypes) {
        if (entry.code == code) {
            return entry.word;
        }
    }
    return nullptr;
}

Py_ssize_t itemSizeOf(ZWellKnownType code)
{
    static constexpr Py_ssize_t kPartSize[8] = {0, 8, 4, 1, 1, 2, 4, 8};
    if ((code & ~(kKindMask | kUnsigned | kComplex)) != 0 || code == 0) {
        return 0;
    }
    return kPartSize[code & kKindMask] * (code & kComplex ? 2 : 1);
}

const char* bufferFormatOf(ZWellKnownType code)
{
    static constexpr const char* kSigned[8] = {nullptr, "d", "f", nullptr, "b", "h", "i", "q"};
    static constexpr const char* kUnsignedLetters[8] = {nullptr, nullptr, nullptr, "?", "B", "H", "I", "Q"};
    const unsigned kind = code & kKindMask;
    if (itemSizeOf(code) == 0) {
        return nullptr;
    }
    if (code & kComplex) {
        return kind == kKindDouble ? "Zd" : kind == kKindFloat ? "Zf" : nullptr;
    }
    return (code & kUnsigned ? kUnsignedLetters : kSigned)[kind];
}

ZWellKnownType typeOfBufferFormat(const char* format, Py_ssize_t itemsize)
{
    if (format == nullptr) {
        return ZWellKnownType_unsignedInt8;
    }
    if (*format == '@' || *format == '=' || *format == '<') {
        ++format;
    }
    const bool complex = *format == 'Z';
    format += complex;
    if (format[0] == '\0' || format[1] != '\0') {
        return 0;
    }
    static constexpr unsigned kIntegerKind[9] = {0, 4, 5, 0, 6, 0, 0, 0, 7};  // by byte size
    unsigned kind = 0, unsignedBit = 0;
    switch (*format) {
    case '?':
        return itemsize == 1 ? ZWellKnownType_bool : 0;
    case 'f':
    case 'd':
        kind = itemsize == (complex ? 16 : 8) ? kKindDouble : itemsize == (complex ? 8 : 4) ? kKindFloat : 0;
        return kind ? static_cast<ZWellKnownType>(kind | (complex ? kComplex : 0)) : 0;
    case 'B':
    case 'H':
    case 'I':
    case 'L':
    case 'Q':
        unsignedBit = kUnsigned;
        [[fallthrough]];
    case 'b':
    case 'h':
    case 'i':
    case 'l':
    case 'q':
        kind = !complex && itemsize > 0 && itemsize <= 8 ? kIntegerKind[itemsize] : 0;
        return kind ? static_cast<ZWellKnownType>(kind | unsignedBit) : 0;
    default:
        return 0;
    }
}

PyObject* numpyOrNone()
{
    if (g_numpy == nullptr) {
        g_numpy = PyImport_ImportModule("numpy");
        if (g_numpy == nullptr) {
            PyErr_Clear();
            g_numpy = Py_NewRef(Py_None);
        }
    }
    return g_numpy;
}

int typeCodeOf(PyObject* named)
{
    if (PyUnicode_Check(named)) {
        const char* text = PyUnicode_AsUTF8(named);
        for (const TypeEntry& entry : kTypes) {
            if (text != nullptr && strcasecmp(text, entry.word) == 0) {
                return entry.code;
            }
        }
        PyErr_Clear();
    }
    // A NumPy dtype, or what numpy.dtype reads ("f8", numpy.int16, float).
    PyObject* numpy = numpyOrNone();
    if (numpy != Py_None) {
        PyObject* described = PyObject_CallMethod(numpy, "dtype", "O", named);
        if (described != nullptr) {
            PyObject* character = PyObject_GetAttrString(described, "char");
            PyObject* itemsize = PyObject_GetAttrString(described, "itemsize");
            ZWellKnownType code = 0;
            if (character != nullptr && itemsize != nullptr) {
                const char* letter = PyUnicode_AsUTF8(character);
                const char* format = letter == nullptr ? "" : *letter == 'F' ? "Zf" : *letter == 'D' ? "Zd" : letter;
                code = typeOfBufferFormat(format, PyLong_AsSsize_t(itemsize));
            }
            Py_XDECREF(character);
            Py_XDECREF(itemsize);
            Py_DECREF(described);
            if (code != 0) {
                return code;
            }
        }
        PyErr_Clear();
    }
    return unknownType(named);
}

int orderingOf(PyObject* named)
{
    static const char* const kWords[4] = {"RowMajor", "ColumnMajor", "C", "F"};
    const int found = wordIndex(named, kWords, 4, "an ordering", "orderings", "RowMajor and ColumnMajor");
    return found < 0 ? -1 : found % 2;
}

int modeOf(PyObject* named)
{
    return wordIndex(named, kModeWords, 3, "a conversion mode", "conversion modes", "Lossless, Cast and CastOrParse");
}

// ---- String -------------------------------------------------------------------

namespace {

struct String {
    PyObject_HEAD
    ZStringData* handle;
};

PyObject* stringText(String* s) { return textOf(s->handle, "surrogateescape"); }

PyObject* stringNew(PyTypeObject* type, PyObject* args, PyObject* kwargs)
{
    static const char* kKeywords[] = {"text", nullptr};
    PyObject* text = nullptr;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|O:String", const_cast<char**>(kKeywords), &text)) {
        return nullptr;
    }
    PyObject* bytes = text == nullptr ? PyBytes_FromString("")
                      : PyUnicode_Check(text) ? PyUnicode_AsEncodedString(text, "utf-8", "surrogateescape")
                      : PyBytes_Check(text)   ? Py_NewRef(text)
                                              : nullptr;
    if (bytes == nullptr) {
        if (!PyErr_Occurred()) {
            PyErr_Format(PyExc_TypeError, "a String is made from str or bytes, not %.100s", Py_TYPE(text)->tp_name);
        }
        return nullptr;
    }
    Record record;
    ZStringData* handle = ZStringData_C_API_constructCString(&record, PyBytes_AS_STRING(bytes),
                                                             static_cast<size_t>(PyBytes_GET_SIZE(bytes)));
    Py_DECREF(bytes);
    if (!record.ok()) {
        return nullptr;
    }
    auto* self = reinterpret_cast<String*>(type->tp_alloc(type, 0));
    if (self == nullptr) {
        ZStringData_C_API_destruct(&record, handle);
        return nullptr;
    }
    self->handle = handle;
    return reinterpret_cast<PyObject*>(self);
}

void stringDealloc(PyObject* self)
{
    Record record;
    ZStringData_C_API_destruct(&record, reinterpret_cast<String*>(self)->handle);
    Py_TYPE(self)->tp_free(self);
}

PyObject* stringStr(PyObject* self) { return stringText(reinterpret_cast<String*>(self)); }

PyObject* stringRepr(PyObject* self)
{
    PyObject* text = stringStr(self);
    PyObject* shown = text == nullptr ? nullptr : PyUnicode_FromFormat("lumcore.String(%R)", text);
    Py_XDECREF(text);
    return shown;
}

Py_ssize_t stringLength(PyObject* self)
{
    Record record;
    const size_t length = ZStringData_C_API_getLength(&record, reinterpret_cast<String*>(self)->handle);
    return record.ok() ? static_cast<Py_ssize_t>(length) : -1;
}

PyTypeObject StringType = {PyVarObject_HEAD_INIT(nullptr, 0)};

PyObject* stringCompare(PyObject* self, PyObject* other, int op)
{
    if ((op != Py_EQ && op != Py_NE) || !(PyUnicode_Check(other) || PyObject_TypeCheck(other, &StringType))) {
        Py_RETURN_NOTIMPLEMENTED;
    }
    PyObject* left = stringStr(self);
    PyObject* right = left == nullptr ? nullptr : PyObject_Str(other);
    PyObject* result = right == nullptr ? nullptr : PyObject_RichCompare(left, right, op);
    Py_XDECREF(left);
    Py_XDECREF(right);
    return result;
}

Py_hash_t stringHash(PyObject* self)
{
    PyObject* text = stringStr(self);
    const Py_hash_t hash = text == nullptr ? -1 : PyObject_Hash(text);
    Py_XDECREF(text);
    return hash;
}

PyObject* stringReduce(PyObject* self, PyObject*)
{
    PyObject* text = stringStr(self);
    return text == nullptr ? nullptr : Py_BuildValue("(O(N))", reinterpret_cast<PyObject*>(Py_TYPE(self)), text);
}

PyObject* returnSelf(PyObject* self, PyObject*) { return Py_NewRef(self); }

PyMethodDef kStringMethods[] = {
    {"__reduce__", stringReduce, METH_NOARGS, nullptr},
    {"__copy__", returnSelf, METH_NOARGS, nullptr},
    {"__deepcopy__", returnSelf, METH_O, nullptr},
    {nullptr, nullptr, 0, nullptr}};

PySequenceMethods kStringSequence = {stringLength};

// ---- Module functions -----------------------------------------------------------

PyObject* fromCapsule(PyObject*, PyObject* capsule) { return wrap(importCapsule(capsule)); }

// pickle's rebuild of a numeric Variant: over the buffer it wrote, out of
// band or not, with no copy when the memory suits.
PyObject* fromBuffer(PyObject*, PyObject* args)
{
    PyObject *buffer, *shape;
    int code, ordering, scalar;
    if (!PyArg_ParseTuple(args, "OiO!ip:_from_buffer", &buffer, &code, &PyTuple_Type, &shape, &ordering, &scalar)) {
        return nullptr;
    }
    Py_ssize_t extents[kMaxDims];
    const Py_ssize_t ndim = PyTuple_GET_SIZE(shape);
    if (ndim > kMaxDims || (ordering != 0 && ordering != 1) || bufferFormatOf(static_cast<ZWellKnownType>(code)) == nullptr) {
        PyErr_SetString(PyExc_ValueError, "_from_buffer: not the layout of a pickled Variant");
        return nullptr;
    }
    for (Py_ssize_t d = 0; d < ndim; ++d) {
        extents[d] = PyLong_AsSsize_t(PyTuple_GET_ITEM(shape, d));
        if (extents[d] < 0) {
            return PyErr_Occurred() ? nullptr : (PyErr_SetString(PyExc_ValueError, "negative extent"), nullptr);
        }
    }
    return wrap(handleOverBuffer(buffer, static_cast<ZWellKnownType>(code), extents, static_cast<int>(ndim),
                                 static_cast<ZDataOrdering>(ordering), scalar != 0));
}

// The value of CBOR bytes, as pickle wrote it for the other types.
PyObject* fromCbor(PyObject*, PyObject* data)
{
    Py_buffer view;
    if (PyObject_GetBuffer(data, &view, PyBUF_SIMPLE) < 0) {
        return nullptr;
    }
    Record record;
    ZVariantData* handle = ZVariantData_C_API_decodeCbor(&record, view.buf, static_cast<size_t>(view.len));
    PyBuffer_Release(&view);
    return record.ok() ? wrap(handle) : nullptr;
}

PyObject* g_inputHook;

PyObject* setInputHook(PyObject*, PyObject* hook)
{
    Py_XSETREF(g_inputHook, Py_NewRef(hook));
    Py_RETURN_NONE;
}

// Where the library this module uses was loaded from.
PyObject* libraryPath(PyObject*, PyObject*)
{
    Dl_info info;
    if (dladdr(reinterpret_cast<void*>(&ZVariantData_C_API_copy), &info) == 0 || info.dli_fname == nullptr) {
        Py_RETURN_NONE;
    }
    return PyUnicode_DecodeFSDefault(info.dli_fname);
}

PyMethodDef kModuleMethods[] = {
    {"_library_path", libraryPath, METH_NOARGS, nullptr},
    {"_from_capsule", fromCapsule, METH_O, "A Variant over a DLPack capsule's tensor, which it consumes."},
    {"_from_buffer", fromBuffer, METH_VARARGS, nullptr},
    {"_from_cbor", fromCbor, METH_O, nullptr},
    {"_set_input_hook", setInputHook, METH_O, nullptr},
    {"_tree_from_cbor", treeFromCbor, METH_VARARGS, nullptr},
    {"dumps", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(dumps)), METH_VARARGS | METH_KEYWORDS,
     "dumps(obj, format='cbor')\n--\n\nA Variant, a Tree, or what Tree.from_python takes, as the library's CBOR "
     "(bytes) or JSON (str)."},
    {"loads", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(loads)), METH_VARARGS | METH_KEYWORDS,
     "loads(data, format=None)\n--\n\nThe value of CBOR bytes or JSON text (str, or bytes with format='json'): "
     "a TreeMap or TreeList, a Variant for a value, None for the null node."},
    {nullptr, nullptr, 0, nullptr}};

PyModuleDef kModule = {PyModuleDef_HEAD_INIT, "lumcore._lumcore", "The compiled core of lumcore.", -1, kModuleMethods};

// The exceptions, one per word of the error record.
bool addErrors(PyObject* module)
{
    PyObject* base = PyErr_NewExceptionWithDoc(
        "lumcore.LumCoreError", "A failure inside LumCore; `word` is the record's word (\"out_of_range\", ...).",
        nullptr, nullptr);
    struct Kind {
        const char* name;
        PyObject* python;
    } kinds[] = {{"lumcore.LumMemoryError", PyExc_MemoryError},
                 {"lumcore.LumIndexError", PyExc_IndexError},
                 {"lumcore.LumValueError", PyExc_ValueError},
                 {"lumcore.LumRuntimeError", PyExc_RuntimeError}};
    PyObject* made[4] = {};
    for (int i = 0; base != nullptr && i < 4; ++i) {
        made[i] = PyErr_NewException(kinds[i].name, Py_BuildValue("(OO)", base, kinds[i].python), nullptr);
        if (made[i] == nullptr || PyModule_AddObjectRef(module, kinds[i].name + 8, made[i]) < 0) {
            return false;
        }
    }
    if (base == nullptr || PyModule_AddObjectRef(module, "LumCoreError", base) < 0) {
        return false;
    }
    // bad_alloc, out_of_range, invalid_argument, length_error, runtime_error, exception
    PyObject* byWord[6] = {made[0], made[1], made[2], made[2], made[3], base};
    std::memcpy(g_errors, byWord, sizeof byWord);
    return true;
}

}  // namespace

PyObject* callInputHook(PyObject* value)
{
    if (g_inputHook == nullptr) {
        return PyErr_Format(PyExc_TypeError, "%.100s has no LumCore element type", Py_TYPE(value)->tp_name);
    }
    return PyObject_CallOneArg(g_inputHook, value);
}

PyObject* textOf(ZStringData* handle, const char* errors)
{
    Record record;
    const char* text = ZStringData_C_API_getConstDataPointer(&record, handle);
    const size_t length = ZStringData_C_API_getLength(&record, handle);
    return record.ok() ? PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(length), errors) : nullptr;
}

bool isString(PyObject* o) { return PyObject_TypeCheck(o, &StringType); }

PyObject* textOfString(PyObject* o) { return stringText(reinterpret_cast<String*>(o)); }

}  // namespace lumpy

using namespace lumpy;

PyMODINIT_FUNC PyInit__lumcore(void)
{
    StringType.tp_name = "lumcore.String";
    StringType.tp_doc = "The library's immutable shared string.";
    StringType.tp_basicsize = sizeof(String);
    StringType.tp_flags = Py_TPFLAGS_DEFAULT;
    StringType.tp_new = stringNew;
    StringType.tp_dealloc = stringDealloc;
    StringType.tp_str = stringStr;
    StringType.tp_repr = stringRepr;
    StringType.tp_richcompare = stringCompare;
    StringType.tp_hash = stringHash;
    StringType.tp_methods = kStringMethods;
    StringType.tp_as_sequence = &kStringSequence;
    if (PyType_Ready(&StringType) < 0 || PyType_Ready(&VariantType) < 0 || PyType_Ready(&TreeType) < 0 ||
        PyType_Ready(&TreeMapType) < 0 || PyType_Ready(&TreeListType) < 0) {
        return nullptr;
    }
    PyObject* module = PyModule_Create(&kModule);
    if (module == nullptr) {
        return nullptr;
    }
    PyObject* words = PyTuple_New(static_cast<Py_ssize_t>(std::size(kTypes)));
    for (std::size_t i = 0; words != nullptr && i < std::size(kTypes); ++i) {
        PyTuple_SET_ITEM(words, static_cast<Py_ssize_t>(i), PyUnicode_FromString(kTypes[i].word));
    }
    if (!addErrors(module) || PyModule_AddObjectRef(module, "Variant", reinterpret_cast<PyObject*>(&VariantType)) < 0 ||
        PyModule_AddObjectRef(module, "String", reinterpret_cast<PyObject*>(&StringType)) < 0 ||
        PyModule_AddObjectRef(module, "Tree", reinterpret_cast<PyObject*>(&TreeType)) < 0 ||
        PyModule_AddObjectRef(module, "TreeMap", reinterpret_cast<PyObject*>(&TreeMapType)) < 0 ||
        PyModule_AddObjectRef(module, "TreeList", reinterpret_cast<PyObject*>(&TreeListType)) < 0 ||
        PyModule_AddObject(module, "TYPES", words) < 0) {
        Py_DECREF(module);
        return nullptr;
    }
    return module;
}
