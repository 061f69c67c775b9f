#pragma once

#include <NoxExport.h>
#include <NoxRangeImage.h>

namespace NOXEL {

/// A view of the pixels of one range image by flat index, row x width + column, through doubles, so that one body
/// serves all element types. It lives no longer than the image. Disjoint pixels may be written from several threads at
/// once. Every operation throws std::out_of_range for an index outside the image.
class NOX_EXPORT RangeImagePtr
{
public:
    explicit RangeImagePtr(const NoxRangeImage& image) noexcept;

    /// False if the element holds the invalid value of its type.
    bool isValid(int index) const;
    double GetValue(int index) const;
    /// Stores the value rounded to nearest and saturated; a NaN becomes the invalid value of an integer type.
    void ReplaceValue(int index, double value);
    /// Stores the invalid value of the type.
    void inValidate(int index);

private:
    template <class Access>
    void access(int index, const Access& use) const;

    unsigned char* data_;
    long long count_;
    int dataType_;
};

}  // namespace NOXEL
