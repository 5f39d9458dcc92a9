#include "SimDevice.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace sim {
namespace {

std::vector<Device> devicesFromEnvironment()
{
    size_t memory = size_t(1) << 30;
    if (const char* m = std::getenv("TREVIX7_SIM_DEVICE_MEMORY"))
        memory = std::strtoull(m, nullptr, 10);
    const char* list = std::getenv("TREVIX7_SIM_DEVICES");
    std::vector<Device> devices;
    if (!list) {
        devices.push_back({860, memory});
        return devices;
    }
    std::stringstream in(list);
    std::string item;
    while (std::getline(in, item, ','))
        devices.push_back({std::atoi(item.c_str()), memory});
    return devices;
}

State* create()
{
    auto* s = new State;
    s->devices = devicesFromEnvironment();
    return s;
}

thread_local int t_currentDevice = 0;

} // namespace

State& state()
{
    // Never destroyed: the library may release objects from static destructors.
    static State* s = create();
    return *s;
}

std::mutex& lock()
{
    static auto* m = new std::mutex;
    return *m;
}

void trace(const char* api, const char* fmt, ...)
{
    char line[512];
    int n = std::snprintf(line, sizeof line, "%s ", api);
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(line + n, sizeof line - size_t(n), fmt, args);
    va_end(args);
    state().journal.push_back(line);
}

int injected(const char* function, char* log, size_t* logSize)
{
    auto it = state().injections.find(function);
    if (it == state().injections.end())
        return 0;
    if (it->second.after) {
        --it->second.after;
        return 0;
    }
    const Injection injection = it->second;
    state().injections.erase(it);
    if (!injection.log.empty())
        writeLog(injection.log, log, logSize);
    trace(std::strncmp(function, "optix", 5) ? "cuda" : "optix", "%s -> %d (injected)", function,
          injection.result);
    return injection.result;
}

void writeLog(const std::string& text, char* log, size_t* logSize)
{
    if (!log || !logSize)
        return;
    if (*logSize) {
        size_t n = std::min(text.size(), *logSize - 1);
        std::memcpy(log, text.data(), n);
        log[n] = '\0';
    }
    *logSize = text.size() + 1;
}

void failNext(const char* function, int result, unsigned after, const std::string& log)
{
    locked([&](State& s) { s.injections[function] = {result, after, log}; });
}

void clearInjections() { locked([](State& s) { s.injections.clear(); }); }
std::vector<std::string> journal() { return locked([](State& s) { return s.journal; }); }
void clearJournal() { locked([](State& s) { s.journal.clear(); }); }

const Allocation* blockHolding(const void* p, size_t bytes)
{
    auto& allocations = state().allocations;
    auto it = allocations.upper_bound(const_cast<void*>(p));
    if (it == allocations.begin())
        return nullptr;
    --it;
    size_t offset = size_t(static_cast<const char*>(p) - static_cast<const char*>(it->first));
    size_t need = std::max<size_t>(bytes, 1);
    if (offset >= it->second.bytes || need > it->second.bytes - offset)
        return nullptr;
    return &it->second;
}

bool insideBlocks(const void* p, size_t bytes)
{
    // Memory outside every block is ordinary host memory.
    return !blockHolding(p, 1) || blockHolding(p, bytes);
}

int currentDevice() { return t_currentDevice; }
void setCurrentDevice(int device) { t_currentDevice = device; }

Counts counts()
{
    std::lock_guard<std::mutex> guard(lock());
    const State& s = state();
    Counts c;
    for (const auto& a : s.allocations) {
        if (a.second.pinned) {
            ++c.pinnedAllocations;
        } else {
            ++c.deviceAllocations;
            c.deviceBytes += a.second.bytes;
        }
    }
    for (const Array* a : s.arrays)
        c.deviceBytes += a->image.size();
    c.arrays = s.arrays.size();
    c.textureObjects = s.textureObjects.size();
    c.streams = s.streams.size();
    c.optixContexts = s.optixContexts.size();
    c.optixObjects = s.optixObjects.size();
    return c;
}

size_t deviceBytesInUse(int device)
{
    return locked([&](State& s) { return s.devices.at(size_t(device)).bytesInUse; });
}

void setDeviceMemoryLimit(int device, size_t bytes)
{
    locked([&](State& s) { s.devices.at(size_t(device)).memoryLimit = bytes; });
}

void setPinnedMemoryLimit(size_t bytes) { locked([&](State& s) { s.pinnedLimit = bytes; }); }
Records records() { return locked([](State& s) { return s.records; }); }

void clearRecords()
{
    locked([](State& s) {
        Records kept;
        kept.contexts = std::move(s.records.contexts);
        s.records = std::move(kept);
    });
}

void beforePass(unsigned pass, std::function<void()> hook)
{
    locked([&](State& s) { s.passHooks[pass] = std::move(hook); });
}

} // namespace sim
