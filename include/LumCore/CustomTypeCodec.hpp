// Custom type codecs: an application's class carried in a ZVariant travels as
// a property tree. A codec is a name (the key in encoded data) and two typed
// functions; makeCustomTypeCodec adds the handling of scalars and arrays.
//
//     using namespace Marlowen::Lum;
//     struct Point { int x = 0, y = 0; bool operator==(const Point&) const = default; };
//     registerCustomTypeCodec(makeCustomTypeCodec<Point>(
//         ZString("Point"),
//         [](const Point& p) { return PropertyMap{{"x", p.x}, {"y", p.y}}; },
//         [](const PropertyMap& m) { return Point{m.at("x").value().as<int>(), m.at("y").value().as<int>()}; }));
//     EncodedCustomTypeValues encoded = encodeCustomType(ZVariant(Point{1, 2}));
//     // encoded.typeName == "Point", encoded.values a map {x: 1, y: 2}
//     ZVariant back = decodeCustomType(encoded);     // holds<Point>()
//
// A scalar encodes to a map, an array of any shape to a list of maps (and
// decodes to a one-dimensional array). The codec of PropertyPath is built in.
// The registry holds one lock through each of its four operations, the call
// into the codec included: a codec that calls one of them itself gets a
// std::runtime_error "A codec must not call the codec registry from its own
// encode or decode." (a nested class in a codec's tree is encoded by whoever
// writes the tree out, after the codec has returned).
#pragma once

#include <functional>
#include <stdexcept>
#include <typeinfo>
#include <utility>
#include <vector>

#include "LumCore/c/Export.h"
#include "LumCore/PropertyTree.hpp"
#include "LumCore/ZString.hpp"
#include "LumCore/ZVariant.hpp"

namespace Marlowen::Lum {

namespace Internal {

struct CustomTypeCodec {
    ZString name;                                         // the key for decoding
    const std::type_info* type = nullptr;                 // the key for encoding
    std::function<PropertyNode(const ZVariant&)> encode;  // variant to tree
    std::function<ZVariant(const PropertyNode&)> decode;  // tree to variant
};

// Adds the codec; throws std::invalid_argument when its type is null, its
// name empty or a function missing, and std::runtime_error "The proposed
// addition conflicts with a previously registered codec." when its type or
// its name is taken.
LUM_API void registerCustomTypeCodec(CustomTypeCodec&& codec);
// Removes the codec of `type`; false when there was none.
LUM_API bool unregisterCustomTypeCodec(const std::type_info& type);

}  // namespace Internal

using Internal::CustomTypeCodec;
using Internal::registerCustomTypeCodec;
using Internal::unregisterCustomTypeCodec;

struct EncodedCustomTypeValues {
    ZString typeName;     // the name of the codec that made it
    PropertyNode values;  // a map for a scalar, a list of maps for an array
};

// By the value's class; throws std::runtime_error "No codec found to encode
// type <name>" when none is registered, the platform's name followed by the
// readable one ("11Calibration (Calibration)"), and std::invalid_argument for
// the null variant.
LUM_API EncodedCustomTypeValues encodeCustomType(const ZVariant& value);
// By the type name; throws std::runtime_error "No codec found to decode type
// <name>" when none is registered.
LUM_API ZVariant decodeCustomType(const EncodedCustomTypeValues& encoded);

// A codec for class T from its two typed functions.
template <class T>
CustomTypeCodec makeCustomTypeCodec(ZString name, std::function<PropertyMap(const T&)> encode,
                                    std::function<T(const PropertyMap&)> decode)
{
    static_assert(Internal::kIsCustomElement<T>, "codecs carry an application's classes");
    CustomTypeCodec codec;
    codec.name = std::move(name);
    codec.type = &typeid(T);
    codec.encode = [encode = std::move(encode)](const ZVariant& value) -> PropertyNode {
        if (value.isScalarStorage()) {
            return PropertyNode(encode(*static_cast<const T*>(value.constStoredData())));
        }
        PropertyList list;
        const ZVariant copy = value;
        for (const T& element : copy.iterable<T>()) {
            list.push_back(PropertyNode(encode(element)));
        }
        return PropertyNode(std::move(list));
    };
    codec.decode = [decode = std::move(decode)](const PropertyNode& node) -> ZVariant {
        if (node.isMap()) {
            return ZVariant(decode(node.map()));
        }
        if (!node.isList()) {
            throw std::out_of_range("PropertyNode is not a map");
        }
        std::vector<T> elements;
        for (const PropertyNode& element : node.list()) {
            if (!element.isMap()) {
                throw std::out_of_range("PropertyNode is not a map");
            }
            elements.push_back(decode(element.map()));
        }
        return ZVariant(std::move(elements), ArrayDimensionsView(), DataOrdering::RowMajor);
    };
    return codec;
}

}  // namespace Marlowen::Lum
