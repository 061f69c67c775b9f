#pragma once

#include <cstdint>

/// One horizontal run of pixels: three 32-bit integers and nothing else, since a vector of runs is walked as flat
/// storage.
class NoxRun
{
public:
    std::int32_t row = 0;
    std::int32_t first = 0;  ///< column
    std::int32_t last = 0;   ///< column, inclusive
};

static_assert(sizeof(NoxRun) == 3 * sizeof(std::int32_t));
