// The test layer over the CPU device: its hooks (failure injection, the
// journal, the device set of TREVIX7_SIM_DEVICES and TREVIX7_SIM_DEVICE_MEMORY)
// installed when the library loads, and the controls tests call.

#include "SimLayer.h"

#include <cstdlib>
#include <cstring>
#include <sstream>

namespace sim {
namespace {

void configure(std::vector<cpu::Device>& devices)
{
    size_t memory = size_t(1) << 30;
    if (const char* m = std::getenv("TREVIX7_SIM_DEVICE_MEMORY"))
        memory = std::strtoull(m, nullptr, 10);
    devices.clear();
    const char* list = std::getenv("TREVIX7_SIM_DEVICES");
    std::stringstream in(list ? list : "860");
    std::string item;
    while (std::getline(in, item, ',')) {
        const int capability = std::atoi(item.c_str());
        devices.push_back({"Simulated Device " + std::to_string(devices.size()) + " (sm_" +
                               std::to_string(capability / 10) + ")",
                           capability, memory});
    }
}

void note(const std::string& line) { layer().journal.push_back(line); }

int intercept(const char* function, char* log, size_t* logSize)
{
    auto it = layer().injections.find(function);
    if (it == layer().injections.end())
        return 0;
    if (it->second.after) {
        --it->second.after;
        return 0;
    }
    const Injection injection = it->second;
    layer().injections.erase(it);
    if (!injection.log.empty())
        cpu::writeLog(injection.log, log, logSize);
    cpu::note(std::strncmp(function, "optix", 5) ? "cuda" : "optix", "%s -> %d (injected)",
              function, injection.result);
    return injection.result;
}

// Installed before the first call: the CPU device's state is made on first use.
const bool installed = [] {
    cpu::hooks() = {intercept, note, configure};
    return true;
}();

} // namespace

Layer& layer()
{
    static auto* l = new Layer; // never destroyed, like the CPU device's state
    return *l;
}

void failNext(const char* function, int result, unsigned after, const std::string& log)
{
    locked([&](Layer& l) { l.injections[function] = {result, after, log}; });
}

void clearInjections() { locked([](Layer& l) { l.injections.clear(); }); }
std::vector<std::string> journal() { return locked([](Layer& l) { return l.journal; }); }
void clearJournal() { locked([](Layer& l) { l.journal.clear(); }); }
Records records() { return locked([](Layer& l) { return l.records; }); }

void clearRecords()
{
    locked([](Layer& l) {
        Records kept;
        kept.contexts = std::move(l.records.contexts);
        l.records = std::move(kept);
    });
}

void beforePass(unsigned pass, std::function<void()> hook)
{
    locked([&](Layer& l) { l.passHooks[pass] = std::move(hook); });
}

Counts counts()
{
    std::lock_guard<std::mutex> guard(cpu::lock());
    const cpu::State& s = cpu::state();
    Counts c;
    for (const auto& a : s.allocations) {
        if (a.second.pinned) {
            ++c.pinnedAllocations;
        } else {
            ++c.deviceAllocations;
            c.deviceBytes += a.second.bytes;
        }
    }
    for (const cpu::Array* a : s.arrays)
        c.deviceBytes += a->image->size();
    c.arrays = s.arrays.size();
    c.textureObjects = s.liveTextureObjects;
    c.streams = s.streams.size();
    c.optixContexts = s.optixContexts.size();
    c.optixObjects = s.optixObjects.size();
    return c;
}

size_t deviceBytesInUse(int device)
{
    std::lock_guard<std::mutex> guard(cpu::lock());
    return cpu::state().devices.at(size_t(device)).bytesInUse;
}

void setDeviceMemoryLimit(int device, size_t bytes)
{
    std::lock_guard<std::mutex> guard(cpu::lock());
    cpu::state().devices.at(size_t(device)).memoryLimit = bytes;
}

void setPinnedMemoryLimit(size_t bytes)
{
    std::lock_guard<std::mutex> guard(cpu::lock());
    cpu::state().pinnedLimit = bytes;
}

void setCompactionSaves(bool saves)
{
    std::lock_guard<std::mutex> guard(cpu::lock());
    cpu::state().compactionSaves = saves;
}

bool textureInfo(unsigned long long object, TextureInfo& out)
{
    std::lock_guard<std::mutex> guard(cpu::lock());
    auto& all = cpu::state().textureObjects;
    if (object < cpu::kFirstTextureObject || object - cpu::kFirstTextureObject >= all.size() ||
        !all[object - cpu::kFirstTextureObject].live)
        return false;
    const cpu::TextureObject* t = &all[object - cpu::kFirstTextureObject];
    out.device = t->device;
    out.texture = t->texture;
    out.format = t->format;
    out.width = t->width;
    out.height = t->height;
    out.image = *t->image;
    return true;
}

} // namespace sim
