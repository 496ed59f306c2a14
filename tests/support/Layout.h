#ifndef ZT_TESTS_LAYOUT_H
#define ZT_TESTS_LAYOUT_H

#include <cstddef>
#include <cstdint>
#include <cstring>

/// Which slot of the virtual table a member function pointer calls. As the C++ ABI has it, the
/// pointer holds the slot's offset in the table, plus 1 except on ARM, where that mark is in the
/// second word.
template <class Member>
std::size_t slotOf(Member member)
{
    std::uintptr_t words[2];
    static_assert(sizeof(Member) == sizeof(words), "a member function pointer has two words");
    std::memcpy(words, &member, sizeof(words));
    return words[0] / sizeof(void*);
}

/// What stands in an object's memory at `offset` bytes.
template <class Field>
Field fieldAt(const void* object, std::size_t offset)
{
    Field field;
    std::memcpy(&field, static_cast<const char*>(object) + offset, sizeof field);
    return field;
}

/// Whether the address is in an object's memory.
template <class Object>
bool isIn(const Object& object, const void* address)
{
    const auto* begin = reinterpret_cast<const char*>(&object);
    return address >= begin && address < begin + sizeof object;
}

/// Laid out as a polymorphic class that holds one object.
template <class Held>
struct Polymorphic {
    void* table;
    Held held;
};

/// How many slots the virtual table of an exported class has; `symbol` is the table's symbol.
std::size_t slotCount(const char* symbol);

#endif
