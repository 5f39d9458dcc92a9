#pragma once
// Rendering in batches of about a quarter of a second each, with the
// progress line, until the frames are done, the time budget is spent, or
// Ctrl-C (SIGINT) asks to stop: then after the batch that is running, so
// that the image holds whole frames. A second Ctrl-C ends the program.

#include <string>

namespace render {

// Ctrl-C asks to stop while one of these lives (where SIGINT is not
// ignored, as under nohup); a second one ends the program at once.
class Interrupts {
public:
    Interrupts();
    ~Interrupts();
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;
    static bool requested();

private:
    void (*m_previous)(int);
};

struct Rendered {
    unsigned frames = 0; // accumulated
    double seconds = 0;
    bool interrupted = false;
    std::string error; // the library's, when a launch failed
};

// `frames` 0: until the time budget is spent; `seconds` 0: no budget. At
// least one batch runs unless Ctrl-C came first.
Rendered renderBatches(unsigned handle, unsigned frames, double seconds, double samplesPerFrame, bool progress);

} // namespace render
