#pragma once
// Our own device programs rendering the demo's scenes (path_checks.cpp).

#include "trevix7.h"
#include "trevix7_programs.h"

#include <vector_types.h>

#include <functional>
#include <string>

void checkOwnPrograms(const std::function<bool(bool, const std::string&)>& check, bool simulated);
