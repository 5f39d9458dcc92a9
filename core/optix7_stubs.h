#pragma once
// The OptiX entry points by their own names, each forwarding to its slot of the
// loaded function table, so that call sites (and the checked-call messages that
// quote them) read as plain OptiX calls. Callers make sure the table is loaded.

#include "optix7.h"

inline const char* optixGetErrorName(OptixResult result)
{
    return g_optixFunctionTable.optixGetErrorName(result);
}

inline const char* optixGetErrorString(OptixResult result)
{
    return g_optixFunctionTable.optixGetErrorString(result);
}

inline OptixResult optixDeviceContextCreate(CUcontext fromContext, const OptixDeviceContextOptions* options, OptixDeviceContext* context)
{
    return g_optixFunctionTable.optixDeviceContextCreate(fromContext, options, context);
}

inline OptixResult optixDeviceContextDestroy(OptixDeviceContext context)
{
    return g_optixFunctionTable.optixDeviceContextDestroy(context);
}

inline OptixResult optixDeviceContextGetProperty(OptixDeviceContext context, OptixDeviceProperty property, void* value, size_t sizeInBytes)
{
    return g_optixFunctionTable.optixDeviceContextGetProperty(context, property, value, sizeInBytes);
}

inline OptixResult optixDeviceContextSetLogCallback(OptixDeviceContext context, OptixLogCallback callbackFunction, void* callbackData, unsigned int callbackLevel)
{
    return g_optixFunctionTable.optixDeviceContextSetLogCallback(context, callbackFunction, callbackData, callbackLevel);
}

inline OptixResult optixDeviceContextSetCacheEnabled(OptixDeviceContext context, int enabled)
{
    return g_optixFunctionTable.optixDeviceContextSetCacheEnabled(context, enabled);
}

inline OptixResult optixDeviceContextSetCacheLocation(OptixDeviceContext context, const char* location)
{
    return g_optixFunctionTable.optixDeviceContextSetCacheLocation(context, location);
}

inline OptixResult optixDeviceContextSetCacheDatabaseSizes(OptixDeviceContext context, size_t lowWaterMark, size_t highWaterMark)
{
    return g_optixFunctionTable.optixDeviceContextSetCacheDatabaseSizes(context, lowWaterMark, highWaterMark);
}

inline OptixResult optixDeviceContextGetCacheEnabled(OptixDeviceContext context, int* enabled)
{
    return g_optixFunctionTable.optixDeviceContextGetCacheEnabled(context, enabled);
}

inline OptixResult optixDeviceContextGetCacheLocation(OptixDeviceContext context, char* location, size_t locationSize)
{
    return g_optixFunctionTable.optixDeviceContextGetCacheLocation(context, location, locationSize);
}

inline OptixResult optixDeviceContextGetCacheDatabaseSizes(OptixDeviceContext context, size_t* lowWaterMark, size_t* highWaterMark)
{
    return g_optixFunctionTable.optixDeviceContextGetCacheDatabaseSizes(context, lowWaterMark, highWaterMark);
}

inline OptixResult optixModuleCreateFromPTX(OptixDeviceContext context, const OptixModuleCompileOptions* moduleCompileOptions, const OptixPipelineCompileOptions* pipelineCompileOptions, const char* PTX, size_t PTXsize, char* logString, size_t* logStringSize, OptixModule* module)
{
    return g_optixFunctionTable.optixModuleCreateFromPTX(context, moduleCompileOptions, pipelineCompileOptions, PTX, PTXsize, logString, logStringSize, module);
}

inline OptixResult optixModuleCreateFromPTXWithTasks(OptixDeviceContext context, const OptixModuleCompileOptions* moduleCompileOptions, const OptixPipelineCompileOptions* pipelineCompileOptions, const char* PTX, size_t PTXsize, char* logString, size_t* logStringSize, OptixModule* module, OptixTask* firstTask)
{
    return g_optixFunctionTable.optixModuleCreateFromPTXWithTasks(context, moduleCompileOptions, pipelineCompileOptions, PTX, PTXsize, logString, logStringSize, module, firstTask);
}

inline OptixResult optixModuleGetCompilationState(OptixModule module, OptixModuleCompileState* state)
{
    return g_optixFunctionTable.optixModuleGetCompilationState(module, state);
}

inline OptixResult optixModuleDestroy(OptixModule module)
{
    return g_optixFunctionTable.optixModuleDestroy(module);
}

inline OptixResult optixBuiltinISModuleGet(OptixDeviceContext context, const OptixModuleCompileOptions* moduleCompileOptions, const OptixPipelineCompileOptions* pipelineCompileOptions, const OptixBuiltinISOptions* builtinISOptions, OptixModule* builtinModule)
{
    return g_optixFunctionTable.optixBuiltinISModuleGet(context, moduleCompileOptions, pipelineCompileOptions, builtinISOptions, builtinModule);
}

inline OptixResult optixTaskExecute(OptixTask task, OptixTask* additionalTasks, unsigned int maxNumAdditionalTasks, unsigned int* numAdditionalTasksCreated)
{
    return g_optixFunctionTable.optixTaskExecute(task, additionalTasks, maxNumAdditionalTasks, numAdditionalTasksCreated);
}

inline OptixResult optixProgramGroupCreate(OptixDeviceContext context, const OptixProgramGroupDesc* programDescriptions, unsigned int numProgramGroups, const OptixProgramGroupOptions* options, char* logString, size_t* logStringSize, OptixProgramGroup* programGroups)
{
    return g_optixFunctionTable.optixProgramGroupCreate(context, programDescriptions, numProgramGroups, options, logString, logStringSize, programGroups);
}

inline OptixResult optixProgramGroupDestroy(OptixProgramGroup programGroup)
{
    return g_optixFunctionTable.optixProgramGroupDestroy(programGroup);
}

inline OptixResult optixProgramGroupGetStackSize(OptixProgramGroup programGroup, OptixStackSizes* stackSizes)
{
    return g_optixFunctionTable.optixProgramGroupGetStackSize(programGroup, stackSizes);
}

inline OptixResult optixPipelineCreate(OptixDeviceContext context, const OptixPipelineCompileOptions* pipelineCompileOptions, const OptixPipelineLinkOptions* pipelineLinkOptions, const OptixProgramGroup* programGroups, unsigned int numProgramGroups, char* logString, size_t* logStringSize, OptixPipeline* pipeline)
{
    return g_optixFunctionTable.optixPipelineCreate(context, pipelineCompileOptions, pipelineLinkOptions, programGroups, numProgramGroups, logString, logStringSize, pipeline);
}

inline OptixResult optixPipelineDestroy(OptixPipeline pipeline)
{
    return g_optixFunctionTable.optixPipelineDestroy(pipeline);
}

inline OptixResult optixPipelineSetStackSize(OptixPipeline pipeline, unsigned int directCallableStackSizeFromTraversal, unsigned int directCallableStackSizeFromState, unsigned int continuationStackSize, unsigned int maxTraversableGraphDepth)
{
    return g_optixFunctionTable.optixPipelineSetStackSize(pipeline, directCallableStackSizeFromTraversal, directCallableStackSizeFromState, continuationStackSize, maxTraversableGraphDepth);
}

inline OptixResult optixAccelComputeMemoryUsage(OptixDeviceContext context, const OptixAccelBuildOptions* accelOptions, const OptixBuildInput* buildInputs, unsigned int numBuildInputs, OptixAccelBufferSizes* bufferSizes)
{
    return g_optixFunctionTable.optixAccelComputeMemoryUsage(context, accelOptions, buildInputs, numBuildInputs, bufferSizes);
}

inline OptixResult optixAccelBuild(OptixDeviceContext context, CUstream stream, const OptixAccelBuildOptions* accelOptions, const OptixBuildInput* buildInputs, unsigned int numBuildInputs, CUdeviceptr tempBuffer, size_t tempBufferSizeInBytes, CUdeviceptr outputBuffer, size_t outputBufferSizeInBytes, OptixTraversableHandle* outputHandle, const OptixAccelEmitDesc* emittedProperties, unsigned int numEmittedProperties)
{
    return g_optixFunctionTable.optixAccelBuild(context, stream, accelOptions, buildInputs, numBuildInputs, tempBuffer, tempBufferSizeInBytes, outputBuffer, outputBufferSizeInBytes, outputHandle, emittedProperties, numEmittedProperties);
}

inline OptixResult optixAccelGetRelocationInfo(OptixDeviceContext context, OptixTraversableHandle handle, OptixRelocationInfo* info)
{
    return g_optixFunctionTable.optixAccelGetRelocationInfo(context, handle, info);
}

inline OptixResult optixCheckRelocationCompatibility(OptixDeviceContext context, const OptixRelocationInfo* info, int* compatible)
{
    return g_optixFunctionTable.optixCheckRelocationCompatibility(context, info, compatible);
}

inline OptixResult optixAccelRelocate(OptixDeviceContext context, CUstream stream, const OptixRelocationInfo* info, const OptixRelocateInput* relocateInputs, size_t numRelocateInputs, CUdeviceptr targetAccel, size_t targetAccelSizeInBytes, OptixTraversableHandle* targetHandle)
{
    return g_optixFunctionTable.optixAccelRelocate(context, stream, info, relocateInputs, numRelocateInputs, targetAccel, targetAccelSizeInBytes, targetHandle);
}

inline OptixResult optixAccelCompact(OptixDeviceContext context, CUstream stream, OptixTraversableHandle inputHandle, CUdeviceptr outputBuffer, size_t outputBufferSizeInBytes, OptixTraversableHandle* outputHandle)
{
    return g_optixFunctionTable.optixAccelCompact(context, stream, inputHandle, outputBuffer, outputBufferSizeInBytes, outputHandle);
}

inline OptixResult optixConvertPointerToTraversableHandle(OptixDeviceContext onDevice, CUdeviceptr pointer, OptixTraversableType traversableType, OptixTraversableHandle* traversableHandle)
{
    return g_optixFunctionTable.optixConvertPointerToTraversableHandle(onDevice, pointer, traversableType, traversableHandle);
}

inline OptixResult optixOpacityMicromapArrayComputeMemoryUsage(OptixDeviceContext context, const OptixOpacityMicromapArrayBuildInput* buildInput, OptixMicromapBufferSizes* bufferSizes)
{
    return g_optixFunctionTable.optixOpacityMicromapArrayComputeMemoryUsage(context, buildInput, bufferSizes);
}

inline OptixResult optixOpacityMicromapArrayBuild(OptixDeviceContext context, CUstream stream, const OptixOpacityMicromapArrayBuildInput* buildInput, const OptixMicromapBuffers* buffers)
{
    return g_optixFunctionTable.optixOpacityMicromapArrayBuild(context, stream, buildInput, buffers);
}

inline OptixResult optixOpacityMicromapArrayGetRelocationInfo(OptixDeviceContext context, CUdeviceptr opacityMicromapArray, OptixRelocationInfo* info)
{
    return g_optixFunctionTable.optixOpacityMicromapArrayGetRelocationInfo(context, opacityMicromapArray, info);
}

inline OptixResult optixOpacityMicromapArrayRelocate(OptixDeviceContext context, CUstream stream, const OptixRelocationInfo* info, CUdeviceptr targetOpacityMicromapArray, size_t targetOpacityMicromapArraySizeInBytes)
{
    return g_optixFunctionTable.optixOpacityMicromapArrayRelocate(context, stream, info, targetOpacityMicromapArray, targetOpacityMicromapArraySizeInBytes);
}

inline OptixResult optixSbtRecordPackHeader(OptixProgramGroup programGroup, void* sbtRecordHeaderHostPointer)
{
    return g_optixFunctionTable.optixSbtRecordPackHeader(programGroup, sbtRecordHeaderHostPointer);
}

inline OptixResult optixLaunch(OptixPipeline pipeline, CUstream stream, CUdeviceptr pipelineParams, size_t pipelineParamsSize, const OptixShaderBindingTable* sbt, unsigned int width, unsigned int height, unsigned int depth)
{
    return g_optixFunctionTable.optixLaunch(pipeline, stream, pipelineParams, pipelineParamsSize, sbt, width, height, depth);
}

inline OptixResult optixDenoiserCreate(OptixDeviceContext context, OptixDenoiserModelKind modelKind, const OptixDenoiserOptions* options, OptixDenoiser* returnHandle)
{
    return g_optixFunctionTable.optixDenoiserCreate(context, modelKind, options, returnHandle);
}

inline OptixResult optixDenoiserDestroy(OptixDenoiser handle)
{
    return g_optixFunctionTable.optixDenoiserDestroy(handle);
}

inline OptixResult optixDenoiserComputeMemoryResources(const OptixDenoiser handle, unsigned int maximumInputWidth, unsigned int maximumInputHeight, OptixDenoiserSizes* returnSizes)
{
    return g_optixFunctionTable.optixDenoiserComputeMemoryResources(handle, maximumInputWidth, maximumInputHeight, returnSizes);
}

inline OptixResult optixDenoiserSetup(OptixDenoiser denoiser, CUstream stream, unsigned int inputWidth, unsigned int inputHeight, CUdeviceptr state, size_t stateSizeInBytes, CUdeviceptr scratch, size_t scratchSizeInBytes)
{
    return g_optixFunctionTable.optixDenoiserSetup(denoiser, stream, inputWidth, inputHeight, state, stateSizeInBytes, scratch, scratchSizeInBytes);
}

inline OptixResult optixDenoiserInvoke(OptixDenoiser denoiser, CUstream stream, const OptixDenoiserParams* params, CUdeviceptr denoiserState, size_t denoiserStateSizeInBytes, const OptixDenoiserGuideLayer* guideLayer, const OptixDenoiserLayer* layers, unsigned int numLayers, unsigned int inputOffsetX, unsigned int inputOffsetY, CUdeviceptr scratch, size_t scratchSizeInBytes)
{
    return g_optixFunctionTable.optixDenoiserInvoke(denoiser, stream, params, denoiserState, denoiserStateSizeInBytes, guideLayer, layers, numLayers, inputOffsetX, inputOffsetY, scratch, scratchSizeInBytes);
}

inline OptixResult optixDenoiserComputeIntensity(OptixDenoiser handle, CUstream stream, const OptixImage2D* inputImage, CUdeviceptr outputIntensity, CUdeviceptr scratch, size_t scratchSizeInBytes)
{
    return g_optixFunctionTable.optixDenoiserComputeIntensity(handle, stream, inputImage, outputIntensity, scratch, scratchSizeInBytes);
}

inline OptixResult optixDenoiserComputeAverageColor(OptixDenoiser handle, CUstream stream, const OptixImage2D* inputImage, CUdeviceptr outputAverageColor, CUdeviceptr scratch, size_t scratchSizeInBytes)
{
    return g_optixFunctionTable.optixDenoiserComputeAverageColor(handle, stream, inputImage, outputAverageColor, scratch, scratchSizeInBytes);
}

inline OptixResult optixDenoiserCreateWithUserModel(OptixDeviceContext context, const void* data, size_t dataSizeInBytes, OptixDenoiser* returnHandle)
{
    return g_optixFunctionTable.optixDenoiserCreateWithUserModel(context, data, dataSizeInBytes, returnHandle);
}
