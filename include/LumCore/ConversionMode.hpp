// ConversionMode: how strictly a variant's elements turn into another type.
//
// Lossless refuses a conversion in which any element would not come back
// unchanged; Cast converts numbers without any check; CastOrParse also turns
// real numbers into text and text into real numbers. The values cross the
// flat interface as 32 bits; any other value makes a conversion fail.
//
//     using namespace Marlowen::Lum;
//     ConversionMode mode = ConversionMode::Cast;   // 1
#pragma once

#include <cstdint>

namespace Marlowen::Lum {

enum class ConversionMode : std::uint32_t {
    Lossless = 0,
    Cast = 1,
    CastOrParse = 2,
};

}  // namespace Marlowen::Lum
