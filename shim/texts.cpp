#include "shim/texts.h"

#include <mutex>
#include <set>
#include <string>

namespace shim {

const char* text_with(const char* text, const char* more)
{
    if (!text)
        return nullptr;
    static std::mutex& lock = *new std::mutex;
    static auto& texts = *new std::set<std::string>; // one for each text that the library has given
    const std::lock_guard<std::mutex> guard{lock};
    const std::string given = text;
    return texts.insert(given + (given.empty() ? "" : " ") + more).first->c_str();
}

} // namespace shim
