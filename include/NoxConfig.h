#pragma once

#include <NoxExport.h>

/// The static configuration, a small library of its own: an integrator defines these functions in a library or program
/// that is found first, and every conversion follows. They are asked once, when Nox3DDataConvert is loaded. The shipped
/// ones answer with the values that the build was given (NOX_CONFIG_GPU, NOX_CONFIG_TBB, NOX_CONFIG_EFFICIENCY).
namespace NOXEL {

/// Whether large jobs may go to the device. Status 0.
NOX_EXPORT long NoxGetStaticGPU(bool* gpu);
/// Pieces into which a loop over rows or points is cut; 0 or less: as small as one row or point. Status 0.
NOX_EXPORT long NoxGetStaticTBB(int* tbb);
/// 1: an output that already has the right size and type is written in place. Status 0.
NOX_EXPORT long NoxGetStaticEfficiency(int* efficiency);

}  // namespace NOXEL
