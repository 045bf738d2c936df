#pragma once
// Shaders that make sense and are still more than a host's compiler can bear: it writes out whatever they ask
// for, with neither a limit nor a check.

#include "wire/vk_structures.h"

#include <cstdint>
#include <span>

/// Whether sizes may depend on constants that come with the pipeline.
bool vk_is_specialised(std::span<const uint32_t> words);
/// What is too much in a module with a pipeline's constants, or none of them; null when nothing is.
const char* vk_shader_excess(std::span<const uint32_t> words, const VkSpecializationInfo* constants,
                             const VkPhysicalDeviceLimits& limits);
/// All values of a stage lie where the data is, and have the size of a number.
bool vk_specialises_soundly(const VkSpecializationInfo& constants);
