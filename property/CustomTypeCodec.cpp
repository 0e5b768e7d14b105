// The process-wide registry of custom type codecs, with the codec of
// PropertyPath built in.
#include "LumCore/CustomTypeCodec.hpp"

#include <cxxabi.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "LumCore/InternedString.hpp"
#include "LumCore/PropertyPath.hpp"
#include "property/StandingKeys.hpp"

namespace Marlowen::Lum {

namespace {

using Internal::CustomTypeCodec;

PropertyMap encodePath(const PropertyPath& path)
{
    PropertyList segments;
    segments.reserve(path.size());
    for (const PropertyPathSegment& segment : path) {
        if (segment.isName()) {
            segments.push_back(PropertyNode(ZString(segment.name().view())));
        } else {
            segments.push_back(PropertyNode(segment.index()));
        }
    }
    PropertyMap encoded;
    encoded.insert(Internal::pathKey(), PropertyNode(std::move(segments)));
    return encoded;
}

// Any numeric element type that converts to uint64_t is an index; a
// one-element array reads like a scalar. Keys beside "path" are ignored.
PropertyPath decodePath(const PropertyMap& encoded)
{
    PropertyPath path;
    for (const PropertyNode& segment : encoded.at(Internal::pathKey()).list()) {
        const ZVariant& value = segment.value();
        if (value.holds<ZString>()) {
            const ZString name = value.as<ZString>(ConversionMode::Cast);
            path.append(InternedString(std::string_view(name)));
        } else {
            path.append(value.as<std::uint64_t>(ConversionMode::Cast));
        }
    }
    return path;
}

// The platform's name of a class, followed by its readable form where the
// two differ: "11Calibration (Calibration)", "d (double)".
std::string describeType(const std::type_info& type)
{
    std::string text = type.name();
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> readable(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                         std::free);
    if (status == 0 && readable != nullptr && text != readable.get()) {
        text += " (";
        text += readable.get();
        text += ")";
    }
    return text;
}

// The registry's lock is held while a codec runs and is not recursive. A
// codec that calls the registry from its own encode or decode would wait for
// itself forever; the thread's mark turns that into an error instead.
thread_local bool t_insideRegistry = false;

class RegistryEntry {
public:
    explicit RegistryEntry(std::mutex& mutex)
    {
        if (t_insideRegistry) {
            throw std::runtime_error("A codec must not call the codec registry from its own encode or decode.");
        }
        m_lock = std::unique_lock<std::mutex>(mutex);
        t_insideRegistry = true;
    }
    RegistryEntry(const RegistryEntry&) = delete;
    RegistryEntry& operator=(const RegistryEntry&) = delete;
    ~RegistryEntry() { t_insideRegistry = false; }

private:
    std::unique_lock<std::mutex> m_lock;
};

class CustomTypeCodecRegistry {
public:
    CustomTypeCodecRegistry()
    {
        m_codecs.push_back(makeCustomTypeCodec<PropertyPath>(ZString("PropertyPath"), encodePath, decodePath));
    }

    void add(CustomTypeCodec&& codec)
    {
        if (codec.type == nullptr || codec.name.empty()) {
            throw std::invalid_argument("A codec needs a type and a non-empty name.");
        }
        if (!codec.encode || !codec.decode) {
            throw std::invalid_argument("A codec needs both an encode and a decode function.");
        }
        const RegistryEntry entry(m_mutex);
        if (findByType(*codec.type) != m_codecs.end() || findByName(codec.name) != m_codecs.end()) {
            throw std::runtime_error("The proposed addition conflicts with a previously registered codec.");
        }
        m_codecs.push_back(std::move(codec));
    }

    bool remove(const std::type_info& type)
    {
        const RegistryEntry entry(m_mutex);
        const auto found = findByType(type);
        if (found == m_codecs.end()) {
            return false;
        }
        m_codecs.erase(found);
        return true;
    }

    EncodedCustomTypeValues encode(const ZVariant& value)
    {
        if (value.typeInfo() == nullptr) {
            throw std::invalid_argument("Cannot encode the null variant: it holds no value of any class.");
        }
        const std::type_info& type = *value.typeInfo();
        const RegistryEntry entry(m_mutex);
        const auto found = findByType(type);
        if (found == m_codecs.end()) {
            throw std::runtime_error("No codec found to encode type " + describeType(type));
        }
        EncodedCustomTypeValues result;
        result.typeName = found->name;
        result.values = found->encode(value);
        return result;
    }

    ZVariant decode(const EncodedCustomTypeValues& encoded)
    {
        const ZString name = encoded.typeName;
        const RegistryEntry entry(m_mutex);
        const auto found = findByName(name);
        if (found == m_codecs.end()) {
            throw std::runtime_error("No codec found to decode type " + name.to_string());
        }
        return found->decode(encoded.values);
    }

private:
    // Types compare by std::type_info equality, so by name: a class
    // registered from one module is found from another.
    std::vector<CustomTypeCodec>::iterator findByType(const std::type_info& type)
    {
        return std::find_if(m_codecs.begin(), m_codecs.end(),
                            [&](const CustomTypeCodec& codec) { return *codec.type == type; });
    }
    std::vector<CustomTypeCodec>::iterator findByName(const ZString& name)
    {
        return std::find_if(m_codecs.begin(), m_codecs.end(), [&](const CustomTypeCodec& codec) {
            return std::string_view(codec.name) == std::string_view(name);
        });
    }

    std::mutex m_mutex;
    std::vector<CustomTypeCodec> m_codecs;
};

CustomTypeCodecRegistry& registry()
{
    static CustomTypeCodecRegistry s_registry;
    return s_registry;
}

}  // namespace

namespace Internal {

void registerCustomTypeCodec(CustomTypeCodec&& codec) { registry().add(std::move(codec)); }

bool unregisterCustomTypeCodec(const std::type_info& type) { return registry().remove(type); }

}  // namespace Internal

EncodedCustomTypeValues encodeCustomType(const ZVariant& value) { return registry().encode(value); }

ZVariant decodeCustomType(const EncodedCustomTypeValues& encoded) { return registry().decode(encoded); }

}  // namespace Marlowen::Lum
