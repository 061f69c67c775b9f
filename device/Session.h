#pragma once

#include <NoxResultCodes.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <tuple>

#include "data/ElementType.h"
#include "device/Kernels.h"
#include "device/Runtime.h"

namespace nox::device {

/// A kernel with its arguments.
template <class... P>
class Call
{
public:
    explicit Call(KernelId kernel, const P&... arguments) : kernel_(kernel), arguments_(arguments...) {}

    Launch launch()
    {
        std::apply(
            [this](P&... arguments) {
                std::size_t i = 0;
                ((pointers_[i++] = &arguments), ...);
            },
            arguments_);
        return {kernel_, pointers_};
    }

private:
    KernelId kernel_;
    std::tuple<P...> arguments_;
    void* pointers_[sizeof...(P)] = {};
};

/// A kernel with the types of its arguments.
template <class... P>
struct Kernel
{
    KernelId id;
    Call<P...> operator()(typename Tag<P>::type... arguments) const { return Call<P...>(id, arguments...); }
};

namespace kernel {
template <class... P>
Kernel<P...> typed(void (*)(const Blocks&, P...));
#define NOX_TYPED_KERNEL(name, adds) inline constexpr auto name = decltype(typed(&cuda_##name)){KernelId::name};
NOX_KERNELS(NOX_TYPED_KERNEL)
#undef NOX_TYPED_KERNEL
}  // namespace kernel

struct ReleaseBuffer
{
    const Runtime* runtime = nullptr;
    void operator()(const void* buffer) const noexcept
    {
        if (runtime) runtime->release(const_cast<void*>(buffer));
    }
};

/// Device memory of a call, released with the object; or memory of the host in its place.
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

    /// What kernels add to.
    template <class T>
    Buffer<T> sums(std::uint64_t count)
    {
        return runtime_.sharesMemory() ? allocate<T>(count) : zeros<T>(count);
    }

    /// What kernels read from the host.
    template <class T>
    Buffer<const T> input(const T* from, std::uint64_t count)
    {
        if (runtime_.sharesMemory()) return Buffer<const T>(from);
        return uploaded(from, count);
    }

    /// What kernels write, and `download` then puts into `to`.
    template <class T>
    Buffer<T> output(T* to, std::uint64_t count)
    {
        if (runtime_.sharesMemory()) return Buffer<T>(to);
        return allocate<T>(count);
    }

    template <class T>
    void clear(T* buffer, std::uint64_t count)
    {
        attempt(NOXEL::code::deviceMemory, [&] { return runtime_.clear(buffer, bytes<T>(count)); });
    }

    template <class T>
    void download(T* to, const Buffer<T>& buffer, std::uint64_t count)
    {
        if (buffer.get() == to) return;
        attempt(NOXEL::code::deviceLaunch, [&] { return runtime_.download(to, buffer.get(), bytes<T>(count)); });
    }

    /// Returns when the kernel has run.
    template <class... P>
    void run(const Kernel<P...>& kernel, const Shape& shape, typename Tag<P>::type... arguments)
    {
        runTogether(shape, kernel(arguments...));
    }

    /// The same for several, of which each reads in a thread only what the same thread of those before it has written.
    template <class... Calls>
    void runTogether(const Shape& shape, Calls... calls)
    {
        const Launch launches[] = {calls.launch()...};
        attempt(NOXEL::code::deviceLaunch, [&] { return runtime_.launch(launches, sizeof...(calls), shape); });
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
