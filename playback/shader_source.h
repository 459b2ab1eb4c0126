// shader_source.h: what draws every picture, in HLSL. Compiled when a file is opened.
//
// One triangle covers the picture's rectangle; one pass of the pixel shader converts, exposes and
// dims. Previews in NV12 are Rec. 709 of limited range, as what the engine converts its frames
// from, so that a preview and the frame that takes its place have the same colours.
#pragma once

namespace velkantrix {

// The constants of the pixel shader, as they lie in its buffer.
struct ShaderConstants {
    float exposure = 0; // stops of base 3
    float enabled = 0;  // 1: the exposure counts
    float dim = 1;      // 0 is black
    float nv12 = 0;     // 1: the picture is in the two planes
};
static_assert(sizeof(ShaderConstants) == 16);

inline constexpr char SHADER_SOURCE[] = R"hlsl(
cbuffer CB : register(b0) {
    float uExposure;
    float uEnabled;
    float uDim;
    float uNv12;
};

Texture2D<float4> Tex : register(t0);
Texture2D<float> TexY : register(t1);
Texture2D<float2> TexUV : register(t2);
SamplerState Smp : register(s0);

struct Corner {
    float4 position : SV_Position;
    float2 place : TEXCOORD0;
};

// Corners (0,0), (2,0) and (0,2): the visible part is the square of side 1.
Corner VSMain(uint id : SV_VertexID) {
    Corner corner;
    corner.place = float2((id << 1) & 2, id & 2);
    corner.position = float4(corner.place.x * 2 - 1, 1 - corner.place.y * 2, 0, 1);
    return corner;
}

float3 colourAt(float2 place) {
    if (uNv12 > 0.5) {
        float y = (TexY.Sample(Smp, place) - 0.0625) * 1.164383;
        float2 uv = TexUV.Sample(Smp, place) - 0.5;
        return float3(y + 1.792741 * uv.y, y - 0.213249 * uv.x - 0.532909 * uv.y,
                      y + 2.112402 * uv.x);
    }
    return Tex.Sample(Smp, place).rgb;
}

// Only the luma moves: the colour keeps its hue and saturation.
float3 exposed(float3 rgb) {
    float luma = dot(rgb, float3(0.2126, 0.7152, 0.0722));
    float gain = pow(3, uExposure);
    float wanted = pow(saturate(luma), 1 / gain);
    return luma > 1e-4 ? rgb * (wanted / luma) : rgb;
}

float4 PSMain(Corner corner) : SV_Target {
    float3 rgb = colourAt(corner.place);
    if (uEnabled > 0.5) rgb = exposed(rgb);
    return float4(saturate(rgb * uDim), 1);
}
)hlsl";

} // namespace velkantrix
