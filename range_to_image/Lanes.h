#pragma once

#include "data/ElementType.h"

#include <immintrin.h>

#include <cstdint>
#include <cstring>

// Four doubles and eight floats as one number, so that a rule written as a template serves single values and lanes.

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

/// Where `a` is a NaN these give `b`.
inline Float8 smaller(Float8 a, Float8 b) { return _mm256_min_ps(a.lanes, b.lanes); }
inline Float8 larger(Float8 a, Float8 b) { return _mm256_max_ps(a.lanes, b.lanes); }
inline Double4 smaller(Double4 a, Double4 b) { return _mm256_min_pd(a.lanes, b.lanes); }
inline Double4 larger(Double4 a, Double4 b) { return _mm256_max_pd(a.lanes, b.lanes); }

inline Double4 magnitude(Double4 a) { return _mm256_andnot_pd(_mm256_set1_pd(-0.0), a.lanes); }

/// The value where the mask is set, else 0.
inline Float8 where(Float8 mask, Float8 value) { return _mm256_and_ps(mask.lanes, value.lanes); }
inline Double4 where(Double4 mask, Double4 value) { return _mm256_and_pd(mask.lanes, value.lanes); }

/// Rounded to float and widened again.
inline Double4 throughFloat(Double4 a) { return _mm256_cvtps_pd(_mm256_cvtpd_ps(a.lanes)); }

/// Eight 32-bit integers, the form in which grays leave the arithmetic.
struct Int8
{
    __m128i low, high;
};

inline Int8 split(__m256i all) { return {_mm256_castsi256_si128(all), _mm256_extractf128_si256(all, 1)}; }
inline Int8 truncated(Float8 a) { return split(_mm256_cvttps_epi32(a.lanes)); }
inline Int8 truncated(Double4 a, Double4 b) { return {_mm256_cvttpd_epi32(a.lanes), _mm256_cvttpd_epi32(b.lanes)}; }
/// To nearest, halves to even.
inline Int8 rounded(Float8 a) { return split(_mm256_cvtps_epi32(a.lanes)); }
inline Int8 operator&(Int8 a, __m128i mask) { return {_mm_and_si128(a.low, mask), _mm_and_si128(a.high, mask)}; }
inline bool equal(Int8 a, Int8 b)
{
    const __m128i differ = _mm_or_si128(_mm_xor_si128(a.low, b.low), _mm_xor_si128(a.high, b.high));
    return _mm_testz_si128(differ, differ) != 0;
}
inline Float8 floats(Int8 a)
{
    return _mm256_cvtepi32_ps(_mm256_insertf128_si256(_mm256_castsi128_si256(a.low), a.high, 1));
}

/// Stores eight grays, saturated.
inline void store(unsigned char* to, Int8 grays)
{
    const __m128i words = _mm_packs_epi32(grays.low, grays.high);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_packus_epi16(words, words));
}
inline void store(unsigned short* to, Int8 grays)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_packus_epi32(grays.low, grays.high));
}

template <class T>
Int8 eightIntegers(const T* from)
{
    static_assert(std::is_integral_v<T>);
    const auto* vectors = reinterpret_cast<const __m128i*>(from);
    if constexpr (sizeof(T) == 4) {
        return {_mm_loadu_si128(vectors), _mm_loadu_si128(vectors + 1)};
    } else if constexpr (sizeof(T) == 2) {
        const __m128i all = _mm_loadu_si128(vectors), upper = _mm_srli_si128(all, 8);
        return std::is_signed_v<T> ? Int8{_mm_cvtepi16_epi32(all), _mm_cvtepi16_epi32(upper)}
                                   : Int8{_mm_cvtepu16_epi32(all), _mm_cvtepu16_epi32(upper)};
    } else {
        const __m128i all = _mm_loadl_epi64(vectors), upper = _mm_srli_si128(all, 4);
        return std::is_signed_v<T> ? Int8{_mm_cvtepi8_epi32(all), _mm_cvtepi8_epi32(upper)}
                                   : Int8{_mm_cvtepu8_epi32(all), _mm_cvtepu8_epi32(upper)};
    }
}

/// Which of eight integers differ from a value: all bits set, or none.
inline Int8 differing(Int8 a, int value)
{
    const __m128i same = _mm_set1_epi32(value), all = _mm_set1_epi32(-1);
    return {_mm_xor_si128(_mm_cmpeq_epi32(a.low, same), all), _mm_xor_si128(_mm_cmpeq_epi32(a.high, same), all)};
}
inline Int8 where(Int8 mask, Int8 value)
{
    return {_mm_and_si128(mask.low, value.low), _mm_and_si128(mask.high, value.high)};
}

inline Double4 fourDoubles(const int* from)
{
    return _mm256_cvtepi32_pd(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
}
inline Double4 fourDoubles(const float* from) { return _mm256_cvtps_pd(_mm_loadu_ps(from)); }
inline Double4 fourDoubles(const double* from) { return _mm256_loadu_pd(from); }

inline Float8 eightFloats(const float* from) { return _mm256_loadu_ps(from); }
/// Rounded to float.
inline Float8 eightFloats(const double* from)
{
    const __m128 low = _mm256_cvtpd_ps(_mm256_loadu_pd(from)), high = _mm256_cvtpd_ps(_mm256_loadu_pd(from + 4));
    return _mm256_insertf128_ps(_mm256_castps128_ps256(low), high, 1);
}

}  // namespace nox
