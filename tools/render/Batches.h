#pragma once
// Rendering in batches of about a quarter of a second each, with the
// progress line, until the frames are done, the time budget is spent, or
// Ctrl-C (SIGINT) asks to stop: then after the batch that is running, so
// that the image holds whole frames. A second Ctrl-C ends the program.

#include <string>

namespace render {

struct Rendered {
    unsigned frames = 0; // accumulated
    double seconds = 0;
    bool interrupted = false;
    std::string error; // the library's, when a launch failed
};

// `frames` 0: until the time budget is spent; `seconds` 0: no budget.
Rendered renderBatches(unsigned handle, unsigned frames, double seconds, double samplesPerFrame, bool progress);

} // namespace render
