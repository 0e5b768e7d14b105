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
#include "exchange/Utf8.hpp"
#include "variant/StorageInstances.hpp"

namespace Marlowen::Lum {

namespace {

using namespace Internal;

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
                m_out += "[]";
                return;
            }
            m_out += '[';
            bool first = true;
            for (const auto& item : node.list()) {
                separate(first, level + 1);
                this->node(item, level + 1);
            }
            close(']', level);
        } else if (node.isMap()) {
            if (node.map().empty()) {
                m_out += "{}";
                return;
            }
            m_out += '{';
            bool first = true;
            for (const auto& [key, item] : node.map()) {
                separate(first, level + 1);
                text(key.data(), key.size());
                m_out += m_options.indented ? ": " : ":";
                this->node(item, level + 1);
            }
            close('}', level);
        } else {
            m_out += "null";
        }
    }

    std::string take() { return std::move(m_out); }

private:
    // A comma before every entry but the first, and in the indented form a
    // new line at the entry's level.
    void separate(bool& first, int level)
    {
        if (!first) {
            m_out += ',';
        }
        first = false;
        newLine(level);
    }

    void close(char bracket, int level)
    {
        newLine(level);
        m_out += bracket;
    }

    void newLine(int level)
    {
        if (m_options.indented) {
            m_out += '\n';
            m_out.append(static_cast<std::size_t>(2 * level), ' ');
        }
    }

    void variant(const ZVariant& value)
    {
        const WellKnownType type = value.wellKnownDataType();
        if (type == WellKnownType()) {
            m_out += "null";
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
        const ArrayDimensionsView dims = value.dimensions();
        if (!shapeFitsIn(dims, value.numberAllocatedElements())) {
            throwDimensionsMismatch();
        }
        const DataOrdering ordering = value.dataOrdering();
        if (ordering != DataOrdering::RowMajor && ordering != DataOrdering::ColumnMajor) {
            throw std::invalid_argument(
                "An array stored in an ordering other than row- or column-major has no JSON form.");
        }
        if (dims.empty()) {
            m_out += "[]";
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
        m_out += '[';
        for (std::size_t i = 0; i < dims[level]; ++i) {
            if (i != 0) {
                m_out += m_options.indented ? ", " : ",";
            }
            if (level + 1 == dims.size()) {
                element(data[offset + i * stride[level]]);
            } else {
                nest(data, dims, stride, level + 1, offset + i * stride[level]);
            }
        }
        m_out += ']';
    }

    template <class T>
    void element(const T& value)
    {
        char buffer[32];
        if constexpr (std::is_same_v<T, bool>) {
            m_out += value ? "true" : "false";
        } else if constexpr (std::is_integral_v<T>) {
            const auto end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
            m_out.append(buffer, end);
        } else if constexpr (std::is_floating_point_v<T>) {
            if (!std::isfinite(value)) {
                if (!m_options.nonFiniteAsNull) {
                    throw std::invalid_argument(std::isnan(value) ? "JSON has no form of NaN."
                                                                  : "JSON has no form of an infinity.");
                }
                m_out += "null";
                return;
            }
            const auto end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
            m_out.append(buffer, end);
            if (std::find_if(buffer, end, [](char c) { return c == '.' || c == 'e'; }) == end) {
                m_out += ".0";  // reads back as a floating value, not an integer
            }
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
        m_out += '"';
        std::size_t run = 0;  // bytes copied as they are since the last escape
        for (std::size_t i = 0; i < size; ++i) {
            const auto c = static_cast<unsigned char>(data[i]);
            if (c >= 0x20 && c != '"' && c != '\\') {
                continue;
            }
            m_out.append(data + run, i - run);
            run = i + 1;
            switch (c) {
            case '"':
                m_out += "\\\"";
                break;
            case '\\':
                m_out += "\\\\";
                break;
            case '\n':
                m_out += "\\n";
                break;
            case '\r':
                m_out += "\\r";
                break;
            case '\t':
                m_out += "\\t";
                break;
            case '\b':
                m_out += "\\b";
                break;
            case '\f':
                m_out += "\\f";
                break;
            default:
                m_out += "\\u00";
                m_out += kHex[c >> 4];
                m_out += kHex[c & 15];
                break;
            }
        }
        m_out.append(data + run, size - run);
        m_out += '"';
    }

    JsonOptions m_options;
    std::string m_out;
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
