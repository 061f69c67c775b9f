#pragma once

#include <oneapi/tbb/task_arena.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "device/ElementRules.h"
#include "frame/Parallel.h"
#include "posture/Merge.h"
#include "posture/PosedImage.h"

// How the processor's cores add points to a grid: without a lock, and with the same sums on any number of threads. The
// grid's content before does not count.

namespace nox::device {

/// Points of a list, cut into rows, as places of a canvas.
/// @param next  how much further on in the list a tile is likely to read next
template <class Points>
CanvasPart canvasPart(const Points& points, std::int64_t n, int width, int next)
{
    const auto firstOf = [=](int row, int column) { return std::min(std::int64_t{row} * width + column, n); };
    const auto countOf = [=](std::int64_t first, int count) {
        return static_cast<int>(std::min<std::int64_t>(count, n - first));
    };
    const auto read = [=](int row, int column, int wanted, Strip& strip) {
        const std::int64_t first = firstOf(row, column);
        const int count = countOf(first, wanted);
        for (int i = 0; i < count; i += 16)  // too short for the processor to foresee it
            for (const float* plane : {points.rows, points.columns, points.heights})
                _mm_prefetch(plane + std::min(first + next + i, n - 1), _MM_HINT_T0);
        for (int i = 0; i < count; ++i) {
            strip.x[i] = points.rowOf(first + i);
            strip.y[i] = points.columnOf(first + i);
            strip.z[i] = points.heights[first + i];
        }
        std::fill(strip.x + count, std::end(strip.x), kNoRow);
    };
    const auto measure = [=](int row, int column, int wanted) {
        const std::int64_t first = firstOf(row, column);
        const int count = countOf(first, wanted);
        const Float8 over(Bounds().minX), under(Bounds().maxX);
        Float8 minX = over, minY = over, maxX = under, maxY = under;
        for (int i = 0; i < count; i += 8) {
            const auto eight = [&](const float* plane) { return upToEightFloats(plane + first + i, count - i); };
            const Float8 x = eight(points.rows), y = eight(points.columns), z = eight(points.heights);
            const Float8 isPoint = both(magnitude(z) > Float8(0.0f), isHeight(z));
            minX = smaller(select(isPoint, x, over), minX);
            minY = smaller(select(isPoint, y, over), minY);
            maxX = larger(select(isPoint, x, under), maxX);
            maxY = larger(select(isPoint, y, under), maxY);
        }
        const auto smallest = [](Float8 a) { return overLanes(a, [](Float8 b, Float8 c) { return smaller(b, c); }); };
        const auto largest = [](Float8 a) { return overLanes(a, [](Float8 b, Float8 c) { return larger(b, c); }); };
        return Bounds{towardsNearest(smallest(minX)), towardsNearest(smallest(minY)), towardsNearest(largest(maxX)),
                      towardsNearest(largest(maxY))};
    };
    return {width, static_cast<int>((n + width - 1) / width), read, measure};
}

/// Adds the heights of points, as the host's merge adds those of a canvas: in tiles of the grid, each of which takes
/// the points that reach it in the order of the list.
template <class Points>
void addHeights(const Points& points, std::int64_t n, int width, int next)
{
    cv::Mat sums(points.height, points.width, CV_32F, points.sums);
    cv::Mat weights(points.height, points.width, CV_32F, points.weights);
    mergePoints(Canvas({canvasPart(points, n, width, next)}), {0.0f, 0.0f, 1.0f, 1.0f}, sums, weights);
}

/// Adds n points with all that they have. Each task takes all points and adds to rows of the grid that are its own.
template <class Points>
void addInShares(const Points& points, std::int64_t n)
{
    const int shares = tbb::this_task_arena::max_concurrency();
    const auto bound = [&](int share) { return static_cast<int>(std::int64_t{points.height} * share / shares); };
    parallelFor(tbb::blocked_range<int>(0, shares, 1), [&](const tbb::blocked_range<int>& range) {
        const Rows own{bound(range.begin()), bound(range.end())};
        const auto clear = [&](float* grid, int values) {
            const std::int64_t row = std::int64_t{points.width} * values;
            std::fill(grid + row * own.first, grid + row * own.end, 0.0f);
        };
        clear(points.sums, 1);
        clear(points.weights, 1);
        clear(points.addColor.sums, points.addColor.channels);
        for (std::int64_t i = 0; i < n; ++i) points.add(i, own);
    });
}

}  // namespace nox::device
