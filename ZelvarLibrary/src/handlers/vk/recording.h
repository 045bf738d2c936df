#pragma once
// The frame of the calls that record a command. What the arguments are tells what is done with them:
// handles become the host's, arrays and structures pass as they came.

#include "handlers/vk/plain_objects.h"

/// Frame of a vkCmd handler:
///
///     void vk_vkCmdBindPipeline(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
///                               VkPipelineBindPoint pipelineBindPoint, VkPipeline pipeline)
///     {
///         vk_recording call{"vk_vkCmdBindPipeline", pid, tid, commandBuffer};
///         call.trace("target_command_buffer", commandBuffer, "target_pipeline", pipeline);
///         call.record<&sidechannel_vk_imports::vkCmdBindPipeline>(pipelineBindPoint, pipeline);
///     }
class vk_recording : public vk_void_handler
{
public:
    vk_recording(const char* key, pid_t pid, tid_t tid, VkCommandBuffer command_buffer)
        : vk_void_handler(key, pid, tid), _target(command_buffer)
    {
    }

    /// The device of the command buffer, locked until the frame ends; null (logged) when it can't be had.
    vk_device_record* begin()
    {
        if (!_asked) {
            _asked = true;
            _data = lock_command_buffer(_target, &_host);
            auto found = _data ? _data->commands.find(_target) : decltype(_data->commands.begin()){};
            _state = _data && found != _data->commands.end() ? &found->second : nullptr;
        }
        return _data;
    }
    /// What the host may be told next; null when it isn't known.
    vk_command_state* state()
    {
        begin();
        return _state;
    }
    /// The recording is of no use once the object has ended. False: it is known to use it already.
    template <class Entry>
    bool use(const Entry& entry)
    {
        auto* now = state();
        if (!now || !entry.serial || !now->used.insert(entry.serial))
            return false;
        if constexpr (requires { entry.memory_serial; })
            if (entry.memory_serial)
                now->used.insert(entry.memory_serial);
        return true;
    }
    /// Keeps a command from the host that it would die of.
    void need(bool fulfilled, const char* otherwise)
    {
        if (!fulfilled)
            refuse(otherwise);
    }
    void need_pass(bool has_pipeline = true)
    {
        need(has_pipeline, "no pipeline is bound");
        auto* now = state();
        need(!now || now->in_pass || now->continues_pass, "no render pass has begun");
    }
    void need_graphics()
    {
        auto* now = state();
        need_pass(!now || now->graphics);
        auto* subpass = now ? now->pass.now() : nullptr;
        need(!subpass || !now->pipeline_shape || subpass->shape == now->pipeline_shape,
             "the pipeline is for other attachments than the subpass has");
    }
    /// Calls the host with the host's command buffer and these arguments, unless a handle isn't known: such a
    /// command is left out, as a recording call has no way to fail.
    template <auto Field, class... A>
    void record(A... arguments)
    {
        if (begin() && _state)
            need(!_state->stale, "what it uses has ended since, or it hasn't begun");
        if (_data && (translate(arguments) && ...))
            host<Field>(_host, passed(arguments)...);
    }

private:
    template <class T>
    bool translate(T& argument)
    {
        if constexpr (is_array<T>::of_objects) {
            for (uint32_t i = 0; i < argument.count; ++i)
                if (!translate(argument.data[i]))
                    return false;
            return true;
        } else if constexpr (vk_is_object<T>) {
            auto* known = vk_known(_data, argument);
            if (!known)
                return vk_to_host(*this, _data, &argument);
            use(*known);
            argument = known->host;
            return true;
        } else if constexpr (is_behind_pointer<T>::value)
            return argument.data != nullptr;
        else
            return true;
    }
    template <class T>
    static auto passed(const T& argument)
    {
        if constexpr (is_array<T>::value || is_behind_pointer<T>::value)
            return argument.data;
        else
            return argument;
    }

    template <class T>
    struct is_array
    {
        static constexpr bool value = false;
        static constexpr bool of_objects = false;
    };
    template <class T, size_t N>
    struct is_array<vk_array<T, N>>
    {
        static constexpr bool value = true;
        static constexpr bool of_objects = vk_is_object<T>;
    };
    /// What a command can't do without.
    template <class T>
    struct is_behind_pointer : std::false_type
    {
    };
    template <class T>
    struct is_behind_pointer<vk_struct<T>> : std::true_type
    {
    };
    template <class T, size_t N>
    struct is_behind_pointer<vk_fixed<T, N>> : std::true_type
    {
    };
    template <size_t N>
    struct is_behind_pointer<vk_bytes<N>> : std::true_type
    {
    };

    VkCommandBuffer _target;
    VkCommandBuffer _host = VK_NULL_HANDLE;
    vk_device_record* _data = nullptr;
    vk_command_state* _state = nullptr;
    bool _asked = false;
};
