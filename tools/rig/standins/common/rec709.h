// rec709.h: one pixel from Rec. 709, limited range, to 32 bits: blue in the lowest byte.
#pragma once
#include <algorithm>
#include <cstdint>

namespace rig {

inline uint32_t clampByte(int v) {
    return static_cast<uint32_t>(std::clamp(v, 0, 255));
}

// In 16.16 fixed point.
inline uint32_t bgra(int y, int u, int v) {
    int luma = (y - 16) * 76309 + 32768;
    u -= 128;
    v -= 128;
    uint32_t b = clampByte((luma + 138438 * u) >> 16);
    uint32_t g = clampByte((luma - 13975 * u - 34925 * v) >> 16);
    uint32_t r = clampByte((luma + 117489 * v) >> 16);
    return b | g << 8 | r << 16 | 0xFF000000u;
}

// Of an NV12 picture whose planes lie one behind the other.
inline uint32_t pixelOfNv12(const uint8_t* pixels, uint32_t width, uint32_t height, uint32_t x,
                            uint32_t y) {
    const uint8_t* chroma = pixels + size_t(width) * height + size_t(y / 2) * width + (x & ~1u);
    return bgra(pixels[size_t(y) * width + x], chroma[0], chroma[1]);
}

} // namespace rig
