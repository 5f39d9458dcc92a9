#include "ThreadPool.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace cpu {
namespace {

thread_local bool t_inJob = false; // a job's work never starts another job

// One job: its range and the counters its participants share.
struct Job {
    const std::function<void(size_t, size_t)>* work;
    size_t count, chunk, chunks;
    std::atomic<size_t> next{0}, done{0};
};

class Pool {
public:
    explicit Pool(unsigned workers)
    {
        for (unsigned i = 0; i < workers; ++i)
            std::thread([this] { serve(); }).detach(); // they live as long as the process
    }

    void run(size_t count, size_t chunk, const std::function<void(size_t, size_t)>& work)
    {
        std::lock_guard<std::mutex> one(m_jobs);
        auto job = std::make_shared<Job>();
        job->work = &work;
        job->count = count;
        job->chunk = chunk;
        job->chunks = (count + chunk - 1) / chunk;
        {
            std::lock_guard<std::mutex> guard(m_mutex);
            m_job = job;
            ++m_generation;
        }
        m_wake.notify_all();
        take(*job);
        std::unique_lock<std::mutex> guard(m_mutex);
        m_finished.wait(guard, [&] { return job->done == job->chunks; });
        m_job.reset();
    }

private:
    // Chunks of the job until none is left; the last one done wakes the caller.
    void take(Job& job)
    {
        t_inJob = true;
        size_t done = 0;
        for (size_t k; (k = job.next.fetch_add(1)) < job.chunks; ++done) {
            const size_t begin = k * job.chunk;
            (*job.work)(begin, std::min(job.count, begin + job.chunk));
        }
        t_inJob = false;
        if (done && job.done.fetch_add(done) + done == job.chunks) {
            std::lock_guard<std::mutex> guard(m_mutex);
            m_finished.notify_all();
        }
    }

    void serve()
    {
        unsigned long long seen = 0;
        for (;;) {
            std::shared_ptr<Job> job;
            {
                std::unique_lock<std::mutex> guard(m_mutex);
                m_wake.wait(guard, [&] { return m_generation != seen && m_job; });
                seen = m_generation;
                job = m_job;
            }
            take(*job);
        }
    }

    std::mutex m_jobs; // one job at a time
    std::mutex m_mutex;
    std::condition_variable m_wake, m_finished;
    std::shared_ptr<Job> m_job;
    unsigned long long m_generation = 0;
};

Pool* g_pool = nullptr;
std::once_flag* g_started = new std::once_flag;

// A child of fork() has none of the parent's threads: it starts its own.
void forked()
{
    g_pool = nullptr;
    g_started = new std::once_flag;
}

Pool& pool()
{
    std::call_once(*g_started, [] {
        pthread_atfork(nullptr, nullptr, forked);
        g_pool = new Pool(ThreadPool::threads() - 1);
    });
    return *g_pool;
}

} // namespace

unsigned ThreadPool::threads()
{
    static const unsigned n = [] {
        if (const char* s = std::getenv("TREVIX7_CPU_THREADS"))
            if (const long v = std::strtol(s, nullptr, 10); v > 0)
                return unsigned(std::min(v, 1024L));
        return std::max(1u, std::thread::hardware_concurrency());
    }();
    return n;
}

void ThreadPool::run(size_t count, size_t chunk, const std::function<void(size_t, size_t)>& work)
{
    chunk = std::max<size_t>(chunk, 1);
    if (count <= chunk || threads() == 1 || t_inJob) {
        for (size_t begin = 0; begin < count; begin += chunk)
            work(begin, std::min(count, begin + chunk));
        return;
    }
    pool().run(count, chunk, work);
}

} // namespace cpu
