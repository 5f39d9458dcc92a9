#pragma once
// Loads the OptiX library of the display driver and fills g_optixFunctionTable.

// Opens "libnvoptix.so.1" and queries the ABI 68 function table. Returns false,
// silently, when the library, its entry symbol or the table is not available;
// the table then stays unloaded (its first entry null).
bool loadOptixFunctionTable();

// True once the table holds a loaded library's entry points.
bool optixLoaded();
