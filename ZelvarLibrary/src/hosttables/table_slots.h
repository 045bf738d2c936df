#pragma once
// A host table seen as the array of pointers that it is: what lets the loader walk names instead of fields.

#include <cstddef>
#include <cstring>
#include <type_traits>

template <class Table>
void* table_slot(const Table& table, size_t slot)
{
    static_assert(std::is_standard_layout_v<Table> && sizeof(Table) % sizeof(void*) == 0);
    void* function;
    std::memcpy(&function, reinterpret_cast<const char*>(&table) + slot * sizeof(void*), sizeof(function));
    return function;
}

template <class Table>
void set_table_slot(Table* table, size_t slot, void* function)
{
    static_assert(std::is_standard_layout_v<Table> && sizeof(Table) % sizeof(void*) == 0);
    std::memcpy(reinterpret_cast<char*>(table) + slot * sizeof(void*), &function, sizeof(function));
}
