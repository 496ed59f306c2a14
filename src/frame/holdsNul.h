#ifndef ZT_HOLDSNUL_H
#define ZT_HOLDSNUL_H

#include <string>

namespace ZT {

/// Whether the text has a NUL in it: the system would take only what stands before that.
inline bool holdsNul(const std::string& text)
{
    return text.find('\0') != std::string::npos;
}

} // namespace ZT

#endif
