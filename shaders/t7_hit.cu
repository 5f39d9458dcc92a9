// Closest-hit programs of every material, on every geometry kind: the
// radiance program rebuilds the surface point, applies the material's
// textures and leaves both in the tracer's T7Hit; the occlusion program
// marks the shadow ray blocked.

#include "shaders/device.h"

// The texture of array `textures` for the point, or none.
__forceinline__ __device__ bool t7_lookup(const cudaTextureObject_t* textures, unsigned count,
                                          float2 uv, float4& texel)
{
    if (!textures || !count)
        return false;
    const unsigned k = t7_textureIndex(uv, count);
    if (!textures[k])
        return false;
    texel = t7_texel(textures[k], uv);
    return true;
}

__forceinline__ __device__ T7Surface t7_surface(const GeometryData& g, float3 x)
{
    const unsigned prim = optixGetPrimitiveIndex();
    if (optixIsTriangleHit())
        return t7_triangleSurface(g, prim, optixGetTriangleBarycentrics());
    if (g.type >= geoBSplineLinear && g.type <= geoBSplineCatmullRom)
        return t7_curveSurface(g, prim, optixGetCurveParameter(), x);
    const float3 n = make_float3(__uint_as_float(optixGetAttribute_0()),
                                 __uint_as_float(optixGetAttribute_1()),
                                 __uint_as_float(optixGetAttribute_2()));
    T7Surface s = t7_customSurface(
        x, n, make_float2(__uint_as_float(optixGetAttribute_3()), __uint_as_float(optixGetAttribute_4())));
    return s;
}

extern "C" __global__ void __closesthit__radiance()
{
    const HitGroupData& record = *reinterpret_cast<const HitGroupData*>(optixGetSbtDataPointer());
    const GeometryData& g = record.geometry;
    const MaterialData& m = record.material;
    const float3 o = optixGetWorldRayOrigin(), d = optixGetWorldRayDirection();
    const float t = optixGetRayTmax();
    T7Surface s = t7_surface(g, t7_add(o, t7_scale(d, t)));

    T7TextureValues tex = t7_noTextures();
    float4 texel;
    if (t7_lookup(m.color_tex, m.tex_count, s.uv, texel))
        tex.color = t7_rgb(texel);
    if (t7_lookup(m.roughness_tex, m.tex_count, s.uv, texel))
        tex.roughness = texel.x;
    if (t7_lookup(m.metalness_tex, m.tex_count, s.uv, texel))
        tex.metalness = texel.x;
    if (t7_lookup(m.normal_tex, m.tex_count, s.uv, texel))
        t7_applyNormalMap(s, t7_rgb(texel), m.normaltilt_iar);
    if (g.displacement_tex && !optixIsTriangleHit()) {
        const float2 step = g.displacement_inv_size;
        const float h = t7_texel(g.displacement_tex, s.uv).x;
        const float hu = t7_texel(g.displacement_tex, make_float2(s.uv.x + step.x, s.uv.y)).x;
        const float hv = t7_texel(g.displacement_tex, make_float2(s.uv.x, s.uv.y + step.y)).x;
        t7_applyBump(s, h, hu, hv, m.normaltilt_iar);
    }

    T7Hit& hit = *t7_payloadHit();
    hit.t = t;
    hit.position = s.position;
    hit.normal = s.normal;
    hit.geometric = s.geometric;
    hit.front = t7_dot(s.geometric, d) < 0.0f ? 1u : 0u;
    hit.geometryId = g.geometry_id;
    hit.primitive = optixGetPrimitiveIndex();
    hit.material = t7_material(m, g.const_color, tex);
}

extern "C" __global__ void __closesthit__occlusion() { optixSetPayload_0(1u); }
