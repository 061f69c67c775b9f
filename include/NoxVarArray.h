#pragma once

#include <NoxExport.h>
#include <NoxVar.h>

#include <vector>

/// Array of variants.
class NOX_EXPORT NoxVarArray
{
public:
    int Length() const noexcept;
    /// Keeps the elements that fit; new ones hold 0.0. @throws std::length_error for a negative size.
    void SetSize(int size);
    /// @throws std::out_of_range
    NoxVar& operator[](int index);
    const NoxVar& operator[](int index) const;

private:
    std::vector<NoxVar> elements_;
};
