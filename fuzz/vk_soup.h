#pragma once
// The target's side of a made-up Vulkan application: objects of every type, and calls with arguments that
// make sense, or nearly do. What the input leaves open is drawn from its bytes.

#include "scripted_target.h"
#include "vk_message.h"
#include "wire/vk_structures.h"

#include <initializer_list>
#include <map>
#include <span>
#include <utility>

/// What an input decides, byte by byte; zeros once it has ended.
class choices
{
public:
    explicit choices(std::span<const uint8_t> bytes) : _bytes(bytes) {}
    bool empty() const { return _bytes.empty(); }
    uint8_t byte()
    {
        if (_bytes.empty())
            return 0;
        const uint8_t first = _bytes.front();
        _bytes = _bytes.subspan(1);
        return first;
    }
    uint32_t below(uint32_t end) { return end ? byte() % end : 0; }
    bool seldom() { return byte() >= 0xe0; }
    template <class T>
    T of(std::initializer_list<T> values)
    {
        return *(values.begin() + below(static_cast<uint32_t>(values.size())));
    }
    /// Nearly always the value itself.
    template <class T>
    T near(T value)
    {
        static constexpr uint64_t wild[] = {0,          1,          2,          5,
                                            16,         31,         0x100,      0x7fffffff,
                                            0x80000000, 0xffffffff, UINT64_MAX, uint64_t{1} << 40,
                                            0xfffffff0, 0x10000,    0x40000000};
        if (!seldom())
            return value;
        return static_cast<T>(wild[below(std::size(wild))]);
    }

private:
    std::span<const uint8_t> _bytes;
};

class vk_soup
{
public:
    vk_soup(scripted_target& target, choices& input) : _target(target), _input(input) {}

    /// An instance, a device with a queue, and one object of most types.
    void begin();
    /// One call, or a few that belong together.
    void step();
    /// Draws or computes with a shader that is broken as the input says.
    void use_broken_shader(choices& how);
    void end();

private:
    template <class H>
    H make()
    {
        const uint64_t handle = uint64_t{type_number<H>()} << 32 | ++_made;
        _known[type_number<H>()].push_back(handle);
        return reinterpret_cast<H>(handle);
    }
    /// The newest that has been made, more often than any other; now and then null or unknown.
    template <class H>
    H any()
    {
        auto& known = _known[type_number<H>()];
        const uint8_t which = _input.byte();
        if (known.empty() || which >= 0xfc)
            return reinterpret_cast<H>(uint64_t{which} & 3);
        return reinterpret_cast<H>(known[known.size() - 1 - (which & 0x80 ? which % known.size() : 0)]);
    }
    VkDevice device() { return reinterpret_cast<VkDevice>(_known[type_number<VkDevice>()].front()); }
    template <class H>
    static uint32_t type_number();
    static inline uint32_t _types = 0x10;

    void send(const vk_message& call);
    void send_as_it_is(const vk_message& call) { write(call.type(), call.payload()); }
    void write(uint32_t type, const std::vector<uint8_t>& payload);
    void run_waiting();
    template <class Info, class H>
    H create(uint32_t type, const Info& info);
    template <class H>
    void destroy(uint32_t type);

    // vk_soup_shaders.cpp
    std::vector<uint32_t> shader(std::span<const uint32_t> words);
    VkShaderModule make_shader(std::span<const uint32_t> words);

    // vk_soup_objects.cpp
    void make_buffer();
    void make_image();
    void make_image_view();
    void make_buffer_view();
    void make_sampler();
    void make_set_layout();
    void make_sets();
    void make_pipeline_layout();
    void make_render_pass();
    void make_framebuffer();
    void make_graphics_pipeline();
    void make_compute_pipeline();
    void make_query_pool();
    void make_sync_objects();
    void make_command_buffers();
    void write_sets();
    void end_something();

    // vk_soup_commands.cpp
    void begin_commands();
    void begin_pass();
    void record();
    void record_state();
    void record_draw();
    void record_copy();
    void record_clear();
    void record_query();
    void record_sync();
    void submit();
    void use_memory();
    void ask();

    VkImageSubresourceLayers layers();
    VkImageSubresourceRange range(VkImageAspectFlags aspect);
    VkExtent3D extent();
    VkOffset3D offset();

    scripted_target& _target;
    choices& _input;
    choices* _breaks = nullptr; // shaders; null: they stay whole
    std::map<uint32_t, std::vector<uint64_t>> _known;
    uint32_t _made = 0;
    uint32_t _waiting = 0; // messages that haven't been served
};

template <class H>
uint32_t vk_soup::type_number()
{
    static const uint32_t number = ++_types;
    return number;
}
