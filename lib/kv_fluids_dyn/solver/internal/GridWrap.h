#pragma once

namespace kelvar::fluid {

// Coordinate c of a grid with n cells along one axis, wrapped into [0, n):
// n -> 0, -1 -> n-1, and likewise for offsets of several periods.
int wrapGridCoordinate(int c, int n);

}  // namespace kelvar::fluid
