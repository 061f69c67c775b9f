#include "posture/Posture.h"

#include <Nox3DAxisTransform.h>
#include <Nox3DDataConvert.h>
#include <NoxMatrix4.h>
#include <NoxResultCodes.h>
#include <PostureBodies.h>

#include "data/Checked.h"
#include "data/Memory.h"
#include "frame/Guards.h"
#include "posture/MemoryGuard.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace nox {

namespace {

namespace code = NOXEL::code;

const double* numbersOf(const NoxMatrix& pose) { return reinterpret_cast<const double*>(pose.MatrixData()); }

/// Poses relative to one of them: that one becomes the identity.
NoxMatrixArray relativeTo(const NoxMatrix& reference, const NoxMatrixArray& poses)
{
    cv::Mat inverse = newPlane(4, 4, CV_64F);
    cv::invert(reference.Matrix(), inverse, cv::DECOMP_LU);
    NoxMatrixArray relative;
    for (int i = 0; i < poses.Length(); ++i) {
        cv::Mat product = newPlane(4, 4, CV_64F);
        product = inverse * poses[i].Matrix();
        relative.Append(NoxMatrix(product));
    }
    return relative;
}

}  // namespace

long preparePosture(const NoxRangeImageArray& images, const NoxMatrixArray& poses, int referenceIndex,
                    PostureRequest* request, NoxMatrixArray* workingPoses)
{
    std::int64_t columns = 0;
    request->canvasRows = 0;
    for (int i = 0; i < images.Length(); ++i) {
        columns += images[i].Width();
        request->canvasRows = std::max(request->canvasRows, images[i].Height());
    }
    if (columns > std::numeric_limits<int>::max()) return code::postureMemory;
    request->canvasColumns = std::max(request->outputWidth, static_cast<int>(columns));
    if (exceedsMemory(gridUnits(images.Length() + 1, request->outputHeight, request->outputWidth)))
        return code::postureMemory;
    *workingPoses = referenceIndex > 0 ? relativeTo(poses[referenceIndex - 1], poses) : poses;
    return code::success;
}

long withFloatHeights(const NoxRangeImageArray& images, NoxRangeImageArray* floats)
{
    for (int i = 0; i < images.Length(); ++i) {
        NoxRangeImage image = images[i];
        if (image.DataType() != NoxDataType32F) {
            if (!memoryGrants(sizeof(float) * static_cast<std::uint64_t>(pixelCount(image))))
                return code::postureMemory;
            NoxRangeImage converted;
            const long failed = NOXEL::Nox3DDataConvert().RangeImageDataTypeConvert(image, &converted, NoxDataType32F);
            if (failed) return failed;
            image = converted;
        }
        floats->Append(image);
    }
    return code::success;
}

long refusalOfPoses(const NoxMatrixArray& poses, int n)
{
    if (poses.Length() == 0) return code::poseShape;
    if (poses.Length() != n) return code::poseCount;
    for (int i = 0; i < n; ++i) {
        const NoxMatrix pose = poses[i];
        if (pose.Rows() != 4 || pose.Cols() != 4 || pose.Matrix().type() != CV_64F) return code::poseShape;
    }
    return code::success;
}

bool areZero(const NoxMatrixArray& poses)
{
    for (int i = 0; i < poses.Length(); ++i) {
        const NoxMatrix pose = poses[i];
        if (!std::all_of(numbersOf(pose), numbersOf(pose) + 16, [](double v) { return v == 0.0; })) return false;
    }
    return true;
}

NoxMatrix levellingPose(Nox3DPlane& plane)
{
    const NoxVector3d n = plane.Normal();
    if (n.Z() < 0.0f) plane = Nox3DPlane(plane.Point(), NoxVector3d(-n.X(), -n.Y(), -n.Z()));

    const NOXEL::Nox3DAxisTransform axes;
    NoxMatrix4 transform;
    axes.VectorToDirectionZ(plane.Normal(), &transform);
    NoxVector3d angles, scale(1, 1, 1), translation;
    axes.GetRotateAnglesFromTransformMatrix4(transform, 0, &angles, &scale, &translation);
    axes.GenTransformMatrix(NoxVector3d(angles.X(), angles.Y(), 0.0f), 0, translation, &transform);

    const double* m = transform.Data();
    const NoxVector3d p = plane.Point();
    const double height = static_cast<double>(p.Y()) * m[9] + static_cast<double>(p.X()) * m[8] +
                          static_cast<double>(p.Z()) * m[10] + m[11];
    cv::Mat pose = newPlane(4, 4, CV_64F);
    std::copy_n(m, 16, pose.ptr<double>());
    pose.at<double>(0, 3) = 0.0;
    pose.at<double>(1, 3) = 0.0;
    pose.at<double>(2, 3) = -height;
    pose.at<double>(3, 3) = 1.0;
    return NoxMatrix(pose);
}

}  // namespace nox
