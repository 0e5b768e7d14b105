// The CBOR writer: one walk of a variant or a tree, run twice over the same
// emitter code, first to count the bytes and then to write them into a
// block of exactly that size, so that a large typed array is copied once.
#include <bit>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "LumCore/Cbor.hpp"
#include "LumCore/CustomTypeCodec.hpp"
#include "LumCore/internal/ElementTypeDispatch.hpp"
#include "exchange/CborTags.hpp"
#include "exchange/Utf8.hpp"
#include "variant/StorageInstances.hpp"

namespace Marlowen::Lum {

namespace {

using namespace Internal;

static_assert(std::endian::native == std::endian::little, "typed arrays are written as the host stores them");

// Counts the bytes of the encoding.
struct ByteCounter {
    std::size_t size = 0;
    void put(std::uint8_t) noexcept { ++size; }
    void put(const void*, std::size_t count) noexcept { size += count; }
};

// Writes the encoding into a block the counter sized.
struct ByteWriter {
    std::uint8_t* out;
    void put(std::uint8_t byte) noexcept { *out++ = byte; }
    void put(const void* bytes, std::size_t count) noexcept
    {
        if (count != 0) {
            std::memcpy(out, bytes, count);
            out += count;
        }
    }
};

enum Major : std::uint8_t { kUnsigned = 0, kNegative = 1, kBytes = 2, kText = 3, kArray = 4, kMap = 5, kTag = 6 };

// What an application class's codec made, kept from the counting pass for
// the writing pass: both walk the same values in the same order.
struct CodecResults {
    std::vector<EncodedCustomTypeValues> made;
    std::size_t next = 0;
    bool counting = true;

    const EncodedCustomTypeValues& of(const ZVariant& value)
    {
        if (counting) {
            made.push_back(encodeCustomType(value));
            return made.back();
        }
        return made.at(next++);
    }
};

template <class Sink>
class Emitter {
public:
    Emitter(Sink& sink, CodecResults& codecs) : m_sink(sink), m_codecs(codecs) {}

    void emit(const ZVariant& value) { variant(value); }
    void emit(const PropertyNode& tree) { node(tree); }
    void emit(const FPropertyNode& tree) { node(tree); }

    // ---- Trees ---------------------------------------------------------------

    template <class Node>
    void node(const Node& node)
    {
        if (node.isValue()) {
            variant(node.value());
        } else if (node.isList()) {
            head(kArray, node.list().size());
            for (const auto& item : node.list()) {
                this->node(item);
            }
        } else if (node.isMap()) {
            head(kMap, node.map().size());
            for (const auto& [key, item] : node.map()) {
                text(key.data(), key.size());
                this->node(item);
            }
        } else {
            m_sink.put(0xf6);
        }
    }

    // ---- Variants ------------------------------------------------------------

    void variant(const ZVariant& value)
    {
        const WellKnownType type = value.wellKnownDataType();
        if (type == WellKnownType()) {
            m_sink.put(0xf7);  // the null variant: undefined
            return;
        }
        if (type == WellKnownType(WellKnownTypeValue::customType)) {
            namedClass(value);
            return;
        }
        if (value.isScalarStorage()) {
            dispatchElementType(type, [&](auto tag) {
                using T = typename decltype(tag)::type;
                scalar(*static_cast<const T*>(value.constStoredData()));
            });
            return;
        }
        const ArrayDimensionsView dims = value.dimensions();
        if (!shapeFitsIn(dims, value.numberAllocatedElements())) {
            throwDimensionsMismatch();
        }
        const DataOrdering ordering = value.dataOrdering();
        if (ordering != DataOrdering::RowMajor && ordering != DataOrdering::ColumnMajor) {
            throw std::invalid_argument(
                "An array stored in an ordering other than row- or column-major has no CBOR form.");
        }
        head(kTag, ordering == DataOrdering::RowMajor ? kTagRowMajor : kTagColumnMajor);
        head(kArray, 2);
        head(kArray, dims.size());
        for (const std::size_t extent : dims) {
            head(kUnsigned, extent);
        }
        const std::size_t count = static_cast<std::size_t>(elementCount(dims));
        dispatchElementType(type, [&](auto tag) {
            using T = typename decltype(tag)::type;
            elements(static_cast<const T*>(value.constStoredData()), count);
        });
    }

private:
    void head(std::uint8_t major, std::uint64_t value)
    {
        const auto initial = static_cast<std::uint8_t>(major << 5);
        if (value < 24) {
            m_sink.put(static_cast<std::uint8_t>(initial | value));
        } else if (value <= 0xff) {
            m_sink.put(initial | 24);
            m_sink.put(static_cast<std::uint8_t>(value));
        } else if (value <= 0xffff) {
            m_sink.put(initial | 25);
            bigEndian(static_cast<std::uint16_t>(value));
        } else if (value <= 0xffffffffu) {
            m_sink.put(initial | 26);
            bigEndian(static_cast<std::uint32_t>(value));
        } else {
            m_sink.put(initial | 27);
            bigEndian(value);
        }
    }

    template <class U>
    void bigEndian(U value)
    {
        for (int shift = 8 * static_cast<int>(sizeof(U)) - 8; shift >= 0; shift -= 8) {
            m_sink.put(static_cast<std::uint8_t>(value >> shift));
        }
    }

    void integer(std::int64_t value)
    {
        if (value >= 0) {
            head(kUnsigned, static_cast<std::uint64_t>(value));
        } else {
            head(kNegative, ~static_cast<std::uint64_t>(value));  // -1 - value
        }
    }

    void text(const char* data, std::size_t size)
    {
        head(kText, size);
        m_sink.put(data, size);
    }

    void word(const char* w) { text(w, std::strlen(w)); }

    // Valid UTF-8 is a text string; other bytes a byte string, which every
    // decoder reads and which comes back as the same text.
    void textOrBytes(const ZString& value)
    {
        head(isValidUtf8(value.data(), value.size()) ? kText : kBytes, value.size());
        m_sink.put(value.data(), value.size());
    }

    // ---- One element -----------------------------------------------------------

    template <class T>
    void scalar(const T& value)
    {
        if constexpr (std::is_same_v<T, bool>) {
            m_sink.put(value ? 0xf5 : 0xf4);
        } else if constexpr (std::is_same_v<T, std::int64_t>) {
            integer(value);
        } else if constexpr (std::is_same_v<T, double>) {
            m_sink.put(0xfb);
            bigEndian(std::bit_cast<std::uint64_t>(value));
        } else if constexpr (std::is_same_v<T, float>) {
            m_sink.put(0xfa);
            bigEndian(std::bit_cast<std::uint32_t>(value));
        } else if constexpr (std::is_integral_v<T>) {
            head(kTag, kTypedArrayTag<T>);
            head(kBytes, sizeof(T));
            m_sink.put(&value, sizeof(T));
        } else if constexpr (PartOf<T>::complex) {
            head(kTag, kTagComplex);
            head(kArray, 2);
            scalar(value.real());
            scalar(value.imag());
        } else if constexpr (std::is_same_v<T, ZString>) {
            if (isValidUtf8(value.data(), value.size())) {
                text(value.data(), value.size());
            } else {
                head(kTag, kTagNamedClass);
                head(kArray, 2);
                word("string");
                textOrBytes(value);
            }
        } else {
            static_assert(std::is_same_v<T, Duration> || std::is_same_v<T, TimePoint>);
            head(kTag, kTagNamedClass);
            head(kArray, 3);
            word(std::is_same_v<T, Duration> ? "duration" : "timePoint");
            integer(value.s);
            head(kUnsigned, value.f);
        }
    }

    // ---- The elements of an array, in storage order -----------------------------

    template <class T>
    void elements(const T* data, std::size_t count)
    {
        using Part = typename PartOf<T>::type;
        if constexpr (std::is_arithmetic_v<Part> && !std::is_same_v<Part, bool>) {
            constexpr std::size_t parts = PartOf<T>::complex ? 2 : 1;
            if constexpr (PartOf<T>::complex) {
                head(kTag, kTagComplexArray);
            }
            head(kTag, kTypedArrayTag<Part>);
            head(kBytes, count * parts * sizeof(Part));
            m_sink.put(data, count * parts * sizeof(Part));
        } else if constexpr (std::is_same_v<Part, bool>) {
            constexpr std::size_t parts = PartOf<T>::complex ? 2 : 1;
            if constexpr (PartOf<T>::complex) {
                head(kTag, kTagComplexArray);
            }
            namedList("bool", count * parts);
            const auto* flags = reinterpret_cast<const bool*>(data);
            for (std::size_t i = 0; i < count * parts; ++i) {
                m_sink.put(flags[i] ? 0xf5 : 0xf4);
            }
        } else if constexpr (std::is_same_v<T, ZString>) {
            namedList("string", count);
            for (std::size_t i = 0; i < count; ++i) {
                textOrBytes(data[i]);
            }
        } else {
            namedList(std::is_same_v<T, Duration> ? "duration" : "timePoint", 2 * count);
            for (std::size_t i = 0; i < count; ++i) {
                integer(data[i].s);
                head(kUnsigned, data[i].f);
            }
        }
    }

    // 27([word, [ ... `count` items follow ... ]])
    void namedList(const char* name, std::size_t count)
    {
        head(kTag, kTagNamedClass);
        head(kArray, 2);
        word(name);
        head(kArray, count);
    }

    // An application's class: 27([codec name, tree]), a map for a scalar, a
    // list of maps for an array inside its tag 40 or 1040.
    void namedClass(const ZVariant& value)
    {
        const bool array = !value.isScalarStorage();
        if (array) {
            const ArrayDimensionsView dims = value.dimensions();
            const DataOrdering ordering = value.dataOrdering();
            if (ordering != DataOrdering::RowMajor && ordering != DataOrdering::ColumnMajor) {
                throw std::invalid_argument(
                    "An array stored in an ordering other than row- or column-major has no CBOR form.");
            }
            head(kTag, ordering == DataOrdering::RowMajor ? kTagRowMajor : kTagColumnMajor);
            head(kArray, 2);
            head(kArray, dims.size());
            for (const std::size_t extent : dims) {
                head(kUnsigned, extent);
            }
        }
        const EncodedCustomTypeValues& encoded = m_codecs.of(value);
        head(kTag, kTagNamedClass);
        head(kArray, 2);
        text(encoded.typeName.data(), encoded.typeName.size());
        node(encoded.values);
    }

    Sink& m_sink;
    CodecResults& m_codecs;
};

// Counts, then writes into the block `allocate(size)` returns.
template <class Item, class Allocate>
std::size_t encodeInto(const Item& item, Allocate&& allocate)
{
    CodecResults codecs;
    ByteCounter counter;
    Emitter<ByteCounter>(counter, codecs).emit(item);
    std::uint8_t* block = allocate(counter.size);
    if (block != nullptr) {
        codecs.counting = false;
        ByteWriter writer{block};
        Emitter<ByteWriter>(writer, codecs).emit(item);
    }
    return counter.size;
}

template <class Item>
ZVariant encodeToArray(const Item& item)
{
    OwnedStorage<VectorVariantData<std::uint8_t>> bytes;
    encodeInto(item, [&](std::size_t size) {
        const std::size_t extent[] = {size};
        bytes = OwnedStorage<VectorVariantData<std::uint8_t>>(
            VectorVariantData<std::uint8_t>::createForOverwrite(ArrayDimensionsView(extent, 1), DataOrdering::RowMajor));
        return bytes->elements();
    });
    return ZVariant::adoptFlatHandle(reinterpret_cast<ZVariantData*>(bytes.release()));
}

template <class Item>
std::size_t encodeToBuffer(const Item& item, void* buffer, std::size_t capacity)
{
    return encodeInto(item, [&](std::size_t size) {
        return size <= capacity ? static_cast<std::uint8_t*>(buffer) : nullptr;
    });
}

}  // namespace

ZVariant encodeCbor(const ZVariant& value) { return encodeToArray(value); }
ZVariant encodeCbor(const PropertyNode& tree) { return encodeToArray(tree); }
ZVariant encodeCbor(const FPropertyNode& tree) { return encodeToArray(tree); }

std::size_t encodeCbor(const ZVariant& value, void* buffer, std::size_t capacity)
{
    return encodeToBuffer(value, buffer, capacity);
}
std::size_t encodeCbor(const PropertyNode& tree, void* buffer, std::size_t capacity)
{
    return encodeToBuffer(tree, buffer, capacity);
}
std::size_t encodeCbor(const FPropertyNode& tree, void* buffer, std::size_t capacity)
{
    return encodeToBuffer(tree, buffer, capacity);
}

}  // namespace Marlowen::Lum
