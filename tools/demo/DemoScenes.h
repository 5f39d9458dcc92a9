#pragma once
// Scenes built with our own device programs through the exported interface:
// the demo (a closed box with every geometry kind and material) and the
// small scenes whose images the GPU checks know analytically. Each adds its
// objects to the instance `handle`, makes its camera current and gives the
// camera's id, or 0 (with the message in `error`) when a call fails.

#include "trevix7.h"

#include <string>

namespace demo {

// The program references of our own device programs.
extern const char* const kPinhole;
extern const char* const kThinLens;
extern const char* const kMiss;
extern const char* const kRadiance;
extern const char* const kOcclusion;

// A closed box lit by a parallelogram light under its ceiling, holding
// spheres of each material (diffuse, rough and smooth conductor, rough and
// smooth glass with absorption, emissive), hair of the four curve kinds,
// textured particles, a Bezier tube, parallelograms, a parallelepiped and a
// textured mesh; an environment map shows through its open front.
unsigned box(unsigned handle, std::string& error);

// A white diffuse sphere of radius 1 at the origin in a uniform white
// background (bg_color 1), seen from (0, 0, 4): every pixel is 1.
unsigned furnace(unsigned handle, std::string& error);

// A diffuse floor z = 0 of albedo 0.5 under a point light of intensity I at
// (0, 0, h), black background, seen from straight above: the radiance at
// floor point (x, y) is 0.5 / pi * I * h / d^3 with d its distance to the light.
// Rays go through pixel centres.
constexpr float kFloorLight = 8.0f, kFloorLightHeight = 2.0f;
unsigned pointLightFloor(unsigned handle, std::string& error);

// Geometries of each custom kind, a triangle mesh and a curve side by side
// in front of the camera; the unit sphere (particle set, the first geometry
// made) sits at the origin; the camera at (0, 0, 8) looks at it with a
// 45-degree field of view, through pixel centres. `ids` gets the geometry ids
// in the order sphere, parallelogram, parallelepiped, Bezier, mesh, curve.
unsigned kinds(unsigned handle, unsigned ids[6], std::string& error);

} // namespace demo
