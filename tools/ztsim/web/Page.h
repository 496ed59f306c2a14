#ifndef ZTSIM_PAGE_H
#define ZTSIM_PAGE_H

#include <string_view>

namespace ztsim {

/// Of page.html, in which NONCE stands for one.
extern const std::string_view PAGE;

} // namespace ztsim

#endif
