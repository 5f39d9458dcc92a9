// libnvoptix.so.1 of the CPU device: the table query of its OptiX library,
// which lives, with all its state, in the CPU device's runtime.

#include "OptixObjects.h"

extern "C" __attribute__((visibility("default"))) OptixResult
optixQueryFunctionTable(int abiId, unsigned int /*numOptions*/,
                        OptixQueryFunctionTableOptions* /*optionKeys*/,
                        const void** /*optionValues*/, void* functionTable, size_t sizeOfTable)
{
    return cpu::queryFunctionTable(abiId, functionTable, sizeOfTable);
}
