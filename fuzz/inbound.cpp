// What comes from the target, whatever it is: messages cut, lying about their size, of unknown types, nested,
// confirmed out of turn, with any answer to what the library asks. inbound_input.h tells how an input is laid
// out.

#include "inbound_input.h"
#include "library_under_test.h"
#include "scripted_target.h"

#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "support/fake_host.h"
#include "support/message.h"

#include <algorithm>

namespace {
/// Takes an input apart; zeros past its end.
class reader
{
public:
    explicit reader(std::span<const uint8_t> bytes) : _bytes(bytes) {}
    bool empty() const { return _bytes.empty(); }
    std::span<const uint8_t> rest() const { return _bytes; }
    std::span<const uint8_t> take(size_t count)
    {
        std::span<const uint8_t> taken = _bytes.first(std::min(count, _bytes.size()));
        _bytes = _bytes.subspan(taken.size());
        return taken;
    }
    uint8_t u8()
    {
        auto byte = take(1);
        return byte.empty() ? 0 : byte[0];
    }
    uint16_t u16()
    {
        uint16_t low = u8();
        return static_cast<uint16_t>(low | u8() << 8);
    }

private:
    std::span<const uint8_t> _bytes;
};

constexpr int32_t foreign_pid = scripted_target::pid + 1;

/// type (2), thread (1), payload.
message whole_message(reader& content, int32_t pid)
{
    uint16_t type = content.u16();
    uint8_t tid = content.u8();
    message whole(type, pid, tid % 3);
    whole.raw(content.rest().data(), content.rest().size());
    return whole;
}

/// Commands of a batch: type (2), length (2), payload, one behind the other.
message batch_of(reader& content)
{
    uint8_t tid = content.u8();
    uint32_t count = 0;
    std::vector<uint8_t> commands;
    for (; !content.empty(); count++) {
        uint16_t type = content.u16();
        auto payload = content.take(content.u16());
        auto command =
            message(type, scripted_target::pid, tid % 3).raw(payload.data(), payload.size()).bytes();
        commands.insert(commands.end(), command.begin(), command.end());
    }
    message batch(wire::inbound::batch_commands, scripted_target::pid, tid % 3);
    batch.u32(count).raw(commands);
    return batch;
}

void send(scripted_target& target, std::span<const uint8_t> bytes)
{
    target.write(bytes);
    target.serve();
}

void run_record(scripted_target& target, uint8_t how, reader content)
{
    enum kind : uint8_t
    {
        whole,
        split,
        lying,
        raw,
        batch,
        foreign,
        memory,
        confirmation
    };
    switch (static_cast<kind>(how & 7)) {
    case whole:
        send(target, whole_message(content, scripted_target::pid).bytes());
        break;
    case split: { // where (1), then a whole message, which arrives in two pieces
        uint8_t where = content.u8();
        auto bytes = whole_message(content, scripted_target::pid).bytes();
        auto cut = std::min<size_t>(where, bytes.size());
        target.write({bytes.data(), cut});
        send(target, std::span(bytes).subspan(cut));
        break;
    }
    case lying: { // how many bytes the header promises too many (2), then a whole message
        uint16_t missing = content.u16();
        message short_one = whole_message(content, scripted_target::pid);
        auto size = static_cast<uint32_t>(wire::header_size + short_one.payload().size());
        send(target, short_one.declared_size(size + missing).bytes());
        break;
    }
    case raw: // as it stands, the header included
        send(target, content.rest());
        break;
    case batch:
        send(target, batch_of(content).bytes());
        break;
    case foreign: // a whole message of a process that the channel isn't bound to
        send(target, whole_message(content, foreign_pid).bytes());
        break;
    case memory: { // where (2), in steps of 16 bytes, then what stands there
        uint64_t offset = uint64_t{content.u16()} * 16;
        target.poke(offset, content.rest());
        break;
    }
    case confirmation: { // of nothing: thread (1), then the payload
        uint8_t tid = content.u8();
        send(target, message(wire::inbound::command_executed, scripted_target::pid, tid % 3)
                         .raw(content.rest().data(), content.rest().size())
                         .bytes());
        break;
    }
    }
}

void apply_settings(uint8_t settings, uint8_t target)
{
    using namespace inbound_input;
    library_under_test::apply_settings(settings);
    fb_xres = fb_yres = target & screen_sized_frames ? 16 : 0;
    zelvar_only_settings.cacheAndroidNativeBuffer = target & frames_cached;
    zelvar_only_settings.showFPS = target & rate_shown;
    zelvar_only_settings.tpakForTRV = target & frames_compressed;
    zelvar_only_settings.forceHostEGLConfigID = target & config_forced ? 2 : 0;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    reader input({data, size});
    scripted_target& target = library_under_test::target_over(fake_host::install_quiet);
    uint8_t settings = input.u8();
    uint8_t target_kind = input.u8();
    apply_settings(settings, target_kind);
    library_under_test::begin(target, target_kind & inbound_input::narrow_pointers, input.take(input.u16()));
    while (!input.empty()) {
        uint8_t how = input.u8();
        auto given = input.take(input.u16());
        std::vector<uint8_t> content(given.begin(), given.end());
        target.fill_in_results(content);
        run_record(target, how, reader(content));
    }
    library_under_test::end(target);
    return 0;
}
