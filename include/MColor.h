#pragma once

#include <NoxExport.h>

#include <cstdint>

namespace NOXEL3D {

/// A colour in one 32-bit value: red in the lowest byte, then green, blue and alpha.
class NOX_EXPORT MColor
{
public:
    MColor() noexcept = default;
    /// The low eight bits of each channel.
    MColor(int red, int green, int blue, int alpha) noexcept
        : value_(byte(red) | byte(green) << 8 | byte(blue) << 16 | byte(alpha) << 24)
    {
    }

    std::uint32_t value() const noexcept { return value_; }

private:
    static std::uint32_t byte(int channel) noexcept { return static_cast<std::uint32_t>(channel) & 0xFFu; }

    std::uint32_t value_ = 0;
};

static_assert(sizeof(MColor) == 4);

/// An angle; it holds nothing and is only assigned.
class NOX_EXPORT MAngle
{
};

/// A plain record of statistics.
struct NOX_EXPORT MStatistics
{
    double values[5] = {};
    std::int32_t count = 0;
};

}  // namespace NOXEL3D
