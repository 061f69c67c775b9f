#include "frame/StaticConfig.h"

namespace nox {

namespace {

const StaticConfig config = StaticConfig::read();

}  // namespace

const StaticConfig& algorithmConfig() noexcept { return config; }

}  // namespace nox
