#include "connection.h"

#include "wire/answer_sizes.h"
#include "wire/wire.h"

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

/// More than the library ever holds ready, so that one read takes it all: it must not find a rest of the last
/// answer when it begins the next one.
constexpr uint32_t whole_answer = 0x100000;
/// Where the library believes the answer to go; only `channel_model` sees it.
constexpr uint64_t answer_address = 0;

int64_t now_ms()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

/// The library keeps the channels of targets that have gone until the process ends, and so they stay in sight
/// here.
void keep_in_sight(scChannelInterface* channel)
{
    static auto& lock = *new std::mutex;
    static auto& channels = *new std::vector<scChannelInterface*>;
    std::lock_guard guard{lock};
    channels.push_back(channel);
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
    _talk = std::make_unique<conversation>(_who.wire_pid, _around.initial_settings);
    _model = std::make_unique<channel_model>(_memory, *_talk, _around.sums->moved);
    _channel = _around.plugin->open();
    keep_in_sight(_channel);
    serve();
    count();
    _link.hang_up();
    note_gone();
    say_farewell();
    _channel->close();
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

void connection::serve()
{
    bool going_on = true;
    while (going_on) {
        const auto request = _link.wait_request();
        _around.sums->frames += _link.take_finished_frames();
        going_on = request && serve_one(*request);
    }
}

/// False when the connection is to be ended.
bool connection::serve_one(const link_request& request)
{
    using device_link::operation;
    switch (static_cast<operation>(request.operation)) {
    case operation::exchange:
        return exchange(request);
    case operation::post:
        return post(request);
    case operation::read:
        deliver(request);
        count();
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
    std::vector<uint8_t>& message = _incoming;
    message.resize(request.message_length);
    if (_memory.read(request.message, message.data(), request.message_length) != request.message_length) {
        complain("a message can't be read; the connection is ended");
        return false;
    }
    if (!_talk->admit(message)) {
        std::fprintf(stderr, "zelvar-sim: target %d (%s): %s; the connection is ended\n",
                     static_cast<int>(_who.process), _application.c_str(), _talk->refusal());
        return false;
    }
    send_own(message);
    return true;
}

bool connection::post(const link_request& request)
{
    const bool taken = take_message(request);
    if (taken)
        _link.answer(0);
    return taken;
}

bool connection::exchange(const link_request& request)
{
    const auto begin = std::chrono::steady_clock::now();
    if (_delivered != _model->answers().size()) {
        complain("a message comes before the last answer was taken; the connection is ended");
        return false;
    }
    _model->answers().clear();
    _delivered = 0;
    if (!take_message(request))
        return false;
    deliver(request);
    count();
    using namespace std::chrono;
    const auto spent = duration_cast<nanoseconds>(steady_clock::now() - begin).count();
    _around.sums->call_nanoseconds += static_cast<uint64_t>(spent);
    return true;
}

/// Hands the message to the library, which takes it through the model.
void connection::send_own(std::vector<uint8_t>& message)
{
    const auto length = static_cast<uint32_t>(message.size());
    _model->offer(message);
    _channel->write(answer_address, length, _model.get());
}

/// Blocks until a worker of the library has something to say that is for the target.
void connection::read_answer()
{
    do
        _channel->read(answer_address, whole_answer, _model.get());
    while (answered_at_once());
}

/// What the target has said in its greeting, offered with its message or described before, if that is what
/// the library asks for; nothing otherwise.
std::optional<connection::early_answer> connection::known_answer()
{
    const uint32_t type = _talk->pending_request();
    const std::span payload =
        std::span(_model->answers()).subspan(std::min(_model->answers().size(), size_t{wire::header_size}));
    early_answer answer{};
    const auto set = [&answer](uint64_t value) { std::memcpy(answer.data(), &value, sizeof value); };
    if (type == wire::outbound::get_target_pointer_size && payload.empty()) {
        set(_who.pointer_bits / 8);
        return answer;
    }
    uint32_t size = 0;
    if (type == wire::outbound::allocate_memory_block && payload.size() == sizeof size) {
        std::memcpy(&size, payload.data(), sizeof size);
        const uint64_t block = _link.take_offered_block(size);
        set(block);
        return block ? std::optional{answer} : std::nullopt;
    }
    uint64_t handle = 0;
    if (type == wire::outbound::winsys_map_buffer_object_vk && payload.size() == sizeof handle) {
        std::memcpy(&handle, payload.data(), sizeof handle);
        return _link.described_buffer(handle);
    }
    return std::nullopt;
}

/// Answers a request in the place of the target, so that it may sleep on.
bool connection::answered_at_once()
{
    if (_link.gone() || !_talk->pending_request())
        return false;
    const std::optional<early_answer> known = known_answer();
    if (!known)
        return false;
    std::vector<uint8_t> confirmation = _talk->confirmation();
    const auto bytes = static_cast<size_t>(wire::answer_size_of_service(_talk->pending_request()));
    std::memcpy(confirmation.data() + confirmation.size() - bytes, known->data(), bytes);
    if (!_talk->admit(confirmation))
        return false;
    _model->answers().clear();
    send_own(confirmation);
    return true;
}

/// Gives the target as much of the answer as it takes. A target that reads when no answer will ever come
/// waits here, and not in the library, where nothing could call its thread back.
void connection::deliver(const link_request& request)
{
    std::vector<uint8_t>& answers = _model->answers();
    if (_delivered == answers.size()) {
        if (!_talk->answer_due()) {
            _link.wait_until_gone();
            return;
        }
        answers.clear();
        _delivered = 0;
        read_answer();
    }
    const size_t left = answers.size() - _delivered;
    const auto piece = static_cast<uint32_t>(std::min<size_t>(left, request.answer_capacity));
    const uint32_t taken = _memory.write(request.answer, answers.data() + _delivered, piece);
    _delivered += piece;
    _link.answer(taken == piece ? static_cast<int32_t>(piece) : -1);
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

/// The library is never told that a process has ended, so what the process would have said itself is said for
/// it: the open call is brought to its end, then Vulkan instances are destroyed and the display is
/// terminated, which lets the workers go.
void connection::say_farewell()
{
    _talk->abandon_unanswered_call();
    settle();
    if (!_talk->unfinished_business())
        return;
    for (std::vector<uint8_t>& farewell : _talk->farewells()) {
        if (_talk->in_call() || !_talk->admit(farewell))
            return;
        send_own(farewell);
        settle();
    }
}

/// Answers the library in the place of the target until it releases the call.
void connection::settle()
{
    while (_talk->in_call()) {
        if (_talk->pending_request()) {
            std::vector<uint8_t> confirmation = _talk->confirmation();
            if (confirmation.empty() || !_talk->admit(confirmation)) {
                complain("ended while the library waited for a call on the target; that worker stays");
                return;
            }
            send_own(confirmation);
        }
        _model->answers().clear();
        read_answer();
    }
}

void connection::count()
{
    _around.sums->messages += _talk->messages() - std::exchange(_counted_messages, _talk->messages());
    _around.sums->calls += _talk->calls() - std::exchange(_counted_calls, _talk->calls());
}

} // namespace simulator
