// libnvoptix.so.1 of the simulated device: the CPU device's OptiX with the
// test layer's recording entries.

#include "SimLayer.h"

extern "C" __attribute__((visibility("default"))) OptixResult
optixQueryFunctionTable(int abiId, unsigned int /*numOptions*/,
                        OptixQueryFunctionTableOptions* /*optionKeys*/,
                        const void** /*optionValues*/, void* functionTable, size_t sizeOfTable)
{
    return sim::queryFunctionTable(abiId, functionTable, sizeOfTable);
}
