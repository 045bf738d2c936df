// Vulkan applications that are made up, over the host's own driver, which trusts whoever calls it. An input
// has a byte of settings; all further bytes are choices.

#include "library_under_test.h"
#include "vk_real_host.h"
#include "vk_soup.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    constexpr size_t longest = 4096;
    if (size == 0 || size > longest)
        return 0;
    scripted_target& target = library_under_test::target_over(install_vk_host);
    library_under_test::apply_settings(data[0] & library_under_test::loud);
    library_under_test::begin(target, false, {});
    choices input{{data + 1, size - 1}};
    vk_soup soup{target, input};
    soup.begin();
    while (!input.empty())
        soup.step();
    soup.end();
    library_under_test::end(target);
    return 0;
}
