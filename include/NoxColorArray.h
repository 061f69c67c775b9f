#pragma once

#include <NoxSharedMat.h>

/// Colours, one for each point, as one row of 8-bit elements: the byte of channel k of colour i stands at
/// i * Channel() + k. Copies share the bytes.
class NOX_EXPORT NoxColorArray
{
public:
    /// Gives the array its size; `rows` is 1. The content is undefined until written; sharers keep what they had.
    /// @throws std::length_error for a negative size, std::invalid_argument for other rows or channels outside 1 to 512
    void SetSize(int length, int rows, int channels);
    /// The same with one row.
    void Create(int length, int channels) { SetSize(length, 1, channels); }

    int Length() const noexcept;
    /// Bytes a colour; 1 for an array that was never sized.
    int Channel() const noexcept;
    /// First byte, or null when the array is empty.
    unsigned char* Data() const noexcept;

    /// The storage itself.
    cv::Mat& Matrix() const noexcept { return *mat_; }
    /// Shares the pixels of a one-row 8-bit matrix from now on.
    void SetMatrix(const cv::Mat& mat) { mat_.deliver(mat); }
    /// A copy with bytes of its own.
    NoxColorArray DeepCopy() const;

private:
    NoxSharedMat mat_;  // first member: the layout is part of the interface
};
