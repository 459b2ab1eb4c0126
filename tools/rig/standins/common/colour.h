// colour.h: what a media type says of colours, in the numbers that files and codecs use
// (ISO/IEC 23091-2), and back.
#pragma once
#include <cstdint>
#include <mfobjects.h>

namespace rig {

struct Colours { // 0: not stated
    uint32_t primaries = 0, transfer = 0, matrix = 0;
    uint32_t range = 0; // 1 video, 2 full
    bool any() const { return primaries || transfer || matrix || range; }
};

struct ColourNumbers {
    uint32_t system, standard;
};

constexpr ColourNumbers PRIMARIES[] = {
    {MFVideoPrimaries_BT709, 1},         {MFVideoPrimaries_BT470_2_SysM, 4},
    {MFVideoPrimaries_BT470_2_SysBG, 5}, {MFVideoPrimaries_SMPTE170M, 6},
    {MFVideoPrimaries_SMPTE240M, 7},     {9, 9}}; // BT.2020
constexpr ColourNumbers TRANSFERS[] = {{MFVideoTransFunc_709, 1},
                                       {MFVideoTransFunc_22, 4},
                                       {MFVideoTransFunc_28, 5},
                                       {MFVideoTransFunc_709, 6},
                                       {MFVideoTransFunc_240M, 7},
                                       {MFVideoTransFunc_10, 8},
                                       {MFVideoTransFunc_sRGB, 13},
                                       {13, 14},  // BT.2020
                                       {15, 16},  // SMPTE 2084
                                       {16, 18}}; // HLG
constexpr ColourNumbers MATRICES[] = {{MFVideoTransferMatrix_BT709, 1},
                                      {MFVideoTransferMatrix_BT601, 6},
                                      {MFVideoTransferMatrix_BT601, 5},
                                      {MFVideoTransferMatrix_SMPTE240M, 7},
                                      {4, 9}}; // BT.2020
constexpr ColourNumbers RANGES[] = {{MFNominalRange_16_235, 1}, {MFNominalRange_0_255, 2}};

template <size_t N>
uint32_t toStandard(const ColourNumbers (&table)[N], uint32_t system) {
    for (const auto& row : table)
        if (row.system == system) return row.standard;
    return 0;
}

template <size_t N>
uint32_t toSystem(const ColourNumbers (&table)[N], uint32_t standard) {
    for (const auto& row : table)
        if (row.standard == standard) return row.system;
    return 0;
}

} // namespace rig
