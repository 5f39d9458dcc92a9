#pragma once
// The CPU device's workers: one thread per core (TREVIX7_CPU_THREADS chooses
// another number), started at the first job and kept. A job is a range of
// indices cut into chunks; the workers and the calling thread take chunks
// with an atomic counter, so the work itself takes no lock, and what each
// index computes does not depend on which thread runs it.

#include <cstddef>
#include <functional>

namespace cpu {

class ThreadPool {
public:
    // Runs work(begin, end) over [0, count) in chunks of `chunk` and returns
    // when all are done. Jobs from several threads run one after the other.
    static void run(size_t count, size_t chunk, const std::function<void(size_t, size_t)>& work);
    // Threads that run a job, the caller included.
    static unsigned threads();
};

} // namespace cpu
