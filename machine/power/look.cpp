// look ext4 RECORD FOLDER FILE DEVICE
// look ubifs RECORD FOLDER: makes each image of the RECORD, as machine/power/cut writes it, mounts
// it at FOLDER and looks at the files of the scenarios. DEVICE leads to FILE.
//
// The RECORD is the size of the image and the image, then events. Numbers are of 32 bits.
//
//     W offset size bytes         these are written
//     M size text                 a mark of machine/power/record
//     P                           the power is lost: look
//     V count {offset size bytes} the same, and these have come to be something else
//     E                           the end

#include "Medium.h"
#include "Scenario.h"

#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>

namespace fs = std::filesystem;

namespace {

const char* const NO_FILE = "no file";

std::string contentAt(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return file ? std::string(std::istreambuf_iterator<char>(file), {}) : NO_FILE;
}

class Reader {
public:
    explicit Reader(const std::string& path) : file(path, std::ios::binary)
    {
        file.exceptions(std::ios::failbit | std::ios::badbit);
    }

    char kind() { return static_cast<char>(file.get()); }

    std::uint32_t number()
    {
        std::uint32_t value = 0;
        file.read(reinterpret_cast<char*>(&value), sizeof value);
        return value;
    }

    std::string text()
    {
        std::string bytes(number(), '\0');
        file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return bytes;
    }

    void writeTo(Image& image)
    {
        const std::uint32_t offset = number();
        const std::uint32_t size = number();
        file.read(&image.at(offset), size);
    }

private:
    std::ifstream file;
};

// Knows by the marks what must be on the medium.
class Observer {
public:
    void hear(const std::string& mark)
    {
        const std::size_t blank = mark.find(' ');
        events[mark.substr(0, blank)].insert(mark.substr(blank + 1));
        last = mark;
    }

    void countImage() { ++images; }

    void lookAt(const fs::path& medium)
    {
        for (const Scenario& scenario : scenarios()) {
            if (has("start", scenario.name)) {
                lookAt(scenario, medium / scenario.name);
            }
        }
    }

    void fail(const std::string& what)
    {
        ++failures;
        std::printf("image %u, after \"%s\": %s\n", images, last.c_str(), what.c_str());
    }

    int conclude() const
    {
        std::printf("%u images, %u with a file in part, %u with the source of a finished move, "
                    "%u failures\n",
                    images, partial, undone, failures);
        return failures == 0 ? 0 : 1;
    }

private:
    bool has(const std::string& event, const std::string& name) const
    {
        const auto found = events.find(event);
        return found != events.end() && found->second.count(name) == 1;
    }

    void lookAt(const Scenario& scenario, const fs::path& folder)
    {
        const bool finished = has("finished", scenario.name + " 0");
        bool isPartial = false;
        bool isUndone = false;
        for (const auto& [name, size] : scenario.sizes) {
            const std::string what = scenario.name + ", " + name;
            const std::string content = contentOf(scenario.name + name, size);
            const std::string source = contentAt(folder / "source" / name);
            const std::string target = contentAt(folder / "target" / name);
            const bool isSourceThere = source != NO_FILE;
            const bool isWhole = target == targetOf(scenario, content);
            if (isSourceThere && source != content) {
                fail(what + ": the source is not what it was");
            }
            if (!isSourceThere && (scenario.keepsSource || !isWhole)) {
                fail(what + ": lost");
            }
            if (has("delete", scenario.name + '/' + name) && !isWhole) {
                fail(what + ": its source is deleted before it is on the medium");
            }
            if (finished && !isWhole) {
                fail(what + ": finished and not on the medium");
            }
            if (isSourceThere && !scenario.keepsSource && has("synced", scenario.name)) {
                fail(what + ": still there after sync()");
            }
            isPartial = isPartial || (!isWhole && target != NO_FILE &&
                                      target != std::string(scenario.oldTargetSize, 'o'));
            isUndone = isUndone || (isSourceThere && finished && !scenario.keepsSource);
        }
        partial += isPartial ? 1U : 0U;
        undone += isUndone ? 1U : 0U;
    }

    std::map<std::string, std::set<std::string>> events;
    std::string last;
    unsigned int images = 0;
    unsigned int partial = 0;
    unsigned int undone = 0;
    unsigned int failures = 0;
};

void lookAt(const Image& image, Medium& medium, const fs::path& folder, Observer& observer)
{
    observer.countImage();
    try {
        medium.mountImage(image);
        observer.lookAt(folder);
    } catch (const std::exception& exception) {
        observer.fail(exception.what());
    }
    medium.unmount();
}

int look(Reader& record, Image& image, Medium& medium, const fs::path& folder)
{
    Observer observer;
    for (char kind = record.kind(); kind != 'E'; kind = record.kind()) {
        if (kind == 'W') {
            record.writeTo(image);
        } else if (kind == 'M') {
            observer.hear(record.text());
        } else if (kind == 'P') {
            lookAt(image, medium, folder, observer);
        } else {
            Image other = image;
            for (std::uint32_t left = record.number(); left > 0; --left) {
                record.writeTo(other);
            }
            lookAt(other, medium, folder, observer);
        }
    }
    return observer.conclude();
}

} // namespace

int main(int count, char** arguments)
try {
    const std::string kind = count > 3 ? arguments[1] : "";
    if (!(kind == "ext4" && count == 6) && !(kind == "ubifs" && count == 4)) {
        std::fputs("Usage: look ext4 RECORD FOLDER FILE DEVICE, look ubifs RECORD FOLDER\n",
                   stderr);
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    Reader record(arguments[2]);
    Image image(record.number());
    record.writeTo(image); // the whole image, from its offset 0
    std::unique_ptr<Medium> medium;
    if (kind == "ext4") {
        medium =
            std::make_unique<Ext4Medium>(arguments[4], arguments[5], arguments[3], image.size());
    } else {
        medium = std::make_unique<UbifsMedium>(arguments[3]);
    }
    return look(record, image, *medium, arguments[3]);
} catch (const std::exception& exception) {
    std::fprintf(stderr, "look: %s\n", exception.what());
    return 1;
}
