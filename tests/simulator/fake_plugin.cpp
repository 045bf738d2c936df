// The fake library as a file that zelvar-sim can load.

#include "fake_library.h"
#include "zelvar/zelvar.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

namespace {

bool batches_are_on()
{
    const char* path = std::getenv("TRV_ZELVAR_SETTINGS_PATH");
    std::ifstream settings(path ? path : "");
    bool on = false;
    for (std::string line; std::getline(settings, line);) {
        if (line.rfind("batchCommands ", 0) == 0)
            on = line.back() == '1';
    }
    return on;
}

fake::plugin& the_plugin()
{
    static auto* one = new fake::plugin(batches_are_on());
    return *one;
}

} // namespace

scPluginInterface* scPluginEntryPoint()
{
    return &the_plugin();
}

void zelvar_deinit()
{
    const fake::counts& seen = the_plugin().seen;
    // Workers that were let go end in their own time.
    for (int i = 0; i < 200 && seen.workers > 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::printf("fake library: opened %d closed %d terminated %d workers %d faults %d\n", seen.opened.load(),
                seen.closed.load(), seen.terminated.load(), seen.workers.load(), seen.protocol_faults.load());
}
