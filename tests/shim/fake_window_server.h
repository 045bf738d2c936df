#pragma once
// A window server that keeps the last frame that it was given.

#include "shim/windows.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace shim_test {

/// A window server with one window, number 77.
class fake_server : public shim::window_server
{
public:
    shim::window_size size{100, 50};
    uint32_t shown = 0;
    shim::frame_view last;
    std::vector<uint8_t> last_pixels;
    std::function<void()> on_show;
    bool looks_on = false; // after `show`, until it has to finish; turns nothing
    bool is_looking = false;

    bool size_of(uint64_t window, shim::window_size& out) override
    {
        out = size;
        return window == 77;
    }
    bool show(uint64_t, const shim::frame_view& frame) override
    {
        ++shown;
        if (on_show)
            on_show();
        last = frame;
        last_pixels.assign(frame.pixels, frame.pixels + size_t{frame.stride} * frame.size.height * 4);
        return is_looking = looks_on;
    }
    void finish_reading() override { is_looking = false; }
    uint32_t visual() override { return 0x21; }
};

} // namespace shim_test
