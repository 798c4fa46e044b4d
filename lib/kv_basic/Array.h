#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <new>
#include <type_traits>
#include <utility>

namespace kelvar {

// Array<T> is the growable array used throughout the library: a data
// pointer, a 32-bit element count and a 32-bit capacity. When an append finds
// the array full it grows to count + count/8 + 4 elements, a gentle growth
// that keeps large cell and particle arrays from doubling their footprint.
//
// Elements are constructed in place and destroyed when removed; copies are
// deep. Indexing is unchecked, as on every hot path of the library.
template <class T>
class Array {
public:
    using value_type = T;

    Array() = default;
    explicit Array(uint32_t count) { resize(count); }
    Array(std::initializer_list<T> values) {
        reserve(static_cast<uint32_t>(values.size()));
        for (const T& v : values) push_back(v);
    }
    Array(const Array& other) { *this = other; }
    Array(Array&& other) noexcept { swap(other); }
    ~Array() { release(); }

    Array& operator=(const Array& other) {
        if (this == &other) return *this;
        clear();
        reserve(other.count_);
        for (uint32_t i = 0; i < other.count_; ++i) new (data_ + i) T(other.data_[i]);
        count_ = other.count_;
        return *this;
    }
    Array& operator=(Array&& other) noexcept {
        if (this != &other) {
            release();
            swap(other);
        }
        return *this;
    }

    void swap(Array& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(count_, other.count_);
        std::swap(capacity_, other.capacity_);
    }

    uint32_t size() const { return count_; }
    uint32_t capacity() const { return capacity_; }
    bool empty() const { return count_ == 0; }
    T* data() { return data_; }
    const T* data() const { return data_; }

    T& operator[](uint32_t i) { return data_[i]; }
    const T& operator[](uint32_t i) const { return data_[i]; }
    T& back() { return data_[count_ - 1]; }
    const T& back() const { return data_[count_ - 1]; }

    T* begin() { return data_; }
    T* end() { return data_ + count_; }
    const T* begin() const { return data_; }
    const T* end() const { return data_ + count_; }

    // Capacity after growing a full array of `count` elements.
    static uint32_t grownCapacity(uint32_t count) { return count + count / 8 + 4; }

    // Grows the storage to at least `capacity` elements.
    void reserve(uint32_t capacity) {
        if (capacity > capacity_) setCapacity(capacity);
    }

    // Sets the storage to exactly `capacity` elements (never below the count).
    void setCapacity(uint32_t capacity) {
        if (capacity < count_) capacity = count_;
        if (capacity == capacity_) return;
        if (capacity == 0) {
            ::operator delete(data_, std::align_val_t(alignof(T)));
            data_ = nullptr;
            capacity_ = 0;
            return;
        }
        T* fresh = static_cast<T*>(::operator new(sizeof(T) * capacity, std::align_val_t(alignof(T))));
        for (uint32_t i = 0; i < count_; ++i) {
            new (fresh + i) T(std::move(data_[i]));
            data_[i].~T();
        }
        ::operator delete(data_, std::align_val_t(alignof(T)));
        data_ = fresh;
        capacity_ = capacity;
    }

    void push_back(const T& value) {
        if (count_ == capacity_) {
            T copy(value);  // value may live inside this array
            reserve(grownCapacity(count_));
            new (data_ + count_) T(std::move(copy));
        } else {
            new (data_ + count_) T(value);
        }
        ++count_;
    }
    void push_back(T&& value) {
        if (count_ == capacity_) {
            T moved(std::move(value));
            reserve(grownCapacity(count_));
            new (data_ + count_) T(std::move(moved));
        } else {
            new (data_ + count_) T(std::move(value));
        }
        ++count_;
    }
    // Appends `count` elements without constructing them and returns the
    // first. Each must be written (placement new or assignment) before it is
    // read, which callers may do from several threads; for that reason the
    // element type must be trivially copyable and destructible.
    T* appendForOverwrite(uint32_t count) {
        static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);
        if (count_ + count > capacity_) reserve(count_ + count);
        T* first = data_ + count_;
        count_ += count;
        return first;
    }
    void shrinkToFit() { setCapacity(count_); }
    void pop_back() { data_[--count_].~T(); }

    // Sets the count; new elements are value-initialised. Grows to exactly
    // `count` when the capacity is short, never shrinks the storage.
    void resize(uint32_t count) {
        if (count > capacity_) reserve(count);
        for (uint32_t i = count_; i < count; ++i) new (data_ + i) T();
        for (uint32_t i = count; i < count_; ++i) data_[i].~T();
        count_ = count;
    }
    void resize(uint32_t count, const T& value) {
        if (count > capacity_) {
            const T fill(value);  // value may live inside this array
            reserve(count);
            for (uint32_t i = count_; i < count; ++i) new (data_ + i) T(fill);
            count_ = count;
            return;
        }
        for (uint32_t i = count_; i < count; ++i) new (data_ + i) T(value);
        for (uint32_t i = count; i < count_; ++i) data_[i].~T();
        count_ = count;
    }

    // Removes every element; keeps the storage.
    void clear() {
        for (uint32_t i = 0; i < count_; ++i) data_[i].~T();
        count_ = 0;
    }

    // Removes the element at i by moving the last one into its place.
    void removeSwapLast(uint32_t i) {
        if (i != count_ - 1) data_[i] = std::move(data_[count_ - 1]);
        pop_back();
    }

private:
    void release() {
        clear();
        ::operator delete(data_, std::align_val_t(alignof(T)));
        data_ = nullptr;
        capacity_ = 0;
    }

    T* data_ = nullptr;
    uint32_t count_ = 0;
    uint32_t capacity_ = 0;
};

}  // namespace kelvar
