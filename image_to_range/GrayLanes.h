#pragma once

#include <immintrin.h>

#include <type_traits>

namespace nox::to_range {

/// Eight neighbouring pixels as integers, as floats and as doubles. Arithmetic rounds as that of one float or double.
struct Ints8
{
    __m128i low, high;
};

struct Floats8
{
    __m256 lanes;

    explicit Floats8(const Ints8& v) : lanes(_mm256_cvtepi32_ps(_mm256_set_m128i(v.high, v.low))) {}
    explicit Floats8(__m256 v) : lanes(v) {}
    friend Floats8 operator+(Floats8 a, double b) { return Floats8(a.lanes + _mm256_set1_ps(static_cast<float>(b))); }
    friend Floats8 operator-(Floats8 a, double b) { return Floats8(a.lanes - _mm256_set1_ps(static_cast<float>(b))); }
    friend Floats8 operator*(Floats8 a, double b) { return Floats8(a.lanes * _mm256_set1_ps(static_cast<float>(b))); }
};

struct Doubles8
{
    __m256d low, high;

    explicit Doubles8(const Ints8& v) : low(_mm256_cvtepi32_pd(v.low)), high(_mm256_cvtepi32_pd(v.high)) {}
    Doubles8(__m256d first, __m256d second) : low(first), high(second) {}
    friend Doubles8 operator+(Doubles8 a, double b) { return {a.low + _mm256_set1_pd(b), a.high + _mm256_set1_pd(b)}; }
    friend Doubles8 operator-(Doubles8 a, double b) { return {a.low - _mm256_set1_pd(b), a.high - _mm256_set1_pd(b)}; }
    friend Doubles8 operator*(Doubles8 a, double b) { return {a.low * _mm256_set1_pd(b), a.high * _mm256_set1_pd(b)}; }
};

inline Ints8 nearest(const Floats8& v)
{
    const __m256i rounded = _mm256_cvtps_epi32(v.lanes);
    return {_mm256_castsi256_si128(rounded), _mm256_extractf128_si256(rounded, 1)};
}

inline Ints8 nearest(const Doubles8& v) { return {_mm256_cvtpd_epi32(v.low), _mm256_cvtpd_epi32(v.high)}; }

inline Ints8 truncated(const Floats8& v)
{
    const __m256i whole = _mm256_cvttps_epi32(v.lanes);
    return {_mm256_castsi256_si128(whole), _mm256_extractf128_si256(whole, 1)};
}

inline Ints8 truncated(const Doubles8& v) { return {_mm256_cvttpd_epi32(v.low), _mm256_cvttpd_epi32(v.high)}; }

/// Eight pixels in words, and all bits set in the words that are 0.
struct Grays8
{
    explicit Grays8(const unsigned char* in)
        : words(_mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(in))))
    {
    }
    explicit Grays8(const unsigned short* in) : words(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in))) {}

    Ints8 integers() const { return {_mm_cvtepu16_epi32(words), _mm_unpackhi_epi16(words, _mm_setzero_si128())}; }
    __m128i zeros() const { return _mm_cmpeq_epi16(words, _mm_setzero_si128()); }

    __m128i words;
};

/// Lanes of `a` where the mask is set, of `b` elsewhere. (gcc takes a blend after a comparison apart lane by lane.)
inline __m128i select(__m128i mask, __m128i a, __m128i b)
{
    return _mm_or_si128(_mm_and_si128(mask, a), _mm_andnot_si128(mask, b));
}

inline __m256d select(__m256d mask, __m256d a, __m256d b)
{
    return _mm256_or_pd(_mm256_and_pd(mask, a), _mm256_andnot_pd(mask, b));
}

/// Stores eight pixels, saturated to `D`; `none` where a word of `zeros` is set.
template <class D>
void storeEight(D* out, __m128i zeros, D none, const Ints8& v)
{
    const auto at = [out](int place) { return reinterpret_cast<__m128i*>(out + place); };
    if constexpr (sizeof(D) == 4) {
        const __m128i filler = _mm_set1_epi32(none);
        _mm_storeu_si128(at(0), select(_mm_unpacklo_epi16(zeros, zeros), filler, v.low));
        _mm_storeu_si128(at(4), select(_mm_unpackhi_epi16(zeros, zeros), filler, v.high));
    } else {
        constexpr bool wide = std::is_same_v<D, unsigned short>;
        const __m128i packed = wide ? _mm_packus_epi32(v.low, v.high) : _mm_packs_epi32(v.low, v.high);
        const __m128i words = select(zeros, _mm_set1_epi16(static_cast<short>(none)), packed);
        if constexpr (sizeof(D) == 2)
            _mm_storeu_si128(at(0), words);
        else
            _mm_storel_epi64(at(0),
                             std::is_unsigned_v<D> ? _mm_packus_epi16(words, words) : _mm_packs_epi16(words, words));
    }
}

template <class D>
void storeEight(D* out, __m128i zeros, D none, const Doubles8& v)
{
    const __m128i low = _mm_unpacklo_epi16(zeros, zeros), high = _mm_unpackhi_epi16(zeros, zeros);
    if constexpr (std::is_same_v<D, float>) {
        const auto four = [none](float* to, __m128i mask, __m256d values) {
            const __m128i rounded = _mm_castps_si128(_mm256_cvtpd_ps(values));
            _mm_storeu_ps(to, _mm_castsi128_ps(select(mask, _mm_castps_si128(_mm_set1_ps(none)), rounded)));
        };
        four(out, low, v.low);
        four(out + 4, high, v.high);
    } else {
        const auto four = [none](double* to, __m128i mask, __m256d values) {
            const __m256i wide = _mm256_set_m128i(_mm_unpackhi_epi32(mask, mask), _mm_unpacklo_epi32(mask, mask));
            _mm256_storeu_pd(to, select(_mm256_castsi256_pd(wide), _mm256_set1_pd(none), values));
        };
        four(out, low, v.low);
        four(out + 4, high, v.high);
    }
}

}  // namespace nox::to_range
