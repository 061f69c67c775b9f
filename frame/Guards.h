#pragma once

#include <NoxPlatform.h>

#include <cstdint>
#include <new>

namespace nox {

/// Whether the machine can really give that many bytes; an overcommitting system grants what it can't give, and kills
/// the process later.
inline bool memoryCovers(std::uint64_t bytes) { return NOXEL::NoxAvailablePhysicalMemory() >= bytes; }

/// The same before a working buffer is taken; what every machine has is not asked for.
inline bool memoryGrants(std::uint64_t bytes)
{
    constexpr std::uint64_t small = std::uint64_t{64} << 20;
    return bytes <= small || memoryCovers(bytes);
}

/// The same as an exception.
inline void requireMemory(std::uint64_t bytes)
{
    if (!memoryGrants(bytes)) throw std::bad_alloc();
}

/// Runs a conversion and turns any exception into the operation's own code.
template <class Conversion>
long guarded(long codeOfException, const Conversion& conversion) noexcept
{
    try {
        return conversion();
    } catch (...) {
        return codeOfException;
    }
}

}  // namespace nox
