#pragma once
// The progress line on a terminal: frames done, samples per second and the
// time left, redrawn in place. Quiet when the output is not a terminal.

#include <chrono>
#include <cstdio>

namespace render {

class Progress {
public:
    // `frames` 0: as many as `seconds` allow; `seconds` 0: no time budget.
    Progress(unsigned frames, double seconds, double samplesPerFrame, bool show);
    void update(unsigned done);
    void finish(unsigned done);
    double seconds() const;

private:
    unsigned m_frames;
    double m_budget;
    double m_samplesPerFrame;
    bool m_show;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

} // namespace render
