#pragma once
// Launchers of the preprocessing kernels: one box per custom primitive, written
// to aabb[0..n) on the given stream, asynchronously and without checking the
// launch. Inputs are device arrays indexed by primitive, in the slot order of
// each kind. n == 0 launches nothing.

#include "preprocessing_element.h"

#include <driver_types.h>

// Spheres: centres (slot 0), radii (slot 4).
void preprocessingParticleSet(unsigned n, cudaStream_t stream, CudaAabb* aabb,
                              const float3* centres, const float* radii);

// Spheres with two axes each: centres (slot 0), axes (slots 2 and 3, normalised
// and made orthogonal in place), radii (slot 4).
void preprocessingParticleSetTex(unsigned n, cudaStream_t stream, CudaAabb* aabb,
                                 const float3* centres, float3* axisA, float3* axisB,
                                 const float* radii);

// Cubic Bézier segments: radius pair (slot 4), control points (slots 0, 3, 5, 6).
void preprocessingBezier(unsigned n, cudaStream_t stream, CudaAabb* aabb, const float2* radii,
                         const float3* p0, const float3* p1, const float3* p2, const float3* p3);

// Parallelograms: corner (slot 0), edges (slots 2 and 3).
void preprocessingParallelograms(unsigned n, cudaStream_t stream, CudaAabb* aabb,
                                 const float3* corner, const float3* a, const float3* b);

// Parallelepipeds: corner (slot 0), edges (slots 2, 3 and 4).
void preprocessingParallelepipeds(unsigned n, cudaStream_t stream, CudaAabb* aabb,
                                  const float3* corner, const float3* a, const float3* b,
                                  const float3* c);
