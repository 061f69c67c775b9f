#pragma once

#include <cstddef>

#include "device/Blocks.h"

namespace nox::device {

enum class KernelId : int;

struct Launch
{
    KernelId kernel;
    void** arguments;  ///< points to each of the kernel's arguments
};

/// What the pipelines ask of a device. Without state, so that calls may overlap. An operation gives 0 or the
/// realisation's own error number.
class Runtime
{
public:
    /// A buffer of undefined content.
    virtual int allocate(void** buffer, std::size_t bytes) const noexcept = 0;
    virtual void release(void* buffer) const noexcept = 0;
    virtual int clear(void* buffer, std::size_t bytes) const noexcept = 0;
    /// Whether kernels work in the host's own memory, so that nothing need be copied, and those that add begin with 0
    /// by themselves.
    virtual bool sharesMemory() const noexcept { return false; }
    virtual int upload(void* buffer, const void* from, std::size_t bytes) const noexcept = 0;
    virtual int download(void* to, const void* buffer, std::size_t bytes) const noexcept = 0;
    /// Kernels of one shape, of which each reads in a thread only what the same thread of those before it has written.
    /// They have run when `synchronise` has returned.
    virtual int launch(const Launch* launches, int count, const Shape& shape) const noexcept = 0;
    virtual int synchronise() const noexcept = 0;
    virtual const char* errorText(int error) const noexcept = 0;

protected:
    ~Runtime() = default;
};

/// The processor's cores, by oneTBB.
const Runtime& hostRuntime() noexcept;

/// The realisation that the library was built with.
const Runtime& builtInRuntime() noexcept;

}  // namespace nox::device
