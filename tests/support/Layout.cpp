#include "support/Layout.h"

#include <dlfcn.h>
#include <link.h>

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
    return entry->st_size / sizeof(void*) - 2;
}
