# Fails when the product library needs the driver library directly: it must
# load on machines without an NVIDIA driver.
execute_process(COMMAND readelf -d ${LIB} OUTPUT_VARIABLE dyn RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "readelf failed on ${LIB}")
endif()
if(dyn MATCHES "libcuda\\.so")
    message(FATAL_ERROR "${LIB} lists libcuda among its NEEDED entries:\n${dyn}")
endif()
if(NOT dyn MATCHES "NEEDED")
    message(FATAL_ERROR "no dynamic section read from ${LIB}")
endif()
message(STATUS "NEEDED entries of ${LIB} are driver-free")
