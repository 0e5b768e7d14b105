// ZString::replaceAll.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "LumCore/ZString.hpp"
#include "strings/TextScan.hpp"

namespace Marlowen::Lum {

// ---- replaceAll ----------------------------------------------------------------
//
// The defined behaviour is a loop that, for each match from left to right,
// rebuilds the whole text as head + replacement + tail through the NUL-stopping
// builders, and resumes the search at match + to.size() in the rebuilt text.
// The replacement is `to` read up to its NUL; with case folding, the search
// runs over lower-cased copies and the needle is `from` read up to its NUL,
// while a match still spans from.size() bytes.
//
// Rebuilding per match is quadratic. The one pass below gives the same text:
// the rebuilt text is always (built part) + (a range of the input), the search
// never looks back into the built part (it resumes to.size() - strlen(to) >= 0
// bytes into the input range), and the input range only shrinks. The input is
// lower-cased once for the folding search. Where `to` runs past its view
// (strlen(to) > to.size()), the search would resume inside the inserted text;
// that case keeps the literal loop.

namespace Internal {
namespace {

// One kept run of input bytes, optionally followed by the replacement.
struct KeptRun {
    std::uint64_t offset;
    std::uint64_t length;
    bool replacementFollows;
};

// The folding search of replaceAll over the remaining input range: the
// lowered haystack ends at its first NUL, so the window is cut there. The
// position of that NUL is kept until the range moves past it, so the scans
// for it add up to one pass.
class FoldedWindow {
public:
    explicit FoldedWindow(const char* lowered) noexcept : m_lowered(lowered) {}

    // Length of the searchable window of the range [start, end).
    std::uint64_t length(std::uint64_t start, std::uint64_t end) noexcept
    {
        if (!m_zeroKnown || m_zero < start) {
            const void* zero = std::memchr(m_lowered + start, 0, static_cast<std::size_t>(end - start));
            m_zero = zero == nullptr ? end : static_cast<std::uint64_t>(static_cast<const char*>(zero) - m_lowered);
            m_zeroKnown = true;
        }
        return std::min(m_zero, end) - start;
    }

private:
    const char* m_lowered;
    std::uint64_t m_zero = 0;
    bool m_zeroKnown = false;
};

}  // namespace
}  // namespace Internal

template <class Data>
ZStringGeneric<Data> ZStringGeneric<Data>::replaceAll(std::string_view from, std::string_view to,
                                                      CaseSensitivity cs) const
{
    if (from.empty()) {
        return *this;
    }
    const bool folding = cs != CaseSensitivity::CaseSensitive;
    const size_type fromSize = from.size();
    const size_type toSize = to.size();
    const size_type replacementLength = to.data() == nullptr ? 0 : std::strlen(to.data());

    if (replacementLength > toSize) {
        // The literal loop, for a `to` whose text runs past its view.
        const ZStringGeneric replacement(to.data(), replacementLength);
        const ZStringGeneric foldedNeedle =
            folding ? ZStringGeneric(from.data(), std::strlen(from.data())) : ZStringGeneric();
        const auto search = [&](const ZStringGeneric& text, size_type start) {
            return folding ? text.find(foldedNeedle, start, cs)
                           : Internal::findBytes(text.m_text, text.m_length, from.data(), fromSize, start);
        };
        size_type pos = search(*this, 0);
        ZStringGeneric current(*this);
        while (pos != npos) {
            const size_type cut = std::min(current.m_length, pos + fromSize);
            ZStringGeneric headAndReplacement;
            headAndReplacement.reserveAndAppend(current.m_text, replacement.m_text, std::min(current.m_length, pos),
                                                replacement.m_length);
            ZStringGeneric next;
            next.reserveAndAppend(headAndReplacement.m_text, current.m_text + cut, headAndReplacement.m_length,
                                  current.m_length - cut);
            current = static_cast<ZStringGeneric&&>(next);
            pos = search(current, pos + toSize);
        }
        return current;
    }

    // The folding search compares lowered text with the lowered needle.
    std::unique_ptr<char[]> lowered;
    ZStringGeneric loweredNeedle;
    bool replacementEndsFoldedText = false;
    if (folding) {
        lowered.reset(new char[m_length + 1]);
        Internal::mapCase(lowered.get(), m_text, m_length, Internal::CaseMapping::Lower);
        loweredNeedle = ZStringGeneric(from.data(), std::strlen(from.data())).toLower();
        // A replacement whose lowered form holds a NUL ends every later
        // lowered text there, so nothing behind it can match.
        const ZStringGeneric loweredReplacement = ZStringGeneric(to.data(), replacementLength).toLower();
        replacementEndsFoldedText = loweredReplacement.m_length < replacementLength;
    }
    Internal::FoldedWindow window(lowered.get());

    // The remaining input range is [start, end); a search looks at it from
    // start + skip on.
    size_type start = 0;
    size_type end = m_length;
    const auto search = [&](size_type skip) -> size_type {
        if (!folding) {
            return Internal::findBytes(m_text + start, end - start, from.data(), fromSize, skip);
        }
        return Internal::findBytes(lowered.get() + start, window.length(start, end), loweredNeedle.m_text,
                                   loweredNeedle.m_length, skip);
    };

    size_type match = search(0);
    if (match == npos) {
        return *this;
    }

    std::vector<Internal::KeptRun> runs;
    size_type total = 0;
    bool firstRound = true;
    while (match != npos) {
        size_type skip;
        // Only the untouched input can hold a NUL in front of the match; the
        // head then ends there and the replacement is cut off with it.
        const void* nul = firstRound ? std::memchr(m_text + start, 0, static_cast<std::size_t>(match)) : nullptr;
        if (nul != nullptr) {
            const size_type kept = static_cast<size_type>(static_cast<const char*>(nul) - (m_text + start));
            runs.push_back({start, kept, false});
            total += kept;
            skip = match + toSize - kept;
        } else {
            runs.push_back({start, match, true});
            total += match + replacementLength;
            skip = toSize - replacementLength;
        }
        const size_type cut = start + std::min(end - start, match + fromSize);
        if (firstRound) {
            end = cut + ::strnlen(m_text + cut, end - cut);
            firstRound = false;
        }
        start = cut;
        if (folding && nul == nullptr && replacementEndsFoldedText) {
            break;
        }
        // An empty lowered needle matches at the end of a used-up range for
        // ever when the search resumes right there; the loop stops instead.
        if (folding && loweredNeedle.m_length == 0 && start == end && skip == 0) {
            break;
        }
        match = search(skip);
    }
    runs.push_back({start, end - start, false});
    total += end - start;

    ZStringGeneric result;
    char* text = result.m_data.replaceWithWritable(total);
    char* out = text;
    for (const Internal::KeptRun& run : runs) {
        if (run.length != 0) {
            std::memcpy(out, m_text + run.offset, run.length);
            out += run.length;
        }
        if (run.replacementFollows && replacementLength != 0) {
            std::memcpy(out, to.data(), replacementLength);
            out += replacementLength;
        }
    }
    *out = '\0';
    result.m_text = text;
    result.m_length = total;
    return result;
}

template ZStringGeneric<Internal::ZStringDataSharable> ZStringGeneric<Internal::ZStringDataSharable>::replaceAll(
    std::string_view, std::string_view, CaseSensitivity) const;

}  // namespace Marlowen::Lum
