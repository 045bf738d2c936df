#include "fake_library.h"
#include "sidechannel_plugin_interface_wrapper.h"
#include "sidechannel_zelvar_init.h"
#include "sidechannel_zelvar_ipc.h"
#include "zelvar/zelvar.h"

#include <thread>
#include <unistd.h>

namespace {

PluginInterfaceWrapperSandbox& sandbox()
{
    scPluginEntryPoint();
    return *sidechannel_get_plugin_interface_sandbox_ptr();
}

ChannelInterfaceWrapper* open_channel()
{
    return static_cast<ChannelInterfaceWrapper*>(sandbox().getPluginInterface()->open());
}

ChannelInterfaceWrapper* open_channel(uint32_t pid)
{
    ChannelInterfaceWrapper* channel = open_channel();
    channel->bindTargetProcess(make_message(20, pid).data(), 20);
    return channel;
}

} // namespace

TEST(Plugin, EntryMakesOneObjectWhoeverCalls)
{
    std::vector<scPluginInterface*> plugins(8);
    std::vector<std::thread> callers;
    for (auto& plugin : plugins)
        callers.emplace_back([&plugin] { plugin = scPluginEntryPoint(); });
    for (auto& caller : callers)
        caller.join();
    ASSERT_NE(plugins[0], nullptr);
    EXPECT_EQ(plugins, std::vector(8, plugins[0]));
    EXPECT_EQ(fake_library().init_calls, 1);
    EXPECT_EQ(sidechannel_get_plugin_interface_ptr(), plugins[0]);
    EXPECT_EQ(sandbox().getPluginInterface(), plugins[0]);
}

TEST(Plugin, PidZeroIsNeverServed)
{
    sidechannel_set_log_level(2);
    open_channel(); // unbound, so its pid is 0
    EXPECT_EQ(logged([] { EXPECT_EQ(sandbox().getSidechannelInterface(0), nullptr); }),
              "ERROR [ZELVAR] PluginInterfaceWrapper::getSidechannelInterface() for target pid 0.\n");
}

TEST(Plugin, TheFirstBoundChannelServesAPidAndStays)
{
    sidechannel_set_log_level(6566);
    ChannelInterfaceWrapper* early = open_channel();
    EXPECT_EQ(sandbox().getSidechannelInterface(7), nullptr); // a miss leaves no trace
    ChannelInterfaceWrapper* first = open_channel(7);
    ChannelInterfaceWrapper* other = open_channel(8);
    open_channel(7);
    char expected[160];
    snprintf(
        expected, sizeof expected,
        "DEBUG [ZELVAR] Add mapping: queries for target process [7] will be serviced by channel interface "
        "[%p].\n",
        static_cast<void*>(first));
    EXPECT_EQ(logged([&] { EXPECT_EQ(sandbox().getSidechannelInterface(7), first); }), expected);
    early->bindTargetProcess(make_message(20, 7).data(), 20); // now the first in opening order
    EXPECT_EQ(logged([&] { EXPECT_EQ(sandbox().getSidechannelInterface(7), first); }), "");
    EXPECT_EQ(sandbox().getSidechannelInterface(8), other);
    first->close();
    EXPECT_EQ(sandbox().getSidechannelInterface(7), early);
    EXPECT_EQ(sandbox().getSidechannelInterface(8), other);
}

TEST(Plugin, ClosedChannelsAreForgotten)
{
    ChannelInterfaceWrapper* unbound = open_channel();
    ChannelInterfaceWrapper* bound = open_channel(7);
    EXPECT_EQ(sandbox().getSidechannelInterface(7), bound);
    unbound->close();
    EXPECT_EQ(sandbox().getSidechannelInterface(7), bound);
    bound->close();
    EXPECT_EQ(sandbox().getSidechannelInterface(7), nullptr);
}

TEST(Plugin, ChannelsComeAndGoUnderLookups)
{
    sandbox();
    std::atomic<bool> stop{false};
    std::thread worker{[&] {
        while (!stop)
            sandbox().getSidechannelInterface(7);
    }};
    for (int i = 0; i < 50; i++)
        open_channel(7)->close();
    stop = true;
    worker.join();
    EXPECT_EQ(sandbox().getSidechannelInterface(7), nullptr);
}

TEST(Plugin, StartsAfreshAfterItsEnd)
{
    ChannelInterfaceWrapper* old = open_channel(7);
    EXPECT_EQ(sandbox().getSidechannelInterface(7), old);
    std::atomic<bool> stop{false};
    std::thread worker{[&] {
        while (!stop)
            if (sidechannel_plugin_access plugin; plugin)
                plugin->getSidechannelInterface(7);
    }};
    sidechannel_deinit_zelvar();
    sidechannel_forget_plugin_singleton();
    EXPECT_EQ(sidechannel_get_plugin_interface_sandbox_ptr(), nullptr);
    sidechannel_deinit_zelvar(); // nothing there: harmless
    old->close();
    EXPECT_EQ(sandbox().getSidechannelInterface(7), nullptr);
    EXPECT_EQ(fake_library().init_calls, 2);
    stop = true;
    worker.join();
}

TEST(Plugin, MissingChannelsAreReportedOnUnlock)
{
    EXPECT_EQ(logged([] { sidechannel_model_interface_unlock(7); }),
              "FATAL [ZELVAR] Plugin interface does not exist.\n");
    sandbox();
    EXPECT_EQ(logged([] { sidechannel_model_interface_unlock(7); }),
              "FATAL [ZELVAR] No sidechannel interface found for process 7.\n");
}

TEST(PluginDeathTest, BrokenInvariantsStopTheProcess)
{
    const auto to_stderr = [] { dup2(STDERR_FILENO, STDOUT_FILENO); };
    EXPECT_DEATH(sidechannel_get_plugin_interface_ptr(), "Assertion `_plugin_ptr != __null' failed");
    EXPECT_DEATH((to_stderr(), sidechannel_model_interface_lock_and_get(7)),
                 "Plugin interface does not exist. Crash ahead.\n.*Assertion `result != __null' failed");
    PluginInterfaceWrapper* plugin = static_cast<PluginInterfaceWrapper*>(scPluginEntryPoint());
    EXPECT_DEATH((to_stderr(), sidechannel_model_interface_lock_and_get(7)),
                 "No sidechannel interface found for process 7. Crash ahead.\n.*`result != __null' failed");
    EXPECT_DEATH(sidechannel_init_zelvar(plugin), "Assertion `_plugin_ptr == __null' failed");
    EXPECT_DEATH(sidechannel_ipc_start_server(), "Assertion `_zelvar_server_socket == \\(-1\\)' failed");
    ChannelInterfaceWrapper* channel = open_channel();
    channel->close();
    EXPECT_DEATH(channel->close(), "Assertion `_channel_interfaces.size\\(\\) > 0' failed");
}
