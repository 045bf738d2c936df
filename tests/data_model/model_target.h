#pragma once
// A target that runs OpenGL ES by itself, as far as the model asks it: constants, strings, compressed
// formats.

#include "registration/zelvar_test_support.h"
#include "shim/zelvar_shim_dispatch.h"
#include "support/fake_host.h"
#include "support/library.h"
#include "support/raw_target.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

namespace model_test {
constexpr pid_t pid = raw_target::pid;
constexpr tid_t tid = raw_target::tid;

class model_target
{
public:
    explicit model_target(scPluginInterface* plugin) : target{plugin}
    {
        target.write_only(target.make(5).bytes()); // binds the channel
        target.on_request = [this](const outbound_message& request) { return answer(request); };
    }

    raw_target target;
    /// Values by name for glGetIntegerv; a name that is missing gets GL_INVALID_ENUM.
    std::map<uint32_t, std::vector<int32_t>> integers;
    std::string gl_extensions;
    std::string egl_extensions;
    uint32_t gl_string_error = 0;
    bool has_memory = true;
    /// What was asked, in order: "allocate 16", "glGetIntegerv 3088", "free", ...
    std::vector<std::string> asked;

    /// Runs `code` as the worker of a target thread that waits in its loop.
    template <class F>
    void serve(F code)
    {
        std::thread worker{[&] {
            code();
            zelvar_shim_dispatch_leave_message_processing_loop(pid, tid);
        }};
        for (const auto& sent : target.serve())
            if (sent.type == wire::outbound::deallocate_memory_block)
                freed.push_back(sent.at<uint64_t>(0));
        worker.join();
    }
    std::vector<uint64_t> freed;

private:
    static constexpr uint64_t gl_string = raw_target::memory_base + 0x100;
    static constexpr uint64_t egl_string = raw_target::memory_base + 0x1000;

    confirmation string_at(uint64_t address, const std::string& text, uint32_t error)
    {
        for (size_t i = 0; i <= text.size(); i++)
            target.poke(address + i, text.c_str()[i]);
        return confirm_with(address, error);
    }

    confirmation answer(const outbound_message& request)
    {
        namespace in = wire::inbound;
        namespace out = wire::outbound;
        if (request.type == in::gles20_get_integerv - out::call_offset) {
            auto name = request.at<uint32_t>(0);
            auto values = integers.find(name);
            asked.push_back("glGetIntegerv " + std::to_string(name));
            confirmation done;
            if (values == integers.end()) {
                done.error = GL_INVALID_ENUM;
                return done;
            }
            for (size_t i = 0; i < values->second.size(); i++)
                target.poke(request.at<uint64_t>(4) + 4 * i, values->second[i]);
            return done;
        }
        if (request.type == in::gles20_get_string - out::call_offset) {
            asked.push_back("glGetString");
            return string_at(gl_string, gl_extensions, gl_string_error);
        }
        if (request.type == in::egl_query_string - out::call_offset) {
            asked.push_back("eglQueryString");
            return string_at(egl_string, egl_extensions, EGL_SUCCESS);
        }
        if (request.type == out::allocate_memory_block) {
            asked.push_back("allocate " + std::to_string(request.at<uint32_t>(0)));
            if (!has_memory)
                return confirm_with(uint64_t{0});
        }
        return target.default_answer(request);
    }
};
} // namespace model_test
