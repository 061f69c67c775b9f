#pragma once

#include "data/ElementType.h"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>

// Four doubles, eight floats and eight integers as one number, so that a rule written as a template serves single
// values and lanes. Arithmetic rounds as that of one float or double.

namespace nox {

struct Float8
{
    __m256 lanes;

    Float8(__m256 values) : lanes(values) {}  // NOLINT(google-explicit-constructor)
    explicit Float8(float value) : lanes(_mm256_set1_ps(value)) {}
    friend Float8 operator+(Float8 a, Float8 b) { return _mm256_add_ps(a.lanes, b.lanes); }
    friend Float8 operator-(Float8 a, Float8 b) { return _mm256_sub_ps(a.lanes, b.lanes); }
    friend Float8 operator*(Float8 a, Float8 b) { return _mm256_mul_ps(a.lanes, b.lanes); }
    friend Float8 operator/(Float8 a, Float8 b) { return _mm256_div_ps(a.lanes, b.lanes); }
    /// A mask: all bits set where it holds, which it never does for a NaN.
    friend Float8 operator<(Float8 a, Float8 b) { return _mm256_cmp_ps(a.lanes, b.lanes, _CMP_LT_OQ); }
    friend Float8 operator>(Float8 a, Float8 b) { return _mm256_cmp_ps(a.lanes, b.lanes, _CMP_GT_OQ); }
    friend Float8 operator==(Float8 a, Float8 b) { return _mm256_cmp_ps(a.lanes, b.lanes, _CMP_EQ_OQ); }
};

struct Double4
{
    __m256d lanes;

    Double4(__m256d values) : lanes(values) {}  // NOLINT(google-explicit-constructor)
    explicit Double4(double value) : lanes(_mm256_set1_pd(value)) {}
    friend Double4 operator+(Double4 a, Double4 b) { return _mm256_add_pd(a.lanes, b.lanes); }
    friend Double4 operator-(Double4 a, Double4 b) { return _mm256_sub_pd(a.lanes, b.lanes); }
    friend Double4 operator*(Double4 a, Double4 b) { return _mm256_mul_pd(a.lanes, b.lanes); }
    friend Double4 operator/(Double4 a, Double4 b) { return _mm256_div_pd(a.lanes, b.lanes); }
};

struct Int8
{
    __m128i low, high;
};

/// Where `a` is a NaN these give `b`.
inline Float8 smaller(Float8 a, Float8 b) { return _mm256_min_ps(a.lanes, b.lanes); }
inline Float8 larger(Float8 a, Float8 b) { return _mm256_max_ps(a.lanes, b.lanes); }
inline Double4 smaller(Double4 a, Double4 b) { return _mm256_min_pd(a.lanes, b.lanes); }
inline Double4 larger(Double4 a, Double4 b) { return _mm256_max_pd(a.lanes, b.lanes); }

inline Float8 magnitude(Float8 a) { return _mm256_andnot_ps(_mm256_set1_ps(-0.0f), a.lanes); }
inline Double4 magnitude(Double4 a) { return _mm256_andnot_pd(_mm256_set1_pd(-0.0), a.lanes); }

/// The value where the mask is set, else 0.
inline Float8 where(Float8 mask, Float8 value) { return _mm256_and_ps(mask.lanes, value.lanes); }
inline Double4 where(Double4 mask, Double4 value) { return _mm256_and_pd(mask.lanes, value.lanes); }

/// Lanes of `a` where the mask is set, of `b` elsewhere. (gcc takes a blend after a comparison apart lane by lane.)
inline __m128i select(__m128i mask, __m128i a, __m128i b)
{
    return _mm_or_si128(_mm_and_si128(mask, a), _mm_andnot_si128(mask, b));
}
inline __m256d select(__m256d mask, __m256d a, __m256d b)
{
    return _mm256_or_pd(_mm256_and_pd(mask, a), _mm256_andnot_pd(mask, b));
}
inline __m256 select(__m256 mask, __m256 a, __m256 b)
{
    return _mm256_or_ps(_mm256_and_ps(mask, a), _mm256_andnot_ps(mask, b));
}

inline Float8 select(Float8 mask, Float8 yes, Float8 no) { return select(mask.lanes, yes.lanes, no.lanes); }
inline float select(bool mask, float yes, float no) { return mask ? yes : no; }
/// Where both masks are set.
inline Float8 both(Float8 a, Float8 b) { return _mm256_and_ps(a.lanes, b.lanes); }
inline bool both(bool a, bool b) { return a && b; }
/// The lanes in which a mask is set.
inline unsigned bits(Float8 mask) { return static_cast<unsigned>(_mm256_movemask_ps(mask.lanes)); }

/// Heights from 1e8 on are markers or nonsense, and are passed over; so is a NaN.
inline bool isHeight(float z) { return std::abs(z) < 1e8f; }
inline Float8 isHeight(Float8 z) { return magnitude(z) < Float8(1e8f); }

/// The height of a cell that holds the sum of weighted heights.
template <class V>
V meanOrInvalid(V sum, V weight)
{
    return select(weight > V(0.0f), sum / weight, V(Element<float>::invalid));
}

/// Rounded to float and widened again.
inline Double4 throughFloat(Double4 a) { return _mm256_cvtps_pd(_mm256_cvtpd_ps(a.lanes)); }

inline Int8 split(__m256i all) { return {_mm256_castsi256_si128(all), _mm256_extractf128_si256(all, 1)}; }
/// Towards zero.
inline Int8 truncated(Float8 a) { return split(_mm256_cvttps_epi32(a.lanes)); }
inline Int8 truncated(Double4 a, Double4 b) { return {_mm256_cvttpd_epi32(a.lanes), _mm256_cvttpd_epi32(b.lanes)}; }
/// To nearest, halves to even.
inline Int8 nearest(Float8 a) { return split(_mm256_cvtps_epi32(a.lanes)); }
inline Int8 nearest(Double4 a, Double4 b) { return {_mm256_cvtpd_epi32(a.lanes), _mm256_cvtpd_epi32(b.lanes)}; }

inline Int8 operator&(Int8 a, __m128i mask) { return {_mm_and_si128(a.low, mask), _mm_and_si128(a.high, mask)}; }
inline Float8 floats(Int8 a) { return _mm256_cvtepi32_ps(_mm256_set_m128i(a.high, a.low)); }

/// Eight neighbours of an 8- or 16-bit type in words, counted from the lowest value, which is the invalid one.
struct Counts8
{
    __m128i words;

    template <class T>
    explicit Counts8(const T* from)
    {
        static_assert(sizeof(T) <= 2);
        const auto* at = reinterpret_cast<const __m128i*>(from);
        words = sizeof(T) == 1 ? _mm_cvtepu8_epi16(_mm_loadl_epi64(at)) : _mm_loadu_si128(at);
        constexpr int signBit = sizeof(T) == 1 ? 0x80 : 0x8000;
        if (std::is_signed_v<T>) words = _mm_xor_si128(words, _mm_set1_epi16(static_cast<short>(signBit)));
    }

    /// All bits set in the words that are 0.
    __m128i zeros() const { return _mm_cmpeq_epi16(words, _mm_setzero_si128()); }
    Int8 integers() const
    {
        return {_mm_unpacklo_epi16(words, _mm_setzero_si128()), _mm_unpackhi_epi16(words, _mm_setzero_si128())};
    }
    /// count + shift, for a whole shift. (2^23 and a count are the upper and lower half of a float.)
    Float8 floats(float shift) const
    {
        const __m128i exponents = _mm_set1_epi16(0x4B00);
        const __m128i low = _mm_unpacklo_epi16(words, exponents), high = _mm_unpackhi_epi16(words, exponents);
        return Float8(_mm256_castsi256_ps(_mm256_set_m128i(high, low))) - Float8(8388608.0f - shift);
    }
};

inline __m128i fourIntegers(const unsigned char* from) { return _mm_cvtepu8_epi32(_mm_loadu_si32(from)); }
inline __m128i fourIntegers(const char* from) { return _mm_cvtepi8_epi32(_mm_loadu_si32(from)); }
inline __m128i fourIntegers(const unsigned short* from) { return _mm_cvtepu16_epi32(_mm_loadu_si64(from)); }
inline __m128i fourIntegers(const short* from) { return _mm_cvtepi16_epi32(_mm_loadu_si64(from)); }
inline __m128i fourIntegers(const int* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
template <class T>
Int8 eightIntegers(const T* from)
{
    return {fourIntegers(from), fourIntegers(from + 4)};
}

inline Double4 fourDoubles(__m128i integers) { return _mm256_cvtepi32_pd(integers); }
template <class T>
Double4 fourDoubles(const T* from)
{
    return fourDoubles(fourIntegers(from));
}
inline Double4 fourDoubles(const float* from) { return _mm256_cvtps_pd(_mm_loadu_ps(from)); }
inline Double4 fourDoubles(const double* from) { return _mm256_loadu_pd(from); }
/// The first `count` of four, invalid values behind them; reads no further.
template <class T>
Double4 fourDoubles(const T* from, int count)
{
    T padded[4];
    std::fill(std::copy_n(from, count, padded), padded + 4, Element<T>::invalid);
    return fourDoubles(padded);
}

template <class T>
Float8 eightFloats(const T* from)
{
    return floats(eightIntegers(from));
}
inline Float8 eightFloats(const float* from) { return _mm256_loadu_ps(from); }
/// Rounded to float.
inline Float8 eightFloats(const double* from)
{
    const __m128 low = _mm256_cvtpd_ps(_mm256_loadu_pd(from)), high = _mm256_cvtpd_ps(_mm256_loadu_pd(from + 4));
    return _mm256_insertf128_ps(_mm256_castps128_ps256(low), high, 1);
}

/// Eight integers in words, saturated so that `storeWords` goes on to saturate them to `T`.
template <class T>
__m128i packed(Int8 a)
{
    return std::is_same_v<T, unsigned short> ? _mm_packus_epi32(a.low, a.high) : _mm_packs_epi32(a.low, a.high);
}

/// Stores eight words as `T`, saturated.
template <class T>
void storeWords(T* to, __m128i words)
{
    auto* const at = reinterpret_cast<__m128i*>(to);
    if constexpr (sizeof(T) == 2)
        _mm_storeu_si128(at, words);
    else
        _mm_storel_epi64(at, std::is_unsigned_v<T> ? _mm_packus_epi16(words, words) : _mm_packs_epi16(words, words));
}

/// Stores eight integers, saturated.
template <class T>
void store(T* to, Int8 integers)
{
    storeWords(to, packed<T>(integers));
}
/// The same with 0 where a word of `zeros` is set.
template <class T>
void store(T* to, __m128i zeros, Int8 integers)
{
    storeWords(to, _mm_andnot_si128(zeros, packed<T>(integers)));
}

/// Stores the whole parts of eight numbers above `error`, each known to less than that.
/// @return false, and nothing stored, where one of them is not sure
template <class T>
bool storeSure(T* to, Float8 numbers, float error)
{
    const Float8 up = numbers + Float8(error);
    const __m256i whole = _mm256_cvttps_epi32(up.lanes);
    const Float8 beyond = up - Float8(_mm256_cvtepi32_ps(whole));
    if (_mm256_movemask_ps(_mm256_cmp_ps(beyond.lanes, _mm256_set1_ps(2 * error), _CMP_LT_OQ)) != 0) return false;
    store(to, split(whole));
    return true;
}

}  // namespace nox
