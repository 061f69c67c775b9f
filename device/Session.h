#pragma once

#include <NoxResultCodes.h>

#include <cstdint>
#include <limits>
#include <memory>

#include "data/ElementType.h"
#include "device/Kernels.h"
#include "device/Runtime.h"

namespace nox::device {

/// A kernel with the types of its arguments.
template <class... P>
struct Kernel
{
    KernelId id;
    constexpr Kernel(KernelId place, void (*)(const Blocks&, P...)) : id(place) {}
};

namespace kernel {
#define NOX_TYPED_KERNEL(name, adds) inline constexpr Kernel name(KernelId::name, &cuda_##name);
NOX_KERNELS(NOX_TYPED_KERNEL)
#undef NOX_TYPED_KERNEL
}  // namespace kernel

struct ReleaseBuffer
{
    const Runtime* runtime;
    void operator()(void* buffer) const noexcept { runtime->release(buffer); }
};

/// Device memory of a call, released with the object.
template <class T>
using Buffer = std::unique_ptr<T, ReleaseBuffer>;

/// One call's use of a device. After the first failure nothing more is asked of it, so that steps follow each other
/// without a test, and the code that stands at the end is that of the step that failed.
class Session
{
public:
    explicit Session(const Runtime& runtime) noexcept : runtime_(runtime) {}

    /// 0; 30602013 an allocation or an upload failed; 30602014 a kernel or a download failed
    long code() const noexcept { return code_; }
    const char* errorText() const noexcept { return runtime_.errorText(error_); }

    /// `count` elements of undefined content; null after a failure.
    template <class T>
    Buffer<T> allocate(std::uint64_t count)
    {
        void* buffer = nullptr;
        attempt(NOXEL::code::deviceMemory, [&] { return runtime_.allocate(&buffer, bytes<T>(count)); });
        return Buffer<T>(static_cast<T*>(buffer), ReleaseBuffer{&runtime_});
    }

    template <class T>
    Buffer<T> none() const
    {
        return Buffer<T>(nullptr, ReleaseBuffer{&runtime_});
    }

    template <class T>
    Buffer<T> zeros(std::uint64_t count)
    {
        Buffer<T> buffer = allocate<T>(count);
        clear(buffer.get(), count);
        return buffer;
    }

    template <class T>
    Buffer<T> uploaded(const T* from, std::uint64_t count)
    {
        Buffer<T> buffer = allocate<T>(count);
        attempt(NOXEL::code::deviceMemory, [&] { return runtime_.upload(buffer.get(), from, bytes<T>(count)); });
        return buffer;
    }

    template <class T>
    void clear(T* buffer, std::uint64_t count)
    {
        attempt(NOXEL::code::deviceMemory, [&] { return runtime_.clear(buffer, bytes<T>(count)); });
    }

    template <class T>
    void download(T* to, const Buffer<T>& buffer, std::uint64_t count)
    {
        attempt(NOXEL::code::deviceLaunch, [&] { return runtime_.download(to, buffer.get(), bytes<T>(count)); });
    }

    /// Returns when the kernel has run.
    template <class... P>
    void run(const Kernel<P...>& kernel, const Shape& shape, typename Tag<P>::type... arguments)
    {
        void* packed[] = {&arguments...};
        attempt(NOXEL::code::deviceLaunch, [&] { return runtime_.launch(kernel.id, shape, packed); });
        attempt(NOXEL::code::deviceLaunch, [&] { return runtime_.synchronise(); });
    }

private:
    /// What no memory holds becomes a size that none gives.
    template <class T>
    static std::size_t bytes(std::uint64_t count) noexcept
    {
        constexpr std::uint64_t most = std::numeric_limits<std::ptrdiff_t>::max();
        return count > most / sizeof(T) ? most : count * sizeof(T);
    }

    template <class Operation>
    void attempt(long codeOfFailure, const Operation& operation)
    {
        if (code_ == NOXEL::code::success && (error_ = operation()) != 0) code_ = codeOfFailure;
    }

    const Runtime& runtime_;
    int error_ = 0;
    long code_ = NOXEL::code::success;
};

}  // namespace nox::device
