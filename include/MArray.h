#pragma once

#include <MColor.h>
#include <MVector3d.h>
#include <NoxBuffer.h>
#include <NoxExport.h>

#include <cstdint>

namespace NOXEL3D {

/// What the arrays share: elements of their own, their number and the room for more. A copy is deep.
template <class T>
class NOX_EXPORT MArray
{
public:
    MArray() noexcept = default;
    /// Elements undefined. @throws std::length_error for a negative size
    explicit MArray(int size) : elements_(size) {}
    MArray(int size, const T& value) : elements_(size) { init(value); }

    T* data() noexcept { return elements_.data(); }
    const T* data() const noexcept { return elements_.data(); }
    /// No range check.
    T& operator[](int i) noexcept { return elements_[i]; }
    const T& operator[](int i) const noexcept { return elements_[i]; }

    bool isEmpty() const noexcept { return size() == 0; }
    int size() const noexcept { return elements_.size(); }
    int capacity() const noexcept { return elements_.capacity(); }
    /// size x element size in 32-bit arithmetic, which wraps beyond 2 GiB.
    int sizeInBytes() const noexcept
    {
        return static_cast<int>(static_cast<std::uint32_t>(size()) * static_cast<std::uint32_t>(sizeof(T)));
    }

    /// Sets every element.
    void init(const T& value) { std::fill_n(data(), size(), T(value)); }

protected:
    NoxBuffer<T> elements_;
};

class NOX_EXPORT MDoubleArray : public MArray<double>
{
public:
    using MArray::MArray;
};

class NOX_EXPORT MVector3dArray : public MArray<MVector3d>
{
public:
    using MArray::MArray;
};

class NOX_EXPORT MBoolArray : public MArray<bool>
{
public:
    using MArray::MArray;
};

class NOX_EXPORT MColorArray : public MArray<MColor>
{
public:
    using MArray::MArray;
};

class NOX_EXPORT MVector3fArray : public MArray<MVector3f>
{
public:
    using MArray::MArray;

    /// Keeps the elements that fit; new ones are (0, 0, the invalid marker), a position that no registration takes.
    void resize(int size)
    {
        const int kept = std::min(this->size(), std::max(size, 0));
        elements_.resize(size);
        std::fill_n(data() + kept, size - kept, MVector3f(0.0f, 0.0f, kInvalidComponent));
    }
};

static_assert(sizeof(MVector3fArray) == sizeof(void*) + 2 * sizeof(int));

}  // namespace NOXEL3D
