#pragma once

#include "data/ElementType.h"
#include "data/Lanes.h"
#include "data/Memory.h"
#include "frame/Parallel.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

namespace nox {

template <std::size_t bytes>
using Bits = std::conditional_t<
    bytes == 1, std::uint8_t,
    std::conditional_t<bytes == 2, std::uint16_t, std::conditional_t<bytes == 4, std::uint32_t, std::uint64_t>>>;

/// Looks the gray of an 8- or 16-bit height up by the height's bits.
template <class T, class U>
struct GrayLookup
{
    static constexpr std::size_t size = std::size_t{1} << (8 * sizeof(T));
    const U* grays;

    U operator()(T height) const { return grays[static_cast<Bits<sizeof(T)>>(height)]; }

    void eight(const T* from, U* to) const
    {
        four(from, to);
        four(from + 4, to + 4);
    }

private:
    /// One load and one store for four pixels.
    void four(const T* from, U* to) const
    {
        constexpr unsigned heightBits = 8 * sizeof(T), grayBits = 8 * sizeof(U);
        Bits<4 * sizeof(T)> heights;
        std::memcpy(&heights, from, sizeof heights);
        Bits<4 * sizeof(U)> together = 0;
        for (unsigned k = 0; k < 4; ++k) {
            const U gray = grays[static_cast<Bits<sizeof(T)>>(heights >> (k * heightBits))];
            together |= static_cast<Bits<4 * sizeof(U)>>(gray) << (k * grayBits);
        }
        std::memcpy(to, &together, sizeof together);
    }
};

/// The grays of all heights of a type by a rule.
template <class T, class U, class Rule>
Scratch<U> tabulate(const Rule& rule)
{
    auto grays = newScratch<U>(GrayLookup<T, U>::size);
    parallelFor(tbb::blocked_range<std::size_t>(0, GrayLookup<T, U>::size, 4096), [&](const auto& range) {
        for (std::size_t bits = range.begin(); bits != range.end(); ++bits)
            grays[bits] = rule(static_cast<T>(static_cast<Bits<sizeof(T)>>(bits)));
    });
    return grays;
}

/// A straight line from heights to grays, between a lowest and a highest one.
struct GrayLine
{
    double graysPerUnit, grayOfZero;
    int lowest, highest;
};

/// A guess at a table by a line, truncated, in floats or doubles; the invalid height is gray 0.
template <class T, class U, class Real>
struct LineLanes : GrayLookup<T, U>
{
    Real factor, start;
    short lowest, highest;

    /// A gray that should be whole must not fall below: the line runs a little higher, by less than half of what a
    /// 16-bit range of heights leaves between a gray and a whole one.
    LineLanes(const U* table, const GrayLine& line)
        : GrayLookup<T, U>{table},
          factor(static_cast<Real>(line.graysPerUnit)),
          start(static_cast<Real>(line.grayOfZero + std::numeric_limits<T>::lowest() * line.graysPerUnit +
                                  (std::is_same_v<Real, float> ? 1.0 / (1 << 15) : 1.0 / (1 << 18)))),
          lowest(static_cast<short>(line.lowest)),
          highest(static_cast<short>(line.highest))
    {
    }

    void eight(const T* from, U* to) const
    {
        const Counts8 heights(from);
        const __m128i words =
            _mm_min_epu16(_mm_max_epu16(whole(heights), _mm_set1_epi16(lowest)), _mm_set1_epi16(highest));
        storeWords(to, _mm_andnot_si128(heights.zeros(), words));
    }

    /// Whether the lanes give the grays of the table from one height to another and at the invalid one.
    bool agrees(int first, int last) const
    {
        T heights[8];
        U guesses[8];
        for (int block = first; block <= last; block += 8) {
            for (int i = 0; i < 8; ++i) heights[i] = static_cast<T>(std::min(block + i, last));
            eight(heights, guesses);
            for (int i = 0; i < 8; ++i)
                if (guesses[i] != (*this)(heights[i])) return false;
        }
        return true;
    }

private:
    __m128i whole(Counts8 heights) const
    {
        Int8 all;
        if constexpr (std::is_same_v<Real, float>) {
            all = truncated(heights.floats(0.0f) * Float8(factor) + Float8(start));
        } else {
            const Int8 counts = heights.integers();
            const auto line = [&](__m128i four) { return fourDoubles(four) * Double4(factor) + Double4(start); };
            all = truncated(line(counts.low), line(counts.high));
        }
        return packed<unsigned short>(all);
    }
};

}  // namespace nox
