// The words of the error record, for clients that map them to their own
// failures (the Python module) without writing the list again.
#include <iterator>

#include "LumCore/c/LumCoreFlat.h"

extern "C" {

LUM_API const char* ErrorRecord_C_API_wordAt(size_t index)
{
#define LUMCORE_WORD_ENTRY(word, Class) #word,
    static constexpr const char* kWords[] = {LUMCORE_ERROR_WORDS(LUMCORE_WORD_ENTRY)};
#undef LUMCORE_WORD_ENTRY
    return index < std::size(kWords) ? kWords[index] : nullptr;
}

}  // extern "C"
