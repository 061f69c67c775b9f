// Regions drawn on a map are lifted to shapes in space, flat and with a height, and projected down again. The way back
// is not the inverse of the way up: some shapes come back turned, swapped, as another kind or not at all.
// Usage: region_to_shape <terrain.png> <output folder>

#include <Nox3DDataConvert.h>

#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "support/Measure.h"
#include "support/Pictures.h"

namespace {

/// The outline of a region in its own coordinates, empty for a kind that this program does not draw.
std::vector<NoxPoint> outline(const NoxROI& roi)
{
    std::vector<NoxPoint> points;
    NoxPoint centre;
    NoxPointArray corners;
    double a = 0, b = 0, angle = 0;
    const auto add = [&](double along, double across) {
        const double c = std::cos(angle * CV_PI / 180), s = std::sin(angle * CV_PI / 180);
        points.emplace_back(centre.X() + along * c + across * s, centre.Y() - along * s + across * c);
    };
    if (roi.GetPolygon(&corners)) {
        for (int i = 0; i < corners.Length(); ++i) points.push_back(corners[i]);
    } else if (roi.GetRect2(&centre, &a, &b, &angle)) {
        for (const int k : {0, 1, 2, 3}) add(k == 0 || k == 3 ? -a / 2 : a / 2, k < 2 ? -b / 2 : b / 2);
    } else if (roi.GetCircle(&centre, &a) || roi.GetEllipse(&centre, &a, &b, &angle)) {
        if (b == 0) b = a;
        for (int k = 0; k < 180; ++k) add(a * std::cos(k * CV_PI / 90), b * std::sin(k * CV_PI / 90));
    }
    return points;
}

/// Draws the outline of a region, one pixel of which is `unitX` by `unitY` of the region's units.
void draw(cv::Mat& picture, const NoxROI& roi, double unitX, double unitY, const cv::Scalar& color)
{
    std::vector<cv::Point> pixels;
    for (const NoxPoint& p : outline(roi)) pixels.emplace_back(cvRound(p.X() / unitX), cvRound(p.Y() / unitY));
    if (!pixels.empty()) cv::polylines(picture, pixels, true, color, 2, cv::LINE_AA);
}

std::string numbers(const NoxROI& roi)
{
    NoxPoint centre;
    NoxPointArray corners;
    double a = 0, b = 0, angle = 0;
    char text[120] = "another kind";
    if (roi.GetCircle(&centre, &a))
        std::snprintf(text, sizeof text, "circle at (%.0f, %.0f), radius %.0f", centre.X(), centre.Y(), a);
    else if (roi.GetEllipse(&centre, &a, &b, &angle))
        std::snprintf(text, sizeof text, "ellipse at (%.0f, %.0f), half axes %.0f and %.0f, %.0f degrees", centre.X(),
                      centre.Y(), a, b, angle);
    else if (roi.GetRect2(&centre, &a, &b, &angle))
        std::snprintf(text, sizeof text, "rectangle at (%.0f, %.0f), sides %.0f and %.0f, %.0f degrees", centre.X(),
                      centre.Y(), a, b, angle);
    else if (roi.GetPolygon(&corners))
        std::snprintf(text, sizeof text, "polygon of %d corners, the first (%.0f, %.0f)", corners.Length(),
                      corners[0].X(), corners[0].Y());
    return text;
}

void run(const std::filesystem::path& file, const std::filesystem::path& out)
{
    NoxRangeImage terrain = example::readTerrain(file);
    const double x = terrain.ResolutionX(), y = terrain.ResolutionY();
    NOXEL::Nox3DDataConvert convert;
    NoxROI all;
    NoxImage gray;
    example::require(convert.RangeImageToImage(terrain, all, &gray, NoxImageType8U, 0, nullptr, nullptr, nullptr,
                                               nullptr, nullptr, nullptr, nullptr, nullptr));
    cv::Mat picture;
    cv::cvtColor(gray.Matrix() * 0.7, picture, cv::COLOR_GRAY2BGR);

    NoxROI polygon, circle, ellipse, rectangle;
    NoxPointArray block;  // the highland between three faults
    for (const NoxPoint& p : {NoxPoint(133, 22), NoxPoint(225, 152), NoxPoint(398, 52), NoxPoint(398, 4)}) {
        block.Append(p);
    }
    polygon.GenPolygon(block);
    circle.GenCircle(NoxPoint(345, 215), 40);
    ellipse.GenEllipse(NoxPoint(190, 245), 80, 35, 30);
    rectangle.GenRect2(NoxPoint(80, 110), 110, 50, 20);

    const cv::Scalar drawn(60, 200, 255), flat(255, 190, 60), raised(160, 90, 255);  // blue, green, red
    std::printf("regions in pixels, what comes back in metres; a pixel is %g m wide and %g m high\n", x, y);
    for (NoxROI* roi : {&polygon, &circle, &ellipse, &rectangle}) {
        draw(picture, *roi, 1, 1, drawn);
        std::printf("%s\n", numbers(*roi).c_str());
        for (const bool isFlat : {true, false}) {
            Nox3DShape shape;
            NoxROI returned;
            example::require(convert.ROITo3DShape(*roi, &shape, isFlat ? 500 : 1100, isFlat ? 500 : 200, x, 0, y, 0));
            const long code = convert.Nox3DShapeToROI(shape, &returned);
            if (code == 0) draw(picture, returned, x, y, isFlat ? flat : raised);
            std::printf("    %s, shape kind %2d: %s\n", isFlat ? "flat" : "high", shape.ShapeType3D(),
                        code == 0 ? numbers(returned).c_str() : "has no way down");
        }
    }
    std::printf(
        "polygons come back as they were; a circle of pixels is round on the ground, not on the map;\n"
        "ellipses turn by a quarter; rectangles change sides; a box turns about the origin of the map\n");
    example::writePicture(out / "region_shapes.png", picture);
}

}  // namespace

int main(int count, char** arguments)
{
    if (count != 3) {
        std::fprintf(stderr, "usage: region_to_shape <terrain.png> <output folder>\n");
        return 2;
    }
    try {
        run(arguments[1], arguments[2]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "region_to_shape: %s\n", error.what());
        return 1;
    }
    return 0;
}
