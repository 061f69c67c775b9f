#pragma once

#include "data/Checked.h"
#include "data/ElementType.h"
#include "image_to_range/GrayLanes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
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

    template <class D, class V>
    static auto eight(const V& v)
    {
        if constexpr (std::is_floating_point_v<D>)
            return v;
        else
            return nearest(v);
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

    template <class D, class V>
    static Ints8 eight(const V& v)
    {
        return truncated(v);
    }
};

/// Towards zero, and of that the low bits. Eight at once saturate instead, or take the low bits of 32: only for rules
/// whose numbers are known to fit.
struct LowBits
{
    template <class D>
    static D one(double v)
    {
        return static_cast<D>(t64(v));
    }

    template <class D, class V>
    static Ints8 eight(const V& v)
    {
        const Ints8 whole = truncated(v);
        if constexpr (sizeof(D) > 1) return whole;
        return {_mm_srai_epi32(_mm_slli_epi32(whole.low, 24), 24), _mm_srai_epi32(_mm_slli_epi32(whole.high, 24), 24)};
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
        return gray * scale + offset;
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
        return gray * scale + 1.0F;
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
        return (gray - offset) * scale - 32767.0;
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
            return (gray - offset - 1.0) * scale;
        else
            return (gray - offset) * scale;
    }
};

template <class Rule>
typename Rule::Height heightOf(const Rule& rule, typename Rule::Gray gray)
{
    using Finish = typename Rule::Finish;
    if (gray == 0) return Rule::none;
    return Finish::template one<typename Rule::Height>(rule(static_cast<typename Rule::Number>(gray)));
}

/// The rule for the whole eights of n pixels, with the arithmetic of `Lanes`. @return their number
template <class Lanes, class Rule>
std::size_t mapByLanes(const Rule rule, const typename Rule::Gray* in, typename Rule::Height* out, std::size_t n)
{
    using Height = typename Rule::Height;
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const Grays8 grays(in + i);
        storeEight(out + i, grays.zeros(), Rule::none,
                   Rule::Finish::template eight<Height>(rule(Lanes(grays.integers()))));
    }
    return i;
}

/// A rule whose numbers lie a little further from 0, or nearer to it: in float a number that should be whole, or a
/// half, may then lie on the side that it has in double.
template <class Rule>
struct Nudged : Rule
{
    double factor;

    template <class V>
    V operator()(V gray) const
    {
        return Rule::operator()(gray) * factor;
    }
};

/// A rule for 8-bit grays: a table, and for the narrow types lanes where they are proved to give that table: of float
/// where they do, as they are or nudged by two roundings, else of double.
template <class Rule>
class ByteMap
{
public:
    explicit ByteMap(const Rule& rule) : rule_(rule), floats_{rule, 1.0}
    {
        unsigned char grays[256];
        for (unsigned g = 0; g < 256; ++g) {
            grays[g] = static_cast<unsigned char>(g);
            heights_[g] = heightOf(rule, grays[g]);
        }
        if constexpr (kNarrow) {
            constexpr double twoRoundings = 1.0 / (1 << 22);
            for (const double factor : {1.0, 1.0 + twoRoundings, 1.0 - twoRoundings}) {
                floats_.factor = factor;
                floatsAgree_ = agrees<Floats8>(floats_, grays);
                if (floatsAgree_) break;
            }
            doublesAgree_ = !floatsAgree_ && agrees<Doubles8>(rule, grays);
        }
    }

    void operator()(const unsigned char* in, typename Rule::Height* out, std::size_t n) const
    {
        std::size_t i = 0;
        if constexpr (kNarrow) {
            if (floatsAgree_)
                i = mapByLanes<Floats8>(floats_, in, out, n);
            else if (doublesAgree_)
                i = mapByLanes<Doubles8>(rule_, in, out, n);
        }
        for (; i < n; ++i) out[i] = heights_[in[i]];
    }

private:
    using Height = typename Rule::Height;
    static constexpr bool kNarrow = sizeof(Height) <= 2;

    template <class Lanes, class Candidate>
    bool agrees(const Candidate& candidate, const unsigned char* grays) const
    {
        Height byLanes[256];
        mapByLanes<Lanes>(candidate, grays, byLanes, 256);
        return std::equal(byLanes, byLanes + 256, heights_);
    }

    Rule rule_;
    Nudged<Rule> floats_;
    bool floatsAgree_ = false;
    bool doublesAgree_ = false;
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
        using Lanes = std::conditional_t<std::is_same_v<typename Rule::Number, float>, Floats8, Doubles8>;
        std::size_t i = lanesFit_ ? mapByLanes<Lanes>(rule_, in, out, n) : 0;
        for (; i < n; ++i) out[i] = heightOf(rule_, in[i]);
    }

private:
    Rule rule_;
    bool lanesFit_ = true;
};

template <class Rule>
using GrayMap = std::conditional_t<sizeof(typename Rule::Gray) == 1, ByteMap<Rule>, WordMap<Rule>>;

}  // namespace nox::to_range
