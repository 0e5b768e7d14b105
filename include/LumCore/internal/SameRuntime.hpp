// Internal: compiled into callers through the public headers; carries no promise of stability.
// The headers that hand the library's own C++ objects across (ZVariant, the
// property trees, the codecs, the typed factories) need the C++ runtime the
// library was built with, GNU libstdc++: their classes hold std::vector,
// std::function and std::string, whose layouts differ under libc++. Such a
// module compiles, links and passes small tests, and then breaks when the
// objects cross, so it stops here instead. ZVariantAbi
// (LumCore/ZVariantAbi.hpp), ZString and the flat C functions
// (LumCore/c/LumCoreFlat.h) serve any runtime. An expert who knows no object
// crosses defines LUMCORE_ALLOW_OTHER_CXX_RUNTIME.
#pragma once

#include <cstddef>  // defines the runtime's own version macros

#if defined(_LIBCPP_VERSION) && !defined(LUMCORE_ALLOW_OTHER_CXX_RUNTIME)
#error "LumCore was built against libstdc++; this header hands its C++ objects across and needs that runtime. \
From libc++ use ZVariantAbi (LumCore/ZVariantAbi.hpp), ZString and the flat C functions (LumCore/c/LumCoreFlat.h), \
or define LUMCORE_ALLOW_OTHER_CXX_RUNTIME if no such object crosses."
#endif
