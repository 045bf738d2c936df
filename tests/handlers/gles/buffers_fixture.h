#pragma once
// A target with a current context over a recording host, and short words for what the tests of objects,
// buffers and draws do all the time.

#include "handlers/gles/buffers_handlers.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "support/fake_host.h"
#include "support/library.h"
#include "support/raw_target.h"

#include <gtest/gtest.h>

#include <map>

namespace in = wire::inbound;
namespace out = wire::outbound;
using texts = std::vector<std::string>;
using gles = sidechannel_gles_imports;
constexpr auto quiet = fake_host::error_queries::leave_out;
constexpr uint64_t memory = raw_target::memory_base;

class buffers_fixture : public testing::Test
{
protected:
    raw_target target{library::start()};
    std::map<uint32_t, std::vector<uint8_t>>
        host_mapping; // what glMapBufferRange hands out, by buffer target

    void SetUp() override
    {
        target.write_only(target.make(5).bytes()); // binds the channel
        library::make_current(raw_target::pid, raw_target::tid);
    }
    _zelvar_context_data& model()
    {
        _zelvar_context_data* data = nullptr;
        library::aside([&] {
            data = zelvar_object_manager_lock_context_data(raw_target::pid, raw_target::tid);
            zelvar_object_manager_unlock_context_data(data);
        });
        return *data;
    }
    uint32_t error_of_target() { return target.run(target.make(in::gles20_get_error)).at(0).at<uint32_t>(1); }

    /// Ids of new objects, as the target finds them in its memory.
    std::vector<uint32_t> generate(uint32_t type, int32_t n)
    {
        target.run(target.make(type).i32(n).u64(memory + 0x800));
        std::vector<uint32_t> ids(static_cast<size_t>(n));
        for (size_t i = 0; i < ids.size(); ++i)
            ids[i] = target.peek<uint32_t>(memory + 0x800 + 4 * i);
        return ids;
    }
    void remove(uint32_t type, const std::vector<uint32_t>& ids)
    {
        auto call = target.make(type).i32(static_cast<int32_t>(ids.size())).u64(memory);
        target.run(call.raw(ids.data(), ids.size() * 4));
    }
    void bind(uint32_t point, uint32_t id)
    {
        target.run(target.make(in::gles20_bind_buffer).u32(point).u32(id));
    }
    /// glBufferData with bytes that stand in target memory.
    void fill(uint32_t point, const void* bytes, uint32_t size)
    {
        std::memcpy(target.memory.data() + 0x1000, bytes, size);
        target.run(target.make(in::gles20_buffer_data)
                       .u32(point)
                       .u64(size)
                       .u64(memory + 0x1000)
                       .u32(GL_STATIC_DRAW));
    }
    std::vector<uint8_t> contents(uint32_t id)
    {
        auto& copy = model().data_shared->buffers.at(id).contents;
        return copy.bytes ? std::vector<uint8_t>(copy.bytes.get(), copy.bytes.get() + copy.size)
                          : std::vector<uint8_t>{};
    }
    /// A program that reads these attributes is in use.
    void use_program(std::vector<uint32_t> attributes)
    {
        model().data_shared->programs[9].used_attributes = std::move(attributes);
        model().current_program = 9;
    }
    void point(uint32_t index, int32_t size, uint32_t type, int32_t stride, uint64_t address)
    {
        target.run(target.make(in::gles20_vertex_attrib_pointer)
                       .u32(index)
                       .i32(size)
                       .u32(type)
                       .u8(0)
                       .i32(stride)
                       .u64(address));
        target.run(target.make(in::gles20_enable_vertex_attrib_array).u32(index));
    }
    /// glMapBufferRange answers a block of 64 bytes, 0, 1, 2...
    void let_host_map()
    {
        fake_host::hook<&gles::glMapBufferRange>(
            [this](GLenum point, GLintptr, GLsizeiptr, GLbitfield) -> void* {
                auto& block = host_mapping[point];
                if (block.empty())
                    for (uint8_t i = 0; i < 64; ++i)
                        block.push_back(i);
                return block.data();
            });
        fake_host::returns<&gles::glUnmapBuffer>(GL_TRUE);
    }
};
