// The constants of the elementary functions. Printed by tools/make_math_tables.py; a test compares the two.
// clang-format off
#pragma once

namespace kelvo::Math {

// The bits of the double from which the steps of the logarithm's tables are counted.
constexpr unsigned long long kLogFirst = 0x3fe6580000000000;

// The reciprocals of the steps' centres.
alignas(64) constexpr double kInverseCentres[] = {
    0x1.669c300000000p+0, 0x1.5791f00000000p+0, 0x1.49bdb00000000p+0, 0x1.3cfb600000000p+0,
    0x1.312c600000000p+0, 0x1.2636900000000p+0, 0x1.1c03500000000p+0, 0x1.127f100000000p+0,
    0x1.0998c00000000p+0, 0x1.0000000000000p+0, 0x1.e65a400000000p-1, 0x1.cb18a00000000p-1,
    0x1.b2bba00000000p-1, 0x1.9cd3400000000p-1, 0x1.8905000000000p-1, 0x1.7707000000000p-1};

// The logarithms of the centres.
alignas(64) constexpr double kLogCentres[] = {
    -0x1.5925cfc112a48p-2, -0x1.2d46567adcc33p-2, -0x1.03347f9105dfap-2, -0x1.b59738613a947p-3,
    -0x1.67d6b61784cfbp-3, -0x1.1cee9ef852db3p-3, -0x1.a95699acad7c3p-4, -0x1.1dbd2903d1907p-4,
    -0x1.2d7a47c3c434dp-5, 0.0, 0x1.a4fe79fa3d39ep-5, 0x1.bebace01472d3p-4,
    0x1.4f09bb8a233d0p-3, 0x1.b8ef678420c3bp-3, 0x1.0ecffef657e06p-2, 0x1.3ecc290ef65e2p-2};

// Their decimal logarithms, each as the sum of two.
alignas(64) constexpr double kLog10Centres[] = {
    -0x1.2bca9eb6536b0p-3, 0x1.c678a54238406p-57,
    -0x1.05af15f9c66e3p-3, 0x1.d7627668c5403p-60,
    -0x1.c2490b517991ap-4, 0x1.e331039deda55p-58,
    -0x1.7c1621fe320b7p-4, -0x1.6f8a4f6952cf4p-59,
    -0x1.388d4bc623725p-4, -0x1.e4aa76fbbe2f5p-59,
    -0x1.eefa4fa70e589p-5, -0x1.baca300030a8bp-59,
    -0x1.7171b306964d5p-5, 0x1.6597a85cb1098p-61,
    -0x1.f0611b46bc45bp-6, -0x1.fd53396718210p-62,
    -0x1.05dc33d9b9f80p-6, 0x1.c10ef3776410dp-60,
    0.0, 0.0,
    0x1.6dabb8895aaadp-6, -0x1.044f5aa69c6f8p-60,
    0x1.840645213d914p-5, 0x1.ba31501b0ab86p-63,
    0x1.2302a4a52082dp-4, -0x1.68fabc039698ap-61,
    0x1.7efdce0bd4c54p-4, 0x1.036180e34232cp-62,
    0x1.d6731077851cfp-4, 0x1.5d310c98bf464p-59,
    0x1.14e76bfc8e132p-3, 0x1.c1695487a2711p-57};

// (log(1 + r) - r) / r^2
alignas(64) constexpr double kLogPolynomial[] = {
    -0x1.0000000005e23p-1, 0x1.555555555fccdp-2, -0x1.fffff8aa2d3a3p-3, 0x1.9999931410345p-3,
    -0x1.55ac069288c30p-3, 0x1.24df5a3fa35aep-3};

// (log(1 + r) - r + r^2 / 2) / r^3, to the last bit of a double
alignas(64) constexpr double kLogTail[] = {
    0x1.5555555555555p-2, -0x1.0000000000000p-2, 0x1.99999999998f6p-3, -0x1.55555555554bdp-3,
    0x1.24924925fca0ep-3, -0x1.0000000150909p-3, 0x1.c71c4ea5ad9cdp-4, -0x1.999978f91a3c2p-4,
    0x1.750f004610dfdp-4, -0x1.55fa8c8da55dfp-4};

// log10(2) as the sum of two, the first of 40 bits.
alignas(64) constexpr double kLog10OfTwo[] = {
    0x1.34413509f6000p-2, 0x1.9fef311f12b36p-42};

// 1 / log(10) as the sum of two.
alignas(64) constexpr double kInverseLog10[] = {
    0x1.bcb7b1526e50ep-2, 0x1.95355baaafad3p-57};

// The bits of 2^(i / 16) less i 2^48: what adding k 2^48 with k = i modulo 16 turns into 2^(k / 16).
alignas(64) constexpr unsigned long long kRootBits[] = {
    0x3ff0000000000000, 0x3fefb5586cf9890f, 0x3fef72b83c7d517b, 0x3fef387a6e756238,
    0x3fef06fe0a31b715, 0x3feedea64c123422, 0x3feebfdad5362a27, 0x3feeab07dd485429,
    0x3feea09e667f3bcd, 0x3feea11473eb0187, 0x3feeace5422aa0db, 0x3feec49182a3f090,
    0x3feee89f995ad3ad, 0x3fef199bdd85529c, 0x3fef5818dcfba487, 0x3fefa4afa2a490da};

// (2^(f / 16) - 1) / f
alignas(64) constexpr double kExpPolynomial[] = {
    0x1.62e42fefa39efp-5, 0x1.ebfbdff6988c5p-11, 0x1.c6b08d6faa678p-17, 0x1.3b2c4ac7f37f2p-23,
    0x1.5d893e264728cp-30};

// (atan(q) / q - 1) / q^2 in q^2
alignas(64) constexpr double kAtanPolynomial[] = {
    -0x1.5555555555555p-2, 0x1.999999999934cp-3, -0x1.24924924361fbp-3, 0x1.c71c71853d442p-4,
    -0x1.745d0b289e6fep-4, 0x1.3b12630573da8p-4, -0x1.10fa77a59203ap-4, 0x1.dfe648acaf6c2p-5,
    -0x1.a0999818c2275p-5, 0x1.4162b3c5da39dp-5, -0x1.3a3193649002dp-6};

// (sin(r) / r - 1) / r^2 in r^2
alignas(64) constexpr double kSinPolynomial[] = {
    -0x1.5555555555555p-3, 0x1.1111111110bb2p-7, -0x1.a01a019e83aa2p-13, 0x1.71de379689090p-19,
    -0x1.ae600b01a40ccp-26, 0x1.5e0b1995f429ap-33};

// (cos(r) - 1) / r^2 in r^2
alignas(64) constexpr double kCosPolynomial[] = {
    -0x1.ffffffffffffap-2, 0x1.5555555554137p-5, -0x1.6c16c1691d893p-10, 0x1.a019fc7b49b2cp-16,
    -0x1.27e0f5779d06fp-22, 0x1.1c0647a533ae0p-29};

// sin(i / 64) and cos(i / 64), each as the sum of two.
alignas(64) constexpr double kSinCosSteps[] = {
    0.0, 0.0, 0x1.0000000000000p+0, 0.0,
    0x1.fffaaaaeeeed5p-7, -0x1.2ab639a9f0776p-63, 0x1.fff000155549fp-1, 0x1.28a28a03a5ef3p-55,
    0x1.ffeaaaeeee86fp-6, -0x1.cd406fb224ae2p-60, 0x1.ffc00155527d3p-1, -0x1.3b54492d89b5bp-55,
    0x1.7fdc01032fba9p-5, -0x1.599bdf46e997ap-59, 0x1.ff7006bfdf99fp-1, -0x1.8b3b560648d5fp-56,
    0x1.ffaaaeeed4edbp-5, -0x1.2d16d32684b69p-59, 0x1.ff0015549f4d3p-1, 0x1.328387b99426fp-55,
    0x1.3facb12d1755bp-4, -0x1.921915299468bp-58, 0x1.fe7034129ef6fp-1, -0x1.cbf4337c96f97p-57,
    0x1.7f701032550e4p-4, 0x1.afc2d1800501ap-60, 0x1.fdc06bf7e6b9bp-1, 0x1.31902b535f8dbp-55,
    0x1.bf1b78568391dp-4, 0x1.e91841dea4cc8p-58, 0x1.fcf0c800e99b1p-1, 0x1.ea3d786d186acp-57,
    0x1.feaaeee86ee36p-4, -0x1.afcb2bcc6f03bp-59, 0x1.fc015527d5bd3p-1, 0x1.b68f35094efb8p-55,
    0x1.1f0d3d7afceafp-3, -0x1.6ef95099769a5p-57, 0x1.faf22263c4bd3p-1, -0x1.52ace133a2769p-58,
    0x1.3eb312c5d66cbp-3, 0x1.47d666b66cb91p-57, 0x1.f9c340a7cc428p-1, 0x1.c5b6b063b7462p-55,
    0x1.5e44fcfa126f3p-3, -0x1.6f443063f89b6p-57, 0x1.f874c2e1eecf6p-1, -0x1.c6514e1332b16p-55,
    0x1.7dc102fbaf2b5p-3, 0x1.5ab50e23c97c3p-59, 0x1.f706bdf9ece1cp-1, -0x1.698c80c36dcb4p-55,
    0x1.9d252d0cec312p-3, 0x1.9c43d80b1137dp-58, 0x1.f57948cff6797p-1, 0x1.e3a0d3e03b1d4p-57,
    0x1.bc6f84edc6199p-3, 0x1.9c1a56a7b0cabp-57, 0x1.f3cc7c3b3d16ep-1, -0x1.21a3ad28a3494p-57,
    0x1.db9e15fb5a5d0p-3, -0x1.32e20d6cc6fc2p-57, 0x1.f20073086649fp-1, 0x1.b940416c1984bp-56,
    0x1.faaeed4f31577p-3, -0x1.15d88508e32b8p-57, 0x1.f01549f7deea1p-1, 0x1.d3c1e99e5cafdp-55,
    0x1.0cd00cef36436p-2, -0x1.9fb0a0c93e2b4p-56, 0x1.ee0b1fbc0f11cp-1, -0x1.bfd2380bbc3b1p-59,
    0x1.1c37d64c6b876p-2, 0x1.46076fe0dcff4p-56, 0x1.ebe214f76efa8p-1, -0x1.02f9f12ba543ep-55,
    0x1.2b8ddc43eb49fp-2, 0x1.1553899f2d807p-57, 0x1.e99a4c3a7cd83p-1, -0x1.2264b1bc53ce8p-55,
    0x1.3ad129769d3d8p-2, 0x1.03d550487839ap-63, 0x1.e733ea0193d40p-1, -0x1.6428b3546ce13p-55,
    0x1.4a00c9b0f3d20p-2, 0x1.823ba6bb08eadp-56, 0x1.e4af14b2a449cp-1, -0x1.68ca02e8a6833p-55,
    0x1.591bc9fa2f597p-2, 0x1.7c74bac3fe0cbp-57, 0x1.e20bf49acd6c1p-1, -0x1.660aec7ef636bp-58,
    0x1.682138a38d7f7p-2, -0x1.d889202444aadp-56, 0x1.df4ab3ebd875ep-1, -0x1.e2d8a7e6736c4p-55,
    0x1.7710255764214p-2, -0x1.6ead7314bb6cep-57, 0x1.dc6b7eb995912p-1, 0x1.4b364776dcd35p-58,
    0x1.85e7a12826949p-2, 0x1.8a40e9b5face0p-56, 0x1.d96e82f71a9dcp-1, 0x1.ff61bd5d2039dp-55,
    0x1.94a6be9f546c5p-2, -0x1.69ce13e683f58p-56, 0x1.d653f073e4040p-1, -0x1.76236434bec37p-55,
    0x1.a34c91cc50ccap-2, -0x1.a310e3b50cecdp-58, 0x1.d31bf8d8d7c06p-1, 0x1.e60dd3089cbddp-56,
    0x1.b1d8305321617p-2, -0x1.ae242cb99f519p-56, 0x1.cfc6cfa52ad9fp-1, 0x1.8b5b5508f2a0dp-55,
    0x1.c048b17b140a3p-2, 0x1.19fe6757e9fa7p-57, 0x1.cc54aa2b2972ep-1, 0x1.4ee162ba83a98p-57,
    0x1.ce9d2e3d4a51fp-2, -0x1.2fc8a12dae298p-57, 0x1.c8c5bf8ce1a84p-1, 0x1.ab3d1a1590123p-56,
    0x1.dcd4c15329c9ap-2, 0x1.0d4c6e171fd9ap-56, 0x1.c51a48b8b175ep-1, -0x1.1bbb43b9aa880p-57,
    0x1.eaee8744b05f0p-2, -0x1.789b43c9b027dp-58, 0x1.c1528065b7d50p-1, -0x1.892111312e828p-55,
    0x1.f8e99e76abc97p-2, 0x1.9d950af2d00a3p-58, 0x1.bd6ea310294f5p-1, 0x1.31bbcc88c109dp-56,
    0x1.0362939c69955p-1, -0x1.2d8cd78397b01p-55, 0x1.b96eeef58840ep-1, 0x1.45a3cc78fade0p-58,
    0x1.0a4021e9e1001p-1, -0x1.6f643a13914f6p-55, 0x1.b553a410c104ep-1, 0x1.8ff7947027a15p-58,
    0x1.110d0c4b69c3bp-1, 0x1.d918998809981p-55, 0x1.b11d04162a4c6p-1, 0x1.1dd561efbc0c2p-56,
    0x1.17c8e5f2eedb0p-1, 0x1.35e57102e2488p-57, 0x1.accb526f69de5p-1, 0x1.8fb6a8dd6b6ccp-55,
    0x1.1e7343236574cp-1, 0x1.22a3fa4f41d5ap-56, 0x1.a85ed4373e02dp-1, 0x1.9be06385ec792p-57,
    0x1.250bb93788bbbp-1, 0x1.ea3d02457bccep-56, 0x1.a3d7d0352bdcfp-1, -0x1.68dbaeca19669p-55,
    0x1.2b91dea88421ep-1, -0x1.fa371db216ab0p-55, 0x1.9f368ed912f85p-1, -0x1.1d200c5791606p-55,
    0x1.32054b148bc4fp-1, 0x1.f6b42095a135bp-55, 0x1.9a7b5a36a6514p-1, 0x1.722cfcc9fa7a9p-55,
    0x1.386597456282bp-1, -0x1.10fada93b07a8p-56, 0x1.95a67e00cb1fdp-1, -0x1.0befda21f862dp-55,
    0x1.3eb25d36cd53ap-1, -0x1.be570e1570fc0p-58, 0x1.90b84784ddaf7p-1, -0x1.0feb10ab93b87p-56,
    0x1.44eb381cf386bp-1, -0x1.3ed6c1e6a5505p-55, 0x1.8bb105a5dc900p-1, 0x1.863e03e9474c1p-55,
    0x1.4b0fc46aab761p-1, 0x1.0da05738cc59cp-61, 0x1.869108d77a6c6p-1, 0x1.338ffe2bfe9ddp-56,
    0x1.511f9fd7b351cp-1, -0x1.5c0e861c48831p-55, 0x1.8158a31916d5dp-1, -0x1.de8b90b8228dep-57,
    0x1.571a6966d59b3p-1, 0x1.c843b4d0fb197p-58, 0x1.7c0827f09e54fp-1, -0x1.c73d6d72aee68p-57,
    0x1.5cffc16bf8f0dp-1, 0x1.96cb370eb578ap-55, 0x1.769fec655211fp-1, -0x1.827d5cf8c68c5p-57,
    0x1.62cf49921ac79p-1, -0x1.edd9855b6241ap-55, 0x1.712046fa77678p-1, 0x1.425b0a5029c81p-55,
    0x1.6888a4e134b2fp-1, -0x1.6b7d37644d5e6p-55, 0x1.6b898fa9efb5dp-1, 0x1.15ac786ccf4b2p-56,
    0x1.6e2b77c40bde1p-1, -0x1.0e729857fad53p-56, 0x1.65dc1fdeb8cbap-1, -0x1.97c1b47337c77p-58};

// pi / 2 as the sum of three; the first two have 33 bits.
alignas(64) constexpr double kHalfPiPieces[] = {
    0x1.921fb54400000p+0, 0x1.0b4611a600000p-34, 0x1.3198a2e037073p-69};

// pi / 2 as a fixed-point number: 224 bits after the point, lowest word first.
alignas(64) constexpr unsigned kWideHalfPi[] = {
    0x04177d4c, 0x14cf98e8, 0x52049c11, 0x01b839a2,
    0x898cc517, 0x42d18469, 0x921fb544, 0x00000001};

// 2 / pi as a fixed-point number: 224 bits after the point, lowest word first.
alignas(64) constexpr unsigned kWideInverseHalfPi[] = {
    0xfe5163ab, 0x3c439041, 0xdb629599, 0xf534ddc0,
    0xfc2757d1, 0x4e441529, 0xa2f9836e, 0x00000000};

// log(2) as a fixed-point number: 224 bits after the point, lowest word first.
alignas(64) constexpr unsigned kWideLog2[] = {
    0x8a0d175b, 0x7298b62d, 0x40f34326, 0x03f2f6af,
    0xc9e3b398, 0xd1cf79ab, 0xb17217f7, 0x00000000};

// 1 / log(2) as a fixed-point number: 224 bits after the point, lowest word first.
alignas(64) constexpr unsigned kWideInverseLog2[] = {
    0x164a2cd9, 0xbad2b4b1, 0xd6aef551, 0xd23a7d11,
    0x7d0ffda0, 0xb82fe177, 0x71547652, 0x00000001};

// 1 / log(10) as a fixed-point number: 224 bits after the point, lowest word first.
alignas(64) constexpr unsigned kWideInverseLog10[] = {
    0x1d1f96a2, 0x22e4d101, 0x1f71a301, 0xd699ee19,
    0x9aadd557, 0x9b9438ca, 0x6f2dec54, 0x00000000};

}  // namespace kelvo::Math
