#ifndef ZT_TOOL_COPYPLAN_H
#define ZT_TOOL_COPYPLAN_H

#include <cstdint>
#include <filesystem>
#include <vector>

namespace zt {

/// What a copy is going to write, so that what the library does not look at can be looked at before
/// and after.
class CopyPlan {
public:
    /// A folder's files go into the folder `target`, and so does a file if `target` is a folder.
    CopyPlan(const std::filesystem::path& source, const std::filesystem::path& target);

    bool isFolder() const { return folder; }
    const std::filesystem::path& target() const { return finalTarget; }
    std::size_t files() const { return items.size(); }
    std::uintmax_t bytes() const;
    std::size_t leftOut() const { return others; } ///< entries that are no regular files

    /// Throws Failure if a target is its own source, or is longer and would keep its end.
    void checkTargets() const;

    /// Throws Failure unless each target is as long as its source was.
    void checkResult() const;

private:
    struct Item {
        std::filesystem::path source;
        std::filesystem::path target;
        std::uintmax_t size;
    };

    void add(const std::filesystem::path& source, const std::filesystem::path& target);

    bool folder;
    std::filesystem::path finalTarget;
    std::vector<Item> items;
    std::size_t others = 0;
};

} // namespace zt

#endif
