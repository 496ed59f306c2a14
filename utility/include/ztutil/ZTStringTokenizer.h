#ifndef ZTUTIL_ZTSTRINGTOKENIZER_H
#define ZTUTIL_ZTSTRINGTOKENIZER_H

#include "ztutil/ztUtilExport.h"

#include <string>
#include <vector>

namespace ZT {

/// Splits text. Safe from any thread.
class ZTUTIL_API ZTStringTokenizer {
public:
    /// Returns the pieces between the occurrences of the whole delimiter, in order. Nothing is
    /// dropped: adjoining, leading and trailing delimiters yield empty pieces, and an empty text is
    /// one empty piece. An empty delimiter splits nothing.
    static std::vector<std::string> tokenize(const std::string& text, const std::string& delimiter);
};

} // namespace ZT

#endif
