#ifndef ZTSIM_INVOCATION_H
#define ZTSIM_INVOCATION_H

#include <string>
#include <vector>

namespace ztsim {

/// A command, and the descriptors that it inherits.
struct Invocation {
    std::vector<std::string> words;
    std::vector<int> files;

    void add(const std::vector<std::string>& more)
    {
        words.insert(words.end(), more.begin(), more.end());
    }

    /// -1 is none.
    void addFile(int file)
    {
        words.push_back(std::to_string(file));
        inherit(file);
    }

    void inherit(int file)
    {
        if (file >= 0) {
            files.push_back(file);
        }
    }
};

} // namespace ztsim

#endif
