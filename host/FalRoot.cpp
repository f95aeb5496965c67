#include "host/FalRoot.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#include "host/FalRootCheck.h"
#include "host/FalRootLock.h"
#include "host/LocalDbCtrl.h"
#include "host/FalDefaults.h"

namespace fs = std::filesystem;

namespace {

const char kDbPrefix[] = "db/";

// Writes a new file; fails rather than replace one that exists.
bool writeNewFile(const fs::path& path, const char* data, size_t size, std::string& error)
{
    std::error_code ec;
    fs::create_directories(path.parent_path(), ec);
    if (ec) {
        error = "cannot create " + path.parent_path().string() + ": " + ec.message();
        return false;
    }
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0) {
        error = "cannot create " + path.string() + ": " + strerror(errno);
        return false;
    }
    size_t done = 0;
    while (done < size) {
        ssize_t n = write(fd, data + done, size - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            error = "cannot write " + path.string() + ": " + strerror(errno);
            close(fd);
            return false;
        }
        done += static_cast<size_t>(n);
    }
    if (close(fd) != 0) {
        error = "cannot write " + path.string() + ": " + strerror(errno);
        return false;
    }
    return true;
}

bool pathExists(const fs::path& path)
{
    std::error_code ec;
    return fs::symlink_status(path, ec).type() != fs::file_type::not_found;
}

}  // namespace

std::string falRootDir(const char* option)
{
    if (option)
        return option;
    const char* env = getenv("FAL_ROOT");
    if (env && *env)
        return env;
    return "./gateway-root";
}

bool falPrepareRoot(const std::string& dir, std::string& error)
{
    if (dir.empty()) {
        error = "the root directory name is empty";
        return false;
    }
    const fs::path root(dir);
    std::error_code ec;
    fs::create_directories(root, ec);
    if (ec || !fs::is_directory(root, ec)) {
        error = "cannot create the root " + dir + (ec ? ": " + ec.message() : std::string(": not a directory"));
        return false;
    }
    const fs::path db = root / "db";
    if (pathExists(db))
        return true;

    // The database is written into a staging directory and renamed to db/ at the end, so that an
    // interrupted fill never leaves a db/ with documents missing.
    std::string stagingName = (root / ".db-XXXXXX").string();
    std::vector<char> stagingTemplate(stagingName.begin(), stagingName.end());
    stagingTemplate.push_back('\0');
    if (!mkdtemp(stagingTemplate.data())) {
        error = "cannot create a directory in " + dir + ": " + strerror(errno);
        return false;
    }
    const fs::path staging(stagingTemplate.data());

    bool ok = true;
    for (const FalDefaultFile* f = falDefaultFiles; ok && f->path; ++f) {
        std::string rel = f->path;
        if (rel.compare(0, sizeof(kDbPrefix) - 1, kDbPrefix) == 0) {
            ok = writeNewFile(staging / rel.substr(sizeof(kDbPrefix) - 1), f->data, f->size, error);
        } else if (!pathExists(root / rel)) {
            ok = writeNewFile(root / rel, f->data, f->size, error);
        }
    }
    if (ok) {
        fs::rename(staging, db, ec);
        // Another process may have filled the root at the same time: its database stands.
        if (ec && !pathExists(db)) {
            error = "cannot create " + db.string() + ": " + ec.message();
            ok = false;
        }
    }
    fs::remove_all(staging, ec);
    return ok;
}

bool falEnterRoot(const std::string& dir, std::string& error)
{
    if (!falPrepareRoot(dir, error))
        return false;
    if (chdir(dir.c_str()) != 0) {
        error = "cannot enter the root " + dir + ": " + strerror(errno);
        return false;
    }
    LocalDbCtrl::setRoot(".");
    // One writer per root, and only whole documents: a second host, or a damaged document, stops
    // this one before it serves anything.
    std::string why;
    if (!falHoldRootLock(".", why) || !falCheckRootDocuments(".", why)) {
        error = why;
        return false;
    }
    return true;
}
