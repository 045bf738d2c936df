#include "fake_library.h"

#include "wire/wire.h"

#include <cstring>
#include <deque>
#include <thread>

namespace fake {

using bytes = std::vector<uint8_t>;

namespace {

template <class T>
T load(const bytes& from, size_t at)
{
    T value{};
    if (at + sizeof value <= from.size())
        std::memcpy(&value, from.data() + at, sizeof value);
    return value;
}

} // namespace

class channel final : public scChannelInterface
{
public:
    explicit channel(plugin& owner) : _owner(owner) {}
    int32_t read(uint64_t address, uint32_t length, scModelInterface* model) override;
    int32_t write(uint64_t address, uint32_t length, scModelInterface* model) override;
    void close() override;
    void writeSideChannel(uint64_t, uint32_t, scModelInterface*) override {}

    void append(const bytes& message);
    void release();
    /// The model, while the target waits; null otherwise. The caller keeps the guard as long as it uses it.
    scModelInterface* model(std::unique_lock<std::mutex>& guard);
    std::atomic<uint32_t> pid{0};

private:
    plugin& _owner;
    std::mutex _lock;
    std::condition_variable _changed;
    bytes _out;
    size_t _drained = 0;
    int _released = 0;
    scModelInterface* _model = nullptr;
};

class worker : public std::enable_shared_from_this<worker>
{
public:
    worker(plugin& owner, uint32_t pid, uint64_t tid) : _owner(owner), _pid(pid), _tid(tid) {}
    void start();
    void enqueue(bytes message);
    void stop();
    void confirm(const bytes& message);

private:
    void run();
    void handle(const bytes& message);
    void handle_one(const bytes& message);
    void copy_memory(const bytes& message);
    void send(uint32_t type, const bytes& payload);
    bytes ask(uint32_t type, int wanted, const bytes& payload = {});

    plugin& _owner;
    const uint32_t _pid;
    const uint64_t _tid;
    std::mutex _lock;
    std::condition_variable _changed;
    std::deque<bytes> _tasks;
    bool _stop = false;
    int _wanted = -1; // result bytes that are waited for
    bool _confirmed = false;
    bytes _result;
};

plugin::~plugin()
{
    release_held();
    std::lock_guard guard{_lock};
    for (auto& [key, each] : _workers)
        each->stop();
}

scChannelInterface* plugin::open()
{
    auto* fresh = new channel(*this); // as the real one: lives to the end of the process
    std::lock_guard guard{_lock};
    _channels.push_back(fresh);
    ++seen.opened;
    return fresh;
}

void plugin::release_held()
{
    std::lock_guard guard{_lock};
    ++_held_epoch;
    _held.notify_all();
}

std::shared_ptr<worker> plugin::worker_of(uint32_t pid, uint64_t tid)
{
    std::lock_guard guard{_lock};
    auto& slot = _workers[{pid, tid}];
    if (!slot) {
        slot = std::make_shared<worker>(*this, pid, tid);
        slot->start();
    }
    return slot;
}

channel* plugin::channel_of(uint32_t pid)
{
    std::lock_guard guard{_lock};
    for (channel* each : _channels) {
        if (each->pid == pid)
            return each;
    }
    return nullptr;
}

void plugin::dismiss(uint32_t pid)
{
    std::lock_guard guard{_lock};
    for (auto at = _workers.lower_bound({pid, 0}); at != _workers.end() && at->first.first == pid;) {
        at->second->stop();
        at = _workers.erase(at);
    }
}

int32_t channel::write(uint64_t address, uint32_t length, scModelInterface* model)
{
    bytes message(length);
    model->read(address, message.data(), length);
    const wire::header head = wire::load_header(message.data());
    if (!pid)
        pid = static_cast<uint32_t>(head.pid);
    if (head.type == wire::inbound::command_executed) {
        ++_owner.seen.confirmations;
        _owner.worker_of(static_cast<uint32_t>(head.pid), head.tid)->confirm(message);
        return static_cast<int32_t>(length);
    }
    ++_owner.seen.messages;
    _owner.worker_of(static_cast<uint32_t>(head.pid), head.tid)->enqueue(std::move(message));
    return static_cast<int32_t>(length);
}

int32_t channel::read(uint64_t address, uint32_t length, scModelInterface* model)
{
    std::unique_lock guard{_lock};
    _model = model;
    _changed.notify_all();
    _changed.wait(guard, [this] { return _released > 0; });
    --_released;
    _model = nullptr;
    const size_t n = std::min<size_t>(length, _out.size() - _drained);
    const bytes piece(_out.begin() + static_cast<ptrdiff_t>(_drained),
                      _out.begin() + static_cast<ptrdiff_t>(_drained + n));
    _drained += n;
    if (_drained == _out.size()) {
        _out.clear();
        _drained = 0;
    } else {
        ++_released;
    }
    return model->write(address, piece.data(), static_cast<uint32_t>(n)) == n ? static_cast<int32_t>(n) : -1;
}

void channel::close()
{
    pid = 0;
    ++_owner.seen.closed;
}

void channel::append(const bytes& message)
{
    std::lock_guard guard{_lock};
    if (_drained)
        ++_owner.seen.protocol_faults; // an answer is added to one that a reader has begun to take
    _out.insert(_out.end(), message.begin(), message.end());
}

void channel::release()
{
    std::lock_guard guard{_lock};
    ++_released;
    _changed.notify_all();
}

scModelInterface* channel::model(std::unique_lock<std::mutex>& guard)
{
    guard = std::unique_lock(_lock);
    _changed.wait(guard, [this] { return _model != nullptr; });
    return _model;
}

void worker::start()
{
    ++_owner.seen.workers;
    std::thread([self = shared_from_this()] { self->run(); }).detach();
}

void worker::enqueue(bytes message)
{
    std::lock_guard guard{_lock};
    _tasks.push_back(std::move(message));
    _changed.notify_all();
}

void worker::stop()
{
    std::lock_guard guard{_lock};
    _stop = true;
    _changed.notify_all();
}

void worker::confirm(const bytes& message)
{
    std::lock_guard guard{_lock};
    const int carried = static_cast<int>(message.size()) - 25;
    if (_wanted < 0 || message.size() < 25 || carried != _wanted || message[24] != _wanted) {
        ++_owner.seen.protocol_faults;
        return;
    }
    _result.assign(message.begin() + 25, message.end());
    _confirmed = true;
    _changed.notify_all();
}

void worker::run()
{
    std::unique_lock guard{_lock};
    for (;;) {
        _changed.wait(guard, [this] { return _stop || !_tasks.empty(); });
        if (_stop)
            break;
        const bytes task = std::move(_tasks.front());
        _tasks.pop_front();
        guard.unlock();
        handle(task);
        guard.lock();
    }
    --_owner.seen.workers;
}

void worker::handle(const bytes& message)
{
    const wire::header head = wire::load_header(message.data());
    if (head.type == 0 || head.type == 5 || head.type > 600)
        return;
    if (head.type != wire::inbound::batch_commands) {
        handle_one(message);
    } else {
        size_t at = 24;
        for (uint32_t i = 0; i < load<uint32_t>(message, 20); ++i) {
            const auto size = load<uint32_t>(message, at);
            if (size < 20 || at + size > message.size())
                break;
            handle_one(bytes(message.begin() + static_cast<ptrdiff_t>(at),
                             message.begin() + static_cast<ptrdiff_t>(at + size)));
            at += size;
        }
    }
    const bool ends = !_owner.batch || head.type <= 3;
    if (ends)
        send(wire::outbound::leave_message_processing_loop, {});
}

void worker::handle_one(const bytes& message)
{
    using namespace wire::outbound;
    switch (wire::load_header(message.data()).type) {
    case type_asks:
        _owner.seen.last_result = load<uint32_t>(ask(get_egl_attribute_list_length, 4), 0);
        break;
    case type_asks_width:
        _owner.seen.last_result = load<uint32_t>(ask(get_target_pointer_size, 4), 0);
        break;
    case type_allocates: {
        bytes value{8};
        const bytes address =
            ask(allocate_memory_block, 8, bytes(message.begin() + wire::header_size, message.end()));
        value.insert(value.end(), address.begin(), address.end());
        send(set_return_value_message, value);
        break;
    }
    case type_asks_buffer: {
        const bytes description =
            ask(winsys_map_buffer_object_vk, 32, bytes(message.begin() + wire::header_size, message.end()));
        bytes value{8};
        value.insert(value.end(), description.begin(), description.begin() + 8);
        send(set_return_value_message, value);
        break;
    }
    case type_terminate:
        ask(set_cursor_visibility, 0);
        send(set_return_value_message, {4, 0, 0, 0, 0});
        ++_owner.seen.terminated;
        _owner.dismiss(_pid);
        break;
    case type_long_answer:
        for (int i = 0; i < long_answer; ++i)
            send(set_return_value_message, {4, static_cast<uint8_t>(i), 0, 0, 0});
        break;
    case type_calls_target:
        ask(egl_gles_query_get_windows_dc_call, 12);
        break;
    case type_copies:
        copy_memory(message);
        break;
    case type_holds: {
        std::unique_lock guard{_owner._lock};
        const int epoch = _owner._held_epoch;
        _owner._held.wait(guard, [&] { return _owner._held_epoch != epoch; });
        break;
    }
    case wire::inbound::get_settings: {
        ask(write_to_shim_address_space, 0);
        uint8_t block[wire::settings_offset::size] = {};
        block[wire::settings_offset::batch_commands] = _owner.batch;
        std::unique_lock<std::mutex> guard;
        if (channel* road = _owner.channel_of(_pid))
            road->model(guard)->write(load<uint64_t>(message, message.size() - 16), block, sizeof block);
        break;
    }
    default:
        break;
    }
}

void worker::copy_memory(const bytes& message)
{
    channel* road = _owner.channel_of(_pid);
    if (!road)
        return;
    bytes block(load<uint32_t>(message, 36));
    std::unique_lock<std::mutex> guard;
    scModelInterface* model = road->model(guard);
    const uint32_t got =
        model->read(load<uint64_t>(message, 20), block.data(), static_cast<uint32_t>(block.size()));
    _owner.seen.last_copied = model->write(load<uint64_t>(message, 28), block.data(), got);
}

void worker::send(uint32_t type, const bytes& payload)
{
    channel* road = _owner.channel_of(_pid);
    if (!road)
        return;
    bytes message(wire::header_size);
    wire::store_header(message.data(),
                       {static_cast<uint32_t>(20 + payload.size()), type, static_cast<int32_t>(_pid), _tid});
    message.insert(message.end(), payload.begin(), payload.end());
    road->append(message);
    if (type == wire::outbound::leave_message_processing_loop)
        road->release();
}

bytes worker::ask(uint32_t type, int wanted, const bytes& payload)
{
    {
        std::lock_guard guard{_lock};
        _wanted = wanted;
        _confirmed = false;
    }
    send(type, payload);
    channel* road = _owner.channel_of(_pid);
    if (!road)
        return {};
    road->release();
    std::unique_lock guard{_lock};
    _changed.wait(guard, [this] { return _confirmed; });
    _wanted = -1;
    return _result;
}

} // namespace fake
