#pragma once

#include "data/Checked.h"
#include "data/ElementType.h"
#include "data/Lanes.h"
#include "frame/Streaming.h"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

// A rule turns eight neighbouring pixels at once, or as many as `unitOf` tells, by rule(from, to); `mapPixels` brings
// it any number of them, so that there is no second form of it for single pixels. Inlined by force: a call would load
// all constants for each eight.

namespace nox::retype {

/// Eight doubles as one number.
struct Double8
{
    Double4 low, high;

    Double8(Double4 first, Double4 second) : low(first), high(second) {}
    explicit Double8(double value) : low(value), high(value) {}
    friend Double8 operator+(Double8 a, double b) { return {a.low + Double4(b), a.high + Double4(b)}; }
    friend Double8 operator-(Double8 a, double b) { return {a.low - Double4(b), a.high - Double4(b)}; }
    friend Double8 operator*(Double8 a, double b) { return {a.low * Double4(b), a.high * Double4(b)}; }
    friend Double8 operator/(Double8 a, double b) { return {a.low / Double4(b), a.high / Double4(b)}; }
};

inline Int8 truncated(Double8 a) { return nox::truncated(a.low, a.high); }

inline Double8 widened(Int8 a) { return {_mm256_cvtepi32_pd(a.low), _mm256_cvtepi32_pd(a.high)}; }

template <class S>
Double8 eightDoubles(const S* from)
{
    if constexpr (std::is_integral_v<S>)
        return widened(eightIntegers(from));
    else
        return {fourDoubles(from), fourDoubles(from + 4)};
}

inline Float8 rounded(Double8 a)
{
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm256_cvtpd_ps(a.low.lanes)), _mm256_cvtpd_ps(a.high.lanes), 1);
}

inline Double8 widened(Float8 a)
{
    return {_mm256_cvtps_pd(_mm256_castps256_ps128(a.lanes)), _mm256_cvtps_pd(_mm256_extractf128_ps(a.lanes, 1))};
}

inline void store(float* to, Double8 a) { _mm256_storeu_ps(to, rounded(a).lanes); }
inline void store(double* to, Double8 a)
{
    _mm256_storeu_pd(to, a.low.lanes);
    _mm256_storeu_pd(to + 4, a.high.lanes);
}

/// `a` where the mask is set, `b` elsewhere.
inline Double4 chosen(Double4 mask, double a, Double4 b) { return select(mask.lanes, _mm256_set1_pd(a), b.lanes); }
inline Double8 chosen(Double8 mask, double a, Double8 b)
{
    return {chosen(mask.low, a, b.low), chosen(mask.high, a, b.high)};
}

/// Which pixels are invalid. Of doubles those not further than 1e-8 from the invalid value, so every NaN.
inline Int8 isNone(Int8 v, double invalid)
{
    const __m128i marker = _mm_set1_epi32(t32(invalid));
    return {_mm_cmpeq_epi32(v.low, marker), _mm_cmpeq_epi32(v.high, marker)};
}
template <class S>
Double8 isNone(Double8 v, double invalid)
{
    const auto half = [invalid](Double4 four) -> Double4 {
        if constexpr (std::is_integral_v<S>)
            return _mm256_cmp_pd(four.lanes, _mm256_set1_pd(invalid), _CMP_EQ_OQ);
        else
            return _mm256_cmp_pd(magnitude(four - Double4(invalid)).lanes, _mm256_set1_pd(1e-8), _CMP_NGT_UQ);
    };
    return {half(v.low), half(v.high)};
}

/// The same answers for 32-bit lanes.
inline Int8 narrowed(Double8 compared)
{
    const auto half = [](Double4 four) {
        const __m256 lanes = _mm256_castpd_ps(four.lanes);
        return _mm_castps_si128(
            _mm_shuffle_ps(_mm256_castps256_ps128(lanes), _mm256_extractf128_ps(lanes, 1), _MM_SHUFFLE(2, 0, 2, 0)));
    };
    return {half(compared.low), half(compared.high)};
}

// Eight 16-bit numbers, the form in which the narrow results leave the arithmetic.

inline __m128i saturatedWords(Int8 a) { return _mm_packs_epi32(a.low, a.high); }

inline __m128i lowWords(Int8 a)
{
    const __m128i even = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
    return _mm_unpacklo_epi64(_mm_shuffle_epi8(a.low, even), _mm_shuffle_epi8(a.high, even));
}

/// The low 16 bits of the numbers truncated to 64.
inline __m128i lowWords(Double8 a)
{
    const Int8 whole = truncated(a);
    const __m128i lowest = _mm_set1_epi32(INT32_MIN);  // what a number that does not fit has become
    const __m128i beyond = _mm_or_si128(_mm_cmpeq_epi32(whole.low, lowest), _mm_cmpeq_epi32(whole.high, lowest));
    if (_mm_testz_si128(beyond, beyond)) return lowWords(whole);
    double numbers[8];
    short words[8];
    store(numbers, a);
    for (int k = 0; k < 8; ++k) words[k] = static_cast<short>(t64(numbers[k]));
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(words));
}

inline Int8 atMost(Int8 a, int top)
{
    const __m128i limit = _mm_set1_epi32(top);
    return {_mm_min_epi32(a.low, limit), _mm_min_epi32(a.high, limit)};
}

/// Signed words cut to -126 (from below -127) and 127.
inline __m128i clampedToS8(__m128i q)
{
    const __m128i low = _mm_set1_epi16(-127), below = _mm_cmplt_epi16(q, low);
    return _mm_min_epi16(_mm_sub_epi16(_mm_max_epi16(q, low), below), _mm_set1_epi16(127));
}

/// Unsigned words cut to 1 and 255.
inline __m128i clampedToU8(__m128i q)
{
    return _mm_min_epu16(_mm_max_epu16(q, _mm_set1_epi16(1)), _mm_set1_epi16(255));
}

/// Cut to the numbers from 1 to 255, then truncated.
inline __m128i pinnedToU8(Float8 x)
{
    return saturatedWords(nox::truncated(smaller(Float8(255.0f), larger(Float8(1.0f), x))));
}

/// The pairs of element types that an image can be converted between.
template <class S, class D>
inline constexpr bool isServed =
    !std::is_same_v<S, D> && !std::is_same_v<D, short> && (!std::is_same_v<S, short> || std::is_same_v<D, float>);

/// The rules of all pairs, as RangeImageConverterTBBNew tells them.
template <class S, class D>
struct GeneralRule
{
    double resolution, offset, sourceInvalid, destinationInvalid, divisor, targetOffset;
    /// A float times 100 or 1000 is a double without rounding, and the divisors are so near to 1 / 100 and 1 / 1000
    /// that the quotient is the same double; 0 for other divisors.
    double floatFactor = divisor == 0.01 ? 100.0 : divisor == 0.001 ? 1000.0 : 0.0;
    float floatInvalid = static_cast<float>(sourceInvalid);
    /// No other float lies so near to the invalid value that it counts as that.
    bool standsAlone = std::abs(floatInvalid) >= 1.0f && floatInvalid == sourceInvalid;

    [[gnu::always_inline]] void operator()(const S* from, D* to) const
    {
        if constexpr (sizeof(S) == 1 && sizeof(D) == 1) {
            const auto byte = [](double value) { return _mm_set1_epi8(static_cast<char>(t32(value))); };
            const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
            const __m128i shifted = _mm_xor_si128(v, _mm_set1_epi8(-128));  // + 128 in the low 8 bits
            _mm_storel_epi64(reinterpret_cast<__m128i*>(to),
                             select(_mm_cmpeq_epi8(v, byte(sourceInvalid)), byte(destinationInvalid), shifted));
        } else if constexpr (std::is_floating_point_v<D>) {
            const Double8 v = eightDoubles(from);
            store(to, chosen(isNone<S>(v, sourceInvalid), destinationInvalid, height(v)));
        } else if constexpr (sizeof(D) == 4 && isScaled<S>) {
            const Int8 v = eightIntegers(from);
            storeInts(to, isNone(v, sourceInvalid), v);
        } else if constexpr (isScaled<S>) {
            const Int8 v = eightIntegers(from);
            storeNumber(to, isNone(v, sourceInvalid), height(widened(v)) / divisor);
        } else {
            const Marked v = marked(from);
            storeNumber(to, v.none, units(v.heights));
        }
    }

private:
    struct Marked
    {
        Int8 none;
        Double8 heights;
    };

    /// For words invalid heights become 0, since numbers beyond 32 bits are dear there.
    Marked marked(const S* from) const
    {
        constexpr bool clears = std::is_same_v<D, unsigned short>;
        const Double8 v = eightDoubles(from);
        if constexpr (std::is_same_v<S, float>) {
            if (standsAlone) {
                const Float8 all = eightFloats(from);
                const __m256 none = _mm256_cmp_ps(all.lanes, _mm256_set1_ps(floatInvalid), _CMP_EQ_UQ);
                return {split(_mm256_castps_si256(none)),
                        clears ? widened(Float8(_mm256_andnot_ps(none, all.lanes))) : v};
            }
        }
        const Double8 none = isNone<S>(v, sourceInvalid);
        return {narrowed(none), clears ? chosen(none, 0.0, v) : v};
    }

    Double8 units(Double8 v) const
    {
        return std::is_same_v<S, float> && floatFactor != 0.0 ? v * floatFactor : v / divisor;
    }

    Double8 height(Double8 v) const { return isScaled<S> ? (v - offset) * resolution : v; }

    void storeInts(int* to, Int8 none, Int8 numbers) const
    {
        const __m128i marker = _mm_set1_epi32(t32(destinationInvalid));
        auto* const at = reinterpret_cast<__m128i*>(to);
        _mm_storeu_si128(at, select(none.low, marker, numbers.low));
        _mm_storeu_si128(at + 1, select(none.high, marker, numbers.high));
    }

    /// @param units  heights in units of the target's scale
    void storeNumber(D* to, Int8 none, Double8 units) const
    {
        if constexpr (sizeof(D) == 4)
            storeInts(to, none, truncated(units));
        else
            storeWords(to, select(saturatedWords(none), _mm_set1_epi16(static_cast<short>(t32(destinationInvalid))),
                                  words(units)));
    }

    __m128i words(Double8 units) const
    {
        if constexpr (std::is_signed_v<D>)
            return clampedToS8(lowWords(truncated(units)));
        else if constexpr (sizeof(D) == 1)
            return isScaled<S> ? clampedToU8(lowWords(units + targetOffset))
                               : pinnedToU8(rounded(units + targetOffset));
        else
            return isScaled<S> ? lowWords(atMost(truncated(units + targetOffset), 65535))
                               : lowWords(units + targetOffset);
    }
};

/// u8 to u16 and u16 to u8: 0 stays 0.
template <class S>
__m128i zeroStays(const S* from, __m128i numbers)
{
    const auto* const at = reinterpret_cast<const __m128i*>(from);
    const __m128i v = sizeof(S) == 1 ? _mm_cvtepu8_epi16(_mm_loadl_epi64(at)) : _mm_loadu_si128(at);
    return _mm_andnot_si128(_mm_cmpeq_epi16(v, _mm_setzero_si128()), numbers);
}

/// `Place` gives the place on the target's scale.
template <class Place>
struct ByteToWordRule
{
    Place place;

    [[gnu::always_inline]] void operator()(const unsigned char* from, unsigned short* to) const
    {
        const Double8 x = place(from);
        const Double8 cut{smaller(Double4(65535.0), x.low), smaller(Double4(65535.0), x.high)};  // lets a NaN pass
        storeWords(to, zeroStays(from, lowWords(cut)));
    }
};
template <class Place>
ByteToWordRule(Place) -> ByteToWordRule<Place>;

struct WordToByteRule
{
    float resolution, offset;

    [[gnu::always_inline]] void operator()(const unsigned short* from, unsigned char* to) const
    {
        const Float8 x =
            (Counts8(from).floats(0.0f) - Float8(offset)) * Float8(resolution) * Float8(100.0f) + Float8(127.0f);
        const Float8 atMost0 = _mm256_cmp_ps(x.lanes, _mm256_setzero_ps(), _CMP_LE_OQ);
        const Float8 pinned = smaller(Float8(255.0f), larger(where(atMost0, Float8(1.0f)), x));
        storeWords(to, zeroStays(from, saturatedWords(nox::truncated(pinned))));  // a NaN is the lowest integer, then 0
    }
};

struct RoundedWordToByteRule
{
    float scale, offset;

    [[gnu::always_inline]] void operator()(const unsigned short* from, unsigned char* to) const
    {
        const Float8 x = (floats(eightIntegers(from)) - Float8(offset)) * Float8(scale) + Float8(127.0f);
        const Float8 cut = smaller(larger(x, Float8(0.0f)), Float8(255.0f));
        storeWords(to, zeroStays(from, saturatedWords(nearest(cut))));
    }
};

/// With `ZeroIsNone` height 0 counts as invalid.
template <bool ZeroIsNone>
struct FloatToByteRule
{
    float divisor, targetOffset;

    [[gnu::always_inline]] void operator()(const float* from, unsigned char* to) const
    {
        const Float8 v = eightFloats(from);
        const __m256 distance = (v - Float8(Element<float>::invalid)).lanes;
        __m256 clear =
            _mm256_cmp_ps(_mm256_andnot_ps(_mm256_set1_ps(-0.0f), distance), _mm256_set1_ps(1e-6f), _CMP_GT_OQ);
        if constexpr (ZeroIsNone)
            clear = _mm256_and_ps(clear, _mm256_cmp_ps(v.lanes, _mm256_setzero_ps(), _CMP_NEQ_OQ));
        const __m128i valid = saturatedWords(split(_mm256_castps_si256(clear)));
        storeWords(to, _mm_and_si128(valid, pinnedToU8(v / Float8(divisor) + Float8(targetOffset))));
    }
};

/// How many pixels a rule turns at once.
template <class Rule>
inline constexpr std::size_t unitOf = 8;

/// `Count` pixels by a rule.
template <std::size_t Count, class S, class D, class Rule>
[[gnu::always_inline]] inline void turn(const S* from, D* to, const Rule& rule)
{
    for (std::size_t k = 0; k < Count; k += unitOf<Rule>) rule(from + k, to + k);
}

/// Two rules of the same outcome take turns: what one waits for is free for the other. They come by value: a store of
/// bytes might change one that the caller can see.
template <class S, class D, class Rule, class Other>
void mapPixels(const S* from, D* to, std::size_t n, const Rule rule, const Other other)
{
    constexpr std::size_t unit = std::max(unitOf<Rule>, unitOf<Other>);
    std::size_t i = 0;
    for (; i + 2 * unit <= n; i += 2 * unit) {
        fetchAhead(from + i);
        turn<unit>(from + i, to + i, rule);
        if constexpr (unit * sizeof(S) >= 64) fetchAhead(from + i + unit);  // fewer fill one line together
        turn<unit>(from + i + unit, to + i + unit, other);
    }
    if (i < n) {
        S in[2 * unit] = {};
        D out[2 * unit];
        std::copy(from + i, from + n, in);
        mapPixels(in, out, 2 * unit, rule, other);
        std::copy_n(out, n - i, to + i);
    }
}

}  // namespace nox::retype
