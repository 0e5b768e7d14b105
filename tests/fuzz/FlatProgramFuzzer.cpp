// Random programs of flat calls over a pool of handles.
//
// The program keeps a model of who owns what: which slots hold a reference,
// which lender still forwards to an adaptor, what each call consumed. Every
// reference is given back once at the end, so LeakSanitizer reports whatever
// the library kept. After every call the error record is checked, and where
// the result is fully determined (construction, shares, reorders, reshapes)
// it is checked against the model. Every byte a handle claims to hold is
// read, so AddressSanitizer sees any claim beyond a block.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "FuzzSupport.hpp"
#include "LumCore/c/DLPackTensor.h"
#include "LumCore/ExternalVariantStorageInterface.hpp"
#include "LumCore/c/LumCoreFlat.h"
#include "LumCore/ZVariant.hpp"

namespace {

using namespace LumFuzz;
using Marlowen::Lum::ArrayDimensionsView;
using Marlowen::Lum::DataOrdering;
using Marlowen::Lum::WellKnownType;
using Marlowen::Lum::Internal::ExternalVariantStorageInterface;
using Marlowen::Lum::Internal::WellKnownTypeValue;

struct ElementType {
    ZWellKnownType code;
    std::size_t size;
    bool fromBytes;  // whether any bytes (booleans normalised) make elements
};

constexpr ElementType kTypes[] = {
#define LUMFUZZ_TYPE(word, enumerator, code, Class) {code, sizeof(Class), code != ZWellKnownType_string},
    LUMCORE_ELEMENT_TYPES(LUMFUZZ_TYPE)
#undef LUMFUZZ_TYPE
};

bool isBoolean(ZWellKnownType code) { return code == ZWellKnownType_bool || code == ZWellKnownType_complexBool; }

const ElementType* findType(ZWellKnownType code)
{
    for (const ElementType& type : kTypes) {
        if (type.code == code) {
            return &type;
        }
    }
    return nullptr;
}

// Any code of the list, now and then one off it.
ZWellKnownType pickCode(FuzzedDataProvider& in)
{
    if (in.ConsumeIntegralInRange(0, 15) == 0) {
        static constexpr ZWellKnownType kOffList[] = {0x0000, 0x0003, 0x0020, 0xFFFF};
        return in.PickValueInArray(kOffList);
    }
    return kTypes[in.ConsumeIntegralInRange<std::size_t>(0, std::size(kTypes) - 1)].code;
}

// Element bytes from the input; booleans are 0 or 1, as the class demands.
std::vector<unsigned char> elementBytes(FuzzedDataProvider& in, const ElementType& type, std::size_t count)
{
    std::vector<unsigned char> bytes(count * type.size);
    for (unsigned char& byte : bytes) {
        byte = in.ConsumeIntegral<unsigned char>();
        if (isBoolean(type.code)) {
            byte &= 1;
        }
    }
    return bytes;
}

// Storage lent by the program: a byte buffer that refuses to grow.
class Lender final : public ExternalVariantStorageInterface {
public:
    Lender(const ElementType& type, std::vector<unsigned char> bytes, Extents shape, DataOrdering ordering)
        : m_type(type), m_bytes(std::move(bytes)), m_shape(std::move(shape)), m_ordering(ordering)
    {
    }
    ~Lender() override { withdraw(); }

    void withdraw()
    {
        if (detachFromStorage) {
            auto detach = std::move(detachFromStorage);
            detachFromStorage = nullptr;
            detach();
            m_bytes.assign(m_bytes.size(), 0xA5);  // what the adaptor must no longer see
        }
    }

    std::size_t numberAllocatedElements() const override { return m_bytes.size() / m_type.size; }
    ArrayDimensionsView dimensions() const override { return ArrayDimensionsView(m_shape); }
    DataOrdering dataOrdering() const override { return m_ordering; }
    WellKnownType wellKnownDataType() const override { return WellKnownType(WellKnownTypeValue(m_type.code)); }
    void reshapeNoRealloc(ArrayDimensionsView dims) override
    {
        if (!countFits(dims) || Marlowen::Lum::elementCount(dims) > numberAllocatedElements()) {
            throw std::length_error("beyond the lent buffer");
        }
        m_shape = dims.toVector();
    }
    const void* constStoredData() const override { return m_bytes.data(); }
    void* mutableStoredData() override { return m_bytes.data(); }
    void adaptorDestroyed() override { detachFromStorage = nullptr; }

private:
    const ElementType& m_type;
    std::vector<unsigned char> m_bytes;
    Extents m_shape;
    DataOrdering m_ordering;
};

// A DLPack tensor made from a slot, in either form.
struct Tensor {
    void* managed = nullptr;
    bool versioned = false;
    ZDLManagedTensor* asPlain() const { return static_cast<ZDLManagedTensor*>(managed); }
    ZDLManagedTensorVersioned* asVersioned() const { return static_cast<ZDLManagedTensorVersioned*>(managed); }
};

// A slot of the pool: one reference, or none.
struct Slot {
    ZVariantData* handle = nullptr;
    bool loose = false;  // a view or a lent array: its type and shape follow other rules
};

class Program {
public:
    explicit Program(FuzzedDataProvider& in) : m_in(in) {}

    ~Program()
    {
        // The lenders withdraw first, so that no adaptor outlives its memory.
        for (auto& lender : m_lenders) {
            lender->withdraw();
        }
        // Their memory goes: a tensor must not have been reading it.
        m_lenders.clear();
        for (Slot& slot : m_slots) {
            release(slot);
        }
        // A tensor outlives the lenders and the variants it was made from.
        while (!m_tensors.empty()) {
            settleTensor(m_tensors.size() - 1, /*takeBack=*/false);
        }
        for (ZStringData* text : m_texts) {
            ErrorRecord error;
            ZStringData_C_API_destruct(&error, text);
        }
    }

    void step()
    {
        const int operation = m_in.ConsumeIntegralInRange(0, 19);
        if (m_trace) {
            std::fprintf(stderr, "step %d\n", operation);  // to replay a finding: LUMFUZZ_TRACE=1
        }
        switch (operation) {
            case 0: constructArray(); break;
            case 1: createAllocated(); break;
            case 2: constructScalar(); break;
            case 3: share(); break;
            case 4: release(slot()); break;
            case 5: convert(); break;
            case 6: reorder(); break;
            case 7: reshapeInPlace(); break;
            case 8: reshapeIntoNew(); break;
            case 9: write(); break;
            case 10: compare(); break;
            case 11: view(); break;
            case 12: lend(); break;
            case 13: withdraw(); break;
            case 14: makeText(); break;
            case 15: shareOrDropText(); break;
            case 16: readAll(slot()); break;
            case 17: exportTensor(); break;
            case 18:
                if (!m_tensors.empty()) {
                    settleTensor(m_in.ConsumeIntegralInRange<std::size_t>(0, m_tensors.size() - 1), m_in.ConsumeBool());
                }
                break;
            default:
                m_slots[m_in.ConsumeIntegralInRange<std::size_t>(0, kSlots - 1)].handle == nullptr ? constructArray()
                                                                                                   : readAll(slot());
        }
    }

private:
    static constexpr std::size_t kSlots = 8;

    Slot& slot() { return m_slots[m_in.ConsumeIntegralInRange<std::size_t>(0, kSlots - 1)]; }
    // Mostly one of the two orderings, sometimes one that is neither: it is
    // stored as given, and a reorder of it must still hand out defaults.
    ZDataOrdering ordering()
    {
        const unsigned pick = m_in.ConsumeIntegralInRange(0u, 7u);
        return pick == 7 ? static_cast<ZDataOrdering>(5) : static_cast<ZDataOrdering>(pick % 2);
    }
    ZConversionMode mode() { return m_in.ConsumeIntegralInRange<ZConversionMode>(0, 2); }

    static bool hasNoViewType(const ErrorRecord& error)
    {
        return std::strcmp(error.typeName, "runtime_error") == 0 &&
               std::strcmp(error.message, "Can not convert non-numeric data type to complex numeric type") == 0;
    }

    // Gives the slot's reference back and empties the slot.
    void release(Slot& slot)
    {
        ErrorRecord error;
        if (slot.handle != nullptr) {
            ZVariantData_C_API_destruct(&error, slot.handle);
        }
        slot = Slot{};
    }
    void put(Slot& slot, ZVariantData* handle, bool loose)
    {
        if (m_trace) {
            ErrorRecord e;
            const Extents x = extentsOf(handle);
            std::fprintf(
                stderr, "put type %#x room %zu scalar %d shape", ZVariantData_C_API_wellKnownDataType(&e, handle),
                ZVariantData_C_API_numberAllocatedElements(&e, handle), ZVariantData_C_API_isScalarStorage(&e, handle));
            for (std::size_t v : x) {
                std::fprintf(stderr, " %zu", v);
            }
            std::fprintf(stderr, "\n");
        }
        release(slot);
        slot.handle = handle;
        slot.loose = loose;
        readAll(slot);
    }

    void constructArray()
    {
        const ZWellKnownType code = pickCode(m_in);
        const ElementType* type = findType(code);
        const Extents given = pickShape(m_in, /*mayWrap=*/true);
        // Mostly the count the shape describes (the wrapped one too, when it
        // is small: 5 for [3, b] with 3b = 5), else any small count.
        std::size_t count = m_in.ConsumeIntegralInRange(0, 12);
        if (m_in.ConsumeBool() && boundedCount(given) <= 4096) {
            count = boundedCount(given);
        }
        // Texts for a string array, bytes for everything else (an off-list
        // code is refused before its data is read).
        std::vector<Marlowen::Lum::ZString> texts;
        std::vector<unsigned char> bytes;
        const void* data = nullptr;
        if (code == ZWellKnownType_string) {
            for (std::size_t i = 0; i < count; ++i) {
                texts.emplace_back(m_in.ConsumeRandomLengthString(24));
            }
            data = texts.data();
        } else {
            bytes = elementBytes(m_in, type != nullptr ? *type : kTypes[0], count);
            data = bytes.data();
        }

        ErrorRecord error;
        ZVariantData* made = ZVariantData_C_API_constructArray(&error, data, code, count, flat(given), ordering());
        checkRecord(error, made);
        Extents resolved = given.empty() && count != 0 ? Extents{count} : given;
        const bool expected = type != nullptr && countFits(resolved) &&
                              Marlowen::Lum::elementCount(ArrayDimensionsView(resolved)) == count;
        require(expected == (made != nullptr), "constructArray succeeded against the model, or failed");
        if (made != nullptr) {
            require(ZVariantData_C_API_wellKnownDataType(&error, made) == code, "constructed type");
            require(extentsOf(made) == resolved, "constructed shape");
            require(ZVariantData_C_API_numberAllocatedElements(&error, made) == count, "constructed room");
            const void* stored = ZVariantData_C_API_constStoredData(&error, made);
            if (!texts.empty()) {
                const auto* copies = static_cast<const Marlowen::Lum::ZString*>(stored);
                require(std::equal(texts.begin(), texts.end(), copies), "constructed texts");
            } else if (!bytes.empty()) {
                require(std::memcmp(stored, bytes.data(), bytes.size()) == 0, "constructed elements");
            }
            put(slot(), made, false);
        }
    }

    void createAllocated()
    {
        const ZWellKnownType code = pickCode(m_in);
        const Extents given = pickShape(m_in, /*mayWrap=*/true);
        ErrorRecord error;
        ZVariantData* made = ZVariantData_C_API_createWithAllocatedArray(&error, code, flat(given), ordering());
        checkRecord(error, made);
        require((made != nullptr) == (findType(code) != nullptr && countFits(given)), "allocated array");
        if (made != nullptr) {
            const std::size_t room = ZVariantData_C_API_numberAllocatedElements(&error, made);
            require(room == Marlowen::Lum::elementCount(ArrayDimensionsView(given)), "allocated room");
            // Numbers start uninitialised: a client fills them before anything
            // reads them (a bool must hold 0 or 1 before it is read as one).
            const ElementType& type = *findType(code);
            if (type.fromBytes && room != 0) {
                void* elements = nullptr;
                made = ZVariantData_C_API_mutableStoredData(&error, made, &elements);
                require(made != nullptr, "a new array is its own");
                const std::vector<unsigned char> bytes = elementBytes(m_in, type, room);
                std::memcpy(elements, bytes.data(), bytes.size());
            }
            put(slot(), made, false);
        }
    }

    void constructScalar()
    {
        const ZWellKnownType code = pickCode(m_in);
        const ElementType* type = findType(code);
        if (type == nullptr || !type->fromBytes) {
            return;  // strings need a ZString; off-list codes are the array's business
        }
        const std::vector<unsigned char> bytes = elementBytes(m_in, *type, 1);
        ErrorRecord error;
        ZVariantData* made = ZVariantData_C_API_constructScalar(&error, bytes.data(), code);
        checkRecord(error, made);
        require(made != nullptr && ZVariantData_C_API_isScalarStorage(&error, made), "scalar");
        put(slot(), made, false);
    }

    void share()
    {
        Slot& from = slot();
        Slot& to = slot();
        if (from.handle == nullptr || &from == &to) {
            return;
        }
        ErrorRecord error;
        ZVariantData* shared = ZVariantData_C_API_copy(&error, from.handle);
        checkRecord(error, shared);
        require(shared == from.handle, "a share is the same handle");
        put(to, shared, from.loose);
    }

    void convert()
    {
        Slot& from = slot();
        if (from.handle == nullptr) {
            return;
        }
        const ZWellKnownType target = pickCode(m_in);
        ErrorRecord error;
        const ZWellKnownType own = ZVariantData_C_API_wellKnownDataType(&error, from.handle);
        ZVariantData* converted = ZVariantData_C_API_convertDataTo(&error, from.handle, target, mode());
        checkRecord(error, converted);
        if (converted == nullptr) {
            return;
        }
        require(own != target || converted == from.handle, "the same type is the same handle");
        if (!from.loose) {
            require(ZVariantData_C_API_wellKnownDataType(&error, converted) == target, "converted type");
            require(extentsOf(converted) == extentsOf(from.handle), "converted shape");
        }
        put(slot(), converted, from.loose);
    }

    void reorder()
    {
        Slot& s = slot();
        if (s.handle == nullptr) {
            return;
        }
        const ZDataOrdering wanted = ordering();
        const Extents before = extentsOf(s.handle);
        ErrorRecord error;
        ZVariantData* reordered = ZVariantData_C_API_reorderData(&error, s.handle, wanted);
        checkRecord(error, reordered);
        if (reordered == nullptr) {
            return;  // the handle stays ours
        }
        s.handle = reordered;  // consumed on success
        // A scalar has no ordering to change (even when reshaped to [1]):
        // it answers with itself.
        const bool scalar = ZVariantData_C_API_isScalarStorage(&error, reordered);
        require(scalar || ZVariantData_C_API_dataOrdering(&error, reordered) == wanted, "reordered ordering");
        require(extentsOf(reordered) == before, "reordered shape");
        readAll(s);
    }

    void reshapeInPlace()
    {
        Slot& s = slot();
        if (s.handle == nullptr) {
            return;
        }
        const Extents wanted = pickShape(m_in, /*mayWrap=*/true);
        const Extents before = extentsOf(s.handle);
        ErrorRecord error;
        ZVariantData_C_API_reshapeNoRealloc(&error, s.handle, flat(wanted));
        checkRecord(error, nullptr);
        require(extentsOf(s.handle) == (error.typeName == nullptr ? wanted : before), "reshaped in place");
        readAll(s);
    }

    void reshapeIntoNew()
    {
        Slot& s = slot();
        Slot& source = slot();
        if (s.handle == nullptr || source.handle == nullptr) {
            return;
        }
        const Extents wanted = pickShape(m_in, /*mayWrap=*/true);
        ErrorRecord error;
        ZVariantData* given = ZVariantData_C_API_copy(&error, source.handle);
        ZVariantData* made = ZVariantData_C_API_reshapeToZVariant(&error, s.handle, given, flat(wanted), ordering());
        checkRecord(error, made);
        if (error.typeName != nullptr) {
            ZVariantData_C_API_destruct(&error, given);  // consumed on success only
            return;
        }
        if (made != nullptr) {
            require(extentsOf(made) == wanted, "reshaped into a new array");
            put(slot(), made, false);
        }
    }

    void write()
    {
        Slot& s = slot();
        if (s.handle == nullptr) {
            return;
        }
        ErrorRecord error;
        const ElementType* type = findType(ZVariantData_C_API_wellKnownDataType(&error, s.handle));
        void* elements = nullptr;
        ZVariantData* mine = ZVariantData_C_API_mutableStoredData(&error, s.handle, &elements);
        checkRecord(error, mine);
        if (mine == nullptr) {
            return;  // a refused copy leaves the reference ours
        }
        s.handle = mine;  // consumed and returned
        if (type == nullptr || !type->fromBytes) {
            return;
        }
        const std::size_t room = ZVariantData_C_API_numberAllocatedElements(&error, mine);
        const std::size_t count = std::min<std::size_t>(room, m_in.ConsumeIntegralInRange(0, 64));
        const std::vector<unsigned char> bytes = elementBytes(m_in, *type, count);
        if (count != 0) {
            std::memcpy(elements, bytes.data(), bytes.size());
        }
        readAll(s);
    }

    void compare()
    {
        Slot& a = slot();
        Slot& b = slot();
        if (a.handle == nullptr || b.handle == nullptr) {
            return;
        }
        // Neither comparison fails, except on a view that has no element
        // type (real-to-complex over text), whose type they ask first.
        ErrorRecord error;
        (void)ZVariantData_C_API_isEquivalentTo(&error, a.handle, b.handle, mode());
        checkRecord(error, nullptr);
        require(error.typeName == nullptr || ((a.loose || b.loose) && hasNoViewType(error)),
                "equivalence does not fail");
        error.typeName = nullptr;
        (void)ZVariantData_C_API_isIdenticalTo(&error, a.handle, b.handle);
        checkRecord(error, nullptr);
        require(error.typeName == nullptr || ((a.loose || b.loose) && hasNoViewType(error)), "identity does not fail");
    }

    void view()
    {
        Slot& s = slot();
        if (s.handle == nullptr) {
            return;
        }
        ErrorRecord error;
        ZVariantData* given = ZVariantData_C_API_copy(&error, s.handle);
        ZVariantData* made = m_in.ConsumeBool()
                                 ? ZVariantData_C_API_constructTransmuteComplexToRealVariant(&error, given)
                                 : ZVariantData_C_API_constructTransmuteRealToComplexVariant(&error, given);
        checkRecord(error, made);
        if (made == nullptr) {
            ZVariantData_C_API_destruct(&error, given);  // taken over on success only
            return;
        }
        put(slot(), made, true);
    }

    void lend()
    {
        if (m_lenders.size() >= 4) {
            return;
        }
        const ElementType& type = kTypes[m_in.ConsumeIntegralInRange<std::size_t>(0, std::size(kTypes) - 1)];
        if (!type.fromBytes) {
            return;
        }
        const Extents shape = pickShape(m_in, /*mayWrap=*/false);
        const std::size_t described = boundedCount(shape);
        const std::size_t room = described + m_in.ConsumeIntegralInRange<std::size_t>(0, 4);
        const DataOrdering order = m_in.ConsumeBool() ? DataOrdering::ColumnMajor : DataOrdering::RowMajor;
        auto lender = std::make_unique<Lender>(type, elementBytes(m_in, type, room), shape, order);
        ErrorRecord error;
        ZVariantData* made = ZVariantData_C_API_createWithExternalStorage(
            &error, reinterpret_cast<ZExternalVariantStorage*>(lender.get()));
        checkRecord(error, made);
        require(made != nullptr, "lent storage");
        m_lenders.push_back(std::move(lender));
        put(slot(), made, true);
    }

    void withdraw()
    {
        if (!m_lenders.empty()) {
            m_lenders[m_in.ConsumeIntegralInRange<std::size_t>(0, m_lenders.size() - 1)]->withdraw();
        }
    }

    void makeText()
    {
        if (m_texts.size() >= 8) {
            return;
        }
        ErrorRecord error;
        if (m_in.ConsumeBool()) {
            const std::string text = m_in.ConsumeRandomLengthString(64);
            ZStringData* made = ZStringData_C_API_constructCString(&error, text.data(), text.size());
            checkRecord(error, made);
            require(
                made != nullptr && ZStringData_C_API_getLength(&error, made) == text.size() &&
                    std::memcmp(ZStringData_C_API_getConstDataPointer(&error, made), text.data(), text.size() + 1) == 0,
                "text copied with its terminator");
            m_texts.push_back(made);
            return;
        }
        // A size that is small, or one whose record would wrap past the top
        // of memory (sizes the heap merely cannot give end the program under
        // AddressSanitizer, whose operator new does not throw).
        const std::size_t size = m_in.ConsumeBool() ? m_in.ConsumeIntegralInRange<std::size_t>(0, 64)
                                                    : SIZE_MAX - m_in.ConsumeIntegralInRange<std::size_t>(0, 16);
        const StringBufferResult made = ZStringData_C_API_constructCStringWithSize(&error, size);
        checkRecord(error, made.handle);
        require((made.handle != nullptr) == (size <= 64), "text buffer");
        if (made.handle != nullptr) {
            std::memset(made.data, 'x', size);
            made.data[size] = '\0';
            m_texts.push_back(made.handle);
        }
    }

    void shareOrDropText()
    {
        if (m_texts.empty()) {
            return;
        }
        const std::size_t i = m_in.ConsumeIntegralInRange<std::size_t>(0, m_texts.size() - 1);
        ErrorRecord error;
        if (m_in.ConsumeBool() && m_texts.size() < 8) {
            ZStringData* shared = ZStringData_C_API_copy(&error, m_texts[i]);
            require(shared == m_texts[i], "a shared text is the same handle");
            m_texts.push_back(shared);
        } else {
            ZStringData_C_API_destruct(&error, m_texts[i]);
            m_texts.erase(m_texts.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }

    // A DLPack tensor of a slot's variant, kept until a later step settles it.
    void exportTensor()
    {
        const Slot& from = slot();
        if (from.handle == nullptr || m_tensors.size() >= 8) {
            return;
        }
        ErrorRecord error;
        Tensor made{};
        made.versioned = m_in.ConsumeBool();
        if (made.versioned) {
            made.managed = ZVariantData_C_API_exportDLManagedTensorVersioned(&error, from.handle);
        } else {
            made.managed = ZVariantData_C_API_exportDLManagedTensor(&error, from.handle);
        }
        checkRecord(error, made.managed);
        if (made.managed != nullptr) {
            readTensor(made);
            m_tensors.push_back(made);
        }
    }

    // Reads the tensor whole, then takes it back in as a variant (whose
    // release will call its deleter) or calls its deleter.
    void settleTensor(std::size_t i, bool takeBack)
    {
        const Tensor tensor = m_tensors[i];
        m_tensors.erase(m_tensors.begin() + static_cast<std::ptrdiff_t>(i));
        readTensor(tensor);
        ZVariantData* back = nullptr;
        ErrorRecord error;
        if (takeBack) {
            back = tensor.versioned ? ZVariantData_C_API_importDLManagedTensorVersioned(&error, tensor.asVersioned())
                                    : ZVariantData_C_API_importDLManagedTensor(&error, tensor.asPlain());
            checkRecord(error, back);
        }
        if (back != nullptr) {
            put(slot(), back, true);
        } else if (tensor.versioned) {
            tensor.asVersioned()->deleter(tensor.asVersioned());
        } else {
            tensor.asPlain()->deleter(tensor.asPlain());
        }
    }

    // Every byte the tensor's shape and strides reach.
    void readTensor(const Tensor& tensor)
    {
        const ZDLTensor& t = tensor.versioned ? tensor.asVersioned()->dl_tensor : tensor.asPlain()->dl_tensor;
        std::uint64_t last = 0;
        for (std::int32_t k = 0; k < t.ndim; ++k) {
            if (t.shape[k] == 0) {
                return;
            }
            last += static_cast<std::uint64_t>(t.shape[k] - 1) * static_cast<std::uint64_t>(t.strides[k]);
        }
        const auto* bytes = static_cast<const unsigned char*>(t.data) + t.byte_offset;
        if (m_trace) {
            std::fprintf(stderr, "tensor ndim %d code %d bits %d:", t.ndim, t.dtype.code, t.dtype.bits);
            for (std::int32_t k = 0; k < t.ndim; ++k) {
                std::fprintf(stderr, " %lld/%lld", static_cast<long long>(t.shape[k]),
                             static_cast<long long>(t.strides[k]));
            }
            std::fprintf(stderr, "\n");
        }
        unsigned sum = 0;
        for (std::uint64_t b = 0; b < (last + 1) * (t.dtype.bits / 8u); ++b) {
            sum += bytes[b];
        }
        m_sink = m_sink + sum;
    }

    // Reads every byte of the room the handle claims, and checks that its
    // shape fits in that room.
    void readAll(const Slot& s)
    {
        if (s.handle == nullptr) {
            return;
        }
        ErrorRecord error;
        const ElementType* type = findType(ZVariantData_C_API_wellKnownDataType(&error, s.handle));
        const std::size_t room = ZVariantData_C_API_numberAllocatedElements(&error, s.handle);
        const Extents shape = extentsOf(s.handle);
        // A complex-to-real view over real elements doubles its shape but not
        // its room; every other shape lies within the room.
        require(s.loose || Marlowen::Lum::elementCount(ArrayDimensionsView(shape)) <= room, "a shape within its room");
        checkRecord(error, nullptr);
        if (type == nullptr || room == 0) {
            return;
        }
        const void* stored = ZVariantData_C_API_constStoredData(&error, s.handle);
        unsigned sum = 0;
        if (isBoolean(type->code)) {
            // Read as bool, so that a byte nobody wrote (neither 0 nor 1) is
            // a load the undefined-behaviour sanitizer reports.
            const auto* flags = static_cast<const bool*>(stored);
            for (std::size_t i = 0; i < room * type->size; ++i) {
                sum += flags[i] ? 1u : 0u;
            }
        } else {
            const auto* bytes = static_cast<const unsigned char*>(stored);
            for (std::size_t i = 0; i < room * type->size; ++i) {
                sum += bytes[i];
            }
        }
        m_sink = m_sink + sum;
    }

    FuzzedDataProvider& m_in;
    const bool m_trace = std::getenv("LUMFUZZ_TRACE") != nullptr;
    std::array<Slot, kSlots> m_slots{};
    std::vector<std::unique_ptr<Lender>> m_lenders;
    std::vector<ZStringData*> m_texts;
    std::vector<Tensor> m_tensors;
    volatile unsigned m_sink = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider in(data, size);
    Program program(in);
    for (int steps = 0; steps < 64 && in.remaining_bytes() > 0; ++steps) {
        program.step();
    }
    return 0;
}
