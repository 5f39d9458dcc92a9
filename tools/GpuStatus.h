#pragma once
// Whether this machine has a GPU the library can render on, and if not, the
// one line that says why.

#include <string>

namespace tools {

// The number of usable devices (ApiGetDeviceCount), or 0 or less with `why`.
int gpuCount(std::string& why);

} // namespace tools
