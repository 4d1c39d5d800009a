# `cmake --install` installs the headers, the library, a CMake package and a pkg-config file. The CMake
# package and the pkg-config file work wherever the installed tree is moved to.
include(CMakePackageConfigHelpers)

set(kiv_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kiv)

install(TARGETS kiv EXPORT kivTargets)
if(NOT KIV_FLAGS_SCREEN)
    set(kiv_not_installed PATTERN KIVFlagsScreen.h EXCLUDE)
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kiv DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h" ${kiv_not_installed})
install(EXPORT kivTargets NAMESPACE kiv:: DESTINATION ${kiv_package_dir})

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/kivConfig.cmake.in ${PROJECT_BINARY_DIR}/kivConfig.cmake
                              INSTALL_DESTINATION ${kiv_package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kivConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kivConfig.cmake ${PROJECT_BINARY_DIR}/kivConfigVersion.cmake
        DESTINATION ${kiv_package_dir})

# A shared library names the libraries that it needs. For a static one, `pkg-config --static` names them to the
# application.
if(BUILD_SHARED_LIBS)
    set(kiv_pc_cflags " -DKIV_SHARED_LIBRARY")
    set(kiv_pc_private "")
else()
    set(kiv_pc_cflags "")
    list(JOIN KIV_PKG_CONFIG_MODULES " " modules)
    # libcurl is named here and not as a module: for `--static`, its own pkg-config file asks for libraries that are not
    # installed with it.
    set(kiv_pc_private "Requires.private: ${modules}\nLibs.private: -lcurl -pthread\n")
endif()
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_LIBDIR BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE libdir)
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_INCLUDEDIR BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE includedir)
file(RELATIVE_PATH kiv_pc_prefix ${libdir}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" kiv_pc_prefix ${kiv_pc_prefix})
file(RELATIVE_PATH kiv_pc_libdir ${CMAKE_INSTALL_PREFIX} ${libdir})
file(RELATIVE_PATH kiv_pc_includedir ${CMAKE_INSTALL_PREFIX} ${includedir})
configure_file(${CMAKE_CURRENT_LIST_DIR}/kiv.pc.in ${PROJECT_BINARY_DIR}/kiv.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kiv.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
