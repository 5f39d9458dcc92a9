#pragma once
// The preprocessing kernels: one box per custom primitive, written to
// aabb[0..n), in the slot order of each kind:
//   particle set      centres (slot 0), radii (slot 4)
//   textured set      centres (0), axes (2 and 3, normalised and made
//                     orthogonal in place), radii (4)
//   Bezier            radius pair (4), control points (0, 3, 5, 6)
//   parallelograms    corner (0), edges (2 and 3)
//   parallelepipeds   corner (0), edges (2, 3 and 4)

#include "kernel_list.h"
#include "preprocessing_element.h"

#define T7_PREPROCESSING_KERNELS(K)                                                         \
    K(preprocessingParticleSet, particleSetElement,                                         \
      (CudaAabb * aabb, const float3* centres, const float* radii), (aabb, centres, radii))  \
    K(preprocessingParticleSetTex, particleSetTexElement,                                   \
      (CudaAabb * aabb, const float3* centres, float3* axisA, float3* axisB,                \
       const float* radii),                                                                 \
      (aabb, centres, axisA, axisB, radii))                                                 \
    K(preprocessingBezier, bezierElement,                                                   \
      (CudaAabb * aabb, const float2* radii, const float3* p0, const float3* p1,            \
       const float3* p2, const float3* p3),                                                 \
      (aabb, radii, p0, p1, p2, p3))                                                        \
    K(preprocessingParallelograms, parallelogramElement,                                    \
      (CudaAabb * aabb, const float3* corner, const float3* a, const float3* b),            \
      (aabb, corner, a, b))                                                                 \
    K(preprocessingParallelepipeds, parallelepipedElement,                                  \
      (CudaAabb * aabb, const float3* corner, const float3* a, const float3* b,             \
       const float3* c),                                                                    \
      (aabb, corner, a, b, c))

T7_PREPROCESSING_KERNELS(T7_DECLARE_LAUNCHER)
