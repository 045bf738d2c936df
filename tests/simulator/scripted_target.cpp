// A target process that speaks the link directly, so that it can stop, lie and die at exact moments.
//   scripted_target SCENARIO [ARGUMENT]
// Exit status 0 when everything went as the scenario wants.

#include "shim/transport.h"
#include "simulator/conversation.h"
#include "simulator/protocol.h"
#include "wire/answer_sizes.h"
#include "wire/wire.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using bytes = std::vector<uint8_t>;

template <class T>
void put(bytes& to, T value)
{
    const auto* at = reinterpret_cast<const uint8_t*>(&value);
    to.insert(to.end(), at, at + sizeof value);
}

bytes message(uint32_t type, const bytes& payload = {}, uint64_t tid = 1)
{
    bytes made(wire::header_size);
    wire::store_header(made.data(),
                       {static_cast<uint32_t>(wire::header_size + payload.size()), type, getpid(), tid});
    made.insert(made.end(), payload.begin(), payload.end());
    return made;
}

bytes batch(const std::vector<bytes>& commands)
{
    bytes payload;
    put(payload, static_cast<uint32_t>(commands.size()));
    for (const bytes& each : commands)
        payload.insert(payload.end(), each.begin(), each.end());
    return message(wire::inbound::batch_commands, payload);
}

uint64_t address_of(const void* pointer)
{
    return reinterpret_cast<uintptr_t>(pointer);
}

void require(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "scripted_target: not so: %s\n", what);
    std::exit(1);
}

struct answer
{
    bytes value;          // of the last return value
    int values = 0;       // how many came
    uint32_t request = 0; // the request that ended the reading, 0 when the call has ended
    bool gone = false;
};

class target
{
public:
    target() : _link(shim::open_transport()) { require(_link != nullptr, "there is a simulator"); }
    shim::transport& link() { return *_link; }

    /// Sends a message and reads until the call has ended or the library asks something.
    answer send(const bytes& what, uint32_t capacity = 65536)
    {
        if (!what.empty())
            std::memcpy(_link->window(), what.data(), what.size());
        return take(
            _link->exchange(_link->window(), static_cast<uint32_t>(what.size()), _buffer.data(), capacity),
            capacity);
    }

    /// A whole call with all services answered.
    answer call(uint32_t type, const bytes& payload = {})
    {
        bytes what = message(type, payload);
        if (_batching && type > 3)
            what = batch({what});
        answer got = send(what);
        while (got.request && !got.gone)
            got = confirm(got.request);
        return got;
    }

    answer confirm(uint32_t request)
    {
        bytes payload;
        put(payload, uint32_t{0});
        bytes result(static_cast<size_t>(std::max(0, wire::answer_size_of_service(request))));
        fill(request, result);
        payload.push_back(static_cast<uint8_t>(result.size()));
        payload.insert(payload.end(), result.begin(), result.end());
        return send(message(wire::inbound::command_executed, payload));
    }

    void get_settings()
    {
        static uint8_t block[wire::settings_offset::size];
        static uint64_t white_list;
        bytes payload;
        put(payload, uint32_t{320});
        put(payload, uint32_t{200});
        put(payload, static_cast<uint32_t>(sizeof(void*) * 8));
        payload.push_back(0);
        put(payload, address_of(block));
        put(payload, address_of(&white_list));
        require(!call(wire::inbound::get_settings, payload).gone, "settings come");
        _batching = block[wire::settings_offset::batch_commands];
    }

    /// Display and initialisation; the display.
    uint64_t open_display()
    {
        get_settings();
        bytes payload;
        put(payload, uint64_t{0});
        const answer got = call(wire::inbound::egl_get_display, payload);
        uint64_t display = 0;
        if (!got.value.empty())
            std::memcpy(&display, got.value.data(), std::min<size_t>(8, got.value.size()));
        payload.clear();
        put(payload, display);
        put(payload, uint64_t{0});
        put(payload, uint64_t{0});
        require(!call(wire::inbound::egl_initialize, payload).gone, "the display opens");
        return display;
    }

    bool batching() const { return _batching; }
    bytes wrap(const bytes& what) const { return _batching ? batch({what}) : what; }

    device_link::mailbox& box()
    {
        return *reinterpret_cast<device_link::mailbox*>(_link->window() - device_link::window_offset);
    }

    /// Posts a batch of one call that nobody waits for. `place` tells apart those that are out.
    bool post_batch(uint32_t place, const bytes& command = message(wire::inbound::egl_get_error))
    {
        const bytes what = batch({command});
        uint8_t* at = _link->window() + place * 4096;
        std::memcpy(at, what.data(), what.size());
        return _link->post(at, static_cast<uint32_t>(what.size()));
    }

    /// Hands a message over and doesn't wait.
    void hand_over(const bytes& what)
    {
        std::memcpy(_link->window(), what.data(), what.size());
        device_link::mailbox& post = box();
        post.operation = static_cast<uint32_t>(device_link::operation::exchange);
        post.message = address_of(_link->window());
        post.message_length = static_cast<uint32_t>(what.size());
        post.answer = address_of(_buffer.data());
        post.answer_capacity = 65536;
        device_link::hand_over(post.turn, device_link::turn_simulator);
    }

private:
    void fill(uint32_t request, bytes& result)
    {
        uint64_t value = 0;
        if (request == wire::outbound::allocate_memory_block)
            value = address_of(std::calloc(1, 65536));
        else if (request == wire::outbound::get_target_pointer_size)
            value = sizeof(void*);
        else if (request == wire::outbound::winsys_get_target_os_version)
            value = 1;
        else if (request == wire::outbound::get_fb_width)
            value = 320;
        else if (request == wire::outbound::get_fb_height)
            value = 200;
        if (!result.empty())
            std::memcpy(result.data(), &value, std::min(sizeof value, result.size()));
    }

    answer take(int32_t length, uint32_t capacity)
    {
        bytes stream;
        answer got;
        for (;;) {
            if (length < 0) {
                got.gone = true;
                return got;
            }
            stream.insert(stream.end(), _buffer.begin(), _buffer.begin() + length);
            if (parse(stream, got))
                return got;
            length = _link->read(_buffer.data(), capacity);
        }
    }

    /// Whether the stream ends with a message that ends the reading.
    bool parse(const bytes& stream, answer& got)
    {
        got = {};
        size_t at = 0;
        while (stream.size() - at >= wire::header_size) {
            const wire::header head = wire::load_header(stream.data() + at);
            if (stream.size() - at < head.size)
                return false;
            const uint8_t* payload = stream.data() + at + wire::header_size;
            if (head.type == wire::outbound::set_return_value_message) {
                got.value.assign(payload + 1, payload + 1 + payload[0]);
                ++got.values;
            } else if (head.type == wire::outbound::leave_message_processing_loop)
                return true;
            else if (head.type != wire::outbound::deallocate_memory_block)
                got.request = head.type;
            at += head.size;
        }
        return at == stream.size() && got.request;
    }

    shim::transport* _link;
    std::vector<uint8_t> _buffer = std::vector<uint8_t>(65536);
    bool _batching = false;
};

[[noreturn]] void die()
{
    kill(getpid(), SIGKILL);
    for (;;)
        pause();
}

bytes choose_config(uint64_t display)
{
    static const int32_t list[] = {0x3021, 8, 0x3038};
    static int32_t count;
    bytes payload;
    put(payload, display);
    put(payload, address_of(list));
    put(payload, uint64_t{0});
    put(payload, uint32_t{0});
    put(payload, address_of(&count));
    return message(wire::inbound::egl_choose_config, payload);
}

// ---- deaths

int kill_idle(target& self, const std::string&)
{
    self.open_display();
    die();
}

int kill_in_call(target& self, const std::string&)
{
    self.hand_over(self.wrap(choose_config(self.open_display())));
    die();
}

int kill_in_batch(target& self, const std::string&)
{
    self.open_display();
    std::vector<bytes> commands;
    require(self.batching(), "batches are on");
    for (int i = 0; i < 200; ++i)
        commands.push_back(message(wire::inbound::egl_get_error));
    self.hand_over(batch(commands));
    die();
}

int kill_in_service(target& self, const std::string&)
{
    const answer got = self.send(self.wrap(choose_config(self.open_display())));
    require(got.request != 0, "the library asks something");
    die();
}

int kill_in_unanswered(target& self, const std::string&)
{
    self.open_display();
    self.hand_over(message(5));
    die();
}

int kill_posted(target& self, const std::string&)
{
    self.open_display();
    require(self.post_batch(0) && self.post_batch(1), "two are taken");
    die();
}

int kill_held(target& self, const std::string&)
{
    self.open_display();
    self.hand_over(message(40));
    std::puts("held");
    std::fflush(stdout);
    pause();
    return 0;
}

int leave_without_goodbye(target& self, const std::string&)
{
    self.open_display();
    return 0;
}

// ---- good targets

int serve(target& self, const std::string& argument)
{
    self.open_display();
    const int calls = std::atoi(argument.c_str());
    for (int i = 0; i < calls; ++i)
        require(!self.call(wire::inbound::egl_get_error).gone, "calls go on being served");
    return 0;
}

/// Until standard input ends.
int serve_on(target& self, const std::string&)
{
    self.open_display();
    std::puts("serving");
    std::fflush(stdout);
    fd_set ready;
    timeval none{};
    unsigned long calls = 0;
    do {
        require(!self.call(wire::inbound::egl_get_error).gone, "calls go on being served");
        ++calls;
        FD_ZERO(&ready);
        FD_SET(0, &ready);
    } while (select(1, &ready, nullptr, nullptr, &none) == 0);
    std::printf("served %lu\n", calls);
    return 0;
}

int asks_width(target& self, const std::string&)
{
    const answer got = self.send(message(26));
    require(!got.gone && got.request == 0, "what the greeting has told is not asked");
    return 0;
}

/// Two batches are out at any time; their answers come one behind the other.
int posts(target& self, const std::string& argument)
{
    self.open_display();
    bytes buffer(65536), stream;
    uint32_t released = 0;
    const auto read_until = [&](uint32_t wanted) {
        while (released < wanted) {
            const int32_t got = self.link().read(buffer.data(), static_cast<uint32_t>(buffer.size()));
            require(got >= 0, "the answer comes");
            stream.insert(stream.end(), buffer.begin(), buffer.begin() + got);
            while (stream.size() >= wire::header_size) {
                const wire::header head = wire::load_header(stream.data());
                require(head.type <= wire::outbound::leave_message_processing_loop,
                        "what is answered at once is not asked of a target that comes in between");
                released += head.type == wire::outbound::leave_message_processing_loop;
                stream.erase(stream.begin(), stream.begin() + head.size);
            }
        }
    };
    const auto calls = static_cast<uint32_t>(std::atoi(argument.c_str()));
    for (uint32_t i = 0; i < calls; ++i) {
        require(self.post_batch(i % 2, message(26)), "a batch is taken");
        read_until(i);
    }
    read_until(calls);
    require(!self.call(wire::inbound::egl_get_error).gone, "a call that is waited for goes on from there");
    return 0;
}

/// Memory that lies ready is given to the library on the way, when it is as large as is asked for.
int offers(target& self, const std::string&)
{
    constexpr uint32_t size = 64;
    static uint8_t block[size];
    const auto ask_for = [&](uint32_t wanted) {
        bytes payload;
        put(payload, wanted);
        self.link().offer_block(block, size);
        return self.send(message(45, payload));
    };
    const answer got = ask_for(size);
    uint64_t address = 0;
    require(!got.request && got.value.size() == sizeof address, "nobody was asked");
    std::memcpy(&address, got.value.data(), sizeof address);
    require(address == address_of(block), "the library has the block");
    require(self.link().offer_was_taken(), "the offer was taken");
    const answer asked = ask_for(size + 1);
    require(asked.request == wire::outbound::allocate_memory_block, "another size is asked for");
    require(!self.link().offer_was_taken(), "the offer is still ours");
    require(!self.confirm(asked.request).gone, "the call goes on");
    bytes payload;
    put(payload, size);
    require(self.send(message(45, payload)).request != 0, "an offer holds for one exchange");
    return 0;
}

/// Buffers that were described are known to the library on the way.
int buffers(target& self, const std::string&)
{
    const auto word_of = [&](uint64_t handle) {
        bytes payload;
        put(payload, handle);
        const answer got = self.send(message(46, payload));
        if (got.request) {
            require(!self.confirm(got.request).gone, "the call goes on");
            return uint64_t{0};
        }
        uint64_t word = 0;
        require(got.value.size() == sizeof word, "a word comes back");
        std::memcpy(&word, got.value.data(), sizeof word);
        return word;
    };
    const auto describe = [&](uint64_t handle, uint64_t framebuffer) {
        wire::winsys_buffer_vk_data_descriptor description{};
        description.framebuffer = framebuffer;
        self.link().describe_buffer(handle, description);
    };
    for (uint64_t i = 1; i <= device_link::most_described + 1; ++i)
        describe(i, i * 1000);
    require(word_of(1) == 1000 && word_of(device_link::most_described) == device_link::most_described * 1000,
            "each has its own description");
    require(word_of(device_link::most_described + 1) == 0, "what found no room is asked for");
    self.link().forget_buffer(2);
    require(word_of(2) == 0 && word_of(3) == 3000, "one has gone");
    describe(77, 7);
    require(word_of(77) == 7, "and another one has its place");
    return 0;
}

int small_reads(target& self, const std::string& argument)
{
    const auto capacity = static_cast<uint32_t>(std::atoi(argument.c_str()));
    const answer got = self.send(message(25), capacity);
    require(!got.gone && got.values == 100 && got.value[0] == 99,
            "an answer in pieces is whole and in order");
    require(!self.call(30).gone, "the next call goes on");
    return 0;
}

int long_message(target& self, const std::string&)
{
    bytes what = message(30, bytes(0x400000 - wire::header_size, 7));
    require(!self.send(what).gone, "a message of 4 MiB passes");
    bytes elsewhere = message(30, bytes(3000, 7)); // not in the window
    const int32_t got =
        self.link().exchange(elsewhere.data(), static_cast<uint32_t>(elsewhere.size()), what.data(), 1000);
    require(got == 20, "a message outside the window passes");
    return 0;
}

bytes copy_request(uint64_t from, uint64_t to, uint32_t length)
{
    bytes payload;
    put(payload, from);
    put(payload, to);
    put(payload, length);
    return message(16, payload);
}

/// Argument: what the copies shall have moved is checked by the other side; here only that memory is as
/// wanted.
int copies(target& self, const std::string&)
{
    static const char text[] = "memory of the target";
    static char copy[sizeof text];
    require(!self.send(copy_request(address_of(text), address_of(copy), sizeof text)).gone,
            "a copy is answered");
    require(std::memcmp(text, copy, sizeof text) == 0, "the library read and wrote the target's memory");
    uint8_t* window = self.link().window();
    std::memcpy(window + 100000, text, sizeof text);
    std::memset(copy, 0, sizeof copy);
    self.send(copy_request(address_of(window + 100000), address_of(copy), sizeof text));
    require(std::memcmp(text, copy, sizeof text) == 0, "it read the window");
    return 0;
}

/// A target that asks for nothing for a while doesn't keep the library from its memory.
int works_on(target& self, const std::string&)
{
    self.open_display();
    static const char text[] = "memory of a target that works";
    static char copies[2][sizeof text];
    bytes sink(4096);
    for (int round = 0; round < 2; ++round) {
        char* const copy = copies[round];
        require(self.post_batch(0, copy_request(address_of(text), address_of(copy), sizeof text)),
                "a batch is taken");
        const volatile char& last = copy[sizeof text - 2];
        for (int i = 0; i < 5000 && !last; ++i)
            usleep(1000);
        require(std::memcmp(text, copy, sizeof text) == 0, "the library has copied meanwhile");
        require(self.link().read(sink.data(), 4096) > 0, "and its answer is kept");
    }
    return 0;
}

int copy_past_end(target& self, const std::string&)
{
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    auto* block = static_cast<uint8_t*>(
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    std::memset(block, 1, 2 * page);
    munmap(block + page, page);
    static uint8_t sink[8192];
    // 100 bytes before the hole: a short count. The window's end likewise.
    require(!self.send(copy_request(address_of(block + page - 100), address_of(sink), 4096)).gone,
            "a bad address is no end");
    require(sink[99] == 1 && sink[100] == 0, "just the bytes before the hole came");
    return 0;
}

int copy_bad(target& self, const std::string& argument)
{
    const uint64_t address = std::strtoull(argument.c_str(), nullptr, 0);
    static uint8_t sink[8192];
    require(!self.send(copy_request(address, address_of(sink), 4096)).gone, "a bad source is no end");
    require(!self.send(copy_request(address_of(sink), address, 4096)).gone, "a bad destination is no end");
    return 0;
}

int frames(target& self, const std::string& argument)
{
    static uint8_t block[320 * 200 * 4];
    const int count = std::atoi(argument.c_str());
    for (int i = 0; i < count; ++i) {
        for (size_t at = 0; at < sizeof block; at += 4) {
            block[at] = static_cast<uint8_t>(i);
            block[at + 1] = static_cast<uint8_t>(at / 4 % 320);
            block[at + 2] = static_cast<uint8_t>(at / 4 / 320);
            block[at + 3] = 9;
        }
        self.link().set_frame_buffer(block, 320, 200, 32, 320);
        self.link().frame_finished();
    }
    return 0;
}

int bad_frames(target& self, const std::string&)
{
    self.link().frame_finished();
    self.link().set_frame_buffer(reinterpret_cast<void*>(16), 320, 200, 32, 320);
    self.link().frame_finished();
    self.link().set_frame_buffer(&self, 0xffffffff, 0xffffffff, 32, 0xffffffff);
    self.link().frame_finished();
    self.link().set_frame_buffer(&self, 16384, 16384, 32, 16384);
    self.link().frame_finished();
    require(!self.call(30).gone, "the connection outlives frame buffers that are none");
    return 0;
}

int forks(target& self, const std::string&)
{
    require(!self.call(30).gone, "the parent is served");
    const pid_t child = fork();
    if (child == 0) {
        target own;
        _exit(own.call(30).gone ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    require(status == 0, "the child has a connection of its own");
    require(!self.call(30).gone, "the parent is still served");
    return 0;
}

int replaces_itself(target& self, const std::string& argument)
{
    self.open_display();
    if (argument != "0")
        execl("/proc/self/exe", "scripted_target", "exec",
              std::to_string(std::atoi(argument.c_str()) - 1).c_str(), static_cast<char*>(nullptr));
    return argument == "0" ? 0 : 1;
}

// ---- rubbish: each must end this connection, and no more

bool refused(target& self, const bytes& what)
{
    return self.send(what).gone;
}

bytes with(bytes what, uint32_t offset, uint32_t value)
{
    std::memcpy(what.data() + offset, &value, sizeof value);
    return what;
}

int rubbish(target& self, const std::string& kind)
{
    const bytes plain = message(30);
    const std::map<std::string, bytes> refusals = {
        {"short", bytes(plain.begin(), plain.begin() + 19)},
        {"empty", {}},
        {"says-less", with(plain, 0, 19)},
        {"says-more", with(plain, 0, 0xffffffff)},
        {"other-process", with(plain, 8, 1)},
        {"batch-with-batches-off", batch({plain, plain})},
        {"other-process-inside", batch({plain, with(plain, 8, 1)})},
        {"batch-in-batch", batch({batch({plain}), plain})},
        {"confirms-nothing", message(4, {0, 0, 0, 0, 0})},
    };
    const auto simple = refusals.find(kind);
    if (simple != refusals.end()) {
        require(refused(self, simple->second), "refused");
        return 0;
    }
    std::vector<uint8_t> sink(1000);
    if (kind == "wrong-confirmation" || kind == "longer-confirmation" || kind == "other-thread-confirms" ||
        kind == "call-inside-call" || kind == "reads-instead") {
        require(self.send(message(7)).request != 0, "the library asks something");
        if (kind == "wrong-confirmation")
            require(refused(self, message(4, {0, 0, 0, 0, 3, 1, 2, 3})), "refused");
        else if (kind == "longer-confirmation")
            require(refused(self, message(4, {0, 0, 0, 0, 4, 1, 2, 3})), "refused");
        else if (kind == "other-thread-confirms")
            require(refused(self, message(4, {0, 0, 0, 0, 4, 1, 2, 3, 4}, 99)), "refused");
        else if (kind == "call-inside-call")
            require(refused(self, plain), "refused");
        else
            self.link().read(sink.data(), 100); // waits for ever
        return 0;
    }
    if (kind == "threads") {
        int served = 0;
        while (!self.send(message(30, {}, 1000 + static_cast<uint64_t>(served))).gone)
            ++served;
        require(served >= 64 && served < 10000, "there is an end to new threads");
        return 0;
    }
    if (kind == "third-post") {
        self.open_display();
        self.post_batch(0);
        self.post_batch(1);
        self.post_batch(2);
        require(self.link().read(sink.data(), 100) == -1, "refused");
        return 0;
    }
    if (kind == "leaves-answer") {
        std::memcpy(self.link().window(), plain.data(), plain.size());
        self.link().exchange(self.link().window(), 20, sink.data(), 3);
        require(self.link().exchange(self.link().window(), 20, sink.data(), 100) == -1, "refused");
        return 0;
    }
    if (kind == "too-long")
        require(self.link().exchange(self.link().window(), 0xfffffff0, sink.data(), 100) == -1, "refused");
    else if (kind == "bad-message-address")
        require(self.link().exchange(reinterpret_cast<void*>(16), 20, sink.data(), 100) == -1, "refused");
    else if (kind == "bad-answer-address") {
        std::memcpy(self.link().window(), plain.data(), plain.size());
        require(self.link().exchange(self.link().window(), 20, reinterpret_cast<void*>(16), 100) == -1,
                "told so");
    } else if (kind == "bad-operation" || kind == "bad-turn") {
        self.box().operation = 77;
        device_link::hand_over(self.box().turn, kind == "bad-turn" ? 77u : device_link::turn_simulator + 0u);
        for (int i = 0; i < 500 && (self.box().turn & 0xff) != device_link::turn_over; ++i)
            usleep(10000);
        require((self.box().turn & 0xff) == device_link::turn_over, "the simulator has ended the connection");
    } else
        require(false, "a known kind of rubbish");
    return 0;
}

/// Types that the library never answers: the target waits for ever, until somebody ends it.
int unanswered(target& self, const std::string& type)
{
    std::puts("waiting");
    std::fflush(stdout);
    self.send(message(static_cast<uint32_t>(std::strtoul(type.c_str(), nullptr, 0))));
    return 1;
}

using scenario = int (*)(target&, const std::string&);
const std::map<std::string, scenario> scenarios = {
    {"kill-idle", kill_idle},
    {"kill-in-call", kill_in_call},
    {"kill-in-batch", kill_in_batch},
    {"kill-in-service", kill_in_service},
    {"kill-in-unanswered", kill_in_unanswered},
    {"kill-posted", kill_posted},
    {"kill-held", kill_held},
    {"leave", leave_without_goodbye},
    {"serve", serve},
    {"serve-on", serve_on},
    {"asks-width", asks_width},
    {"posts", posts},
    {"works-on", works_on},
    {"offers", offers},
    {"buffers", buffers},
    {"small-reads", small_reads},
    {"long-message", long_message},
    {"copies", copies},
    {"copy-past-end", copy_past_end},
    {"copy-bad", copy_bad},
    {"frames", frames},
    {"bad-frames", bad_frames},
    {"forks", forks},
    {"exec", replaces_itself},
    {"rubbish", rubbish},
    {"unanswered", unanswered},
};

} // namespace

int main(int count, char** arguments)
{
    const auto chosen = scenarios.find(count > 1 ? arguments[1] : "");
    require(chosen != scenarios.end(), "the scenario is known");
    target self;
    return chosen->second(self, count > 2 ? arguments[2] : "");
}
