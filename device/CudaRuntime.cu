#include <cuda_runtime.h>

#include <limits>

#include "device/Kernels.h"
#include "device/Runtime.h"

namespace nox::device {

namespace {

const void* const kEntries[] = {
#define NOX_KERNEL_ENTRY(name, adds) reinterpret_cast<const void*>(&cuda_##name),
    NOX_KERNELS(NOX_KERNEL_ENTRY)
#undef NOX_KERNEL_ENTRY
};

/// Hands an error on, and leaves none behind for what the application does on this thread.
int taken(cudaError_t error) noexcept
{
    if (error != cudaSuccess) cudaGetLastError();
    return error;
}

class CudaRuntime final : public Runtime
{
public:
    int allocate(void** buffer, std::size_t bytes) const noexcept override { return taken(cudaMalloc(buffer, bytes)); }
    void release(void* buffer) const noexcept override { taken(cudaFree(buffer)); }
    int clear(void* buffer, std::size_t bytes) const noexcept override { return taken(cudaMemset(buffer, 0, bytes)); }

    int upload(void* buffer, const void* from, std::size_t bytes) const noexcept override
    {
        return taken(cudaMemcpy(buffer, from, bytes, cudaMemcpyHostToDevice));
    }

    int download(void* to, const void* buffer, std::size_t bytes) const noexcept override
    {
        return taken(cudaMemcpy(to, buffer, bytes, cudaMemcpyDeviceToHost));
    }

    int launch(const Launch* launches, int count, const Shape& shape) const noexcept override
    {
        constexpr std::int64_t most = std::numeric_limits<int>::max();
        if (shape.gridWidth > most || shape.gridHeight > most) return cudaErrorInvalidConfiguration;
        const dim3 grid(static_cast<unsigned>(shape.gridWidth), static_cast<unsigned>(shape.gridHeight));
        const dim3 block(static_cast<unsigned>(shape.blockWidth), static_cast<unsigned>(shape.blockHeight));
        cudaError_t error = cudaSuccess;
        for (const Launch* next = launches; next != launches + count && error == cudaSuccess; ++next)
            error =
                cudaLaunchKernel(kEntries[static_cast<int>(next->kernel)], grid, block, next->arguments, 0, nullptr);
        return taken(error);
    }

    int synchronise() const noexcept override { return taken(cudaDeviceSynchronize()); }

    const char* errorText(int error) const noexcept override
    {
        return cudaGetErrorString(static_cast<cudaError_t>(error));
    }
};

constexpr CudaRuntime kCudaRuntime;

}  // namespace

const Runtime& builtInRuntime() noexcept { return kCudaRuntime; }

}  // namespace nox::device
