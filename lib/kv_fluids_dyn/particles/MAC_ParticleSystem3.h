#pragma once

#include "kv_basic/Export.h"
#include "kv_fluids_dyn/particles/MAC_Particle3.h"
#include "kv_fluids_dyn/particles/ParticleSystem.h"
#include "kv_math/Vector2.h"
#include "kv_math/Vector3.h"

namespace kelvar::fluid {

// The marker particles of one fluid domain: the chunked pool plus the speed
// statistics the solver uses to choose its time step, one-call particle
// creation and explicit Euler integration of positions. Everything runs on
// the caller's thread; the pool's rules on pointer stability apply.
class KV_EXPORT MAC_ParticleSystem3 : public ParticleSystem<MAC_Particle3> {
public:
    MAC_ParticleSystem3() = default;
    MAC_ParticleSystem3(const MAC_ParticleSystem3& other) = default;
    MAC_ParticleSystem3& operator=(const MAC_ParticleSystem3& other) = default;
    virtual ~MAC_ParticleSystem3();

    const float& getMaxSpeed() const { return maxSpeed; }
    float& refMaxSpeed() { return maxSpeed; }
    void setMaxSpeed(const float& speed) { maxSpeed = speed; }
    const float& getMinSpeed() const { return minSpeed; }
    float& refMinSpeed() { return minSpeed; }
    void setMinSpeed(const float& speed) { minSpeed = speed; }

    // The id the next created particle gets.
    const unsigned int& getLastUsedId() const { return lastUsedId; }
    unsigned int& refLastUsedId() { return lastUsedId; }
    void setLastUsedId(const unsigned int& id) { lastUsedId = id; }

    // A new particle with the next id and the given fields.
    MAC_Particle3& createParticle(const Vector3<float>& position, const Vector3<float>& velocity,
                                  const unsigned short& sourceId, const Vector2<float>& uv);

    // maxSpeed := the largest particle speed (0 without particles).
    void calcMaxVelModule();

    // position += (float)dt * velocity for every particle.
    void integrateParticlesPosition(const double& dt);

    // Removes every particle and restarts ids at 0; the speeds are kept.
    void removeParticles();

protected:
    float maxSpeed = 0.0f;
    float minSpeed = 0.0f;
};

}  // namespace kelvar::fluid
