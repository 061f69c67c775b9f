#pragma once

#include <cstdint>

/// One horizontal run of pixels: three 32-bit integers and nothing else, since a vector of runs is walked as flat
/// storage.
class NoxRun
{
public:
    constexpr NoxRun() noexcept = default;
    constexpr NoxRun(std::int32_t itsRow, std::int32_t from, std::int32_t to) noexcept
        : row(itsRow), first(from), last(to)
    {
    }

    std::int32_t row = 0;
    std::int32_t first = 0;  ///< column
    std::int32_t last = 0;   ///< column, inclusive
};

static_assert(sizeof(NoxRun) == 3 * sizeof(std::int32_t));
