// The containers of the 3-D library.

#include <Nox3DPlane.h>
#include <NoxColorArray.h>
#include <NoxPointCloud.h>
#include <NoxRangeImage.h>
#include <NoxRangeImageArray.h>

#include "data/ElementType.h"
#include "data/MatContainer.h"

#include <cmath>
#include <initializer_list>
#include <utility>

void NoxColorArray::SetSize(int length, int rows, int channels)
{
    if (rows != 1) throw std::invalid_argument("colours stand in one row");
    mat_.create(1, length, nox::matType(CV_8U, channels));
}

int NoxColorArray::Length() const noexcept { return mat_->cols; }
int NoxColorArray::Channel() const noexcept { return mat_->channels(); }
unsigned char* NoxColorArray::Data() const noexcept { return mat_->cols > 0 ? mat_->data : nullptr; }

NoxColorArray NoxColorArray::DeepCopy() const
{
    NoxColorArray copy;
    copy.mat_ = nox::deepCopy(mat_);
    return copy;
}

int NoxPointCloud::Length() const noexcept { return points_ ? points_->Length() : 0; }
float* NoxPointCloud::PointData() const noexcept { return points_ ? points_->Data() : nullptr; }
unsigned char* NoxPointCloud::ColorData() const noexcept { return colors_.Data(); }
void NoxPointCloud::SetPoints(const NoxVector3dArray& points) { SetPoints(NoxVector3dArray(points)); }
void NoxPointCloud::SetPoints(NoxVector3dArray&& points)
{
    points_ = std::make_shared<NoxVector3dArray>(std::move(points));
}
void NoxPointCloud::SetColors(const NoxColorArray& colors) { colors_ = colors.DeepCopy(); }
void NoxPointCloud::SetColors(NoxColorArray&& colors)
{
    NoxColorArray empty;
    colors_ = colors;
    colors = empty;
}
NoxColorArray NoxPointCloud::DeepCopyColors() const { return colors_.DeepCopy(); }

NoxRangeImage NoxRangeImage::DeepCopy() const
{
    NoxRangeImage copy(*this);
    copy.mat_ = nox::deepCopy(mat_);
    copy.colors_ = nox::deepCopy(colors_);
    return copy;
}

void NoxRangeImage::SetSize(int width, int height, int dataType)
{
    NoxSharedMat noColors;
    mat_.create(height, width, nox::matType(dataType, 1));
    if (!colorsFit()) colors_ = noColors;
}

void NoxRangeImage::SetMatrix(const cv::Mat& mat)
{
    NoxSharedMat noColors;
    mat_.deliver(mat);
    if (!colorsFit()) colors_ = noColors;
}

bool NoxRangeImage::colorsFit() const noexcept { return colors_->cols == Width() && colors_->rows == Height(); }

void NoxRangeImage::SetColorSize(int width, int height, int channels)
{
    colors_.create(height, width, nox::matType(CV_8U, channels));
}

void NoxRangeImage::SetInfo(double resolutionZ, double offsetZ, double resolutionX, double offsetX, double resolutionY,
                            double offsetY) noexcept
{
    resolutionZ_ = resolutionZ;
    offsetZ_ = offsetZ;
    resolutionX_ = resolutionX;
    offsetX_ = offsetX;
    resolutionY_ = resolutionY;
    offsetY_ = offsetY;
}

void NoxRangeImage::SetInfo(const NoxVarArray& parameters)
{
    for (int i = 0; i < std::min(6, parameters.Length()); ++i) parameters_[i] = parameters[i];
}

NoxVar NoxRangeImage::GetParaValue(int index) const
{
    if (index < 0 || index > 5) throw std::out_of_range("parameter of a range image");
    return parameters_[index];
}

int NoxRangeImage::Width() const noexcept { return mat_->cols; }
int NoxRangeImage::Height() const noexcept { return mat_->rows; }
int NoxRangeImage::DataType() const noexcept { return mat_->depth(); }
unsigned char* NoxRangeImage::Data() const noexcept { return mat_->data; }
unsigned char* NoxRangeImage::ColorData() const noexcept { return colors_->data; }

NoxColorArray NoxRangeImage::DeepCopyColors() const
{
    const cv::Mat& plane = *colors_;
    const std::size_t count = plane.total();
    if (count > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw std::length_error("colour array full");
    NoxColorArray colors;
    colors.SetSize(static_cast<int>(count), 1, plane.channels());
    std::copy_n(plane.data, count * plane.elemSize(), colors.Matrix().data);
    return colors;
}

int NoxRangeImageArray::Length() const noexcept { return static_cast<int>(images_.size()); }
NoxRangeImage& NoxRangeImageArray::operator[](int index) { return images_.at(nox::place(index)); }
const NoxRangeImage& NoxRangeImageArray::operator[](int index) const { return images_.at(nox::place(index)); }
void NoxRangeImageArray::Append(const NoxRangeImage& image)
{
    NoxRangeImage own = image;
    own.SetMatrix(image.Matrix());  // the same pixels behind a matrix object of its own
    images_.push_back(std::move(own));
}

bool Nox3DPlane::IsValid() const noexcept
{
    constexpr float marker = std::numeric_limits<float>::max();
    for (float v : {point_.X(), point_.Y(), point_.Z(), normal_.X(), normal_.Y(), normal_.Z()})
        if (!std::isfinite(v) || v == marker || v == -marker) return false;
    return normal_ != NoxVector3d();
}
