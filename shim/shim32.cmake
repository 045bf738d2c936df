# The shim for 32-bit targets: the same sources through the compiler's -m32, in ${CMAKE_BINARY_DIR}/shim32.
# A build tree has one set of flags for all its targets, so these are commands of their own.

include(CheckCXXSourceCompiles)
set(CMAKE_REQUIRED_FLAGS -m32)
set(CMAKE_REQUIRED_LINK_OPTIONS -m32 -static-libgcc -static-libstdc++)
check_cxx_source_compiles("#include <string>\nint main() { return static_cast<int>(std::string{}.size()); }"
                          ZELVAR_CAN_BUILD_32)
unset(CMAKE_REQUIRED_FLAGS)
unset(CMAKE_REQUIRED_LINK_OPTIONS)
if(NOT ZELVAR_CAN_BUILD_32)
    message(STATUS "shim: no 32-bit compiler (Debian package g++-multilib); 32-bit targets are left out")
    return()
endif()

set(SHIM32_DIR ${CMAKE_BINARY_DIR}/shim32)
set(SHIM32_FLAGS -m32 -std=c++20 -O2 -g1 -fPIC -Wall -Wextra -Werror ${SHIM_COMPILE_OPTIONS}
    -DEGL_EGLEXT_PROTOTYPES=1 -DGL_GLEXT_PROTOTYPES=1 "-DZELVAR_REVISION=\"${ZELVAR_REVISION}\""
    -I${PROJECT_SOURCE_DIR} -I${PROJECT_SOURCE_DIR}/tpakutil/include)
set(SHIM32_LINK -m32 -shared ${SHIM_LINK_OPTIONS} -pthread)
file(MAKE_DIRECTORY ${SHIM32_DIR}/objects)

# shim32_object(<out variable> <source>)
function(shim32_object out source)
    set(object ${SHIM32_DIR}/objects/${source}.o)
    add_custom_command(OUTPUT ${object}
        COMMAND ${CMAKE_CXX_COMPILER_LAUNCHER} ${CMAKE_CXX_COMPILER} ${SHIM32_FLAGS} -MD -MF ${object}.d
                -MT ${object} -c ${CMAKE_CURRENT_SOURCE_DIR}/${source} -o ${object}
        DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${source}
        DEPFILE ${object}.d
        COMMENT "Building 32-bit object ${source}" VERBATIM)
    set(${out} ${object} PARENT_SCOPE)
endfunction()

set(SHIM32_OBJECTS)
foreach(source IN LISTS SHIM_LIBRARY_SOURCES)
    shim32_object(object ${source})
    list(APPEND SHIM32_OBJECTS ${object})
endforeach()
# The codec, without the parts that want 64-bit instructions.
foreach(source IN LISTS TPAKUTIL_SOURCES)
    shim32_object(object ../tpakutil/${source})
    list(APPEND SHIM32_OBJECTS ${object})
endforeach()
shim32_object(SHIM32_FILTER gles_filter.cpp)
shim32_object(SHIM32_VK_FILTER vk_filter.cpp)
shim32_object(SHIM32_WINDOW_FILTER nativewindow_filter.cpp)

add_custom_command(OUTPUT ${SHIM32_DIR}/libEGL.so.1
    COMMAND ${CMAKE_CXX_COMPILER} ${SHIM32_LINK} -Wl,-soname,libEGL.so.1
            -Wl,--version-script=${CMAKE_CURRENT_SOURCE_DIR}/egl.map ${SHIM32_OBJECTS} -ldl
            -o ${SHIM32_DIR}/libEGL.so.1
    COMMAND ${CMAKE_COMMAND} -E create_symlink libEGL.so.1 ${SHIM32_DIR}/libEGL.so
    DEPENDS ${SHIM32_OBJECTS} ${CMAKE_CURRENT_SOURCE_DIR}/egl.map
    COMMENT "Linking 32-bit libEGL.so.1" VERBATIM)
add_custom_command(OUTPUT ${SHIM32_DIR}/libGLESv2.so.2
    COMMAND ${CMAKE_CXX_COMPILER} ${SHIM32_LINK} -Wl,-soname,libGLESv2.so.2 -Wl,--filter=libEGL.so.1
            -Wl,--version-script=${CMAKE_CURRENT_SOURCE_DIR}/gles.map ${SHIM32_FILTER}
            -o ${SHIM32_DIR}/libGLESv2.so.2
    COMMAND ${CMAKE_COMMAND} -E create_symlink libGLESv2.so.2 ${SHIM32_DIR}/libGLESv2.so
    DEPENDS ${SHIM32_FILTER} ${CMAKE_CURRENT_SOURCE_DIR}/gles.map
    COMMENT "Linking 32-bit libGLESv2.so.2" VERBATIM)
add_custom_command(OUTPUT ${SHIM32_DIR}/libzelvar_vk.so
    COMMAND ${CMAKE_CXX_COMPILER} ${SHIM32_LINK} -Wl,--filter=libEGL.so.1 -Wl,-rpath,$ORIGIN
            -Wl,--version-script=${CMAKE_CURRENT_SOURCE_DIR}/vk.map ${SHIM32_VK_FILTER}
            -o ${SHIM32_DIR}/libzelvar_vk.so
    DEPENDS ${SHIM32_VK_FILTER} ${CMAKE_CURRENT_SOURCE_DIR}/vk.map
    COMMENT "Linking 32-bit libzelvar_vk.so" VERBATIM)
add_custom_command(OUTPUT ${SHIM32_DIR}/libnativewindow.so
    COMMAND ${CMAKE_CXX_COMPILER} ${SHIM32_LINK} -Wl,-soname,libnativewindow.so -Wl,--filter=libEGL.so.1
            -Wl,--version-script=${CMAKE_CURRENT_SOURCE_DIR}/nativewindow.map ${SHIM32_WINDOW_FILTER}
            -o ${SHIM32_DIR}/libnativewindow.so
    DEPENDS ${SHIM32_WINDOW_FILTER} ${CMAKE_CURRENT_SOURCE_DIR}/nativewindow.map
    COMMENT "Linking 32-bit libnativewindow.so" VERBATIM)
set(ZELVAR_VK_BITS 32)
configure_file(${CMAKE_CURRENT_SOURCE_DIR}/zelvar_vk.json.in ${SHIM32_DIR}/zelvar_vk.json @ONLY)
add_custom_target(zelvar_shim32 ALL DEPENDS ${SHIM32_DIR}/libEGL.so.1 ${SHIM32_DIR}/libGLESv2.so.2
    ${SHIM32_DIR}/libzelvar_vk.so ${SHIM32_DIR}/libnativewindow.so)
