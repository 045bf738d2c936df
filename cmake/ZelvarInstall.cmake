# Installed tree: library, public headers, CMake package, pkg-config file. It can be moved as a whole.
include(CMakePackageConfigHelpers)

set(ZELVAR_PACKAGE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/Zelvar)
target_compile_features(Zelvar INTERFACE cxx_std_14)

install(TARGETS Zelvar EXPORT ZelvarTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET ZelvarShaderCheck)
    install(TARGETS ZelvarShaderCheck LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
install(DIRECTORY include/zelvar DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

install(EXPORT ZelvarTargets NAMESPACE Zelvar:: DESTINATION ${ZELVAR_PACKAGE_FOLDER})
configure_package_config_file(cmake/ZelvarConfig.cmake.in ${CMAKE_BINARY_DIR}/ZelvarConfig.cmake
                              INSTALL_DESTINATION ${ZELVAR_PACKAGE_FOLDER})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/ZelvarConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/ZelvarConfig.cmake ${CMAKE_BINARY_DIR}/ZelvarConfigVersion.cmake
        DESTINATION ${ZELVAR_PACKAGE_FOLDER})

# From the folder of zelvar.pc back to the prefix, however deep the library folder is.
file(RELATIVE_PATH ZELVAR_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/zelvar.pc.in ${CMAKE_BINARY_DIR}/zelvar.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/zelvar.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
