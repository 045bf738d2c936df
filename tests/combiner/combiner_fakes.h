#pragma once
// A frame's surroundings: a model interface that records writes, a registry, attributes in target memory.

#include "combiner.h"
#include "settings/zelvar_settings.h"
#include "zelvar/sc_interfaces.h"

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <mutex>
#include <set>
#include <string>
#include <vector>

using bytes = std::vector<uint8_t>;

struct model_write
{
    uint64_t address;
    bytes data;
    bool operator==(const model_write&) const = default;
};

struct fake_surroundings : scModelInterface
{
    uint32_t read(uint64_t, void*, uint32_t) override { return 0; }
    uint32_t write(uint64_t address, const void* source, uint32_t length) override;
    uint64_t reserved() override { return 0; }
    uint64_t queryCore(uint32_t) override { return 0; }

    std::recursive_mutex channel_lock;
    int locked = 0; // guarded by channel_lock
    bool take_one_byte_less = false;
    std::vector<model_write> writes;
    const void* written_from = nullptr; // the last one
    std::string process_name = "app";
    std::set<uint64_t> seen_frame_buffers;
    bytes attributes; // what stands at the attributes' address
    std::vector<uint64_t> attribute_reads;
};
extern fake_surroundings* around;

/// Settings as after an empty file, in a working directory of its own.
class combiner_room : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    /// Runs the combiner, returns what was printed.
    std::string combine(buffer_info& info, _inter_frame_data& frame, bool reset = true);

    std::filesystem::path directory;
};

/// A frame buffer whose length is that of its pixels.
buffer_info frame_buffer(uint32_t width, uint32_t height, uint32_t bits_per_pixel, uint32_t stride);
/// `count` bytes 0, 1, 2 …, none of them equal to its neighbour.
bytes counted(size_t count, uint8_t first = 0);
/// A block from malloc.
uint8_t* block_of(const bytes& content);
_inter_frame_data frame_of(const bytes& content, bool reversed = false);
bytes content_of(const uint8_t* block, uint64_t size);

inline bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}
