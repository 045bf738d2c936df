#include "foreign_simulator.h"

#include <cstring>

namespace foreign {

class TargetMemory
{
public:
    virtual ~TargetMemory() {}
    virtual uint32_t fetch(uint64_t address, void* to, uint32_t bytes) = 0;
    virtual uint32_t store(uint64_t address, const void* from, uint32_t bytes) = 0;
    virtual uint64_t third() = 0;
    virtual uint64_t core(uint32_t id) = 0;
};

class Connection
{
public:
    virtual ~Connection() {}
    virtual int32_t targetReads(uint64_t address, uint32_t bytes, TargetMemory* memory) = 0;
    virtual int32_t targetWrites(uint64_t address, uint32_t bytes, TargetMemory* memory) = 0;
    virtual void hangUp() = 0;
    virtual void append(uint64_t data, uint32_t bytes, TargetMemory* memory) = 0;
};

class Accelerator
{
public:
    virtual ~Accelerator() {}
    virtual Connection* connect() = 0;
};

class Memory : public TargetMemory
{
public:
    explicit Memory(std::vector<std::string>& calls) : _calls{calls} {}

    uint32_t fetch(uint64_t address, void* to, uint32_t bytes) override
    {
        _calls.push_back("fetch " + std::to_string(bytes));
        std::memcpy(to, data + address, bytes);
        return bytes;
    }
    uint32_t store(uint64_t address, const void* from, uint32_t bytes) override
    {
        _calls.push_back("store " + std::to_string(bytes));
        std::memcpy(data + address, from, bytes);
        return bytes;
    }
    uint64_t third() override
    {
        _calls.push_back("third");
        return 3;
    }
    uint64_t core(uint32_t id) override
    {
        _calls.push_back("core " + std::to_string(id));
        return 4;
    }

    uint8_t data[4096] = {};

private:
    std::vector<std::string>& _calls;
};

} // namespace foreign

extern "C" foreign::Accelerator* scPluginEntryPoint();

ForeignRun foreign_simulator_run(const std::vector<uint8_t>& message, uint32_t length)
{
    ForeignRun run;
    foreign::Memory memory{run.model_calls};
    foreign::Accelerator* accelerator = scPluginEntryPoint();
    run.same_plugin_twice = scPluginEntryPoint() == accelerator;
    foreign::Connection* connection = accelerator->connect();
    std::memcpy(memory.data + 64, message.data(), message.size());
    run.written = connection->targetWrites(64, static_cast<uint32_t>(message.size()), &memory);
    const uint8_t last_field[] = {0xe, 0xf};
    connection->append(reinterpret_cast<uint64_t>(last_field), sizeof last_field, nullptr);
    run.read = connection->targetReads(1024, length, &memory);
    run.answer.assign(memory.data + 1024, memory.data + 1024 + run.read);
    connection->hangUp();
    return run;
}
