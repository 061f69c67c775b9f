// Made the two pictures in examples/data/ from the point cloud of a depth camera (see the README there).
// Usage: pack_depth_frame <frame.pcd> <depth.png> <color.png>

#include <cmath>
#include <cstdio>
#include <exception>
#include <stdexcept>

#include "support/Files.h"
#include "support/Pictures.h"

namespace {

void run(const char* frame, const char* depthFile, const char* colorFile)
{
    const example::Pcd pcd = example::readPcd(frame);
    const std::vector<float> x = pcd.floats("x"), y = pcd.floats("y"), z = pcd.floats("z");
    const std::vector<std::uint32_t>& rgb = pcd.fields.at("rgba");

    cv::Mat depth(pcd.height, pcd.width, CV_16U), color(pcd.height, pcd.width, CV_8UC3);
    for (int row = 0; row < pcd.height; ++row) {
        for (int column = 0; column < pcd.width; ++column) {
            const std::size_t i =
                static_cast<std::size_t>(row) * static_cast<std::size_t>(pcd.width) + static_cast<std::size_t>(column);
            color.at<cv::Vec3b>(row, column) =
                cv::Vec3b(static_cast<unsigned char>(rgb[i]), static_cast<unsigned char>(rgb[i] >> 8),
                          static_cast<unsigned char>(rgb[i] >> 16));
            depth.at<unsigned short>(row, column) = 0;
            if (std::isnan(z[i])) continue;

            // The file has y upwards and looks along -z. Nothing may be lost by whole millimetres and the pinhole.
            const double metres = -static_cast<double>(z[i]), millimetres = std::round(1e3 * metres);
            if (std::abs(metres - 1e-3 * millimetres) > 1e-6 ||
                std::abs(static_cast<double>(x[i]) - (column - 319.5) * metres / 525.0) > 1e-6 ||
                std::abs(static_cast<double>(y[i]) + (row - 239.5) * metres / 525.0) > 1e-6)
            {
                throw std::runtime_error("not a pinhole frame in whole millimetres");
            }
            depth.at<unsigned short>(row, column) = static_cast<unsigned short>(millimetres);
        }
    }
    example::writePicture(depthFile, depth);
    example::writePicture(colorFile, color);
}

}  // namespace

int main(int count, char** arguments)
{
    if (count != 4) {
        std::fprintf(stderr, "usage: pack_depth_frame <frame.pcd> <depth.png> <color.png>\n");
        return 2;
    }
    try {
        run(arguments[1], arguments[2], arguments[3]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "pack_depth_frame: %s\n", error.what());
        return 1;
    }
    return 0;
}
