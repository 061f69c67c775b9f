#pragma once

#include <NoxBuffer.h>
#include <NoxExport.h>

/// Growable array of 32-bit integers, a value: a copy has its own elements.
class NOX_EXPORT Nox3DIntArray
{
public:
    int Length() const noexcept { return elements_.size(); }
    /// Keeps the elements that fit; new ones are undefined until written. @throws std::length_error for a negative size
    void SetSize(int size) { elements_.resize(size); }
    /// @throws std::out_of_range
    int& operator[](int index) { return elements_.at(index); }
    int operator[](int index) const { return elements_.at(index); }

private:
    NoxBuffer<int> elements_;
};
