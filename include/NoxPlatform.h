#pragma once

#include <NoxExport.h>

namespace NOXEL {

/// Bytes of physical memory that this process may still take: the smaller of what the system has available and what
/// the process's container leaves. Asked by the memory guards of the conversions at the moment of the guard; a small
/// library of its own that an integrator may replace. Safe from any thread.
NOX_EXPORT unsigned long long NoxAvailablePhysicalMemory();

}  // namespace NOXEL
