#pragma once

#include <NoxExport.h>
#include <NoxMatrixArray.h>
#include <NoxRangeImage.h>
#include <NoxRangeImageArray.h>
#include <NoxVector3d.h>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/blocked_range2d.h>
#include <oneapi/tbb/parallel_reduce.h>
#include <opencv2/core/mat.hpp>

#include <cstddef>

// The stages of posture correction, and the loop bodies that go with them.
//
// The stages work on a canvas: three float planes X, Y, Z of one size that hold the points of all images, each image
// beside the one before. A cell is a point when |Z| < 1e8; cells without one hold 3.4028235e38 in X and Y and
// -3.4028235e38 in Z. The first coordinate becomes the output row and the second the output column. The library's own
// operations reckon the same points without a canvas.

namespace NOXEL {

/// Adds the points of canvas rows to sums and counts of the output grid. X holds the output row and Y the output
/// column; a point counts fully in the cell that its position truncates to and in those at the right, below and across.
///
/// Each body has grids of its own. Joined bodies add their grids, so under a parallel reduction the last bits depend on
/// how the range was cut.
/// @throws cv::Exception, std::bad_alloc when the grids can't be had
class NOX_EXPORT PclAddToRangeTBB
{
public:
    PclAddToRangeTBB(cv::Mat xPlane, cv::Mat yPlane, cv::Mat zPlane, int columns, int rows, int rowsOut,
                     int columnsOut);
    PclAddToRangeTBB(PclAddToRangeTBB& other, tbb::split);

    void operator()(const tbb::blocked_range<std::size_t>& rows);
    void join(const PclAddToRangeTBB& other) noexcept;
    /// Adds all canvas rows in their order and copies the grids out. @return 0
    int get(float* sumOut, float* countOut);

    int canvasColumns;
    int canvasRows;
    int outputRows;
    int outputColumns;
    cv::Mat x, y, z;
    cv::Mat sum, count;  ///< outputRows x outputColumns floats of this body
    float* sumData;
    float* countData;
};

/// The same into grids of the caller that split bodies share, so that only one may run at a time; `join` has nothing to
/// do.
class NOX_EXPORT PclAddToRangeTBB1
{
public:
    PclAddToRangeTBB1(cv::Mat xPlane, cv::Mat yPlane, cv::Mat zPlane, int columns, int rowsOut, int columnsOut,
                      float* sumGrid, float* countGrid);
    PclAddToRangeTBB1(PclAddToRangeTBB1& other, tbb::split);

    void operator()(const tbb::blocked_range<std::size_t>& rows);
    void join(const PclAddToRangeTBB1& other) noexcept;
    int get(float* sumOut, float* countOut);

    int canvasColumns;
    int outputRows;
    int outputColumns;
    cv::Mat x, y, z;
    float* sumData;
    float* countData;
};

/// Adds to each listed pixel the height of a plane above a reference, in the element type, integers truncated without
/// saturation: ((x - a.x) b.x + (y - a.y) b.y) / b.z - a.z + offset with x = column * ResolutionX + OffsetX and
/// y = row * ResolutionY + OffsetY of the source. Invalid pixels are raised as any other.
class NOX_EXPORT PlaneCorrectionTBB
{
public:
    /// @param indices  of pixels, row-major; one outside the image is passed over
    /// @param source   gives size, element type and grid
    /// @param destination  of the same size and type, changed in place; both outlive the body
    void Set(const NoxVector3d* point, const NoxVector3d* normal, const int* indices, int count, double offset,
             const NoxRangeImage& source, NoxRangeImage* destination);
    void Set(const NoxVector3d* point, const NoxVector3d* normal, const int* indices, int count, double offset,
             const NoxRangeImage* source, NoxRangeImage* destination)
    {
        Set(point, normal, indices, count, offset, *source, destination);
    }
    void operator()(const tbb::blocked_range<std::size_t>& listed) const;
    /// The destination with pixels of its own.
    void Get(NoxRangeImage* out) const;

private:
    NoxVector3d a_, b_;
    const int* indices_ = nullptr;
    int count_ = 0;
    double offset_ = 0.0;
    NoxRangeImage source_, destination_;
};

/// The same for a range of pixel indices.
class NOX_EXPORT PlaneCorrectionTBB2
{
public:
    void Set(const NoxVector3d* point, const NoxVector3d* normal, double offset, const NoxRangeImage& source,
             NoxRangeImage* destination);
    void Set(const NoxVector3d* point, const NoxVector3d* normal, double offset, const NoxRangeImage* source,
             NoxRangeImage* destination)
    {
        Set(point, normal, offset, *source, destination);
    }
    void operator()(const tbb::blocked_range<std::size_t>& pixels) const;
    /// The destination, sharing its pixels.
    void Get(NoxRangeImage* out) const;

private:
    NoxVector3d a_, b_;
    double offset_ = 0.0;
    NoxRangeImage source_, destination_;
};

/// The same for a rectangle of pixels, with x = column and y = row whatever the grid, in float up to the offset.
class NOX_EXPORT PlaneCorrectionTBB3
{
public:
    /// The four ints are not read.
    void Set(const NoxVector3d* point, const NoxVector3d* normal, int first, int second, int third, int fourth,
             double offset, const NoxRangeImage& source, NoxRangeImage* destination);
    void Set(const NoxVector3d* point, const NoxVector3d* normal, int first, int second, int third, int fourth,
             double offset, const NoxRangeImage* source, NoxRangeImage* destination)
    {
        Set(point, normal, first, second, third, fourth, offset, *source, destination);
    }
    void operator()(const tbb::blocked_range2d<std::size_t, std::size_t>& rectangle) const;
    /// Does nothing.
    void Get(NoxRangeImage* out) const;

private:
    NoxVector3d a_, b_;
    double offset_ = 0.0;
    NoxRangeImage source_, destination_;
};

/// Points of the first image: X0 and Y0 become planes of its size with the coordinates before the pose, the canvas from
/// column 0 on takes those behind it. A float image of type 0; `pose` holds 32-bit floats, and its first three rows are
/// used. What does not fit the canvas is left out; an invalid pixel gives no point.
/// @return 0
NOX_EXPORT long RangeToPlc_SIMD0(NoxRangeImage& image, cv::Mat& pose, cv::Mat& X0, cv::Mat& Y0, cv::Mat& X, cv::Mat& Y,
                                 cv::Mat& Z, float offsetX, float offsetY, float resolutionX, float resolutionY,
                                 int width, int height);

/// Points of a further image, from a column of the canvas on.
/// @return 0; 11200003 the image does not fit the canvas there, nothing is written
NOX_EXPORT long RangeToPlc_SIMD(NoxRangeImage& image, cv::Mat& pose, cv::Mat& X, cv::Mat& Y, cv::Mat& Z, float offsetX,
                                float offsetY, float resolutionX, float resolutionY, int startColumn, int width,
                                int height);

/// Points of an image of type 1, any element type, from a column of the canvas on. Where they are asked for, the
/// smallest coordinates over the valid pixels, before the pose and over the canvas from column 0 on.
/// @param parameter0, parameter1, parameter2, parameter3  those of the image
/// @param minX0, minY0, minX, minY  null where they are not wanted
/// @return 0; 11200003 the image does not fit the canvas there, nothing is written
NOX_EXPORT long RangeToPlcType1_OutPutMinBox(NoxRangeImage& image, cv::Mat& pose, cv::Mat& X, cv::Mat& Y, cv::Mat& Z,
                                             float parameter0, float parameter1, float parameter2, float parameter3,
                                             int startColumn, float* minX0, float* minY0, float* minX, float* minY);

/// The smallest X and the smallest Y, each for itself, over the cells of a block that are points by Z; 3.4028235e38
/// without any. @return 0
NOX_EXPORT long BOX_MinXY_SIMD0(cv::Mat& X, cv::Mat& Y, cv::Mat& Z, float* minX, float* minY, int width, int height);

/// X and Y of a block of the canvas from coordinates to output rows and columns: (X - shiftX) / rowResolution and
/// (Y - shiftY) / columnResolution. What lies beyond the planes is left out.
/// @return 0; 11100001 a plane without rows
NOX_EXPORT long PclValToPixel(cv::Mat& X, cv::Mat& Y, cv::Mat& Z, float shiftX, float shiftY, float columnResolution,
                              float rowResolution, int startColumn, int columns, int rows);

/// The same from column 0 on.
NOX_EXPORT long PclValToPixelAll(cv::Mat& X, cv::Mat& Y, cv::Mat& Z, float shiftX, float shiftY, float columnResolution,
                                 float rowResolution, int columns, int rows);

/// Sums and counts of the output grid, as PclAddToRangeTBB makes them of all canvas rows in their order, whatever the
/// number of threads.
/// @return 0; 30602016 too little memory; 30602022 an exception
NOX_EXPORT long AllAddSum_TBB(cv::Mat& X, cv::Mat& Y, cv::Mat& Z, cv::Mat& sum, cv::Mat& count, int canvasColumns,
                              int canvasRows, int outputRows, int outputColumns);

/// Merges float images of type 0 into one grid: the pipeline behind Nox3DDataConvert::RangeImagePostureCorrect. The
/// canvas size decides what memory is asked for and which images fit; a canvas is not made. The smallest corner of the
/// first image's valid pixels keeps its pixel position, scaled to the new resolutions.
/// @param images  reduced in place when samplingFactor is above 1; emptied when memory is short or the merge fails
/// @param poses   4 x 4 doubles for each image
/// @return 0; 11100001 an image without pixels or reduced to none; 30602021 image 0 smaller than samplingFactor
/// (samplingMethod above 0); 11200003 a further image does not fit the canvas; 30602016 too little memory; 30602022 an
/// exception in the merge; 11100025 an image that is not float; 11200005 samplingFactor below 1; 11404001, 30602015 the
/// poses; the code of a failing resampling. Other exceptions pass to the caller.
NOX_EXPORT long RangeImgPostureCorrect_CPU_TYPE0(NoxRangeImageArray& images, NoxMatrixArray& poses, float resolutionX,
                                                 float resolutionY, int samplingFactor, int samplingMethod,
                                                 int canvasColumns, int canvasRows, int outputWidth, int outputHeight,
                                                 NoxRangeImage* result);

/// The same for images of type 1 of any element type, which are never changed.
/// @param images  emptied when memory is short or the merge fails
/// @return 0; 30602021 an image reduced to nothing; else as above
NOX_EXPORT long RangeImgPostureCorrect_CPU_TYPE1(NoxRangeImageArray& images, NoxMatrixArray& poses, float resolutionX,
                                                 float resolutionY, int samplingFactor, int samplingMethod,
                                                 int canvasColumns, int canvasRows, int outputWidth, int outputHeight,
                                                 NoxRangeImage* result);

}  // namespace NOXEL
