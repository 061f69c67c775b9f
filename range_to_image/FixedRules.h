#pragma once

#include "data/Checked.h"
#include "data/ElementType.h"
#include "data/Lanes.h"

#include <algorithm>
#include <limits>

// The fixed rules from heights to grays. The same stored value always gives the same gray.

namespace nox {

/// What the rules take from their caller.
struct FixedRuleNumbers
{
    double divisor, offset;
    int lowGray, highGray;
};

struct SameGray
{
    template <class T>
    T operator()(T height) const
    {
        return height;
    }
};

/// Copied as memory: that fetches no target.
template <class T>
void mapPixels(const T* from, T* to, int count, SameGray /*rule*/)
{
    std::copy_n(from, count, to);
}

/// Signed to unsigned of the same depth: the lowest height, which is the invalid one, becomes 0.
template <class T, class U>
struct ShiftedGray
{
    U operator()(T height) const
    {
        return static_cast<U>(static_cast<U>(height) + (std::numeric_limits<U>::max() / 2 + 1));
    }
};

/// Counts from 1 to 255 spread over 1 to 65535 in whole numbers: 258 (count - 1) + 1, and 1 more from count + ahead =
/// 128 on and again from 255 on. Count 0 stays 0.
inline __m128i spreadOverWords(Counts8 heights, short ahead)
{
    const __m128i counts = heights.words, times257 = _mm_or_si128(counts, _mm_slli_epi16(counts, 8));
    const __m128i steps = _mm_mulhi_epu16(_mm_add_epi16(counts, _mm_set1_epi16(ahead)), _mm_set1_epi16(516));
    return _mm_subs_epu16(times257, _mm_sub_epi16(_mm_set1_epi16(257), _mm_add_epi16(counts, steps)));
}

/// Between the unsigned depths: height x a - b truncated, low bits; height 0 is gray 0.
template <class T, class U>
struct LinearGray
{
    static constexpr bool widens = sizeof(T) == 1;
    static constexpr float fixedA = widens ? 258.00787f : 0.0038758507f, fixedB = widens ? 257.00787f : -0.99612415f;

    float a = fixedA, b = fixedB;
    bool fixed = a == fixedA && b == fixedB;  ///< by which no gray exceeds its type

    U operator()(T height) const
    {
        return height == 0 ? U(0) : static_cast<U>(t32(linear(static_cast<float>(height))));
    }

    void eight(const T* from, U* to) const
    {
        const Counts8 heights(from);
        if (widens && fixed) return storeWords(to, spreadOverWords(heights, 0));
        const Int8 whole = truncated(linear(heights.floats(0.0f)));
        store(to, heights.zeros(), fixed ? whole : whole & _mm_set1_epi32(std::numeric_limits<U>::max()));
    }

private:
    template <class V>
    V linear(V height) const
    {
        return height * V(a) - V(b);
    }
};

/// Signed integers spread over the grays from low to high: (high - low) x (number / divisor) + low in float, to
/// nearest, saturated. The invalid value is gray 0. Over the full scale, from 1 to the top, simpler forms give the same
/// gray for every number that there is (the tests sweep them): number x factor + low, and whole numbers.
template <class T, class U>
struct SpreadGray
{
    float low, span, divisor;
    int shift;  ///< added to a height, or to the step of a 32-bit one, to give the number
    bool fullScale = low == 1.0f && span == static_cast<float>(std::numeric_limits<U>::max() - 1);
    float factor = span / divisor;

    U operator()(T height) const
    {
        if (Element<T>::isMarker(height)) return 0;
        return saturate<U>(static_cast<double>(spread(static_cast<float>(step(height) + shift))));
    }

    void eight(const T* from, U* to) const
    {
        if constexpr (sizeof(T) == 4) {
            const Int8 steps = truncated(four(from), four(from + 4));
            const __m128i zeros = _mm_packs_epi32(invalid(from), invalid(from + 4));
            if (fullScale)
                storeWords(to, _mm_andnot_si128(zeros, fullScaleGrays(_mm_packs_epi32(steps.low, steps.high))));
            else
                store(to, zeros, nearest(spread(floats(steps) + Float8(static_cast<float>(shift)))));
        } else {
            const Counts8 heights(from);
            if (sizeof(T) == 1 && fullScale) return storeWords(to, spreadOverWords(heights, 63));
            store(to, heights.zeros(), nearest(spread(heights.floats(-1.0f))));
        }
    }

private:
    static constexpr double kHighest = std::numeric_limits<int>::max();
    static constexpr int kSteps = sizeof(U) == 1 ? 127 : 32768;

    template <class V>
    V spread(V number) const
    {
        return fullScale ? number * V(factor) + V(low) : V(span) * (number / V(divisor)) + V(low);
    }

    /// A 32-bit height is first brought to a step: height x kSteps / (2^31 - 1), truncated towards zero.
    static int step(T height)
    {
        if constexpr (sizeof(T) == 4)
            return static_cast<int>(std::int64_t{height} * kSteps / std::numeric_limits<int>::max());
        else
            return height;
    }

    /// The quotients in double. They are whole only at 0 and, 2^31 - 1 being prime, at both ends, where the product
    /// with the rounded factor is whole as well; elsewhere they are at least 4.6e-10 away from the next whole number,
    /// and the product is off by less than 1e-11.
    static Double4 four(const int* from) { return fourDoubles(from) * Double4(kSteps / kHighest); }

    static __m128i invalid(const int* from)
    {
        return _mm_cmpeq_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)),
                               _mm_set1_epi32(Element<int>::invalid));
    }

    /// The highest of the 16-bit steps stands for the one above it as well.
    static __m128i fullScaleGrays(__m128i steps)
    {
        if constexpr (sizeof(U) == 1)
            return _mm_add_epi16(_mm_add_epi16(steps, _mm_set1_epi16(128)),
                                 _mm_cmpgt_epi16(steps, _mm_setzero_si128()));
        else
            return _mm_xor_si128(steps, _mm_set1_epi16(std::numeric_limits<short>::min()));
    }
};

/// Float and double heights: height / divisor + offset, truncated, from gray 0 to the top; for 8 bit the height and the
/// sum are rounded to float. The invalid value lies below the band, and a NaN is gray 0 as well.
template <class T, class U>
struct BandGray
{
    double divisor, offset;
    bool fixed = divisor == (sizeof(U) == 1 ? 0.01 : 0.001) && offset == (sizeof(U) == 1 ? 127.0 : 32768.0);

    U operator()(T height) const
    {
        double gray = static_cast<double>(rounded(height)) / divisor + offset;
        if constexpr (sizeof(U) == 1) gray = static_cast<double>(static_cast<float>(gray));
        gray = gray > 0.0 ? gray : 0.0;
        return static_cast<U>(t32(std::min(gray, kTop)));
    }

    void eight(const T* from, U* to) const
    {
        if constexpr (sizeof(U) == 1)
            if (fixed && storeGuess(from, to)) return;
        store(to, truncated(four(from), four(from + 4)));
    }

private:
    static constexpr double kTop = std::numeric_limits<U>::max();

    static auto rounded(T height)
    {
        if constexpr (sizeof(U) == 1)
            return static_cast<float>(height);
        else
            return height;
    }

    Double4 four(const T* from) const
    {
        Double4 height = fourDoubles(from);
        if constexpr (sizeof(U) == 1 && sizeof(T) == 8) height = throughFloat(height);
        Double4 gray = scaled(height) + Double4(offset);
        if constexpr (sizeof(U) == 1) gray = throughFloat(gray);
        return smaller(larger(gray, Double4(0.0)), Double4(kTop));
    }

    /// 1000 times a float is a double without rounding, and 0.001 is so near to 1 / 1000 that the quotient is the same
    /// double.
    Double4 scaled(Double4 height) const
    {
        return sizeof(U) == 2 && sizeof(T) == 4 && fixed ? height * Double4(1000.0) : height / Double4(divisor);
    }

    /// Eight grays in float by height x 100 + 127 in place of height / 0.01 + 127. Inside the band that is off by less
    /// than 3 roundings, 2^-24 of at most 256 each, and the rule rounds its own sum once to float; so where 8 roundings
    /// up and 8 down have the same whole part, it is that of the rule. Beyond the band it is pinned where both are
    /// sure.
    /// @return false, and nothing stored, where the whole parts differ
    bool storeGuess(const T* from, U* to) const
    {
        const Float8 guess = eightFloats(from) * Float8(100.0f) + Float8(127.0f);
        return storeSure(to, smaller(larger(guess, Float8(0.5f)), Float8(255.5f)), 8 * 256.0f / (1 << 24));
    }
};

/// Calls use(rule) with the rule for a pair of types.
template <class T, class U, class Use>
void withFixedRule(const FixedRuleNumbers& numbers, const Use& use)
{
    const auto low = static_cast<float>(numbers.lowGray), span = static_cast<float>(numbers.highGray) - low;
    if constexpr (std::is_same_v<T, U>)
        use(SameGray{});
    else if constexpr (std::is_unsigned_v<T>)
        use(LinearGray<T, U>{});
    else if constexpr (sizeof(T) == sizeof(U))
        use(ShiftedGray<T, U>{});
    else if constexpr (sizeof(T) == 1)
        use(SpreadGray<T, U>{low, span, 254.0f, 127});
    else if constexpr (sizeof(T) == 2)
        use(SpreadGray<T, U>{low, span, 65534.0f, 32767});
    else if constexpr (std::is_integral_v<T>)
        use(sizeof(U) == 1 ? SpreadGray<T, U>{low, span, 255.0f, 127} : SpreadGray<T, U>{low, span, 65534.0f, 32767});
    else
        use(BandGray<T, U>{numbers.divisor, numbers.offset});
}

}  // namespace nox
