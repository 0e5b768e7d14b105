// The process-wide set of interned text, and the guards that keep it alive.
#include "LumCore/InternedString.hpp"

#include <cstddef>
#include <mutex>
#include <new>
#include <string_view>
#include <unordered_set>

#include "LumCore/ZString.hpp"

namespace Marlowen::Lum {

namespace {

// FNV-1a, 64 bits, over the bytes up to the length. Transparent, so that text
// already present is found from a view, before anything is allocated.
struct Fnv1a {
    using is_transparent = void;

    std::size_t operator()(std::string_view text) const noexcept
    {
        std::uint64_t hash = 0xcbf29ce484222325u;
        for (const char c : text) {
            hash ^= static_cast<unsigned char>(c);
            hash *= 0x100000001b3u;
        }
        return static_cast<std::size_t>(hash);
    }
    std::size_t operator()(const ZString& text) const noexcept { return (*this)(std::string_view(text)); }
};

struct SameText {
    using is_transparent = void;

    template <class A, class B>
    bool operator()(const A& a, const B& b) const noexcept
    {
        return std::string_view(a) == std::string_view(b);
    }
};

using InternedSet = std::unordered_set<ZString, Fnv1a, SameText>;

// Raw storage: whichever guard runs first, at any point of static
// construction, builds the set and its mutex in place; the last one to go
// destroys them. The counter is constant-initialised. Guards are made and
// destroyed only while static objects are, which is single-threaded.
alignas(InternedSet) unsigned char s_setStorage[sizeof(InternedSet)];
alignas(std::mutex) unsigned char s_mutexStorage[sizeof(std::mutex)];
unsigned s_guardCount = 0;

InternedSet& internedSet() noexcept { return *std::launder(reinterpret_cast<InternedSet*>(s_setStorage)); }
std::mutex& internedSetMutex() noexcept { return *std::launder(reinterpret_cast<std::mutex*>(s_mutexStorage)); }

}  // namespace

namespace Internal {

InternedStringSetManager::InternedStringSetManager()
{
    if (s_guardCount++ == 0) {
        InternedSet* set = new (s_setStorage) InternedSet(8);
        set->max_load_factor(1.0f);
        new (s_mutexStorage) std::mutex();
    }
}

InternedStringSetManager::~InternedStringSetManager()
{
    if (--s_guardCount == 0) {
        internedSet().~InternedSet();
        internedSetMutex().~mutex();
    }
}

}  // namespace Internal

std::string_view InternedString::create(const char* text, std::uint64_t size)
{
    const std::string_view wanted(text, static_cast<std::size_t>(size));
    const std::lock_guard<std::mutex> lock(internedSetMutex());
    InternedSet& set = internedSet();
    // Text already present costs a hash and a lookup, with no allocation.
    auto found = set.find(wanted);
    if (found == set.end()) {
        found = set.emplace(wanted).first;
    }
    return std::string_view(*found);
}

namespace Internal {

bool isInterned(std::string_view text)
{
    const std::lock_guard<std::mutex> lock(internedSetMutex());
    const InternedSet& set = internedSet();
    return set.find(text) != set.end();
}

}  // namespace Internal

}  // namespace Marlowen::Lum
