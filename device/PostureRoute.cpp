#include "device/PostureRoute.h"

#include <Nox3DSampling.h>
#include <NoxResultCodes.h>
#include <PostureBodies.h>

#include "data/Checked.h"
#include "device/Pipelines.h"

namespace nox {

namespace {

constexpr int kLeastCanvas = 1024;

long mergeWholly(NoxRangeImageArray& images, const NoxMatrixArray& poses, const PostureRequest& r,
                 NoxRangeImage* result)
{
    return device::DeviceRangeMerge(device::builtInRuntime(), images, poses, r.resolutionX, r.resolutionY,
                                    r.canvasColumns, r.canvasRows, r.outputWidth, r.outputHeight, result);
}

long mergeOnHost(NoxRangeImageArray& images, const NoxMatrixArray& poses, const PostureRequest& r,
                 NoxRangeImage* result)
{
    NoxMatrixArray own = poses;
    return NOXEL::RangeImgPostureCorrect_CPU_TYPE0(images, own, r.resolutionX, r.resolutionY, 1, 0, r.canvasColumns,
                                                   r.canvasRows, r.outputWidth, r.outputHeight, result);
}

long reduce(NoxRangeImageArray& images, int factor, int method)
{
    for (int i = 0; i < images.Length() && factor > 1; ++i) {
        NoxRangeImage& image = images[i];
        const int width = image.Width() / factor, height = image.Height() / factor;
        if (pixelCount(width, height) == 0)
            return i == 0 && method > 0 ? NOXEL::code::sampledToNothing : NOXEL::code::rangeImageEmpty;
        if (const long failed = NOXEL::Nox3DSampling().Resample(image, &image, 1, width, height)) return failed;
    }
    return NOXEL::code::success;
}

/// The request on a grid that is coarser by its factor; a result smaller than the factor stays as it is.
PostureRequest coarse(const PostureRequest& r)
{
    const int f = r.samplingFactor;
    const auto side = [f](int size) { return size < f ? size : size / f; };
    return {static_cast<float>(f) * r.resolutionX,
            static_cast<float>(f) * r.resolutionY,
            1,
            0,
            side(r.outputWidth),
            side(r.outputHeight),
            r.canvasColumns / f,
            r.canvasRows / f};
}

}  // namespace

long mergeOnDevice(NoxRangeImageArray& images, const NoxMatrixArray& poses, const PostureRequest& request,
                   NoxRangeImage* result)
{
    if (const long failed = reduce(images, request.samplingFactor, request.samplingMethod)) return failed;
    if (request.samplingMethod == 0) return mergeWholly(images, poses, request, result);

    const PostureRequest reduced = coarse(request);
    const bool small = reduced.canvasColumns < kLeastCanvas || reduced.canvasRows < kLeastCanvas;
    if (const long failed = (small ? mergeOnHost : mergeWholly)(images, poses, reduced, result)) return failed;
    return NOXEL::Nox3DSampling().Resample(*result, result, request.samplingMethod - 1, request.outputWidth,
                                           request.outputHeight);
}

}  // namespace nox
