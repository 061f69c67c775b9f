// Four overlapping strips of a scan, each seen from a place of its own, become one range image again.
// Usage: merge_strips <scan.pcd> <output folder>

#include <Nox3DDataConvert.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <opencv2/core.hpp>
#include <vector>

#include "support/Files.h"
#include "support/Measure.h"
#include "support/Pictures.h"

namespace {

constexpr double kResolution = 0.003;  // metres
constexpr int kStrips = 4;

NoxRangeImage rasterise(NoxPointCloud cloud)
{
    NoxMatrix4 pose(1, 0, 0, 0,  //
                    0, 1, 0, 0,  //
                    0, 0, 1, 0,  //
                    0, 0, 0, 1);
    NoxRangeImage image;
    example::require(NOXEL::Nox3DDataConvert().PointCloudToRangeImage(cloud, &image, pose, kResolution, kResolution));
    return image;
}

/// Where strip i was seen from: turned by some degrees about each axis, and moved.
cv::Matx44d place(int i)
{
    const double x = 0.05 * i, y = -0.03 * i, z = 0.1 * (i - 1);
    const cv::Matx33d about_x(1, 0, 0, 0, std::cos(x), -std::sin(x), 0, std::sin(x), std::cos(x));
    const cv::Matx33d about_y(std::cos(y), 0, std::sin(y), 0, 1, 0, -std::sin(y), 0, std::cos(y));
    const cv::Matx33d about_z(std::cos(z), -std::sin(z), 0, std::sin(z), std::cos(z), 0, 0, 0, 1);
    const cv::Matx33d turn = about_z * about_y * about_x;
    return {turn(0, 0), turn(0, 1), turn(0, 2), 0.4 * i,   //
            turn(1, 0), turn(1, 1), turn(1, 2), -0.3 * i,  //
            turn(2, 0), turn(2, 1), turn(2, 2), 0.2 * i,   //
            0,          0,          0,          1};
}

NoxPointCloud moved(const NoxPointCloud& cloud, const cv::Matx44d& pose)
{
    NoxVector3dArray points;
    points.SetSize(cloud.Length());
    for (int i = 0; i < cloud.Length(); ++i) {
        const float* p = cloud.PointData() + 3 * i;
        const cv::Vec4d q = pose * cv::Vec4d(p[0], p[1], p[2], 1);
        points.Replace(i, NoxVector3d(static_cast<float>(q[0]), static_cast<float>(q[1]), static_cast<float>(q[2])));
    }
    NoxPointCloud result;
    result.SetPoints(std::move(points));
    return result;
}

/// For every cell of `whole` the difference to the cell of `merged` at the same place, NaN where that one is empty.
std::vector<float> differences(const NoxRangeImage& whole, const NoxRangeImage& merged, int* holes)
{
    const cv::Mat mine = example::heights(whole), theirs = example::heights(merged);
    std::vector<float> result;
    *holes = 0;
    for (int row = 0; row < mine.rows; ++row) {
        for (int column = 0; column < mine.cols; ++column) {
            const float z = mine.at<float>(row, column);
            if (std::isnan(z)) continue;
            const double x = (row - whole.OffsetY()) * whole.ResolutionY();
            const double y = (column - whole.OffsetX()) * whole.ResolutionX();
            const int otherRow = cvRound(x / merged.ResolutionY() + merged.OffsetY());
            const int otherColumn = cvRound(y / merged.ResolutionX() + merged.OffsetX());
            const bool inside = cv::Rect({}, theirs.size()).contains({otherColumn, otherRow});
            const float other = inside ? theirs.at<float>(otherRow, otherColumn) : std::nanf("");
            if (std::isnan(other))
                ++*holes;
            else
                result.push_back(std::abs(other - z));
        }
    }
    std::sort(result.begin(), result.end());
    return result;
}

void run(const std::filesystem::path& scan, const std::filesystem::path& out)
{
    const NoxPointCloud cloud = example::readPcd(scan).cloud();
    NoxRangeImage whole = rasterise(cloud);

    NoxRangeImageArray strips;
    NoxMatrixArray poses;
    const double first = -whole.OffsetY() * whole.ResolutionY();  // x of the first row
    const double length = whole.Height() * whole.ResolutionY(), overlap = 0.05;
    for (int i = 0; i < kStrips; ++i) {
        const double from = first + length * i / kStrips - overlap, to = first + length * (i + 1) / kStrips + overlap;
        const NoxPointCloud strip =
            example::select(cloud, [&](const NoxVector3d& p) { return p.X() >= from && p.X() <= to; });
        strips.Append(rasterise(moved(strip, place(i))));
        poses.Append(NoxMatrix(cv::Mat(place(i).inv())));
    }

    NoxRangeImage merged;
    const double took = example::milliseconds([&] {
        example::require(NOXEL::Nox3DDataConvert().RangeImagePostureCorrect(
            strips, poses, 0, static_cast<float>(kResolution), static_cast<float>(kResolution), 1, 0, whole.Width(),
            whole.Height(), &merged));
    });

    int holes = 0;
    const std::vector<float> off = differences(whole, merged, &holes);
    const int cells = example::countValid(whole);
    std::printf("strips                       %d, each turned and moved\n", strips.Length());
    std::printf("cells of the whole scan      %d, of which the merged image lacks %d (%.2f %%)\n", cells, holes,
                100.0 * holes / cells);
    std::printf("heights differ by            median %.2f mm, 99 %% below %.2f mm\n",
                1e3 * static_cast<double>(example::quantile(off, 0.5)),
                1e3 * static_cast<double>(example::quantile(off, 0.99)));
    std::printf("RangeImagePostureCorrect     %8.1f ms\n", took);

    for (int i = 0; i < kStrips; ++i)
        example::writePicture(out / ("strip_" + std::to_string(i + 1) + ".png"),
                              example::drawHeights(strips[i], "height [m]"));
    example::writePicture(out / "strips_merged.png", example::drawHeights(merged, "height [m]"));
}

}  // namespace

int main(int count, char** arguments)
{
    if (count != 3) {
        std::fprintf(stderr, "usage: merge_strips <scan.pcd> <output folder>\n");
        return 2;
    }
    try {
        run(arguments[1], arguments[2]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "merge_strips: %s\n", error.what());
        return 1;
    }
    return 0;
}
