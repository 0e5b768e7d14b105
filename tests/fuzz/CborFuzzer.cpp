// CBOR from anywhere: whatever decodes, as a tree or as a variant,
// re-encodes to bytes that decode to the same value, which encodes to the
// very same bytes again. Anything else must be a clear refusal.
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "ExchangeFuzzSupport.hpp"
#include "FuzzSupport.hpp"
#include "LumCore/Cbor.hpp"

namespace {

using namespace Marlowen::Lum;
using LumFuzz::require;

bool sameBytes(const ZVariant& a, const ZVariant& b)
{
    const std::uint64_t size = elementCount(a.dimensions());
    return size == elementCount(b.dimensions()) && std::memcmp(a.constStoredData(), b.constStoredData(), size) == 0;
}

std::size_t sizeOf(const ZVariant& bytes) { return static_cast<std::size_t>(elementCount(bytes.dimensions())); }

template <class Decode>
void roundTrip(const std::uint8_t* data, std::size_t size, Decode decode)
{
    ZVariant once;
    try {
        once = encodeCbor(decode(data, size));
    } catch (const std::exception&) {
        return;  // refused input, or a class whose codec refuses its tree
    }
    const ZVariant twice = encodeCbor(decode(once.constStoredData(), sizeOf(once)));
    require(sameBytes(once, twice), "what decodes re-encodes to bytes that decode to the same value");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const DecodeLimits& limits = LumFuzz::decoderLimits();
    roundTrip(data, size, [&](const void* bytes, std::size_t n) { return decodeCborTree(bytes, n, limits); });
    roundTrip(data, size, [&](const void* bytes, std::size_t n) { return decodeCborVariant(bytes, n, limits); });
    return 0;
}
