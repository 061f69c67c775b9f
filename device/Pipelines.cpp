#include "device/Pipelines.h"

#include <cstdint>
#include <cstdio>
#include <vector>

#include "data/Checked.h"
#include "data/ElementType.h"
#include "device/Session.h"
#include "frame/Guards.h"

namespace nox::device {

namespace {

constexpr float kInvalid = Element<float>::invalid;

std::uint64_t cellsOf(int width, int height) { return static_cast<std::uint64_t>(pixelCount(width, height)); }

/// Sums and weights of a grid.
struct SumGrid
{
    Buffer<float> sums;
    Buffer<float> weights;
    SumGrid(Session& device, std::uint64_t cells) : sums(device.sums<float>(cells)), weights(device.sums<float>(cells))
    {
    }
};

const float* heightsOf(const NoxRangeImage& image) { return reinterpret_cast<const float*>(image.Data()); }
float* heightsOf(NoxRangeImage& image) { return reinterpret_cast<float*>(image.Data()); }

/// The planes of a canvas that holds no point yet: heights of 0 are not summed.
class Canvas
{
    /// Turns an image's coordinates into rows and columns of the result.
    auto toPixels(const NoxRangeImage& image, int columnOffset) const
    {
        return kernel::NPclValToPixel(x_.get(), y_.get(), z_.get(), shift_.x, shift_.y, rowResolution_,
                                      columnResolution_, 0.0f, columnOffset, 0, image.Width(), image.Height(), columns_,
                                      0);
    }

    /// Places without a point are read as well, though what lies there does not count.
    Buffer<float> plane(bool covered) const
    {
        const std::uint64_t cells = cellsOf(columns_, rows_);
        return covered ? device_.allocate<float>(cells) : device_.zeros<float>(cells);
    }

public:
    /// @param covered  whether images will lie on all of it
    Canvas(Session& device, int columns, int rows, bool covered, float rowResolution, float columnResolution)
        : device_(device),
          columns_(columns),
          rows_(rows),
          rowResolution_(rowResolution),
          columnResolution_(columnResolution),
          x_(plane(covered)),
          y_(plane(covered)),
          z_(plane(covered))
    {
        if (device.code()) std::fprintf(stderr, "cuda_MallocXYZ:%s\n", device.errorText());
    }

    /// Lays the first image down and moves it by its pose; all images are then shifted so that its corner stands where
    /// it stood before.
    void placeFirst(const NoxRangeImage& image, const NoxMatrix& matrix)
    {
        const Shape pixels = Shape::pixels(image.Width(), image.Height());
        {
            const Buffer<const float> heights = input(image);
            const PixelGrid g = gridOf(image);
            device_.run(kernel::RangeToPcl0, pixels, heights.get(), x_.get(), y_.get(), z_.get(), g.offsetX, g.offsetY,
                        g.resolutionX, g.resolutionY, kNoPoint, kNoPoint, image.Width(), image.Height(), columns_, 0);
        }
        const Corner before = corner(kernel::NMinBoxXY_N0, image);
        const Pose p = poseOf(matrix);
        device_.run(kernel::PclCorrect0, pixels, x_.get(), y_.get(), z_.get(), p.m[0], p.m[1], p.m[2], p.m[3], p.m[4],
                    p.m[5], p.m[6], p.m[7], p.m[8], p.m[9], p.m[10], p.m[11], kNoPoint, image.Width(), image.Height(),
                    columns_, 0);
        const Corner after = corner(kernel::NMinBoxXY, image);
        shift_ = {after.x - before.x, after.y - before.y};
        device_.runTogether(pixels, toPixels(image, 0));
    }

    void placeNext(const NoxRangeImage& image, const NoxMatrix& matrix, int columnOffset)
    {
        const Buffer<const float> heights = input(image);
        const PixelGrid g = gridOf(image);
        const Pose p = poseOf(matrix);
        device_.runTogether(Shape::pixels(image.Width(), image.Height()),
                            kernel::NRangeToPcl(heights.get(), x_.get(), y_.get(), z_.get(), g.offsetX, g.offsetY,
                                                g.resolutionX, g.resolutionY, kNoPoint, kNoPoint, columnOffset, 0,
                                                image.Width(), image.Height(), columns_, 0),
                            kernel::NPclCorrect(x_.get(), y_.get(), z_.get(), p.m[0], p.m[1], p.m[2], p.m[3], p.m[4],
                                                p.m[5], p.m[6], p.m[7], p.m[8], p.m[9], p.m[10], p.m[11], kNoPoint,
                                                columnOffset, 0, image.Width(), image.Height(), columns_, 0),
                            toPixels(image, columnOffset));
    }

    SumGrid sums() const
    {
        SumGrid grid(device_, cellsOf(columns_, rows_));
        device_.run(kernel::NAddWeightSum, Shape::pixels(columns_, rows_), x_.get(), y_.get(), z_.get(), columns_,
                    rows_, grid.sums.get(), grid.weights.get());
        return grid;
    }

private:
    struct Corner
    {
        float x;
        float y;
    };

    Buffer<const float> input(const NoxRangeImage& image)
    {
        return device_.input(heightsOf(image), cellsOf(image.Width(), image.Height()));
    }

    static PixelGrid gridOf(const NoxRangeImage& image)
    {
        return {static_cast<float>(image.OffsetX()), static_cast<float>(image.OffsetY()),
                static_cast<float>(image.ResolutionX()), static_cast<float>(image.ResolutionY())};
    }

    static Pose poseOf(const NoxMatrix& matrix)
    {
        const auto* values = reinterpret_cast<const double*>(matrix.MatrixData());
        Pose pose;
        for (int i = 0; i < 12; ++i) pose.m[i] = static_cast<float>(values[i]);
        return pose;
    }

    /// The smallest X and Y of the first image. A corner at exactly 0 counts like any other.
    template <class MinBox>
    Corner corner(const MinBox& minBox, const NoxRangeImage& image)
    {
        const Shape line = Shape::line(pixelCount(image));
        const auto blocks = static_cast<std::uint64_t>(line.gridWidth);
        const Buffer<float> minX = device_.allocate<float>(blocks), minY = device_.allocate<float>(blocks);
        constexpr float zeroReplacement = 0.0f;
        device_.run(minBox, line, x_.get(), y_.get(), minX.get(), minY.get(), zeroReplacement, image.Width(),
                    image.Height(), columns_, 0);
        return {least(minX, blocks), least(minY, blocks)};
    }

    float least(const Buffer<float>& minima, std::uint64_t blocks)
    {
        std::vector<float> values(blocks, kNoPoint);
        device_.download(values.data(), minima, blocks);
        float result = kNoPoint;
        for (const float v : values) result = v < result ? v : result;
        return result;
    }

    Session& device_;
    int columns_;
    int rows_;
    float rowResolution_;
    float columnResolution_;
    Corner shift_{};
    Buffer<float> x_;
    Buffer<float> y_;
    Buffer<float> z_;
};

/// Whether the images lie side by side on the canvas; 0, or the code of the refusal.
long refusal(const NoxRangeImageArray& images, int canvasColumns, int canvasRows)
{
    std::int64_t columns = 0;
    bool fits = true;
    for (int k = 0; k < images.Length(); ++k) {
        if (pixelCount(images[k]) == 0) return NOXEL::code::rangeImageEmpty;
        columns += images[k].Width();
        fits = fits && columns <= canvasColumns && images[k].Height() <= canvasRows;
    }
    if (columns == 0) return NOXEL::code::rangeImageEmpty;
    return fits ? NOXEL::code::success : NOXEL::code::argument3;
}

/// Whether images that fit a canvas leave none of its cells free.
bool cover(const NoxRangeImageArray& images, int canvasColumns, int canvasRows)
{
    std::int64_t cells = 0;
    for (int k = 0; k < images.Length(); ++k) cells += pixelCount(images[k]);
    return cells == pixelCount(canvasColumns, canvasRows);
}

}  // namespace

long DevicePclToRange(const Runtime& runtime, const float* x, const float* y, const float* z, NoxRangeImage* image,
                      const unsigned char* colors, int channels, int n, int width, int height)
{
    Session device(runtime);
    const auto points = static_cast<std::uint64_t>(n);
    const std::uint64_t cells = cellsOf(width, height);
    const auto values = static_cast<std::uint64_t>(colors ? channels : 0);
    const SumGrid grid(device, cells);
    Buffer<float> colorSums = device.none<float>();
    if (colors) colorSums = device.sums<float>(cells * values);
    {
        const auto X = device.input(x, points), Y = device.input(y, points), Z = device.input(z, points);
        const Shape line = Shape::line(n);
        if (!colors) {
            device.run(kernel::AddWeightSum, line, X.get(), Y.get(), Z.get(), n, width, height, grid.sums.get(),
                       grid.weights.get());
        } else {
            const auto bytes = device.input(colors, points * values);
            if (channels == 1)
                device.run(kernel::AddWeightSumWithColor1, line, X.get(), Y.get(), Z.get(), bytes.get(), n, width,
                           height, grid.sums.get(), colorSums.get(), grid.weights.get());
            else
                device.run(kernel::AddWeightSumWithColor3, line, X.get(), Y.get(), Z.get(), bytes.get(), n, width,
                           height, channels, grid.sums.get(), colorSums.get(), grid.weights.get());
        }
    }
    const auto out = device.output(heightsOf(*image), cells);
    const Shape pixels = Shape::pixels(width, height);
    if (!colors) {
        device.run(kernel::WeightToFinalZ, pixels, grid.sums.get(), grid.weights.get(), kInvalid, width, height,
                   out.get());
        device.download(heightsOf(*image), out, cells);
        return device.code();
    }

    const auto outColors = device.output(image->ColorData(), cells * values);
    if (channels == 1)
        device.run(kernel::WeightToFinalZWithColor1, pixels, grid.sums.get(), colorSums.get(), grid.weights.get(),
                   kInvalid, width, height, out.get(), outColors.get());
    else
        device.run(kernel::WeightToFinalZWithColor3, pixels, grid.sums.get(), colorSums.get(), grid.weights.get(),
                   kInvalid, width, height, channels, out.get(), outColors.get());
    device.download(heightsOf(*image), out, cells);
    device.download(image->ColorData(), outColors, cells * values);
    return device.code();
}

long DeviceRangeMerge(const Runtime& runtime, const NoxRangeImageArray& images, const NoxMatrixArray& matrices,
                      float resolutionX, float resolutionY, int canvasColumns, int canvasRows, int outputWidth,
                      int outputHeight, NoxRangeImage* out)
{
    if (const long refused = refusal(images, canvasColumns, canvasRows)) return refused;
    Session device(runtime);
    const auto summed = [&] {
        Canvas canvas(device, canvasColumns, canvasRows, cover(images, canvasColumns, canvasRows), resolutionY,
                      resolutionX);
        canvas.placeFirst(images[0], matrices[0]);
        int columnOffset = 0;
        for (int k = 1; k < images.Length() && !device.code(); ++k) {
            columnOffset += images[k - 1].Width();
            canvas.placeNext(images[k], matrices[k], columnOffset);
        }
        return canvas.sums();
    };
    const SumGrid grid = summed();
    if (device.code()) return device.code();

    const std::uint64_t cells = cellsOf(outputWidth, outputHeight);
    if (!memoryGrants(cells * sizeof(float))) return NOXEL::code::deviceMemory;
    NoxRangeImage merged;
    merged.SetSize(outputWidth, outputHeight, NoxDataType32F);
    merged.SetInfo(1.0, 0.0, resolutionX, 0.0, resolutionY, 0.0);
    const auto heights = device.output(heightsOf(merged), cells);
    device.run(kernel::WeightToZS, Shape::pixels(outputWidth, outputHeight), grid.sums.get(), grid.weights.get(),
               kInvalid, canvasColumns, canvasRows, outputWidth, outputHeight, heights.get());
    device.download(heightsOf(merged), heights, cells);
    if (!device.code()) *out = merged;
    return device.code();
}

}  // namespace nox::device
