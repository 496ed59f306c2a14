#include "support/Diagnostics.h"

#include "ztutil/ZTDebug.h"

#include <ostream>
#include <utility>

bool operator==(const Line& left, const Line& right)
{
    return left.level == right.level && left.section == right.section && left.text == right.text;
}

std::ostream& operator<<(std::ostream& stream, const Line& line)
{
    return stream << line.level << ' ' << line.section << " \"" << line.text << '"';
}

Diagnostics::Diagnostics(int level)
{
    ZT::ZTDebug::setLevel(level);
    ZT::ZTDebug::setSink(&Diagnostics::onLine, this);
}

Diagnostics::~Diagnostics()
{
    ZT::ZTDebug::setSink(nullptr, nullptr);
    ZT::ZTDebug::setLevel(1);
}

std::vector<Line> Diagnostics::take()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(lines, {});
}

void Diagnostics::onLine(void* self, int level, const char* section, const char* text)
{
    auto* diagnostics = static_cast<Diagnostics*>(self);
    const std::lock_guard<std::mutex> lock(diagnostics->mutex);
    diagnostics->lines.push_back({level, section, text});
}
