#include "kv_geometry/BoxGrid3.h"

namespace kelvar {

template <class T>
Tuple3<unsigned int> BoxGrid3<T>::sampleCell(uint32_t n) const {
    const unsigned c = n % count.third;
    const unsigned ab = n / count.third;
    return {first.first + ab / count.second, first.second + ab % count.second, first.third + c};
}

template <class T>
Box3<T> BoxGrid3<T>::sampleBox(uint32_t n) const {
    const Tuple3<unsigned int> cell = sampleCell(n);
    const Vector3<T> lo = origin + Vector3<T>(T(cell.first), T(cell.second), T(cell.third)).mul(cellSize);
    const Vector3<T> hi =
        origin + Vector3<T>(T(cell.first + 1), T(cell.second + 1), T(cell.third + 1)).mul(cellSize);
    return {lo, hi};
}

template <class T>
Box3<T> BoxGrid3<T>::box() const {
    const Vector3<T> lo = origin + Vector3<T>(T(first.first), T(first.second), T(first.third)).mul(cellSize);
    const Vector3<T> hi = origin + Vector3<T>(T(first.first + count.first), T(first.second + count.second),
                                              T(first.third + count.third)).mul(cellSize);
    return {lo, hi};
}

template struct BoxGrid3<float>;

}  // namespace kelvar
