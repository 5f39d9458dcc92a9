#pragma once
// A program given by the host as "file::function": where it comes from and,
// once built, its module.

#include "core/optix7.h"

#include <string>

struct HitProgram {
    std::string file;
    std::string text;
    std::string function;
    bool dirty = true;
    OptixModule module = nullptr; // owned by the device's module cache
};

// Splits a program reference and loads its file's text at once; throws
// `notValid` for a reference without both parts.
HitProgram loadHitProgram(const std::string& ref, const char* notValid);
