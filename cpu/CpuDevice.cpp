#include "CpuDevice.h"

#include "ThreadPool.h"

#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>

namespace cpu {
namespace {

// One device: every core of the machine and all its memory.
std::vector<Device> machine()
{
    const long pages = sysconf(_SC_PHYS_PAGES), pageSize = sysconf(_SC_PAGESIZE);
    const size_t memory = pages > 0 && pageSize > 0 ? size_t(pages) * size_t(pageSize)
                                                     : size_t(1) << 34;
    const unsigned n = ThreadPool::threads();
    return {{"CPU device (" + std::to_string(n) + (n == 1 ? " thread)" : " threads)"), 860, memory}};
}

State* create()
{
    auto* s = new State;
    s->devices = machine();
    if (hooks().configure)
        hooks().configure(s->devices);
    return s;
}

thread_local int t_currentDevice = 0;
thread_local cudaError_t t_lastError = cudaSuccess;

} // namespace

Hooks& hooks()
{
    static Hooks h;
    return h;
}

State& state()
{
    static State* s = create();
    return *s;
}

std::mutex& lock()
{
    static auto* m = new std::mutex;
    return *m;
}

int intercepted(const char* function, char* log, size_t* logSize)
{
    return hooks().intercept ? hooks().intercept(function, log, logSize) : 0;
}

bool noting() { return hooks().note != nullptr; }

void note(const char* api, const char* fmt, ...)
{
    if (!hooks().note)
        return;
    char line[512];
    const int n = std::snprintf(line, sizeof line, "%s ", api);
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(line + n, sizeof line - size_t(n), fmt, args);
    va_end(args);
    hooks().note(line);
}

void writeLog(const std::string& text, char* log, size_t* logSize)
{
    if (!log || !logSize)
        return;
    if (*logSize) {
        const size_t n = std::min(text.size(), *logSize - 1);
        std::memcpy(log, text.data(), n);
        log[n] = '\0';
    }
    *logSize = text.size() + 1;
}

cudaError_t& lastError() { return t_lastError; }

cudaError_t cudaResult(cudaError_t e)
{
    if (e != cudaSuccess)
        t_lastError = e;
    return e;
}

const Allocation* blockHolding(const void* p, size_t bytes)
{
    auto& allocations = state().allocations;
    auto it = allocations.upper_bound(const_cast<void*>(p));
    if (it == allocations.begin())
        return nullptr;
    --it;
    const size_t offset = size_t(static_cast<const char*>(p) - static_cast<const char*>(it->first));
    const size_t need = std::max<size_t>(bytes, 1);
    if (offset >= it->second.bytes || need > it->second.bytes - offset)
        return nullptr;
    return &it->second;
}

bool insideBlocks(const void* p, size_t bytes)
{
    return !blockHolding(p, 1) || blockHolding(p, bytes);
}

int currentDevice() { return t_currentDevice; }
void setCurrentDevice(int device) { t_currentDevice = device; }

} // namespace cpu
