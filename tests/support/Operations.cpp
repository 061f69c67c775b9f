#include "tests/support/Operations.h"

#include <Nox3DSampling.h>
#include <NoxROIDataConvert.h>
#include <tbbComputing.h>

#include "data/ElementType.h"

#include <opencv2/core.hpp>

#include <cmath>
#include <limits>
#include <random>

namespace trust {

namespace {

namespace code = NOXEL::code;

NOXEL::Nox3DDataConvert& facade()
{
    static NOXEL::Nox3DDataConvert instance;
    return instance;
}

template <class T>
void fill(NoxRangeImage& range)
{
    std::mt19937 random(static_cast<unsigned>(range.Width() * 7 + range.DataType()));
    T* const heights = reinterpret_cast<T*>(range.Data());
    for (std::size_t i = 0; i < range.Matrix().total(); ++i) {
        const auto draw = random();
        heights[i] =
            static_cast<T>(40.0f + static_cast<float>(draw >> 25) * 0.37f + static_cast<float>(i % 97) * 0.25f);
        if (draw % 4 == 0) heights[i] = nox::Element<T>::invalid;
        if (!nox::isScaled<T> && draw % 32 == 1)
            heights[i] = draw % 64 == 1 ? std::numeric_limits<T>::quiet_NaN() : std::numeric_limits<T>::infinity();
    }
}

template <class T>
void append(Bytes& bytes, const T* data, std::size_t count)
{
    const auto* first = reinterpret_cast<const unsigned char*>(data);
    if (count > 0) bytes.insert(bytes.end(), first, first + count * sizeof(T));
}

void append(Bytes& bytes, const cv::Mat& mat)
{
    const int shape[] = {mat.rows, mat.cols, mat.type()};
    append(bytes, shape, 3);
    append(bytes, mat.data, mat.total() * mat.elemSize());
}

void append(Bytes& bytes, const NoxROI& roi)
{
    std::vector<NoxRun> runs;
    NOXEL::NoxROIDataConvert().ROItoRun(roi, &runs, 300, 200, nullptr);
    bytes.push_back(static_cast<unsigned char>(roi.ROIType()));
    append(bytes, runs.data(), runs.size());
}

/// The second case.
void enrich(Inputs& in, int width, int height)
{
    in.method = 1;
    in.samplingFactor = 2;
    in.range.SetType(1);
    in.range.SetColorSize(width, height, 3);
    NoxColorArray colors;
    colors.Create(width * height, 3);
    for (int i = 0; i < width * height * 3; ++i)
        in.range.ColorData()[i] = colors.Data()[i] = static_cast<unsigned char>(i * 5 + 1);
    in.cloud.SetColors(std::move(colors));

    NoxPointArray corners;
    for (int i = 0; i < 9; ++i) corners.Append({width * (i * 5 % 9) / 9.0, height * (i * i % 7) / 7.0});
    in.roi.GenPolygon(corners);
    in.shape.Gen3DBox({10, 20, 3}, {20, 30, 40}, {30, 20, 10});
}

}  // namespace

const std::vector<Operation>& operations()
{
    // clang-format off
    static const std::vector<Operation> table = {
        {"range image to cloud", [](Inputs& in, Outputs& out) {
             return facade().RangeImageToPointCloud(in.range, &out.cloud); }, {code::cloudSizingThrew}, true, true, 0},
        {"cloud to range image, size", [](Inputs& in, Outputs& out) {
             return facade().PointCloudToRangeImage(in.cloud, &out.range, in.pose, in.width, in.height); },
         {code::cloudToRangeThrew}, false, true, 0},
        {"cloud to range image, resolution", [](Inputs& in, Outputs& out) {
             return facade().PointCloudToRangeImage(in.cloud, &out.range, in.pose, in.resolutionX, in.resolutionY); },
         {code::cloudToRangeThrew}, false, true, 0},
        {"cloud to range image, direction", [](Inputs& in, Outputs& out) {
             return facade().PointCloudToRangeImage(in.cloud, &out.range, in.direction, in.resolutionX,
                 in.resolutionY); }, {code::cloudToRangeThrew}, false, true, 0},
        {"ordered cloud, method 0", [](Inputs& in, Outputs& out) {
             return facade().PointCloudToRangeImage(in.cloud, &out.range, 0, in.width, in.height, in.resolutionX,
                 in.resolutionY, in.offsetX, in.offsetY); }, {code::cloudToRangeThrew}, false, true, 4},
        {"ordered cloud, method 1", [](Inputs& in, Outputs& out) {
             return facade().PointCloudToRangeImage(in.cloud, &out.range, 1, in.width, in.height, in.resolutionX,
                 in.resolutionY, in.offsetX, in.offsetY); }, {code::cloudToRangeThrew}, false, true, 24},
        {"range image to image, stretch", [](Inputs& in, Outputs& out) {
             double* n = out.numbers;
             return facade().RangeImageToImage(in.range, in.roi, &out.image, in.imageType, in.background, n, n + 1,
                 n + 2, n + 3, n + 4, n + 5, n + 6, n + 7); }, {code::rangeToImageThrew}, false, true, 1},
        {"range image to image, band", [](Inputs& in, Outputs& out) {
             double* n = out.numbers;
             return facade().RangeImageToImage(in.range, in.roi, &out.image, in.imageType, in.background, in.plane,
                 in.low, in.high, in.lowGray, in.highGray, n, n + 1, n + 2, n + 3, n + 4, n + 5, n + 6, n + 7); },
         {code::rangeToImagePlaneThrew}, false, true, 1},
        {"range image to image, fixed", [](Inputs& in, Outputs& out) {
             double* n = out.numbers;
             return facade().RangeImageToImageAuto(in.range, &out.image, in.imageType, n, n + 1, n + 2, n + 3, n + 4,
                 n + 5); }, {code::rangeToImageThrew}, false, true, 1},
        {"range image to image, tiles", [](Inputs& in, Outputs& out) {
             return facade().RangeImageToImageByChunk(in.range, &out.image, in.imageType, in.tileWidth, in.tileHeight,
                 in.above, in.below); }, {code::rangeToImageThrew}, false, true, 1},
        {"image to range image, scale", [](Inputs& in, Outputs& out) {
             return facade().ImageToRangeImage(in.image, &out.range, in.dataType, in.grayScale, in.grayOffset,
                 in.resolutionX, in.offsetX, in.resolutionY, in.offsetY, in.resolutionZ, in.offsetZ); },
         {code::imageToRangeThrew}, false, true, 4},
        {"image to range image, fixed", [](Inputs& in, Outputs& out) {
             return facade().ImageToRangeImageAuto(in.image, &out.range, in.dataType == 1 ? 2 : in.dataType,
                 in.resolutionX, in.offsetX, in.resolutionY, in.offsetY, in.resolutionZ, in.offsetZ); },
         {code::imageToRangeAutoThrew}, false, true, 4},
        {"posture, plane", [](Inputs& in, Outputs& out) {
             return facade().RangeImagePostureCorrect(in.range, &out.range, in.plane, float(in.resolutionX),
                 float(in.resolutionY), in.samplingFactor, in.samplingMethod, in.width, in.height); },
         {code::postureThrew, code::mergeThrew, code::dataTypeConvertThrew}, false, false, 0},
        {"posture, poses", [](Inputs& in, Outputs& out) {
             return facade().RangeImagePostureCorrect(in.ranges, in.poses, in.method, float(in.resolutionX),
                 float(in.resolutionY), in.samplingFactor, in.samplingMethod, in.width, in.height, &out.range); },
         {code::postureThrew, code::mergeThrew, code::dataTypeConvertThrew}, false, false, 0},
        {"element type", [](Inputs& in, Outputs& out) {
             return facade().RangeImageDataTypeConvert(in.range, &out.range, in.newDataType); },
         {code::dataTypeConvertThrew}, false, true, 4},
        {"element type, in place", [](Inputs& in, Outputs& out) {
             NoxRangeImage image = in.range;
             const long result = facade().RangeImageDataTypeConvert(image, &image, in.newDataType);
             if (result == 0 || image.Data() != in.range.Data()) out.range = image;
             return result; }, {code::dataTypeConvertThrew}, false, true, 4},
        {"perspective to orthographic", [](Inputs& in, Outputs& out) {
             NoxRangeImage source = in.range;
             if (source.Type() == 0) source.SetType(1);
             return facade().RangeImageTypeConvert(source, &out.range, in.high, in.method); }, {}, true, true, 12},
        {"resampling", [](Inputs& in, Outputs& out) {
             return NOXEL::Nox3DSampling().Resample(in.range, &out.range, in.samplingMethod, in.width, in.height); },
         {}, true, true, 0},
        {"sum and extremes", [](Inputs& in, Outputs& out) {
             const int n = 3 * in.cloud.Length();
             float low = 0, high = 0;
             out.numbers[0] = NOXEL::tbbComputing().SumTBB(in.cloud.PointData(), n);
             NOXEL::tbbComputing().MinMaxTBB(in.cloud.PointData(), n, &low, &high);
             out.numbers[1] = low, out.numbers[2] = high, out.numbers[3] = 1;
             out.numbers[4] = NOXEL::tbbComputing().SumTBB(in.waves.data(), static_cast<int>(in.waves.size()));
             NOXEL::tbbComputing().AddTBB(&out.numbers[3], 1, 1e-17);
             return 0L; }, {}, false, true, 0},
        {"region to shape", [](Inputs& in, Outputs& out) {
             return facade().ROITo3DShape(in.roi, &out.shape, in.high, in.low, in.resolutionX, in.offsetX,
                 in.resolutionY, in.offsetY); }, {code::roiToShapeThrew}, false, true, 0},
        {"shape to region", [](Inputs& in, Outputs& out) {
             return facade().Nox3DShapeToROI(in.shape, &out.roi); }, {code::shapeToRoiThrew}, false, true, 0},
        {"region to runs", [](Inputs& in, Outputs& out) {
             return NOXEL::NoxROIDataConvert().ROItoRun(in.roi, &out.runs, in.width, in.height, nullptr); },
         {}, true, false, 0},
    };
    // clang-format on
    return table;
}

Inputs someInputs(int width, int height, int dataType, bool rich)
{
    Inputs in;
    in.dataType = dataType;
    in.newDataType = dataType == NoxDataType32F ? NoxDataType64F : NoxDataType32F;
    in.range.SetSize(width, height, dataType);
    in.range.SetInfo(0.5, 3.0, 2.0, -1.25, 0.7, 4.5);
    NoxVarArray parameters;
    parameters.SetSize(6);
    const double values[] = {width * 0.5, height * 0.45, 0.125, 0.375, 0.5, 3.0};
    for (int i = 0; i < 6; ++i) parameters[i] = values[i];
    in.range.SetInfo(parameters);
    nox::dispatch(dataType, nox::Elements{}, [&](auto tag) { fill<typename decltype(tag)::type>(in.range); });

    std::mt19937 random(static_cast<unsigned>(width));
    NoxVector3dArray points;
    points.SetSize(width * height);
    for (int i = 0; i < width * height; ++i) {
        const float noise = static_cast<float>(random() >> 24) / 256.0f;
        points[i] = {static_cast<float>(i / width) * 0.7f + noise, static_cast<float>(i % width) * 0.9f - noise,
                     30.0f * noise};
    }
    in.cloud.SetPoints(std::move(points));

    in.imageType = rich ? NoxImageType16U : NoxImageType8U;
    in.image.SetSize(width, height, in.imageType);
    for (std::size_t i = 0; i < in.image.Matrix().total() * in.image.Matrix().elemSize(); ++i)
        in.image.ImageData()[i] = static_cast<unsigned char>(random() >> 24);

    for (int i = 0; i < width * height; ++i) in.waves.push_back(std::sin(i) * std::exp2(i % 61));
    in.samplingMethod = (dataType + (rich ? 3 : 0)) % 5;
    in.plane = Nox3DPlane({1, 2, 20}, {0.01f, rich ? 0.0f : -0.02f, 1.0f});
    in.roi.GenCircle({width * 0.4, height * 0.6}, height * 0.35);
    in.shape.Gen3DSphere({1, 2, 3}, 20.0f);
    if (rich) enrich(in, width, height);
    for (const double shift : {0.0, 3.25}) {
        in.ranges.Append(in.range);
        const double pose[16] = {1, 0, 0.1, shift, 0, 1, 0, 2 * shift, -0.1, 0, 1, 4, 0, 0, 0, 1};
        in.poses.Append(NoxMatrix(cv::Mat(4, 4, CV_64F, const_cast<double*>(pose))));
    }
    return in;
}

Outputs someOutputs()
{
    Outputs out;
    const Inputs in = someInputs(3, 2, NoxDataType16S, true);
    out.range = in.range;
    out.cloud = in.cloud;
    out.image = in.image;
    return out;
}

Bytes bytesOf(const Outputs& out, bool numbers)
{
    Bytes bytes;
    append(bytes, out.range.Matrix());
    append(bytes, out.range.ColorMatrix());
    append(bytes, out.image.Matrix());
    append(bytes, out.cloud.PointData(), static_cast<std::size_t>(out.cloud.Length()) * 3);
    append(bytes, out.cloud.Colors().Matrix());
    append(bytes, out.runs.data(), out.runs.size());
    append(bytes, out.roi);
    NoxROI outline;
    Nox3DShape shape = out.shape;
    bytes.push_back(static_cast<unsigned char>(shape.ShapeType3D()));
    if (facade().Nox3DShapeToROI(shape, &outline) == 0) append(bytes, outline);
    if (!numbers) return bytes;
    const NoxRangeImage& r = out.range;
    const double grid[] = {r.ResolutionX(), r.ResolutionY(), r.ResolutionZ(), r.OffsetX(),
                           r.OffsetY(),     r.OffsetZ(),     double(r.Type())};
    append(bytes, grid, 7);
    append(bytes, out.numbers, 8);
    return bytes;
}

}  // namespace trust
