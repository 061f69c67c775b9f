#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "cloud_to_range/GaussianWeights.h"
#include "cloud_to_range/RegistrationRule.h"
#include "data/Memory.h"
#include "frame/Tiling.h"

namespace nox {

/// A point on its way into the grid: column and row in pixels, height, and with colours their averaged bytes.
template <int Colors>
struct Position
{
    float x, y, z;
    std::array<unsigned char, 4> color;
};

template <>
struct Position<0>
{
    float x, y, z;
};

/// The sums of one tile of the grid, small enough to stay in a core's cache.
///
/// A plane stands column by column, so that the two cells of a column that a position reaches are neighbours; a point
/// that follows along a row of a scan finds the right-hand pair of its predecessor stored in one piece, just as it
/// loads it. One line of spare cells round the tile takes what falls beside it, so no neighbour is tested.
template <int Colors>
class TilePlanes
{
public:
    /// Room for any tile of `grid`.
    TilePlanes(const TileGrid& grid, float threshold, const GaussianWeights& weights)
        : grid_(grid),
          threshold_(threshold),
          weights_(weights),
          room_(grid.mostCellsWithRim()),
          memory_(newScratch<float>(room_ * kPlanes))
    {
    }

    /// Starts a tile: nothing seen yet.
    void start(const Tile& tile)
    {
        tile_ = tile;
        stride_ = static_cast<std::size_t>(tile.rows) + 2;
        const std::size_t cells = stride_ * (static_cast<std::size_t>(tile.columns) + 2);
        for (std::size_t i = 0; i < kPlanes; ++i) std::fill_n(plane(i), cells, i == kReference ? kNoReference : 0.0f);
    }

    /// Takes positions in order. Those that do not reach the tile leave no trace in it.
    void take(const Position<Colors>* positions, std::size_t count)
    {
        for (const Position<Colors>* p = positions; p != positions + count; ++p) {
            const __m128 xy = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
            const __m128i cell = _mm_cvttps_epi32(xy);
            if (!isHeight(p->z)) continue;
            if (_mm_movemask_ps(xy) & 3) {  // left of or above the grid's first cell, with its longer distances
                takeOneByOne(*p);
                continue;
            }
            const auto column = static_cast<std::uint64_t>(_mm_cvtsi128_si32(cell) - firstSlotColumn());
            const auto row = static_cast<std::uint64_t>(_mm_extract_epi32(cell, 1) - firstSlotRow());
            if (column > static_cast<std::uint64_t>(tile_.columns) || row > static_cast<std::uint64_t>(tile_.rows))
                continue;

            const Float4 here = Float4(xy) - Float4(_mm_cvtepi32_ps(cell));  // dx, dy
            const Float4 next = Float4(1.0f) - here;
            const __m128 squares = _mm_unpacklo_ps((here * here).v, (next * next).v);  // dx2, ex2, dy2, ey2
            const Float4 x2 = _mm_shuffle_ps(squares, squares, _MM_SHUFFLE(1, 1, 0, 0));
            const Float4 y2 = _mm_shuffle_ps(squares, squares, _MM_SHUFFLE(3, 2, 3, 2));
            takeFour(column * stride_ + row, weights_(x2 + y2), *p);
        }
    }

    /// Writes the tile's part of the image: heights, and colours with `channels` bytes a cell.
    void write(float* heights, unsigned char* colors, std::size_t channels) const
    {
        for (std::int64_t row = 0; row < tile_.rows; ++row) {
            const auto out = static_cast<std::size_t>((tile_.firstRow + row) * grid_.width() + tile_.firstColumn);
            const std::size_t first = stride_ + static_cast<std::size_t>(row) + 1;
            for (std::size_t i = 0; i < static_cast<std::size_t>(tile_.columns); ++i) {
                const std::size_t c = first + i * stride_;
                heights[out + i] = meanOrInvalid(plane(kSum)[c], plane(kWeight)[c]);
                if constexpr (Colors > 0) writeColor(colors + (out + i) * channels, channels, c);
            }
        }
    }

private:
    enum Plane : std::size_t { kSum, kWeight, kReference, kColor, kPlanes = kColor + Colors };

    const float* plane(std::size_t i) const { return memory_.get() + i * room_; }
    float* plane(std::size_t i) { return memory_.get() + i * room_; }

    std::int64_t firstSlotColumn() const { return tile_.firstColumn - 1; }
    std::int64_t firstSlotRow() const { return tile_.firstRow - 1; }

    /// The cells at `c` and below it, then those at their right.
    static Float4 load(const float* c, std::size_t stride)
    {
        const __m128 left = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(c)));
        return _mm_loadh_pi(left, reinterpret_cast<const __m64*>(c + stride));
    }
    static void store(float* c, std::size_t stride, Float4 cells)
    {
        _mm_storel_pi(reinterpret_cast<__m64*>(c), cells.v);
        _mm_storeh_pi(reinterpret_cast<__m64*>(c + stride), cells.v);
    }

    template <class V>
    static std::array<V, Colors> colorValuesOf(const Position<Colors>& p)
    {
        std::array<V, Colors> values;
        if constexpr (Colors > 0)
            for (std::size_t k = 0; k < Colors; ++k) values[k] = V(static_cast<float>(p.color[k]));
        return values;
    }

    void takeFour(std::size_t c, Float4 w, const Position<Colors>& p)
    {
        Cells<Float4, Colors> cells;
        cells.sum = load(plane(kSum) + c, stride_);
        cells.weight = load(plane(kWeight) + c, stride_);
        cells.reference = load(plane(kReference) + c, stride_);
        for (std::size_t k = 0; k < Colors; ++k) cells.color[k] = load(plane(kColor + k) + c, stride_);
        cells.take(Float4(p.z), w, colorValuesOf<Float4>(p), Float4(threshold_));
        store(plane(kSum) + c, stride_, cells.sum);
        store(plane(kWeight) + c, stride_, cells.weight);
        store(plane(kReference) + c, stride_, cells.reference);
        for (std::size_t k = 0; k < Colors; ++k) store(plane(kColor + k) + c, stride_, cells.color[k]);
    }

    void takeOneByOne(const Position<Colors>& p)
    {
        forReachedCells(p.x, p.y, grid_.width(), grid_.height(), [&](std::int64_t column, std::int64_t row, float r2) {
            if (!tile_.holds(column, row)) return;
            const std::size_t c = static_cast<std::size_t>(column - firstSlotColumn()) * stride_ +
                                  static_cast<std::size_t>(row - firstSlotRow());
            Cells<float, Colors> cell{plane(kSum)[c], plane(kWeight)[c], plane(kReference)[c], {}};
            for (std::size_t k = 0; k < Colors; ++k) cell.color[k] = plane(kColor + k)[c];
            cell.take(p.z, weightAt(r2), colorValuesOf<float>(p), threshold_);
            plane(kSum)[c] = cell.sum;
            plane(kWeight)[c] = cell.weight;
            plane(kReference)[c] = cell.reference;
            for (std::size_t k = 0; k < Colors; ++k) plane(kColor + k)[c] = cell.color[k];
        });
    }

    void writeColor(unsigned char* out, std::size_t channels, std::size_t c) const
    {
        const float weight = plane(kWeight)[c];
        for (std::size_t k = 0; k < Colors; ++k)
            out[k] = weight > 0.0f ? meanColor(plane(kColor + k)[c], weight) : static_cast<unsigned char>(0);
        std::fill(out + Colors, out + channels, static_cast<unsigned char>(0));
    }

    const TileGrid& grid_;
    float threshold_;
    const GaussianWeights& weights_;
    std::size_t room_;
    Scratch<float> memory_;
    Tile tile_{};
    std::size_t stride_ = 0;
};

}  // namespace nox
