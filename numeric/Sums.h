#pragma once

#include "data/Lanes.h"
#include "numeric/Pieces.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace nox {

/// An integer type that holds the sum of a piece.
template <class T>
using PieceSum = std::conditional_t<
    sizeof(T) == 4, std::int64_t,
    std::conditional_t<sizeof(T) == 2, std::conditional_t<std::is_signed_v<T>, std::int32_t, std::uint32_t>,
                       std::conditional_t<std::is_signed_v<T>, std::int16_t, std::uint16_t>>>;

/// The exact sum of up to 2^31 integers.
template <class T, std::enable_if_t<std::is_integral_v<T>, int> = 0>
std::int64_t sumOf(const T* values, std::size_t count)
{
    std::int64_t total = 0;
    forPieces(values, count, [&total](const T* piece, std::size_t length) {
        PieceSum<T> sum = 0;
        for (std::size_t i = 0; i < length; ++i) sum = static_cast<PieceSum<T>>(sum + piece[i]);
        total += sum;
    });
    return total;
}

/// The sum of reals in double, in an order of its own that depends on `count` alone.
template <class T, std::enable_if_t<std::is_floating_point_v<T>, int> = 0>
double sumOf(const T* values, std::size_t count)
{
    Double4 sums[4] = {Double4(0.0), Double4(0.0), Double4(0.0), Double4(0.0)};
    double rest = 0.0;
    forPieces(values, count, [&sums, &rest](const T* piece, std::size_t length) {
        std::size_t i = 0;
        for (; i + 16 <= length; i += 16)
            for (std::size_t k = 0; k < 4; ++k) sums[k] = sums[k] + fourDoubles(piece + i + 4 * k);
        for (; i < length; ++i) rest += static_cast<double>(piece[i]);
    });
    double lanes[4];
    _mm256_storeu_pd(lanes, ((sums[0] + sums[1]) + (sums[2] + sums[3])).lanes);
    return (lanes[0] + lanes[1]) + (lanes[2] + lanes[3]) + rest;
}

}  // namespace nox
