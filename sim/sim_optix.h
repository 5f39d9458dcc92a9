#pragma once
// Entry of the simulated OptiX library, exported by libnvoptix.so.1, and what
// its parts share.

#include "core/optix7.h"

namespace sim {

OptixResult queryFunctionTable(int abiId, unsigned int numOptions,
                               OptixQueryFunctionTableOptions* optionKeys,
                               const void** optionValues, void* functionTable,
                               size_t sizeOfTable);

// The device of a live simulated context, or -1 for anything else. The caller
// holds the lock.
int contextDevice(OptixDeviceContext context);

// Whether a module made from PTX declares the entry function `entry`; a
// module whose text declares none (as tests make) has every entry. The caller
// holds the lock.
bool moduleHasEntry(OptixModule module, const char* entry);

// Fills the acceleration-structure entries of the table (optix_accel_sim.cpp).
void fillAccelEntries(OptixFunctionTable& table);
// Fills the program-group and pipeline entries (optix_pipeline_sim.cpp).
void fillPipelineEntries(OptixFunctionTable& table);
// Fills the denoiser entries (optix_denoiser_sim.cpp).
void fillDenoiserEntries(OptixFunctionTable& table);

} // namespace sim
