// The tree types: a frozen tree read through the flat tree functions, a map
// as a read-only Mapping and a list as a read-only Sequence. A value comes
// out as a Variant and the null node as None, wherever it is.
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <unordered_map>
#include <vector>

#include "Extension.hpp"

namespace lumpy {

PyTypeObject TreeType = {PyVarObject_HEAD_INIT(nullptr, 0)};
PyTypeObject TreeMapType = {PyVarObject_HEAD_INIT(nullptr, 0)};
PyTypeObject TreeListType = {PyVarObject_HEAD_INIT(nullptr, 0)};

void releaseNode(FPropertyNodeData* node)
{
    Record record;
    FPropertyNodeData_C_API_destruct(&record, node);
}

namespace {

constexpr size_t kBatch = 64;
// Arrays of at least this many bytes leave a pickle out of band.
constexpr size_t kOutOfBandBytes = 4096;

Tree* self_(PyObject* o) { return reinterpret_cast<Tree*>(o); }

bool isMap(PyObject* o) { return Py_TYPE(o) == &TreeMapType; }

PyObject* treeObject(ZPropertyNodeKind kind, const FPropertyNodeData* node, FPropertyNodeData* owned, PyObject* owner)
{
    Tree* t = PyObject_New(Tree, kind == ZPropertyNodeKind_map ? &TreeMapType : &TreeListType);
    if (t == nullptr) {
        releaseNode(owned);
        return nullptr;
    }
    t->node = node;
    t->owned = owned;
    t->owner = Py_XNewRef(owner);
    return reinterpret_cast<PyObject*>(t);
}

PyObject* ownerOf(PyObject* o) { return self_(o)->owner != nullptr ? self_(o)->owner : o; }

// The one place a node becomes a Python object.
PyObject* childObject(const ZPropertyChild& child, PyObject* owner)
{
    switch (child.kind) {
    case ZPropertyNodeKind_value:
        if (owner != nullptr) {
            return wrapView(child, owner);
        } else {
            Record record;
            ZVariantData* share = ZVariantData_C_API_copy(&record, child.value);
            return record.ok() ? wrap(share) : nullptr;
        }
    case ZPropertyNodeKind_map:
    case ZPropertyNodeKind_list:
        return treeObject(child.kind, child.node, nullptr, owner);
    default:
        Py_RETURN_NONE;
    }
}

// What a batch of children tells, for one node read alone.
bool describe(const FPropertyNodeData* node, ZPropertyChild& child)
{
    Record record;
    child = ZPropertyChild{};
    child.node = node;
    child.kind = FPropertyNodeData_C_API_kind(&record, node);
    if (child.kind == ZPropertyNodeKind_value) {
        child.value = FPropertyNodeData_C_API_valueView(&record, node);
        child.type = ZVariantData_C_API_wellKnownDataType(&record, child.value);
        child.data = ZVariantData_C_API_constStoredData(&record, child.value);
    }
    return record.ok();
}

PyObject* nodeObject(const FPropertyNodeData* node, PyObject* owner)
{
    ZPropertyChild child;
    return describe(node, child) ? childObject(child, owner) : nullptr;
}

// Calls visit(child) for each child of a map or list, in order, a batch of
// children per flat call; stops at the first false.
template <class Visit>
bool forEachChild(const FPropertyNodeData* node, Visit&& visit)
{
    ZPropertyChild batch[kBatch];
    Record record;
    size_t got;
    for (size_t at = 0; (got = FPropertyNodeData_C_API_children(&record, node, at, batch, kBatch)) != 0; at += got) {
        for (size_t i = 0; i < got; ++i) {
            if (!visit(batch[i])) {
                return false;
            }
        }
    }
    return record.ok();
}

// A key as a Python str. Keys are interned by the library for the life of
// the process, so each text is decoded once and kept.
PyObject* keyText(const char* key, size_t size)
{
    static auto* cache = new std::unordered_map<const char*, PyObject*>();
    auto [at, made] = cache->try_emplace(key, nullptr);
    if (made) {
        at->second = PyUnicode_DecodeUTF8(key, Py_ssize_t(size), "surrogateescape");
        if (at->second == nullptr) {
            cache->erase(at);
            return nullptr;
        }
    }
    return Py_NewRef(at->second);
}

Py_ssize_t sizeOf(const FPropertyNodeData* node)
{
    Record record;
    const size_t size = FPropertyNodeData_C_API_size(&record, node);
    return record.ok() ? Py_ssize_t(size) : -1;
}

// ---- Lookup ----------------------------------------------------------------------

// The node under one segment of a path: a key of a map or a position of a
// list (negative from the end). Null with Python's KeyError, IndexError or
// TypeError.
const FPropertyNodeData* step(const ZPropertyChild& at, PyObject* segment)
{
    Record record;
    if (at.kind == ZPropertyNodeKind_map) {
        Py_ssize_t size = 0;
        const char* text = PyUnicode_Check(segment) ? PyUnicode_AsUTF8AndSize(segment, &size) : nullptr;
        const FPropertyNodeData* found =
            text == nullptr ? nullptr : FPropertyNodeData_C_API_find(&record, at.node, text, size_t(size));
        if (record.ok() && found == nullptr) {
            PyErr_Clear();  // a str with lone surrogates is no key either
            PyErr_SetObject(PyExc_KeyError, segment);
        }
        return found;
    }
    if (at.kind != ZPropertyNodeKind_list) {
        PyErr_Format(PyExc_TypeError, "a null node has nothing under it (looking for %R)", segment);
        return nullptr;
    }
    if (!PyIndex_Check(segment)) {
        PyErr_Format(PyExc_TypeError, "tree list indices must be integers, not %.200s", Py_TYPE(segment)->tp_name);
        return nullptr;
    }
    Py_ssize_t index = PyNumber_AsSsize_t(segment, PyExc_IndexError);
    const Py_ssize_t size = index == -1 && PyErr_Occurred() ? -1 : sizeOf(at.node);
    if (size < 0) {
        return nullptr;
    }
    index += index < 0 ? size : 0;
    if (index < 0 || index >= size) {
        PyErr_SetString(PyExc_IndexError, "tree list index out of range");
        return nullptr;
    }
    const FPropertyNodeData* element = FPropertyNodeData_C_API_element(&record, at.node, size_t(index));
    return record.ok() ? element : nullptr;
}

// tree[key], tree[i], tree[a:b] (a list of the children) and tree[path]:
// a tuple of segments. A path that reaches a value goes on into the
// Variant with the segments left.
PyObject* subscriptTree(PyObject* o, PyObject* key)
{
    Tree* t = self_(o);
    if (!isMap(o) && PySlice_Check(key)) {
        Py_ssize_t start, stop, stride;
        const Py_ssize_t size = sizeOf(t->node);
        if (size < 0 || PySlice_Unpack(key, &start, &stop, &stride) < 0) {
            return nullptr;
        }
        const Py_ssize_t count = PySlice_AdjustIndices(size, &start, &stop, stride);
        PyObject* items = PyList_New(count);
        for (Py_ssize_t i = 0; items != nullptr && i < count; ++i) {
            PyObject* index = PyLong_FromSsize_t(start + i * stride);
            PyObject* item = index == nullptr ? nullptr : subscriptTree(o, index);
            Py_XDECREF(index);
            if (item == nullptr) {
                Py_CLEAR(items);
                break;
            }
            PyList_SET_ITEM(items, i, item);
        }
        return items;
    }
    const bool path = PyTuple_Check(key);
    const Py_ssize_t length = path ? PyTuple_GET_SIZE(key) : 1;
    if (length == 0) {
        return Py_NewRef(o);
    }
    ZPropertyChild at{};
    at.node = t->node;
    at.kind = isMap(o) ? ZPropertyNodeKind_map : ZPropertyNodeKind_list;
    for (Py_ssize_t i = 0; i < length; ++i) {
        if (at.kind == ZPropertyNodeKind_value) {
            PyObject* rest = length - i == 1 ? Py_NewRef(PyTuple_GET_ITEM(key, i)) : PyTuple_GetSlice(key, i, length);
            PyObject* variant = rest == nullptr ? nullptr : childObject(at, ownerOf(o));
            PyObject* result = variant == nullptr ? nullptr : PyObject_GetItem(variant, rest);
            Py_XDECREF(variant);
            Py_XDECREF(rest);
            return result;
        }
        const FPropertyNodeData* next = step(at, path ? PyTuple_GET_ITEM(key, i) : key);
        if (next == nullptr || !describe(next, at)) {
            return nullptr;
        }
    }
    return childObject(at, ownerOf(o));
}

int containsKey(PyObject* o, PyObject* key)
{
    if (!PyUnicode_Check(key)) {
        return 0;
    }
    Py_ssize_t size = 0;
    const char* text = PyUnicode_AsUTF8AndSize(key, &size);
    if (text == nullptr) {
        PyErr_Clear();
        return 0;
    }
    Record record;
    const bool found = FPropertyNodeData_C_API_find(&record, self_(o)->node, text, size_t(size)) != nullptr;
    return record.ok() ? found : -1;
}

// ---- Views: keys, values, items, iteration ---------------------------------------------

enum class Part { keys, values, items };

// A list of the keys, the children or both; a tree never changes, so a
// list is as good as a view.
PyObject* listOf(PyObject* o, Part part)
{
    const Py_ssize_t size = sizeOf(self_(o)->node);
    PyObject* list = size < 0 ? nullptr : PyList_New(size);
    if (list == nullptr) {
        return nullptr;
    }
    PyObject* owner = ownerOf(o);
    Py_ssize_t i = 0;
    const bool ok = forEachChild(self_(o)->node, [&](const ZPropertyChild& child) {
        PyObject* item;
        if (part == Part::keys) {
            item = keyText(child.key, child.keySize);
        } else if (part == Part::values) {
            item = childObject(child, owner);
        } else {
            PyObject* key = keyText(child.key, child.keySize);
            PyObject* value = key == nullptr ? nullptr : childObject(child, owner);
            item = value == nullptr ? nullptr : PyTuple_Pack(2, key, value);
            Py_XDECREF(key);
            Py_XDECREF(value);
        }
        if (item == nullptr || i >= size) {
            Py_XDECREF(item);
            return false;
        }
        PyList_SET_ITEM(list, i++, item);
        return true;
    });
    if (!ok) {
        Py_DECREF(list);
        return nullptr;
    }
    return list;
}

PyObject* keysOf(PyObject* o, PyObject*) { return listOf(o, Part::keys); }
PyObject* valuesOf(PyObject* o, PyObject*) { return listOf(o, Part::values); }
PyObject* itemsOf(PyObject* o, PyObject*) { return listOf(o, Part::items); }

PyObject* iterate(PyObject* o)
{
    PyObject* list = listOf(o, isMap(o) ? Part::keys : Part::values);
    PyObject* iterator = list == nullptr ? nullptr : PyObject_GetIter(list);
    Py_XDECREF(list);
    return iterator;
}

int containsItem(PyObject* o, PyObject* item)
{
    PyObject* children = listOf(o, Part::values);
    const int found = children == nullptr ? -1 : PySequence_Contains(children, item);
    Py_XDECREF(children);
    return found;
}

PyObject* getMethod(PyObject* o, PyObject* const* args, Py_ssize_t count)
{
    if (count < 1 || count > 2) {
        return PyErr_Format(PyExc_TypeError, "get expected 1 or 2 arguments, got %zd", count);
    }
    PyObject* found = subscriptTree(o, args[0]);
    if (found == nullptr && (PyErr_ExceptionMatches(PyExc_KeyError) || PyErr_ExceptionMatches(PyExc_IndexError))) {
        PyErr_Clear();
        return Py_NewRef(count == 2 ? args[1] : Py_None);
    }
    return found;
}

Py_ssize_t length(PyObject* o) { return sizeOf(self_(o)->node); }

PyObject* itemAt(PyObject* o, Py_ssize_t index)
{
    PyObject* key = PyLong_FromSsize_t(index);
    PyObject* item = key == nullptr ? nullptr : subscriptTree(o, key);
    Py_XDECREF(key);
    return item;
}

// ---- Python values both ways -------------------------------------------------------------

struct RecursionGuard {
    bool entered;
    explicit RecursionGuard(const char* where) : entered(Py_EnterRecursiveCall(where) == 0) {}
    ~RecursionGuard()
    {
        if (entered) {
            Py_LeaveRecursiveCall();
        }
    }
};

PyObject* toPython(const ZPropertyChild& node, PyObject* owner, PyObject* asarray)
{
    RecursionGuard guard(" in to_python");
    if (!guard.entered) {
        return nullptr;
    }
    if (node.kind != ZPropertyNodeKind_map && node.kind != ZPropertyNodeKind_list) {
        PyObject* value = childObject(node, owner);
        if (value != nullptr && asarray != nullptr && isVariant(value) &&
            reinterpret_cast<Variant*>(value)->ndim > 0 && bufferFormatOf(node.type) != nullptr) {
            Py_SETREF(value, PyObject_CallOneArg(asarray, value));
        }
        return value;
    }
    const bool map = node.kind == ZPropertyNodeKind_map;
    PyObject* made = map ? PyDict_New() : PyList_New(0);
    const bool ok = made != nullptr && forEachChild(node.node, [&](const ZPropertyChild& child) {
        PyObject* value = toPython(child, owner, asarray);
        PyObject* key = value == nullptr || !map ? nullptr : keyText(child.key, child.keySize);
        const int added = value == nullptr || (map && key == nullptr) ? -1
                          : map                                       ? PyDict_SetItem(made, key, value)
                                                                      : PyList_Append(made, value);
        Py_XDECREF(key);
        Py_XDECREF(value);
        return added == 0;
    });
    if (!ok) {
        Py_XDECREF(made);
        return nullptr;
    }
    return made;
}

PyObject* toPythonMethod(PyObject* o, PyObject* args, PyObject* keywords)
{
    static const char* names[] = {"numpy", nullptr};
    int numpy = 0;
    if (!PyArg_ParseTupleAndKeywords(args, keywords, "|$p:to_python", const_cast<char**>(names), &numpy)) {
        return nullptr;
    }
    PyObject* asarray = nullptr;
    if (numpy) {
        if (numpyOrNone() == Py_None) {
            return PyErr_Format(PyExc_ImportError, "to_python(numpy=True) needs numpy");
        }
        asarray = PyObject_GetAttrString(numpyOrNone(), "asarray");
        if (asarray == nullptr) {
            return nullptr;
        }
    }
    ZPropertyChild root{};
    root.node = self_(o)->node;
    root.kind = isMap(o) ? ZPropertyNodeKind_map : ZPropertyNodeKind_list;
    PyObject* result = toPython(root, ownerOf(o), asarray);
    Py_XDECREF(asarray);
    return result;
}

// The children built so far; each is released once its parent holds it.
struct Built {
    std::vector<FPropertyNodeData*> nodes;
    ~Built()
    {
        for (FPropertyNodeData* node : nodes) {
            releaseNode(node);
        }
    }
    bool add(FPropertyNodeData* node)
    {
        if (node == nullptr) {
            return false;
        }
        nodes.push_back(node);
        return true;
    }
    const FPropertyNodeData* const* views() const { return nodes.data(); }
};

FPropertyNodeData* mapFrom(PyObject* dict)
{
    Built built;
    std::vector<const char*> keys;
    std::vector<size_t> sizes;
    const Py_ssize_t count = PyDict_GET_SIZE(dict);
    built.nodes.reserve(size_t(count));
    keys.reserve(size_t(count));
    sizes.reserve(size_t(count));
    // The dict keeps each key alive, and with it the UTF-8 text read here.
    Py_ssize_t at = 0;
    PyObject *key, *value;
    while (PyDict_Next(dict, &at, &key, &value)) {
        if (!PyUnicode_Check(key)) {
            PyErr_Format(PyExc_TypeError, "tree map keys are str, not %.200s", Py_TYPE(key)->tp_name);
            return nullptr;
        }
        Py_ssize_t size = 0;
        const char* text = PyUnicode_AsUTF8AndSize(key, &size);
        Py_INCREF(value);  // what a value's conversion runs may change the dict
        const bool ok = text != nullptr && built.add(treeFrom(value));
        Py_DECREF(value);
        if (!ok) {
            return nullptr;
        }
        keys.push_back(text);
        sizes.push_back(size_t(size));
    }
    if (PyDict_GET_SIZE(dict) != count || built.nodes.size() != size_t(count)) {
        PyErr_SetString(PyExc_RuntimeError, "dictionary changed size during Tree.from_python");
        return nullptr;
    }
    Record record;
    FPropertyNodeData* map =
        FPropertyNodeData_C_API_constructMap(&record, keys.data(), sizes.data(), built.views(), keys.size());
    return record.ok() ? map : nullptr;
}

FPropertyNodeData* listFrom(PyObject* sequence)
{
    Built built;
    for (Py_ssize_t i = 0; i < PySequence_Fast_GET_SIZE(sequence); ++i) {
        PyObject* item = Py_NewRef(PySequence_Fast_GET_ITEM(sequence, i));
        const bool ok = built.add(treeFrom(item));
        Py_DECREF(item);
        if (!ok) {
            return nullptr;
        }
    }
    Record record;
    FPropertyNodeData* list = FPropertyNodeData_C_API_constructList(&record, built.views(), built.nodes.size());
    return record.ok() ? list : nullptr;
}

// ---- Equality ----------------------------------------------------------------------------

int nodesEqual(const ZPropertyChild& a, const ZPropertyChild& b);

int valuesEqual(const ZVariantData* a, const ZVariantData* b)
{
    Record record;
    const bool identical = ZVariantData_C_API_isIdenticalTo(&record, a, b);
    const bool sameOrder = ZVariantData_C_API_dataOrdering(&record, a) == ZVariantData_C_API_dataOrdering(&record, b);
    if (!record.ok()) {
        return -1;
    }
    if (identical || sameOrder) {
        return identical;
    }
    // The same elements in another ordering are equal, as for Variants.
    PyObject* left = wrap(ZVariantData_C_API_copy(&record, a));
    PyObject* right = left == nullptr ? nullptr : wrap(ZVariantData_C_API_copy(&record, b));
    const int same = right == nullptr ? -1 : variantsEqual(left, right);
    Py_XDECREF(left);
    Py_XDECREF(right);
    return same;
}

int childrenEqual(const FPropertyNodeData* a, const FPropertyNodeData* b)
{
    const Py_ssize_t size = sizeOf(a);
    if (size < 0 || size != sizeOf(b)) {
        return size < 0 || PyErr_Occurred() ? -1 : 0;
    }
    ZPropertyChild left[kBatch], right[kBatch];
    Record record;
    for (size_t at = 0; at < size_t(size);) {
        const size_t got = FPropertyNodeData_C_API_children(&record, a, at, left, kBatch);
        FPropertyNodeData_C_API_children(&record, b, at, right, kBatch);
        if (!record.ok()) {
            return -1;
        }
        for (size_t i = 0; i < got; ++i) {
            if (left[i].keySize != right[i].keySize ||
                (left[i].key != right[i].key && std::memcmp(left[i].key, right[i].key, left[i].keySize) != 0)) {
                return 0;
            }
            const int same = nodesEqual(left[i], right[i]);
            if (same != 1) {
                return same;
            }
        }
        at += got;
    }
    return 1;
}

int nodesEqual(const ZPropertyChild& a, const ZPropertyChild& b)
{
    if (a.kind != b.kind) {
        return 0;
    }
    if (a.node == b.node || a.kind == ZPropertyNodeKind_null) {
        return a.kind != ZPropertyNodeKind_value || valuesEqual(a.value, b.value);
    }
    if (a.kind == ZPropertyNodeKind_value) {
        return valuesEqual(a.value, b.value);
    }
    RecursionGuard guard(" in Tree ==");
    return guard.entered ? childrenEqual(a.node, b.node) : -1;
}

// A tree equals a tree of the same kinds, keys in the same order, and equal
// values; also a dict or list that Tree.from_python makes such a tree of.
PyObject* compare(PyObject* a, PyObject* b, int op)
{
    if (op != Py_EQ && op != Py_NE) {
        Py_RETURN_NOTIMPLEMENTED;
    }
    PyObject* other = nullptr;
    if (isTree(b)) {
        other = Py_NewRef(b);
    } else if (PyDict_Check(b) || PyList_Check(b) || PyTuple_Check(b)) {
        other = adoptTree(treeFrom(b));
        if (other == nullptr) {
            PyErr_Clear();  // what cannot be a tree is simply not equal
            return PyBool_FromLong(op == Py_NE);
        }
    } else {
        Py_RETURN_NOTIMPLEMENTED;
    }
    int same = 0;
    if (isTree(other) && Py_TYPE(other) == Py_TYPE(a)) {
        same = nodesEqual(ZPropertyChild{nullptr, 0, self_(a)->node,
                                         isMap(a) ? ZPropertyNodeKind_map : ZPropertyNodeKind_list, 0, nullptr, nullptr},
                          ZPropertyChild{nullptr, 0, self_(other)->node,
                                         isMap(a) ? ZPropertyNodeKind_map : ZPropertyNodeKind_list, 0, nullptr, nullptr});
    }
    Py_DECREF(other);
    return same < 0 ? nullptr : PyBool_FromLong((same == 1) == (op == Py_EQ));
}

// ---- Text -------------------------------------------------------------------------------

PyObject* consoleText(PyObject* o, bool outline)
{
    Record record;
    ZStringData* text = FPropertyNodeData_C_API_consoleText(&record, self_(o)->node, outline);
    return record.ok() ? adoptText(text, "backslashreplace") : nullptr;
}

// The library's outline, as its console shows a tree.
PyObject* strOf(PyObject* o) { return consoleText(o, true); }

// The one-line text, cut short for a large tree.
PyObject* reprOf(PyObject* o)
{
    PyObject* line = consoleText(o, false);
    if (line == nullptr) {
        return nullptr;
    }
    constexpr Py_ssize_t kLongest = 400;
    const bool cut = PyUnicode_GET_LENGTH(line) > kLongest;
    if (cut) {
        Py_SETREF(line, PyUnicode_Substring(line, 0, kLongest));
    }
    PyObject* result = line == nullptr ? nullptr
                                       : PyUnicode_FromFormat("<%s %U%s>", Py_TYPE(o)->tp_name, line, cut ? " ..." : "");
    Py_XDECREF(line);
    return result;
}

// ---- Pickle ------------------------------------------------------------------------------

// What pickle keeps apart: the large numeric arrays of a tree, each with
// the path of positions that leads to it.
struct Apart {
    std::vector<Py_ssize_t> path;
    PyObject* paths = PyList_New(0);
    PyObject* variants = PyList_New(0);
    ~Apart()
    {
        Py_XDECREF(paths);
        Py_XDECREF(variants);
    }
};

// A map or list of `children`, each replaced by the node made for it where
// there is one; null with an exception.
FPropertyNodeData* rebuilt(ZPropertyNodeKind kind, const std::vector<ZPropertyChild>& children, const Built& replaced)
{
    std::vector<const FPropertyNodeData*> nodes;
    std::vector<const char*> keys;
    std::vector<size_t> sizes;
    for (size_t i = 0; i < children.size(); ++i) {
        nodes.push_back(replaced.nodes[i] != nullptr ? replaced.nodes[i] : children[i].node);
        keys.push_back(children[i].key);
        sizes.push_back(children[i].keySize);
    }
    Record record;
    FPropertyNodeData* made =
        kind == ZPropertyNodeKind_map
            ? FPropertyNodeData_C_API_constructMap(&record, keys.data(), sizes.data(), nodes.data(), nodes.size())
            : FPropertyNodeData_C_API_constructList(&record, nodes.data(), nodes.size());
    return record.ok() ? made : nullptr;
}

bool goesApart(const ZPropertyChild& child)
{
    if (child.kind != ZPropertyNodeKind_value || bufferFormatOf(child.type) == nullptr) {
        return false;
    }
    Record record;
    const bool array = !ZVariantData_C_API_isScalarStorage(&record, child.value);
    const size_t bytes = ZVariantData_C_API_numberAllocatedElements(&record, child.value) * size_t(itemSizeOf(child.type));
    return record.ok() && array && bytes >= kOutOfBandBytes;
}

// The node with each large numeric array replaced by the null node, or
// null when nothing under it was (check `failed`).
FPropertyNodeData* withoutArrays(const ZPropertyChild& node, Apart& apart, bool& failed)
{
    if (goesApart(node)) {
        PyObject* path = PyTuple_New(Py_ssize_t(apart.path.size()));
        for (size_t i = 0; path != nullptr && i < apart.path.size(); ++i) {
            PyTuple_SET_ITEM(path, Py_ssize_t(i), PyLong_FromSsize_t(apart.path[i]));
        }
        PyObject* variant = path == nullptr ? nullptr : childObject(node, nullptr);
        failed = variant == nullptr || PyList_Append(apart.paths, path) < 0 || PyList_Append(apart.variants, variant) < 0;
        Py_XDECREF(path);
        Py_XDECREF(variant);
        return failed ? nullptr : FPropertyNodeData_C_API_constructNull();
    }
    if (node.kind != ZPropertyNodeKind_map && node.kind != ZPropertyNodeKind_list) {
        return nullptr;
    }
    std::vector<ZPropertyChild> children;
    Built replaced;
    bool changed = false;
    failed = !forEachChild(node.node, [&](const ZPropertyChild& child) {
        apart.path.push_back(Py_ssize_t(children.size()));
        FPropertyNodeData* made = withoutArrays(child, apart, failed);
        apart.path.pop_back();
        children.push_back(child);
        replaced.nodes.push_back(made);
        changed = changed || made != nullptr;
        return !failed;
    });
    if (failed || !changed) {
        return nullptr;
    }
    FPropertyNodeData* made = rebuilt(node.kind, children, replaced);
    failed = made == nullptr;
    return made;
}

// pickle: the tree's CBOR in band; with protocol 5, the large numeric
// arrays apart, as Variants (whose buffers go out of band).
PyObject* reduceEx(PyObject* o, PyObject* protocolObject)
{
    const long protocol = PyLong_AsLong(protocolObject);
    if (protocol == -1 && PyErr_Occurred()) {
        return nullptr;
    }
    Apart apart;
    bool failed = apart.paths == nullptr || apart.variants == nullptr;
    ZPropertyChild root{};
    root.node = self_(o)->node;
    root.kind = isMap(o) ? ZPropertyNodeKind_map : ZPropertyNodeKind_list;
    FPropertyNodeData* skeleton = protocol >= 5 && !failed ? withoutArrays(root, apart, failed) : nullptr;
    PyObject* bytes = failed ? nullptr : cborBytes(skeleton != nullptr ? skeleton : root.node);
    releaseNode(skeleton);
    PyObject* module = bytes == nullptr ? nullptr : PyImport_ImportModule("lumcore._lumcore");
    PyObject* rebuild = module == nullptr ? nullptr : PyObject_GetAttrString(module, "_tree_from_cbor");
    PyObject* result = nullptr;
    if (rebuild != nullptr) {
        result = PyList_GET_SIZE(apart.paths) == 0
                     ? Py_BuildValue("(O(O))", rebuild, bytes)
                     : Py_BuildValue("(O(ONN))", rebuild, bytes, PyList_AsTuple(apart.paths),
                                     PyList_AsTuple(apart.variants));
    }
    Py_XDECREF(rebuild);
    Py_XDECREF(module);
    Py_XDECREF(bytes);
    return result;
}

// `node` with the Variants of paths[first, last) put back where the paths
// (read from `depth` on) lead; the paths come sorted, as pickle wrote them.
FPropertyNodeData* restored(const FPropertyNodeData* node, PyObject* paths, PyObject* variants, Py_ssize_t first,
                            Py_ssize_t last, Py_ssize_t depth)
{
    RecursionGuard guard(" in a pickled Tree");
    if (!guard.entered) {
        return nullptr;
    }
    const auto segmentOf = [&](Py_ssize_t i) -> Py_ssize_t {
        PyObject* path = PyTuple_GET_ITEM(paths, i);
        return PyTuple_Check(path) && PyTuple_GET_SIZE(path) > depth ? PyLong_AsSsize_t(PyTuple_GET_ITEM(path, depth))
                                                                     : -2;
    };
    Record record;
    ZPropertyChild at;
    if (!describe(node, at)) {
        return nullptr;
    }
    PyObject* path = PyTuple_GET_ITEM(paths, first);
    if (PyTuple_Check(path) && PyTuple_GET_SIZE(path) == depth && last == first + 1 &&
        at.kind == ZPropertyNodeKind_null && isVariant(PyTuple_GET_ITEM(variants, first))) {
        FPropertyNodeData* value = FPropertyNodeData_C_API_constructValue(
            &record, reinterpret_cast<Variant*>(PyTuple_GET_ITEM(variants, first))->handle);
        return record.ok() ? value : nullptr;
    }
    std::vector<ZPropertyChild> children;
    if ((at.kind != ZPropertyNodeKind_map && at.kind != ZPropertyNodeKind_list) ||
        !forEachChild(node, [&](const ZPropertyChild& child) {
            children.push_back(child);
            return true;
        })) {
        if (!PyErr_Occurred()) {
            PyErr_SetString(PyExc_ValueError, "_tree_from_cbor: not the layout of a pickled Tree");
        }
        return nullptr;
    }
    Built replaced;
    replaced.nodes.assign(children.size(), nullptr);
    for (Py_ssize_t run = first; run < last;) {
        const Py_ssize_t index = segmentOf(run);
        Py_ssize_t end = run + 1;
        while (end < last && segmentOf(end) == index) {
            ++end;
        }
        if (index < 0 || size_t(index) >= children.size() || replaced.nodes[size_t(index)] != nullptr) {
            if (!PyErr_Occurred()) {
                PyErr_SetString(PyExc_ValueError, "_tree_from_cbor: not the layout of a pickled Tree");
            }
            return nullptr;
        }
        replaced.nodes[size_t(index)] = restored(children[size_t(index)].node, paths, variants, run, end, depth + 1);
        if (replaced.nodes[size_t(index)] == nullptr) {
            return nullptr;
        }
        run = end;
    }
    return rebuilt(at.kind, children, replaced);
}

PyObject* returnSelf(PyObject* o, PyObject*) { return Py_NewRef(o); }

PyObject* fromPython(PyObject*, PyObject* value) { return adoptTree(treeFrom(value)); }

PyObject* refuseNew(PyTypeObject*, PyObject*, PyObject*)
{
    return PyErr_Format(PyExc_TypeError, "trees are made by Tree.from_python or lumcore.loads");
}

void treeDealloc(PyObject* o)
{
    Tree* t = self_(o);
    Py_XDECREF(t->owner);
    releaseNode(t->owned);
    PyObject_Free(o);
}

PyMethodDef kTreeMethods[] = {
    {"from_python", fromPython, METH_O | METH_CLASS,
     "from_python(value)\n--\n\nA tree of dicts (str keys), lists and tuples, None (the null node), and values: whatever "
     "Variant takes. A value alone gives a Variant and None gives None."},
    {"to_python", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(toPythonMethod)),
     METH_VARARGS | METH_KEYWORDS,
     "to_python(*, numpy=False)\n--\n\nDicts and lists with Variants at the leaves (with numpy=True, arrays of the "
     "types NumPy holds as read-only NumPy arrays over the same memory) and None for null nodes."},
    {"__reduce_ex__", reduceEx, METH_O, nullptr},
    {"__copy__", returnSelf, METH_NOARGS, nullptr},
    {"__deepcopy__", returnSelf, METH_O, nullptr},
    {nullptr, nullptr, 0, nullptr}};

PyMethodDef kMapMethods[] = {
    {"keys", keysOf, METH_NOARGS, "The keys, in the map's order, as a list."},
    {"values", valuesOf, METH_NOARGS, "The children, in the map's order, as a list."},
    {"items", itemsOf, METH_NOARGS, "(key, child) pairs, in the map's order, as a list."},
    {"get", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(getMethod)), METH_FASTCALL,
     "get(key_or_path, default=None)"},
    {nullptr, nullptr, 0, nullptr}};

PyMappingMethods kMapping = {length, subscriptTree, nullptr};
PySequenceMethods kMapSequence = {};
PySequenceMethods kListSequence = {};

struct Setup {
    Setup()
    {
        kMapSequence.sq_contains = containsKey;
        kListSequence.sq_length = length;
        kListSequence.sq_item = itemAt;
        kListSequence.sq_contains = containsItem;
        TreeType.tp_name = "lumcore.Tree";
        TreeType.tp_doc = "A frozen property tree: a TreeMap or a TreeList. Made by Tree.from_python or lumcore.loads.";
        TreeType.tp_basicsize = sizeof(Tree);
        TreeType.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE;
        TreeType.tp_new = refuseNew;
        TreeType.tp_dealloc = treeDealloc;
        TreeType.tp_str = strOf;
        TreeType.tp_repr = reprOf;
        TreeType.tp_richcompare = compare;
        TreeType.tp_hash = PyObject_HashNotImplemented;
        TreeType.tp_iter = iterate;
        TreeType.tp_as_mapping = &kMapping;
        TreeType.tp_methods = kTreeMethods;
        for (PyTypeObject* kind : {&TreeMapType, &TreeListType}) {
            kind->tp_basicsize = sizeof(Tree);
            kind->tp_flags = Py_TPFLAGS_DEFAULT;
            kind->tp_base = &TreeType;
            kind->tp_new = refuseNew;
        }
        TreeMapType.tp_name = "lumcore.TreeMap";
        TreeMapType.tp_doc = "A map of a frozen tree: a read-only Mapping from str keys, in insertion order.";
        TreeMapType.tp_as_sequence = &kMapSequence;
        TreeMapType.tp_methods = kMapMethods;
        TreeListType.tp_name = "lumcore.TreeList";
        TreeListType.tp_doc = "A list of a frozen tree: a read-only Sequence.";
        TreeListType.tp_as_sequence = &kListSequence;
    }
} g_setup;

}  // namespace

static void* allocateBytes(void* context, size_t size)
{
    PyObject*& bytes = *static_cast<PyObject**>(context);
    bytes = size > size_t(PY_SSIZE_T_MAX) ? PyErr_NoMemory() : PyBytes_FromStringAndSize(nullptr, Py_ssize_t(size));
    if (bytes == nullptr) {
        return nullptr;
    }
    char* block = PyBytes_AS_STRING(bytes);
#ifdef MADV_HUGEPAGE
    // Untouched memory: first writes to a large block fault a page at a time
    // unless the kernel may back it with huge pages (as NumPy asks too).
    constexpr size_t kLarge = size_t{4} << 20;
    const uintptr_t page = uintptr_t(sysconf(_SC_PAGESIZE));
    const uintptr_t first = (uintptr_t(block) + page - 1) & ~(page - 1);
    const uintptr_t end = (uintptr_t(block) + size) & ~(page - 1);
    if (size >= kLarge && end > first) {
        (void)madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
    }
#endif
    return block;
}

PyObject* cborBytes(const FPropertyNodeData* node)
{
    PyObject* bytes = nullptr;
    Record record;
    FPropertyNodeData_C_API_encodeCborTo(&record, node, allocateBytes, &bytes);
    if (PyErr_Occurred() || !record.ok()) {
        Py_XDECREF(bytes);
        return nullptr;
    }
    return bytes;
}

PyObject* adoptTree(FPropertyNodeData* owned)
{
    if (owned == nullptr) {
        return nullptr;
    }
    Record record;
    const ZPropertyNodeKind kind = FPropertyNodeData_C_API_kind(&record, owned);
    if (kind == ZPropertyNodeKind_map || kind == ZPropertyNodeKind_list) {
        return treeObject(kind, owned, owned, nullptr);
    }
    PyObject* result = kind == ZPropertyNodeKind_value ? nodeObject(owned, nullptr) : Py_NewRef(Py_None);
    releaseNode(owned);
    return result;
}

FPropertyNodeData* treeFrom(PyObject* value)
{
    RecursionGuard guard(" in Tree.from_python");
    if (!guard.entered) {
        return nullptr;
    }
    Record record;
    FPropertyNodeData* made = nullptr;
    if (value == Py_None) {
        return FPropertyNodeData_C_API_constructNull();
    }
    if (isTree(value)) {
        made = FPropertyNodeData_C_API_copy(&record, self_(value)->node);
    } else if (PyDict_Check(value)) {
        return mapFrom(value);
    } else if (PyList_Check(value) || PyTuple_Check(value)) {
        return listFrom(value);
    } else {
        ZVariantData* handle = buildHandle(value);
        if (handle == nullptr) {
            return nullptr;
        }
        made = FPropertyNodeData_C_API_constructValue(&record, handle);
        releaseHandle(handle);
    }
    return record.ok() ? made : nullptr;
}

PyObject* treeFromCbor(PyObject*, PyObject* args)
{
    PyObject *data, *paths = nullptr, *variants = nullptr;
    if (!PyArg_ParseTuple(args, "O|O!O!:_tree_from_cbor", &data, &PyTuple_Type, &paths, &PyTuple_Type, &variants)) {
        return nullptr;
    }
    Py_buffer view;
    if (PyObject_GetBuffer(data, &view, PyBUF_SIMPLE) < 0) {
        return nullptr;
    }
    Record record;
    FPropertyNodeData* tree = FPropertyNodeData_C_API_decodeCbor(&record, view.buf, size_t(view.len));
    PyBuffer_Release(&view);
    if (!record.ok()) {
        return nullptr;
    }
    const Py_ssize_t count = paths == nullptr ? 0 : PyTuple_GET_SIZE(paths);
    if (count != 0) {
        FPropertyNodeData* whole =
            variants != nullptr && PyTuple_GET_SIZE(variants) == count ? restored(tree, paths, variants, 0, count, 0)
                                                                       : nullptr;
        if (whole == nullptr && !PyErr_Occurred()) {
            PyErr_SetString(PyExc_ValueError, "_tree_from_cbor: not the layout of a pickled Tree");
        }
        releaseNode(tree);
        tree = whole;
    }
    return adoptTree(tree);
}

}  // namespace lumpy
