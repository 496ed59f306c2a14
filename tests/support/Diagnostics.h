#ifndef ZT_TESTS_DIAGNOSTICS_H
#define ZT_TESTS_DIAGNOSTICS_H

#include <iosfwd>
#include <mutex>
#include <string>
#include <vector>

/// A diagnostic line as the library printed it.
struct Line {
    int level;
    std::string section;
    std::string text;
};

bool operator==(const Line& left, const Line& right);
std::ostream& operator<<(std::ostream& stream, const Line& line);

/// Collects the diagnostic lines of up to `level` that are printed during its lifetime, from any
/// thread.
class Diagnostics {
public:
    explicit Diagnostics(int level = 1);
    ~Diagnostics();

    Diagnostics(const Diagnostics&) = delete;
    Diagnostics& operator=(const Diagnostics&) = delete;

    /// The lines since the last call.
    std::vector<Line> take();

private:
    static void onLine(void* self, int level, const char* section, const char* text);

    std::mutex mutex;
    std::vector<Line> lines;
};

#endif
