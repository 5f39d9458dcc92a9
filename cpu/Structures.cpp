#include "Structures.h"

#include "CpuDevice.h"
#include "ThreadPool.h"

#include <cstring>
#include <iterator>
#include <map>
#include <mutex>
#include <string>

namespace cpu {
namespace {

struct Place {
    std::shared_ptr<Structure> structure;
    int device;
    size_t size;
};

// Where structures are placed, by address; and every placed one by serial.
std::map<CUdeviceptr, Place>& places()
{
    static auto* p = new std::map<CUdeviceptr, Place>;
    return *p;
}

std::map<unsigned long long, std::weak_ptr<Structure>>& bySerial()
{
    static auto* s = new std::map<unsigned long long, std::weak_ptr<Structure>>;
    return *s;
}

void reportEmbreeError(void*, RTCError, const char*) {}

} // namespace

Structure::~Structure()
{
    if (scene)
        rtcReleaseScene(scene);
}

RTCDevice embree()
{
    static RTCDevice device = [] {
        // Builds on as many threads as launches; on one under
        // ThreadSanitizer, which cannot see Embree's task scheduler
        // synchronise and would report its workers' writes as races.
#ifdef TREVIX7_TSAN
        const unsigned threads = 1;
#else
        const unsigned threads = ThreadPool::threads();
#endif
        const std::string config = "threads=" + std::to_string(threads);
        RTCDevice d = rtcNewDevice(config.c_str());
        rtcSetDeviceErrorFunction(d, reportEmbreeError, nullptr);
        return d;
    }();
    return device;
}

unsigned long long nextSerial()
{
    static unsigned long long serial = 0;
    return ++serial;
}

Structure* structureAt(OptixTraversableHandle handle, int device)
{
    const auto found = places().find(handle);
    if (found == places().end() || (device >= 0 && found->second.device != device))
        return nullptr;
    unsigned long long header[2];
    std::memcpy(header, reinterpret_cast<const void*>(handle), sizeof header);
    Structure* s = found->second.structure.get();
    return header[0] == kStructureMagic && header[1] == s->serial ? s : nullptr;
}

std::shared_ptr<Structure> sharedStructureAt(OptixTraversableHandle handle, int device)
{
    return structureAt(handle, device) ? places().at(handle).structure : nullptr;
}

std::shared_ptr<Structure> structureBySerial(unsigned long long serial)
{
    const auto found = bySerial().find(serial);
    return found == bySerial().end() ? nullptr : found->second.lock();
}

OptixTraversableHandle place(const std::shared_ptr<Structure>& s, CUdeviceptr address, int device,
                             size_t size)
{
    const unsigned long long header[2] = {kStructureMagic, s->serial};
    std::memcpy(reinterpret_cast<void*>(address), header, sizeof header);
    places()[address] = {s, device, size};
    bySerial()[s->serial] = s;
    return address;
}

size_t placedSize(OptixTraversableHandle handle)
{
    const auto found = places().find(handle);
    return found == places().end() ? 0 : found->second.size;
}

void forgetStructuresIn(void* block, size_t bytes)
{
    const auto begin = reinterpret_cast<CUdeviceptr>(block);
    auto& p = places();
    bool erased = false;
    for (auto it = p.lower_bound(begin); it != p.end() && it->first < begin + bytes; erased = true)
        it = p.erase(it);
    if (!erased)
        return;
    // What went with its last place (instance structures take their children along).
    for (auto it = bySerial().begin(); it != bySerial().end();)
        it = it->second.expired() ? bySerial().erase(it) : std::next(it);
}

} // namespace cpu
