#pragma once

#include "data/Checked.h"
#include "data/ElementType.h"
#include "data/Lanes.h"

#include <cmath>
#include <limits>

namespace nox {

/// The gray of a height in a stretch from `minimum`, gray 1, over `range` to gray `span` + 1. The distance to the
/// minimum is rounded to float first; one beyond the floats is taken as it is. A NaN is gray 0 like an invalid pixel.
template <class T, class U>
struct Stretch
{
    double span, minimum, range, invalid;

    Stretch(int graySpan, double low, double high, double invalidValue)
        : span(graySpan), minimum(low), range(high - low), invalid(invalidValue)
    {
    }

    U operator()(T height) const
    {
        const auto value = static_cast<double>(height);
        if (std::abs(invalid - value) < 1e-6) return 0;
        const double distance = value - minimum;
        const auto rounded = static_cast<double>(static_cast<float>(distance));
        const double share = (std::isinf(rounded) ? distance : rounded) / range;
        return static_cast<U>(t64(share * span + 1.0));
    }
};

/// Stretch for the element types that no table serves, eight heights a step. Every valid height must lie between the
/// extremes, and the invalid value must be the type's own.
template <class T, class U>
struct StretchLanes : Stretch<T, U>
{
    static_assert(sizeof(T) >= 4);

    /// Whether no distance leaves the floats and, for float heights, the minimum is one of them.
    static bool serves(const Stretch<T, U>& rule)
    {
        return rule.range <= static_cast<double>(std::numeric_limits<float>::max()) &&
               (!std::is_same_v<T, float> || static_cast<double>(static_cast<float>(rule.minimum)) == rule.minimum);
    }

    explicit StretchLanes(const Stretch<T, U>& rule)
        : Stretch<T, U>(rule),
          floatMinimum(static_cast<float>(rule.minimum)),
          graysPerUnit(static_cast<float>(rule.span / rule.range))
    {
    }

    void eight(const T* from, U* to) const
    {
        if constexpr (std::is_same_v<T, float> && sizeof(U) == 1)
            if (storeGuess(from, to)) return;
        store(to, truncated(four(from), four(from + 4)));
    }

private:
    /// The rule itself; a gray lies within 32 bits here.
    Double4 four(const T* from) const
    {
        const Double4 value = fourDoubles(from);
        const Double4 valid =
            _mm256_cmp_pd(magnitude(Double4(this->invalid) - value).lanes, _mm256_set1_pd(1e-6), _CMP_GE_OQ);
        const Double4 share = throughFloat(value - Double4(this->minimum)) / Double4(this->range);
        return where(valid, share * Double4(this->span) + Double4(1.0));
    }

    /// Eight grays in float, without a division. A gray is off by less than 5 roundings, 2^-24 of at most 256 each: of
    /// the factor, the product, the sum, and the sum and difference with the error itself (the distance is exact: the
    /// rule's difference in double, rounded to float, is the difference in float). So where 8 roundings up and 8 down
    /// have the same whole part, it is that of the rule, which is itself off by less than 1e-12. The rule gives at
    /// least 1, exactly so at the minimum, and the guess starts where it is sure of that.
    /// @return false, and nothing stored, where the whole parts differ
    bool storeGuess(const T* from, U* to) const
    {
        constexpr float error = 8 * 256.0f / (1 << 24);
        const Float8 value = _mm256_loadu_ps(from);
        const Float8 valid = _mm256_cmp_ps(value.lanes, _mm256_set1_ps(Element<T>::invalid), _CMP_NEQ_OQ);
        const Float8 guess = (value - Float8(floatMinimum)) * Float8(graysPerUnit) + Float8(1.0f);
        const Float8 gray = where(valid, larger(guess, Float8(1.0f + 2 * error)));
        return storeSure(to, larger(gray, Float8(0.5f)), error);
    }

    float floatMinimum, graysPerUnit;
};

}  // namespace nox
