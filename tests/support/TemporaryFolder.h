#ifndef ZT_TESTS_TEMPORARYFOLDER_H
#define ZT_TESTS_TEMPORARYFOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// A folder of its own for a test, deleted with all it holds at the end.
class TemporaryFolder {
public:
    explicit TemporaryFolder(
        const std::filesystem::path& parent = std::filesystem::temp_directory_path())
    {
        std::string name = parent / "zt.XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw std::filesystem::filesystem_error("mkdtemp", name, {});
        }
        path = name;
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path); }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// Returns the path of "name" in the folder.
    std::string operator/(const std::string& name) const { return path / name; }

private:
    std::filesystem::path path;
};

inline void writeAll(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary) << content;
}

inline std::string readAll(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

#endif
