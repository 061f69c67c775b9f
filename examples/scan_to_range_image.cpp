// A laser scan becomes a range image, and the range image a cloud again.
// Usage: scan_to_range_image <scan.pcd> <output folder>

#include <Nox3DDataConvert.h>

#include <cstdio>
#include <exception>
#include <filesystem>

#include "support/Files.h"
#include "support/Measure.h"
#include "support/Pictures.h"

namespace {

void run(const std::filesystem::path& scan, const std::filesystem::path& out)
{
    NoxPointCloud cloud;
    const double reading = example::milliseconds([&] { cloud = example::readPcd(scan).cloud(); });

    // The scanner stands at the origin and looks along -z, so the grid that it needs lies in its own x and y: no turn.
    NoxMatrix4 pose(1, 0, 0, 0,  //
                    0, 1, 0, 0,  //
                    0, 0, 1, 0,  //
                    0, 0, 0, 1);
    const double resolution = 0.003;  // metres, as the scan

    NOXEL::Nox3DDataConvert convert;
    NoxRangeImage image;
    const double forth = example::milliseconds(
        [&] { example::require(convert.PointCloudToRangeImage(cloud, &image, pose, resolution, resolution)); });

    NoxPointCloud returned;
    const double back =
        example::milliseconds([&] { example::require(convert.RangeImageToPointCloud(image, &returned)); });

    const double step = 2e-5;
    example::writePicture(out / "scan_heights.png", example::drawHeights(image, "height [m]"));
    const double lowest = example::writeHeights16(out / "scan_heights_16bit.png", image, step);
    example::writePly(out / "scan_returned.ply", returned);
    const example::View view = example::viewFrom({0.008, 0.877, 0.480}, {0, 0, 1}, 25, 25);  // the floor's normal is up
    example::writePicture(out / "scan_cloud.png", example::drawCloud(returned, view, 3, 600));

    const int cells = image.Width() * image.Height(), valid = example::countValid(image);
    const std::vector<float> distance = example::distances(returned, cloud);
    std::printf("points in                    %d\n", cloud.Length());
    std::printf("grid                         %d x %d cells of %g mm\n", image.Width(), image.Height(),
                1e3 * resolution);
    std::printf("cells with a height          %d (%.1f %%)\n", valid, 100.0 * valid / cells);
    std::printf("points back                  %d\n", returned.Length());
    std::printf("read the file                %8.1f ms\n", reading);
    std::printf("PointCloudToRangeImage       %8.1f ms\n", forth);
    std::printf("RangeImageToPointCloud       %8.1f ms\n", back);
    std::printf("from a point back to the nearest point in: median %.2f mm, 99 %% below %.2f mm\n",
                1e3 * static_cast<double>(example::quantile(distance, 0.5)),
                1e3 * static_cast<double>(example::quantile(distance, 0.99)));
    std::printf("16-bit picture: height = %.5f m + (gray - 1) x %g mm, gray 0 is none\n", lowest, 1e3 * step);
}

}  // namespace

int main(int count, char** arguments)
{
    if (count != 3) {
        std::fprintf(stderr, "usage: scan_to_range_image <scan.pcd> <output folder>\n");
        return 2;
    }
    try {
        run(arguments[1], arguments[2]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "scan_to_range_image: %s\n", error.what());
        return 1;
    }
    return 0;
}
