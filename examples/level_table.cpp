// A scan of a table that leans away from the scanner is levelled: heights count from the table's top afterwards.
// Usage: level_table <scan.pcd> <output folder>

#include <Nox3DDataConvert.h>

#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <limits>
#include <opencv2/core.hpp>

#include "support/Files.h"
#include "support/Measure.h"
#include "support/Pictures.h"

namespace {

/// The plane of the table's top: fitted to a part of it that is known, then again and again to all that lies within a
/// centimetre.
Nox3DPlane tableTop(const NoxPointCloud& points)
{
    Nox3DPlane plane = example::fitPlane(example::select(
        points, [](const NoxVector3d& p) { return std::abs(p.X()) < 0.2f && std::abs(p.Y() - 0.1f) < 0.1f; }));
    for (int i = 0; i < 8; ++i) {
        plane = example::fitPlane(example::select(
            points, [&](const NoxVector3d& p) { return std::abs(example::distance(plane, p)) < 0.01; }));
    }
    return plane;
}

/// Seen from above, the floor and the legs would fall into the cells of the table: they go.
void removeBelow(NoxRangeImage* image, const Nox3DPlane& plane, double lowest)
{
    for (int row = 0; row < image->Height(); ++row) {
        float* z = image->Matrix().ptr<float>(row);
        for (int column = 0; column < image->Width(); ++column) {
            const NoxVector3d point(static_cast<float>((row - image->OffsetY()) * image->ResolutionY()),
                                    static_cast<float>((column - image->OffsetX()) * image->ResolutionX()), z[column]);
            if (example::distance(plane, point) < lowest) z[column] = std::numeric_limits<float>::lowest();
        }
    }
}

void run(const std::filesystem::path& scan, const std::filesystem::path& out)
{
    NoxPointCloud cloud = example::readPcd(scan).cloud(), points, level;
    NoxMatrix4 pose(1, 0, 0, 0,  //
                    0, 1, 0, 0,  //
                    0, 0, 1, 0,  //
                    0, 0, 0, 1);
    NOXEL::Nox3DDataConvert convert;
    NoxRangeImage image, levelled;
    example::require(convert.PointCloudToRangeImage(cloud, &image, pose, 0.003, 0.003));
    example::require(convert.RangeImageToPointCloud(image, &points));

    Nox3DPlane plane = tableTop(points);
    removeBelow(&image, plane, -0.02);
    // The scan's lines lie 6 mm apart on the table; every point reaches two rows and columns of 5 mm, so none is empty.
    const double took = example::milliseconds([&] {
        example::require(convert.RangeImagePostureCorrect(image, &levelled, plane, 0.005f, 0.005f, 1, 0, image.Width(),
                                                          image.Height()));
    });
    example::require(convert.RangeImageToPointCloud(levelled, &level));

    const NoxPointCloud top = example::select(level, [](const NoxVector3d& p) { return std::abs(p.Z()) < 0.01f; });
    const Nox3DPlane rest = example::fitPlane(top);
    double squares = 0;
    for (int i = 0; i < top.Length(); ++i) {
        const float* p = top.PointData() + 3 * i;
        squares += std::pow(example::distance(rest, NoxVector3d(p[0], p[1], p[2])), 2);
    }
    const auto tilt = [](const Nox3DPlane& p) {
        return std::atan2(std::hypot(p.Normal().X(), p.Normal().Y()), std::abs(p.Normal().Z())) * 180 / CV_PI;
    };
    std::printf("the table's tilt to z        %.2f degrees before, %.4f degrees after\n", tilt(plane), tilt(rest));
    std::printf("cells of the table top       %d, heights %+.2f mm on the mean, noise %.2f mm\n", top.Length(),
                1e3 * static_cast<double>(rest.Point().Z()), 1e3 * std::sqrt(squares / top.Length()));
    std::printf("RangeImagePostureCorrect     %8.1f ms\n", took);

    example::writePicture(out / "table_before.png", example::drawHeights(image, "height [m]"));
    example::writePicture(out / "table_level.png", example::drawHeights(levelled, "height [m]"));
}

}  // namespace

int main(int count, char** arguments)
{
    if (count != 3) {
        std::fprintf(stderr, "usage: level_table <scan.pcd> <output folder>\n");
        return 2;
    }
    try {
        run(arguments[1], arguments[2]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "level_table: %s\n", error.what());
        return 1;
    }
    return 0;
}
