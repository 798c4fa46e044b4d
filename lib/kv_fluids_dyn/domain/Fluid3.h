#pragma once

#include "kv_basic/Export.h"
#include "kv_basic/KV_String.h"
#include "kv_math/Transform3Rts.h"
#include "kv_math/Vector3.h"

namespace kelvar::fluid {

// Base of every fluid domain: the physical parameters a host sets (viscosity,
// density, sound speed, Mach number, compressibility, speed and force limits),
// the thread count the solver hands down, and the domain's placement in the
// world.
//
// Setters store their argument unchanged: no clamping, no validation. The
// solver reads the parameters when it prepares a step and writes back the
// speed, sound speed and Mach number it derives from them. The operations
// that need a grid or cells are declared here and defined by the classes
// that have them. Copies copy every field.
template <class T>
class KV_EXPORT Fluid3 {
public:
    Fluid3();
    Fluid3(const Fluid3& other);
    Fluid3& operator=(const Fluid3& other);
    virtual ~Fluid3();

    virtual void setTransformWorld(const Transform3Rts<T>& transform);
    virtual void setPosition(const Vector3<T>& position);
    // Euler angles in degrees, applied about x, then y, then z.
    virtual void setRotation(const Vector3<T>& degrees);
    virtual void setScale(const Vector3<T>& scale);

    virtual const Vector3<T>& getVelocityAt(const Vector3<T>& p) const = 0;
    virtual Vector3<T> evalVelocityAt(const Vector3<T>& p) const = 0;
    virtual void addForce(const Vector3<T>& position, const Vector3<T>& force) = 0;
    virtual void addForce(const Vector3<T>& force) = 0;
    virtual void setForce(const Vector3<T>& position, const Vector3<T>& force) = 0;
    virtual void setForce(const Vector3<T>& force) = 0;
    virtual bool createCheckPoint(const KV_String& path) const = 0;
    virtual bool createFromCheckPoint(const KV_String& path) = 0;

    const T& getViscosity() const { return viscosity; }
    void setViscosity(const T& value) { viscosity = value; }
    const T& getMaxSpeed() const { return maxSpeed; }
    const T& getSoundSpeed() const { return soundSpeed; }
    void setSoundSpeed(const T& value) { soundSpeed = value; }
    const T& getMach() const { return mach; }
    void setMach(const T& value) { mach = value; }
    const T& getCompressibility() const { return compressibility; }
    void setCompressibility(const T& value) { compressibility = value; }
    const T& getDensity() const { return density; }
    void setDensity(const T& value) { density = value; }
    const Transform3Rts<T>& getTransformWorld() const { return transformWorld; }
    const T& getMaxForce() const { return maxForce; }
    void setMaxForce(const T& value) { maxForce = value; }
    const T& getMaxInitialSpeed() const { return maxInitialSpeed; }
    void setMaxInitialSpeed(const T& value) { maxInitialSpeed = value; }
    const unsigned int& getThreads() const { return threads; }
    void setThreads(const unsigned int& value) { threads = value; }

    // The solver stores the largest admissible speed it derives here.
    void setMaxSpeed(const T& value) { maxSpeed = value; }

protected:

    T viscosity;
    T maxSpeed;
    T soundSpeed;
    T mach;
    T compressibility;
    T density;
    Transform3Rts<T> transformWorld;
    T maxForce;
    T maxInitialSpeed;
    unsigned int threads;
};

extern template class KV_EXPORT Fluid3<float>;

}  // namespace kelvar::fluid
