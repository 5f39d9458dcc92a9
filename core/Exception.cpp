#include "Exception.h"

#include "CUDABuffer.h"

#include <cstring>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace {

// Names of the results that can occur before the function table is loaded.
const char* preloadResultName(OptixResult res)
{
    switch (res) {
    case OPTIX_SUCCESS: return "OPTIX_SUCCESS";
    case OPTIX_ERROR_INVALID_VALUE: return "OPTIX_ERROR_INVALID_VALUE";
    case OPTIX_ERROR_UNSUPPORTED_ABI_VERSION: return "OPTIX_ERROR_UNSUPPORTED_ABI_VERSION";
    case OPTIX_ERROR_FUNCTION_TABLE_SIZE_MISMATCH: return "OPTIX_ERROR_FUNCTION_TABLE_SIZE_MISMATCH";
    case OPTIX_ERROR_INVALID_ENTRY_FUNCTION_OPTIONS: return "OPTIX_ERROR_INVALID_ENTRY_FUNCTION_OPTIONS";
    case OPTIX_ERROR_LIBRARY_NOT_FOUND: return "OPTIX_ERROR_LIBRARY_NOT_FOUND";
    case OPTIX_ERROR_ENTRY_SYMBOL_NOT_FOUND: return "OPTIX_ERROR_ENTRY_SYMBOL_NOT_FOUND";
    case OPTIX_ERROR_LIBRARY_UNLOAD_FAILURE: return "OPTIX_ERROR_LIBRARY_UNLOAD_FAILURE";
    default: return "Unknown OptixResult code";
    }
}

// A null text fails the stream, so nothing after it is appended.
void put(std::ostream& out, const char* text)
{
    if (text) {
        out << text;
    } else {
        out.width(0);
        out.setstate(std::ios::badbit);
    }
}

} // namespace

std::string sutil::Exception::createMessage(OptixResult res, const char* msg)
{
    std::ostringstream out;
    if (g_optixFunctionTable.optixGetErrorName)
        put(out, g_optixFunctionTable.optixGetErrorName(res));
    else
        out << preloadResultName(res);
    out << ": ";
    put(out, msg);
    return out.str();
}

void context_log_cb(unsigned int level, const char* tag, const char* message, void* /*cbdata*/)
{
    std::cerr << "[" << std::setw(2) << level << "][" << std::setw(12);
    put(std::cerr, tag);
    std::cerr << "]: ";
    put(std::cerr, message);
    std::cerr << "\n";
}

void reportDestructorFailure(const char* owner, const char* text, std::ostream& out) noexcept
{
    out << owner << " destructor caught exception: " << text << std::endl;
}

void throwCudaCallFailed(const char* call, cudaError_t error, const char* label, int line)
{
    cudaGetLastError(); // reported here, so no later check reports it again
    std::stringstream ss;
    ss << "CUDA call (" << call << " ) failed with error: '" << cudaGetErrorString(error) << "' ("
       << label << ":" << line << ")\n";
    throw sutil::Exception(ss.str().c_str());
}

void throwCudaSyncFailed(cudaError_t error, const char* label, int line)
{
    std::stringstream ss;
    ss << "CUDA error on synchronize with error '" << cudaGetErrorString(error) << "' (" << label
       << ":" << line << ")\n";
    throw sutil::Exception(ss.str().c_str());
}

void throwOptixCallFailed(const char* call, OptixResult result, const char* label, int line,
                          const char* log, size_t capacity, size_t needed)
{
    std::stringstream ss;
    ss << "Optix call '" << call << "' failed: " << label << ":" << line << ")\n";
    if (log)
        ss << "Log:\n"
           << std::string(log, strnlen(log, capacity)) << (needed > capacity ? "<TRUNCATED>" : "")
           << "\n";
    throw sutil::Exception(result, ss.str().c_str());
}
