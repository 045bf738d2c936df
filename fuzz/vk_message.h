#pragma once
// Messages of Vulkan calls as a 64-bit target lays them out: each argument at its width, then what the
// pointers lead to, in the order of the arguments.

#include "support/message.h"
#include "wire/vk_structures.h"

#include <type_traits>

class vk_message
{
public:
    template <class... A>
    vk_message(uint32_t type, A... arguments) : _type(type)
    {
        (put(arguments), ...);
    }

    /// A pointer to `count` structures, numbers or handles; null when there are none.
    template <class T>
    struct some
    {
        const T* first;
        size_t count;
    };
    template <class T>
    static some<T> one(const T& structure)
    {
        return {&structure, 1};
    }
    template <class T>
    static some<T> all(const std::vector<T>& entries)
    {
        return {entries.data(), entries.size()};
    }
    struct nothing
    {
    };

    /// Arguments and contents in one piece.
    std::vector<uint8_t> payload() const
    {
        std::vector<uint8_t> whole = _arguments;
        whole.insert(whole.end(), _contents.begin(), _contents.end());
        return whole;
    }
    uint32_t type() const { return _type; }

private:
    static constexpr uint64_t any_address = 0x1000;

    static void add(std::vector<uint8_t>& to, const void* from, size_t size)
    {
        auto* bytes = static_cast<const uint8_t*>(from);
        to.insert(to.end(), bytes, bytes + size);
    }
    template <class T>
    void put(T value)
    {
        add(_arguments, &value, sizeof(value));
    }
    void put(nothing) { put(uint64_t{0}); }
    template <class T>
    void put(some<T> behind)
    {
        put(behind.count ? any_address : uint64_t{0});
        write(behind.first, behind.count);
    }

    template <class T>
    void write(const T* from, size_t count)
    {
        if (!from || !count)
            return;
        add(_contents, from, sizeof(T) * count);
        if constexpr (vk_wire::is_described<T>)
            for (size_t i = 0; i < count; ++i)
                vk_wire::for_each_field<T>([&](auto field, auto) { follow(field, from[i]); });
    }

    template <class Field, class S>
    void follow(Field, const S&)
    {
    }
    template <class Field, class S>
    void follow(vk_wire::optional<Field>, const S& s)
    {
        follow(Field{}, s);
    }
    template <auto Condition, class Field, class S>
    void follow(vk_wire::when<Condition, Field>, const S& s)
    {
        follow(Field{}, s);
    }
    template <auto P, class S>
    void follow(vk_wire::pointer<P>, const S& s)
    {
        write(s.*P, 1);
    }
    template <auto P, auto N, class S>
    void follow(vk_wire::array<P, N>, const S& s)
    {
        write(s.*P, s.*N);
    }
    template <auto P, auto N, class S>
    void follow(vk_wire::handles<P, N>, const S& s)
    {
        write(s.*P, s.*N);
    }
    template <auto P, auto N, class S>
    void follow(vk_wire::bytes<P, N>, const S& s)
    {
        write(reinterpret_cast<const uint8_t*>(s.*P), s.*N);
    }
    template <auto P, class S>
    void follow(vk_wire::string<P>, const S& s)
    {
        write(s.*P, std::strlen(s.*P) + 1);
    }
    template <auto P, auto N, class S>
    void follow(vk_wire::strings<P, N>, const S& s)
    {
        for (size_t i = 0; i < s.*N; ++i)
            write((s.*P)[i], std::strlen((s.*P)[i]) + 1);
    }

    uint32_t _type;
    std::vector<uint8_t> _arguments;
    std::vector<uint8_t> _contents;
};
