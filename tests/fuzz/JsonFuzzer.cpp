// JSON from anywhere: whatever reads as a tree writes as text that reads
// back to a tree that writes the very same text, compact and indented.
// Anything else must be a clear refusal (text beyond double's range reads
// as an infinity, which JSON cannot write).
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "ExchangeFuzzSupport.hpp"
#include "FuzzSupport.hpp"
#include "LumCore/Json.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace Marlowen::Lum;
    const DecodeLimits& limits = LumFuzz::decoderLimits();
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    for (const bool indented : {false, true}) {
        std::string once;
        try {
            once = writeJson(readJsonTree(text, limits), JsonOptions{indented});
        } catch (const std::exception&) {
            return 0;
        }
        const std::string twice = writeJson(readJsonPropertyNode(once, limits), JsonOptions{indented});
        LumFuzz::require(once == twice, "what reads writes as text that reads and writes the same");
    }
    return 0;
}
