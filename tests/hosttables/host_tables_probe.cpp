// Fills the host tables from whatever libraries the dynamic linker finds and prints what came of it.
// Arguments: log level, then names to ask `sidechannel_api_support` about.

#include "hosttables/host_tables.h"
#include "hosttables/table_slots.h"
#include "sidechannel_log.h"

#include <cstdio>
#include <cstdlib>

namespace {
template <class Table>
size_t filled(const Table& table)
{
    size_t count = 0;
    for (size_t slot = 0; slot < sizeof(Table) / sizeof(void*); slot++)
        count += table_slot(table, slot) != nullptr;
    return count;
}

void print_state(const char* when, int argc, char** argv)
{
    std::printf("%s: egl %zu gles %zu vk %zu\n", when, filled(*zelvar_imports_get_egl_ptrs()),
                filled(*zelvar_imports_get_gles_ptrs()), filled(*zelvar_imports_get_vk_ptrs()));
    for (int i = 2; i < argc; i++)
        std::printf("%s: %s %s\n", when, argv[i], sidechannel_api_support(argv[i]) ? "yes" : "no");
}
} // namespace

int main(int argc, char** argv)
{
    sidechannel_set_log_level(argc > 1 ? std::atoi(argv[1]) : 1);
    print_state("before", argc, argv);
    zelvar_imports_init();
    print_state("loaded", argc, argv);
    std::puts("again:");
    zelvar_imports_init();
    print_state("still", argc, argv);
    zelvar_imports_deinit();
    print_state("down", argc, argv);
    std::puts("down again:");
    zelvar_imports_deinit();
    return 0;
}
