#pragma once

#include <cstdint>

/// Hashes of whole grids: a row per scene kind, a column per number of items and target. Equal on
/// every compiler, optimization level and lane back end. A change that means to change grids brings
/// new rows: run the golden tests with GAS_PRINT_GOLDEN_GRIDS set.
constexpr std::uint64_t golden_grid_seed = 2025;

struct GoldenGrid {
    unsigned count;
    unsigned target;
};

constexpr GoldenGrid golden_grids[] = {{1, 1}, {2, 8}, {40, 5}, {700, 1}, {3000, 24}, {3000, 2000}};

constexpr std::uint64_t golden_grid_hashes[][6] = {
    // random
    {0xb9bad8d15d4d96c8, 0x1bac6eb8e14b9cfc, 0x5205fafbca30b9f5, 0xf200344fd7fc2f6b,
     0xc984d033bb1c2d52, 0xaa3d1baf7f382e8b},
    // clustered
    {0x92aaefd87a321338, 0x6cc9dff845202566, 0xdca82a3a5d3a3946, 0x8fb8ab833d6e2cd4,
     0x00c14a66b8fc5bd7, 0xc9fb350b9e141e12},
    // flat
    {0x4112966060f7cf58, 0x686f3717f500d940, 0xb7eef875ed609b2f, 0x9b8f6330ed29cabd,
     0x227ef77e8dc1b5df, 0xe4ee7e71db375b73},
    // collinear
    {0x89c345f67634165c, 0x23ddce78d6e390ad, 0x4785153fa109c644, 0x5be8d89285fe0e96,
     0x4fa28299bfda2eea, 0x78b9c11c78efd555},
    // coincident
    {0x28eb03a2b3e10f40, 0x85f91e6e9b5163a3, 0x6446af829d95d954, 0x2753a2ee96301646,
     0x8d6e97d79580c37f, 0x8d6e97d79580c37f},
    // huge
    {0xb7acc20edf07dffc, 0xce7b28a12eda1e3e, 0x36b01bd5584566e5, 0x07746c67f41bb98a,
     0x16b4d830ea11274a, 0xd0ea4be734ce1158},
    // tiny
    {0xb31e583ec25e47c4, 0x034b05b2ecc0eab5, 0xc3f363126af958fe, 0x0502acb9d0955d0d,
     0x1bf2829ec7b83714, 0x1bf2829ec7b83714},
    // grid
    {0xb0c348e0814cc85c, 0xde79df4dd144938c, 0x16320ab26c41bd24, 0x4cd8244ee9ca2f0b,
     0x59cab61c56829c2f, 0x1b35f9100fdf0ad7},
    // nested
    {0x4e718eb00e1b8d8c, 0xb3fa0421e7aaeaf8, 0x895d3ac5e061c370, 0x86794b3a045eb634,
     0x5e10beaac48573f8, 0x18fb336c7f509cd4},
    // diagonal
    {0x4f1e6ef813dc28f0, 0xe51818609961dcfb, 0xc0261a3f4d33d42c, 0x698a0cc9ef249f62,
     0xe80fdf81f07cec98, 0xb2ab7a15268f1dcb},
    // geometric_chain
    {0xe968aececc8e62ec, 0x659c91d1e8141a3c, 0xa74c7f3d468c1b71, 0xea98db4f5c019bb5,
     0xef6f7d056f8ca7d7, 0x5a7577297597d300},
    // sheet
    {0x8916f5f2bd3bd97c, 0x3624020ed3c66059, 0x6a5ea1f1c79c87d2, 0x3d652e938e2e9aef,
     0x91a387168d25be8a, 0x0f3327d6216be516},
};
