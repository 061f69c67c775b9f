#include "tests/support/Replacements.h"

#include <NoxConfig.h>
#include <NoxFastLoggerPrivate.h>
#include <NoxPlatform.h>

#include <opencv2/core/utility.hpp>

#include <cstdlib>
#include <limits>
#include <stdexcept>

namespace replaced {

namespace {

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
/// The sanitizer does not see how OpenCV's own threads, which resampling uses, wait for each other.
[[maybe_unused]] const bool onOneThread = (cv::setNumThreads(1), true);
#endif
#endif

LogScope* listener = nullptr;

int environment(const char* name)
{
    const char* text = std::getenv(name);
    return text ? std::atoi(text) : 0;
}

}  // namespace

std::atomic<unsigned long long> Memory::available{std::numeric_limits<unsigned long long>::max()};
std::atomic<int> Memory::queries{0};

MemoryScope::MemoryScope(unsigned long long available)
{
    Memory::available = available;
    Memory::queries = 0;
}

MemoryScope::~MemoryScope() { Memory::available = std::numeric_limits<unsigned long long>::max(); }

LogScope::LogScope(bool throwing) : throwing_(throwing) { listener = this; }

LogScope::~LogScope() { listener = nullptr; }

void LogScope::add(const char* message, const char* module, const char* function)
{
    if (throwing_) throw std::runtime_error("log");
    if (std::string(module) != "Nox3DDataConvert") throw std::logic_error("module of a record");
    records_.push_back(std::string(function) + ": " + message);
}

}  // namespace replaced

namespace NOXEL {

unsigned long long NoxAvailablePhysicalMemory()
{
    ++replaced::Memory::queries;
    return replaced::Memory::available;
}

long NoxGetStaticGPU(bool* gpu)
{
    *gpu = replaced::environment("NOX_TEST_GPU") != 0;
    return 0;
}

long NoxGetStaticTBB(int* tbb)
{
    *tbb = replaced::environment("NOX_TEST_TBB");
    return 0;
}

long NoxGetStaticEfficiency(int* efficiency)
{
    *efficiency = replaced::environment("NOX_TEST_EFFICIENCY");
    return 0;
}

NoxFastLoggerPrivate::NoxFastLoggerPrivate() = default;
NoxFastLoggerPrivate::~NoxFastLoggerPrivate() = default;

long NoxFastLoggerPrivate::Log(const char* message, const char* module, const char* function, int /*line*/)
{
    if (replaced::listener) replaced::listener->add(message, module, function);
    return 0;
}

}  // namespace NOXEL
