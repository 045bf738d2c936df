#pragma once

/// Puts the host's own Vulkan driver into the tables; one instance and one device of it serve all inputs.
void install_vk_host();
