// libnvoptix.so.1 of the simulated device: forwards the table query to the
// simulated runtime, which keeps all state.

#include "sim_optix.h"

extern "C" __attribute__((visibility("default"))) OptixResult
optixQueryFunctionTable(int abiId, unsigned int numOptions,
                        OptixQueryFunctionTableOptions* optionKeys, const void** optionValues,
                        void* functionTable, size_t sizeOfTable)
{
    return sim::queryFunctionTable(abiId, numOptions, optionKeys, optionValues, functionTable,
                                   sizeOfTable);
}
