#pragma once
// Frames of every kind for the codec's tests.

#include "support/guarded.h"
#include "tpakutil/tpak_common.h"
#include "tpakutil/tpak_main.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

using bytes = std::vector<uint8_t>;

struct frame_kind
{
    int width = 16;
    int height = 16;
    int layout = 0;
    std::vector<int> bits = {8, 8, 8, 8};
    bool yuv = false;
    bool tiled = false;
    bool split = false;
    int version = 5;

    tpak_frame_info describe() const
    {
        tpak_frame_info info;
        std::vector<int> depths = bits;
        tpak_init_frame_info(&info, width, height, static_cast<int>(depths.size()), layout, yuv, tiled,
                             depths.data());
        info.version = version;
        info.solid_enabled = version >= 5;
        info.zero_header_allowed = 1;
        info.block_split = info.no_copy_at_split = split;
        info.fixed_superblock_positions = split || tiled;
        return info;
    }
};

/// What a call prints.
inline std::string printed_by(const std::function<void()>& call)
{
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

/// The planes of a frame, freed with it.
class frame_planes
{
public:
    explicit frame_planes(const tpak_frame_info& info) : _info{info} { alloc_frame_planes(_planes, info); }
    ~frame_planes() { free_planes(_planes); }
    frame_planes(const frame_planes&) = delete;
    frame_planes& operator=(const frame_planes&) = delete;
    uint32_t* const* get() const { return _planes; }

    size_t size_of(int component) const
    {
        const int sub = component > 0 ? sl_subsampling[_info.layout] : 0;
        return size_t(sub ? (_info.width + 1) / 2 : _info.width) *
               size_t(sub == 1 ? (_info.height + 1) / 2 : _info.height);
    }
    int components() const { return _info.ncomponents_of_type[0] + _info.ncomponents_of_type[1]; }
    void fill(const std::function<uint32_t(int component, size_t at)>& value)
    {
        for (int c = 0; c < components(); c++) {
            for (size_t i = 0; i < size_of(c); i++)
                _planes[c][i] = value(c, i) & ((1u << _info.component_bits[c]) - 1);
        }
    }
    bool operator==(const frame_planes& other) const
    {
        for (int c = 0; c < components(); c++) {
            if (std::vector<uint32_t>(_planes[c], _planes[c] + size_of(c)) !=
                std::vector<uint32_t>(other._planes[c], other._planes[c] + size_of(c)))
                return false;
        }
        return true;
    }

private:
    const tpak_frame_info& _info;
    uint32_t* _planes[tpak_most_components];
};

/// Pictures that reach every form of a block, by number.
inline constexpr int content_kinds = 6;
inline void draw(frame_planes& planes, int kind, int width)
{
    std::mt19937 random{static_cast<uint32_t>(kind)};
    const auto columns = static_cast<size_t>(width);
    planes.fill([&](int c, size_t at) -> uint32_t {
        const auto x = static_cast<uint32_t>(at % columns);
        const auto y = static_cast<uint32_t>(at / columns);
        switch (kind) {
        case 0: // one colour
            return 0x5a5a5a5a >> c;
        case 1: // noise
            return random();
        case 2: // slopes
            return x * 3 + y * 5 + static_cast<uint32_t>(c);
        case 3: // areas, and an opaque fourth component
            return c == 3 ? ~0u : (x / 24 * 77 + y / 20 * 33) * static_cast<uint32_t>(c + 1);
        case 4: // few differences
            return 40 + (random() % 16 == 0);
        default: // noise of growing height
            return random() >> (random() % 32);
        }
    });
}
