# The Vulkan examples: plain Vulkan 1.0, linked with the loader as any other. What the build makes of each shader is
# a header with its words, under the shader's name.

find_package(Vulkan REQUIRED)
find_program(GLSLANG glslangValidator REQUIRED)
find_library(EXAMPLES_XCB NAMES xcb REQUIRED)
find_library(EXAMPLES_XLIB NAMES X11 REQUIRED)

set(VK_EXAMPLES vk_clear vk_triangle vk_draws vk_compute vk_buffers vk_descriptors vk_transfers vk_depth vk_subpasses
    vk_secondary vk_queries vk_sync vk_pipelines vk_memory vk_astc vk_swapchain vk_gets vk_sparse vk_lives)
set(VK_COMMON vk_common.c vk_descriptor_sets.c vk_drawing.c vk_images.c vk_report.c vk_surface.c)
set(VK_COMMON_HEADERS vk_common.h vk_drawing.h vk_report.h vk_surface.h)
list(TRANSFORM VK_COMMON PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/ OUTPUT_VARIABLE VK_COMMON_PATHS)

set(VK_SHADER_FOLDER ${CMAKE_CURRENT_BINARY_DIR}/shaders)
file(GLOB VK_SHADERS CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/shaders/*)
foreach(shader ${VK_SHADERS})
    get_filename_component(file ${shader} NAME)
    string(REPLACE "." "_" name ${file})
    add_custom_command(
        OUTPUT ${VK_SHADER_FOLDER}/${file}.h
        COMMAND ${CMAKE_COMMAND} -E make_directory ${VK_SHADER_FOLDER}
        COMMAND ${GLSLANG} -V --quiet --vn ${name} -o ${VK_SHADER_FOLDER}/${file}.h ${shader}
        DEPENDS ${shader} VERBATIM)
    list(APPEND VK_SHADER_HEADERS ${VK_SHADER_FOLDER}/${file}.h)
endforeach()
add_custom_target(vk_shaders DEPENDS ${VK_SHADER_HEADERS})

add_library(vk_examples_common STATIC ${VK_COMMON})
target_compile_options(vk_examples_common PRIVATE -fno-sanitize=all)
target_compile_definitions(vk_examples_common PRIVATE EXAMPLES_X)
target_include_directories(vk_examples_common PUBLIC ${VK_SHADER_FOLDER})
target_link_libraries(vk_examples_common PUBLIC Vulkan::Vulkan ${EXAMPLES_XCB} ${EXAMPLES_XLIB} Threads::Threads)
foreach(example ${VK_EXAMPLES})
    add_executable(${example} ${example}.c)
    add_dependencies(${example} vk_shaders)
    target_link_libraries(${example} PRIVATE vk_examples_common)
    target_compile_options(${example} PRIVATE -fno-sanitize=all)
    target_link_options(${example} PRIVATE -fno-sanitize=all)
endforeach()
add_custom_target(vk_examples DEPENDS ${VK_EXAMPLES})

# The same sources as 32-bit processes, without windows of an X server. There is no 32-bit loader to link with, so
# they are linked with a library of its name and functions that does nothing.
if(TARGET zelvar_shim32)
    set(VK_EXAMPLES32_FOLDER ${CMAKE_BINARY_DIR}/bin32)
    set(VK_LOADER32 ${CMAKE_CURRENT_BINARY_DIR}/loader32/libvulkan.so.1)
    file(STRINGS ${Vulkan_INCLUDE_DIR}/vulkan/vulkan_core.h prototypes REGEX "VKAPI_CALL vk[A-Za-z0-9]+[(]")
    list(TRANSFORM prototypes REPLACE ".*VKAPI_CALL (vk[A-Za-z0-9]+).*" "void \\1(void) {}\n")
    string(JOIN "" functions ${prototypes})
    file(CONFIGURE OUTPUT loader32/functions.c CONTENT "${functions}" @ONLY)
    add_custom_command(
        OUTPUT ${VK_LOADER32}
        COMMAND ${CMAKE_C_COMPILER} -m32 -shared -fPIC -Wl,-soname,libvulkan.so.1 -o ${VK_LOADER32}
                ${CMAKE_CURRENT_BINARY_DIR}/loader32/functions.c
        DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/loader32/functions.c VERBATIM)
    foreach(example ${VK_EXAMPLES})
        add_custom_command(
            OUTPUT ${VK_EXAMPLES32_FOLDER}/${example}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${VK_EXAMPLES32_FOLDER}
            COMMAND ${CMAKE_C_COMPILER} -m32 -std=gnu11 -O2 -Wall -Wextra -Werror -I${VK_SHADER_FOLDER}
                    -idirafter ${Vulkan_INCLUDE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/${example}.c
                    ${VK_COMMON_PATHS} -o ${VK_EXAMPLES32_FOLDER}/${example} ${VK_LOADER32} -pthread
            DEPENDS ${example}.c ${VK_COMMON} ${VK_COMMON_HEADERS} ${VK_SHADER_HEADERS} ${VK_LOADER32}
            VERBATIM)
        list(APPEND VK_EXAMPLES32_FILES ${VK_EXAMPLES32_FOLDER}/${example})
    endforeach()
    add_custom_target(vk_examples32 ALL DEPENDS ${VK_EXAMPLES32_FILES})
endif()
