#ifndef ZTSIM_TEXTFILE_H
#define ZTSIM_TEXTFILE_H

#include <functional>
#include <string>

namespace ztsim {

/// All that comes up to the end.
std::string readAll(int file);

/// Hands on each line that is neither empty nor begins with #. What `take` throws as a
/// std::invalid_argument is thrown with "NAME:LINE: " in front.
void forEachLine(const std::string& name, const std::string& text,
                 const std::function<void(const std::string& line)>& take);

} // namespace ztsim

#endif
