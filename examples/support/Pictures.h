#pragma once

#include <NoxPointCloud.h>
#include <NoxRangeImage.h>

#include <filesystem>
#include <opencv2/core.hpp>

namespace example {

/// The landscape of examples/data: 16-bit heights in metres, rows from north to south, columns from west to east.
/// @throws std::runtime_error for a file that is no 16-bit gray picture
NoxRangeImage readTerrain(const std::filesystem::path& path);

/// The heights in units of the points, NaN where there is none. Float or unsigned 16-bit images.
cv::Mat heights(const NoxRangeImage& image);

/// Number of pixels with a height.
int countValid(const NoxRangeImage& image);

/// The heights through a colour map, with a bar that tells metres from colours, and for type 0 a bar of a round length.
/// World x runs to the right: an image of type 0, whose rows run along x, is drawn turned a quarter to the left.
cv::Mat drawHeights(const NoxRangeImage& image, const char* caption);

/// A 16-bit picture in the layout of the image: gray = 1 + (height - lowest) / step, 0 where there is no height.
/// @return the lowest height
double writeHeights16(const std::filesystem::path& path, const NoxRangeImage& image, double step);

/// Where a cloud is looked at from: three directions of length 1, square to each other.
struct View
{
    cv::Vec3d right, up, toViewer;
};

/// From the side `front`, level where `up` is up, then walked round by `turn` and climbed by `climb` (degrees).
View viewFrom(const cv::Vec3d& up, const cv::Vec3d& front, double turn, double climb);

/// The points as they look from `distance` times the depth of the cloud in front of it, in their colours, or without
/// colours by their height.
cv::Mat drawCloud(const NoxPointCloud& cloud, const View& view, double distance, int width);

/// @throws std::runtime_error when the file cannot be written
void writePicture(const std::filesystem::path& path, const cv::Mat& picture);

}  // namespace example
