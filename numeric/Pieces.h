#pragma once

#include <immintrin.h>

#include <algorithm>
#include <cstddef>

namespace nox {

/// Calls use(first element, their number) for pieces of an array, in order. In a long one it fetches what comes 16 KiB
/// later: a core by itself does not ask memory early enough, and a fetch beyond the end is no access.
template <class T, class Use>
void forPieces(T* values, std::size_t count, const Use& use)
{
    constexpr std::size_t piece = 256, ahead = 16384, line = 64;
    const bool isLong = count * sizeof(T) > ahead;
    for (std::size_t i = 0; i < count; i += piece) {
        const auto* coming = reinterpret_cast<const char*>(values + i) + ahead;
        for (std::size_t byte = 0; isLong && byte < piece * sizeof(T); byte += line)
            _mm_prefetch(coming + byte, _MM_HINT_T1);
        use(values + i, std::min(piece, count - i));
    }
}

}  // namespace nox
