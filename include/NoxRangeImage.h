#pragma once

#include <NoxColorArray.h>
#include <NoxDataType.h>
#include <NoxSharedMat.h>
#include <NoxVar.h>
#include <NoxVarArray.h>

/// A height map on a regular grid, with an optional colour plane.
///
/// Copies share pixels and colours: writing through `Data` or `ColorData` is seen by all sharers. Sizing one of them
/// gives it pixels of its own and leaves the others as they were.
///
/// `Type()` 0, orthographic: a pixel stands for the point
///   x = (row - OffsetY) * ResolutionY,  y = (column - OffsetX) * ResolutionX,
///   z = (value - OffsetZ) * ResolutionZ for the integer element types, the value itself for float and double.
/// World x comes from the row and world y from the column. Offsets X and Y are in pixels.
///
/// `Type()` 1, perspective: with the parameters p0 to p5 and z = (value - p5) * p4 for the integer element types, the
/// value itself for float and double,
///   x = (column - p0) * z * p2,  y = (row - p1) * z * p3.
///
/// A pixel that holds the invalid value of its element type (NoxDataType) carries no measurement.
/// Reading and copying one image from several threads at once is safe.
class NOX_EXPORT NoxRangeImage
{
public:
    /// An empty image: width and height 0, no colour plane, type 0, resolutions 1, offsets 0.
    NoxRangeImage() = default;

    /// An image with pixels and colours of its own.
    NoxRangeImage DeepCopy() const;

    /// A grid of that size and element type; the content is undefined. Type, info and parameters stay. A colour plane
    /// stays when it still fits the grid.
    /// @throws std::length_error for a negative or overflowing size, std::invalid_argument for a data type outside 0 to
    /// 6, std::bad_alloc; the image then as before
    void SetSize(int width, int height, int dataType);

    /// A colour plane of 8-bit elements; the byte of channel k of a pixel stands at (row * width + column) * channels +
    /// k. The content is undefined until written.
    /// @throws as SetSize; std::invalid_argument for channels outside 1 to 512
    void SetColorSize(int width, int height, int channels);

    /// Stores the six numbers of the grid.
    void SetInfo(double resolutionZ, double offsetZ, double resolutionX, double offsetX, double resolutionY,
                 double offsetY) noexcept;
    /// Stores the parameters of a type 1 image: columns and rows of the optical centre, x and y per step and unit of
    /// depth, height resolution, height offset. Of an array with fewer than six elements those that it has.
    void SetInfo(const NoxVarArray& parameters);
    /// The parameter of that index. @throws std::out_of_range outside 0 to 5
    NoxVar GetParaValue(int index) const;

    void SetType(int type) noexcept { type_ = type; }
    int Type() const noexcept { return type_; }

    int Width() const noexcept;
    int Height() const noexcept;
    /// A NoxDataType.
    int DataType() const noexcept;

    /// First element of the heights, rows without padding; null when the image is empty.
    unsigned char* Data() const noexcept;
    /// First byte of the colour plane, null when there is none.
    unsigned char* ColorData() const noexcept;
    /// The colours with bytes of their own, one a pixel in row-major order.
    NoxColorArray DeepCopyColors() const;

    double ResolutionX() const noexcept { return resolutionX_; }
    double ResolutionY() const noexcept { return resolutionY_; }
    double ResolutionZ() const noexcept { return resolutionZ_; }
    double OffsetX() const noexcept { return offsetX_; }
    double OffsetY() const noexcept { return offsetY_; }
    double OffsetZ() const noexcept { return offsetZ_; }

    /// Back to empty.
    void Clear() { *this = NoxRangeImage(); }

    /// The heights' storage itself; equal addresses tell that two images are one.
    cv::Mat& Matrix() const noexcept { return *mat_; }
    /// Shows the heights of `mat` (one channel) from now on; other sharers keep what they had. A colour plane stays
    /// when it still fits the grid. @throws std::bad_alloc, the image then as before
    void SetMatrix(const cv::Mat& mat);
    /// The colours' storage itself, an empty matrix when there are none.
    cv::Mat& ColorMatrix() const noexcept { return *colors_; }

private:
    bool colorsFit() const noexcept;

    NoxSharedMat mat_;  // first member: the layout is part of the interface
    NoxSharedMat colors_;
    int type_ = 0;
    double resolutionX_ = 1.0, offsetX_ = 0.0;
    double resolutionY_ = 1.0, offsetY_ = 0.0;
    double resolutionZ_ = 1.0, offsetZ_ = 0.0;
    NoxVar parameters_[6];
};
