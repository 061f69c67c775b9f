#pragma once

#include <NoxPointCloud.h>

#include <chrono>
#include <vector>

namespace example {

/// Milliseconds that a call takes.
template <class F>
double milliseconds(const F& call)
{
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

/// Distance of every point of `from` to the nearest point of `to`, in ascending order.
std::vector<float> distances(const NoxPointCloud& from, const NoxPointCloud& to);

/// The value below which `share` of the ascending values lie; they must not be empty.
float quantile(const std::vector<float>& ascending, double share);

/// Ends the program with the text of the code unless it is 0.
void require(long code);

}  // namespace example
