#pragma once

#include "kv_math/Vector3.h"

// The D3Q19 lattice as compile-time data.
//
// Direction order: 0 rest; 1 +x, 2 +y, 3 -x, 4 -y, 5 +z, 6 -z; 7-10 the xy
// diagonals, 11-14 the xz diagonals, 15-18 the yz diagonals, each plane's
// four going round the plane. Every distribution array, neighbour array and
// table of the library uses this order.
//
// The table singletons are filled from these arrays, and the per-cell hot
// loops (collision, streaming, mass exchange) read them directly so that no
// virtual call or indirection sits inside those loops.
namespace kelvar::fluid::q19 {

inline constexpr unsigned int kDirectionCount = 19;
inline constexpr unsigned int kStreamCount = 9;
inline constexpr unsigned int kFirstDiagonal = 7;
inline constexpr unsigned int kFreeSlipRowLength = 5;
inline constexpr unsigned int kMirrorRowCount = 7;

// Marks an absent entry of the free-slip table.
inline constexpr unsigned int kNone = 0xFFFFFFFFu;

// Integer displacement of each direction: the grid offset to the neighbour it
// points at.
inline constexpr int kDirection[kDirectionCount][3] = {
    {0, 0, 0},                                                   // 0 rest
    {1, 0, 0},   {0, 1, 0},  {-1, 0, 0}, {0, -1, 0},             // 1-4 +x +y -x -y
    {0, 0, 1},   {0, 0, -1},                                     // 5-6 +z -z
    {1, 1, 0},   {-1, 1, 0}, {-1, -1, 0}, {1, -1, 0},            // 7-10 xy plane
    {1, 0, 1},   {-1, 0, 1}, {-1, 0, -1}, {1, 0, -1},            // 11-14 xz plane
    {0, 1, 1},   {0, -1, 1}, {0, -1, -1}, {0, 1, -1},            // 15-18 yz plane
};

// The same displacements as float vectors, for the moment and equilibrium sums.
inline constexpr Vector3<float> directionVector(unsigned int i) {
    return {float(kDirection[i][0]), float(kDirection[i][1]), float(kDirection[i][2])};
}
inline constexpr Vector3<float> kVelocity[kDirectionCount] = {
    directionVector(0),  directionVector(1),  directionVector(2),  directionVector(3),
    directionVector(4),  directionVector(5),  directionVector(6),  directionVector(7),
    directionVector(8),  directionVector(9),  directionVector(10), directionVector(11),
    directionVector(12), directionVector(13), directionVector(14), directionVector(15),
    directionVector(16), directionVector(17), directionVector(18),
};

// Quadrature weights, the nearest floats to 1/3, 1/18 and 1/36.
inline constexpr float kWeightRest = 1.0f / 3.0f;
inline constexpr float kWeightAxis = 1.0f / 18.0f;
inline constexpr float kWeightDiagonal = 1.0f / 36.0f;
inline constexpr float kWeight[kDirectionCount] = {
    kWeightRest,
    kWeightAxis,     kWeightAxis,     kWeightAxis,     kWeightAxis,     kWeightAxis,     kWeightAxis,
    kWeightDiagonal, kWeightDiagonal, kWeightDiagonal, kWeightDiagonal,
    kWeightDiagonal, kWeightDiagonal, kWeightDiagonal, kWeightDiagonal,
    kWeightDiagonal, kWeightDiagonal, kWeightDiagonal, kWeightDiagonal,
};

// Entry i is the direction pointing the other way.
inline constexpr unsigned int kOpposite[kDirectionCount] = {
    0, 3, 4, 1, 2, 6, 5, 9, 10, 7, 8, 13, 14, 11, 12, 17, 18, 15, 16,
};

// One direction of each opposite pair: the one whose last non-zero component
// is +1. Visiting these with their opposites touches every link once.
inline constexpr unsigned int kStreamIndex[kStreamCount] = {1, 2, 5, 7, 8, 11, 12, 15, 16};

// Mirror images of every direction in the plane normal to the x, y and z axis
// (rows 1, 2 and 5 of the mirror table).
inline constexpr unsigned int kMirrorX[kDirectionCount] = {
    0, 3, 2, 1, 4, 5, 6, 8, 7, 10, 9, 12, 11, 14, 13, 15, 16, 17, 18,
};
inline constexpr unsigned int kMirrorY[kDirectionCount] = {
    0, 1, 4, 3, 2, 5, 6, 10, 9, 8, 7, 11, 12, 13, 14, 16, 15, 18, 17,
};
inline constexpr unsigned int kMirrorZ[kDirectionCount] = {
    0, 1, 2, 3, 4, 6, 5, 7, 8, 9, 10, 14, 13, 12, 11, 18, 17, 16, 15,
};

// Free-slip table, one row per direction. For a diagonal d: entries 0 and 1
// are the two axis directions adding up to d; entry 2 the mirror of d in the
// plane normal to entry 1's axis; entry 3 the mirror of d in the plane normal
// to entry 0's axis; entry 4 the position (0 or 1) of the first of entries 2
// and 3 that is present. Each in-plane mirror pair is listed once.
inline constexpr unsigned int kFreeSlip[kDirectionCount][kFreeSlipRowLength] = {
    {kNone, kNone, kNone, kNone, kNone},  // 0
    {kNone, kNone, kNone, kNone, kNone},  // 1
    {kNone, kNone, kNone, kNone, kNone},  // 2
    {kNone, kNone, kNone, kNone, kNone},  // 3
    {kNone, kNone, kNone, kNone, kNone},  // 4
    {kNone, kNone, kNone, kNone, kNone},  // 5
    {kNone, kNone, kNone, kNone, kNone},  // 6
    {1, 2, 10, 8, 0},                     // 7  ( 1, 1, 0)
    {2, 3, kNone, 9, 1},                  // 8  (-1, 1, 0)
    {3, 4, kNone, 10, 1},                 // 9  (-1,-1, 0)
    {1, 4, kNone, kNone, kNone},          // 10 ( 1,-1, 0)
    {1, 5, 14, 12, 0},                    // 11 ( 1, 0, 1)
    {5, 3, kNone, 13, 1},                 // 12 (-1, 0, 1)
    {3, 6, kNone, 14, 1},                 // 13 (-1, 0,-1)
    {1, 6, kNone, kNone, kNone},          // 14 ( 1, 0,-1)
    {2, 5, 18, 16, 0},                    // 15 ( 0, 1, 1)
    {5, 4, kNone, 17, 1},                 // 16 ( 0,-1, 1)
    {4, 6, kNone, 18, 1},                 // 17 ( 0,-1,-1)
    {2, 6, kNone, kNone, kNone},          // 18 ( 0, 1,-1)
};

}  // namespace kelvar::fluid::q19
