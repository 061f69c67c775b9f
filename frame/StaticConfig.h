#pragma once

namespace nox {

/// What the configuration library answered when this library was loaded, with the status of each query.
struct StaticConfig
{
    bool gpu = false;
    int tbb = 0;
    int efficiency = 0;
    long gpuStatus = 0;
    long efficiencyStatus = 0;
    long tbbStatus = 0;

    /// Asks all three; a query that throws leaves its default.
    static StaticConfig read() noexcept;
};

/// The record of the façade: point cloud to range image and posture correction.
const StaticConfig& facadeConfig() noexcept;

/// The record of Nox3DDataConvertAlg.
const StaticConfig& algorithmConfig() noexcept;

}  // namespace nox
