#include <NoxConfig.h>

namespace NOXEL {

long NoxGetStaticGPU(bool* gpu)
{
    *gpu = NOX_CONFIG_GPU;
    return 0;
}

long NoxGetStaticTBB(int* tbb)
{
    *tbb = NOX_CONFIG_TBB;
    return 0;
}

long NoxGetStaticEfficiency(int* efficiency)
{
    *efficiency = NOX_CONFIG_EFFICIENCY;
    return 0;
}

}  // namespace NOXEL
