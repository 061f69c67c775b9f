#pragma once

#include <NoxMemory.h>

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

/// Contiguous elements with a size and a capacity: the storage of the array classes. A plain value: a copy has its own
/// elements. New elements are not initialised; whoever sizes the buffer writes them.
/// Throws std::length_error for a negative size and std::bad_alloc when memory ends, the buffer then as before.
template <class T>
class NoxBuffer
{
    static_assert(std::is_trivially_copyable_v<T>);

public:
    NoxBuffer() noexcept = default;
    explicit NoxBuffer(int size) { resize(size); }
    NoxBuffer(const NoxBuffer& other) : NoxBuffer(other.size_) { std::copy_n(other.data_, size_, data_); }
    NoxBuffer(NoxBuffer&& other) noexcept { swap(other); }
    // Not one operator that takes a value: of a class with such a member the compiler reckons that copying throws
    // nothing, and an exception then passes every handler.
    NoxBuffer& operator=(const NoxBuffer& other)
    {
        NoxBuffer copy(other);
        swap(copy);
        return *this;
    }
    NoxBuffer& operator=(NoxBuffer&& other) noexcept
    {
        NoxBuffer taken(std::move(other));
        swap(taken);
        return *this;
    }
    ~NoxBuffer() { NOXEL::NoxRelease(data_); }

    T* data() noexcept { return data_; }
    const T* data() const noexcept { return data_; }
    int size() const noexcept { return size_; }
    int capacity() const noexcept { return capacity_; }
    T& operator[](int i) noexcept { return data_[i]; }
    const T& operator[](int i) const noexcept { return data_[i]; }

    /// The element, or std::out_of_range.
    T& at(int i) { return data_[checked(i)]; }
    const T& at(int i) const { return data_[checked(i)]; }

    /// Keeps the elements that fit; memory is only taken, never given back.
    void resize(int size)
    {
        if (size < 0) throw std::length_error("negative array size");
        if (size > capacity_) move(size);
        size_ = size;
    }

    void append(const T& value)
    {
        const T kept = value;  // may lie in the block that is about to move
        if (size_ == std::numeric_limits<int>::max()) throw std::length_error("array full");
        if (size_ == capacity_) {
            const int room = std::numeric_limits<int>::max() - capacity_;
            move(capacity_ + std::min(room, std::max(8, capacity_ / 2)));
        }
        new (data_ + size_++) T(kept);
    }

    void swap(NoxBuffer& other) noexcept
    {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
    }

private:
    int checked(int i) const
    {
        if (i < 0 || i >= size_) throw std::out_of_range("array index");
        return i;
    }

    void move(int capacity)
    {
        T* block = static_cast<T*>(NOXEL::NoxAllocate(static_cast<std::size_t>(capacity) * sizeof(T)));
        std::copy_n(data_, size_, block);
        NOXEL::NoxRelease(std::exchange(data_, block));
        capacity_ = capacity;
    }

    T* data_ = nullptr;
    int size_ = 0;
    int capacity_ = 0;
};
