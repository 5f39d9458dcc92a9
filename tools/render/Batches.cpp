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

Rendered renderBatches(unsigned handle, unsigned frames, double seconds, double samplesPerFrame, bool progress)
{
    g_stop = false;
    const auto previous = std::signal(SIGINT, onInterrupt);
    Progress bar(frames, seconds, samplesPerFrame, progress);
    const unsigned limit = frames ? frames : UINT_MAX;
    Rendered r;
    unsigned batch = 1;
    char error[4096] = {};
    while (r.frames < limit && !g_stop && !(seconds > 0 && bar.seconds() >= seconds)) {
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
    std::signal(SIGINT, previous);
    return r;
}

} // namespace render
