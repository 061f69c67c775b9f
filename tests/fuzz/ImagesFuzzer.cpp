// Any operation on range images, clouds and images of every type and size, with any arguments.

#include "tests/fuzz/Fuzz.h"

namespace {

using fuzz::Data;

/// All bytes of a matrix: the content, again and again.
void fill(const cv::Mat& mat, const std::vector<unsigned char>& content)
{
    const std::size_t bytes = mat.total() * mat.elemSize();
    for (std::size_t i = 0; i < bytes; ++i) mat.data[i] = content[i % content.size()];
}

NoxRangeImage rangeImage(Data& data, const std::vector<unsigned char>& content)
{
    const auto n = [&] { return fuzz::number(data); };
    NoxRangeImage range;
    range.SetSize(fuzz::integer(data), fuzz::integer(data), data.ConsumeIntegralInRange(0, 6));
    fill(range.Matrix(), content);
    range.SetType(data.ConsumeIntegralInRange(0, 2));
    if (data.ConsumeBool()) range.SetInfo(n(), n(), n(), n(), n(), n());
    NoxVarArray parameters;
    parameters.SetSize(6);
    for (int i = 0; i < 6; ++i) parameters[i] = data.ConsumeBool() ? 0.5 : n();
    range.SetInfo(parameters);
    if (data.ConsumeBool()) {
        const bool fits = data.ConsumeBool();
        range.SetColorSize(fits ? range.Width() : fuzz::integer(data), fits ? range.Height() : 1,
                           data.ConsumeIntegralInRange(1, 5));
        fill(range.ColorMatrix(), content);
    }
    return range;
}

NoxPointCloud pointCloud(Data& data, const std::vector<unsigned char>& content)
{
    NoxPointCloud cloud;
    auto points = fuzz::several<NoxVector3dArray>(data, fuzz::vector, 20);
    for (int i = data.ConsumeIntegralInRange(0, 60); i > 0; --i)
        points.Append({static_cast<float>(i % 7), static_cast<float>(i) * 0.3f, static_cast<float>(i % 5)});
    cloud.SetPoints(points);
    if (data.ConsumeBool()) {
        NoxColorArray colors;
        colors.Create(data.ConsumeBool() ? points.Length() : data.ConsumeIntegralInRange(0, 40),
                      data.ConsumeIntegralInRange(1, 5));
        fill(colors.Matrix(), content);
        cloud.SetColors(colors);
    }
    return cloud;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size)
{
    const fuzz::SmallMachine machine;
    Data data(bytes, size);
    try {
        auto content = data.ConsumeBytes<unsigned char>(data.ConsumeIntegralInRange<std::size_t>(0, 64));
        content.push_back(7);
        trust::Inputs in;
        trust::Outputs out;
        fuzz::numbers(data, in);
        in.range = rangeImage(data, content);
        in.cloud = pointCloud(data, content);
        in.image.SetSize(fuzz::integer(data), fuzz::integer(data), data.ConsumeIntegralInRange(0, 6),
                         data.ConsumeIntegralInRange(1, 10) > 9 ? 3 : 1);
        fill(in.image.Matrix(), content);
        in.ranges.Append(in.range);
        if (data.ConsumeBool()) in.ranges.Append(data.ConsumeBool() ? in.range : rangeImage(data, content));
        for (int i = in.ranges.Length() - data.ConsumeIntegralInRange(0, 1); i > 0; --i) {
            cv::Mat pose = cv::Mat::eye(4, data.ConsumeIntegralInRange(3, 10) == 3 ? 3 : 4, CV_64F);
            for (int k = data.ConsumeIntegralInRange(0, 4); k > 0; --k)
                pose.at<double>(data.ConsumeIntegralInRange(0, 11)) = fuzz::number(data);
            in.poses.Append(NoxMatrix(pose));
        }
        in.roi = fuzz::region(data);
        in.plane = Nox3DPlane(fuzz::vector(data), fuzz::vector(data));
        if (data.ConsumeBool()) in.direction = fuzz::vector(data);
        if (data.ConsumeBool()) in.pose.Data()[data.ConsumeIntegralInRange(0, 15)] = fuzz::number(data);
        if (data.ConsumeBool()) out.range = in.range;  // results that are their own source
        if (data.ConsumeBool()) out.image.SetMatrix(in.range.Matrix());
        if (data.ConsumeBool()) out.range.SetMatrix(in.image.Matrix());
        fuzz::call(data, in, out);
    } catch (const std::exception&) {
        // the containers themselves could not be had
    }
    return 0;
}
