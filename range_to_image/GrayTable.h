#pragma once

#include "data/ElementType.h"
#include "data/Memory.h"

#include <cstdint>
#include <cstring>

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
    for (std::size_t bits = 0; bits < GrayLookup<T, U>::size; ++bits)
        grays[bits] = rule(static_cast<T>(static_cast<Bits<sizeof(T)>>(bits)));
    return grays;
}

}  // namespace nox
