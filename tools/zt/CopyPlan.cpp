#include "CopyPlan.h"

#include "Failure.h"
#include "Output.h"

#include <system_error>

namespace zt {

namespace fs = std::filesystem;

namespace {

/// UINTMAX_MAX if there is none.
std::uintmax_t sizeOf(const fs::path& file)
{
    std::error_code error;
    return fs::file_size(file, error);
}

bool isThere(std::uintmax_t size)
{
    return size != UINTMAX_MAX;
}

std::string quote(const fs::path& path)
{
    return '"' + escape(path.string()) + '"';
}

} // namespace

CopyPlan::CopyPlan(const fs::path& source, const fs::path& target) : finalTarget(target)
{
    std::error_code ignored; // what cannot be looked at, the library refuses
    folder = fs::is_directory(source, ignored);
    if (!folder) {
        if (fs::is_directory(target, ignored)) {
            finalTarget = target / source.filename();
        }
        add(source, finalTarget);
        return;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(source, ignored)) {
        if (entry.symlink_status(ignored).type() == fs::file_type::regular) {
            add(entry.path(), target / entry.path().filename());
        } else {
            ++others;
        }
    }
}

void CopyPlan::add(const fs::path& source, const fs::path& target)
{
    items.push_back({source, target, sizeOf(source)});
}

std::uintmax_t CopyPlan::bytes() const
{
    std::uintmax_t sum = 0;
    for (const Item& item : items) {
        sum += isThere(item.size) ? item.size : 0;
    }
    return sum;
}

void CopyPlan::checkTargets() const
{
    for (const Item& item : items) {
        std::error_code error;
        if (fs::equivalent(item.source, item.target, error)) {
            throw Failure(FAILED, quote(item.target) + " is the source itself",
                          "give another target");
        }
        const std::uintmax_t before = sizeOf(item.target);
        if (isThere(before) && before > item.size) {
            throw Failure(FAILED,
                          quote(item.target) + " is longer than its source and would keep "
                                               "its end",
                          "remove it first");
        }
    }
}

void CopyPlan::checkResult() const
{
    for (const Item& item : items) {
        if (sizeOf(item.target) != item.size) {
            throw Failure(FAILED, quote(item.target) + " is not as long as its source was",
                          "see whether the source can be read to its end, and copy again");
        }
    }
}

} // namespace zt
