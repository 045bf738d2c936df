#pragma once
// The layout of an input of the inbound fuzz target, and a builder for seeds. An input is
//
//     settings (1 byte), target (1 byte), length of the answer script (2 bytes), script, records
//
// and a record is: kind (1 byte), length (2 bytes), content.

#include "library_under_test.h"
#include "support/message.h"

#include <cstdint>
#include <vector>

namespace inbound_input {
/// What a record's content is.
enum class kind : uint8_t
{
    whole,        // type (2), thread (1), payload: a sound message
    split,        // where (1), then as above: it arrives in two pieces
    lying,        // how many bytes the header promises too many (2), then as above
    raw,          // written as it stands, the header included
    batch,        // thread (1), then commands: type (2), length (2), payload
    foreign,      // as `whole`, of a process that the channel isn't bound to
    memory,       // where (2), in steps of 16 bytes, then what stands there in target memory
    confirmation, // of nothing: thread (1), then the payload
};

using namespace library_under_test;

/// The second byte: what kind of target, and settings that change a frame's way to it.
enum target : uint8_t
{
    narrow_pointers = 1,
    screen_sized_frames = 2, // surfaces of 16 by 16 count as the screen
    frames_cached = 4,
    rate_shown = 8,
    frames_compressed = 16,
    config_forced = 32,
};

/// Builds an input record by record.
class seed
{
public:
    explicit seed(uint8_t settings, uint8_t target = 0, std::vector<uint8_t> script = {})
        : _bytes{settings, target}
    {
        u16(script.size());
        _bytes.insert(_bytes.end(), script.begin(), script.end());
    }

    seed& record(kind of, const std::vector<uint8_t>& content)
    {
        _bytes.push_back(static_cast<uint8_t>(of));
        u16(content.size());
        _bytes.insert(_bytes.end(), content.begin(), content.end());
        return *this;
    }
    /// Content of a record that holds a message; `before` stands ahead of it.
    static std::vector<uint8_t> content(const message& sent, std::vector<uint8_t> before = {},
                                        uint8_t tid = 1)
    {
        before.push_back(static_cast<uint8_t>(sent.type()));
        before.push_back(static_cast<uint8_t>(sent.type() >> 8));
        before.push_back(tid);
        before.insert(before.end(), sent.payload().begin(), sent.payload().end());
        return before;
    }
    seed& whole(const message& sent, uint8_t tid = 1) { return record(kind::whole, content(sent, {}, tid)); }
    /// A call that returns something: the value is what `result` stands for in later messages.
    seed& returning(const message& sent, uint64_t* result, uint8_t tid = 1)
    {
        uint8_t token[8] = {'R', 'E', 'T', 'V', 'A', 'L', _results++, 0};
        std::memcpy(result, token, sizeof(token));
        return whole(sent, tid);
    }
    seed& memory(uint16_t sixteens, const std::vector<uint8_t>& data)
    {
        std::vector<uint8_t> content{static_cast<uint8_t>(sixteens), static_cast<uint8_t>(sixteens >> 8)};
        content.insert(content.end(), data.begin(), data.end());
        return record(kind::memory, content);
    }
    const std::vector<uint8_t>& bytes() const { return _bytes; }

private:
    void u16(size_t value)
    {
        _bytes.push_back(static_cast<uint8_t>(value));
        _bytes.push_back(static_cast<uint8_t>(value >> 8));
    }

    std::vector<uint8_t> _bytes;
    uint8_t _results = 0;
};
} // namespace inbound_input
