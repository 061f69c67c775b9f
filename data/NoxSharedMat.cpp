#include <NoxSharedMat.h>

#include "data/Memory.h"

#include <opencv2/core.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>

namespace {

/// The matrix object and the number of references to it. The matrix comes first: references point to it.
struct Counted
{
    cv::Mat mat;
    std::atomic<int> references{1};
};

static_assert(offsetof(Counted, mat) == 0);

Counted* counted(cv::Mat* mat) { return reinterpret_cast<Counted*>(mat); }

/// Whether the rows follow each other without gaps, as every loop over the pixels expects.
bool isPacked(const cv::Mat& mat)
{
    return mat.rows <= 1 || mat.step[0] == static_cast<std::size_t>(mat.cols) * mat.elemSize();
}

/// Whether nothing but this reference can see the pixels.
bool ownsAlone(cv::Mat* mat)
{
    return counted(mat)->references.load(std::memory_order_acquire) == 1 && mat->u &&
           __atomic_load_n(&mat->u->refcount, __ATOMIC_ACQUIRE) == 1 && mat->data == mat->u->origdata && isPacked(*mat);
}

bool fits(int rows, int columns, int type)
{
    std::int64_t bytes = 0;
    return !__builtin_mul_overflow(static_cast<std::int64_t>(rows) * columns,
                                   static_cast<std::int64_t>(CV_ELEM_SIZE(type)), &bytes);
}

}  // namespace

NoxSharedMat::NoxSharedMat() : mat_(&(new Counted)->mat) {}

NoxSharedMat::NoxSharedMat(const NoxSharedMat& other) noexcept : mat_(other.mat_)
{
    counted(mat_)->references.fetch_add(1, std::memory_order_relaxed);
}

NoxSharedMat& NoxSharedMat::operator=(const NoxSharedMat& other) noexcept
{
    counted(other.mat_)->references.fetch_add(1, std::memory_order_relaxed);
    reset(other.mat_);
    return *this;
}

NoxSharedMat::~NoxSharedMat() { reset(nullptr); }

void NoxSharedMat::create(int rows, int columns, int type)
{
    if (rows < 0 || columns < 0) throw std::length_error("negative matrix size");
    if (!fits(rows, columns, type)) throw std::length_error("matrix size overflows");
    if (mat_->rows == rows && mat_->cols == columns && mat_->type() == type && ownsAlone(mat_)) return;

    show(nox::newPlane(rows, columns, type));
}

void NoxSharedMat::deliver(const cv::Mat& mat)
{
    if (isPacked(mat) && mat.u) return show(mat);
    cv::Mat packed = nox::newPlane(mat.rows, mat.cols, mat.type());
    mat.copyTo(packed);
    show(packed);
}

void NoxSharedMat::show(const cv::Mat& mat)
{
    if (counted(mat_)->references.load(std::memory_order_acquire) == 1) {  // references to the matrix object stay good
        *mat_ = mat;
        return;
    }
    auto own = std::make_unique<Counted>();
    own->mat = mat;
    reset(&own.release()->mat);
}

void NoxSharedMat::reset(cv::Mat* mat) noexcept
{
    Counted* old = counted(mat_);
    mat_ = mat;
    if (old->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete old;
}
