// The bodies of the numeric primitives. The loops are written so that the compiler turns them into vector code.

#include <tbbComputing.h>

#include "data/Checked.h"
#include "data/ElementType.h"
#include "numeric/Pieces.h"
#include "numeric/Sums.h"
#include "range_to_image/Extremes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>

namespace NOXEL {

namespace {

using Range = tbb::blocked_range<std::size_t>;

template <class T>
T added(T a, T b)
{
    if constexpr (std::is_integral_v<T>) {
        using Unsigned = std::make_unsigned_t<T>;
        return static_cast<T>(static_cast<Unsigned>(a) + static_cast<Unsigned>(b));
    } else {
        return a + b;
    }
}

template <class T>
bool isNear(T a, T b)
{
    if constexpr (std::is_same_v<T, float>)
        return std::abs(a - b) < 0x1.5798f0p-27f;  // the floats below it are those below 1e-8
    else if constexpr (std::is_same_v<T, double>)
        return std::abs(a - b) < 1e-8;
    else
        return a == b;
}

/// A double as the sum of a body: an integer type keeps the low bits.
template <class T>
T storedSum(double sum)
{
    if constexpr (std::is_integral_v<T>)
        return static_cast<T>(nox::t64(sum));
    else
        return static_cast<T>(sum);
}

template <class T>
double sumInOrder(const T* values, std::size_t count, double sum)
{
    for (std::size_t i = 0; i < count; ++i) sum += static_cast<double>(values[i]);
    return sum;
}

/// The first of the values that equals an extreme of them: zeros of both signs are equal.
template <class T>
T firstOf(const T* values, std::size_t count, T extreme)
{
    return std::is_floating_point_v<T> && extreme == 0 ? *std::find(values, values + count, extreme) : extreme;
}

}  // namespace

template <class T>
void AddBody<T>::operator()(const Range& range) const
{
    nox::forPieces(data + range.begin(), range.size(), [addend = value](T* elements, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) elements[i] = added(elements[i], addend);
    });
}

/// Writes only where there is something to replace: a look is half the traffic of a write.
template <class T>
void ReplaceBody<T>::operator()(const Range& range) const
{
    nox::forPieces(data + range.begin(), range.size(),
                   [from = oldValue, to = newValue](T* elements, std::size_t count) {
                       T hits = 0;
                       for (std::size_t i = 0; i < count; ++i) hits = isNear(elements[i], from) ? T(1) : hits;
                       if (hits == 0) return;
                       for (std::size_t i = 0; i < count; ++i)
                           elements[i] = isNear(elements[i], from) ? to : elements[i];
                   });
}

template <class T>
void ThresholdBody<T>::operator()(const Range& range) const
{
    if (mode != 0 && mode != 1) return;
    nox::forPieces(data + range.begin(), range.size(), [body = *this](T* elements, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            const bool isOutside = elements[i] < body.low || elements[i] > body.high;
            elements[i] = isOutside == (body.mode == 1) ? body.replacement : elements[i];
        }
    });
}

template <class T>
void SumBody<T>::operator()(const Range& range)
{
    double total = 0.0;
    if constexpr (std::is_integral_v<T>) {
        constexpr double exact = 0x1p53 - 256 * 0x1p31;  // from here no piece reaches a sum that double must round
        nox::forPieces(data + range.begin(), range.size(), [&total](const T* values, std::size_t count) {
            total = std::abs(total) <= exact ? total + static_cast<double>(nox::sumOf(values, count))
                                             : sumInOrder(values, count, total);
        });
    } else {
        total = sumInOrder(data + range.begin(), range.size(), total);
    }
    sum = storedSum<T>(static_cast<double>(sum) + total);
}

template <class T>
void SumBody<T>::join(const SumBody& other) noexcept
{
    sum = added(sum, other.sum);
}

template <class T>
void MinMaxBody<T>::operator()(const Range& range)
{
    nox::forPieces(data + range.begin(), range.size(), [this](const T* values, std::size_t count) {
        nox::Extremes found;
        nox::addHeights(values, static_cast<int>(count), static_cast<double>(nox::Element<T>::invalid), found);
        if (found.minimum < static_cast<double>(min)) min = firstOf(values, count, static_cast<T>(found.minimum));
        if (found.maximum > static_cast<double>(max)) max = firstOf(values, count, static_cast<T>(found.maximum));
    });
}

template <class T>
void MinMaxBody<T>::join(const MinMaxBody& other) noexcept
{
    min = std::min(min, other.min);
    max = std::max(max, other.max);
}

#define NOX_BODIES(T)                 \
    template struct AddBody<T>;       \
    template struct ReplaceBody<T>;   \
    template struct ThresholdBody<T>; \
    template struct SumBody<T>;       \
    template struct MinMaxBody<T>;
NOX_FOR_EACH_ELEMENT(NOX_BODIES)
#undef NOX_BODIES

}  // namespace NOXEL
