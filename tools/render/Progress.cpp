#include "Progress.h"

#include <string>

namespace render {

Progress::Progress(unsigned frames, double samplesPerFrame, bool show)
    : m_frames(frames), m_samplesPerFrame(samplesPerFrame), m_show(show)
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
    const unsigned width = 30, filled = m_frames ? width * done / m_frames : width;
    const double rate = t > 0 ? m_samplesPerFrame * done / t : 0;
    const double left = done ? t / done * (m_frames - done) : 0;
    std::fprintf(stderr, "\r[%s%s] %u/%u frames, %.3g Msamples/s, %.0f s left  ",
                 std::string(filled, '#').c_str(), std::string(width - filled, '.').c_str(), done,
                 m_frames, rate / 1e6, left);
    std::fflush(stderr);
}

void Progress::finish(unsigned done)
{
    update(done);
    if (m_show)
        std::fprintf(stderr, "\n");
}

} // namespace render
