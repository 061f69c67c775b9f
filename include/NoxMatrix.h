#pragma once

#include <NoxSharedMat.h>

/// A generic matrix. Poses are 4 x 4 of double, row by row, the translation in the last column. Copies share the
/// values.
class NOX_EXPORT NoxMatrix
{
public:
    NoxMatrix() = default;
    /// Shares the values of `mat`.
    explicit NoxMatrix(const cv::Mat& mat) { mat_.deliver(mat); }

    /// A matrix with values of its own.
    NoxMatrix DeepCopy() const;

    int Rows() const noexcept;
    int Cols() const noexcept;
    /// First element, or null when the matrix is empty.
    unsigned char* MatrixData() const noexcept;

    /// The storage itself.
    cv::Mat& Matrix() const noexcept { return *mat_; }
    /// Shows the values of `mat` from now on; other sharers keep what they had.
    void SetMatrix(const cv::Mat& mat) { mat_.deliver(mat); }

private:
    NoxSharedMat mat_;  // first member: the layout is part of the interface
};
