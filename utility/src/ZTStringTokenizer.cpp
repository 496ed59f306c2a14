#include "ztutil/ZTStringTokenizer.h"

namespace ZT {

std::vector<std::string> ZTStringTokenizer::tokenize(const std::string& text,
                                                     const std::string& delimiter)
{
    if (delimiter.empty()) {
        return {text};
    }

    std::vector<std::string> pieces;
    std::size_t begin = 0;
    std::size_t end = 0;
    while ((end = text.find(delimiter, begin)) != std::string::npos) {
        pieces.push_back(text.substr(begin, end - begin));
        begin = end + delimiter.size();
    }
    pieces.push_back(text.substr(begin));
    return pieces;
}

} // namespace ZT
