#pragma once

#include <NoxExport.h>

namespace cv {
class Mat;
}

/// Counted reference to one matrix object, laid out as a plain pointer to it. Copies refer to the same object; the
/// object lives as long as one of them. The count is atomic: one object may be copied from several threads at once.
class NOX_EXPORT NoxSharedMat
{
public:
    /// A matrix object of its own, empty.
    NoxSharedMat();
    NoxSharedMat(const NoxSharedMat& other) noexcept;
    NoxSharedMat& operator=(const NoxSharedMat& other) noexcept;
    ~NoxSharedMat();

    cv::Mat& operator*() const noexcept { return *mat_; }
    cv::Mat* operator->() const noexcept { return mat_; }
    /// Identity of the storage: equal pointers show the same pixels.
    cv::Mat* get() const noexcept { return mat_; }

    /// A continuous matrix of this size and OpenCV type, its content undefined. Pixels and matrix object that something
    /// else refers to are left to it; an object that nobody else refers to stays, and memory that nobody else sees is
    /// used again.
    /// @throws std::length_error for a negative or overflowing size, std::bad_alloc; the reference then as before.
    void create(int rows, int columns, int type);

    /// Refers to `mat` from now on, sharing its pixels (copied first when its rows have gaps or its memory is not
    /// its own); other sharers keep what they had.
    void deliver(const cv::Mat& mat);

private:
    void show(const cv::Mat& mat);
    void reset(cv::Mat* mat) noexcept;

    cv::Mat* mat_;
};
