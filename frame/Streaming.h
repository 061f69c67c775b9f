#pragma once

#include <immintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace nox {

/// Whether n elements of `T` are better written past the caches, which would not hold them until they are read. Narrow
/// elements are not: what it takes to make one outweighs its bytes, and plain stores go on beside that.
template <class T>
bool outgrowsCaches(std::size_t n)
{
    return sizeof(T) >= 4 && n * sizeof(T) > (std::size_t{32} << 20);
}

/// Asks for elements some way ahead: the processor's own looking ahead ends with the page.
template <class T>
void fetchAhead(const T* elements)
{
    const auto ahead = reinterpret_cast<std::uintptr_t>(elements) + 2048;  // only asked for: it may lie behind the last
    _mm_prefetch(reinterpret_cast<const char*>(ahead), _MM_HINT_T0);       // NOLINT(performance-no-int-to-ptr)
}

/// Writes n elements from `out` on by fill(piece, first, count), which writes elements first to first + count to
/// `piece`. With `streaming` the pieces stay in the nearest cache and go out from there past the others.
template <class T, class Fill>
void fillRow(T* out, std::size_t n, bool streaming, const Fill& fill)
{
    constexpr std::size_t vector = 32 / sizeof(T);
    std::size_t i = 0;
    if (streaming) {
        alignas(32) T piece[1024 / sizeof(T)];
        const auto beyond = reinterpret_cast<std::uintptr_t>(out) % 32 / sizeof(T);
        i = std::min(n, (vector - beyond) % vector);
        fill(out, 0, i);
        while (n - i >= vector) {
            const std::size_t count = std::min(std::size(piece), (n - i) / vector * vector);
            fill(piece, i, count);
            for (std::size_t k = 0; k < count; k += vector)
                _mm256_stream_si256(reinterpret_cast<__m256i*>(out + i + k),
                                    _mm256_load_si256(reinterpret_cast<const __m256i*>(piece + k)));
            i += count;
        }
        _mm_sfence();  // streamed bytes follow no other order
    }
    fill(out + i, i, n - i);
}

}  // namespace nox
