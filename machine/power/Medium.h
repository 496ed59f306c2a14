#ifndef ZT_POWER_MEDIUM_H
#define ZT_POWER_MEDIUM_H

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <mtd/ubi-user.h>
#include <stdexcept>
#include <string>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <unistd.h>
#include <vector>

using Image = std::vector<char>;

inline void require(bool isSo, const std::string& what)
{
    if (!isSo) {
        throw std::runtime_error(what + ": " + std::strerror(errno));
    }
}

inline int openOrThrow(const std::string& path)
{
    const int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
    require(fd != -1, path);
    return fd;
}

/// What takes the image that a loss of power has left, and mounts it as the next start does.
class Medium {
public:
    explicit Medium(std::string folder) : folder(std::move(folder)) {}
    virtual ~Medium() = default;

    Medium(const Medium&) = delete;
    Medium& operator=(const Medium&) = delete;

    /// Throws if the file system cannot be mounted, or is mounted still.
    virtual void mountImage(const Image& image) = 0;

    /// Also after that.
    virtual void unmount() { umount(folder.c_str()); }

protected:
    const std::string folder;
};

/// A file of that size, which a loop device leads to.
class Ext4Medium : public Medium {
public:
    Ext4Medium(const std::string& file, std::string device, std::string folder, std::size_t size)
        : Medium(std::move(folder)), device(std::move(device)), size(size)
    {
        const int fd = openOrThrow(file);
        void* const mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        close(fd);
        require(mapped != MAP_FAILED, file);
        content = static_cast<char*>(mapped);
    }

    ~Ext4Medium() override { munmap(content, size); }

    void mountImage(const Image& image) override
    {
        std::copy(image.begin(), image.end(), content);
        require(mount(device.c_str(), folder.c_str(), "ext4", 0, "") == 0, "mount");
    }

private:
    const std::string device;
    const std::size_t size;
    char* content;
};

/// The first partition of a NAND flash, with UBI and one volume on it.
class UbifsMedium : public Medium {
public:
    explicit UbifsMedium(std::string folder)
        : Medium(std::move(folder)), flash(openOrThrow("/dev/mtd0")),
          control(openOrThrow("/dev/ubi_ctrl"))
    {
        require(ioctl(flash, MEMGETINFO, &info) == 0, "MEMGETINFO");
    }

    ~UbifsMedium() override
    {
        close(flash);
        close(control);
    }

    void mountImage(const Image& image) override
    {
        load(image);
        ubi_attach_req request{};
        request.ubi_num = 0;
        request.mtd_num = 0;
        request.vid_hdr_offset = static_cast<int>(info.writesize);
        require(ioctl(control, UBI_IOCATT, &request) == 0, "attach");
        require(mount("ubi0_0", folder.c_str(), "ubifs", 0, "") == 0, "mount");
    }

    void unmount() override
    {
        Medium::unmount();
        const int number = 0;
        ioctl(control, UBI_IOCDET, &number);
    }

private:
    void load(const Image& image)
    {
        std::vector<char> present(info.erasesize);
        for (std::size_t start = 0; start < image.size(); start += info.erasesize) {
            const char* const wanted = &image[start];
            require(pread(flash, present.data(), present.size(), static_cast<off_t>(start)) ==
                        static_cast<ssize_t>(present.size()),
                    "read");
            if (!std::equal(present.begin(), present.end(), wanted)) {
                writeBlock(start, wanted);
            }
        }
    }

    void writeBlock(std::size_t start, const char* content)
    {
        const erase_info_user block{static_cast<unsigned int>(start), info.erasesize};
        require(ioctl(flash, MEMERASE, &block) == 0, "erase");
        for (std::size_t page = 0; page < info.erasesize; page += info.writesize) {
            const char* const from = content + page;
            if (std::any_of(from, from + info.writesize,
                            [](char byte) { return byte != '\xff'; })) {
                require(pwrite(flash, from, info.writesize, static_cast<off_t>(start + page)) ==
                            static_cast<ssize_t>(info.writesize),
                        "write");
            }
        }
    }

    const int flash;
    const int control;
    mtd_info_user info{};
};

#endif
