#include <Nox3DDataConvert.h>
#include <Nox3DUtil.h>
#include <RangeToCloudBodies.h>

#include <oneapi/tbb/parallel_for.h>

#include <cstddef>
#include <cstdio>
#include <limits>

#ifdef __AVX__
#error "the library's instruction set must not reach the programs that use it"
#endif

namespace {

int failures = 0;

void expect(bool holds, const char* what)
{
    if (holds) return;
    std::printf("wrong: %s\n", what);
    ++failures;
}

/// Every row and every column lies more than the blending height above the one before: a cell keeps its own point.
constexpr int width = 4, height = 3;
NoxVector3d point(int row, int column)
{
    return {10.0f + 0.25f * static_cast<float>(row), -2.0f + 0.5f * static_cast<float>(column),
            static_cast<float>(20 * row + 3 * column)};
}

}  // namespace

int main()
{
    NoxVector3dArray points;
    for (int row = 0; row < height; ++row)
        for (int column = 0; column < width; ++column) points.Append(point(row, column));
    NoxPointCloud cloud;
    cloud.SetPoints(points);

    const NOXEL::Nox3DUtil util;
    const Eigen::Matrix4d identity = Eigen::Matrix4d::Identity();
    NoxMatrix4 pose = util.FromEigen(identity);
    expect(util.ToEigen(pose) == identity, "a matrix that went to Eigen and back");

    NOXEL::Nox3DDataConvert convert;
    NoxRangeImage image;
    long result = convert.PointCloudToRangeImage(cloud, &image, pose, 0.5, 0.25);
    expect(result == NOXEL::code::success, NOXEL::NoxResultText(result));
    expect(image.Width() == width && image.Height() == height, "the grid's size");

    NoxPointCloud back;
    result = convert.RangeImageToPointCloud(image, &back);
    expect(result == NOXEL::code::success, NOXEL::NoxResultText(result));
    expect(back.Length() == width * height, "the number of points that came back");
    for (int i = 0; i < back.Length(); ++i) {
        const float* p = back.PointData() + 3 * i;
        expect(NoxVector3d(p[0], p[1], p[2]) == point(i / width, i % width), "a point that came back");
    }

    NoxVector3dArray own;
    own.SetSize(width * height);
    int count = 0;
    const NOXEL::RangeImageToPointCloudByTBB<float> body(
        width, 0.5f, 0.25f, static_cast<float>(image.OffsetX()), static_cast<float>(image.OffsetY()), 1.0f, 0.0f,
        std::numeric_limits<float>::lowest(), &count, &image.Matrix(), NoxDataType32F, &own);
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, height, height), body);
    expect(count == width * height && own[count - 1] == point(height - 1, width - 1), "a body in a loop of one's own");

    NoxPointCloud empty;
    result = convert.PointCloudToRangeImage(empty, &image, pose, 0.5, 0.25);
    expect(result == NOXEL::code::pointCloudEmpty, "the refusal of an empty cloud");
    std::printf("consumer: %d points there and back, %d failures; an empty cloud: %s\n", back.Length(), failures,
                NOXEL::NoxResultText(result));
    return failures == 0 ? 0 : 1;
}
