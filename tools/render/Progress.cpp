#include "Progress.h"

#include <algorithm>
#include <string>

namespace render {

Progress::Progress(unsigned frames, double seconds, double samplesPerFrame, bool show)
    : m_frames(frames), m_budget(seconds), m_samplesPerFrame(samplesPerFrame), m_show(show)
{
}

double Progress::seconds() const
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
}

void Progress::update(unsigned done)
{
    if (!m_show)
        return;
    const double t = seconds();
    // The share done: of the frames, or of the time, whichever is further.
    double share = m_frames ? double(done) / m_frames : 0;
    if (m_budget > 0)
        share = std::max(share, t / m_budget);
    share = std::min(share, 1.0);
    const unsigned width = 30, filled = unsigned(width * share);
    const double rate = t > 0 ? m_samplesPerFrame * done / t : 0;
    const double left = share > 0 ? t / share - t : 0;
    const std::string of = m_frames ? "/" + std::to_string(m_frames) : "";
    std::fprintf(stderr, "\r[%s%s] %u%s %s, %.3g Msamples/s, %.0f s left  ",
                 std::string(filled, '#').c_str(), std::string(width - filled, '.').c_str(), done, of.c_str(),
                 done == 1 && !m_frames ? "frame" : "frames", rate / 1e6, left);
    std::fflush(stderr);
}

void Progress::finish(unsigned done)
{
    update(done);
    if (m_show)
        std::fprintf(stderr, "\n");
}

} // namespace render
