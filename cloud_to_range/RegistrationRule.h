#pragma once

#include <immintrin.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "data/Checked.h"
#include "data/ElementType.h"
#include "data/Lanes.h"

// What happens to one cell, written once for a single float and for four lanes.

namespace nox {

/// Four floats side by side.
struct Float4
{
    __m128 v;

    Float4() = default;
    Float4(__m128 lanes) : v(lanes) {}            // NOLINT(google-explicit-constructor)
    Float4(float each) : v(_mm_set1_ps(each)) {}  // NOLINT(google-explicit-constructor)

    friend Float4 operator+(Float4 a, Float4 b) { return _mm_add_ps(a.v, b.v); }
    friend Float4 operator-(Float4 a, Float4 b) { return _mm_sub_ps(a.v, b.v); }
    friend Float4 operator*(Float4 a, Float4 b) { return _mm_mul_ps(a.v, b.v); }
    friend Float4 operator/(Float4 a, Float4 b) { return _mm_div_ps(a.v, b.v); }
    friend Float4 operator<=(Float4 a, Float4 b) { return _mm_cmple_ps(a.v, b.v); }
    friend Float4 operator>(Float4 a, Float4 b) { return _mm_cmpgt_ps(a.v, b.v); }
};

inline Float4 abs(Float4 a) { return _mm_andnot_ps(_mm_set1_ps(-0.0f), a.v); }
inline Float4 select(Float4 mask, Float4 yes, Float4 no)
{
    return _mm_or_ps(_mm_and_ps(mask.v, yes.v), _mm_andnot_ps(mask.v, no.v));
}
inline Float4 max(Float4 a, Float4 b) { return _mm_max_ps(a.v, b.v); }

/// The reference of a cell that has seen no height yet.
inline constexpr float kNoReference = -1e6f;

/// How many values of a colour with that many channels are averaged: the first three, a single one, or none.
constexpr int colorValues(int channels) { return channels == 1 ? 1 : channels >= 3 ? 3 : 0; }

/// What is kept of a cell, or with V = Float4 of four cells, with `Colors` colour values.
template <class V, int Colors>
struct Cells
{
    V sum;
    V weight;
    V reference;
    std::array<V, Colors> color;

    /// Takes the height z (and the colour values) with weight w: near the highest height so far it is averaged in,
    /// above it replaces what the cell held, below it leaves no trace.
    template <class Limit>
    void take(V z, V w, const std::array<V, Colors>& values, Limit threshold)
    {
        using std::abs;
        using std::max;
        const V d = z - reference;
        const auto near = abs(d) <= threshold;
        const auto above = d > threshold;
        const auto updated = [&](V held, V added) { return select(near, held + added, select(above, added, held)); };
        sum = updated(sum, w * z);
        weight = updated(weight, w);
        for (std::size_t k = 0; k < Colors; ++k) color[k] = updated(color[k], w * values[k]);
        reference = max(reference, z);
    }
};

/// The weight of a point at the squared distance r2, in pixels, from a cell.
inline float weightAt(float r2) { return static_cast<float>(std::exp(-2.0 * static_cast<double>(r2))); }

/// The part of a position behind its cell, and what is missing to the next: 1 - fraction is exact in double wherever
/// the rounding to float could tell, so reckoning it in float gives the same bits.
struct Fraction
{
    float here;
    float next;
    Fraction(float position, std::int32_t cell) : here(position - static_cast<float>(cell)), next(1.0f - here) {}
};

/// Calls visit(column, row, r2) for each of the up to four cells that a position reaches. The cell below and to the
/// right is tested alone, so that a position just outside the upper left edge reaches the grid by it. A NaN, and what
/// does not fit an int, reaches nothing.
template <class Visit>
void forReachedCells(float x, float y, int width, int height, const Visit& visit)
{
    const std::int64_t x0 = t32(x), y0 = t32(y);
    const Fraction dx(x, t32(x)), dy(y, t32(y));
    const auto inGrid = [&](std::int64_t column, std::int64_t row) {
        return 0 <= column && column < width && 0 <= row && row < height;
    };
    if (inGrid(x0, y0)) {
        visit(x0, y0, dx.here * dx.here + dy.here * dy.here);
        if (x0 + 1 < width) visit(x0 + 1, y0, dx.next * dx.next + dy.here * dy.here);
        if (y0 + 1 < height) visit(x0, y0 + 1, dy.next * dy.next + dx.here * dx.here);
    }
    if (inGrid(x0 + 1, y0 + 1)) visit(x0 + 1, y0 + 1, dx.next * dx.next + dy.next * dy.next);
}

/// One colour value of a cell with weight.
inline unsigned char meanColor(float sum, float weight)
{
    return static_cast<unsigned char>(std::clamp(t32(sum / weight), 0, 255));
}

}  // namespace nox
