#!/usr/bin/env python3
"""Expected results of the two collision operators and the equilibrium for
the fixed states used in LatticeCollisionTest.cpp and LatticeCellTest.cpp,
computed in single precision: every operation is done in double and rounded
to float32 at once, which gives the correctly rounded float result for +, -,
*, / and sqrt. Prints the literals pasted into the tests."""
import math
import struct


def f32(x):
    return struct.unpack('<f', struct.pack('<f', x))[0]


def bits(x):
    return struct.unpack('<I', struct.pack('<f', x))[0]


def add(a, b): return f32(a + b)
def sub(a, b): return f32(a - b)
def mul(a, b): return f32(a * b)
def div(a, b): return f32(a / b)
def sqrt(a): return f32(math.sqrt(a))


C = [(0, 0, 0), (1, 0, 0), (0, 1, 0), (-1, 0, 0), (0, -1, 0), (0, 0, 1), (0, 0, -1),
     (1, 1, 0), (-1, 1, 0), (-1, -1, 0), (1, -1, 0), (1, 0, 1), (-1, 0, 1), (-1, 0, -1),
     (1, 0, -1), (0, 1, 1), (0, -1, 1), (0, -1, -1), (0, 1, -1)]
W = [f32(1 / 3)] + [f32(1 / 18)] * 6 + [f32(1 / 36)] * 12
OPP = [0, 3, 4, 1, 2, 6, 5, 9, 10, 7, 8, 13, 14, 11, 12, 17, 18, 15, 16]
STREAM = [1, 2, 5, 7, 8, 11, 12, 15, 16]


def dot(a, b):  # (a.x b.x + a.y b.y) + a.z b.z
    return add(add(mul(a[0], b[0]), mul(a[1], b[1])), mul(a[2], b[2]))


def initial_state():
    # Dyadic inputs, exact in float: a perturbed state moving along +x, -y, +z.
    base = [1365] + [228] * 6 + [114] * 12
    return [(base[i] + (i * 7 % 11) - 5) / 4096.0 for i in range(19)]


def bgk(slots, force, nu):
    omega = div(2.0, add(mul(6.0, nu), 1.0))
    rho, j = 0.0, [0.0, 0.0, 0.0]
    for i in range(19):
        f = slots[OPP[i]]
        rho = add(rho, f)
        j = [add(j[k], mul(float(C[i][k]), f)) for k in range(3)]
    if force[1] < 0:
        j[1] = add(j[1], div(force[1], omega))
    inv = div(1.0, rho)
    velocity = [mul(j[k], inv) for k in range(3)]
    jj = dot(j, j)
    out = []
    for i in range(19):
        cj = dot([float(c) for c in C[i]], j)
        eq = add(add(sub(rho, mul(1.5, jj)), mul(3.0, cj)), mul(mul(4.5, cj), cj))
        out.append(add(mul(mul(eq, W[i]), omega), mul(sub(1.0, omega), slots[OPP[i]])))
    return out, rho, velocity


def rlb_smag(slots, force, nu):
    s = list(slots)
    for k in STREAM:
        s[k], s[OPP[k]] = s[OPP[k]], s[k]
    rho, j = 0.0, [0.0, 0.0, 0.0]
    for i in range(19):
        rho = add(rho, s[i])
        j = [add(j[k], mul(float(C[i][k]), s[i])) for k in range(3)]
    u = [div(j[k], rho) for k in range(3)]
    third = f32(0.33333334)
    Q = [[[sub(float(C[i][a] * C[i][b]), third) if a == b else float(C[i][a] * C[i][b])
           for b in range(3)] for a in range(3)] for i in range(19)]
    U = [[mul(u[a], u[b]) for b in range(3)] for a in range(3)]
    v = [add(u[k], force[k]) for k in range(3)]

    def contract(A, B):
        acc = 0.0
        for a in range(3):
            for b in range(3):
                acc = add(acc, mul(A[a][b], B[a][b]))
        return acc

    feq, Pi = [], [[0.0] * 3 for _ in range(3)]
    for i in range(19):
        cv = dot([float(c) for c in C[i]], v)
        e = mul(mul(W[i], rho), add(add(mul(cv, 3.0), 1.0), mul(f32(4.4999995), contract(Q[i], U))))
        feq.append(e)
        fneq = sub(s[i], e)
        for a in range(3):
            for b in range(3):
                Pi[a][b] = add(Pi[a][b], mul(Q[i][a][b], fneq))
    s2 = 0.0
    for a in range(3):
        for b in range(3):
            s2 = add(s2, mul(Pi[a][b], Pi[b][a]))
    norm = sqrt(s2)
    strain = mul(sub(sqrt(add(mul(norm, f32(0.0162)), mul(nu, nu))), nu), f32(185.18518))
    nu_eff = add(mul(strain, f32(0.0009)), nu)
    omega = div(1.0, add(mul(nu_eff, 3.0), 0.5))
    out = []
    for i in range(19):
        f1 = mul(mul(W[i], 4.5), contract(Q[i], Pi))
        out.append(add(mul(sub(1.0, omega), f1), feq[i]))
    return out, rho, u


def feq(i, rho, u):
    cu = dot([float(c) for c in C[i]], u)
    return mul(W[i], add(add(sub(rho, mul(1.5, dot(u, u))), mul(3.0, cu)), mul(mul(4.5, cu), cu)))


def emit(name, result):
    out, rho, vel = result
    print(f'// {name}')
    print('{' + ', '.join(f'0x{bits(x):08X}u' for x in out) + '},')
    print(f'density 0x{bits(rho):08X}u, velocity ' + ', '.join(f'0x{bits(x):08X}u' for x in vel))


if __name__ == '__main__':
    state = initial_state()
    nu = 1 / 64
    emit('BGK, force (1/2048, -1/1024, 0)', bgk(state, [1 / 2048, -1 / 1024, 0.0], nu))
    rho, u = f32(1.1), [f32(0.05), f32(-0.02), f32(0.013)]
    print(f'// equilibrium at rho 0x{bits(rho):08X}u, u ' + ', '.join(f'0x{bits(x):08X}u' for x in u))
    print('{' + ', '.join(f'0x{bits(feq(i, rho, u)):08X}u' for i in range(19)) + '},')
    emit('RLB Smagorinsky, force (1/2048, -1/1024, 1/4096)', rlb_smag(state, [1 / 2048, -1 / 1024, 1 / 4096], nu))
