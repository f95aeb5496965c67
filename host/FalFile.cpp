#include "host/FalFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

std::atomic<unsigned long> tempCounter{0};

const char kTempMark[] = ".tmp.";

}  // namespace

bool falWriteAll(int fd, const char* data, size_t size, off_t offset)
{
    while (size > 0) {
        ssize_t n = ::pwrite(fd, data, size, offset);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += n;
        size -= size_t(n);
        offset += n;
    }
    return true;
}

bool falReadFile(const std::string& path, std::string& out)
{
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    out.clear();
    struct stat st {};
    if (::fstat(fd, &st) == 0 && st.st_size > 0)
        out.reserve(size_t(st.st_size));
    char buffer[65536];
    bool ok = true;
    for (;;) {
        ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            ok = false;
        if (n <= 0)
            break;
        out.append(buffer, size_t(n));
    }
    ::close(fd);
    return ok;
}

void falSyncParentDir(const std::string& path)
{
    // Some file systems refuse fsync on a directory; the entry is in place by then either way.
    size_t slash = path.rfind('/');
    std::string dir = slash == std::string::npos ? "." : path.substr(0, slash ? slash : 1);
    int dfd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd >= 0) {
        ::fsync(dfd);
        ::close(dfd);
    }
}

int falWriteFileAtomic(const std::string& path, const char* text, size_t size, bool)
{
    std::string tmp = path + kTempMark + std::to_string(getpid()) + "." + std::to_string(++tempCounter);
    int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return -1;
    bool ok = falWriteAll(fd, text, size) && ::fsync(fd) == 0;
    ok = (::close(fd) == 0) && ok;
    if (!ok || ::rename(tmp.c_str(), path.c_str()) != 0) {
        ::unlink(tmp.c_str());
        return -1;
    }
    falSyncParentDir(path);
    return 0;
}

unsigned falRemoveStaleTemporaries(const std::string& dir)
{
    DIR* d = ::opendir(dir.c_str());
    if (!d)
        return 0;
    unsigned removed = 0;
    while (dirent* e = ::readdir(d)) {
        const char* mark = strstr(e->d_name, kTempMark);
        if (!mark)
            continue;
        char* end = nullptr;
        long pid = strtol(mark + sizeof kTempMark - 1, &end, 10);
        if (end == mark + sizeof kTempMark - 1 || *end != '.')
            continue;  // not a name this library writes
        if (pid > 0 && pid != getpid() && ::kill(pid_t(pid), 0) == 0)
            continue;  // its writer still runs
        if (pid == getpid())
            continue;  // one of ours, in flight
        if (::unlinkat(::dirfd(d), e->d_name, 0) == 0)
            ++removed;
    }
    ::closedir(d);
    return removed;
}

uint32_t falCrc32(const void* data, size_t size, uint32_t crc)
{
    static const struct Table {
        uint32_t v[256];
        Table()
        {
            for (uint32_t i = 0; i < 256; ++i) {
                uint32_t c = i;
                for (int k = 0; k < 8; ++k)
                    c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
                v[i] = c;
            }
        }
    } table;
    const unsigned char* p = static_cast<const unsigned char*>(data);
    crc = ~crc;
    for (size_t i = 0; i < size; ++i)
        crc = table.v[(crc ^ p[i]) & 0xFF] ^ (crc >> 8);
    return ~crc;
}
