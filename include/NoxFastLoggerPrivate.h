#pragma once

#include <NoxExport.h>

namespace NOXEL {

/// The logger of the conversions, a small library of its own that an integrator may replace. The shipped one hands each
/// record to the spdlog logger named "Nox3DDataConvert" if the program has registered one, and is silent else.
class NOX_EXPORT NoxFastLoggerPrivate
{
public:
    NoxFastLoggerPrivate();
    ~NoxFastLoggerPrivate();
    NoxFastLoggerPrivate(const NoxFastLoggerPrivate&) = delete;
    NoxFastLoggerPrivate& operator=(const NoxFastLoggerPrivate&) = delete;

    /// Writes one record; never throws. @return 0
    long Log(const char* message, const char* module, const char* function, int line);
};

}  // namespace NOXEL
