# What the scene reader and trevix7-render need, from Debian's packages
# (tools/install-deps.sh installs them).
find_path(TREVIX7_JSON_INCLUDE nlohmann/json.hpp REQUIRED)
find_path(TREVIX7_CLI11_INCLUDE CLI/CLI.hpp REQUIRED)
find_path(TREVIX7_TINYOBJ_INCLUDE tiny_obj_loader.h REQUIRED)
find_path(TREVIX7_STB_INCLUDE stb/stb_image.h REQUIRED)
find_path(TREVIX7_TINYEXR_INCLUDE tinyexr.h REQUIRED)
find_path(TREVIX7_TINYGLTF_INCLUDE tiny_gltf.h REQUIRED)
find_package(PNG REQUIRED)
find_package(ZLIB REQUIRED)

# Their headers as system headers: a newer compiler's warnings in them must
# not fail our -Werror builds.
add_library(trevix7_third_party INTERFACE)
target_include_directories(trevix7_third_party SYSTEM INTERFACE
    ${TREVIX7_JSON_INCLUDE} ${TREVIX7_CLI11_INCLUDE} ${TREVIX7_TINYOBJ_INCLUDE}
    ${TREVIX7_STB_INCLUDE} ${TREVIX7_TINYEXR_INCLUDE} ${TREVIX7_TINYGLTF_INCLUDE} ${ZLIB_INCLUDE_DIRS})
# The glTF reader reads; it never writes images (everywhere, so its classes agree).
target_compile_definitions(trevix7_third_party INTERFACE TINYGLTF_NO_STB_IMAGE_WRITE)

