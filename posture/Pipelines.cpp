// The host pipelines: from posed images to one grid.

#include <Nox3DSampling.h>
#include <NoxResultCodes.h>
#include <PostureBodies.h>

#include "data/Checked.h"
#include "data/Memory.h"
#include "frame/Guards.h"
#include "posture/MemoryGuard.h"
#include "posture/Merge.h"
#include "posture/PosedImage.h"
#include "posture/Posture.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace nox {

namespace {

namespace code = NOXEL::code;

constexpr int kReduction = 1;  // the resampling method that reduces images

struct CanvasSize
{
    int columns, rows;
};

/// A request and the grid that follows from it: that of the result, or with a final resampling a coarser one.
class Pipeline
{
public:
    Pipeline(const PostureRequest& request, NoxRangeImageArray& images, NoxRangeImage* result)
        : request_(request), images_(images), result_(result)
    {
    }

    int factor() const { return request_.samplingFactor; }
    bool isCoarse() const { return factor() > 1 && request_.samplingMethod > 0; }
    int rows() const { return gridSide(request_.outputHeight); }
    int columns() const { return gridSide(request_.outputWidth); }
    float resolutionX() const { return request_.resolutionX * static_cast<float>(isCoarse() ? factor() : 1); }
    float resolutionY() const { return static_cast<float>(isCoarse() ? factor() : 1) * request_.resolutionY; }

    /// Reduces `image` into `reduced`, which may be the image itself.
    long reduce(NoxRangeImage& image, NoxRangeImage* reduced) const
    {
        const int width = image.Width() / factor(), height = image.Height() / factor();
        return NOXEL::Nox3DSampling().Resample(image, reduced, kReduction, width, height);
    }

    /// The end of a call that lacks memory, or whose merge failed.
    long fail(long reason)
    {
        images_.Clear();
        return reason;
    }

    /// Merges the points onto the grid and delivers it.
    /// @param offsetUnitX, offsetUnitY  the resolutions in which the result tells its offsets
    long merge(const Canvas& canvas, float shiftX, float shiftY, float offsetUnitX, float offsetUnitY)
    {
        if (mergeExceedsMemory(rows(), columns())) return fail(code::postureMemory);
        const auto cells = static_cast<std::uint64_t>(pixelCount(columns(), rows()));
        if (!memoryGrants(cells * sizeof(float))) return fail(code::postureMemory);
        cv::Mat heights = newPlane(rows(), columns(), CV_32F);
        const long failed = guarded(code::mergeThrew, [&] {
            mergePoints(canvas, {shiftX, shiftY, resolutionY(), resolutionX()}, heights);
            return code::success;
        });
        if (failed) return fail(failed);

        result_->SetType(0);
        result_->SetMatrix(heights);
        result_->SetInfo(1.0, 0.0, resolutionX(), -shiftY / offsetUnitX, resolutionY(), -shiftX / offsetUnitY);
        if (!isCoarse()) return code::success;
        return NOXEL::Nox3DSampling().Resample(*result_, result_, request_.samplingMethod - 1, request_.outputWidth,
                                               request_.outputHeight);
    }

private:
    /// A side smaller than the factor stays as it is: a grid without cells would give nothing to resample.
    int gridSide(int side) const { return isCoarse() && side >= factor() ? side / factor() : side; }

    PostureRequest request_;
    NoxRangeImageArray& images_;
    NoxRangeImage* result_;
};

/// What the exported pipelines can't work with; the façade has refused it before.
long refusalOf(const PostureRequest& request, const NoxRangeImageArray& images, const NoxMatrixArray& poses)
{
    if (images.Length() == 0) return code::rangeImageEmpty;
    if (request.samplingFactor < 1) return code::argument5;
    return refusalOfPoses(poses, images.Length());
}

FloatPose floatPose(const NoxMatrix& pose)
{
    const auto* m = reinterpret_cast<const double*>(pose.MatrixData());
    FloatPose rows;
    std::transform(m, m + 12, rows.m, [](double v) { return static_cast<float>(v); });
    return rows;
}

CanvasPart orthographicPart(const NoxRangeImage& image, const NoxMatrix& pose, int width, int height)
{
    const OrthographicPlaces places{static_cast<float>(image.ResolutionX()), static_cast<float>(image.ResolutionY()),
                                    static_cast<float>(image.OffsetX()), static_cast<float>(image.OffsetY())};
    const cv::Mat& heights = image.Matrix();
    return canvasPart(
        width, height,
        PosedImage<float, OrthographicPlaces>{{heights.data, heights.step[0], heights.cols}, places, floatPose(pose)});
}

CanvasPart perspectivePart(const NoxRangeImage& image, const NoxMatrix& pose)
{
    const auto parameter = [&](int i) { return static_cast<float>(image.GetParaValue(i).D()); };
    const cv::Mat& heights = image.Matrix();
    CanvasPart part{};
    dispatch(image.DataType(), Elements{}, [&](auto tag) {
        using T = typename decltype(tag)::type;
        const PosedImage<T, PerspectivePlaces> posed{
            {heights.data, heights.step[0], heights.cols},
            perspectivePlaces<T>(image, parameter(0), parameter(1), parameter(2), parameter(3)),
            floatPose(pose)};
        part = canvasPart(image.Width(), image.Height(), posed);
    });
    return part;
}

/// The canvas of the coarse course. It is not smaller than the grid where the images are not finer than the result.
CanvasSize coarseCanvas(const PostureRequest& request, const Pipeline& pipeline, const NoxRangeImageArray& images)
{
    const CanvasSize coarse{request.canvasColumns / request.samplingFactor,
                            request.canvasRows / request.samplingFactor};
    for (int i = 0; i < images.Length(); ++i)
        if (images[i].ResolutionX() < request.resolutionX || images[i].ResolutionY() < request.resolutionY)
            return coarse;
    return {std::max(coarse.columns, pipeline.columns()), std::max(coarse.rows, pipeline.rows())};
}

}  // namespace

long mergeOrthographic(NoxRangeImageArray& images, const NoxMatrixArray& poses, const PostureRequest& request,
                       NoxRangeImage* result)
{
    if (const long refused = refusalOf(request, images, poses)) return refused;
    Pipeline pipeline(request, images, result);
    const int factor = request.samplingFactor;
    CanvasSize canvas{request.canvasColumns, request.canvasRows};
    const auto isReducible = [&](const NoxRangeImage& image) {
        return image.Width() >= factor && image.Height() >= factor;
    };

    NoxRangeImage& first = images[0];
    if (!isReducible(first)) return pipeline.isCoarse() ? code::sampledToNothing : code::rangeImageEmpty;
    if (first.DataType() != NoxDataType32F) return code::notServed;
    if (pipeline.isCoarse()) canvas = coarseCanvas(request, pipeline, images);
    if (factor > 1)
        if (const long failed = pipeline.reduce(first, &first)) return failed;
    if (exceedsMemory(gridUnits(3, first.Height(), first.Width()))) return pipeline.fail(code::postureMemory);
    if (exceedsMemory(gridUnits(6, canvas.rows, canvas.columns))) return pipeline.fail(code::postureMemory);

    std::vector<CanvasPart> parts;
    parts.push_back(orthographicPart(first, poses[0], std::min(first.Width(), canvas.columns),
                                     std::min(first.Height(), canvas.rows)));
    std::int64_t startColumn = 0;
    for (int i = 1; i < images.Length(); ++i) {
        NoxRangeImage& image = images[i];
        startColumn += images[i - 1].Width();
        const int unreducedWidth = image.Width();
        if (!isReducible(image)) return code::rangeImageEmpty;
        if (image.DataType() != NoxDataType32F) return code::notServed;
        if (factor > 1)
            if (const long failed = pipeline.reduce(image, &image)) return failed;
        if (startColumn > request.canvasColumns || unreducedWidth > request.canvasColumns) return code::argument3;
        if (startColumn + image.Width() > canvas.columns || image.Height() > canvas.rows) return code::argument3;
        parts.push_back(orthographicPart(image, poses[i], image.Width(), image.Height()));
    }

    const Canvas points(std::move(parts));
    const Bounds corner = points.corner();
    const auto shift = [](float moved, float own, double offset, double resolution) {
        return static_cast<float>(static_cast<double>(moved - own) - offset * resolution);
    };
    const float shiftX = shift(corner.minX, corner.ownMinX, first.OffsetY(), first.ResolutionY());
    const float shiftY = shift(corner.minY, corner.ownMinY, first.OffsetX(), first.ResolutionX());
    if (!pipeline.isCoarse() && exceedsMemory(gridUnits(3, request.outputHeight, canvas.columns)))
        return pipeline.fail(code::postureMemory);
    return pipeline.merge(points, shiftX, shiftY, request.resolutionX, request.resolutionY);
}

long mergePerspective(NoxRangeImageArray& images, const NoxMatrixArray& poses, const PostureRequest& request,
                      NoxRangeImage* result)
{
    if (const long refused = refusalOf(request, images, poses)) return refused;
    Pipeline pipeline(request, images, result);
    CanvasSize canvas{request.canvasColumns, request.canvasRows};
    NoxRangeImageArray reduced;
    if (request.samplingFactor > 1) {
        std::int64_t columns = 0;
        canvas.rows = 0;
        for (int i = 0; i < images.Length(); ++i) {
            if (images[i].Width() < request.samplingFactor || images[i].Height() < request.samplingFactor)
                return code::sampledToNothing;
            NoxRangeImage smaller;
            if (const long failed = pipeline.reduce(images[i], &smaller)) return failed;
            reduced.Append(smaller);
            columns += smaller.Width();
            canvas.rows = std::max(canvas.rows, smaller.Height());
        }
        if (columns > std::numeric_limits<int>::max()) return pipeline.fail(code::postureMemory);
        canvas.columns = static_cast<int>(columns);
    } else {
        reduced = images;  // shares the pixels and outlives a caller's array that has to be emptied
    }
    if (exceedsMemory(gridUnits(6, canvas.rows, canvas.columns))) return pipeline.fail(code::postureMemory);

    std::vector<CanvasPart> parts;
    std::int64_t startColumn = 0;
    for (int i = 0; i < reduced.Length(); ++i) {
        const NoxRangeImage& image = reduced[i];
        if (startColumn + image.Width() > canvas.columns || image.Height() > canvas.rows) return code::argument3;
        startColumn += image.Width();
        parts.push_back(perspectivePart(image, poses[i]));
    }

    const Canvas points(std::move(parts));
    const Bounds corner = points.corner();
    const auto shift = [&](float moved, float own, int centre, int scale) {
        if (!(own >= 0.0f)) return moved;
        const NoxRangeImage& first = reduced[0];
        const auto parameter = [&](int k) { return first.GetParaValue(k).D(); };
        return static_cast<float>(static_cast<double>(moved - own) - parameter(centre) * parameter(scale));
    };
    const float shiftX = shift(corner.minX, corner.ownMinX, 0, 2);
    const float shiftY = shift(corner.minY, corner.ownMinY, 1, 3);
    if (exceedsMemory(gridUnits(3, request.outputHeight, request.canvasColumns)))
        return pipeline.fail(code::postureMemory);
    return pipeline.merge(points, shiftX, shiftY, pipeline.resolutionX(), pipeline.resolutionY());
}

}  // namespace nox

namespace NOXEL {

long RangeImgPostureCorrect_CPU_TYPE0(NoxRangeImageArray& images, NoxMatrixArray& poses, float resolutionX,
                                      float resolutionY, int samplingFactor, int samplingMethod, int canvasColumns,
                                      int canvasRows, int outputWidth, int outputHeight, NoxRangeImage* result)
{
    return nox::mergeOrthographic(images, poses,
                                  {resolutionX, resolutionY, samplingFactor, samplingMethod, outputWidth, outputHeight,
                                   canvasColumns, canvasRows},
                                  result);
}

long RangeImgPostureCorrect_CPU_TYPE1(NoxRangeImageArray& images, NoxMatrixArray& poses, float resolutionX,
                                      float resolutionY, int samplingFactor, int samplingMethod, int canvasColumns,
                                      int canvasRows, int outputWidth, int outputHeight, NoxRangeImage* result)
{
    return nox::mergePerspective(images, poses,
                                 {resolutionX, resolutionY, samplingFactor, samplingMethod, outputWidth, outputHeight,
                                  canvasColumns, canvasRows},
                                 result);
}

}  // namespace NOXEL
