#include "frame/StaticConfig.h"

#include <NoxConfig.h>

namespace nox {

namespace {

template <class T>
long ask(long (*query)(T*), T& value) noexcept
{
    T answer = value;
    try {
        const long status = query(&answer);
        value = answer;
        return status;
    } catch (...) {
        return -1;
    }
}

}  // namespace

StaticConfig StaticConfig::read() noexcept
{
    StaticConfig config;
    config.gpuStatus = ask(NOXEL::NoxGetStaticGPU, config.gpu);
    config.efficiencyStatus = ask(NOXEL::NoxGetStaticEfficiency, config.efficiency);
    config.tbbStatus = ask(NOXEL::NoxGetStaticTBB, config.tbb);
    return config;
}

}  // namespace nox
