#pragma once
// Which device trevix7-render renders on. The GPU library and the CPU
// device's library share one name (libtrevix7.so.0), so the renderer runs on
// the one the loader gave it, and moves to the CPU device by starting itself
// again with the CPU device's private folder first on the library path.

#include <cstdio>
#include <functional>
#include <string>

namespace render {

// The device asked for: "auto", "gpu" or "cpu". Returns -1 to go on in this
// process (having printed the one line that says which device), or an exit
// status; for the CPU device it does not return unless starting again
// failed. `why` gets the reason when there is nothing to render on.
int chooseDevice(const std::string& asked, char** argv, std::string& why);

// Whether this process runs on the CPU device.
bool onCpu();

// Runs `body` with what it writes to `stream` thrown away.
void silenced(FILE* stream, const std::function<void()>& body);

} // namespace render
