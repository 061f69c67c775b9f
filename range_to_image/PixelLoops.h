#pragma once

#include <NoxRun.h>

#include "frame/Streaming.h"

#include <oneapi/tbb/blocked_range.h>
#include <opencv2/core.hpp>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

// The walks that all conversions to gray share. A rule turns a height into a gray by its call operator; one that also
// has `eight(from, to)` turns eight neighbours at once, with the same outcome.

namespace nox {

template <class Rule, class T, class U, class = void>
struct HasEight : std::false_type
{
};
template <class Rule, class T, class U>
struct HasEight<Rule, T, U,
                std::void_t<decltype(std::declval<const Rule&>().eight(std::declval<const T*>(), std::declval<U*>()))>>
    : std::true_type
{
};

/// The rule comes by value: a store of bytes might change one that the caller can see.
template <class T, class U, class Rule>
void mapPixels(const T* from, U* to, int count, Rule rule)
{
    int i = 0;
    if constexpr (HasEight<Rule, T, U>::value)
        for (; i <= count - 8; i += 8) {
            if (sizeof(T) >= 4) fetchAhead(from + i);
            rule.eight(from + i, to + i);
        }
    for (; i < count; ++i) to[i] = rule(from[i]);
}

template <class T>
T* pixels(const cv::Mat& mat, int row)
{
    return reinterpret_cast<T*>(mat.data + static_cast<std::size_t>(row) * mat.step[0]);
}

inline int length(const NoxRun& run) { return run.last - run.first + 1; }

/// Calls use(first height, their number, run) for each run of the range.
template <class T, class Use>
void forEachRun(const tbb::blocked_range<int>& range, const NoxRun* runs, const cv::Mat& source, const Use& use)
{
    for (int i = range.begin(); i != range.end(); ++i)
        use(pixels<const T>(source, runs[i].row) + runs[i].first, length(runs[i]), runs[i]);
}

template <class T, class U, class Rule>
void mapRuns(const tbb::blocked_range<int>& range, const NoxRun* runs, const cv::Mat& source,
             const cv::Mat& destination, const Rule& rule)
{
    forEachRun<T>(range, runs, source, [&](const T* heights, int count, const NoxRun& run) {
        mapPixels(heights, pixels<U>(destination, run.row) + run.first, count, rule);
    });
}

template <class T, class U, class Rule>
void mapRows(const tbb::blocked_range<std::size_t>& rows, const cv::Mat& source, const cv::Mat& destination,
             const Rule& rule)
{
    for (auto row = static_cast<int>(rows.begin()); row != static_cast<int>(rows.end()); ++row)
        mapPixels(pixels<const T>(source, row), pixels<U>(destination, row), source.cols, rule);
}

}  // namespace nox
