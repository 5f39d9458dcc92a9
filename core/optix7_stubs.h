#pragma once
// The OptiX entry points by their own names: each is the slot of the loaded
// function table, so call sites (and the checked-call messages that quote them)
// read as plain OptiX calls. Callers make sure the table is loaded.

#include "optix7.h"

inline auto& optixGetErrorName = g_optixFunctionTable.optixGetErrorName;
inline auto& optixGetErrorString = g_optixFunctionTable.optixGetErrorString;
inline auto& optixDeviceContextCreate = g_optixFunctionTable.optixDeviceContextCreate;
inline auto& optixDeviceContextDestroy = g_optixFunctionTable.optixDeviceContextDestroy;
inline auto& optixDeviceContextGetProperty = g_optixFunctionTable.optixDeviceContextGetProperty;
inline auto& optixDeviceContextSetLogCallback = g_optixFunctionTable.optixDeviceContextSetLogCallback;
inline auto& optixDeviceContextSetCacheEnabled = g_optixFunctionTable.optixDeviceContextSetCacheEnabled;
inline auto& optixDeviceContextSetCacheLocation = g_optixFunctionTable.optixDeviceContextSetCacheLocation;
inline auto& optixDeviceContextSetCacheDatabaseSizes = g_optixFunctionTable.optixDeviceContextSetCacheDatabaseSizes;
inline auto& optixDeviceContextGetCacheEnabled = g_optixFunctionTable.optixDeviceContextGetCacheEnabled;
inline auto& optixDeviceContextGetCacheLocation = g_optixFunctionTable.optixDeviceContextGetCacheLocation;
inline auto& optixDeviceContextGetCacheDatabaseSizes = g_optixFunctionTable.optixDeviceContextGetCacheDatabaseSizes;
inline auto& optixModuleCreateFromPTX = g_optixFunctionTable.optixModuleCreateFromPTX;
inline auto& optixModuleCreateFromPTXWithTasks = g_optixFunctionTable.optixModuleCreateFromPTXWithTasks;
inline auto& optixModuleGetCompilationState = g_optixFunctionTable.optixModuleGetCompilationState;
inline auto& optixModuleDestroy = g_optixFunctionTable.optixModuleDestroy;
inline auto& optixBuiltinISModuleGet = g_optixFunctionTable.optixBuiltinISModuleGet;
inline auto& optixTaskExecute = g_optixFunctionTable.optixTaskExecute;
inline auto& optixProgramGroupCreate = g_optixFunctionTable.optixProgramGroupCreate;
inline auto& optixProgramGroupDestroy = g_optixFunctionTable.optixProgramGroupDestroy;
inline auto& optixProgramGroupGetStackSize = g_optixFunctionTable.optixProgramGroupGetStackSize;
inline auto& optixPipelineCreate = g_optixFunctionTable.optixPipelineCreate;
inline auto& optixPipelineDestroy = g_optixFunctionTable.optixPipelineDestroy;
inline auto& optixPipelineSetStackSize = g_optixFunctionTable.optixPipelineSetStackSize;
inline auto& optixAccelComputeMemoryUsage = g_optixFunctionTable.optixAccelComputeMemoryUsage;
inline auto& optixAccelBuild = g_optixFunctionTable.optixAccelBuild;
inline auto& optixAccelGetRelocationInfo = g_optixFunctionTable.optixAccelGetRelocationInfo;
inline auto& optixCheckRelocationCompatibility = g_optixFunctionTable.optixCheckRelocationCompatibility;
inline auto& optixAccelRelocate = g_optixFunctionTable.optixAccelRelocate;
inline auto& optixAccelCompact = g_optixFunctionTable.optixAccelCompact;
inline auto& optixConvertPointerToTraversableHandle = g_optixFunctionTable.optixConvertPointerToTraversableHandle;
inline auto& optixOpacityMicromapArrayComputeMemoryUsage = g_optixFunctionTable.optixOpacityMicromapArrayComputeMemoryUsage;
inline auto& optixOpacityMicromapArrayBuild = g_optixFunctionTable.optixOpacityMicromapArrayBuild;
inline auto& optixOpacityMicromapArrayGetRelocationInfo = g_optixFunctionTable.optixOpacityMicromapArrayGetRelocationInfo;
inline auto& optixOpacityMicromapArrayRelocate = g_optixFunctionTable.optixOpacityMicromapArrayRelocate;
inline auto& optixSbtRecordPackHeader = g_optixFunctionTable.optixSbtRecordPackHeader;
inline auto& optixLaunch = g_optixFunctionTable.optixLaunch;
inline auto& optixDenoiserCreate = g_optixFunctionTable.optixDenoiserCreate;
inline auto& optixDenoiserDestroy = g_optixFunctionTable.optixDenoiserDestroy;
inline auto& optixDenoiserComputeMemoryResources = g_optixFunctionTable.optixDenoiserComputeMemoryResources;
inline auto& optixDenoiserSetup = g_optixFunctionTable.optixDenoiserSetup;
inline auto& optixDenoiserInvoke = g_optixFunctionTable.optixDenoiserInvoke;
inline auto& optixDenoiserComputeIntensity = g_optixFunctionTable.optixDenoiserComputeIntensity;
inline auto& optixDenoiserComputeAverageColor = g_optixFunctionTable.optixDenoiserComputeAverageColor;
inline auto& optixDenoiserCreateWithUserModel = g_optixFunctionTable.optixDenoiserCreateWithUserModel;
