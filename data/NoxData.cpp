// The matrix-backed classes of the 2-D library and the arrays beside them.

#include <NoxImage.h>
#include <NoxMatrix.h>
#include <NoxMatrixArray.h>
#include <NoxVarArray.h>

#include "data/MatContainer.h"

void NoxImage::SetSize(int width, int height, int bitDepth, int channels)
{
    mat_.create(height, width, nox::matType(bitDepth, channels));
}

int NoxImage::Width() const noexcept { return mat_->cols; }
int NoxImage::Height() const noexcept { return mat_->rows; }
int NoxImage::Channels() const noexcept { return mat_->channels(); }
int NoxImage::BitDepth() const noexcept { return mat_->depth(); }
unsigned char* NoxImage::ImageData() const noexcept { return mat_->data; }

NoxImage NoxImage::DeepCopy() const
{
    NoxImage copy;
    copy.mat_ = nox::deepCopy(mat_);
    return copy;
}

int NoxMatrix::Rows() const noexcept { return mat_->rows; }
int NoxMatrix::Cols() const noexcept { return mat_->cols; }
unsigned char* NoxMatrix::MatrixData() const noexcept { return mat_->data; }

NoxMatrix NoxMatrix::DeepCopy() const
{
    NoxMatrix copy;
    copy.mat_ = nox::deepCopy(mat_);
    return copy;
}

int NoxMatrixArray::Length() const noexcept { return static_cast<int>(elements_.size()); }
NoxMatrix NoxMatrixArray::operator[](int index) const { return elements_.at(nox::place(index)); }
void NoxMatrixArray::Replace(int index, const NoxMatrix& matrix)
{
    elements_.at(nox::place(index)) = matrix.DeepCopy();
}
void NoxMatrixArray::Append(const NoxMatrix& matrix) { elements_.push_back(matrix.DeepCopy()); }

int NoxVarArray::Length() const noexcept { return static_cast<int>(elements_.size()); }
void NoxVarArray::SetSize(int size) { elements_.resize(nox::place(size)); }
NoxVar& NoxVarArray::operator[](int index) { return elements_.at(nox::place(index)); }
const NoxVar& NoxVarArray::operator[](int index) const { return elements_.at(nox::place(index)); }
