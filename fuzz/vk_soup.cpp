#include "vk_soup.h"

#include "wire/wire.h"

namespace in = wire::inbound;

namespace {
constexpr uint64_t tid = 1;
/// As many messages as the channel takes without being served.
constexpr uint32_t most_waiting = 8;
} // namespace

/// One word in many a message is another than it was: a count, a handle, an enum, a pointer.
void vk_soup::send(const vk_message& call)
{
    std::vector<uint8_t> payload = call.payload();
    if (payload.size() >= 4 && _input.byte() >= 0xf4) {
        const size_t words = payload.size() / 4;
        const size_t at = (_input.byte() | _input.byte() << 8) % words * 4;
        const auto word = _input.of<uint32_t>({0, 1, 3, 17, 0x7fffffff, 0xffffffff, 0x80000000, 1000});
        std::memcpy(&payload[at], &word, sizeof(word));
    }
    write(call.type(), payload);
}

void vk_soup::write(uint32_t type, const std::vector<uint8_t>& payload)
{
    _target.write(message(type, scripted_target::pid, tid).raw(payload).bytes());
    if (++_waiting == most_waiting)
        run_waiting();
}

void vk_soup::run_waiting()
{
    _target.serve();
    _waiting = 0;
}

void vk_soup::begin()
{
    VkInstanceCreateInfo instance{};
    instance.sType = VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO;
    send({in::vk_create_instance, vk_message::one(instance), vk_message::nothing{},
          vk_message::one(make<VkInstance>())});
    const uint32_t one = 1;
    send({in::vk_enumerate_physical_devices, any<VkInstance>(), vk_message::one(one),
          vk_message::one(make<VkPhysicalDevice>())});
    const float priority = 1;
    VkDeviceQueueCreateInfo queue{};
    queue.sType = VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO;
    queue.queueCount = 1;
    queue.pQueuePriorities = &priority;
    VkDeviceCreateInfo device{};
    device.sType = VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO;
    device.queueCreateInfoCount = 1;
    device.pQueueCreateInfos = &queue;
    send({in::vk_create_device, any<VkPhysicalDevice>(), vk_message::one(device), vk_message::nothing{},
          vk_message::one(make<VkDevice>())});
    send({in::vk_get_device_queue, any<VkDevice>(), 0u, 0u, vk_message::one(make<VkQueue>())});
    make_buffer();
    make_image();
    make_image_view();
    make_buffer_view();
    make_sampler();
    make_set_layout();
    make_sets();
    make_pipeline_layout();
    make_render_pass();
    make_framebuffer();
    make_graphics_pipeline();
    make_compute_pipeline();
    make_query_pool();
    make_sync_objects();
    make_command_buffers();
    write_sets();
    begin_commands();
}

void vk_soup::step()
{
    using maker = void (vk_soup::*)();
    static constexpr maker makers[] = {&vk_soup::make_buffer,
                                       &vk_soup::make_image,
                                       &vk_soup::make_image_view,
                                       &vk_soup::make_buffer_view,
                                       &vk_soup::make_sampler,
                                       &vk_soup::make_set_layout,
                                       &vk_soup::make_sets,
                                       &vk_soup::make_pipeline_layout,
                                       &vk_soup::make_render_pass,
                                       &vk_soup::make_framebuffer,
                                       &vk_soup::make_graphics_pipeline,
                                       &vk_soup::make_compute_pipeline,
                                       &vk_soup::make_query_pool,
                                       &vk_soup::make_sync_objects,
                                       &vk_soup::make_command_buffers,
                                       &vk_soup::write_sets};
    const uint8_t kind = _input.byte();
    if (kind < 64)
        return (this->*makers[kind % std::size(makers)])();
    if (kind < 76)
        return end_something();
    if (kind < 92)
        return begin_commands();
    if (kind < 112)
        return begin_pass();
    if (kind < 140)
        return submit();
    if (kind < 150)
        return use_memory();
    if (kind < 156)
        return ask();
    record();
}

void vk_soup::end()
{
    submit();
    send({in::vk_destroy_instance, any<VkInstance>(), vk_message::nothing{}});
    run_waiting();
}
