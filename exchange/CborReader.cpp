// The CBOR reader. Bytes from anywhere are normal input: every length is
// checked against the bytes that remain before anything is allocated for
// it, nesting and new names are bounded, and every failure names its byte
// offset. A typed array is copied once, into the array that holds it.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LumCore/Cbor.hpp"
#include "LumCore/CustomTypeCodec.hpp"
#include "exchange/CborTags.hpp"
#include "exchange/DecodedNames.hpp"
#include "exchange/DecodedTree.hpp"
#include "exchange/Utf8.hpp"
#include "variant/StorageInstances.hpp"

namespace Marlowen::Lum {

namespace {

using namespace Internal;

constexpr std::uint64_t kInt64Max = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());

[[noreturn]] void malformed(std::size_t offset, const std::string& what)
{
    throw std::invalid_argument("CBOR at byte " + std::to_string(offset) + ": " + what);
}

float halfToFloat(std::uint16_t half)
{
    const std::uint32_t sign = static_cast<std::uint32_t>(half & 0x8000u) << 16;
    const std::uint32_t exponent = (half >> 10) & 0x1fu;
    const std::uint32_t mantissa = half & 0x3ffu;
    if (exponent == 0) {  // zero and the subnormals: mantissa * 2^-24
        const float magnitude = std::ldexp(static_cast<float>(mantissa), -24);
        return sign != 0 ? -magnitude : magnitude;
    }
    const std::uint32_t bits = exponent == 31 ? sign | 0x7f800000u | (mantissa << 13)
                                              : sign | ((exponent + 112) << 23) | (mantissa << 13);
    return std::bit_cast<float>(bits);
}

// A new array of T from elements at `data` (any alignment), `count` of them.
template <class T>
ZVariant arrayOf(const void* data, std::size_t count, ArrayDimensionsView dims, DataOrdering ordering)
{
    return ZVariant::adoptFlatHandle(reinterpret_cast<ZVariantData*>(
        VectorVariantData<T>::createWithData(static_cast<const T*>(data), count, dims, ordering)));
}

// Where the elements of an array go: the extents of tag 40 or 1040, or one
// extent of however many there are.
struct Shape {
    std::vector<std::size_t> dims;
    bool oneDimensional = true;
    DataOrdering ordering = DataOrdering::RowMajor;
};

class Reader {
public:
    Reader(const void* bytes, std::size_t size, const DecodeLimits& limits)
        : m_begin(static_cast<const std::uint8_t*>(bytes)), m_pos(m_begin), m_end(m_begin + size),
          m_limits(limits), m_names(limits.maxNewNames)
    {
    }

    ZVariant readVariant()
    {
        ZVariant value = variantOf(head());
        finish();
        return value;
    }

    template <class Tree>
    typename Tree::Node readTree()
    {
        typename Tree::Node node = this->node<Tree>();
        finish();
        return node;
    }

private:
    struct Head {
        std::uint8_t major = 0;
        std::uint8_t info = 0;
        std::uint64_t value = 0;
        std::size_t offset = 0;
        [[nodiscard]] bool indefinite() const noexcept { return info == 31; }
    };

    // One more level of arrays, maps or tags, for as long as it lives.
    class Nesting {
    public:
        Nesting(Reader& reader, std::size_t offset) : m_reader(reader)
        {
            if (++m_reader.m_depth > m_reader.m_limits.maxDepth) {
                throw std::length_error("CBOR at byte " + std::to_string(offset) + ": nesting deeper than the limit of " +
                                        std::to_string(m_reader.m_limits.maxDepth));
            }
        }
        Nesting(const Nesting&) = delete;
        Nesting& operator=(const Nesting&) = delete;
        ~Nesting() { --m_reader.m_depth; }

    private:
        Reader& m_reader;
    };

    // The items of an array, definite or indefinite, one at a time.
    class Items {
    public:
        Items(Reader& reader, const Head& array) : m_reader(reader), m_array(array)
        {
            if (!array.indefinite() && array.value > reader.remaining()) {
                malformed(array.offset, "an array of " + std::to_string(array.value) + " items in " +
                                            std::to_string(reader.remaining()) + " bytes");
            }
        }
        // Whether another item follows; the break of an indefinite array is read.
        [[nodiscard]] bool more()
        {
            if (m_array.indefinite()) {
                return !m_reader.breakFollows();
            }
            return m_read < m_array.value;
        }
        void counted() noexcept { ++m_read; }
        // Reads past what remains of the array, which must be nothing.
        void end(const char* what)
        {
            if (more()) {
                malformed(m_array.offset, what);
            }
        }
        // The number of items a definite array declares, or 0 (none known).
        [[nodiscard]] std::size_t hint() const noexcept
        {
            return m_array.indefinite() ? 0 : static_cast<std::size_t>(m_array.value);
        }

    private:
        Reader& m_reader;
        Head m_array;
        std::uint64_t m_read = 0;
    };

    [[nodiscard]] std::size_t offset() const noexcept { return static_cast<std::size_t>(m_pos - m_begin); }
    [[nodiscard]] std::size_t remaining() const noexcept { return static_cast<std::size_t>(m_end - m_pos); }

    void need(std::size_t count) const
    {
        if (remaining() < count) {
            malformed(offset(), "the input ends inside an item");
        }
    }

    void finish() const
    {
        if (m_pos != m_end) {
            malformed(offset(), std::to_string(remaining()) + " bytes after the item");
        }
    }

    std::uint64_t bigEndian(std::size_t size)
    {
        need(size);
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            value = (value << 8) | *m_pos++;
        }
        return value;
    }

    Head head()
    {
        Head h;
        h.offset = offset();
        need(1);
        const std::uint8_t initial = *m_pos++;
        h.major = initial >> 5;
        h.info = initial & 31;
        if (h.info < 24) {
            h.value = h.info;
        } else if (h.info <= 27) {
            h.value = bigEndian(std::size_t{1} << (h.info - 24));
        } else if (h.info < 31) {
            malformed(h.offset, "reserved additional information " + std::to_string(h.info));
        } else if (h.major == 0 || h.major == 1 || h.major == 6) {
            malformed(h.offset, "an indefinite length on an item that has none");
        }
        return h;
    }

    // Whether a break (0xff) follows; it is read if so.
    bool breakFollows()
    {
        need(1);
        if (*m_pos == 0xff) {
            ++m_pos;
            return true;
        }
        return false;
    }

    // The bytes of a byte or text string: a view of the input, or for an
    // indefinite string its chunks joined (valid until the next string).
    std::string_view stringContent(const Head& h)
    {
        if (!h.indefinite()) {
            if (h.value > remaining()) {
                malformed(h.offset, "a string of " + std::to_string(h.value) + " bytes in " +
                                        std::to_string(remaining()) + " bytes");
            }
            const std::string_view view(reinterpret_cast<const char*>(m_pos), static_cast<std::size_t>(h.value));
            m_pos += h.value;
            return view;
        }
        m_joined.clear();
        while (!breakFollows()) {
            const Head chunk = head();
            if (chunk.major != h.major || chunk.indefinite()) {
                malformed(chunk.offset, "a chunk of an indefinite string that is no definite string of its kind");
            }
            const std::string_view part = stringContent(chunk);
            m_joined.append(part.data(), part.size());
        }
        return m_joined;
    }

    std::string_view text(const Head& h)
    {
        const std::string_view content = stringContent(h);
        if (!isValidUtf8(content.data(), content.size())) {
            malformed(h.offset, "a text string that is not valid UTF-8");
        }
        return content;
    }

    // ---- Trees -------------------------------------------------------------------

    template <class Tree>
    typename Tree::Node node()
    {
        const Head h = head();
        if (h.major == 4) {
            const Nesting nesting(*this, h.offset);
            std::vector<typename Tree::Node> nodes;
            Items items(*this, h);
            nodes.reserve(items.hint());
            for (; items.more(); items.counted()) {
                nodes.push_back(node<Tree>());
            }
            return Tree::list(std::move(nodes));
        }
        if (h.major == 5) {
            return map<Tree>(h);
        }
        if (h.major == 7 && h.info == 22) {
            return typename Tree::Node();  // null
        }
        return Tree::value(variantOf(h));
    }

    template <class Tree>
    typename Tree::Node map(const Head& h)
    {
        const Nesting nesting(*this, h.offset);
        if (!h.indefinite() && h.value > remaining() / 2) {
            malformed(h.offset, "a map of " + std::to_string(h.value) + " entries in " + std::to_string(remaining()) +
                                    " bytes");
        }
        DecodedEntries<Tree> entries;
        entries.reserve(h.indefinite() ? 0 : static_cast<std::size_t>(h.value));
        for (std::uint64_t i = 0; h.indefinite() ? !breakFollows() : i < h.value; ++i) {
            const Head keyHead = head();
            if (keyHead.major != 3) {
                malformed(keyHead.offset, "a map key that is not text");
            }
            const std::optional<InternedString> key = m_names.intern(text(keyHead));
            if (!key) {
                throw std::length_error("CBOR at byte " + std::to_string(keyHead.offset) +
                                        ": more new names than the limit of " +
                                        std::to_string(m_limits.maxNewNames));
            }
            const InternedString name = *key;
            entries.add(name, node<Tree>());
        }
        return entries.map();
    }

    // ---- Variants --------------------------------------------------------------

    ZVariant variantOf(const Head& h)
    {
        switch (h.major) {
        case 0:
            return h.value <= kInt64Max ? ZVariant(static_cast<std::int64_t>(h.value)) : ZVariant(h.value);
        case 1:
            if (h.value > kInt64Max) {
                malformed(h.offset, "an integer below the range of int64");
            }
            return ZVariant(static_cast<std::int64_t>(~h.value));  // -1 - n
        case 2: {
            const std::string_view bytes = stringContent(h);
            const std::size_t extent[] = {bytes.size()};
            return arrayOf<std::uint8_t>(bytes.data(), bytes.size(), ArrayDimensionsView(extent, 1),
                                         DataOrdering::RowMajor);
        }
        case 3:
            return ZVariant(ZString(text(h)));
        case 4:
            malformed(h.offset, "a list where a variant was expected");
        case 5:
            malformed(h.offset, "a map where a variant was expected");
        case 6:
            return tagged(h);
        default:
            return simple(h);
        }
    }

    ZVariant simple(const Head& h)
    {
        switch (h.info) {
        case 20:
            return ZVariant(false);
        case 21:
            return ZVariant(true);
        case 22:
        case 23:
            return ZVariant();  // null and undefined: the null variant
        case 25:
            return ZVariant(halfToFloat(static_cast<std::uint16_t>(h.value)));
        case 26:
            return ZVariant(std::bit_cast<float>(static_cast<std::uint32_t>(h.value)));
        case 27:
            return ZVariant(std::bit_cast<double>(h.value));
        case 31:
            malformed(h.offset, "a break outside an indefinite item");
        default:
            malformed(h.offset, "the simple value " + std::to_string(h.value) + ", which has no meaning here");
        }
    }

    ZVariant tagged(const Head& h)
    {
        const Nesting nesting(*this, h.offset);
        const std::uint64_t tag = h.value;
        if (tag == kTagRowMajor || tag == kTagColumnMajor) {
            return shaped(tag == kTagRowMajor ? DataOrdering::RowMajor : DataOrdering::ColumnMajor);
        }
        if (tag == kTagComplex) {
            return complexScalar(h);
        }
        if (tag == kTagNamedClass) {
            return namedScalar();
        }
        // A typed, complex, named or homogeneous array on its own: one
        // dimension; a typed array of one element is that element.
        Shape shape;
        if (typedArrayForm(tag).kind != TypedArrayForm::Kind::none) {
            return typedArray(tag, head(), shape, false, true);
        }
        if (tag == kTagComplexArray || tag == kTagHomogeneousArray) {
            return elements(h, shape);
        }
        malformed(h.offset, "the tag " + std::to_string(tag) + ", which has no meaning here");
    }

    // 40([extents, elements]) or 1040(...).
    ZVariant shaped(DataOrdering ordering)
    {
        const Head pair = head();
        if (pair.major != 4 || (!pair.indefinite() && pair.value != 2)) {
            malformed(pair.offset, "a shaped array that is not [extents, elements]");
        }
        Items parts(*this, pair);
        Shape shape;
        shape.oneDimensional = false;
        shape.ordering = ordering;
        if (!parts.more()) {
            malformed(pair.offset, "a shaped array that is not [extents, elements]");
        }
        const Head extents = head();
        if (extents.major != 4) {
            malformed(extents.offset, "extents that are not an array");
        }
        Items each(*this, extents);
        for (; each.more(); each.counted()) {
            const Head extent = head();
            if (extent.major != 0) {
                malformed(extent.offset, "an extent that is not an unsigned integer");
            }
            shape.dims.push_back(static_cast<std::size_t>(extent.value));
        }
        parts.counted();
        if (!parts.more()) {
            malformed(pair.offset, "a shaped array that is not [extents, elements]");
        }
        ZVariant value = elements(head(), shape);
        parts.counted();
        parts.end("a shaped array that is not [extents, elements]");
        return value;
    }

    // The elements of an array in any of their forms, put in `shape`.
    ZVariant elements(const Head& h, Shape& shape)
    {
        if (h.major == 4) {
            return plainArray(h, shape);
        }
        if (h.major != 6) {
            malformed(h.offset, "array elements that are neither a typed, a named nor a plain array");
        }
        const Nesting nesting(*this, h.offset);
        if (typedArrayForm(h.value).kind != TypedArrayForm::Kind::none) {
            return typedArray(h.value, head(), shape, false, false);
        }
        if (h.value == kTagComplexArray) {
            const Head inner = head();
            if (inner.major == 6 && typedArrayForm(inner.value).kind != TypedArrayForm::Kind::none) {
                const Nesting typed(*this, inner.offset);
                return typedArray(inner.value, head(), shape, true, false);
            }
            if (inner.major == 6 && inner.value == kTagNamedClass) {
                const Nesting named(*this, inner.offset);
                return namedArray(head(), shape, true);
            }
            malformed(inner.offset, "complex parts that are neither a typed array nor named booleans");
        }
        if (h.value == kTagNamedClass) {
            return namedArray(head(), shape, false);
        }
        if (h.value == kTagHomogeneousArray) {
            return plainArray(head(), shape);
        }
        malformed(h.offset, "the tag " + std::to_string(h.value) + ", which has no meaning here");
    }

    // The extents the elements fill; one extent of `count` for a bare array.
    void resolve(Shape& shape, std::size_t count, std::size_t at) const
    {
        if (shape.oneDimensional) {
            shape.dims.assign(1, count);
            return;
        }
        if (!elementCountFits(shape.dims) || elementCount(shape.dims) != count) {
            malformed(at, "extents that do not describe the " + std::to_string(count) + " elements given");
        }
    }

    // An RFC 8746 typed array; complex ones hold the parts interleaved.
    ZVariant typedArray(std::uint64_t tag, const Head& h, Shape& shape, bool complex, bool scalarIfOne)
    {
        if (h.major != 2) {
            malformed(h.offset, "a typed array that is not a byte string");
        }
        const TypedArrayForm form = typedArrayForm(tag);
        const std::string_view bytes = stringContent(h);
        const std::size_t unit = form.size * (complex ? 2u : 1u);
        if (bytes.size() % unit != 0) {
            malformed(h.offset, "a typed array of " + std::to_string(bytes.size()) + " bytes, no whole number of " +
                                    std::to_string(unit) + "-byte elements");
        }
        const std::size_t count = bytes.size() / unit;
        using K = TypedArrayForm::Kind;
        switch (form.size * 4 + static_cast<unsigned>(form.kind)) {
        case 1 * 4 + static_cast<unsigned>(K::unsignedInt):
            return parts<std::uint8_t>(bytes, count, form, shape, complex, scalarIfOne, h.offset);
        case 2 * 4 + static_cast<unsigned>(K::unsignedInt):
            return parts<std::uint16_t>(bytes, count, form, shape, complex, scalarIfOne, h.offset);
        case 4 * 4 + static_cast<unsigned>(K::unsignedInt):
            return parts<std::uint32_t>(bytes, count, form, shape, complex, scalarIfOne, h.offset);
        case 8 * 4 + static_cast<unsigned>(K::unsignedInt):
            return parts<std::uint64_t>(bytes, count, form, shape, complex, scalarIfOne, h.offset);
        case 1 * 4 + static_cast<unsigned>(K::signedInt):
            return parts<std::int8_t>(bytes, count, form, shape, complex, scalarIfOne, h.offset);
        case 2 * 4 + static_cast<unsigned>(K::signedInt):
            return parts<std::int16_t>(bytes, count, form, shape, complex, scalarIfOne, h.offset);
        case 4 * 4 + static_cast<unsigned>(K::signedInt):
            return parts<std::int32_t>(bytes, count, form, shape, complex, scalarIfOne, h.offset);
        case 8 * 4 + static_cast<unsigned>(K::signedInt):
            return parts<std::int64_t>(bytes, count, form, shape, complex, scalarIfOne, h.offset);
        case 2 * 4 + static_cast<unsigned>(K::floating):
        case 4 * 4 + static_cast<unsigned>(K::floating):
            return parts<float>(bytes, count, form, shape, complex, scalarIfOne, h.offset);
        default:
            return parts<double>(bytes, count, form, shape, complex, scalarIfOne, h.offset);
        }
    }

    // `count` elements of Part (or of complex Part) from the payload, in
    // the host's order: one copy where the payload is little-endian
    // already, a swap or a widening (float16) where it is not.
    template <class Part>
    ZVariant parts(std::string_view bytes, std::size_t count, const TypedArrayForm& form, Shape& shape, bool complex,
                   bool scalarIfOne, std::size_t at)
    {
        using Complexed = std::conditional_t<std::is_floating_point_v<Part>, std::complex<Part>, Complex<Part>>;
        const std::size_t partCount = count * (complex ? 2 : 1);
        std::vector<Part> converted;
        const void* data = bytes.data();
        if (form.bigEndian || form.size != sizeof(Part)) {
            converted.resize(partCount);
            const auto* in = reinterpret_cast<const std::uint8_t*>(bytes.data());
            for (std::size_t i = 0; i < partCount; ++i, in += form.size) {
                std::uint64_t raw = 0;
                for (unsigned b = 0; b < form.size; ++b) {
                    const unsigned shift = form.bigEndian ? 8 * (form.size - 1 - b) : 8 * b;
                    raw |= static_cast<std::uint64_t>(in[b]) << shift;
                }
                if constexpr (std::is_same_v<Part, float>) {
                    converted[i] = form.size == 2 ? halfToFloat(static_cast<std::uint16_t>(raw))
                                                  : std::bit_cast<float>(static_cast<std::uint32_t>(raw));
                } else if constexpr (std::is_same_v<Part, double>) {
                    converted[i] = std::bit_cast<double>(raw);
                } else {
                    converted[i] = static_cast<Part>(raw);
                }
            }
            data = converted.data();
        }
        if (scalarIfOne && count == 1) {
            Part one;
            std::memcpy(&one, data, sizeof(Part));
            return ZVariant(one);
        }
        resolve(shape, count, at);
        if (complex) {
            return arrayOf<Complexed>(data, count, shape.dims, shape.ordering);
        }
        return arrayOf<Part>(data, count, shape.dims, shape.ordering);
    }

    // 43000([re, im]): the parts are scalars of one real class.
    ZVariant complexScalar(const Head& tag)
    {
        const Head pair = head();
        if (pair.major != 4) {
            malformed(pair.offset, "a complex number that is not [re, im]");
        }
        Items items(*this, pair);
        ZVariant part[2];
        for (ZVariant& p : part) {
            if (!items.more()) {
                malformed(pair.offset, "a complex number that is not [re, im]");
            }
            p = variantOf(head());
            items.counted();
        }
        items.end("a complex number that is not [re, im]");
        const WellKnownType type = part[0].wellKnownDataType();
        if (!part[0].isScalarStorage() || !part[1].isScalarStorage() || type != part[1].wellKnownDataType() ||
            type.isComplex() || !(type.isNumeric() || type == WellKnownType(WellKnownTypeValue::bool_))) {
            malformed(tag.offset, "the parts of a complex number are not two numbers of one class");
        }
        return dispatchElementType(type, [&](auto typeTag) -> ZVariant {
            using Part = typename decltype(typeTag)::type;
            if constexpr (std::is_arithmetic_v<Part>) {
                using Complexed = std::conditional_t<std::is_floating_point_v<Part>, std::complex<Part>, Complex<Part>>;
                return ZVariant(Complexed(part[0].elementAt<Part>(0), part[1].elementAt<Part>(0)));
            } else {
                return ZVariant();  // not reached: the parts are real
            }
        });
    }

    // The items of 27([name, ...]), `shape` saying what was expected; at
    // least one follows.
    Items namedItems(const Head& array, const char* shape)
    {
        if (array.major != 4) {
            malformed(array.offset, shape);
        }
        Items items(*this, array);
        if (!items.more()) {
            malformed(array.offset, shape);
        }
        return items;
    }

    // The first item, the class's name.
    std::string className(Items& items)
    {
        const Head nameHead = head();
        if (nameHead.major != 3) {
            malformed(nameHead.offset, "a class name that is not text");
        }
        std::string name(text(nameHead));
        items.counted();
        return name;
    }

    // 27([name, ...]) outside an array: a time, text that is not UTF-8, a
    // one-dimensional named array, or an application's class.
    ZVariant namedScalar()
    {
        const Head array = head();
        Items items = namedItems(array, "a named class that is not [name, content]");
        const std::string name = className(items);
        if (name == "duration" || name == "timePoint") {
            const Head next = head();
            if (next.major == 4) {  // a one-dimensional array of times
                Shape shape;
                ZVariant value = timeArray(name, next, shape);
                items.counted();
                items.end("a named class that is not [name, content]");
                return value;
            }
            const std::int64_t s = signedInteger(next);
            items.counted();
            if (!items.more()) {
                malformed(array.offset, "a time that is not [name, seconds, fraction]");
            }
            const Head fraction = head();
            if (fraction.major != 0) {
                malformed(fraction.offset, "a time's fraction that is not an unsigned integer");
            }
            items.counted();
            items.end("a time that is not [name, seconds, fraction]");
            return name == "duration" ? ZVariant(Duration{s, fraction.value}) : ZVariant(TimePoint{s, fraction.value});
        }
        if (!items.more()) {
            malformed(array.offset, "a named class that is not [name, content]");
        }
        ZVariant value;
        if (name == "string") {
            const Head content = head();
            if (content.major == 2 || content.major == 3) {
                value = ZVariant(ZString(content.major == 3 ? text(content) : stringContent(content)));
            } else {
                Shape shape;
                value = namedContent(name, content, shape, false);
            }
        } else if (name == "bool") {
            Shape shape;
            value = namedContent(name, head(), shape, false);
        } else {
            value = decodeCustomType({ZString(name), node<MutableTree>()});
        }
        items.counted();
        items.end("a named class that is not [name, content]");
        return value;
    }

    // 27([name, [elements]]) inside an array.
    ZVariant namedArray(const Head& array, Shape& shape, bool complex)
    {
        Items items = namedItems(array, "named elements that are not [name, elements]");
        const std::size_t nameAt = offset();
        const std::string name = className(items);
        if (!items.more()) {
            malformed(array.offset, "named elements that are not [name, elements]");
        }
        if (complex && name != "bool") {
            malformed(nameAt, "complex parts named '" + name + "'; only booleans are named");
        }
        ZVariant value;
        if (name == "bool" || name == "string" || name == "duration" || name == "timePoint") {
            value = namedContent(name, head(), shape, complex);
        } else {
            value = customArray(name, shape, array.offset);
        }
        items.counted();
        items.end("named elements that are not [name, elements]");
        return value;
    }

    ZVariant namedContent(const std::string& name, const Head& h, Shape& shape, bool complex)
    {
        if (h.major != 4) {
            malformed(h.offset, "the elements of '" + name + "' are not an array");
        }
        const Nesting nesting(*this, h.offset);
        if (name == "bool") {
            return boolArray(h, shape, complex);
        }
        if (name == "string") {
            return stringArray(h, shape);
        }
        return timeArray(name, h, shape);
    }

    ZVariant boolArray(const Head& h, Shape& shape, bool complex)
    {
        std::vector<std::uint8_t> flags;
        Items items(*this, h);
        flags.reserve(items.hint());
        for (; items.more(); items.counted()) {
            const Head flag = head();
            if (flag.major != 7 || (flag.info != 20 && flag.info != 21)) {
                malformed(flag.offset, "an element of 'bool' that is not a boolean");
            }
            flags.push_back(flag.info == 21 ? 1 : 0);
        }
        if (complex && flags.size() % 2 != 0) {
            malformed(h.offset, "an odd number of complex parts");
        }
        const std::size_t count = complex ? flags.size() / 2 : flags.size();
        resolve(shape, count, h.offset);
        return complex ? arrayOf<Complex<bool>>(flags.data(), count, shape.dims, shape.ordering)
                       : arrayOf<bool>(flags.data(), count, shape.dims, shape.ordering);
    }

    ZVariant stringArray(const Head& h, Shape& shape)
    {
        std::vector<ZString> texts;
        Items items(*this, h);
        texts.reserve(items.hint());
        for (; items.more(); items.counted()) {
            const Head item = head();
            if (item.major == 3) {
                texts.emplace_back(text(item));
            } else if (item.major == 2) {
                texts.emplace_back(stringContent(item));  // text that is not UTF-8
            } else {
                malformed(item.offset, "an element of 'string' that is no string");
            }
        }
        resolve(shape, texts.size(), h.offset);
        return arrayOf<ZString>(texts.data(), texts.size(), shape.dims, shape.ordering);
    }

    ZVariant timeArray(const std::string& name, const Head& h, Shape& shape)
    {
        std::vector<Duration> times;
        Items items(*this, h);
        times.reserve(items.hint() / 2);
        for (; items.more(); items.counted()) {
            const std::int64_t s = signedInteger(head());
            items.counted();
            if (!items.more()) {
                malformed(h.offset, "an odd number of time fields");
            }
            const Head fraction = head();
            if (fraction.major != 0) {
                malformed(fraction.offset, "a time's fraction that is not an unsigned integer");
            }
            times.push_back(Duration{s, fraction.value});
        }
        resolve(shape, times.size(), h.offset);
        if (name == "duration") {
            return arrayOf<Duration>(times.data(), times.size(), shape.dims, shape.ordering);
        }
        return arrayOf<TimePoint>(times.data(), times.size(), shape.dims, shape.ordering);  // same two fields
    }

    // An application's class: its codec turns the list of trees into a
    // one-dimensional array, which then takes the shape it came in.
    ZVariant customArray(const std::string& name, Shape& shape, std::size_t at)
    {
        PropertyNode trees = node<MutableTree>();
        if (!trees.isList()) {
            malformed(at, "the elements of '" + name + "' are not a list");
        }
        const std::size_t count = trees.list().size();
        resolve(shape, count, at);
        ZVariant flat = decodeCustomType({ZString(name), std::move(trees)});
        if (!sameExtents(flat.dimensions(), shape.dims) || shape.ordering != DataOrdering::RowMajor) {
            flat.reshapeToZVariant(shape.dims, shape.ordering);
        }
        return flat;
    }

    // A plain array under tag 40 or 41: integers give int64, numbers with
    // any float double, booleans bool, texts string; none gives double.
    ZVariant plainArray(const Head& h, Shape& shape)
    {
        if (h.major != 4) {
            malformed(h.offset, "a homogeneous array that is not an array");
        }
        const Nesting nesting(*this, h.offset);
        enum class Kind { none, integers, reals, booleans, texts } kind = Kind::none;
        std::vector<std::int64_t> integers;
        std::vector<double> reals;
        std::vector<std::uint8_t> flags;
        std::vector<ZString> texts;
        Items items(*this, h);
        for (; items.more(); items.counted()) {
            const Head item = head();
            Kind now;
            if (item.major == 0 || item.major == 1) {
                now = (item.value <= kInt64Max && kind != Kind::reals) ? Kind::integers : Kind::reals;
            } else if (item.major == 7 && item.info >= 25 && item.info <= 27) {
                now = Kind::reals;
            } else if (item.major == 7 && (item.info == 20 || item.info == 21)) {
                now = Kind::booleans;
            } else if (item.major == 3) {
                now = Kind::texts;
            } else {
                malformed(item.offset, "an element of a plain array that is no number, boolean or text");
            }
            const bool numbers = (now == Kind::integers || now == Kind::reals) &&
                                 (kind == Kind::integers || kind == Kind::reals || kind == Kind::none);
            if (kind != Kind::none && now != kind && !numbers) {
                malformed(item.offset, "a plain array of elements of different kinds");
            }
            if (now == Kind::reals && kind == Kind::integers) {
                reals.assign(integers.begin(), integers.end());
                integers.clear();
            }
            if (numbers && kind == Kind::reals) {
                now = Kind::reals;
            }
            kind = now;
            switch (kind) {
            case Kind::integers:
                integers.push_back(item.major == 0 ? static_cast<std::int64_t>(item.value)
                                                   : static_cast<std::int64_t>(~item.value));
                break;
            case Kind::reals:
                reals.push_back(numberOf(item));
                break;
            case Kind::booleans:
                flags.push_back(item.info == 21 ? 1 : 0);
                break;
            default:
                texts.emplace_back(text(item));
                break;
            }
        }
        switch (kind) {
        case Kind::integers:
            resolve(shape, integers.size(), h.offset);
            return arrayOf<std::int64_t>(integers.data(), integers.size(), shape.dims, shape.ordering);
        case Kind::booleans:
            resolve(shape, flags.size(), h.offset);
            return arrayOf<bool>(flags.data(), flags.size(), shape.dims, shape.ordering);
        case Kind::texts:
            resolve(shape, texts.size(), h.offset);
            return arrayOf<ZString>(texts.data(), texts.size(), shape.dims, shape.ordering);
        default:
            resolve(shape, reals.size(), h.offset);
            return arrayOf<double>(reals.data(), reals.size(), shape.dims, shape.ordering);
        }
    }

    // A number item of a plain array, as double.
    static double numberOf(const Head& item)
    {
        if (item.major == 0) {
            return static_cast<double>(item.value);
        }
        if (item.major == 1) {
            return -1.0 - static_cast<double>(item.value);
        }
        if (item.info == 25) {
            return halfToFloat(static_cast<std::uint16_t>(item.value));
        }
        if (item.info == 26) {
            return std::bit_cast<float>(static_cast<std::uint32_t>(item.value));
        }
        return std::bit_cast<double>(item.value);
    }

    std::int64_t signedInteger(const Head& h) const
    {
        if ((h.major != 0 && h.major != 1) || h.value > kInt64Max) {
            malformed(h.offset, "a time's seconds that are not an integer of int64's range");
        }
        return h.major == 0 ? static_cast<std::int64_t>(h.value) : static_cast<std::int64_t>(~h.value);
    }

    const std::uint8_t* m_begin;
    const std::uint8_t* m_pos;
    const std::uint8_t* m_end;
    DecodeLimits m_limits;
    std::size_t m_depth = 0;
    DecodedNames m_names;
    std::string m_joined;
};

}  // namespace

ZVariant decodeCborVariant(const void* bytes, std::size_t size, const DecodeLimits& limits)
{
    return Reader(bytes, size, limits).readVariant();
}

FPropertyNode decodeCborTree(const void* bytes, std::size_t size, const DecodeLimits& limits)
{
    return Reader(bytes, size, limits).readTree<FrozenTree>();
}

PropertyNode decodeCborPropertyNode(const void* bytes, std::size_t size, const DecodeLimits& limits)
{
    return Reader(bytes, size, limits).readTree<MutableTree>();
}

}  // namespace Marlowen::Lum
