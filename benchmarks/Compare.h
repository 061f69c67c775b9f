#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <limits>

namespace nox_bench {

/// Reports the time on the host, that on the device, and their ratio; the best of all iterations each.
template <class OnHost, class OnDevice>
void compare(benchmark::State& state, const OnHost& onHost, const OnDevice& onDevice)
{
    double best[2] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
    const auto timed = [&](double& least, const auto& call) {
        const auto start = std::chrono::steady_clock::now();
        if (call() != 0) state.SkipWithError("refused");
        least = std::min(least, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    };
    for (auto _ : state) {
        timed(best[0], onHost);
        timed(best[1], onDevice);
    }
    state.counters["host_ms"] = 1e3 * best[0];
    state.counters["device_ms"] = 1e3 * best[1];
    state.counters["ofHost"] = best[1] / best[0];
}

}  // namespace nox_bench
