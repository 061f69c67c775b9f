// A colour depth frame, seen through a pinhole, becomes a coloured cloud.
// Usage: depth_frame_to_cloud <depth.png> <color.png> <output folder>

#include <Nox3DDataConvert.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <stdexcept>

#include "support/Files.h"
#include "support/Measure.h"
#include "support/Pictures.h"

namespace {

void run(const std::filesystem::path& depthFile, const std::filesystem::path& colorFile,
         const std::filesystem::path& out)
{
    const cv::Mat depth = cv::imread(depthFile.string(), cv::IMREAD_UNCHANGED);  // millimetres, 0 is none
    const cv::Mat color = cv::imread(colorFile.string(), cv::IMREAD_COLOR);      // blue, green, red
    if (depth.type() != CV_16UC1 || color.size() != depth.size()) throw std::runtime_error("not a depth frame");

    // A type 1 image: the pixels stay those of the camera, and 0 is what unsigned images call "no height" already.
    NoxRangeImage image;
    image.SetType(1);
    image.SetMatrix(depth);
    image.SetColorSize(depth.cols, depth.rows, 3);
    cv::Mat rgb(depth.rows, depth.cols, CV_8UC3, image.ColorData());
    cv::cvtColor(color, rgb, cv::COLOR_BGR2RGB);

    const double focalLength = 525.0;  // in pixels
    const double parameters[6] = {
        319.5,              // column and
        239.5,              // row of the optical centre
        1.0 / focalLength,  // x per column and
        1.0 / focalLength,  // y per row and unit of depth
        0.001,              // metres a millimetre
        0.0,                // depth that stands for 0 m
    };
    NoxVarArray info;
    info.SetSize(6);
    for (int i = 0; i < 6; ++i) info[i] = parameters[i];
    image.SetInfo(info);

    NoxPointCloud cloud;
    NOXEL::Nox3DDataConvert convert;
    const double took = example::milliseconds([&] { example::require(convert.RangeImageToPointCloud(image, &cloud)); });

    example::writePicture(out / "frame_depth.png", example::drawHeights(image, "depth [m]"));
    example::writePly(out / "frame_cloud.ply", cloud);
    const example::View view =
        example::viewFrom({0.006, -0.819, -0.574}, {0, 0, -1}, -18, 35);  // the floor's normal is up
    example::writePicture(out / "frame_cloud.png", example::drawCloud(cloud, view, 0.8, 480));

    const int pixels = image.Width() * image.Height();
    std::printf("grid                         %d x %d pixels\n", image.Width(), image.Height());
    std::printf("pixels with a depth          %d (%.1f %%)\n", example::countValid(image),
                100.0 * example::countValid(image) / pixels);
    std::printf("points                       %d, %s\n", cloud.Length(),
                cloud.IsValidColor() ? "coloured" : "no colours");
    std::printf("RangeImageToPointCloud       %8.1f ms\n", took);
}

}  // namespace

int main(int count, char** arguments)
{
    if (count != 4) {
        std::fprintf(stderr, "usage: depth_frame_to_cloud <depth.png> <color.png> <output folder>\n");
        return 2;
    }
    try {
        run(arguments[1], arguments[2], arguments[3]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "depth_frame_to_cloud: %s\n", error.what());
        return 1;
    }
    return 0;
}
