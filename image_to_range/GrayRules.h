#pragma once

#include "data/Checked.h"
#include "data/ElementType.h"
#include "data/Lanes.h"
#include "frame/Streaming.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <numeric>
#include <type_traits>

// A rule turns a gray other than 0 into a number, by arithmetic in `Number` that is written once for one pixel and for
// eight, and `Finish` turns the number into the element type `Height`. Gray 0 becomes `none`.

namespace nox::to_range {

/// To nearest, saturated.
struct Nearest
{
    template <class D>
    static D one(double v)
    {
        return saturate<D>(v);
    }

    template <class D, class... V>
    static Int8 eight(V... v)
    {
        return nearest(v...);
    }
};

/// Towards zero, saturated at the top; for numbers from 0 on.
struct Truncated
{
    template <class D>
    static D one(float v)
    {
        return static_cast<D>(std::min(t32(v), std::int32_t{std::numeric_limits<D>::max()}));
    }

    template <class D, class... V>
    static Int8 eight(V... v)
    {
        return truncated(v...);
    }
};

/// Towards zero, and of that the low bits. Eight at once have 32 of them: only for rules whose numbers are known to
/// fit.
struct LowBits
{
    template <class D>
    static D one(double v)
    {
        return static_cast<D>(t64(v));
    }

    template <class D, class... V>
    static Int8 eight(V... v)
    {
        return truncated(v...);
    }
};

/// gray * scale + offset.
template <class S, class D>
struct LinearRule
{
    using Gray = S;
    using Height = D;
    using Number = double;
    using Finish = std::conditional_t<std::is_same_v<S, unsigned short> && std::is_same_v<D, char>, LowBits, Nearest>;
    static constexpr D none = Element<D>::invalid;

    double scale, offset;

    template <class V>
    V operator()(V gray) const
    {
        return gray * V(scale) + V(offset);
    }
};

/// gray * scale + 1 in float, with the scale that takes 1 to 255 and 1 to 65535 to each other.
template <class S, class D>
struct DepthRule
{
    using Gray = S;
    using Height = D;
    using Number = float;
    using Finish = Truncated;
    static constexpr D none = 0;
    static constexpr float scale = std::is_same_v<S, unsigned char> ? 258.00787F : 0.0038758507F;

    template <class V>
    V operator()(V gray) const
    {
        return gray * V(scale) + V(1.0F);
    }
};

/// (gray - offset) * scale - 32767, for heights below and above 0.
template <class D>
struct CentredRule
{
    using Gray = unsigned char;
    using Height = D;
    using Number = double;
    using Finish = LowBits;
    static constexpr D none = 0;

    double scale, offset;

    template <class V>
    V operator()(V gray) const
    {
        return (gray - V(offset)) * V(scale) - V(32767.0);
    }
};

/// Heights in units of their own, 8-bit grays counted from 1.
template <class S, class D>
struct HeightRule
{
    using Gray = S;
    using Height = D;
    using Number = double;
    using Finish = Nearest;
    static constexpr D none = Element<D>::invalid;

    double scale, offset;

    template <class V>
    V operator()(V gray) const
    {
        if constexpr (std::is_same_v<S, unsigned char>)
            return (gray - V(offset) - V(1.0)) * V(scale);
        else
            return (gray - V(offset)) * V(scale);
    }
};

template <class Rule>
typename Rule::Height heightOf(const Rule& rule, typename Rule::Gray gray)
{
    using Finish = typename Rule::Finish;
    if (gray == 0) return Rule::none;
    return Finish::template one<typename Rule::Height>(rule(static_cast<typename Rule::Number>(gray)));
}

/// The heights of eight grays, not yet saturated.
template <class Rule>
Int8 eight(const Rule& rule, const typename Rule::Gray* in)
{
    using Finish = typename Rule::Finish;
    using Height = typename Rule::Height;
    if constexpr (std::is_same_v<typename Rule::Number, float>)
        return Finish::template eight<Height>(rule(eightFloats(in)));
    else
        return Finish::template eight<Height>(rule(fourDoubles(in)), rule(fourDoubles(in + 4)));
}

/// All bits set in the words of eight grays, or the bytes of sixteen, that are 0.
template <class S>
__m128i zeroWords(const S* grays)
{
    return Counts8(grays).zeros();
}
inline __m128i zeroBytes(const unsigned char* grays)
{
    return _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(grays)), _mm_setzero_si128());
}
inline __m128i zeroBytes(const unsigned short* grays)
{
    return _mm_packs_epi16(zeroWords(grays), zeroWords(grays + 8));
}

/// Eight heights of one byte in words, still to be saturated.
template <class Rule>
__m128i wordsOfBytes(const Rule& rule, const typename Rule::Gray* in)
{
    using Finish = typename Rule::Finish;
    using Height = typename Rule::Height;
    if constexpr (std::is_same_v<Finish, LowBits>) {
        // Even and odd grays apart: so the low halves of their heights come together by a shift.
        const __m128i grays = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
        const __m128i evens = _mm_and_si128(grays, _mm_set1_epi32(0xFFFF)), odds = _mm_srli_epi32(grays, 16);
        const Int8 all = Finish::template eight<Height>(rule(fourDoubles(evens)), rule(fourDoubles(odds)));
        return _mm_and_si128(_mm_blend_epi16(all.low, _mm_slli_epi32(all.high, 16), 0xAA), _mm_set1_epi16(255));
    } else {
        return packed<Height>(eight(rule, in));
    }
}

/// Sixteen heights of one byte. The lowest value of a signed type is less than all others.
template <class Rule>
__m128i sixteenBytes(const Rule& rule, const typename Rule::Gray* in)
{
    constexpr bool isUnsigned = std::is_unsigned_v<typename Rule::Height>;
    const __m128i zeros = zeroBytes(in), low = wordsOfBytes(rule, in), high = wordsOfBytes(rule, in + 8);
    const bool noSign = isUnsigned || std::is_same_v<typename Rule::Finish, LowBits>;
    const __m128i bytes = noSign ? _mm_packus_epi16(low, high) : _mm_packs_epi16(low, high);
    return isUnsigned ? _mm_andnot_si128(zeros, bytes)
                      : _mm_min_epi8(bytes, _mm_xor_si128(zeros, _mm_set1_epi8(std::numeric_limits<char>::max())));
}

/// Stores eight integers, saturated to `D`; `none` where a word of `zeros` is set.
template <class D>
void storeHeights(D* out, __m128i zeros, D none, Int8 v)
{
    if constexpr (sizeof(D) == 4) {
        const __m128i filler = _mm_set1_epi32(none);
        auto* const at = reinterpret_cast<__m128i*>(out);
        _mm_storeu_si128(at, select(_mm_unpacklo_epi16(zeros, zeros), filler, v.low));
        _mm_storeu_si128(at + 1, select(_mm_unpackhi_epi16(zeros, zeros), filler, v.high));
    } else if (none == 0) {
        store(out, zeros, v);
    } else {
        const __m128i most = _mm_xor_si128(zeros, _mm_set1_epi16(std::numeric_limits<short>::max()));
        storeWords(out, _mm_min_epi16(packed<D>(v), most));
    }
}

inline void storeHeights(float* out, __m128i zeros, float none, Double4 low, Double4 high)
{
    const auto four = [none](float* to, __m128i mask, Double4 values) {
        const __m128i rounded = _mm_castps_si128(_mm256_cvtpd_ps(values.lanes));
        _mm_storeu_ps(to, _mm_castsi128_ps(select(mask, _mm_castps_si128(_mm_set1_ps(none)), rounded)));
    };
    four(out, _mm_unpacklo_epi16(zeros, zeros), low);
    four(out + 4, _mm_unpackhi_epi16(zeros, zeros), high);
}

inline void storeHeights(double* out, __m128i zeros, double none, Double4 low, Double4 high)
{
    const auto four = [none](double* to, __m128i mask, Double4 values) {
        const __m256i wide = _mm256_set_m128i(_mm_unpackhi_epi32(mask, mask), _mm_unpacklo_epi32(mask, mask));
        _mm256_storeu_pd(to, select(_mm256_castsi256_pd(wide), _mm256_set1_pd(none), values.lanes));
    };
    four(out, _mm_unpacklo_epi16(zeros, zeros), low);
    four(out + 4, _mm_unpackhi_epi16(zeros, zeros), high);
}

/// The rule for n pixels but the last few. @return the number done
template <class Rule>
std::size_t mapByLanes(const Rule rule, const typename Rule::Gray* in, typename Rule::Height* out, std::size_t n)
{
    using Height = typename Rule::Height;
    constexpr std::size_t step = sizeof(Height) == 1 ? 16 : 8;
    std::size_t i = 0;
    for (; i + step <= n; i += step) {
        fetchAhead(in + i);
        if constexpr (sizeof(Height) == 1)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), sixteenBytes(rule, in + i));
        else if constexpr (std::is_integral_v<Height>)
            storeHeights(out + i, zeroWords(in + i), Rule::none, eight(rule, in + i));
        else
            storeHeights(out + i, zeroWords(in + i), Rule::none, rule(fourDoubles(in + i)),
                         rule(fourDoubles(in + i + 4)));
    }
    return i;
}

/// A rule in double as one product and one sum in float, both a little further from 0 or nearer to it: a number that
/// should be whole, or a half, may lie on the wrong side in float.
template <class Rule>
struct FloatLine : Rule
{
    using Number = float;

    float factor = 0.0f, start = 0.0f;

    FloatLine(const Rule& rule, double nudge) : Rule(rule)
    {
        const double first = rule(0.0);
        factor = static_cast<float>((rule(255.0) - first) / 255.0 * nudge);
        start = static_cast<float>(first * nudge);
    }

    Float8 operator()(Float8 gray) const { return gray * Float8(factor) + Float8(start); }
};

/// A rule for 8-bit grays: a table, or for whole heights lanes of float where these are proved to give all of it, as
/// they are or nudged by two roundings.
template <class Rule>
class ByteMap
{
    using Height = typename Rule::Height;
    static constexpr bool isWhole = std::is_integral_v<Height>;

public:
    explicit ByteMap(const Rule& rule) : line_(rule, 1.0)
    {
        unsigned char grays[256];
        std::iota(grays, grays + 256, static_cast<unsigned char>(0));
        std::transform(grays, grays + 256, heights_, [&](unsigned char gray) { return heightOf(rule, gray); });
        if constexpr (isWhole) {
            constexpr double twoRoundings = 1.0 / (1 << 22);
            for (const double nudge : {1.0, 1.0 + twoRoundings, 1.0 - twoRoundings}) {
                Height byLanes[256];
                line_ = FloatLine<Rule>(rule, nudge);
                mapByLanes(line_, grays, byLanes, 256);
                lineAgrees_ = std::equal(byLanes, byLanes + 256, heights_);
                if (lineAgrees_) return;
            }
        }
    }

    void operator()(const unsigned char* in, Height* out, std::size_t n) const
    {
        std::size_t i = 0;
        if constexpr (isWhole)
            if (lineAgrees_) i = mapByLanes(line_, in, out, n);
        for (; i + 8 <= n; i += 8) {
            fetchAhead(in + i);
            std::uint64_t grays;  // one load for eight look-ups
            std::memcpy(&grays, in + i, sizeof grays);
            for (unsigned k = 0; k < 8; ++k) out[i + k] = heights_[static_cast<unsigned char>(grays >> (8 * k))];
        }
        for (; i < n; ++i) out[i] = heights_[in[i]];
    }

private:
    FloatLine<Rule> line_;
    bool lineAgrees_ = false;
    Height heights_[256];
};

/// A rule for 16-bit grays, in lanes of its own arithmetic.
template <class Rule>
class WordMap
{
public:
    explicit WordMap(const Rule& rule) : rule_(rule)
    {
        // A rule never turns, so that its numbers lie between those of the first and the last gray.
        const auto fits = [&](typename Rule::Number gray) { return std::abs(rule(gray)) < 2147483648.0; };
        if constexpr (std::is_same_v<typename Rule::Finish, LowBits>) lanesFit_ = fits(1) && fits(65535);
    }

    void operator()(const unsigned short* in, typename Rule::Height* out, std::size_t n) const
    {
        std::size_t i = lanesFit_ ? mapByLanes(rule_, in, out, n) : 0;
        for (; i < n; ++i) out[i] = heightOf(rule_, in[i]);
    }

private:
    Rule rule_;
    bool lanesFit_ = true;
};

template <class Rule>
using GrayMap = std::conditional_t<sizeof(typename Rule::Gray) == 1, ByteMap<Rule>, WordMap<Rule>>;

}  // namespace nox::to_range
