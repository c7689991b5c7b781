#pragma once

#include <cstdint>

/// Hashes of whole compressed trees, each with a sample of the next seed's scene: a row per scene
/// kind and build method, a column per item count. Equal on every compiler, optimization level and
/// lane back end. A change that means to change trees or the bytes of boxes brings new rows: run
/// the golden tests with GAS_PRINT_GOLDEN_TREES set.
constexpr std::uint64_t golden_compressed_seed = 2025;
constexpr unsigned golden_compressed_counts[] = {1, 2, 3, 17, 129, 2000};

constexpr std::uint64_t golden_compressed_hashes[][6] = {
    // random, median
    {0xdaaa878f672467d9, 0x008d6339aa97e25e, 0x62b39228c0a6c65c, 0xf1a687845422e1a9,
     0xd0ef964aeba95c27, 0xade6d38559783b59},
    // random, hybrid
    {0xdaaa878f672467d9, 0x008d6339aa97e25e, 0x62b39228c0a6c65c, 0x8f4ff19361f2e583,
     0x12ae5579995ef1b3, 0x06504754724785bd},
    // random, sah_fast
    {0xdaaa878f672467d9, 0x008d6339aa97e25e, 0x62b39228c0a6c65c, 0x8f4ff19361f2e583,
     0x12ae5579995ef1b3, 0x454c8526268b203b},
    // random, sah
    {0xdaaa878f672467d9, 0x008d6339aa97e25e, 0x62b39228c0a6c65c, 0x10248e77c2b7a975,
     0x5e2919592d40d519, 0xb4a0d6607efa562c},
    // clustered, median
    {0xf354afb13a713019, 0x6d0047f95fca08f9, 0x6e3787b08b1166fe, 0xeec39689ee7d1f5b,
     0x3d75a1b74955f6b1, 0xa47858c95ae4a374},
    // clustered, hybrid
    {0xf354afb13a713019, 0x6d0047f95fca08f9, 0x43c8234bd1f39884, 0xe4f9c724de5654cb,
     0x19fee564d6e07408, 0x4cc868c54801f86d},
    // clustered, sah_fast
    {0xf354afb13a713019, 0x6d0047f95fca08f9, 0x43c8234bd1f39884, 0xe4f9c724de5654cb,
     0x19fee564d6e07408, 0x0b3b3797df82bfd9},
    // clustered, sah
    {0xf354afb13a713019, 0x6d0047f95fca08f9, 0x43c8234bd1f39884, 0x595ac215b280801d,
     0x06f7c687d8523167, 0x6bfe1d3cdd0dbe55},
    // flat, median
    {0xf426ded7e19980d2, 0xfbbbe20b2f8a6df9, 0xef6d6e62a71a8889, 0x62c9951e623aa1ea,
     0x720645f42ef797c2, 0x939e29fb85fbb489},
    // flat, hybrid
    {0xf426ded7e19980d2, 0xfbbbe20b2f8a6df9, 0xef6d6e62a71a8889, 0x4d35ebfc07e1e098,
     0xe521149a114d37b1, 0x36ed22c8cbba4346},
    // flat, sah_fast
    {0xf426ded7e19980d2, 0xfbbbe20b2f8a6df9, 0xef6d6e62a71a8889, 0x4d35ebfc07e1e098,
     0xe521149a114d37b1, 0xb731645176a824e3},
    // flat, sah
    {0xf426ded7e19980d2, 0xfbbbe20b2f8a6df9, 0xc85984f0b63ae158, 0x4f72ee6fbecc2726,
     0x3965f6b74b1ae7e0, 0xf81e9a76bacaa6d8},
    // collinear, median
    {0xd01b0a62eca56f1e, 0x6ec88f186c11adf5, 0x950977c2ecf3e024, 0xa9bb69f8815c5d53,
     0xde91d9d17c415b16, 0x7485d079312bfece},
    // collinear, hybrid
    {0xd01b0a62eca56f1e, 0x6ec88f186c11adf5, 0x950977c2ecf3e024, 0x8675b0ff9d918c6c,
     0xf6b839da8b0c2326, 0xd481cd2edb38df04},
    // collinear, sah_fast
    {0xd01b0a62eca56f1e, 0x6ec88f186c11adf5, 0x950977c2ecf3e024, 0x8675b0ff9d918c6c,
     0xe1bdde7c51687d98, 0x43f561d277cb767b},
    // collinear, sah
    {0xd01b0a62eca56f1e, 0x6ec88f186c11adf5, 0x950977c2ecf3e024, 0x8675b0ff9d918c6c,
     0xe1bdde7c51687d98, 0x43f561d277cb767b},
    // coincident, median
    {0xe7341e2aa7a09db2, 0xb69457b819804c2d, 0x49b78f592fe112ee, 0x13ea2265c1741278,
     0x83aeff56e785dc33, 0xf420497181a03af7},
    // coincident, hybrid
    {0xe7341e2aa7a09db2, 0xb69457b819804c2d, 0x49b78f592fe112ee, 0x13ea2265c1741278,
     0x83aeff56e785dc33, 0xf420497181a03af7},
    // coincident, sah_fast
    {0xe7341e2aa7a09db2, 0xb69457b819804c2d, 0x49b78f592fe112ee, 0x13ea2265c1741278,
     0x83aeff56e785dc33, 0xf420497181a03af7},
    // coincident, sah
    {0xe7341e2aa7a09db2, 0xb69457b819804c2d, 0x49b78f592fe112ee, 0x13ea2265c1741278,
     0x83aeff56e785dc33, 0xf420497181a03af7},
    // huge, median
    {0x9fc291a1bd3c54eb, 0x3bb805b850c6b862, 0x7b61467eb7aff9e0, 0xd0f7c75eb254d7d4,
     0xb1927858ba21d71e, 0xb094e675f9359073},
    // huge, hybrid
    {0x9fc291a1bd3c54eb, 0x3bb805b850c6b862, 0x7b61467eb7aff9e0, 0x35f1063ae55b4da9,
     0xa3e08f4431f365d2, 0xdd736bbaf8f258f2},
    // huge, sah_fast
    {0x9fc291a1bd3c54eb, 0x3bb805b850c6b862, 0x7b61467eb7aff9e0, 0x35f1063ae55b4da9,
     0xa3e08f4431f365d2, 0x96812472e35dac0d},
    // huge, sah
    {0x9fc291a1bd3c54eb, 0x3bb805b850c6b862, 0x7b61467eb7aff9e0, 0x16ad249302b6324d,
     0x37055138ee5911e3, 0x8e8cce75b8f1ed6f},
    // tiny, median
    {0x668971b2b1243273, 0x23d29cef7b294702, 0xbcd5d9f751e36984, 0xfc23385e83d4ae49,
     0x0706f2e94c9ab35c, 0xa73fc29264a7036d},
    // tiny, hybrid
    {0x668971b2b1243273, 0x23d29cef7b294702, 0xbcd5d9f751e36984, 0xfc23385e83d4ae49,
     0x0706f2e94c9ab35c, 0xa73fc29264a7036d},
    // tiny, sah_fast
    {0x668971b2b1243273, 0x23d29cef7b294702, 0xbcd5d9f751e36984, 0xfc23385e83d4ae49,
     0x0706f2e94c9ab35c, 0xa73fc29264a7036d},
    // tiny, sah
    {0x668971b2b1243273, 0x23d29cef7b294702, 0xbcd5d9f751e36984, 0xfc23385e83d4ae49,
     0x0706f2e94c9ab35c, 0xa73fc29264a7036d},
    // grid, median
    {0x1c769858cb3b770f, 0x36eee5a030fd5f1c, 0x08b844fde3c1725b, 0xb4530efa80b3a9d7,
     0x2e2c70500251a549, 0x5c49f6003dcfe942},
    // grid, hybrid
    {0x1c769858cb3b770f, 0x36eee5a030fd5f1c, 0x21ad33c9c5bd98b6, 0xcfd1c8fb6226723c,
     0xea05dc4af005f106, 0x9130ac5cef1bc94c},
    // grid, sah_fast
    {0x1c769858cb3b770f, 0x36eee5a030fd5f1c, 0x21ad33c9c5bd98b6, 0xcfd1c8fb6226723c,
     0xea05dc4af005f106, 0x385046809e7f377c},
    // grid, sah
    {0x1c769858cb3b770f, 0x36eee5a030fd5f1c, 0x21ad33c9c5bd98b6, 0xcfd1c8fb6226723c,
     0x6881cd6170eefe39, 0xdb77b8d90add356d},
    // nested, median
    {0xb4acf039181ae8cf, 0x394d9f26b6d413e1, 0xcae324846e5482fa, 0xacf16ff45ec55d4c,
     0x772260fbee6c8099, 0xacdd6da206f4943b},
    // nested, hybrid
    {0xb4acf039181ae8cf, 0x394d9f26b6d413e1, 0xcae324846e5482fa, 0x4aaf6c10a9c517e0,
     0x18f8d2ec600313da, 0x3767071f5029151c},
    // nested, sah_fast
    {0xb4acf039181ae8cf, 0x394d9f26b6d413e1, 0xcae324846e5482fa, 0x4aaf6c10a9c517e0,
     0xe7bca2c5f4fe5850, 0xb10ca41fd09002e0},
    // nested, sah
    {0xb4acf039181ae8cf, 0x394d9f26b6d413e1, 0xcae324846e5482fa, 0x4aaf6c10a9c517e0,
     0xe7bca2c5f4fe5850, 0xb10ca41fd09002e0},
    // diagonal, median
    {0x6ebd9fc375b81d1f, 0xb65342e62a2f0547, 0x6100e45d776c5229, 0x5f9ec7620098e142,
     0x43fe923113f89e10, 0x60aeed8cc9ad1f04},
    // diagonal, hybrid
    {0x6ebd9fc375b81d1f, 0xb65342e62a2f0547, 0x425ae6bff531012d, 0x8d46f198f20e8e29,
     0xee5d1f3cbbd21597, 0x0862957a8ee813e6},
    // diagonal, sah_fast
    {0x6ebd9fc375b81d1f, 0xb65342e62a2f0547, 0x425ae6bff531012d, 0x8d46f198f20e8e29,
     0xee5d1f3cbbd21597, 0x0862957a8ee813e6},
    // diagonal, sah
    {0x6ebd9fc375b81d1f, 0xb65342e62a2f0547, 0x425ae6bff531012d, 0x8d46f198f20e8e29,
     0xee5d1f3cbbd21597, 0x0862957a8ee813e6},
    // geometric_chain, median
    {0x040ff7980a16e4af, 0x6611c46ded668ba8, 0x0d378f4aab069014, 0x2a8c1976103820a9,
     0x391e603ab898567a, 0x760800e813821244},
    // geometric_chain, hybrid
    {0x040ff7980a16e4af, 0x6611c46ded668ba8, 0x0d378f4aab069014, 0xd8d35b9084e3e179,
     0x211b40e16c90dc1f, 0x655fc2e1a7135087},
    // geometric_chain, sah_fast
    {0x040ff7980a16e4af, 0x6611c46ded668ba8, 0x0d378f4aab069014, 0xd8d35b9084e3e179,
     0xad1b094ca4d504a7, 0xc34b5260a663ef2f},
    // geometric_chain, sah
    {0x040ff7980a16e4af, 0x6611c46ded668ba8, 0x0d378f4aab069014, 0xd8d35b9084e3e179,
     0xad1b094ca4d504a7, 0xc34b5260a663ef2f},
    // sheet, median
    {0x105bc672f74166bf, 0xcee83858cb50ac43, 0xb2a47e10f9e5f12a, 0xb1d460572d155c22,
     0x193a4b4d9191512d, 0xc48d2d1b9fc9ea4d},
    // sheet, hybrid
    {0x105bc672f74166bf, 0xcee83858cb50ac43, 0x500f3c0cf24c0800, 0x23bafee1490e43e8,
     0x1c425112bb76bfa3, 0xcd3c54638b22e0ae},
    // sheet, sah_fast
    {0x105bc672f74166bf, 0xcee83858cb50ac43, 0x500f3c0cf24c0800, 0x23bafee1490e43e8,
     0x818efdc5ab42be7e, 0xadd422cdafa122a3},
    // sheet, sah
    {0x105bc672f74166bf, 0xcee83858cb50ac43, 0x5aac37ca39589ee6, 0x8c8fae27e7856f18,
     0x500f4c84be728d23, 0xc240e18a95872c48},
};
