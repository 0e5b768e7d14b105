// The CBOR writer: one walk of a variant or a tree into a rope of bytes,
// then one copy into a block of exactly the encoding's size, in which a
// large typed array is copied for the only time.
#include <algorithm>
#include <bit>
#include <deque>
#include <memory>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "LumCore/Cbor.hpp"
#include "LumCore/CustomTypeCodec.hpp"
#include "LumCore/internal/ElementTypeDispatch.hpp"
#include "exchange/CborTags.hpp"
#include "exchange/CborWriter.hpp"
#include "exchange/ExchangedArray.hpp"
#include "exchange/Utf8.hpp"
#include "variant/StorageInstances.hpp"

namespace Marlowen::Lum {

namespace {

using namespace Internal;

static_assert(std::endian::native == std::endian::little, "typed arrays are written as the host stores them");

// The encoding as it is written: small items appended to one growing
// block, and large payloads (a typed array's elements) kept as references to
// where they lie, so that they are copied once, into the result, when its
// exact size is known.
class ByteRope {
public:
    void put(std::uint8_t byte)
    {
        reserve(1);
        m_small[m_size++] = byte;
    }

    void put(const void* bytes, std::size_t count)
    {
        if (count >= kLargePayload) {
            m_spans.push_back(Span{m_size, static_cast<const std::uint8_t*>(bytes), count});
            m_spanBytes += count;
            return;
        }
        reserve(count);
        const auto* from = static_cast<const std::uint8_t*>(bytes);
        if (count <= 16) {
            for (std::size_t i = 0; i < count; ++i) {
                m_small[m_size + i] = from[i];
            }
        } else {
            std::memcpy(m_small.get() + m_size, from, count);
        }
        m_size += count;
    }

    [[nodiscard]] std::size_t size() const noexcept { return m_size + m_spanBytes; }

    void copyTo(std::uint8_t* out) const noexcept
    {
        std::size_t from = 0;
        for (const Span& span : m_spans) {
            copy(out, m_small.get() + from, span.at - from);
            copy(out, span.data, span.size);
            from = span.at;
        }
        copy(out, m_small.get() + from, m_size - from);
    }

private:
    static constexpr std::size_t kLargePayload = 4096;

    struct Span {
        std::size_t at;  // where it stands among the small bytes
        const std::uint8_t* data;
        std::size_t size;
    };

    static void copy(std::uint8_t*& out, const std::uint8_t* from, std::size_t count) noexcept
    {
        if (count != 0) {
            std::memcpy(out, from, count);
            out += count;
        }
    }

    void reserve(std::size_t count)
    {
        if (m_size + count <= m_capacity) {
            return;
        }
        const std::size_t capacity = std::max({std::size_t{4096}, 2 * m_capacity, m_size + count});
        auto grown = std::make_unique_for_overwrite<std::uint8_t[]>(capacity);
        if (m_size != 0) {
            std::memcpy(grown.get(), m_small.get(), m_size);
        }
        m_small = std::move(grown);
        m_capacity = capacity;
    }

    std::unique_ptr<std::uint8_t[]> m_small;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
    std::vector<Span> m_spans;
    std::size_t m_spanBytes = 0;
};

enum Major : std::uint8_t { kUnsigned = 0, kNegative = 1, kBytes = 2, kText = 3, kArray = 4, kMap = 5, kTag = 6 };

// What the codecs of application classes made, kept until the bytes are
// copied out: the rope may point into the arrays of their trees. A deque,
// so that a tree being written stays where it is while nested classes add
// theirs.
struct CodecResults {
    std::deque<EncodedCustomTypeValues> made;

    const EncodedCustomTypeValues& of(const ZVariant& value)
    {
        made.push_back(encodeCustomType(value));
        return made.back();
    }
};

class Emitter {
public:
    Emitter(ByteRope& sink, CodecResults& codecs) : m_sink(sink), m_codecs(codecs) {}

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
            const auto& list = node.list();
            head(kArray, list.size());
            for (const auto& item : list) {
                this->node(item);
            }
        } else if (node.isMap()) {
            const auto& map = node.map();
            head(kMap, map.size());
            for (const auto& [name, item] : map) {
                key(name);
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
        arrayHead(value);
        const auto count = static_cast<std::size_t>(elementCount(value.dimensions()));
        dispatchElementType(type, [&](auto tag) {
            using T = typename decltype(tag)::type;
            elements(static_cast<const T*>(value.constStoredData()), count);
        });
    }

private:
    // A key that is not UTF-8 has no CBOR form (a text string it must be).
    void key(InternedString name)
    {
        if (!isValidUtf8(name.data(), name.size())) {
            throw std::invalid_argument("A map key that is not valid UTF-8 has no CBOR form.");
        }
        text(name.data(), name.size());
    }

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

    // 40([extents, ... or 1040(...: the elements follow.
    void arrayHead(const ZVariant& array)
    {
        const DataOrdering ordering = exchangedOrdering(array, "CBOR");
        head(kTag, ordering == DataOrdering::RowMajor ? kTagRowMajor : kTagColumnMajor);
        head(kArray, 2);
        head(kArray, array.dimensions().size());
        for (const std::size_t extent : array.dimensions()) {
            head(kUnsigned, extent);
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
        if (!value.isScalarStorage()) {
            arrayHead(value);
        }
        const EncodedCustomTypeValues& encoded = m_codecs.of(value);
        head(kTag, kTagNamedClass);
        head(kArray, 2);
        text(encoded.typeName.data(), encoded.typeName.size());
        node(encoded.values);
    }

    ByteRope& m_sink;
    CodecResults& m_codecs;
};

// Writes the encoding, then copies it into the block `allocate(size)`
// returns (none: only the size is wanted).
template <class Item, class Allocate>
std::size_t encodeInto(const Item& item, Allocate&& allocate)
{
    CodecResults codecs;
    ByteRope rope;
    Emitter(rope, codecs).emit(item);
    std::uint8_t* block = allocate(rope.size());
    if (block != nullptr) {
        rope.copyTo(block);
    }
    return rope.size();
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

std::size_t Internal::encodeCborInto(const FPropertyNode& tree,
                                     const std::function<std::uint8_t*(std::size_t)>& allocate)
{
    return encodeInto(tree, allocate);
}

}  // namespace Marlowen::Lum
