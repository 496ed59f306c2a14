#include "support/Layout.h"

#include <dlfcn.h>
#include <link.h>

/// Whether AddressSanitizer forbids this byte; null without it.
extern "C" int __asan_address_is_poisoned(const volatile void* address) __attribute__((weak));

namespace {

/// The end of a virtual table whose symbol ends there: AddressSanitizer puts a zone behind it that
/// the symbol holds too.
const char* endOfTable(const char* end)
{
    while (__asan_address_is_poisoned != nullptr && __asan_address_is_poisoned(end - 1) != 0) {
        --end;
    }
    return end;
}

} // namespace

std::size_t slotCount(const char* symbol)
{
    const void* table = dlsym(RTLD_DEFAULT, symbol);
    Dl_info info{};
    const ElfW(Sym)* entry = nullptr;
    void* extra = nullptr;
    if (table == nullptr || dladdr1(table, &info, &extra, RTLD_DL_SYMENT) == 0) {
        return 0;
    }
    entry = static_cast<const ElfW(Sym)*>(extra);
    // The table begins with the offset to the complete object and the type information.
    const auto* begin = static_cast<const char*>(table);
    return static_cast<std::size_t>(endOfTable(begin + entry->st_size) - begin) / sizeof(void*) - 2;
}
