// The numeric primitives: which elements a call takes, and how its loop is cut.

#include <tbbComputing.h>

#include "data/ElementType.h"
#include "data/FloatingPoint.h"
#include "frame/Parallel.h"
#include "frame/StaticConfig.h"
#include "numeric/Sums.h"

#include <algorithm>

namespace NOXEL {

namespace {

using Range = tbb::blocked_range<std::size_t>;

const nox::StaticConfig config = nox::StaticConfig::read();

constexpr std::size_t kWorthCutting = 4096;

Range elements(const void* data, int n)
{
    const std::size_t count = data && n > 0 && config.tbb >= 0 ? static_cast<std::size_t>(n) : 0;
    return {0, count, nox::grain(count, config.tbb)};
}

template <class Body>
void change(const Range& range, const Body& body)
{
    if (range.size() < kWorthCutting)
        body(range);
    else
        nox::parallelFor(range, body);
}

/// The sum of blocks, joined in order.
template <class T>
T sumOfBlocks(const T* data, std::size_t count)
{
    constexpr std::size_t most = 1024, step = 64;
    const std::size_t block = std::max(kWorthCutting, (count / most + step) / step * step);
    if (count <= block) return static_cast<T>(nox::sumOf(data, count));

    using Sum = decltype(nox::sumOf(data, count));
    Sum sums[most], total = 0;
    const std::size_t blocks = (count + block - 1) / block;
    nox::parallelFor(Range(0, blocks, nox::grain(blocks, config.tbb)), [&](const Range& range) {
        for (std::size_t b = range.begin(); b != range.end(); ++b)
            sums[b] = nox::sumOf(data + b * block, std::min(block, count - b * block));
    });
    for (std::size_t b = 0; b < blocks; ++b) total += sums[b];
    return static_cast<T>(total);
}

}  // namespace

template <class T>
long tbbComputing::AddTBB(T* data, int n, T value)
{
    const nox::DefaultFloatingPoint modes;
    change(elements(data, n), AddBody<T>(data, value));
    return 0;
}

template <class T>
long tbbComputing::ReplaceValueTBB(T* data, int n, T oldValue, T newValue)
{
    const nox::DefaultFloatingPoint modes;
    change(elements(data, n), ReplaceBody<T>(data, oldValue, newValue));
    return 0;
}

template <class T>
T tbbComputing::SumTBB(T* data, int n)
{
    const nox::DefaultFloatingPoint modes;
    const Range range = elements(data, n);
    if (config.tbb != 1) return sumOfBlocks(data, range.size());
    SumBody<T> body(data);
    body(range);
    return body.sum;
}

template <class T>
long tbbComputing::MinMaxTBB(T* data, int n, T* min, T* max)
{
    const nox::DefaultFloatingPoint modes;
    const Range range = elements(data, n);
    MinMaxBody<T> body(data);
    if (range.size() < kWorthCutting)
        body(range);
    else
        nox::parallelReduce(range, body);
    if (min) *min = body.min;
    if (max) *max = body.max;
    return 0;
}

// NOLINTBEGIN(bugprone-macro-parentheses): the argument is a type
#define NOX_OPERATIONS(T)                                                     \
    template NOX_EXPORT long tbbComputing::AddTBB<T>(T*, int, T);             \
    template NOX_EXPORT long tbbComputing::ReplaceValueTBB<T>(T*, int, T, T); \
    template NOX_EXPORT T tbbComputing::SumTBB<T>(T*, int);                   \
    template NOX_EXPORT long tbbComputing::MinMaxTBB<T>(T*, int, T*, T*);
NOX_FOR_EACH_ELEMENT(NOX_OPERATIONS)
#undef NOX_OPERATIONS
// NOLINTEND(bugprone-macro-parentheses)

}  // namespace NOXEL
