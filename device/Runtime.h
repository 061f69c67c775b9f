#pragma once

#include <cstddef>

#include "device/Blocks.h"

namespace nox::device {

enum class KernelId : int;

/// What the pipelines ask of a device. Without state, so that calls may overlap. An operation gives 0 or the
/// realisation's own error number.
class Runtime
{
public:
    /// A buffer of undefined content.
    virtual int allocate(void** buffer, std::size_t bytes) const noexcept = 0;
    virtual void release(void* buffer) const noexcept = 0;
    virtual int clear(void* buffer, std::size_t bytes) const noexcept = 0;
    virtual int upload(void* buffer, const void* from, std::size_t bytes) const noexcept = 0;
    virtual int download(void* to, const void* buffer, std::size_t bytes) const noexcept = 0;
    /// `arguments` points to each of the kernel's arguments. The kernel has run when `synchronise` has returned.
    virtual int launch(KernelId kernel, const Shape& shape, void** arguments) const noexcept = 0;
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
