#pragma once
// The one check form of the GPU programs: one line per check, counted.

#include <string>

bool check(bool ok, const std::string& what);

// Scene content on the real device: textures, materials, acceleration builds,
// device boxes against the host functions, relocation between two contexts.
void checkScene(const std::string& ptxDir);
