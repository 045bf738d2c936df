#pragma once
// Shaders that make no sense, as a validator in a library of its own tells when it is there.

#include <cstdint>
#include <span>
#include <string>

/// What is wrong with the words of a module; nothing when they are sound, or nobody is there to tell. The
/// first call looks for the validator. From any thread.
std::string vk_check_shader(std::span<const uint32_t> words);
