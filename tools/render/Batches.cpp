#include "Batches.h"

#include "Progress.h"
#include "trevix7.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <csignal>

namespace render {

namespace {

std::atomic<bool> g_stop{false};

extern "C" void onInterrupt(int)
{
    g_stop = true;
    std::signal(SIGINT, SIG_DFL); // a second Ctrl-C ends the program at once
}

} // namespace

Interrupts::Interrupts() : m_previous(std::signal(SIGINT, onInterrupt))
{
    g_stop = false;
    if (m_previous == SIG_IGN) // whoever started us wants Ctrl-C ignored
        std::signal(SIGINT, SIG_IGN);
}

Interrupts::~Interrupts()
{
    std::signal(SIGINT, m_previous);
}

bool Interrupts::requested()
{
    return g_stop;
}

Rendered renderBatches(unsigned handle, unsigned frames, double seconds, double samplesPerFrame, bool progress)
{
    Progress bar(frames, seconds, samplesPerFrame, progress);
    const unsigned limit = frames ? frames : UINT_MAX;
    Rendered r;
    unsigned batch = 1;
    char error[4096] = {};
    while (r.frames < limit && !g_stop && !(r.frames > 0 && seconds > 0 && bar.seconds() >= seconds)) {
        const unsigned n = std::min(batch, limit - r.frames);
        const double before = bar.seconds();
        if (ApiLaunch(handle, n, 0xFFFFFFFFu, error) < 0 || error[0]) {
            r.error = error;
            break;
        }
        r.frames += n;
        bar.update(r.frames);
        const double took = bar.seconds() - before;
        batch = took < 0.1 ? std::min(batch * 2, 256u) : took > 0.5 && batch > 1 ? batch / 2 : batch;
    }
    bar.finish(r.frames);
    r.seconds = bar.seconds();
    r.interrupted = g_stop;
    return r;
}

} // namespace render
