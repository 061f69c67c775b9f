#include "posture/Merge.h"

#include "data/Checked.h"
#include "frame/Parallel.h"
#include "frame/TileSort.h"

#include <oneapi/tbb/task_arena.h>

#include <algorithm>
#include <numeric>
#include <vector>

namespace nox {

namespace {

constexpr std::size_t kMostReads = 8;           // of a strip, on average, before sorting is cheaper
constexpr std::int64_t kTileCells = 32 * 1024;  // their sums fill an eighth of a core's cache

std::size_t threads() { return static_cast<std::size_t>(tbb::this_task_arena::max_concurrency()); }

/// A side of the grid as far as positions between two others reach it; first above last when they don't.
struct Reach
{
    std::int64_t first, last;

    Reach(float a, float b, int cells)
        : first(std::max<std::int64_t>(cellOf(std::min(a, b), cells), 0)),
          last(std::min<std::int64_t>(cellOf(std::max(a, b), cells) + 1, cells - 1))
    {
    }

private:
    static std::int64_t cellOf(float position, int cells)
    {
        if (position < -2.0f) return -2;
        return position < static_cast<float>(cells) ? t32(position) : cells;
    }
};

/// The tiles that a strip reaches.
struct TileSpan
{
    std::uint32_t firstBand = 1, lastBand = 0, firstPiece = 1, lastPiece = 0;

    TileSpan() = default;
    TileSpan(const Bounds& bounds, const GridMap& map, const TileGrid& grid)
    {
        if (bounds.minX > bounds.maxX) return;
        const Reach rows(map.row(bounds.minX), map.row(bounds.maxX), grid.height());
        const Reach columns(map.column(bounds.minY), map.column(bounds.maxY), grid.width());
        if (rows.first > rows.last || columns.first > columns.last) return;
        firstBand = static_cast<std::uint32_t>(grid.bandOf(rows.first));
        lastBand = static_cast<std::uint32_t>(grid.bandOf(rows.last));
        firstPiece = static_cast<std::uint32_t>(grid.pieceOf(columns.first));
        lastPiece = static_cast<std::uint32_t>(grid.pieceOf(columns.last));
    }

    std::size_t tiles() const { return std::size_t{lastBand + 1 - firstBand} * (lastPiece + 1 - firstPiece); }

    template <class Visit>
    void forTiles(const TileGrid& grid, const Visit& visit) const
    {
        for (std::size_t band = firstBand; band <= lastBand; ++band)
            for (std::size_t piece = firstPiece; piece <= lastPiece; ++piece) visit(band * grid.across() + piece);
    }
};

/// Which strips each tile reads, in ascending order.
struct StripLists
{
    std::vector<std::size_t> begin;  // of each tile in `strips`, and the end of the last
    std::vector<std::size_t> strips;
};

/// Lists for a canvas whose strips reach few tiles each; for heights so wild that a pose strews the points of a strip
/// all over the grid, no list at all.
StripLists stripLists(const Canvas& canvas, const GridMap& map, const TileGrid& grid)
{
    std::vector<TileSpan> spans(canvas.strips());
    parallelFor(tbb::blocked_range<std::size_t>(0, spans.size(), 4096), [&](const auto& range) {
        for (std::size_t strip = range.begin(); strip != range.end(); ++strip)
            spans[strip] = TileSpan(canvas.bounds(strip), map, grid);
    });
    std::size_t reads = 0;
    for (const TileSpan& span : spans) reads += span.tiles();
    if (reads > kMostReads * spans.size()) return {};

    StripLists lists{std::vector<std::size_t>(grid.count() + 1), std::vector<std::size_t>(reads)};
    for (const TileSpan& span : spans) span.forTiles(grid, [&](std::size_t tile) { ++lists.begin[tile]; });
    std::partial_sum(lists.begin.begin(), lists.begin.end(), lists.begin.begin());  // the ends; filled from behind
    for (std::size_t strip = spans.size(); strip-- > 0;)
        spans[strip].forTiles(grid, [&](std::size_t tile) { lists.strips[--lists.begin[tile]] = strip; });
    return lists;
}

SortedPositions<GridPoint> sortedPoints(const Canvas& canvas, const GridMap& map, const TileGrid& grid)
{
    const std::size_t pieces = 4 * threads();
    return sortByTile<GridPoint>(grid, pieces, [&](std::size_t piece, const auto& use) {
        Strip points;
        const std::size_t end = canvas.strips() * (piece + 1) / pieces;
        for (std::size_t strip = canvas.strips() * piece / pieces; strip != end; ++strip) {
            const int count = canvas.read(strip, points);
            for (int i = 0; i < count; ++i) use(GridPoint{map.column(points.y[i]), map.row(points.x[i]), points.z[i]});
        }
    });
}

/// Sums up every tile in one task and hands its rows to `takeRow`.
template <class TakeRow>
void forSummedRows(const Canvas& canvas, const GridMap& map, const cv::Mat& cells, const TakeRow& takeRow)
{
    if (cells.empty()) return;
    const TileGrid grid(cells.cols, cells.rows, kTileCells, 8 * static_cast<std::int64_t>(threads()),
                        SumTile::kMostColumns, SumTile::kColumnShift);
    const auto forTiles = [&](const auto& feed) {
        parallelFor(tbb::blocked_range<std::size_t>(0, grid.count(), 1), [&](const auto& range) {
            SumTile sums(grid);
            for (std::size_t tile = range.begin(); tile != range.end(); ++tile) {
                sums.start(grid.tile(tile));
                feed(sums, tile);
                sums.forRows(takeRow);
            }
        });
    };

    const StripLists lists = stripLists(canvas, map, grid);
    if (!lists.begin.empty()) {
        forTiles([&](SumTile& sums, std::size_t tile) {
            Strip points;
            for (std::size_t i = lists.begin[tile]; i != lists.begin[tile + 1]; ++i)
                sums.add(points, canvas.read(lists.strips[i], points), map);
        });
    } else {
        const SortedPositions<GridPoint> sorted = sortedPoints(canvas, map, grid);
        forTiles([&](SumTile& sums, std::size_t tile) {
            sums.add(sorted.positions.get() + sorted.begin[tile], sorted.begin[tile + 1] - sorted.begin[tile]);
        });
    }
}

}  // namespace

void mergePoints(const Canvas& canvas, const GridMap& map, cv::Mat& heights)
{
    const auto mean = [&](std::int64_t row, std::int64_t column, const float* sums, const float* counts,
                          std::size_t n) {
        float* out = heights.ptr<float>(static_cast<int>(row)) + column;
        std::size_t i = 0;
        for (; i + 8 <= n; i += 8)
            _mm256_storeu_ps(out + i, meanOrInvalid(eightFloats(sums + i), eightFloats(counts + i)).lanes);
        for (; i < n; ++i) out[i] = meanOrInvalid(sums[i], counts[i]);
    };
    forSummedRows(canvas, map, heights, mean);
}

void mergePoints(const Canvas& canvas, const GridMap& map, cv::Mat& sums, cv::Mat& counts)
{
    const auto copy = [&](std::int64_t row, std::int64_t column, const float* sum, const float* count, std::size_t n) {
        const int below = std::min(static_cast<int>(row) + 1, sums.rows - 1);
        for (std::size_t i = 0; i < n; i += 16) {  // rows of a tile are too short for the processor to foresee the next
            _mm_prefetch(sums.ptr<float>(below) + column + i, _MM_HINT_T0);
            _mm_prefetch(counts.ptr<float>(below) + column + i, _MM_HINT_T0);
        }
        std::copy_n(sum, n, sums.ptr<float>(static_cast<int>(row)) + column);
        std::copy_n(count, n, counts.ptr<float>(static_cast<int>(row)) + column);
    };
    forSummedRows(canvas, map, sums, copy);
}

}  // namespace nox
