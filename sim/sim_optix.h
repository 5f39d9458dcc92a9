#pragma once
// Entry of the simulated OptiX library, exported by libnvoptix.so.1.

#include "core/optix7.h"

namespace sim {

OptixResult queryFunctionTable(int abiId, unsigned int numOptions,
                               OptixQueryFunctionTableOptions* optionKeys,
                               const void** optionValues, void* functionTable,
                               size_t sizeOfTable);

} // namespace sim
