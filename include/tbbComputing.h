#pragma once

#include <NoxExport.h>

#include <oneapi/tbb/blocked_range.h>

#include <cstddef>
#include <limits>

// Elementary operations on a flat array of range-image elements: the class, and the bodies for loops of one's own. `T`
// is one of the seven element types of NoxDataType.
//
// A body takes a range of indices into `data`. Those that change elements change the elements of their range and no
// others, so disjoint ranges may run at once.

namespace NOXEL {

/// Adds `value` to each element; the integer types wrap.
template <class T>
struct NOX_EXPORT AddBody
{
    T* data = nullptr;
    T value{};

    AddBody() = default;
    AddBody(T* elements, T addend) : data(elements), value(addend) {}

    void operator()(const tbb::blocked_range<std::size_t>& range) const;
};

/// Replaces each element equal to `oldValue`; of the floating-point types also one less than 1e-8 away. A NaN or an
/// infinity is near nothing, not even itself.
template <class T>
struct NOX_EXPORT ReplaceBody
{
    T* data = nullptr;
    T oldValue{}, newValue{};

    ReplaceBody() = default;
    ReplaceBody(T* elements, T from, T to) : data(elements), oldValue(from), newValue(to) {}

    void operator()(const tbb::blocked_range<std::size_t>& range) const;
};

/// Mode 1 replaces the elements outside `low` to `high`, mode 0 those inside, the limits and NaN among these. Any other
/// mode replaces nothing.
template <class T>
struct NOX_EXPORT ThresholdBody
{
    T* data = nullptr;
    int mode = 0;
    T high{}, low{}, replacement{};

    ThresholdBody() = default;
    ThresholdBody(T* elements, int which, T highest, T lowest, T value)
        : data(elements), mode(which), high(highest), low(lowest), replacement(value)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& range) const;
};

/// The sum of the elements, for a reduction. A range is summed in double, element by element; that and the sum so far
/// make the new sum, rounded to a floating-point type, truncated to the low bits of an integer type.
template <class T>
struct NOX_EXPORT SumBody
{
    T* data = nullptr;
    T sum{};

    SumBody() = default;
    explicit SumBody(T* elements, T start = T(0)) : data(elements), sum(start) {}
    SumBody(SumBody& other, tbb::split) : data(other.data) {}

    void operator()(const tbb::blocked_range<std::size_t>& range);
    void join(const SumBody& other) noexcept;
};

/// The extremes of the valid elements, for a reduction; invalid values and NaN are passed over. Without a valid
/// element the largest value of `T` stays in `min` and the lowest finite one in `max`. Of a positive and a negative
/// zero the first in the array counts.
template <class T>
struct NOX_EXPORT MinMaxBody
{
    T* data = nullptr;
    T min = std::numeric_limits<T>::max();
    T max = std::numeric_limits<T>::lowest();

    MinMaxBody() = default;
    explicit MinMaxBody(T* elements, T startOfMin = std::numeric_limits<T>::max(),
                        T startOfMax = std::numeric_limits<T>::lowest())
        : data(elements), min(startOfMin), max(startOfMax)
    {
    }
    MinMaxBody(MinMaxBody& other, tbb::split) : data(other.data) {}

    void operator()(const tbb::blocked_range<std::size_t>& range);
    void join(const MinMaxBody& other) noexcept;
};

/// The operations, on all cores. The array has `n` elements; without an array or with `n` below 1 there are none. When
/// the configuration's `tbb` is negative no element is looked at: the data stay, the sum is 0 and the extremes are
/// those of no element. Results do not depend on the number of threads. The class has no state; any number of threads
/// may call at once, on separate arrays where one of them writes.
class NOX_EXPORT tbbComputing
{
public:
    /// As AddBody. @return 0
    template <class T>
    long AddTBB(T* data, int n, T value);

    /// As ReplaceBody. @return 0
    template <class T>
    long ReplaceValueTBB(T* data, int n, T oldValue, T newValue);

    /// The sum of all elements; integer types keep its low bits. Floating-point types are summed in double and rounded
    /// once: with `tbb` 1 element by element, else over blocks whose bounds depend on `n` alone.
    template <class T>
    T SumTBB(T* data, int n);

    /// As MinMaxBody. @param min, max  null skips it @return 0
    template <class T>
    long MinMaxTBB(T* data, int n, T* min, T* max);
};

}  // namespace NOXEL
