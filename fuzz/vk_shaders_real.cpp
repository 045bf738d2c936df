// An application whose shaders have been broken, over the host's own driver: all else about it is sound, so
// that what the library lets through comes to the driver's compiler and is drawn with.

#include "library_under_test.h"
#include "vk_real_host.h"
#include "vk_soup.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    constexpr size_t longest = 256;
    if (size == 0 || size > longest)
        return 0;
    scripted_target& target = library_under_test::target_over(install_vk_host);
    library_under_test::apply_settings(data[0] & library_under_test::loud);
    library_under_test::begin(target, false, {});
    choices sound{{}};
    choices input{{data + 1, size - 1}};
    vk_soup soup{target, sound};
    soup.begin();
    for (int round = 0; round < 8 && !input.empty(); ++round)
        soup.use_broken_shader(input);
    soup.end();
    library_under_test::end(target);
    return 0;
}
