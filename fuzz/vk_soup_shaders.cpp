// Shaders of the made-up application, whole and broken.

#include "vk_soup.h"
#include "wire/wire.h"

#include <algorithm>

namespace in = wire::inbound;
using msg = vk_message;

namespace {
using words = std::vector<uint32_t>;

/// Where instructions begin, as far as their lengths make sense.
std::vector<size_t> instructions_of(const words& module)
{
    constexpr size_t header = 5;
    std::vector<size_t> begins;
    for (size_t at = header; at < module.size(); at += module[at] >> 16) {
        begins.push_back(at);
        if (module[at] >> 16 == 0)
            break;
    }
    return begins;
}

size_t place(choices& how, size_t count)
{
    const size_t high = how.byte();
    return (high << 8 | how.byte()) % count;
}

void break_instruction(words& module, choices& how)
{
    const std::vector<size_t> begins = instructions_of(module);
    if (begins.empty())
        return;
    const size_t at = begins[place(how, begins.size())];
    const size_t length = std::min<size_t>(module[at] >> 16, module.size() - at);
    const auto first = module.begin() + static_cast<ptrdiff_t>(at);
    const auto last = first + static_cast<ptrdiff_t>(length);
    switch (how.below(4)) {
    case 0:
        module.erase(first, last);
        break;
    case 1:
        module[at] = (module[at] & 0xffff0000) | (how.byte() | (how.byte() & 1) << 8);
        break;
    case 2: {
        const words again{first, last};
        const size_t to = begins[place(how, begins.size())];
        module.insert(module.begin() + static_cast<ptrdiff_t>(to), again.begin(), again.end());
        break;
    }
    default:
        if (length > 1) // another number of ours in the place of one
            module[at + 1 + how.below(static_cast<uint32_t>(length - 1))] = how.byte();
    }
}

void break_word(words& module, choices& how)
{
    uint32_t& word = module[place(how, module.size())];
    switch (how.below(4)) {
    case 0:
        word ^= 1u << how.below(32);
        break;
    case 1:
        std::swap(word, module[place(how, module.size())]);
        break;
    case 2:
        word = module[place(how, module.size())];
        break;
    default:
        word = how.of({0u, 1u, 2u, 3u, 8u, 31u, 32u, 64u, 255u, 4000u, 0xffffu, 0x7fffffffu, 0xffffffffu});
    }
}
} // namespace

words vk_soup::shader(std::span<const uint32_t> whole)
{
    words module{whole.begin(), whole.end()};
    if (!_breaks)
        return module;
    for (uint32_t times = _breaks->below(4); times > 0 && !module.empty(); --times)
        _breaks->below(3) ? break_instruction(module, *_breaks) : break_word(module, *_breaks);
    return module;
}

VkShaderModule vk_soup::make_shader(std::span<const uint32_t> whole)
{
    const words module = shader(whole);
    VkShaderModuleCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO;
    info.codeSize = module.size() * sizeof(uint32_t);
    info.pCode = module.data();
    const auto made = make<VkShaderModule>();
    send({in::vk_create_shader_module, any<VkDevice>(), msg::one(info), msg::nothing{}, msg::one(made)});
    return made;
}

void vk_soup::use_broken_shader(choices& how)
{
    _breaks = &how;
    if (how.below(2)) {
        make_graphics_pipeline();
        _breaks = nullptr;
        begin_pass();
        return submit();
    }
    make_compute_pipeline();
    _breaks = nullptr;
    const auto commands = any<VkCommandBuffer>();
    const auto set = any<VkDescriptorSet>();
    const uint32_t offset = 0;
    constexpr auto point = VK_PIPELINE_BIND_POINT_COMPUTE;
    send({in::vk_cmd_bind_pipeline, commands, point, any<VkPipeline>()});
    send({in::vk_cmd_bind_descriptor_sets, commands, point, any<VkPipelineLayout>(), 0u, 1u, msg::one(set),
          1u, msg::one(offset)});
    send({in::vk_cmd_dispatch, commands, 2u, 1u, 1u});
    submit();
}
