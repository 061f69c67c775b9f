#pragma once

#include <stdexcept>

namespace NOXEL {

/// The elements of a square matrix of double, row by row, and what NoxMatrix3 and NoxMatrix4 have in common.
template <int N>
class NoxFixedMatrix
{
public:
    /// @throws std::out_of_range
    double Value(int row, int column) const { return elements_[place(row, column)]; }
    /// @throws std::out_of_range
    void Replace(int row, int column, double value) { elements_[place(row, column)] = value; }

    /// First element, the others behind it row by row.
    double* Data() noexcept { return elements_; }
    const double* Data() const noexcept { return elements_; }

    /// Exact comparison of all elements: a NaN differs from itself, -0.0 equals 0.0.
    bool operator==(const NoxFixedMatrix& other) const noexcept
    {
        for (int i = 0; i < N * N; ++i)
            if (!(elements_[i] == other.elements_[i])) return false;
        return true;
    }
    bool operator!=(const NoxFixedMatrix& other) const noexcept { return !(*this == other); }

protected:
    NoxFixedMatrix() noexcept = default;
    template <class... Doubles>
    explicit NoxFixedMatrix(double first, Doubles... others) noexcept : elements_{first, others...}
    {
        static_assert(sizeof...(Doubles) + 1 == N * N);
    }

private:
    static int place(int row, int column)
    {
        if (row < 0 || row >= N || column < 0 || column >= N) throw std::out_of_range("matrix element");
        return row * N + column;
    }

    double elements_[N * N] = {};
};

}  // namespace NOXEL
