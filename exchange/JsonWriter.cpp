// The JSON writer: one walk of either tree form into one string.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "LumCore/Json.hpp"
#include "LumCore/internal/ElementTypeDispatch.hpp"
#include "exchange/ExchangedArray.hpp"
#include "exchange/Utf8.hpp"
#include "variant/StorageInstances.hpp"

namespace Marlowen::Lum {

namespace {

using namespace Internal;

// The text as it is written: characters stored straight into the string's
// own block, grown by doubling, with no measuring of literals; the string
// is cut to what was written at the end, with no copy.
class TextOut {
public:
    template <std::size_t N>
    void put(const char (&literal)[N])
    {
        put(literal, N - 1);
    }
    void put(char c)
    {
        *room(1) = c;
        ++m_size;
    }
    void put(const char* text, std::size_t size)
    {
        std::memcpy(room(size), text, size);
        m_size += size;
    }
    // Space for `size` more characters, to be written at the returned place.
    char* room(std::size_t size)
    {
        if (m_size + size > m_text.size()) {
            m_text.resize(std::max({std::size_t{1} << 16, 2 * m_text.size(), m_size + size}));
        }
        return m_text.data() + m_size;
    }
    void advance(std::size_t size) noexcept { m_size += size; }
    [[nodiscard]] std::string take()
    {
        m_text.resize(m_size);
        return std::move(m_text);
    }

private:
    std::string m_text;
    std::size_t m_size = 0;
};

class JsonWriter {
public:
    explicit JsonWriter(const JsonOptions& options) : m_options(options) {}

    template <class Node>
    void node(const Node& node, int level)
    {
        if (node.isValue()) {
            variant(node.value());
        } else if (node.isList()) {
            if (node.list().empty()) {
                m_out.put("[]");
                return;
            }
            m_out.put('[');
            bool first = true;
            for (const auto& item : node.list()) {
                separate(first, level + 1);
                this->node(item, level + 1);
            }
            close(']', level);
        } else if (node.isMap()) {
            if (node.map().empty()) {
                m_out.put("{}");
                return;
            }
            m_out.put('{');
            bool first = true;
            for (const auto& [key, item] : node.map()) {
                separate(first, level + 1);
                text(key.data(), key.size());
                if (m_options.indented) {
                    m_out.put(": ");
                } else {
                    m_out.put(':');
                }
                this->node(item, level + 1);
            }
            close('}', level);
        } else {
            m_out.put("null");
        }
    }

    [[nodiscard]] std::string take() { return m_out.take(); }

private:
    // A comma before every entry but the first, and in the indented form a
    // new line at the entry's level.
    void separate(bool& first, int level)
    {
        if (!first) {
            m_out.put(',');
        }
        first = false;
        newLine(level);
    }

    void close(char bracket, int level)
    {
        newLine(level);
        m_out.put(bracket);
    }

    void newLine(int level)
    {
        if (m_options.indented) {
            m_out.put('\n');
            const auto spaces = static_cast<std::size_t>(2 * level);
            std::memset(m_out.room(spaces), ' ', spaces);
            m_out.advance(spaces);
        }
    }

    void variant(const ZVariant& value)
    {
        const WellKnownType type = value.wellKnownDataType();
        if (type == WellKnownType()) {
            m_out.put("null");
            return;
        }
        const bool carried = type == WellKnownType(WellKnownTypeValue::bool_) ||
                             type == WellKnownType(WellKnownTypeValue::string) ||
                             (type.isNumeric() && !type.isComplex());
        if (!carried) {
            throw std::invalid_argument("JSON has no form of " + std::string(type.toString()) + " values.");
        }
        dispatchElementType(type, [&](auto tag) {
            using T = typename decltype(tag)::type;
            if constexpr (std::is_arithmetic_v<T> || std::is_same_v<T, ZString>) {
                const auto* data = static_cast<const T*>(value.constStoredData());
                if (value.isScalarStorage()) {
                    element(*data);
                } else {
                    array(data, value);
                }
            }
        });
    }

    // The elements nested row by row, whatever the storage order.
    template <class T>
    void array(const T* data, const ZVariant& value)
    {
        const DataOrdering ordering = exchangedOrdering(value, "JSON");
        const ArrayDimensionsView dims = value.dimensions();
        if (dims.empty()) {
            m_out.put("[]");
            return;
        }
        std::vector<std::size_t> stride(dims.size(), 1);
        if (ordering == DataOrdering::RowMajor) {
            for (std::size_t k = dims.size() - 1; k-- > 0;) {
                stride[k] = stride[k + 1] * dims[k + 1];
            }
        } else {
            for (std::size_t k = 1; k < dims.size(); ++k) {
                stride[k] = stride[k - 1] * dims[k - 1];
            }
        }
        nest(data, dims, stride, 0, 0);
    }

    template <class T>
    void nest(const T* data, ArrayDimensionsView dims, const std::vector<std::size_t>& stride, std::size_t level,
              std::size_t offset)
    {
        m_out.put('[');
        for (std::size_t i = 0; i < dims[level]; ++i) {
            if (i != 0) {
                if (m_options.indented) {
                    m_out.put(", ");
                } else {
                    m_out.put(',');
                }
            }
            if (level + 1 == dims.size()) {
                element(data[offset + i * stride[level]]);
            } else {
                nest(data, dims, stride, level + 1, offset + i * stride[level]);
            }
        }
        m_out.put(']');
    }

    template <class T>
    void element(const T& value)
    {
        if constexpr (std::is_same_v<T, bool>) {
            if (value) {
                m_out.put("true");
            } else {
                m_out.put("false");
            }
        } else if constexpr (std::is_integral_v<T>) {
            char* at = m_out.room(24);
            m_out.advance(static_cast<std::size_t>(std::to_chars(at, at + 24, value).ptr - at));
        } else if constexpr (std::is_floating_point_v<T>) {
            if (!std::isfinite(value)) {
                if (!m_options.nonFiniteAsNull) {
                    throw std::invalid_argument(std::isnan(value) ? "JSON has no form of NaN."
                                                                  : "JSON has no form of an infinity.");
                }
                m_out.put("null");
                return;
            }
            char* at = m_out.room(32);
            char* end = std::to_chars(at, at + 30, value).ptr;
            if (std::find_if(at, end, [](char c) { return c == '.' || c == 'e'; }) == end) {
                *end++ = '.';  // reads back as a floating value, not an integer
                *end++ = '0';
            }
            m_out.advance(static_cast<std::size_t>(end - at));
        } else {
            text(value.data(), value.size());
        }
    }

    void text(const char* data, std::size_t size)
    {
        if (!isValidUtf8(data, size)) {
            throw std::invalid_argument("JSON has no form of text that is not valid UTF-8.");
        }
        static constexpr char kHex[] = "0123456789abcdef";
        m_out.put('"');
        std::size_t run = 0;  // bytes copied as they are since the last escape
        for (std::size_t i = 0; i < size; ++i) {
            const auto c = static_cast<unsigned char>(data[i]);
            if (c >= 0x20 && c != '"' && c != '\\') {
                continue;
            }
            m_out.put(data + run, i - run);
            run = i + 1;
            switch (c) {
            case '"':
                m_out.put("\\\"");
                break;
            case '\\':
                m_out.put("\\\\");
                break;
            case '\n':
                m_out.put("\\n");
                break;
            case '\r':
                m_out.put("\\r");
                break;
            case '\t':
                m_out.put("\\t");
                break;
            case '\b':
                m_out.put("\\b");
                break;
            case '\f':
                m_out.put("\\f");
                break;
            default:
                m_out.put("\\u00");
                m_out.put(kHex[c >> 4]);
                m_out.put(kHex[c & 15]);
                break;
            }
        }
        m_out.put(data + run, size - run);
        m_out.put('"');
    }

    JsonOptions m_options;
    TextOut m_out;
};

template <class Node>
std::string write(const Node& tree, const JsonOptions& options)
{
    JsonWriter writer(options);
    writer.node(tree, 0);
    return writer.take();
}

}  // namespace

std::string writeJson(const PropertyNode& tree, const JsonOptions& options) { return write(tree, options); }
std::string writeJson(const FPropertyNode& tree, const JsonOptions& options) { return write(tree, options); }

}  // namespace Marlowen::Lum
