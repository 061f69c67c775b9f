#pragma once

#include "data/Checked.h"
#include "data/ElementType.h"
#include "range_to_image/Lanes.h"

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

/// Signed to unsigned of the same depth: the lowest height, which is the invalid one, becomes 0.
template <class T, class U>
struct ShiftedGray
{
    U operator()(T height) const
    {
        return static_cast<U>(static_cast<U>(height) + (std::numeric_limits<U>::max() / 2 + 1));
    }
};

/// Between the unsigned depths: height x a - b truncated, low bits; height 0 is gray 0.
template <class T, class U>
struct LinearGray
{
    float a, b;

    U operator()(T height) const
    {
        return height == 0 ? U(0) : static_cast<U>(t32(linear(static_cast<float>(height))));
    }

    void eight(const T* from, U* to) const
    {
        const Int8 heights = eightIntegers(from);
        const Int8 lowBits = truncated(linear(floats(heights))) & _mm_set1_epi32(std::numeric_limits<U>::max());
        store(to, where(differing(heights, 0), lowBits));
    }

private:
    template <class V>
    V linear(V height) const
    {
        return height * V(a) - V(b);
    }
};

/// Signed integers spread over the grays from low to high: (high - low) x (number / divisor) + low in float, to
/// nearest, saturated. The invalid value is gray 0. Over the full scale, from 1 to the top, number x factor + low
/// rounds to the same gray for every number that there is (the tests sweep them), and needs no division.
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
        const Int8 heights = eightIntegers(from);
        const Int8 grays = rounded(spread(floats(steps(from)) + Float8(static_cast<float>(shift))));
        store(to, where(differing(heights, Element<T>::invalid), grays));
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

    static Int8 steps(const T* from)
    {
        if constexpr (sizeof(T) == 4)
            return truncated(four(from), four(from + 4));
        else
            return eightIntegers(from);
    }

    /// The quotients in double. They are whole only at 0 and, 2^31 - 1 being prime, at both ends, where the product
    /// with the rounded factor is whole as well; elsewhere they are at least 4.6e-10 away from the next whole number,
    /// and the product is off by less than 1e-11.
    static Double4 four(const int* from) { return fourDoubles(from) * Double4(kSteps / kHighest); }
};

/// Float and double heights: height / divisor + offset, truncated, from gray 0 to the top; for 8 bit the height and the
/// sum are rounded to float. The invalid value lies below the band, and a NaN is gray 0 as well.
template <class T, class U>
struct BandGray
{
    double divisor, offset;
    bool guesses;  ///< 8 bit: the divisor and the offset are those that `storeGuess` is made for

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
            if (guesses && storeGuess(from, to)) return;
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
        Double4 gray = height / Double4(divisor) + Double4(offset);
        if constexpr (sizeof(U) == 1) gray = throughFloat(gray);
        return smaller(larger(gray, Double4(0.0)), Double4(kTop));
    }

    /// Eight grays in float by height x 100 + 127 in place of height / 0.01 + 127. Inside the band that is off by less
    /// than 3 roundings, 2^-24 of at most 256 each, and the rule rounds its own sum once to float; so where 8 roundings
    /// up and 8 down have the same whole part, it is that of the rule. Beyond the band it is pinned where both are
    /// sure.
    /// @return false, and nothing stored, where the whole parts differ
    bool storeGuess(const T* from, U* to) const
    {
        constexpr float error = 8 * 256.0f / (1 << 24);
        const Float8 guess = eightFloats(from) * Float8(100.0f) + Float8(127.0f);
        const Float8 gray = smaller(larger(guess, Float8(0.5f)), Float8(255.5f));
        const Int8 up = truncated(gray + Float8(error));
        if (!equal(up, truncated(gray - Float8(error)))) return false;
        store(to, up);
        return true;
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
        use(sizeof(T) == 1 ? LinearGray<T, U>{258.00787f, 257.00787f} : LinearGray<T, U>{0.0038758507f, -0.99612415f});
    else if constexpr (sizeof(T) == sizeof(U))
        use(ShiftedGray<T, U>{});
    else if constexpr (sizeof(T) == 1)
        use(SpreadGray<T, U>{low, span, 254.0f, 127});
    else if constexpr (sizeof(T) == 2)
        use(SpreadGray<T, U>{low, span, 65534.0f, 32767});
    else if constexpr (std::is_integral_v<T>)
        use(sizeof(U) == 1 ? SpreadGray<T, U>{low, span, 255.0f, 127} : SpreadGray<T, U>{low, span, 65534.0f, 32767});
    else
        use(BandGray<T, U>{numbers.divisor, numbers.offset, numbers.divisor == 0.01 && numbers.offset == 127.0});
}

}  // namespace nox
