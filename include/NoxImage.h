#pragma once

#include <NoxSharedMat.h>

/// A gray image. Copies share the pixels: writing through `ImageData` is seen by all sharers.
class NOX_EXPORT NoxImage
{
public:
    /// A grid of that size; `bitDepth` is a NoxImageType. The content is undefined; sharers keep what they had.
    /// @throws std::length_error for a negative size, std::invalid_argument for a bad depth or channel count
    void SetSize(int width, int height, int bitDepth, int channels = 1);

    int Width() const noexcept;
    int Height() const noexcept;
    int Channels() const noexcept;
    /// Depth code of OpenCV: 0 for 8-bit, 2 for 16-bit unsigned.
    int BitDepth() const noexcept;
    /// First pixel, rows without padding; null when the image is empty.
    unsigned char* ImageData() const noexcept;

    /// The storage itself; equal addresses tell that two images are one.
    cv::Mat& Matrix() const noexcept { return *mat_; }
    /// Shows the pixels of `mat` from now on; other sharers keep what they had.
    void SetMatrix(const cv::Mat& mat) { mat_.deliver(mat); }
    /// A copy with pixels of its own.
    NoxImage DeepCopy() const;
    /// Back to empty.
    void Clear() { *this = NoxImage(); }

private:
    NoxSharedMat mat_;  // first member: the layout is part of the interface
};
