// A simulator that does what its arguments say, word by word, with a library that it only knows by dlopen:
//
//     loading_probe LIBRARY load enter open display deinit enter unload
//
// It prints a line for each word. It is a program of its own because half of what is tried here goes wrong by
// bringing the process down, and because it must be free of the library's own symbols.

#include "zelvar/zelvar.h"

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {
const char* library;
void* handle;
std::vector<scPluginInterface*> plugins; // by order of appearance

[[noreturn]] void give_up(const std::string& why)
{
    std::printf("gave up: %s\n", why.c_str());
    std::exit(9);
}

template <class Function>
Function* symbol(const char* name)
{
    void* found = handle ? dlsym(handle, name) : nullptr;
    if (!found)
        give_up(std::string("no symbol ") + name);
    return reinterpret_cast<Function*>(found);
}

class ArrayMemory : public scModelInterface
{
public:
    uint8_t bytes[1 << 16] = {};

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

/// One target process on one channel; belongs to the thread that made it.
class Target
{
public:
    Target(scPluginInterface* plugin, uint32_t process) : _channel(plugin->open()), _process(process) {}

    void send(uint32_t type, const std::vector<uint64_t>& arguments)
    {
        const uint32_t payload = static_cast<uint32_t>(arguments.size() * sizeof(uint64_t));
        const Header header{static_cast<uint32_t>(sizeof(Header)) + payload, type, _process, 1};
        std::memcpy(_memory.bytes, &header, sizeof(header));
        if (payload > 0)
            std::memcpy(_memory.bytes + sizeof(header), arguments.data(), payload);
        _channel->write(0, header.size, &_memory);
    }

    /// Reads until the library lets the target go; the value that the call returned, 0 without one.
    uint64_t answer()
    {
        constexpr uint32_t at = 1 << 15, return_value = 436, leave = 437;
        uint64_t value = 0;
        for (;;) {
            const int32_t got = _channel->read(at, at, &_memory);
            Header header{};
            for (int32_t done = 0; done + static_cast<int32_t>(sizeof(Header)) <= got;
                 done += static_cast<int32_t>(header.size)) {
                const uint8_t* bytes = _memory.bytes + at + done;
                std::memcpy(&header, bytes, sizeof(header));
                if (header.type == leave)
                    return value;
                if (header.type == return_value)
                    std::memcpy(&value, bytes + sizeof(Header) + 1, bytes[sizeof(Header)]);
                else
                    confirm(header.type);
            }
        }
    }
    void close() { _channel->close(); }

private:
    /// What a target of one process name does for the requests of these calls: its memory is all there
    /// already.
    void confirm(uint32_t request)
    {
        constexpr uint32_t read_memory = 438, write_memory = 439, string_length = 445, pointer_size = 446,
                           process_name = 469;
        constexpr uint64_t name_at = 1 << 14;
        const char name[] = "probe";
        std::memcpy(_memory.bytes + name_at, name, sizeof(name));
        if (request == process_name)
            send_confirmation(name_at, 8);
        else if (request == string_length)
            send_confirmation(sizeof(name) - 1, 4);
        else if (request == pointer_size)
            send_confirmation(8, 4);
        else if (request == read_memory || request == write_memory)
            send_confirmation(0, 0);
        else
            give_up("the library asks for " + std::to_string(request));
    }

    void send_confirmation(uint64_t result, uint8_t length)
    {
        constexpr uint32_t executed = 4;
        struct __attribute__((packed))
        {
            Header header;
            uint32_t error;
            uint8_t length;
            uint64_t result;
        } message{
            {static_cast<uint32_t>(sizeof(Header) + 5 + length), executed, _process, 1}, 0, length, result};
        std::memcpy(_memory.bytes, &message, message.header.size);
        _channel->write(0, message.header.size, &_memory);
    }

    scChannelInterface* _channel;
    uint32_t _process;
    ArrayMemory _memory;
};

Target* target;
uint64_t display;

scPluginInterface* newest_plugin()
{
    return plugins.empty() ? give_up("nothing was entered"), nullptr : plugins.back();
}

void enter()
{
    scPluginInterface* plugin = symbol<decltype(scPluginEntryPoint)>("scPluginEntryPoint")();
    const bool same = !plugins.empty() && plugins.back() == plugin;
    plugins.push_back(plugin);
    std::puts(!plugin ? "entered: null" : same ? "entered: same" : "entered: new");
}

void enter_from_all_sides()
{
    auto* entry = symbol<decltype(scPluginEntryPoint)>("scPluginEntryPoint");
    scPluginInterface* found[8] = {};
    std::vector<std::thread> threads;
    for (auto& plugin : found)
        threads.emplace_back([&plugin, entry] { plugin = entry(); });
    for (std::thread& thread : threads)
        thread.join();
    plugins.push_back(found[0]);
    std::printf("entered: %zu plug-ins\n", std::set<scPluginInterface*>(found, found + 8).size());
}

/// A target that sits in `read` for good, as one does whose simulator is being torn down around it.
void park()
{
    std::atomic<bool> is_parked{false};
    std::thread([&is_parked] {
        Target parked(newest_plugin(), 77);
        parked.send(19, {0});
        parked.answer();
        is_parked = true;
        parked.answer();
        give_up("a parked target was let go");
    }).detach();
    while (!is_parked)
        std::this_thread::yield();
    std::puts("parked");
}

void call(const std::string& word)
{
    constexpr uint32_t egl_get_display = 19, egl_get_error = 20, egl_initialize = 22, gles20_finish = 95;
    if (!target)
        give_up("no channel is open");
    if (word == "display") {
        target->send(egl_get_display, {0});
        display = target->answer();
        std::printf("display: %s\n", display ? "one" : "none");
    } else if (word == "initialize") {
        target->send(egl_initialize, {display, 0, 0});
        std::printf("initialize: %" PRIu64 "\n", target->answer());
    } else if (word == "error") {
        target->send(egl_get_error, {});
        std::printf("error: 0x%" PRIx64 "\n", target->answer());
    } else if (word == "finish") {
        target->send(gles20_finish, {});
        target->answer();
        std::puts("finish: done");
    } else {
        give_up("unknown word " + word);
    }
}

void run(const std::string& word)
{
    if (word == "load") {
        handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
        std::printf("load: %s\n", handle ? "done" : dlerror());
    } else if (word == "unload") {
        std::printf("unload: %d\n", dlclose(handle));
    } else if (word == "enter") {
        enter();
    } else if (word == "enter-from-all-sides") {
        enter_from_all_sides();
    } else if (word == "open") {
        static uint32_t process = 100;
        // A channel lives to the end of the process, and so does its target.
        static auto& targets = *new std::vector<std::unique_ptr<Target>>;
        target = targets.emplace_back(std::make_unique<Target>(newest_plugin(), process++)).get();
        std::puts("opened");
    } else if (word == "close") {
        target->close();
        std::puts("closed");
    } else if (word == "park") {
        park();
    } else if (word == "deinit") {
        symbol<decltype(zelvar_deinit)>("zelvar_deinit")();
        std::puts("deinit: done");
    } else {
        call(word);
    }
}
} // namespace

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    if (argc < 2)
        give_up("usage: loading_probe LIBRARY WORD...");
    library = argv[1];
    for (int i = 2; i < argc; i++)
        run(argv[i]);
    std::puts("end");
    return 0;
}
