#pragma once

#include "range_to_cloud/PixelRules.h"

#include <immintrin.h>

#include <array>
#include <cstdint>
#include <cstring>

namespace nox {

/// Four neighbouring pixels of a row: heights as they are, and a bit for each that is valid.
struct FourPixels
{
    __m128 heights;
    unsigned valid;
};

template <class T>
__m128i fourIntegers(const T* pixels)
{
    if constexpr (sizeof(T) == 4) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels));
    } else if constexpr (sizeof(T) == 2) {
        const __m128i packed = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(pixels));
        return std::is_signed_v<T> ? _mm_cvtepi16_epi32(packed) : _mm_cvtepu16_epi32(packed);
    } else {
        std::int32_t bytes;
        std::memcpy(&bytes, pixels, sizeof bytes);
        const __m128i packed = _mm_cvtsi32_si128(bytes);
        return std::is_signed_v<T> ? _mm_cvtepi8_epi32(packed) : _mm_cvtepu8_epi32(packed);
    }
}

/// Asks for the pixels that the loop reaches a page later: a core alone does not keep the memory busy. The address may
/// lie behind the image; nothing is read there.
inline void askAhead(const void* pixels)
{
    constexpr std::uintptr_t page = 4096;
    const auto ahead = reinterpret_cast<std::uintptr_t>(pixels) + page;
    _mm_prefetch(reinterpret_cast<const char*>(ahead), _MM_HINT_T0);  // NOLINT(performance-no-int-to-ptr)
}

/// The element type's own invalid value, and NaN, count as invalid.
template <class T>
FourPixels fourPixels(const T* pixels)
{
    askAhead(pixels);
    if constexpr (std::is_same_v<T, float>) {
        const __m128 values = _mm_loadu_ps(pixels);
        const __m128 valid = _mm_cmp_ps(values, _mm_set1_ps(Element<T>::invalid), _CMP_NEQ_OQ);
        return {values, static_cast<unsigned>(_mm_movemask_ps(valid))};
    } else if constexpr (std::is_same_v<T, double>) {
        const __m256d values = _mm256_loadu_pd(pixels);
        const __m256d valid = _mm256_cmp_pd(values, _mm256_set1_pd(Element<T>::invalid), _CMP_NEQ_OQ);
        return {_mm256_cvtpd_ps(values), static_cast<unsigned>(_mm256_movemask_pd(valid))};
    } else {
        const __m128i values = fourIntegers(pixels);
        const __m128i invalid = _mm_cmpeq_epi32(values, _mm_set1_epi32(Element<T>::invalid));
        return {_mm_cvtepi32_ps(values), static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(invalid))) ^ 15U};
    }
}

inline int bitCount(unsigned bits) { return _mm_popcnt_u32(bits); }

/// For each set of valid lanes the byte shuffle that moves them to the front.
struct FrontShuffles
{
    alignas(16) std::uint8_t bytes[16][16] = {};

    constexpr FrontShuffles()
    {
        for (unsigned valid = 0; valid < 16; ++valid) {
            unsigned byte = 0;
            for (unsigned lane = 0; lane < 4; ++lane)
                for (unsigned k = 0; k < 4 && (valid >> lane & 1U); ++k)
                    bytes[valid][byte++] = static_cast<std::uint8_t>(lane * 4 + k);
        }
    }
};

inline constexpr FrontShuffles frontShuffles;

inline __m128 toFront(__m128 lanes, unsigned valid)
{
    const auto* shuffle = reinterpret_cast<const __m128i*>(frontShuffles.bytes[valid]);
    return _mm_castsi128_ps(_mm_shuffle_epi8(_mm_castps_si128(lanes), _mm_load_si128(shuffle)));
}

/// Stores four points that share x.
inline void storeFour(float* points, __m128 x, __m128 y, __m128 z)
{
    const __m128 front = _mm_unpacklo_ps(y, z);
    const __m128 back = _mm_unpackhi_ps(y, z);
    const __m128 middle = _mm_shuffle_ps(front, back, _MM_SHUFFLE(0, 0, 3, 2));
    _mm_storeu_ps(points, _mm_blend_ps(_mm_permute_ps(front, _MM_SHUFFLE(0, 1, 0, 0)), x, 0b1001));
    _mm_storeu_ps(points + 4, _mm_blend_ps(middle, x, 0b0100));
    _mm_storeu_ps(points + 8, _mm_blend_ps(_mm_permute_ps(back, _MM_SHUFFLE(3, 2, 0, 1)), x, 0b0010));
}

/// Gathers points in a small block that stays in the nearest cache and sends it out when it is full. So a group of
/// points may be stored whole before it is known how many of them count, and no byte behind the piece of the
/// destination that the caller fills is ever touched. `streaming` keeps what goes out from displacing caches, for
/// destinations that would not fit there anyway.
class PointPiece
{
public:
    PointPiece(float* destination, bool streaming)
        : used_(reinterpret_cast<std::uintptr_t>(destination) / sizeof(float) % kVector),
          first_(used_),
          destination_(destination - used_),
          streaming_(streaming)
    {
    }
    PointPiece(const PointPiece&) = delete;
    PointPiece& operator=(const PointPiece&) = delete;
    ~PointPiece()
    {
        std::copy(block_ + first_, block_ + used_, destination_ + first_);
        if (streaming_) _mm_sfence();  // streamed bytes follow no other order
    }

    /// Where the next points go. At least four fit.
    float* next() { return block_ + used_; }
    /// From here on four points may not fit.
    const float* full() const { return block_ + kBlock; }
    /// Takes what stands before `end`.
    void take(const float* end)
    {
        used_ = static_cast<std::size_t>(end - block_);
        if (used_ >= kBlock) send();
    }

private:
    static constexpr std::size_t kVector = 8;
    static constexpr std::size_t kBlock = 512;
    static constexpr std::size_t kFour = 12;

    void send()
    {
        std::size_t i = first_;
        if (streaming_) {
            if (i != 0) {
                std::copy(block_ + i, block_ + kVector, destination_ + i);
                i = kVector;
            }
            for (; i < kBlock; i += kVector) _mm256_stream_ps(destination_ + i, _mm256_load_ps(block_ + i));
        } else {
            std::copy(block_ + i, block_ + kBlock, destination_ + i);
        }
        used_ -= kBlock;
        std::copy_n(block_ + kBlock, kFour, block_);
        destination_ += kBlock;
        first_ = 0;
    }

    alignas(32) float block_[kBlock + kFour];
    std::size_t used_;  // the block lies to its 32-byte boundaries as the destination does
    std::size_t first_;
    float* destination_;
    bool streaming_;
};

/// The valid pixels of a row.
template <class T>
std::size_t countRow(const Rows<T>& rows, std::size_t row, const Orthographic<T>& rule)
{
    const T* values = rows[row];
    int column = 0;
    std::size_t count = 0;
    for (; column <= rows.width - 4; column += 4)
        count += static_cast<std::size_t>(bitCount(fourPixels(values + column).valid));
    for (; column < rows.width; ++column) count += rule.keeps(values[column]) ? 1 : 0;
    return count;
}

/// appendRow for an orthographic grid with the element type's own invalid value, four pixels a step.
template <class T>
void appendRow(const Rows<T>& rows, std::size_t row, const Orthographic<T>& rule, PointPiece& points)
{
    const T* values = rows[row];
    const __m128 x = _mm_set1_ps(rule.x(row));
    const __m128 offsetX = _mm_set1_ps(rule.offsetX), resolutionX = _mm_set1_ps(rule.resolutionX);
    const __m128 offsetZ = _mm_set1_ps(rule.offsetZ), resolutionZ = _mm_set1_ps(rule.resolutionZ);
    const int lastFour = rows.width - 4;
    __m128i columns = _mm_setr_epi32(0, 1, 2, 3);
    int column = 0;
    while (column <= lastFour) {
        float* end = points.next();
        for (const float* full = points.full(); column <= lastFour && end < full; column += 4) {
            const FourPixels four = fourPixels(values + column);
            const __m128 y = scaled(_mm_cvtepi32_ps(columns), offsetX, resolutionX);
            const __m128 z = isScaled<T> ? scaled(four.heights, offsetZ, resolutionZ) : four.heights;
            storeFour(end, x, toFront(y, four.valid), toFront(z, four.valid));
            end += bitCount(four.valid) * 3;
            columns = _mm_add_epi32(columns, _mm_set1_epi32(4));
        }
        points.take(end);
    }
    for (; column < rows.width; ++column) {
        if (!rule.keeps(values[column])) continue;
        IntoTriples{points.next()}(0, rule.point(row, column, values[column]));
        points.take(points.next() + 3);
    }
}

}  // namespace nox
