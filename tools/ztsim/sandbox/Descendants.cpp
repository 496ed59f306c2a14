#include "Descendants.h"

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ztsim {
namespace {

/// 0 if it is gone.
pid_t parentOf(const std::string& process)
{
    std::ifstream file("/proc/" + process + "/stat");
    std::string text;
    std::getline(file, text, '\0');
    // Behind the name, in which anything may stand: ") STATE PARENT".
    const auto name = text.rfind(')');
    return name == std::string::npos
               ? 0
               : static_cast<pid_t>(std::strtol(text.c_str() + name + 3, nullptr, 10));
}

bool isNumber(const std::string& text)
{
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char letter) { return std::isdigit(letter) != 0; });
}

} // namespace

void adoptOrphans()
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
}

std::set<pid_t> children()
{
    std::set<pid_t> found;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", ignored)) {
        const std::string process = entry.path().filename();
        if (isNumber(process) && parentOf(process) == ::getpid()) {
            found.insert(static_cast<pid_t>(std::stol(process)));
        }
    }
    return found;
}

void killDescendants(const std::set<pid_t>& spared)
{
    for (bool isAnyKilled = true; isAnyKilled;) {
        isAnyKilled = false;
        for (const pid_t child : children()) {
            if (spared.count(child) == 0 && ::kill(child, SIGKILL) == 0) {
                ::waitpid(child, nullptr, 0);
                isAnyKilled = true;
            }
        }
    }
}

} // namespace ztsim
