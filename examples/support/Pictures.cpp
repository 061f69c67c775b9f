#include "Pictures.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <vector>

namespace example {

namespace {

const cv::Scalar kBackground(24, 20, 18), kInk(225, 225, 225);  // blue, green, red, as OpenCV's pictures have them

/// 255 where there is a number.
cv::Mat valid(const cv::Mat& values) { return values == values; }

/// The colour map over [low, high]; the background where the value is NaN.
cv::Mat colors(const cv::Mat& values, double low, double high)
{
    cv::Mat gray, picture;
    values.convertTo(gray, CV_8U, 255.0 / (high - low), -255.0 * low / (high - low));
    cv::applyColorMap(gray, picture, cv::COLORMAP_TURBO);
    picture.setTo(kBackground, ~valid(values));
    return picture;
}

/// The largest of 1, 2, 5 times a power of ten that is not above the limit.
double roundLength(double limit)
{
    const double power = std::pow(10.0, std::floor(std::log10(limit)));
    for (const double digit : {5.0, 2.0}) {
        if (digit * power <= limit) return digit * power;
    }
    return power;
}

void write(const cv::Mat& picture, const char* format, double number, cv::Point place)
{
    char text[64];
    std::snprintf(text, sizeof text, format, number);
    cv::putText(picture, text, place, cv::FONT_HERSHEY_SIMPLEX, 0.4, kInk, 1, cv::LINE_AA);
}

}  // namespace

NoxRangeImage readTerrain(const std::filesystem::path& path)
{
    const cv::Mat grays = cv::imread(path.string(), cv::IMREAD_UNCHANGED);
    if (grays.type() != CV_16UC1) throw std::runtime_error(path.string() + ": not a 16-bit gray picture");
    NoxRangeImage image;
    image.SetMatrix(grays);
    image.SetInfo(1.0, 1000.0, 74.4, 0.0, 92.7, 0.0);  // gray 1000 is 0 m; 3 seconds of arc are narrower along a row
    return image;
}

cv::Mat heights(const NoxRangeImage& image)
{
    const bool isFloat = image.DataType() == NoxDataType32F;
    if (!isFloat && image.DataType() != NoxDataType16U) throw std::runtime_error("heights of another element type");
    const double resolution = image.Type() == 1 ? image.GetParaValue(4).D() : image.ResolutionZ();
    const double offset = image.Type() == 1 ? image.GetParaValue(5).D() : image.OffsetZ();
    const cv::Mat& values = image.Matrix();
    cv::Mat result;
    if (isFloat)
        values.copyTo(result);
    else
        values.convertTo(result, CV_32F, resolution, -offset * resolution);
    result.setTo(std::numeric_limits<float>::quiet_NaN(),
                 values == (isFloat ? double(std::numeric_limits<float>::lowest()) : 0.0));
    return result;
}

int countValid(const NoxRangeImage& image) { return cv::countNonZero(valid(heights(image))); }

cv::Mat drawHeights(const NoxRangeImage& image, const char* caption)
{
    cv::Mat values = heights(image);
    if (image.Type() == 0) cv::rotate(values, values, cv::ROTATE_90_COUNTERCLOCKWISE);
    double low = 0.0, high = 0.0;
    cv::minMaxLoc(values, &low, &high, nullptr, nullptr, valid(values));

    const int margin = 12, panel = 92, barWidth = 16;
    const cv::Size grid = values.size();
    const int strip = image.Type() == 0 ? 28 : 0;
    cv::Mat picture(grid.height + 2 * margin + strip, grid.width + 2 * margin + panel, CV_8UC3, kBackground);
    colors(values, low, high).copyTo(picture(cv::Rect({margin, margin}, grid)));

    // The bar of colours: its top is the greatest height.
    const int left = margin + grid.width + margin, top = margin + 24, length = grid.height - 32;
    cv::Mat ramp(length, barWidth, CV_32F);
    for (int y = 0; y < length; ++y) ramp.row(y) = static_cast<float>(length - 1 - y) / static_cast<float>(length - 1);
    colors(ramp, 0.0, 1.0).copyTo(picture(cv::Rect({left, top}, ramp.size())));
    cv::putText(picture, caption, {left, margin + 10}, cv::FONT_HERSHEY_SIMPLEX, 0.4, kInk, 1, cv::LINE_AA);
    const double tick = roundLength((high - low) / 4);
    for (double z = std::ceil(low / tick) * tick; z <= high; z += tick) {
        const int y = top + cvRound((high - z) / (high - low) * (length - 1));
        cv::line(picture, {left + barWidth, y}, {left + barWidth + 4, y}, kInk);
        write(picture, "%.2f", std::abs(z) < tick / 2 ? 0.0 : z, {left + barWidth + 8, y + 4});
    }

    if (image.Type() == 0) {  // cells are of one size all over the picture
        const double metres = roundLength(grid.width * image.ResolutionY() / 4);
        const int y = margin + grid.height + strip, bar = cvRound(metres / image.ResolutionY());
        cv::line(picture, {margin, y}, {margin + bar, y}, kInk, 2);
        write(picture, "%g m", metres, {margin, y - 8});
    }
    return picture;
}

double writeHeights16(const std::filesystem::path& path, const NoxRangeImage& image, double step)
{
    const cv::Mat values = heights(image);
    double low = 0.0;
    cv::minMaxLoc(values, &low, nullptr, nullptr, nullptr, valid(values));
    cv::Mat gray;
    values.convertTo(gray, CV_16U, 1.0 / step, 1.0 - low / step);
    gray.setTo(0, ~valid(values));
    writePicture(path, gray);
    return low;
}

View viewFrom(const cv::Vec3d& up, const cv::Vec3d& front, double turn, double climb)
{
    const double t = turn * CV_PI / 180.0, c = climb * CV_PI / 180.0;
    const cv::Vec3d axis = cv::normalize(up), level = cv::normalize(front - axis * axis.dot(front));
    const cv::Vec3d side = std::cos(t) * level + std::sin(t) * axis.cross(level);
    const cv::Vec3d right = axis.cross(side), toViewer = std::cos(c) * side + std::sin(c) * axis;
    return {right, toViewer.cross(right), toViewer};
}

cv::Mat drawCloud(const NoxPointCloud& cloud, const View& view, double distance, int width)
{
    const int count = cloud.Length();
    const float* points = cloud.PointData();
    const NoxColorArray colorArray = cloud.DeepCopyColors();
    const int channels = colorArray.Channel();

    // Every point in the viewer's axes: right, up, near.
    std::vector<cv::Vec3d> seen(static_cast<std::size_t>(count));
    cv::Mat z(count, 1, CV_32F);
    for (int i = 0; i < count; ++i) {
        const cv::Vec3d p(points[3 * i], points[3 * i + 1], points[3 * i + 2]);
        seen[static_cast<std::size_t>(i)] = {view.right.dot(p), view.up.dot(p), view.toViewer.dot(p)};
        z.at<float>(i) = points[3 * i + 2];
    }
    const auto [farthest, nearest] = std::minmax_element(
        seen.begin(), seen.end(), [](const cv::Vec3d& a, const cv::Vec3d& b) { return a[2] < b[2]; });
    const double eye = (*nearest)[2] + distance * ((*nearest)[2] - (*farthest)[2]);
    cv::Vec2d low = cv::Vec2d::all(1e30), high = cv::Vec2d::all(-1e30);
    for (cv::Vec3d& q : seen) {
        q[0] /= eye - q[2];
        q[1] /= eye - q[2];
        for (int k = 0; k < 2; ++k) {
            low[k] = std::min(low[k], q[k]);
            high[k] = std::max(high[k], q[k]);
        }
    }
    cv::Mat byHeight;
    if (!cloud.IsValidColor()) {
        double lowest = 0.0, highest = 0.0;
        cv::minMaxLoc(z, &lowest, &highest);
        byHeight = colors(z, lowest, highest);
    }

    // Twice the size, every point a square, the nearest one wins; then half the size, which smooths the edges.
    const int border = 24, dot = 1;
    const double scale = (2 * width - 2 * border) / (high[0] - low[0]);
    const int rows = (cvCeil(scale * (high[1] - low[1])) + 2 * border + 1) / 2 * 2;
    cv::Mat picture(rows, 2 * width, CV_8UC3, kBackground), front(picture.size(), CV_64F, -1e30);
    for (int i = 0; i < count; ++i) {
        const cv::Vec3d& q = seen[static_cast<std::size_t>(i)];
        const int column = border + cvRound(scale * (q[0] - low[0])), row = border + cvRound(scale * (high[1] - q[1]));
        const unsigned char* rgb = colorArray.Data() + static_cast<std::ptrdiff_t>(i) * channels;
        const cv::Vec3b color = byHeight.empty() ? cv::Vec3b(rgb[2], rgb[1], rgb[0]) : byHeight.at<cv::Vec3b>(i);
        for (int r = row - dot; r <= row + dot; ++r) {
            for (int c = column - dot; c <= column + dot; ++c) {
                if (q[2] <= front.at<double>(r, c)) continue;
                front.at<double>(r, c) = q[2];
                picture.at<cv::Vec3b>(r, c) = color;
            }
        }
    }
    cv::resize(picture, picture, {}, 0.5, 0.5, cv::INTER_AREA);
    return picture;
}

void writePicture(const std::filesystem::path& path, const cv::Mat& picture)
{
    if (!cv::imwrite(path.string(), picture, {cv::IMWRITE_PNG_COMPRESSION, 9})) {
        throw std::runtime_error(path.string() + ": cannot be written");
    }
}

}  // namespace example
