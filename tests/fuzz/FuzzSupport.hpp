// What the fuzz targets share: a failed model check that libFuzzer reports
// as a crash, shapes drawn from the input, and the checks of an error record.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "LumCore/c/LumCoreFlat.h"

namespace LumFuzz {

using Extents = std::vector<std::size_t>;

// A finding: printed, then an abort that libFuzzer keeps the input for.
inline void require(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "model check failed: %s\n", what);
        std::abort();
    }
}

// Whether the true product of the extents fits in 64 bits (an empty list
// counts nothing).
template <class Range>
bool countFits(const Range& extents)
{
    std::uint64_t count = 1;
    bool overflowed = false;
    for (std::size_t extent : extents) {
        if (extent == 0) {
            return true;
        }
        overflowed = overflowed || __builtin_mul_overflow(count, extent, &count);
    }
    return !overflowed;
}

// The product of a shape that pickShape drew without wrapping.
inline std::size_t boundedCount(const Extents& extents)
{
    if (extents.empty()) {
        return 0;
    }
    std::size_t count = 1;
    for (std::size_t extent : extents) {
        count *= extent;
    }
    return count;
}

// Up to four small extents; with mayWrap, now and then a shape whose count
// wraps past 2^64 (or is 0 beside huge extents), never one that asks for a
// large block without wrapping.
inline Extents pickShape(FuzzedDataProvider& in, bool mayWrap)
{
    if (mayWrap && in.ConsumeIntegralInRange(0, 15) == 0) {
        static const Extents kWrapping[] = {
            {3, 0x5555555555555557u},                        // 3 * b = 5
            {0x100000001u, 0x100000001u},                    // 2^33 + 1
            {SIZE_MAX, 2},                                   // 2^64 - 2
            {std::size_t{1} << 63, 2, 1},                    // 0
            {0, SIZE_MAX, SIZE_MAX},                         // truly 0
            {std::size_t{1} << 32, std::size_t{1} << 32, 5}  // 0
        };
        return in.PickValueInArray(kWrapping);
    }
    Extents extents(in.ConsumeIntegralInRange<std::size_t>(0, 4));
    for (std::size_t& extent : extents) {
        extent = in.ConsumeIntegralInRange<std::size_t>(0, 6);
    }
    return extents;
}

inline ZArrayDimensions flat(const Extents& extents) { return ZArrayDimensions{extents.data(), extents.size()}; }

inline Extents extentsOf(ZVariantData* handle)
{
    ErrorRecord error;
    const ZArrayDimensions dims = ZVariantData_C_API_dimensions(&error, handle);
    return Extents(dims.data, dims.data + dims.size);
}

// A record after a call: clean, or one of the documented words with a
// terminated message; and a failed call's result is null.
inline void checkRecord(const ErrorRecord& error, const void* result)
{
    if (error.typeName == nullptr) {
        return;
    }
    static const char* const kWords[] = {"bad_alloc", "out_of_range", "invalid_argument", "length_error",
                                         "runtime_error"};
    bool known = false;
    for (const char* word : kWords) {
        known = known || std::strcmp(error.typeName, word) == 0;
    }
    if (!known) {
        std::fprintf(stderr, "unexpected failure %s: %.*s\n", error.typeName, LUM_ERROR_MESSAGE_CAPACITY,
                     error.message);
    }
    require(known, "a failure with a documented word");
    require(std::memchr(error.message, '\0', sizeof error.message) != nullptr, "a terminated message");
    require(result == nullptr, "a failed call returns nothing");
}

}  // namespace LumFuzz
