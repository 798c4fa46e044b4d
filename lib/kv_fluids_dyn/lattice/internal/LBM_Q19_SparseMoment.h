#pragma once

#include <cstddef>
#include <utility>

#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"
#include "kv_math/Vector3.h"

namespace kelvar::fluid::q19 {

// First moment sum_i c_i f_i of 19 distributions without the products with a
// zero direction component. Those would add +-0 to a sum that started at +0,
// which changes nothing when every f_i is finite, and the products with +-1
// are exact: the result has the same bits as the full sum in direction order.
// Callers must check that the distributions are finite.
namespace detail {

template <unsigned int A, unsigned int I, class F>
inline void addMomentumTerm(F& sum, const F* f) {
    if constexpr (kDirection[I][A] != 0) sum += float(kDirection[I][A]) * f[I];
}

template <unsigned int A, class F, std::size_t... I>
inline F momentumComponent(const F* f, std::index_sequence<I...>) {
    F sum = 0.0f;
    (addMomentumTerm<A, unsigned(I)>(sum, f), ...);
    return sum;
}

}  // namespace detail

// F is float, or a lane type such as Float4 whose arithmetic is float's per
// lane.
template <class F>
inline Vector3<F> sparseFirstMoment(const F* f) {
    constexpr auto directions = std::make_index_sequence<kDirectionCount>();
    return {detail::momentumComponent<0>(f, directions), detail::momentumComponent<1>(f, directions),
            detail::momentumComponent<2>(f, directions)};
}

}  // namespace kelvar::fluid::q19
