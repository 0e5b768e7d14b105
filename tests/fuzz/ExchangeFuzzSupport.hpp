// What the decoder fuzz targets share: limits that keep one run small, and
// a vocabulary of short names interned up front. Interned names live as
// long as the process, so the targets let a decode intern none of its own:
// keys of one or two bytes (any bytes) are there already.
#pragma once

#include <string>

#include "LumCore/DecodeLimits.hpp"
#include "LumCore/InternedString.hpp"

namespace LumFuzz {

inline const Marlowen::Lum::DecodeLimits& decoderLimits()
{
    static const Marlowen::Lum::DecodeLimits limits = [] {
        for (int a = 0; a < 256; ++a) {
            (void)Marlowen::Lum::InternedString(std::string(1, static_cast<char>(a)));
            for (int b = 0; b < 256; ++b) {
                (void)Marlowen::Lum::InternedString(std::string{static_cast<char>(a), static_cast<char>(b)});
            }
        }
        Marlowen::Lum::DecodeLimits made;
        made.maxDepth = 64;
        made.maxNewNames = 0;
        return made;
    }();
    return limits;
}

}  // namespace LumFuzz
