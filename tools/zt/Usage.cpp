#include "Usage.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace zt {
namespace {

/// A verb, or what stands for one, and how it is called in full.
struct Verb {
    std::string name;
    std::string call;
};

/// The command and the verbs that were used, the innermost at the end.
std::vector<const CLI::App*> usedLevels(const CLI::App& app)
{
    std::vector<const CLI::App*> levels{&app};
    while (!levels.back()->get_subcommands().empty()) {
        levels.push_back(levels.back()->get_subcommands().front());
    }
    return levels;
}

std::string callOf(const std::vector<const CLI::App*>& levels)
{
    std::string call;
    for (const CLI::App* const level : levels) {
        call += (call.empty() ? "" : " ") + level->get_name();
    }
    return call;
}

std::vector<const CLI::App*> verbsOf(const CLI::App& app)
{
    return app.get_subcommands([](const CLI::App* verb) { return !verb->get_name().empty(); });
}

void collectVerbs(const CLI::App& app, const std::string& call, std::vector<Verb>& verbs)
{
    for (const CLI::App* const verb : verbsOf(app)) {
        const std::string ownCall = call + (' ' + verb->get_name());
        verbs.push_back({verb->get_name(), ownCall});
        collectVerbs(*verb, ownCall, verbs);
    }
}

/// How many letters are to be added, left out or changed.
std::size_t distance(const std::string& from, const std::string& to)
{
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t changed = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

bool isBeginning(const std::string& part, const std::string& whole)
{
    return part.size() >= 3 && whole.compare(0, part.size(), part) == 0;
}

/// Smaller is closer; none if it is like no other.
std::size_t unlikeness(const std::string& word, const std::string& name)
{
    const std::size_t count = distance(word, name);
    const bool isClose = count <= std::min<std::size_t>(2, name.size() / 2) ||
                         isBeginning(word, name) || isBeginning(name, word);
    return isClose ? count : std::string::npos;
}

/// " (did you mean ...?)", or nothing.
std::string suggest(const std::string& word, const std::vector<Verb>& verbs)
{
    const auto closest =
        std::min_element(verbs.begin(), verbs.end(), [&word](const Verb& one, const Verb& other) {
            return unlikeness(word, one.name) < unlikeness(word, other.name);
        });
    return unlikeness(word, closest->name) == std::string::npos
               ? ""
               : " (did you mean " + closest->call + "?)";
}

/// Those behind the word come first; whoever leaves out what stands before it is helped, too.
std::string explainVerb(const std::string& word, const CLI::App& level, const CLI::App& app)
{
    const auto levels = usedLevels(app);
    const auto end = std::find(levels.begin(), levels.end(), &level) + 1;
    std::vector<Verb> verbs{{"help", callOf(levels) + " --help"}, {"version", "zt --version"}};
    collectVerbs(level, callOf({levels.begin(), end}), verbs);
    collectVerbs(app, app.get_name(), verbs);
    return "there is no verb \"" + word + '"' + suggest(word, verbs);
}

std::string explainOption(const std::vector<std::string>& rest, const CLI::App& level,
                          const CLI::App& app)
{
    const auto levels = usedLevels(app);
    const std::string name = rest.front().substr(0, rest.front().find('='));
    if (&level == levels.back() && !verbsOf(level).empty()) {
        return "a verb is required before " + name;
    }
    if (&level == levels.back() || levels.back()->get_option_no_throw(name) == nullptr) {
        return "there is no option " + name;
    }
    std::string call = callOf(levels);
    for (const std::string& word : rest) {
        call += ' ' + word;
    }
    return name + " stands behind the verb: " + call;
}

/// What nobody takes.
std::string explainExtras(const CLI::App& app)
{
    for (const CLI::App* const level : usedLevels(app)) {
        const std::vector<std::string> rest = level->remaining();
        if (rest.empty()) {
            continue;
        }
        if (rest.front().compare(0, 1, "-") == 0) {
            return explainOption(rest, *level, app);
        }
        return verbsOf(*level).empty() ? "there is one argument too many: " + rest.front()
                                       : explainVerb(rest.front(), *level, app);
    }
    return "";
}

} // namespace

std::string explain(const CLI::App& app, const CLI::ParseError& error)
{
    const bool isExtra = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError);
    return (isExtra ? explainExtras(app) : error.what()) + "; see " + callOf(usedLevels(app)) +
           " --help";
}

} // namespace zt
