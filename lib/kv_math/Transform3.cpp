#include "kv_math/Transform3.h"

#include "kv_basic/ByteOrder.h"

namespace kelvar {

template <class T>
Transform3<T>::Transform3() = default;

template <class T>
Transform3<T>::Transform3(const Transform3Rts<T>& rts)
    : matrix_(rts.getMatrix()),
      inverse_(rts.getInverseMatrix()),
      rotation_(rts.hasRotation() ? rts.getRotation() : Quaternion<T>::identity()) {}

template <class T>
Transform3<T> Transform3<T>::concatenate(const Transform3& first, const Transform3& second) {
    Transform3 result;
    result.matrix_ = second.matrix_ * first.matrix_;
    result.inverse_ = first.inverse_ * second.inverse_;
    result.rotation_ = second.rotation_ * first.rotation_;
    return result;
}

template <class T>
void Transform3<T>::writeBinary(unsigned char* out) const {
    out = storeLittleEndian(&matrix_.m[0][0], 16, out);
    out = storeLittleEndian(&inverse_.m[0][0], 16, out);
    const T rotation[4] = {rotation_.x, rotation_.y, rotation_.z, rotation_.w};
    storeLittleEndian(rotation, 4, out);
}

template <class T>
void Transform3<T>::readBinary(const unsigned char* in) {
    in = loadLittleEndian(&matrix_.m[0][0], 16, in);
    in = loadLittleEndian(&inverse_.m[0][0], 16, in);
    T rotation[4];
    loadLittleEndian(rotation, 4, in);
    rotation_ = {rotation[0], rotation[1], rotation[2], rotation[3]};
}

template class Transform3<float>;
template class Transform3<double>;

}  // namespace kelvar
