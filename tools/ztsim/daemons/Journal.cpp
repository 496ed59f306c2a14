#include "Journal.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace ztsim {

Journal::Journal(int file) : start(std::chrono::steady_clock::now()), recorder(file) {}

void Journal::addRecord(const std::string& text, const char* mishap)
{
    const double time = now();
    recorder.write(time, text, mishap);
    said.push_back(text);
    if (said.size() > MOST_RECORDS) {
        said.pop_front();
    }
    tell({time, Event::By::Client, text, mishap == nullptr ? "" : mishap});
}

void Journal::addChange(Event::By by, const std::string& text)
{
    tell({now(), by, text, ""});
}

Journal::Hold::Hold(Journal& journal) : journal(journal)
{
    journal.isHeld = true;
}

Journal::Hold::~Hold()
{
    journal.isHeld = false;
    for (const Transfer& transfer : std::exchange(journal.held, {})) {
        journal.tell(transfer);
    }
}

void Journal::addTransfer(Transfer transfer)
{
    transfer.time = now();
    if (isHeld) {
        held.push_back(std::move(transfer));
    } else {
        tell(transfer);
    }
}

void Journal::tell(const Transfer& transfer)
{
    for (const auto& listener : taps) {
        listener(transfer);
    }
}

std::vector<std::string> Journal::records(const RecordPattern& wanted) const
{
    std::vector<std::string> matching;
    std::copy_if(said.begin(), said.end(), std::back_inserter(matching),
                 [&wanted](const std::string& record) { return wanted.matches(record); });
    return matching;
}

std::uint64_t Journal::listen(Listener listener)
{
    listeners.emplace(++lastListener, std::move(listener));
    return lastListener;
}

void Journal::forget(std::uint64_t listener)
{
    listeners.erase(listener);
}

void Journal::tell(const Event& event)
{
    for (auto next = listeners.begin(); next != listeners.end();) {
        const auto listener = next++;
        if (!listener->second(event)) {
            listeners.erase(listener);
        }
    }
}

double Journal::now() const
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace ztsim
