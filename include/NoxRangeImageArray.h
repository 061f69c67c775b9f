#pragma once

#include <NoxRangeImage.h>

#include <vector>

/// Array of range images. An element is an object of its own that may share pixels with the image it came from; sizing
/// the element leaves that image as it was.
class NOX_EXPORT NoxRangeImageArray
{
public:
    int Length() const noexcept;
    /// @throws std::out_of_range
    NoxRangeImage& operator[](int index);
    const NoxRangeImage& operator[](int index) const;
    void Append(const NoxRangeImage& image);
    void Clear() noexcept { images_.clear(); }

private:
    std::vector<NoxRangeImage> images_;
};
