// Workers and simulator's threads at once: what ThreadSanitizer is to see.
#include "fake_library.h"
#include "sidechannel_plugin_interface_wrapper.h"
#include "sidechannel_zelvar_init.h"
#include "zelvar/zelvar.h"

#include <chrono>
#include <thread>

using namespace std::chrono_literals;

namespace {

/// A target process as its simulator's thread sees it: one channel, its memory, and the semaphore that its
/// worker waits on for the next message.
class Target
{
public:
    explicit Target(uint32_t pid) : _pid{pid}, _channel{scPluginEntryPoint()->open()} {}
    ~Target() { semaphore_release(arrived); }
    Target(const Target&) = delete;

    void write()
    {
        const Bytes message = make_message(20, _pid);
        std::copy(message.begin(), message.end(), model.memory.begin());
        _channel->write(FakeModel::base, 20, &model);
        semaphore_raise(arrived);
    }
    int32_t read(uint32_t length) { return _channel->read(FakeModel::base, length, &model); }

    FakeModel model;
    semaphore__* arrived = semaphore_create(0);

private:
    uint32_t _pid;
    scChannelInterface* _channel;
};

void send(pid_t pid, const Bytes& message)
{
    ChannelInterfaceWrapper* channel =
        sidechannel_get_plugin_interface_sandbox_ptr()->getSidechannelInterface(pid);
    Autolock send_lock{channel->sendLock()};
    for (size_t at = 0; at < message.size(); at += 4)
        channel->writeSideChannel(reinterpret_cast<uint64_t>(message.data() + at), 4, nullptr);
    channel->allowMainThreadToSendMessage();
}

} // namespace

TEST(Worker, ReachesMemoryOnlyWhileTheTargetReads)
{
    Target target{7};
    std::atomic<int> accesses{0};
    std::thread worker{[&] {
        for (int i = 0; i < 2; i++) {
            semaphore_lower(target.arrived);
            scModelInterface* model = sidechannel_model_interface_lock_and_get(7);
            EXPECT_EQ(model, &target.model);
            EXPECT_EQ(sidechannel_model_interface_lock_and_get(7), model); // nests
            sidechannel_model_interface_unlock(7);
            accesses++;
            uint8_t value = 0;
            model->read(FakeModel::base + 100, &value, 1);
            value++;
            model->write(FakeModel::base + 100, &value, 1);
            sidechannel_model_interface_unlock(7);
            send(7, make_message(20, 7));
        }
    }};
    for (int i = 0; i < 2; i++) {
        target.write();
        std::this_thread::sleep_for(30ms); // the worker has its message, but no way to memory yet
        EXPECT_EQ(accesses, i);
        target.model.memory[100] = static_cast<uint8_t>(10 * i); // the target runs: plain access
        EXPECT_EQ(target.read(20), 20);
        EXPECT_EQ(accesses, i + 1);
        EXPECT_EQ(target.model.memory[100], 10 * i + 1);
    }
    worker.join();
}

TEST(Worker, ManyTargetsTakeTurnsWithTheirWorkers)
{
    constexpr int rounds = 300;
    fake_library().on_message = [](const Bytes&) {};
    std::vector<std::thread> simulator_threads;
    std::atomic<int> failures{0};
    for (uint32_t pid = 1; pid <= 4; pid++)
        simulator_threads.emplace_back([pid, &failures] {
            Target target{pid};
            std::thread worker{[pid, &target] {
                for (int i = 0; i < rounds; i++) {
                    semaphore_lower(target.arrived);
                    scModelInterface* model =
                        sidechannel_model_interface_lock_and_get(static_cast<pid_t>(pid));
                    uint32_t value = 0;
                    model->read(FakeModel::base + 200, &value, 4);
                    value += pid;
                    model->write(FakeModel::base + 200, &value, 4);
                    sidechannel_model_interface_unlock(static_cast<pid_t>(pid));
                    send(static_cast<pid_t>(pid), make_message(24, pid));
                }
            }};
            uint32_t sum = 0;
            for (int i = 0; i < rounds; i++) {
                target.write();
                int32_t n = target.read(10); // in small pieces
                while (n > 0 && n < 24)
                    n += target.read(10);
                failures += n != 24;
                std::memcpy(&sum, target.model.memory.data() + 200, 4);
                failures += sum != pid * static_cast<uint32_t>(i + 1);
            }
            worker.join();
        });
    for (auto& thread : simulator_threads)
        thread.join();
    EXPECT_EQ(failures, 0);
}

TEST(Worker, MessagesOfTwoWorkersDoNotMix)
{
    constexpr size_t each = 200, size = 40;
    TestChannel t{2 * each * size};
    std::vector<std::thread> workers;
    for (uint32_t pid = 1; pid <= 2; pid++)
        workers.emplace_back([&t, pid] {
            for (size_t i = 0; i < each; i++) {
                Autolock send_lock{t.channel.sendLock()};
                for (size_t field = 0; field < size / 4; field++)
                    t.append(Bytes(4, static_cast<uint8_t>(pid)));
            }
        });
    for (auto& worker : workers)
        worker.join();
    t.channel.allowMainThreadToSendMessage();
    Bytes all = t.receive(2 * each * size);
    ASSERT_EQ(all.size(), 2 * each * size);
    all[11] = all[10]; // masked
    for (size_t at = 0; at < all.size(); at += size)
        EXPECT_EQ(
            Bytes(all.begin() + static_cast<ptrdiff_t>(at), all.begin() + static_cast<ptrdiff_t>(at + size)),
            Bytes(size, all[at]));
}
