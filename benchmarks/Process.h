#pragma once

#include "benchmarks/Limits.h"

#include <fstream>
#include <string>

namespace nox_bench {

/// A number of bytes that the system tells of this process.
inline double processBytes(const std::string& key)
{
    std::ifstream status("/proc/self/status");
    std::string word;
    double kibibytes = 0;
    while (status >> word)
        if (word == key + ":" && status >> kibibytes) return 1024 * kibibytes;
    return 0;
}

/// How far a call raises the memory of the process at its highest, its result included.
template <class Call>
double peakOf(const Call& call)
{
    dropKeptMemory();
    std::ofstream("/proc/self/clear_refs") << 5;  // forgets the peak so far
    const double before = processBytes("VmRSS");
    call();
    return processBytes("VmHWM") - before;
}

}  // namespace nox_bench
