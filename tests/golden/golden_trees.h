#pragma once

#include <cstdint>

/// Hashes of whole trees: a row per scene kind and build method, a column per item count. Equal on
/// every compiler, optimization level and lane back end. A change that means to change trees brings
/// new rows: run the golden tests with GAS_PRINT_GOLDEN_TREES set.
constexpr std::uint64_t golden_seed = 2024;
constexpr unsigned golden_counts[] = {1, 2, 3, 16, 17, 128, 129, 1000, 5000};

constexpr std::uint64_t golden_hashes[][9] = {
    // random, median
    {0xf22f747358f7c1f8, 0x4526068a4c4e184d, 0xa230628f4efe245c, 0x705d285d34287df6,
     0x0661bfdf7a157ff8, 0xd4471b5d8d85bbe2, 0xbb0793b25bfa7fcb, 0x256b970e147e94a0,
     0x50a59a8da2fed9e1},
    // random, hybrid
    {0xf22f747358f7c1f8, 0x4526068a4c4e184d, 0xa230628f4efe245c, 0xb0b1b74f8f138218,
     0xe76e62a739e0d845, 0x81a04e1522524002, 0xa47bc9e8a0001abf, 0x7c57f42bb063b811,
     0x77dd0606b6c4b5c1},
    // random, sah_fast
    {0xf22f747358f7c1f8, 0x4526068a4c4e184d, 0xa230628f4efe245c, 0xb0b1b74f8f138218,
     0xe76e62a739e0d845, 0x81a04e1522524002, 0xa47bc9e8a0001abf, 0x3fc6405e2afe65b0,
     0x023644b1eacefbb9},
    // random, sah
    {0xf22f747358f7c1f8, 0x4526068a4c4e184d, 0xac510e96b068a3f4, 0x1949b5494adf2542,
     0x4678a04fdb45709f, 0x2501266771e6eafd, 0x991e292b7e359853, 0x06e509dbfbbb0461,
     0x30e1549b0e236d59},
    // clustered, median
    {0x40b0c06e35055a91, 0x58f649c2c24f8aa9, 0x88efd8122fcec8d9, 0xda46afcfa1e3b357,
     0xc6d67e2da280a5bd, 0x90f797a7d535c546, 0x7b0a7e1c5a1ac1a1, 0x2aa1a80b31ac85c3,
     0x73edf666343a1784},
    // clustered, hybrid
    {0x40b0c06e35055a91, 0x58f649c2c24f8aa9, 0xa94ec44318c98ec3, 0xf7438e58513fe38e,
     0x5172e6a77b2bd356, 0xedecaabee653815c, 0xef1c248b4895d617, 0xa1431010dd95b7ff,
     0x8276c7700cb9fc80},
    // clustered, sah_fast
    {0x40b0c06e35055a91, 0x58f649c2c24f8aa9, 0xa94ec44318c98ec3, 0xf7438e58513fe38e,
     0x5172e6a77b2bd356, 0xedecaabee653815c, 0xef1c248b4895d617, 0x867bc8ab54179b4a,
     0x5791fb02161c25fb},
    // clustered, sah
    {0x40b0c06e35055a91, 0x58f649c2c24f8aa9, 0x3e062e7fe6c0c1bf, 0x5c3c198ff5a37c9d,
     0x173c338fcb9c482e, 0x491925944730375f, 0xaf7f01b713be1d0d, 0xcc05636c5aafb8f6,
     0x2750643d65c2b5cd},
    // flat, median
    {0xcaa2fd9cae82d54d, 0x13399e77debe5c68, 0x6a28de49a57db0ec, 0x30e25378dd671338,
     0xf71488224eab8084, 0x304d117c16aa8026, 0x6a90bf71e36c49fb, 0xc07010c4a9aa64f6,
     0x3b49acf9c271c5ac},
    // flat, hybrid
    {0xcaa2fd9cae82d54d, 0x13399e77debe5c68, 0x6a28de49a57db0ec, 0xeaf80bdb3aec3bd6,
     0xd9cafa39b2f71678, 0x5b51c9109245a20d, 0x6acbaa467731f429, 0xb04b4a21ee8da02b,
     0x92a63b8b0263b589},
    // flat, sah_fast
    {0xcaa2fd9cae82d54d, 0x13399e77debe5c68, 0x6a28de49a57db0ec, 0xeaf80bdb3aec3bd6,
     0xd9cafa39b2f71678, 0x5b51c9109245a20d, 0x76308ee46f9b5e88, 0xc722fc2512bf35c1,
     0x6ecb2599261dd784},
    // flat, sah
    {0xcaa2fd9cae82d54d, 0x13399e77debe5c68, 0x6a28de49a57db0ec, 0xebff9785c41e0fe1,
     0x9f51ceb4c11c5ff8, 0x17afcda71982e6a7, 0x2c187aa8479bf2ed, 0x756d6c9cd1efc164,
     0x73f920ec8f612620},
    // collinear, median
    {0x0e6f8315cc2d6d35, 0x9b3b0b0b9c235f97, 0x21aa7f4e7547843b, 0x10d59cb2a64da801,
     0xea13ffa1eab11a50, 0x83be36cc94e7202e, 0x215207e963bc5318, 0x0ca2e7c6065e3e9a,
     0xc7ef0d31628f878d},
    // collinear, hybrid
    {0x0e6f8315cc2d6d35, 0x9b3b0b0b9c235f97, 0x5b64c99a2111f76a, 0x6746551d80af5929,
     0xf5781f1d4e404dcd, 0x2ec765218f6ef527, 0x94501d38f1f59388, 0x25b9a0ac5b3b44c0,
     0x916b92cce2b7672e},
    // collinear, sah_fast
    {0x0e6f8315cc2d6d35, 0x9b3b0b0b9c235f97, 0x5b64c99a2111f76a, 0x6746551d80af5929,
     0xf5781f1d4e404dcd, 0x2ec765218f6ef527, 0x94501d38f1f59388, 0xbae56d93e0482bb9,
     0xf75b90901aeda4ab},
    // collinear, sah
    {0x0e6f8315cc2d6d35, 0x9b3b0b0b9c235f97, 0x5b64c99a2111f76a, 0x6746551d80af5929,
     0xf5781f1d4e404dcd, 0x2ec765218f6ef527, 0x94501d38f1f59388, 0xbae56d93e0482bb9,
     0xf75b90901aeda4ab},
    // coincident, median
    {0x2d823523a2d029d5, 0xcaee1ed63f8863f3, 0x499b9db135d8fb38, 0x0e5cf4dfd0ee1235,
     0x11a27b5b4a6e6860, 0xd9e53a1d47c33634, 0x4a9f09fc0047ad89, 0x97328633bed44d90,
     0x0560e1f8469a9c69},
    // coincident, hybrid
    {0x2d823523a2d029d5, 0xcaee1ed63f8863f3, 0x499b9db135d8fb38, 0x0e5cf4dfd0ee1235,
     0x11a27b5b4a6e6860, 0xd9e53a1d47c33634, 0x4a9f09fc0047ad89, 0x97328633bed44d90,
     0x0560e1f8469a9c69},
    // coincident, sah_fast
    {0x2d823523a2d029d5, 0xcaee1ed63f8863f3, 0x499b9db135d8fb38, 0x0e5cf4dfd0ee1235,
     0x11a27b5b4a6e6860, 0xd9e53a1d47c33634, 0x4a9f09fc0047ad89, 0x97328633bed44d90,
     0x0560e1f8469a9c69},
    // coincident, sah
    {0x2d823523a2d029d5, 0xcaee1ed63f8863f3, 0x499b9db135d8fb38, 0x0e5cf4dfd0ee1235,
     0x11a27b5b4a6e6860, 0xd9e53a1d47c33634, 0x4a9f09fc0047ad89, 0x97328633bed44d90,
     0x0560e1f8469a9c69},
    // huge, median
    {0x95d50d3d453421e6, 0xad159f7fc907d09e, 0x5a364e841dd1c7d8, 0xaaba4a6864b7e29a,
     0xc1a62b523709319d, 0x1fb9471d2abfc74c, 0x013b6b825640cac9, 0x90dd4c61ff538f5a,
     0xdbdc5ab4d013ae9d},
    // huge, hybrid
    {0x95d50d3d453421e6, 0xad159f7fc907d09e, 0x5a364e841dd1c7d8, 0x74d76fbedf9cb73d,
     0x660fde56ada948f2, 0x453814fcc8bdb155, 0xc3d2c349633fdeaa, 0xa9e0e4616d539b3c,
     0xc80ea2db3f35ecd4},
    // huge, sah_fast
    {0x95d50d3d453421e6, 0xad159f7fc907d09e, 0x5a364e841dd1c7d8, 0x74d76fbedf9cb73d,
     0x660fde56ada948f2, 0x453814fcc8bdb155, 0xc3d2c349633fdeaa, 0xbe1c558d6e983df6,
     0x16769fda9b8e1ad2},
    // huge, sah
    {0x95d50d3d453421e6, 0xad159f7fc907d09e, 0xc1df33eaec4cfbe4, 0x03bf3c905232dbaf,
     0xa37dae96bb596401, 0x2e85b35551b35dea, 0xa77cb7b025c21892, 0x16935524feb21af9,
     0x361954a7f2b677c7},
    // tiny, median
    {0x9b2895e208850596, 0xb7c9441404a41618, 0x44bd9b0208e29d2c, 0x2b1bb11ef741e4dc,
     0x8f175fb881b79f65, 0xa2f291df7961ce18, 0x36e7e50a7f593099, 0xa13e25e9264b3d5b,
     0xed072c94b474d24a},
    // tiny, hybrid
    {0x9b2895e208850596, 0xb7c9441404a41618, 0x44bd9b0208e29d2c, 0x2b1bb11ef741e4dc,
     0x8f175fb881b79f65, 0xa2f291df7961ce18, 0x36e7e50a7f593099, 0xa13e25e9264b3d5b,
     0xed072c94b474d24a},
    // tiny, sah_fast
    {0x9b2895e208850596, 0xb7c9441404a41618, 0x44bd9b0208e29d2c, 0x2b1bb11ef741e4dc,
     0x8f175fb881b79f65, 0xa2f291df7961ce18, 0x36e7e50a7f593099, 0xa13e25e9264b3d5b,
     0xed072c94b474d24a},
    // tiny, sah
    {0x9b2895e208850596, 0xb7c9441404a41618, 0x44bd9b0208e29d2c, 0x2b1bb11ef741e4dc,
     0x8f175fb881b79f65, 0xa2f291df7961ce18, 0x36e7e50a7f593099, 0xa13e25e9264b3d5b,
     0xed072c94b474d24a},
    // grid, median
    {0x8d29145fbe770938, 0x6e5ba4c5a5fa4b07, 0x7b67f3cfdbf167ec, 0x3ee90b88529daeca,
     0x6257a6c193b78279, 0x75aec6010c989d73, 0x7a59433904984f6d, 0x2246c8b42707b7ea,
     0xc6e77c282e8b663c},
    // grid, hybrid
    {0x8d29145fbe770938, 0x6e5ba4c5a5fa4b07, 0xe6b432d66922a1b4, 0x0ea661f98f43089f,
     0xe7d33726fc602c50, 0xb4643de0628acb8a, 0x1ba55dcfe1db2494, 0xb3869250a3b6d0f6,
     0x032e2b8eff4644dc},
    // grid, sah_fast
    {0x8d29145fbe770938, 0x6e5ba4c5a5fa4b07, 0xe6b432d66922a1b4, 0x0ea661f98f43089f,
     0xe7d33726fc602c50, 0xb4643de0628acb8a, 0x1ba55dcfe1db2494, 0xb3869250a3b6d0f6,
     0x5e1d035195334754},
    // grid, sah
    {0x8d29145fbe770938, 0x6e5ba4c5a5fa4b07, 0xe6b432d66922a1b4, 0x6922560b173dd4d5,
     0xe7d33726fc602c50, 0xeb694ec47c7a5608, 0x0ce229f21212152a, 0xc55b03ec8ade570e,
     0x156d0ebe1c28f050},
    // nested, median
    {0x9b467aac20a04495, 0x85951cda42c1febb, 0x1f35a21e15746e5e, 0x54405b655fa0db47,
     0x596d5121f8b32575, 0x2417cf2de0293dac, 0x33758c64fe750062, 0x1d2ced3c149baeb5,
     0xde167cf3fbfa46ce},
    // nested, hybrid
    {0x9b467aac20a04495, 0x85951cda42c1febb, 0xacd879dc64a8f9a6, 0xe9a6d7a74b721843,
     0xfa01035eb56a4dcd, 0x352792065749cbe9, 0x65ffc78d7c161921, 0x87dd2288dfcb03db,
     0xe3aeb2a6224c5ecd},
    // nested, sah_fast
    {0x9b467aac20a04495, 0x85951cda42c1febb, 0xacd879dc64a8f9a6, 0xe9a6d7a74b721843,
     0xfa01035eb56a4dcd, 0x352792065749cbe9, 0x75d88db25a26787b, 0x20ca9ba362d44acf,
     0x99845295be1c517d},
    // nested, sah
    {0x9b467aac20a04495, 0x85951cda42c1febb, 0xacd879dc64a8f9a6, 0xe9a6d7a74b721843,
     0xfa01035eb56a4dcd, 0x352792065749cbe9, 0x75d88db25a26787b, 0x20ca9ba362d44acf,
     0x99845295be1c517d},
    // diagonal, median
    {0xf65dc226cd683bf5, 0xc157d988f28b1e40, 0xbe21017369f802cc, 0x41e1d16670073971,
     0x020152ec6295d00c, 0x7956446103e44a69, 0xf1e18db152c51e65, 0x51a0d5973c6f6aa0,
     0xa73ee2607083badf},
    // diagonal, hybrid
    {0xf65dc226cd683bf5, 0xc157d988f28b1e40, 0x472f6f5b06efec26, 0x80a8f197e4e97631,
     0xe17c79bb6d388271, 0xace82a167f8d34e5, 0xd422a30889204d22, 0x29e5828b04187d84,
     0x44763ea4c0bf66b3},
    // diagonal, sah_fast
    {0xf65dc226cd683bf5, 0xc157d988f28b1e40, 0x472f6f5b06efec26, 0x80a8f197e4e97631,
     0xe17c79bb6d388271, 0xace82a167f8d34e5, 0xd422a30889204d22, 0x29e5828b04187d84,
     0x44763ea4c0bf66b3},
    // diagonal, sah
    {0xf65dc226cd683bf5, 0xc157d988f28b1e40, 0x472f6f5b06efec26, 0x80a8f197e4e97631,
     0xe17c79bb6d388271, 0xace82a167f8d34e5, 0xd422a30889204d22, 0x29e5828b04187d84,
     0x44763ea4c0bf66b3},
    // geometric_chain, median
    {0x175d9352fcaa0425, 0xa8a88ec25e8a16cf, 0x7e7ee6c4aadc87bf, 0x9850d7ea7fadc615,
     0x5621e12a8c6ca2dd, 0x8eb3499dc6ea05d5, 0x08d9b5e5f8037f11, 0x41f784aee540a4b8,
     0x664872b1f645bba1},
    // geometric_chain, hybrid
    {0x175d9352fcaa0425, 0xa8a88ec25e8a16cf, 0xf33b111467414cb7, 0xac51e5591d703a59,
     0x8a83446f066eaa15, 0xaee33e0450278c5a, 0x4e08f7fd5970853d, 0x41f784aee540a4b8,
     0x664872b1f645bba1},
    // geometric_chain, sah_fast
    {0x175d9352fcaa0425, 0xa8a88ec25e8a16cf, 0xf33b111467414cb7, 0xac51e5591d703a59,
     0x8a83446f066eaa15, 0xaee33e0450278c5a, 0x5d4b3c842ada67c5, 0x71a1c4e2b10d54f0,
     0x30c5ac20579fa14a},
    // geometric_chain, sah
    {0x175d9352fcaa0425, 0xa8a88ec25e8a16cf, 0xf33b111467414cb7, 0xac51e5591d703a59,
     0x8a83446f066eaa15, 0xaee33e0450278c5a, 0x5d4b3c842ada67c5, 0x71a1c4e2b10d54f0,
     0x30c5ac20579fa14a},
    // sheet, median
    {0xc56728cb3bdb946d, 0xe81f71df3ade986d, 0x7febe9f7c910c31e, 0xa18b4f7ab6462750,
     0x830ef9995fb1d7e1, 0x3204366ca867ced0, 0x129e649e4679a105, 0xb2ca7eaccc75ab5d,
     0x16cd214c7b28579a},
    // sheet, hybrid
    {0xc56728cb3bdb946d, 0xe81f71df3ade986d, 0x8b415efe63911633, 0x9088010c769c29ea,
     0xe5a6e82608ace1fe, 0x3db79d76d3e9ae18, 0x0934bfc2ae627a9e, 0xb2ca7eaccc75ab5d,
     0x16cd214c7b28579a},
    // sheet, sah_fast
    {0xc56728cb3bdb946d, 0xe81f71df3ade986d, 0x8b415efe63911633, 0x9088010c769c29ea,
     0xe5a6e82608ace1fe, 0x3db79d76d3e9ae18, 0x9e98ff71b5e467fe, 0x59d431615b0f403f,
     0x7e2488b84eca24b3},
    // sheet, sah
    {0xc56728cb3bdb946d, 0xe81f71df3ade986d, 0xbf7e853e36ba6e6e, 0xa664b6e6d61f1a90,
     0x5662b4e484952d09, 0x3204366ca867ced0, 0x129e649e4679a105, 0xb2ca7eaccc75ab5d,
     0x16cd214c7b28579a},
};
