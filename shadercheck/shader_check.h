#pragma once
// The one function of libZelvarShaderCheck.so, which libZelvar.so opens when it is there.

#include <cstddef>
#include <cstdint>

constexpr const char* shader_check_library = "libZelvarShaderCheck.so";
constexpr const char* shader_check_function = "zelvar_shader_check";

extern "C" {
/// 0: the words are a SPIR-V module that Vulkan allows. Otherwise `text`, which holds `size` bytes, says what
/// is wrong, cut where it ends. Any words may come; modules beyond 4 MB are refused unread. From any thread.
__attribute__((visibility("default"))) int zelvar_shader_check(const uint32_t* words, size_t count,
                                                               char* text, size_t size);
}
using shader_check = decltype(zelvar_shader_check);
