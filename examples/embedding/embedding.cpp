// The smallest simulator: it lends the library an array as target memory, opens a channel, writes one message
// as a target's shim would, and reads the answer.

#include <zelvar/zelvar.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>

class ArrayMemory : public scModelInterface
{
public:
    uint8_t bytes[4096] = {};

    uint32_t read(uint64_t from, void* to, uint32_t n) override
    {
        return fits(from, n) ? (std::memcpy(to, bytes + from, n), n) : 0;
    }
    uint32_t write(uint64_t to, const void* from, uint32_t n) override
    {
        return fits(to, n) ? (std::memcpy(bytes + to, from, n), n) : 0;
    }
    uint64_t reserved() override { return 0; }
    uint64_t queryCore(uint32_t) override { return 0; }

private:
    bool fits(uint64_t address, uint32_t n) const
    {
        return n <= sizeof(bytes) && address <= sizeof(bytes) - n;
    }
};

struct __attribute__((packed)) Header
{
    uint32_t size, type, process;
    uint64_t thread;
};

int main()
{
    constexpr uint32_t egl_get_display = 19, return_value = 436, leave = 437, answers = 2048;
    static ArrayMemory memory;
    scChannelInterface* channel = scPluginEntryPoint()->open();

    // eglGetDisplay(EGL_DEFAULT_DISPLAY) of process 7, thread 9; its argument is the 8 zeros behind the
    // header.
    const Header call{sizeof(Header) + 8, egl_get_display, 7, 9};
    std::memcpy(memory.bytes, &call, sizeof(call));
    channel->write(0, call.size, &memory);

    for (;;) { // the target reads until it is told to leave the call
        const int32_t got = channel->read(answers, sizeof(memory.bytes) - answers, &memory);
        Header message{};
        for (int32_t at = 0; at + int32_t(sizeof(Header)) <= got; at += int32_t(message.size)) {
            const uint8_t* bytes = memory.bytes + answers + at;
            std::memcpy(&message, bytes, sizeof(message));
            if (message.type == leave) {
                channel->close();
                return 0;
            }
            if (message.type == return_value) { // one byte of length, then the value
                uint64_t display = 0;
                std::memcpy(&display, bytes + sizeof(Header) + 1, sizeof(display));
                std::printf("eglGetDisplay returned display 0x%" PRIx64 "\n", display);
            } else {
                std::printf("request %" PRIu32 ": a real target acts on it and confirms\n", message.type);
                return 1;
            }
        }
        if (got <= 0)
            return 1;
    }
}
