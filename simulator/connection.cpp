#include "connection.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <mutex>
#include <utility>
#include <vector>

namespace simulator {
namespace {

int64_t now_ms()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

/// The name under which the system knows the process, made fit for a file name.
std::string application_name(pid_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/comm");
    std::string name;
    std::getline(file, name);
    std::replace_if(
        name.begin(), name.end(),
        [](unsigned char c) { return !(std::isalnum(c) || c == '-' || c == '.' || c == '_'); }, '-');
    return name.empty() || name[0] == '.' ? "target" + name : name;
}

} // namespace

connection::connection(descriptor socket, const surroundings& around)
    : _around(around), _link(std::move(socket)), _memory(_link)
{
}

connection::~connection() = default;

void connection::start()
{
    _thread = std::thread([this] {
        try {
            run();
        } catch (const std::exception& fault) {
            complain(fault.what());
        }
        _around.ended(*this);
    });
}

void connection::note_gone()
{
    int64_t never = 0;
    _gone_since.compare_exchange_strong(never, now_ms());
}

std::chrono::milliseconds connection::gone_for() const
{
    const int64_t since = _gone_since;
    return std::chrono::milliseconds(since ? now_ms() - since : 0);
}

void connection::complain(const char* what) const
{
    std::fprintf(stderr, "zelvar-sim: target %d (%s): %s\n", static_cast<int>(_who.process),
                 _application.c_str(), what);
}

void connection::run()
{
    if (!welcome())
        return;
    ++_around.sums->targets;
    _around.attached(*this);
    _channel = std::make_unique<library_channel>(*_around.plugin, _link, _memory, _who,
                                                 _around.initial_settings, _around.sums->moved);
    serve();
    _link.hang_up();
    note_gone();
    if (!_channel->say_farewell())
        complain("ended while the library waited for a call on the target; that worker stays");
}

bool connection::welcome()
{
    const auto who = _link.greet();
    if (!who)
        return false;
    _who = *who;
    _application = application_name(_who.process);
    const auto reception = _around.arrive(*this);
    if (reception != device_link::reception::accepted || _who.intent == device_link::intent::query) {
        _link.answer_query(reception, _around.offered);
        return false;
    }
    screen offered = _around.offered;
    offered.counts_frames = !_around.frames && !_around.max_frames;
    return _link.attach(offered);
}

/// One thread does it all as long as the target waits for each answer.
void connection::serve()
{
    while (serve_next()) {
        if (!_wanted && _channel->answer_due()) {
            serve_with_a_second_thread();
            return;
        }
        if (!_wanted)
            continue;
        while (_channel->answer_due() && !_channel->has_answer())
            _channel->read();
        if (_channel->has_answer())
            deliver();
        else
            _link.wait_until_gone(); // here, and not in the library, where nothing could call the thread back
    }
    count();
}

/// A target that goes on with its own work before it has its answer must not keep the library waiting:
/// workers reach its memory only while this thread reads the channel.
void connection::serve_with_a_second_thread()
{
    std::thread second{[this] {
        try {
            while (serve_next()) {
            }
        } catch (const std::exception& fault) {
            complain(fault.what());
        }
        end_reading();
    }};
    read_as_long_as_it_lasts();
    second.join();
}

/// The thread stays in the read while the target is busy with its own work, or its first message would have
/// to wait until the thread is there.
void connection::read_as_long_as_it_lasts()
{
    for (;;) {
        {
            std::unique_lock guard{_lock};
            _reading = false;
            if (_wanted && _channel->has_answer())
                deliver();
            _changed.wait(guard, [this] { return _over || _channel->may_read_ahead(); });
            if (_over)
                return;
            _reading = true;
        }
        _channel->read();
    }
}

void connection::end_reading()
{
    std::lock_guard guard{_lock};
    _over = true;
    count(); // the target's own calls
    if (_reading)
        _channel->call_reader_back();
    _changed.notify_one();
}

/// False when the connection is to be ended.
bool connection::serve_next()
{
    const auto request = _link.wait_request(!is_wanted());
    _around.sums->frames += _link.take_finished_frames();
    return request && serve_one(*request);
}

bool connection::serve_one(const link_request& request)
{
    using device_link::operation;
    switch (static_cast<operation>(request.operation)) {
    case operation::exchange:
        return exchange(request);
    case operation::post:
        return post(request);
    case operation::read:
        want(request);
        return true;
    case operation::frame_finished:
        finish_frame();
        _link.answer(0);
        return true;
    }
    complain("asks for what the device doesn't do; the connection is ended");
    return false;
}

/// Copies the message of the request and hands it to the library. False when the connection is to be ended.
bool connection::take_message(const link_request& request)
{
    if (request.message_length > device_link::window_size) {
        complain("a message is too long; the connection is ended");
        return false;
    }
    _incoming.resize(request.message_length);
    if (_memory.read(request.message, _incoming.data(), request.message_length) != request.message_length) {
        complain("a message can't be read; the connection is ended");
        return false;
    }
    const char* refusal = _channel->send(_incoming);
    if (!refusal)
        return true;
    std::fprintf(stderr, "zelvar-sim: target %d (%s): %s; the connection is ended\n",
                 static_cast<int>(_who.process), _application.c_str(), refusal);
    return false;
}

bool connection::post(const link_request& request)
{
    if (!take_message(request))
        return false;
    _link.answer(0);
    std::lock_guard guard{_lock};
    _changed.notify_one();
    return true;
}

bool connection::exchange(const link_request& request)
{
    const auto begin = clock::now();
    if (_channel->has_answer()) {
        complain("a message comes before the last answer was taken; the connection is ended");
        return false;
    }
    if (!take_message(request))
        return false;
    want(request, begin);
    return true;
}

/// The target waits for an answer, or for more of it.
void connection::want(const link_request& request, std::optional<clock::time_point> since)
{
    std::lock_guard guard{_lock};
    _wanted = wanted_answer{request.answer, request.answer_capacity, since};
    if (_channel->has_answer())
        deliver();
    else
        _changed.notify_one();
}

bool connection::is_wanted()
{
    std::lock_guard guard{_lock};
    return _wanted.has_value();
}

/// Gives the target, which waits, as much of the answer as it takes.
void connection::deliver()
{
    const wanted_answer wanted = *std::exchange(_wanted, std::nullopt);
    const int32_t given = _channel->deliver(wanted.address, wanted.capacity);
    count();
    if (wanted.since) {
        const auto spent = clock::now() - *wanted.since;
        _around.sums->call_nanoseconds += static_cast<uint64_t>(std::chrono::nanoseconds{spent}.count());
    }
    _link.answer(given);
}

void connection::finish_frame()
{
    const frame_buffer_place place = _link.frame_buffer();
    const auto frame = _windows.next(place.address);
    ++_frames;
    ++_around.sums->frames;
    if (_around.frames && frame.number % _around.frames->options().every == 0) {
        const char* why = nullptr;
        const auto read = [this](uint64_t from, void* to, uint32_t length) {
            return _memory.read(from, to, length);
        };
        const frame_options& wanted = _around.frames->options();
        picture copied = wanted.compressed ? copy_compressed_frame(place, read, wanted.keep_alpha, &why)
                                           : copy_frame(place, read, wanted.keep_alpha, &why);
        if (!why)
            _around.frames->put(frame_name(_application, _who.process, frame.window, frame.number),
                                std::move(copied));
        else if (!std::exchange(_complained_about_frame, true))
            std::fprintf(stderr, "zelvar-sim: target %d (%s): the frame buffer %s\n",
                         static_cast<int>(_who.process), _application.c_str(), why);
    }
    if (_around.max_frames && _frames == _around.max_frames)
        _around.enough_frames(*this);
}

void connection::count()
{
    const uint64_t messages = _channel->messages();
    const uint64_t calls = _channel->calls();
    _around.sums->messages += messages - std::exchange(_counted_messages, messages);
    _around.sums->calls += calls - std::exchange(_counted_calls, calls);
}

} // namespace simulator
