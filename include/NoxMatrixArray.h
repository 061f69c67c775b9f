#pragma once

#include <NoxExport.h>
#include <NoxMatrix.h>

#include <vector>

/// Array of matrices, each with values of its own: a matrix may be changed and appended again.
class NOX_EXPORT NoxMatrixArray
{
public:
    int Length() const noexcept;
    /// @throws std::out_of_range
    NoxMatrix operator[](int index) const;
    /// @throws std::out_of_range
    void Replace(int index, const NoxMatrix& matrix);
    void Append(const NoxMatrix& matrix);

private:
    std::vector<NoxMatrix> elements_;
};
