#include "foreign_simulator.h"

#include "fake_library.h"
#include "sidechannel_plugin_interface_wrapper.h"
#include "sidechannel_zelvar_init.h"

#include <thread>

TEST(ForeignSimulator, MeetsEverySlotInItsPlace)
{
    std::thread worker;
    fake_library().on_message = [&](const Bytes& message) {
        EXPECT_EQ(message, make_message(32, 7));
        worker = std::thread{[] {
            scModelInterface* model = sidechannel_model_interface_lock_and_get(7);
            uint32_t size = 0;
            model->read(64, &size, 4);
            EXPECT_EQ(size, 32u);
            const uint64_t value = 0x1122334455667788;
            model->write(2048, &value, 8);
            EXPECT_EQ(model->reserved(), 3u);
            EXPECT_EQ(model->queryCore(5), 4u);
            ChannelInterfaceWrapper* channel =
                sidechannel_get_plugin_interface_sandbox_ptr()->getSidechannelInterface(7);
            sidechannel_model_interface_unlock(7);
            channel->allowMainThreadToSendMessage();
        }};
    };
    const ForeignRun run = foreign_simulator_run(make_message(32, 7), 100);
    worker.join();
    EXPECT_TRUE(run.same_plugin_twice);
    EXPECT_EQ(run.written, 32);
    EXPECT_EQ(run.read, 2);
    EXPECT_EQ(run.answer, (std::vector<uint8_t>{0xe, 0xf}));
    EXPECT_EQ(run.model_calls,
              (std::vector<std::string>{"fetch 32", "fetch 4", "store 8", "third", "core 5", "store 2"}));
    // The hang-up reached the plug-in.
    EXPECT_EQ(sidechannel_get_plugin_interface_sandbox_ptr()->getSidechannelInterface(7), nullptr);
}
