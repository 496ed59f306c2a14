#ifndef ZTSIM_RECORDPATTERN_H
#define ZTSIM_RECORDPATTERN_H

#include <string>
#include <vector>

namespace ztsim {

/// Which records are meant: those that begin with these words, as --record writes them. The word
/// "any" stands for each, and a dot behind the others for the end.
class RecordPattern {
public:
    /// Throws std::invalid_argument for a first word that no record has.
    explicit RecordPattern(std::vector<std::string> given);

    bool matches(const std::string& record) const;

    std::string text() const;

private:
    std::vector<std::string> words;
};

} // namespace ztsim

#endif
