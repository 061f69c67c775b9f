#pragma once

#include "data/ElementType.h"
#include "data/Lanes.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace nox {

/// The extremes of valid heights; of none, an infinite minimum above an infinite maximum. A NaN is neither.
struct Extremes
{
    double minimum = std::numeric_limits<double>::infinity();
    double maximum = -std::numeric_limits<double>::infinity();

    void add(double low, double high)
    {
        minimum = std::min(minimum, low);
        maximum = std::max(maximum, high);
    }
};

/// By the lowest value as the invalid one, which only the minimum has to leave out: one step down turns it into the
/// highest of all.
template <class T>
void addIntegers(const T* heights, int count, Extremes& extremes)
{
    using Unsigned = std::make_unsigned_t<T>;
    T lowLessOne = std::numeric_limits<T>::max(), high = Element<T>::invalid;
    for (int i = 0; i < count; ++i) {
        lowLessOne = std::min(lowLessOne, static_cast<T>(static_cast<Unsigned>(heights[i]) - Unsigned{1}));
        high = std::max(high, heights[i]);
    }
    if (high != Element<T>::invalid) extremes.add(static_cast<double>(lowLessOne) + 1.0, static_cast<double>(high));
}

inline void addLanes(const float* heights, Float8& low, Float8& high)
{
    const Float8 value = _mm256_loadu_ps(heights);
    const Float8 marker = _mm256_cmp_ps(value.lanes, _mm256_set1_ps(Element<float>::invalid), _CMP_EQ_OQ);
    low = smaller(Float8(_mm256_or_ps(value.lanes, marker.lanes)), low);  // all bits set is a NaN, and leaves `low`
    high = larger(value, high);
}

inline void addLanes(const double* heights, Double4& low, Double4& high)
{
    const Double4 value = _mm256_loadu_pd(heights);
    const Double4 marker = _mm256_cmp_pd(value.lanes, _mm256_set1_pd(Element<double>::invalid), _CMP_EQ_OQ);
    low = smaller(Double4(_mm256_or_pd(value.lanes, marker.lanes)), low);
    high = larger(value, high);
}

template <class T>
void addReals(const T* heights, int count, Extremes& extremes)
{
    using Lanes = std::conditional_t<std::is_same_v<T, float>, Float8, Double4>;
    constexpr int lanes = sizeof(Lanes) / sizeof(T), step = 2 * lanes;  // two chains of comparisons at once
    constexpr T infinity = std::numeric_limits<T>::infinity();
    Lanes low[2] = {Lanes(infinity), Lanes(infinity)}, high[2] = {Lanes(-infinity), Lanes(-infinity)};
    int i = 0;
    for (; i <= count - step; i += step) {
        addLanes(heights + i, low[0], high[0]);
        addLanes(heights + i + lanes, low[1], high[1]);
    }
    alignas(32) T lows[lanes], highs[lanes];
    std::memcpy(lows, &(low[0] = smaller(low[0], low[1])), sizeof lows);
    std::memcpy(highs, &(high[0] = larger(high[0], high[1])), sizeof highs);
    T least = *std::min_element(lows, lows + lanes), most = *std::max_element(highs, highs + lanes);
    for (; i < count; ++i) {
        if (Element<T>::clears(heights[i])) least = std::min(least, heights[i]);
        most = heights[i] > most ? heights[i] : most;
    }
    extremes.add(static_cast<double>(least), static_cast<double>(most));
}

/// Raises the extremes by the heights that are further than 1e-6 from the invalid value.
template <class T>
void addHeights(const T* heights, int count, double invalid, Extremes& extremes)
{
    if (invalid != static_cast<double>(Element<T>::invalid)) {
        for (int i = 0; i < count; ++i) {
            const auto value = static_cast<double>(heights[i]);
            if (std::abs(value - invalid) >= 1e-6) extremes.add(value, value);
        }
    } else if constexpr (std::is_integral_v<T>) {
        addIntegers(heights, count, extremes);
    } else {
        addReals(heights, count, extremes);
    }
}

}  // namespace nox
