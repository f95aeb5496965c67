#include "host/FalRootLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "host/Logger.h"

const char* const kFalRootLockName = ".fal.lock";

namespace {

struct Held {
    std::mutex mutex;
    int fd = -1;
    dev_t dev = 0;  // the root directory's identity: any spelling of its path matches
    ino_t ino = 0;
};

Held& held()
{
    static Held* h = new Held;  // never destroyed: usable until the very end of the process
    return *h;
}

std::string lockPath(const std::string& root)
{
    return (root.empty() ? std::string(".") : root) + "/" + kFalRootLockName;
}

// The pid written in an open lock file; 0 when none.
long pidIn(int fd)
{
    char text[32] = {};
    ssize_t n = pread(fd, text, sizeof text - 1, 0);
    return n > 0 ? strtol(text, nullptr, 10) : 0;
}

void releaseLocked(Held& h)
{
    if (h.fd >= 0)
        close(h.fd);  // closing the last descriptor releases the flock
    h.fd = -1;
}

}  // namespace

bool falHoldRootLock(const std::string& root, std::string& error)
{
    const std::string dir = root.empty() ? "." : root;
    struct stat st;
    if (stat(dir.c_str(), &st) != 0) {
        if (errno == ENOENT) {
            falReleaseRootLock();
            return true;  // no root, no database: nothing to protect yet
        }
        error = "cannot open the root " + dir + ": " + strerror(errno);
        return false;
    }
    Held& h = held();
    std::lock_guard<std::mutex> guard(h.mutex);
    if (h.fd >= 0 && h.dev == st.st_dev && h.ino == st.st_ino)
        return true;
    releaseLocked(h);
    struct stat db;
    if (stat((dir + "/db").c_str(), &db) != 0 && errno == ENOENT)
        return true;  // no database: nothing to protect yet

    const std::string path = lockPath(dir);
    int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    if (fd < 0) {
        error = "cannot open the lock file " + path + ": " + strerror(errno);
        return false;
    }
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        int why = errno;
        long pid = pidIn(fd);
        close(fd);
        if (why == EWOULDBLOCK) {
            error = "the root " + dir + " is in use by process " + (pid > 0 ? std::to_string(pid) : "?") +
                    " (only one fald or falctl may open a root at a time; " + path + ")";
        } else {
            error = "cannot lock " + path + ": " + strerror(why);
        }
        return false;
    }
    std::string pid = std::to_string(static_cast<long>(getpid())) + "\n";
    if (ftruncate(fd, 0) != 0 || pwrite(fd, pid.data(), pid.size(), 0) != static_cast<ssize_t>(pid.size())) {
        error = "cannot write " + path + ": " + strerror(errno);
        close(fd);
        return false;
    }
    h.fd = fd;
    h.dev = st.st_dev;
    h.ino = st.st_ino;
    return true;
}

bool falHoldRootLock(const std::string& root)
{
    std::string error;
    if (falHoldRootLock(root, error))
        return true;
    Logger::print(LOG_TYPE_ERROR, LOG_GROUP_NETWORK, "database: %s\n", error.c_str());
    return false;
}

void falReleaseRootLock()
{
    Held& h = held();
    std::lock_guard<std::mutex> guard(h.mutex);
    releaseLocked(h);
}

long falRootLockHolder(const std::string& root)
{
    int fd = open(lockPath(root).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0)
        return 0;
    long pid = 0;
    if (flock(fd, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        pid = pidIn(fd);
    else
        flock(fd, LOCK_UN);
    close(fd);
    return pid;
}
