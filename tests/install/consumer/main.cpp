// Uses inline types from the installed headers and symbols exported by the
// installed shared library; exits non-zero when any of them misbehaves.
#include <cstdio>

#include <kv_fluids_dyn/kv_fluids_dyn.h>
#include <kv_math/Transform3Rts.h>

int main() {
    const kelvar::Vector3<float> p{1.0f, 2.0f, 3.0f};
    kelvar::Transform3Rts<float> placement;
    placement.setTranslation({1.0f, 0.0f, 0.0f});
    placement.setScale({2.0f, 2.0f, 2.0f});
    const kelvar::Vector3<float> moved = placement.transformPoint(p);
    const kelvar::Vector3<float> back = placement.inverseTransformPoint(moved);
    if (!(moved == kelvar::Vector3<float>{3.0f, 4.0f, 6.0f}) || !(back == p)) {
        std::fprintf(stderr, "transform gave (%g %g %g)\n", moved.x, moved.y, moved.z);
        return 1;
    }
    if (kelvar::fluid::streamVersion != 17) {
        std::fprintf(stderr, "unexpected stream version %u\n", kelvar::fluid::streamVersion);
        return 1;
    }
    std::printf("kv_fluids_dyn consumer ok\n");
    return 0;
}
