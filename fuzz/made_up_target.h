#pragma once
// A target that calls OpenGL ES: lays its messages out, and knows its contexts.

#include "gles_layouts.h"
#include "scripted_target.h"

#include "inbound/message_table.h"
#include "shim/rows.h"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <set>
#include <utility>
#include <vector>

class made_up_target
{
public:
    /// What a message says about the call's fate on the target, where the target runs calls.
    struct fate
    {
        uint64_t result = 0;
        uint32_t error = 0;
    };

    static constexpr size_t most_contexts = 4;

    explicit made_up_target(scripted_target& target) : _target(target) {}

    void use_thread(uint8_t tid, bool waits) { _tid = tid, _waits = waits; }

    /// Calls entry point `Id` of EGL; the values at the widths of its prototype.
    template <uint32_t Id, class... V>
    uint64_t egl(fate target_fate, V... values)
    {
        std::vector<uint8_t> arguments;
        put_all(arguments, static_cast<typename shim::row<Id>::prototype*>(nullptr), uint64_t(values)...);
        return send(Id, target_fate, arguments);
    }
    /// Calls an entry point of OpenGL ES. Values that are missing are zero.
    uint64_t gles(uint32_t type, fate target_fate, std::initializer_list<uint64_t> values);
    /// The same with all that stands behind the prefix already laid out.
    uint64_t send(uint32_t type, fate target_fate, const std::vector<uint8_t>& arguments);
    static void put(std::vector<uint8_t>& arguments, uint64_t value, uint8_t width);

    void open_display();
    /// A context of version 2, 3.0 or 3.1 in place `slot`, sharing with the one in `share_slot`.
    void create_context(size_t slot, uint8_t version, size_t share_slot);
    void make_current(size_t slot);
    void make_none_current();
    void destroy_context(size_t slot);
    /// An image of an object of the context in place `slot`, or of a native buffer.
    uint64_t create_image(uint32_t kind, size_t slot, uint64_t buffer, uint64_t own_image);
    void destroy_image(uint64_t image);
    /// Ends all contexts and the display, so that the host keeps nothing.
    void close_display();

private:
    template <class R, class... P, class... V>
    static void put_all(std::vector<uint8_t>& arguments, R (*)(P...), V... values)
    {
        static_assert(sizeof...(P) == sizeof...(V), "another number of arguments than the prototype has");
        (put(arguments, values, shim::wire_width<P>()), ...);
    }
    /// The handle that the target got: the library's, or its own driver's.
    uint64_t handle(uint64_t returned, uint64_t own) const;

    scripted_target& _target;
    uint8_t _tid = 1;
    bool _waits = true;
    std::set<uint8_t> _threads; // that have made a context current
    uint64_t _display = 0;
    uint64_t _config = 0;
    std::array<uint64_t, most_contexts> _contexts{}, _surfaces{};
};
