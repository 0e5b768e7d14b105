// The JSON reader: one pass of recursive descent. A JSON array is gathered
// as a grid of leaves while it is rectangular and of one kind (numbers,
// texts or booleans), and becomes one n-dimensional array when it closes;
// the first element that breaks the grid turns what was gathered into
// nodes, and the array into a list.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LumCore/Json.hpp"
#include "exchange/DecodedNames.hpp"
#include "exchange/DecodedTree.hpp"
#include "exchange/Utf8.hpp"
#include "variant/StorageInstances.hpp"

namespace Marlowen::Lum {

namespace {

using namespace Internal;

struct Number {
    std::int64_t integer = 0;
    double real = 0;
    bool isInteger = false;  // an integer of int64's range
    bool isUnsigned = false;  // an integer above it, of uint64's
};

// Leaves of one kind in a rectangle: a number, text or boolean on its own
// (no extents), or a JSON array of them (its extents).
struct Grid {
    enum class Kind { none, numbers, texts, booleans };
    Kind kind = Kind::none;
    std::vector<std::size_t> extents;  // of the whole grid; none for a leaf
    std::vector<Number> numbers;
    std::vector<ZString> texts;
    std::vector<std::uint8_t> flags;

    [[nodiscard]] std::size_t size() const noexcept
    {
        return kind == Kind::numbers ? numbers.size() : kind == Kind::texts ? texts.size() : flags.size();
    }

    // Elements [first, first + count) as a scalar (no extents) or an array.
    [[nodiscard]] ZVariant variant(std::size_t first, std::size_t count, ArrayDimensionsView dims) const
    {
        if (kind == Kind::texts) {
            return dims.empty() ? ZVariant(texts[first]) : makeArray(texts.data() + first, count, dims);
        }
        if (kind == Kind::booleans) {
            return dims.empty() ? ZVariant(flags[first] != 0)
                                : makeArray(reinterpret_cast<const bool*>(flags.data() + first), count, dims);
        }
        if (dims.empty()) {
            return scalarOf(numbers[first]);
        }
        const bool integers = std::all_of(numbers.begin() + static_cast<std::ptrdiff_t>(first),
                                          numbers.begin() + static_cast<std::ptrdiff_t>(first + count),
                                          [](const Number& n) { return n.isInteger; });
        if (integers) {
            OwnedStorage<VectorVariantData<std::int64_t>> array(
                VectorVariantData<std::int64_t>::createForOverwrite(dims, DataOrdering::RowMajor));
            for (std::size_t i = 0; i < count; ++i) {
                array->elements()[i] = numbers[first + i].integer;
            }
            return ZVariant::adoptFlatHandle(reinterpret_cast<ZVariantData*>(array.release()));
        }
        OwnedStorage<VectorVariantData<double>> array(
            VectorVariantData<double>::createForOverwrite(dims, DataOrdering::RowMajor));
        for (std::size_t i = 0; i < count; ++i) {
            array->elements()[i] = numbers[first + i].real;
        }
        return ZVariant::adoptFlatHandle(reinterpret_cast<ZVariantData*>(array.release()));
    }

    static ZVariant scalarOf(const Number& n)
    {
        if (n.isInteger) {
            return ZVariant(n.integer);
        }
        return n.isUnsigned ? ZVariant(static_cast<std::uint64_t>(n.integer)) : ZVariant(n.real);
    }

    template <class T>
    static ZVariant makeArray(const T* data, std::size_t count, ArrayDimensionsView dims)
    {
        return ZVariant::adoptFlatHandle(reinterpret_cast<ZVariantData*>(
            VectorVariantData<T>::createWithData(data, count, dims, DataOrdering::RowMajor)));
    }

    // Appends `other`'s leaves after these.
    void append(Grid&& other)
    {
        numbers.insert(numbers.end(), other.numbers.begin(), other.numbers.end());
        texts.insert(texts.end(), std::make_move_iterator(other.texts.begin()),
                     std::make_move_iterator(other.texts.end()));
        flags.insert(flags.end(), other.flags.begin(), other.flags.end());
    }
};

template <class Tree>
class JsonReader {
    using Node = typename Tree::Node;

public:
    JsonReader(std::string_view text, const DecodeLimits& limits)
        : m_begin(text.data()), m_pos(text.data()), m_end(text.data() + text.size()), m_limits(limits),
          m_names(limits.maxNewNames)
    {
    }

    Node read()
    {
        Parsed value = parse();
        space();
        if (m_pos != m_end) {
            fail(m_pos, "text after the value");
        }
        return toNode(std::move(value));
    }

private:
    // A value as parsed: a node, or leaves that may still join a grid.
    struct Parsed {
        Node node;
        Grid grid;
        bool isGrid = false;
    };

    [[noreturn]] void fail(const char* at, const std::string& what, bool limit = false) const
    {
        std::size_t line = 1;
        const char* lineStart = m_begin;
        for (const char* p = m_begin; p < at; ++p) {
            if (*p == '\n') {
                ++line;
                lineStart = p + 1;
            }
        }
        const std::string message = "JSON at line " + std::to_string(line) + ", column " +
                                    std::to_string(at - lineStart + 1) + ": " + what;
        if (limit) {
            throw std::length_error(message);
        }
        throw std::invalid_argument(message);
    }

    void space()
    {
        while (m_pos != m_end && (*m_pos == ' ' || *m_pos == '\n' || *m_pos == '\r' || *m_pos == '\t')) {
            ++m_pos;
        }
    }

    class Nesting {
    public:
        Nesting(JsonReader& reader) : m_reader(reader)
        {
            if (++m_reader.m_depth > m_reader.m_limits.maxDepth) {
                m_reader.fail(m_reader.m_pos,
                              "nesting deeper than the limit of " + std::to_string(m_reader.m_limits.maxDepth), true);
            }
        }
        Nesting(const Nesting&) = delete;
        Nesting& operator=(const Nesting&) = delete;
        ~Nesting() { --m_reader.m_depth; }

    private:
        JsonReader& m_reader;
    };

    Parsed parse()
    {
        space();
        if (m_pos == m_end) {
            fail(m_pos, "the text ends where a value was expected");
        }
        Parsed parsed;
        switch (*m_pos) {
        case '{':
            parsed.node = object();
            return parsed;
        case '[':
            return array();
        case '"': {
            parsed.isGrid = true;
            parsed.grid.kind = Grid::Kind::texts;
            parsed.grid.texts.emplace_back(string());
            return parsed;
        }
        case 't':
        case 'f':
            parsed.isGrid = true;
            parsed.grid.kind = Grid::Kind::booleans;
            parsed.grid.flags.push_back(word(*m_pos == 't' ? "true" : "false") ? 1 : 0);
            return parsed;
        case 'n':
            word("null");
            return parsed;
        default:
            parsed.isGrid = true;
            parsed.grid.kind = Grid::Kind::numbers;
            parsed.grid.numbers.push_back(number());
            return parsed;
        }
    }

    bool word(std::string_view expected)
    {
        if (static_cast<std::size_t>(m_end - m_pos) < expected.size() ||
            std::string_view(m_pos, expected.size()) != expected) {
            fail(m_pos, "an unexpected character");
        }
        m_pos += expected.size();
        return expected == "true";
    }

    Node object()
    {
        const Nesting nesting(*this);
        ++m_pos;  // {
        DecodedEntries<Tree> entries;
        space();
        if (m_pos != m_end && *m_pos == '}') {
            ++m_pos;
            return entries.map();
        }
        for (;;) {
            space();
            if (m_pos == m_end || *m_pos != '"') {
                fail(m_pos, "a key that is not a string");
            }
            const char* keyAt = m_pos;
            const std::string_view text = string();
            const std::optional<InternedString> key = m_names.intern(text);
            if (!key) {
                fail(keyAt, "more new names than the limit of " + std::to_string(m_limits.maxNewNames), true);
            }
            const InternedString name = *key;
            space();
            if (m_pos == m_end || *m_pos != ':') {
                fail(m_pos, "a missing ':' after a key");
            }
            ++m_pos;
            entries.add(name, valueNode());
            space();
            if (m_pos != m_end && *m_pos == ',') {
                ++m_pos;
                continue;
            }
            if (m_pos != m_end && *m_pos == '}') {
                ++m_pos;
                return entries.map();
            }
            fail(m_pos, "a missing ',' or '}' in an object");
        }
    }

    Parsed array()
    {
        const Nesting nesting(*this);
        ++m_pos;  // [
        Parsed result;
        Grid& grid = result.grid;
        std::vector<std::size_t> inner;  // the extents of each element while they form a grid
        std::size_t count = 0;
        bool isGrid = true;
        std::vector<Node> nodes;
        space();
        if (m_pos != m_end && *m_pos == ']') {
            ++m_pos;
            result.node = Tree::list(std::move(nodes));  // [] is a list
            return result;
        }
        for (;;) {
            Parsed item = parse();
            if (isGrid) {
                const bool numbers = item.grid.kind == Grid::Kind::numbers && grid.kind == Grid::Kind::numbers;
                const bool fits = item.isGrid && (count == 0 || ((item.grid.kind == grid.kind || numbers) &&
                                                                  item.grid.extents == inner));
                if (fits) {
                    if (count == 0) {
                        grid.kind = item.grid.kind;
                        inner = item.grid.extents;
                    }
                    grid.append(std::move(item.grid));
                    ++count;
                } else {
                    nodes = demote(grid, inner, count);
                    isGrid = false;
                }
            }
            if (!isGrid) {
                nodes.push_back(toNode(std::move(item)));
            }
            space();
            if (m_pos != m_end && *m_pos == ',') {
                ++m_pos;
                continue;
            }
            if (m_pos != m_end && *m_pos == ']') {
                ++m_pos;
                break;
            }
            fail(m_pos, "a missing ',' or ']' in an array");
        }
        if (!isGrid) {
            result.node = Tree::list(std::move(nodes));
            return result;
        }
        grid.extents.assign(1, count);
        grid.extents.insert(grid.extents.end(), inner.begin(), inner.end());
        result.isGrid = true;
        return result;
    }

    // A map's value: a leaf becomes its node at once, with no grid to
    // gather it in (only an array's elements may form one).
    Node valueNode()
    {
        space();
        switch (m_pos == m_end ? '[' : *m_pos) {
        case '"':
            return Tree::value(ZVariant(ZString(string())));
        case 't':
        case 'f':
            return Tree::value(ZVariant(word(*m_pos == 't' ? "true" : "false")));
        case 'n':
            word("null");
            return Node();
        case '{':
            return object();
        case '[':
            return toNode(parse());  // (also where the text ends, to fail there)
        default:
            return Tree::value(Grid::scalarOf(number()));
        }
    }

    // The `count` elements gathered so far, each a node of its own.
    std::vector<Node> demote(const Grid& grid, const std::vector<std::size_t>& inner, std::size_t count)
    {
        std::vector<Node> nodes;
        nodes.reserve(count + 1);
        const std::size_t each = count == 0 ? 0 : grid.size() / count;
        for (std::size_t i = 0; i < count; ++i) {
            nodes.push_back(Tree::value(grid.variant(i * each, each, inner)));
        }
        return nodes;
    }

    Node toNode(Parsed&& parsed)
    {
        if (!parsed.isGrid) {
            return std::move(parsed.node);
        }
        return Tree::value(parsed.grid.variant(0, parsed.grid.size(), parsed.grid.extents));
    }

    // ---- Leaves ------------------------------------------------------------------

    Number number()
    {
        const char* start = m_pos;
        if (m_pos != m_end && *m_pos == '-') {
            ++m_pos;
        }
        const char* digits = m_pos;
        while (m_pos != m_end && *m_pos >= '0' && *m_pos <= '9') {
            ++m_pos;
        }
        if (m_pos == digits || (*digits == '0' && m_pos - digits > 1)) {
            fail(start, m_pos == digits ? "an unexpected character" : "a number with a leading zero");
        }
        bool integral = true;
        if (m_pos != m_end && *m_pos == '.') {
            integral = false;
            const char* fraction = ++m_pos;
            while (m_pos != m_end && *m_pos >= '0' && *m_pos <= '9') {
                ++m_pos;
            }
            if (m_pos == fraction) {
                fail(m_pos, "a number with no digit after its point");
            }
        }
        bool negativeExponent = false;
        if (m_pos != m_end && (*m_pos == 'e' || *m_pos == 'E')) {
            integral = false;
            ++m_pos;
            if (m_pos != m_end && (*m_pos == '+' || *m_pos == '-')) {
                negativeExponent = *m_pos == '-';
                ++m_pos;
            }
            const char* exponent = m_pos;
            while (m_pos != m_end && *m_pos >= '0' && *m_pos <= '9') {
                ++m_pos;
            }
            if (m_pos == exponent) {
                fail(m_pos, "a number with no digit in its exponent");
            }
        }
        Number n;
        if (integral) {
            if (std::from_chars(start, m_pos, n.integer).ec == std::errc()) {
                n.isInteger = true;
                n.real = static_cast<double>(n.integer);
                return n;
            }
            std::uint64_t large = 0;
            if (*start != '-' && std::from_chars(start, m_pos, large).ec == std::errc()) {
                n.isUnsigned = true;
                n.integer = static_cast<std::int64_t>(large);
                n.real = static_cast<double>(large);
                return n;
            }
        }
        // Locale-free and exact; beyond double's range, an infinity or zero.
        if (std::from_chars(start, m_pos, n.real).ec != std::errc()) {
            const double magnitude = negativeExponent ? 0.0 : std::numeric_limits<double>::infinity();
            n.real = *start == '-' ? -magnitude : magnitude;
        }
        return n;
    }

    // The text of a string: a view of the input when it has no escape, else
    // the unescaped bytes (valid until the next string).
    std::string_view string()
    {
        const char* open = m_pos++;
        const char* run = m_pos;
        while (m_pos != m_end && *m_pos != '"' && *m_pos != '\\' && static_cast<unsigned char>(*m_pos) >= 0x20) {
            ++m_pos;
        }
        if (m_pos != m_end && *m_pos == '"') {
            const std::string_view text(run, static_cast<std::size_t>(m_pos - run));
            checkUtf8(text, run);
            ++m_pos;
            return text;
        }
        m_unescaped.assign(run, m_pos);
        for (;;) {
            if (m_pos == m_end) {
                fail(open, "a string with no closing quote");
            }
            const char c = *m_pos;
            if (c == '"') {
                ++m_pos;
                break;
            }
            if (static_cast<unsigned char>(c) < 0x20) {
                fail(m_pos, "a control character in a string");
            }
            if (c != '\\') {
                m_unescaped += c;
                ++m_pos;
                continue;
            }
            if (++m_pos == m_end) {
                fail(open, "a string with no closing quote");
            }
            const char escaped = *m_pos++;
            switch (escaped) {
            case '"':
            case '\\':
            case '/':
                m_unescaped += escaped;
                break;
            case 'b':
                m_unescaped += '\b';
                break;
            case 'f':
                m_unescaped += '\f';
                break;
            case 'n':
                m_unescaped += '\n';
                break;
            case 'r':
                m_unescaped += '\r';
                break;
            case 't':
                m_unescaped += '\t';
                break;
            case 'u':
                codePoint();
                break;
            default:
                fail(m_pos - 2, "an unknown escape");
            }
        }
        checkUtf8(m_unescaped, open);
        return m_unescaped;
    }

    void checkUtf8(std::string_view text, const char* at) const
    {
        if (!isValidUtf8(text.data(), text.size())) {
            fail(at, "a string that is not valid UTF-8");
        }
    }

    unsigned hex4()
    {
        if (m_end - m_pos < 4) {
            fail(m_pos, "a \\u escape of fewer than four hex digits");
        }
        unsigned value = 0;
        for (int i = 0; i < 4; ++i, ++m_pos) {
            const char c = *m_pos;
            const unsigned digit = c >= '0' && c <= '9'   ? static_cast<unsigned>(c - '0')
                                   : c >= 'a' && c <= 'f' ? static_cast<unsigned>(c - 'a' + 10)
                                   : c >= 'A' && c <= 'F' ? static_cast<unsigned>(c - 'A' + 10)
                                                          : 16u;
            if (digit == 16) {
                fail(m_pos, "a \\u escape of fewer than four hex digits");
            }
            value = value * 16 + digit;
        }
        return value;
    }

    // \uXXXX, a surrogate pair as one code point, in UTF-8.
    void codePoint()
    {
        const char* at = m_pos - 2;
        unsigned code = hex4();
        if (code >= 0xDC00 && code <= 0xDFFF) {
            fail(at, "a lone surrogate in a \\u escape");
        }
        if (code >= 0xD800 && code <= 0xDBFF) {
            if (m_end - m_pos < 2 || m_pos[0] != '\\' || m_pos[1] != 'u') {
                fail(at, "a lone surrogate in a \\u escape");
            }
            m_pos += 2;
            const unsigned low = hex4();
            if (low < 0xDC00 || low > 0xDFFF) {
                fail(at, "a lone surrogate in a \\u escape");
            }
            code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
        }
        if (code < 0x80) {
            m_unescaped += static_cast<char>(code);
        } else if (code < 0x800) {
            m_unescaped += static_cast<char>(0xC0 | (code >> 6));
            m_unescaped += static_cast<char>(0x80 | (code & 0x3F));
        } else if (code < 0x10000) {
            m_unescaped += static_cast<char>(0xE0 | (code >> 12));
            m_unescaped += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            m_unescaped += static_cast<char>(0x80 | (code & 0x3F));
        } else {
            m_unescaped += static_cast<char>(0xF0 | (code >> 18));
            m_unescaped += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
            m_unescaped += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            m_unescaped += static_cast<char>(0x80 | (code & 0x3F));
        }
    }

    const char* m_begin;
    const char* m_pos;
    const char* m_end;
    DecodeLimits m_limits;
    std::size_t m_depth = 0;
    DecodedNames m_names;
    std::string m_unescaped;
};

}  // namespace

FPropertyNode readJsonTree(std::string_view text, const DecodeLimits& limits)
{
    return JsonReader<FrozenTree>(text, limits).read();
}

PropertyNode readJsonPropertyNode(std::string_view text, const DecodeLimits& limits)
{
    return JsonReader<MutableTree>(text, limits).read();
}

}  // namespace Marlowen::Lum
