// The stages of posture correction on a canvas of planes.

#include <NoxResultCodes.h>
#include <PostureBodies.h>
#include <RangeToCloudBodies.h>

#include "data/Checked.h"
#include "data/Memory.h"
#include "frame/Guards.h"
#include "frame/MinXY.h"
#include "frame/Parallel.h"
#include "frame/StaticConfig.h"
#include "posture/MemoryGuard.h"
#include "posture/Merge.h"
#include "posture/PosedImage.h"

#include <algorithm>
#include <limits>

namespace NOXEL {

namespace {

using Rows = tbb::blocked_range<std::size_t>;

/// The canvas planes, and how much of them a block may use.
struct Planes
{
    cv::Mat &x, &y, &z;

    int rows(int wanted) const { return std::min({wanted, x.rows, y.rows, z.rows}); }
    int columns(int wanted) const { return std::min({wanted, x.cols, y.cols, z.cols}); }
    bool hold(int column, int width, int height) const
    {
        return column >= 0 && columns(std::numeric_limits<int>::max()) - column >= width &&
               rows(std::numeric_limits<int>::max()) >= height;
    }

    void put(int row, int column, const nox::Place<float>& place) const
    {
        x.ptr<float>(row)[column] = place.x;
        y.ptr<float>(row)[column] = place.y;
        z.ptr<float>(row)[column] = place.z;
    }
};

bool isFloatPose(const cv::Mat& pose) { return pose.type() == CV_32F && pose.isContinuous() && pose.total() >= 12; }

nox::FloatPose floatPose(const cv::Mat& pose)
{
    nox::FloatPose rows;
    std::copy_n(pose.ptr<float>(), 12, rows.m);
    return rows;
}

/// Puts the moved place of every pixel on the canvas, from a column on; one without a point leaves the marks of none.
template <class OwnPlace>
void movePlaces(const Planes& canvas, const nox::FloatPose& pose, int startColumn, int width, int height,
                const OwnPlace& ownPlace)
{
    nox::forRows(height, 0, [&](const Rows& rows) {
        for (auto row = static_cast<int>(rows.begin()); row != static_cast<int>(rows.end()); ++row) {
            for (int column = 0; column < width; ++column) {
                const nox::Place<float> own = ownPlace(row, column);
                const bool isNone = !(own.z > nox::kNoHeight);
                canvas.put(
                    row, startColumn + column,
                    isNone ? nox::Place<float>{nox::kNoCoordinate, nox::kNoCoordinate, nox::kNoHeight} : pose(own));
            }
        }
    });
}

/// The places of a float image before the pose.
auto ownPlaces(const NoxRangeImage& image, const nox::OrthographicPlaces& places)
{
    return [heights = image.Matrix(), places](int row, int column) {
        return places(static_cast<float>(row), static_cast<float>(column), heights.ptr<float>(row)[column]);
    };
}

long refusalOf(const NoxRangeImage& image, const cv::Mat& pose)
{
    if (image.DataType() != NoxDataType32F) return code::notServed;
    return isFloatPose(pose) ? code::success : code::poseShape;
}

}  // namespace

long BOX_MinXY_SIMD0(cv::Mat& X, cv::Mat& Y, cv::Mat& Z, float* minX, float* minY, int width, int height)
{
    nox::minXY(X, Y, Z, minX, minY, width, height);
    return code::success;
}

long PclValToPixel(cv::Mat& X, cv::Mat& Y, cv::Mat& Z, float shiftX, float shiftY, float columnResolution,
                   float rowResolution, int startColumn, int columns, int rows)
{
    if (X.rows == 0 || Y.rows == 0 || Z.rows == 0) return code::rangeImageEmpty;
    const nox::GridMap map{shiftX, shiftY, rowResolution, columnResolution};
    const int first = std::max(startColumn, 0);
    const auto last = static_cast<int>(
        std::min<std::int64_t>(static_cast<std::int64_t>(startColumn) + columns, std::min(X.cols, Y.cols)));
    nox::forRows(std::min({rows, X.rows, Y.rows}), 0, [&](const Rows& range) {
        for (auto row = static_cast<int>(range.begin()); row != static_cast<int>(range.end()); ++row) {
            float *x = X.ptr<float>(row), *y = Y.ptr<float>(row);
            for (int column = first; column < last; ++column) {
                x[column] = map.row(x[column]);
                y[column] = map.column(y[column]);
            }
        }
    });
    return code::success;
}

long PclValToPixelAll(cv::Mat& X, cv::Mat& Y, cv::Mat& Z, float shiftX, float shiftY, float columnResolution,
                      float rowResolution, int columns, int rows)
{
    return PclValToPixel(X, Y, Z, shiftX, shiftY, columnResolution, rowResolution, 0, columns, rows);
}

long AllAddSum_TBB(cv::Mat& X, cv::Mat& Y, cv::Mat& Z, cv::Mat& sum, cv::Mat& count, int canvasColumns, int canvasRows,
                   int outputRows, int outputColumns)
{
    return nox::guarded(code::mergeThrew, [&] {
        if (nox::mergeExceedsMemory(outputRows, outputColumns)) return code::postureMemory;
        const Planes planes{X, Y, Z};
        const auto rowsOf = [](const cv::Mat& plane) {
            return nox::Rows<float>{plane.data, plane.step[0], plane.cols};
        };
        const nox::Canvas canvas({nox::canvasPart(planes.columns(canvasColumns), planes.rows(canvasRows),
                                                  nox::PlanePoints{rowsOf(X), rowsOf(Y), rowsOf(Z)})});
        const auto bytes = 2 * sizeof(float) * static_cast<std::uint64_t>(nox::pixelCount(outputRows, outputColumns));
        if (!nox::memoryGrants(bytes)) return code::postureMemory;
        cv::Mat sums = nox::newPlane(outputRows, outputColumns, CV_32F);
        cv::Mat counts = nox::newPlane(outputRows, outputColumns, CV_32F);
        nox::mergePoints(canvas, {0.0f, 0.0f, 1.0f, 1.0f}, sums, counts);
        sum = sums;
        count = counts;
        return code::success;
    });
}

long RangeToPlc_SIMD0(NoxRangeImage& image, cv::Mat& pose, cv::Mat& X0, cv::Mat& Y0, cv::Mat& X, cv::Mat& Y, cv::Mat& Z,
                      float offsetX, float offsetY, float resolutionX, float resolutionY, int width, int height)
{
    if (const long refused = refusalOf(image, pose)) return refused;
    width = std::clamp(width, 0, image.Width());
    height = std::clamp(height, 0, image.Height());
    X0 = nox::newPlane(height, width, CV_32F);
    Y0 = nox::newPlane(height, width, CV_32F);
    const auto own = ownPlaces(image, {resolutionX, resolutionY, offsetX, offsetY});
    nox::forRows(height, 0, [&](const Rows& rows) {
        for (auto row = static_cast<int>(rows.begin()); row != static_cast<int>(rows.end()); ++row) {
            for (int column = 0; column < width; ++column) {
                const nox::Place<float> place = own(row, column);
                X0.ptr<float>(row)[column] = place.x;
                Y0.ptr<float>(row)[column] = place.y;
            }
        }
    });
    const Planes canvas{X, Y, Z};
    movePlaces(canvas, floatPose(pose), 0, canvas.columns(width), canvas.rows(height), own);
    return code::success;
}

long RangeToPlc_SIMD(NoxRangeImage& image, cv::Mat& pose, cv::Mat& X, cv::Mat& Y, cv::Mat& Z, float offsetX,
                     float offsetY, float resolutionX, float resolutionY, int startColumn, int width, int height)
{
    if (const long refused = refusalOf(image, pose)) return refused;
    width = std::clamp(width, 0, image.Width());
    height = std::clamp(height, 0, image.Height());
    const Planes canvas{X, Y, Z};
    if (!canvas.hold(startColumn, width, height)) return code::argument3;
    movePlaces(canvas, floatPose(pose), startColumn, width, height,
               ownPlaces(image, {resolutionX, resolutionY, offsetX, offsetY}));
    return code::success;
}

long RangeToPlcType1_OutPutMinBox(NoxRangeImage& image, cv::Mat& pose, cv::Mat& X, cv::Mat& Y, cv::Mat& Z,
                                  float parameter0, float parameter1, float parameter2, float parameter3,
                                  int startColumn, float* minX0, float* minY0, float* minX, float* minY)
{
    if (!isFloatPose(pose)) return code::poseShape;
    const int width = image.Width(), height = image.Height();
    const Planes canvas{X, Y, Z};
    if (!canvas.hold(startColumn, width, height)) return code::argument3;

    cv::Mat x0 = nox::newPlane(height, width, CV_32F);
    cv::Mat y0 = nox::newPlane(height, width, CV_32F);
    cv::Mat z0 = nox::newPlane(height, width, CV_32F);
    x0.setTo(0.0f);
    y0.setTo(0.0f);
    z0.setTo(nox::kNoHeight);
    nox::dispatch(image.DataType(), nox::Elements{}, [&](auto tag) {
        using T = typename decltype(tag)::type;
        const nox::PerspectivePlaces places =
            nox::perspectivePlaces<T>(image, parameter0, parameter1, parameter2, parameter3);
        const nox::PerspectiveInFloat& r = places.rule;
        nox::forRows(height, 0,
                     RangeImageToPointCloudTBB1<T>(width, r.scaleX, r.scaleY, r.resolutionZ, r.centreColumn,
                                                   r.centreRow, r.offsetZ, places.invalid, x0, y0, z0,
                                                   reinterpret_cast<const T*>(image.Data())));
    });
    movePlaces(canvas, floatPose(pose), startColumn, width, height, [&](int row, int column) {
        return nox::Place<float>{x0.ptr<float>(row)[column], y0.ptr<float>(row)[column], z0.ptr<float>(row)[column]};
    });

    const auto corner = [&](cv::Mat& x, cv::Mat& y, cv::Mat& z, float* toX, float* toY) {
        if (!toX && !toY) return;
        float smallestX = 0, smallestY = 0;
        BOX_MinXY_SIMD0(x, y, z, &smallestX, &smallestY, width, height);
        if (toX) *toX = smallestX;
        if (toY) *toY = smallestY;
    };
    corner(x0, y0, z0, minX0, minY0);
    corner(X, Y, Z, minX, minY);
    return code::success;
}

}  // namespace NOXEL

namespace nox {

bool mergeExceedsMemory(int rows, int columns)
{
    const int cpus = cv::getNumberOfCPUs();
    const int fromCpus = std::max(1, cpus < 5 ? cpus / 2 : 4);
    const int pieces = facadeConfig().tbb >= 1 ? facadeConfig().tbb : fromCpus;
    const float grids = static_cast<float>(static_cast<std::int64_t>(pieces) + 1);
    return exceedsMemory(grids * gridUnits(1, columns, rows));
}

}  // namespace nox
