#pragma once
// What shaders ask of a pipeline's layout. Drivers look it up there without a check.

#include "object_manager/vk_records.h"

#include <span>

/// Entry points of a module and the descriptors that they use; none for words that are no module.
std::vector<vk_shader_entry_point> vk_scan_shader(std::span<const uint32_t> words);
/// Why a layout doesn't suit a stage; null when it does.
const char* vk_refusal(const vk_shader_module_data& module, const char* name, VkShaderStageFlagBits stage,
                       const vk_pipeline_layout_data& layout);
