# cmake --install: the library with its soname links, the public headers,
# our program files, the CPU device, the scene reader, trevix7-render, the
# example scenes, the docs, the Python package, a CMake package made by
# install(EXPORT) (find_package(trevix7) gives trevix7::trevix7 and
# trevix7::scene) and pkg-config files (trevix7, trevix7-scene).

set(TREVIX7_INCLUDE_SUBDIR ${CMAKE_INSTALL_INCLUDEDIR}/trevix7)
set(TREVIX7_CMAKE_SUBDIR ${CMAKE_INSTALL_LIBDIR}/cmake/trevix7)
set(TREVIX7_SHARE_SUBDIR ${CMAKE_INSTALL_DATADIR}/trevix7)

# The targets as consumers see them: headers from the installed folder.
target_include_directories(trevix7 INTERFACE $<INSTALL_INTERFACE:${TREVIX7_INCLUDE_SUBDIR}>)
target_include_directories(trevix7_scene INTERFACE $<INSTALL_INTERFACE:${TREVIX7_INCLUDE_SUBDIR}>)
set_target_properties(trevix7_scene PROPERTIES EXPORT_NAME scene)
install(TARGETS trevix7 trevix7_scene EXPORT trevix7Targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT trevix7Targets NAMESPACE trevix7:: DESTINATION ${TREVIX7_CMAKE_SUBDIR})
# The CPU device in its private folder: its libnvoptix.so.1 must never be
# found in place of NVIDIA's, so nothing of it goes on the loader's paths.
install(TARGETS trevix7_on_cpu trevix7_cpu nvoptix_cpu
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/trevix7/cpu NAMELINK_SKIP)
install(TARGETS trevix7-render RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${CMAKE_SOURCE_DIR}/api/trevix7.h ${CMAKE_SOURCE_DIR}/api/trevix7_programs.h
              ${CMAKE_SOURCE_DIR}/tools/scene/trevix7_scene.h
        DESTINATION ${TREVIX7_INCLUDE_SUBDIR})
install(FILES ${TREVIX7_PTX_FILES} DESTINATION ${TREVIX7_SHARE_SUBDIR}/cuda)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/scenes/ DESTINATION ${TREVIX7_SHARE_SUBDIR}/scenes
        PATTERN "*.py" EXCLUDE)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/docs/ DESTINATION ${TREVIX7_SHARE_SUBDIR}/docs)
install(FILES ${CMAKE_SOURCE_DIR}/LICENSE ${CMAKE_SOURCE_DIR}/README.md DESTINATION ${TREVIX7_SHARE_SUBDIR})
# The Python package finds the libraries from here (<prefix>/share/trevix7/python).
install(DIRECTORY ${CMAKE_SOURCE_DIR}/python/trevix7 DESTINATION ${TREVIX7_SHARE_SUBDIR}/python
        PATTERN "__pycache__" EXCLUDE)

include(CMakePackageConfigHelpers)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/trevix7Config.cmake.in
    ${CMAKE_BINARY_DIR}/trevix7Config.cmake
    INSTALL_DESTINATION ${TREVIX7_CMAKE_SUBDIR}
    PATH_VARS TREVIX7_INCLUDE_SUBDIR CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_DATADIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/trevix7ConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/trevix7Config.cmake ${CMAKE_BINARY_DIR}/trevix7ConfigVersion.cmake
        DESTINATION ${TREVIX7_CMAKE_SUBDIR})

# The prefix as seen from the .pc file, so that the installed tree can move.
file(RELATIVE_PATH TREVIX7_PC_TO_PREFIX /p/${CMAKE_INSTALL_LIBDIR}/pkgconfig /p)
foreach(pc trevix7 trevix7-scene)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/${pc}.pc.in ${CMAKE_BINARY_DIR}/${pc}.pc @ONLY)
    install(FILES ${CMAKE_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
