#pragma once

#include <cstdint>
#include <cstring>

namespace kelvar {

// A fixed-length array of bits. Up to 64 bits live inline, so the small bit
// sets that every cell carries cost no allocation; longer arrays use the heap.
class ArrayBit {
public:
    ArrayBit() = default;
    explicit ArrayBit(uint32_t length) { resize(length); }
    ArrayBit(const ArrayBit& other) { *this = other; }
    ~ArrayBit() { delete[] heap_; }

    ArrayBit& operator=(const ArrayBit& other) {
        if (this == &other) return *this;
        resize(other.length_);
        std::memcpy(words(), other.words(), wordCount(length_) * sizeof(uint64_t));
        return *this;
    }

    uint32_t size() const { return length_; }

    // Changes the length; every bit is cleared.
    void resize(uint32_t length) {
        delete[] heap_;
        heap_ = nullptr;
        length_ = length;
        inline_ = 0;
        if (wordCount(length) > 1) heap_ = new uint64_t[wordCount(length)]();
    }

    bool test(uint32_t i) const { return (words()[i >> 6] >> (i & 63)) & 1u; }
    void set(uint32_t i) { words()[i >> 6] |= uint64_t(1) << (i & 63); }
    void clear(uint32_t i) { words()[i >> 6] &= ~(uint64_t(1) << (i & 63)); }
    void clearAll() { std::memset(words(), 0, wordCount(length_) * sizeof(uint64_t)); }
    bool any() const {
        for (uint32_t w = 0; w < wordCount(length_); ++w)
            if (words()[w]) return true;
        return false;
    }

private:
    static uint32_t wordCount(uint32_t length) { return (length + 63) / 64; }
    uint64_t* words() { return heap_ ? heap_ : &inline_; }
    const uint64_t* words() const { return heap_ ? heap_ : &inline_; }

    uint64_t inline_ = 0;
    uint64_t* heap_ = nullptr;
    uint32_t length_ = 0;
};

}  // namespace kelvar
