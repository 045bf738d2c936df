#pragma once
// Numbers that aren't 0, for a recording's road: a look is a few steps in one block, and the block stays from
// one recording to the next.

#include <cstddef>
#include <cstdint>
#include <vector>

class vk_number_set
{
public:
    /// False when it is in already.
    bool insert(uint64_t number)
    {
        if (2 * (_used + 1) > _slots.size())
            grow();
        uint64_t& slot = _slots[place_of(number)];
        if (slot == number)
            return false;
        slot = number;
        ++_used;
        return true;
    }
    bool contains(uint64_t number) const { return !_slots.empty() && _slots[place_of(number)] == number; }
    void clear()
    {
        if (_used)
            _slots.assign(_slots.size(), 0);
        _used = 0;
    }

private:
    /// Where the number is, or a free place for it; there always is one.
    size_t place_of(uint64_t number) const
    {
        const size_t mask = _slots.size() - 1;
        size_t at = number * 0x9e3779b97f4a7c15 >> 32 & mask;
        while (_slots[at] && _slots[at] != number)
            at = (at + 1) & mask;
        return at;
    }
    void grow()
    {
        std::vector<uint64_t> old(_slots.empty() ? 16 : 2 * _slots.size());
        old.swap(_slots);
        for (uint64_t number : old)
            if (number)
                _slots[place_of(number)] = number;
    }

    std::vector<uint64_t> _slots; // a power of two of them, or none
    size_t _used = 0;
};
