#pragma once

#include "data/Lanes.h"
#include "data/Memory.h"
#include "frame/Tiling.h"
#include "posture/Canvas.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace nox {

/// From coordinates to places in the grid: the first coordinate gives the row, the second the column.
struct GridMap
{
    float shiftX, shiftY;
    float rowResolution, columnResolution;

    template <class V>
    V row(V x) const
    {
        return (x - V(shiftX)) / V(rowResolution);
    }
    template <class V>
    V column(V y) const
    {
        return (y - V(shiftY)) / V(columnResolution);
    }
};

/// A point in the grid: column and row in cells, and its height.
struct GridPoint
{
    float x, y, z;
};

/// Sums and counts of one tile of the grid, small enough to stay in a core's cache.
///
/// A cell is a pair, and pairs stand column by column: what a point adds to one column is a single vector, and the
/// point that follows along a row of the image loads it just as it was stored. One line of spare cells round the tile
/// takes what falls beside it, so no neighbour is tested.
class SumTile
{
public:
    /// Room for any tile of `grid`.
    explicit SumTile(const TileGrid& grid) : cells_(newScratch<float>(2 * cellsOf(grid.tile(0)))) {}

    void start(const Tile& tile)
    {
        tile_ = tile;
        stride_ = static_cast<int>(tile.rows) + 2;
        nowhere_ = stride_ * (static_cast<int>(tile.columns) + 2);
        std::fill_n(cells_.get(), 2 * cellsOf(tile), 0.0f);
    }

    /// Adds the points of a strip that reach the tile, in their order.
    void add(const Strip& strip, int count, const GridMap& map)
    {
        for (int i = 0; i < count; i += 8)
            addEight(map.row(Float8(_mm256_load_ps(strip.x + i))), map.column(Float8(_mm256_load_ps(strip.y + i))),
                     strip.z + i);
    }

    void add(const GridPoint* points, std::size_t count)
    {
        alignas(32) float row[8], column[8], z[8] = {};
        for (std::size_t first = 0; first < count; first += 8) {
            const std::size_t n = std::min<std::size_t>(8, count - first);
            for (std::size_t i = 0; i < n; ++i) {
                column[i] = points[first + i].x;
                row[i] = points[first + i].y;
                z[i] = points[first + i].z;
            }
            std::fill(row + n, row + 8, std::numeric_limits<float>::quiet_NaN());
            std::fill(column + n, column + 8, 0.0f);
            addEight(Float8(_mm256_load_ps(row)), Float8(_mm256_load_ps(column)), z);
        }
    }

    /// Calls take(row, first column, sums, counts, how many) for the rows of the tile.
    template <class Take>
    void forRows(const Take& take) const
    {
        alignas(16) float sums[2][kMostColumns], counts[2][kMostColumns];
        for (std::int64_t r = 0; r < tile_.rows; ++r) {
            if (r % 2 == 0) gatherTwoRows(static_cast<std::size_t>(r) + 1, sums, counts);
            take(tile_.firstRow + r, tile_.firstColumn, sums[r % 2], counts[r % 2], columns());
        }
    }

    static constexpr int kColumnShift = 8;
    static constexpr int kMostColumns = 1 << kColumnShift;

private:
    static constexpr std::int64_t kSpareColumns = 3;  // columns are gathered by fours
    static constexpr std::size_t kSpare = 16;         // pairs for the points that lie elsewhere

    static std::size_t cellsOf(const Tile& tile)
    {
        return static_cast<std::size_t>((tile.rows + 2) * (tile.columns + 2 + kSpareColumns)) + kSpare;
    }

    std::size_t columns() const { return static_cast<std::size_t>(tile_.columns); }

    void addEight(Float8 rows, Float8 columns, const float* z)
    {
        alignas(16) std::int32_t cells[8];
        const Int8 row = truncated(rows), column = truncated(columns);
        const bool low = placesOf(row.low, column.low, 0, cells), high = placesOf(row.high, column.high, 4, cells + 4);
        if (!low && !high) return;
        for (int k = 0; k < 8; ++k) addOne(cells[k], z + k);
    }

    /// Places of four cells in the tile or in the rim before it; for those that lie elsewhere a place where sums do not
    /// matter, each lane its own: a test for each point would be mispredicted at every hole. Whether any lies in it.
    bool placesOf(__m128i row, __m128i column, int firstLane, std::int32_t* cells) const
    {
        row = _mm_sub_epi32(row, _mm_set1_epi32(static_cast<int>(tile_.firstRow) - 1));
        column = _mm_sub_epi32(column, _mm_set1_epi32(static_cast<int>(tile_.firstColumn) - 1));
        const __m128i inside =
            _mm_and_si128(upTo(row, static_cast<int>(tile_.rows)), upTo(column, static_cast<int>(tile_.columns)));
        const __m128i place = _mm_add_epi32(_mm_mullo_epi32(column, _mm_set1_epi32(stride_)), row);
        const __m128i nowhere = _mm_add_epi32(_mm_set1_epi32(nowhere_ + 2 * firstLane), _mm_setr_epi32(0, 2, 4, 6));
        _mm_store_si128(reinterpret_cast<__m128i*>(cells), _mm_blendv_epi8(nowhere, place, inside));
        return _mm_testz_si128(inside, inside) == 0;
    }

    /// 0 to `last`; all else, wrapped or not, is larger as an unsigned number.
    static __m128i upTo(__m128i v, int last) { return _mm_cmpeq_epi32(_mm_min_epu32(v, _mm_set1_epi32(last)), v); }

    void addOne(std::int32_t cell, const float* z)
    {
        const __m128 added = _mm_blend_ps(_mm_load1_ps(z), _mm_set1_ps(1.0f), 0b1010);
        float* left = cells_.get() + 2 * static_cast<std::ptrdiff_t>(cell);
        float* right = left + 2 * static_cast<std::ptrdiff_t>(stride_);
        _mm_storeu_ps(left, _mm_add_ps(_mm_loadu_ps(left), added));
        _mm_storeu_ps(right, _mm_add_ps(_mm_loadu_ps(right), added));
    }

    /// @param row  of the tile, counted from the rim
    void gatherTwoRows(std::size_t row, float (&sums)[2][kMostColumns], float (&counts)[2][kMostColumns]) const
    {
        const std::size_t step = 2 * static_cast<std::size_t>(stride_);
        const float* from = cells_.get() + step + 2 * row;
        for (std::size_t column = 0; column < columns(); column += 4, from += 4 * step) {
            __m128 a = _mm_loadu_ps(from), b = _mm_loadu_ps(from + step);
            __m128 c = _mm_loadu_ps(from + 2 * step), d = _mm_loadu_ps(from + 3 * step);
            _MM_TRANSPOSE4_PS(a, b, c, d);
            _mm_store_ps(sums[0] + column, a);
            _mm_store_ps(counts[0] + column, b);
            _mm_store_ps(sums[1] + column, c);
            _mm_store_ps(counts[1] + column, d);
        }
    }

    Scratch<float> cells_;
    Tile tile_{};
    int stride_ = 0;
    int nowhere_ = 0;  // the first spare place
};

}  // namespace nox
