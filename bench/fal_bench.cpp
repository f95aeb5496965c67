// Benchmarks of the host database services against the bare work they wrap.
//
//   BM_LockCloneUnlock/N   lock "connectedDevices", clone it, release   vs  BM_BareDeepCopy/N
//   BM_ChangeSaveCycle     lock, change one device name, save, unlock     vs  BM_BareWrite
//   BM_LockUnlockUncontended / BM_LockUnlockKey: the lock round trip alone.
//
// Every benchmark runs on its own temporary root holding a gateway document whose
// "connectedDevices" array has N devices. bench/run.sh builds, runs and prints the ratios.

#include <benchmark/benchmark.h>
#include <json-c/json.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "BenchDocs.h"
#include "host/LocalDbCtrl.h"
#include "host/TreeMapObject.h"

namespace {

constexpr unsigned kGateway = 0;  // API type of db/gateway.json
constexpr const char* kRequester = "bench";
constexpr int kSaveDeviceCount = 256;

// The text flags the database writes documents with.
constexpr int kSaveFlags = JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_NOSLASHESCAPE;

bool writeFile(const std::string& path, const std::string& text)
{
    FILE* f = std::fopen(path.c_str(), "w");
    if (!f) return false;
    bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    return std::fclose(f) == 0 && ok;
}

// A temporary root whose db/gateway.json holds `devices` devices; the database points at it for
// the benchmark's lifetime and is reset and removed afterwards.
class BenchRoot {
public:
    explicit BenchRoot(int devices) : text_(benchGatewayText(devices))
    {
        char tmpl[] = "/tmp/fal_bench.XXXXXX";
        if (!mkdtemp(tmpl)) return;
        dir_ = tmpl;
        if (mkdir((dir_ + "/db").c_str(), 0755) != 0) return;
        // The JSON text the database itself would write, so the first save has nothing to reformat.
        json_object* doc = json_tokener_parse(text_.c_str());
        if (!doc) return;
        std::string pretty = json_object_to_json_string_ext(doc, kSaveFlags);
        json_object_put(doc);
        if (!writeFile(documentFile(), pretty)) return;
        LocalDbCtrl::reset();
        LocalDbCtrl::setRoot(dir_);
        ok_ = true;
    }

    ~BenchRoot()
    {
        LocalDbCtrl::releaseAllHeld();
        LocalDbCtrl::reset();
        LocalDbCtrl::setRoot(".");
        if (!dir_.empty()) {
            std::error_code ec;
            std::filesystem::remove_all(dir_, ec);
        }
    }

    BenchRoot(const BenchRoot&) = delete;
    BenchRoot& operator=(const BenchRoot&) = delete;

    bool ok() const { return ok_; }
    const std::string& dir() const { return dir_; }
    const std::string& text() const { return text_; }

private:
    std::string documentFile() const { return dir_ + "/db/gateway.json"; }

    std::string text_;
    std::string dir_;
    bool ok_ = false;
};

// Loads the document into the cache so that the timed loop never includes the first read.
bool warmUp(benchmark::State& state, const BenchRoot& root)
{
    if (!root.ok()) {
        state.SkipWithError("cannot create the temporary root");
        return false;
    }
    TreeMapObject* h = LocalDbCtrl::lockDbObject(kGateway, "connectedDevices", kRequester);
    if (!h) {
        state.SkipWithError("lockDbObject(gateway, connectedDevices) failed");
        return false;
    }
    bool isArray = h->isArray();
    delete h;
    LocalDbCtrl::unlockDbObject(kGateway, kRequester);
    if (!isArray) {
        state.SkipWithError("connectedDevices is not an array");
        return false;
    }
    return true;
}

// --- 1. reads ------------------------------------------------------------------------------------

void BM_LockCloneUnlock(benchmark::State& state)
{
    const int devices = static_cast<int>(state.range(0));
    BenchRoot root(devices);
    if (!warmUp(state, root)) return;
    for (auto _ : state) {
        TreeMapObject* h = LocalDbCtrl::lockDbObject(kGateway, "connectedDevices", kRequester);
        if (!h) {
            state.SkipWithError("lockDbObject failed");
            break;
        }
        TreeMapObject* copy = h->clone(nullptr);
        benchmark::DoNotOptimize(copy);
        delete copy;
        delete h;
        LocalDbCtrl::unlockDbObject(kGateway, kRequester);
    }
    state.SetItemsProcessed(state.iterations() * devices);
    state.counters["devices"] = devices;
}

void BM_BareDeepCopy(benchmark::State& state)
{
    const int devices = static_cast<int>(state.range(0));
    json_object* doc = json_tokener_parse(benchGatewayText(devices).c_str());
    json_object* array = nullptr;
    if (!doc || !json_object_object_get_ex(doc, "connectedDevices", &array)) {
        state.SkipWithError("cannot parse the document");
        json_object_put(doc);
        return;
    }
    for (auto _ : state) {
        json_object* copy = nullptr;
        if (json_object_deep_copy(array, &copy, nullptr) != 0) {
            state.SkipWithError("json_object_deep_copy failed");
            break;
        }
        benchmark::DoNotOptimize(copy);
        json_object_put(copy);
    }
    json_object_put(doc);
    state.SetItemsProcessed(state.iterations() * devices);
    state.counters["devices"] = devices;
}

// --- 2. saves ------------------------------------------------------------------------------------

void BM_ChangeSaveCycle(benchmark::State& state)
{
    BenchRoot root(kSaveDeviceCount);
    if (!warmUp(state, root)) return;
    const std::string path = LocalDbCtrl::documentPath(kGateway);
    unsigned n = 0;
    for (auto _ : state) {
        TreeMapObject* h = LocalDbCtrl::lockDbObject(kGateway, "connectedDevices", kRequester);
        if (!h) {
            state.SkipWithError("lockDbObject failed");
            break;
        }
        // Alternate the value so that every save writes a changed document.
        h->set<const char*>("[3].name", (n++ & 1) ? "Living room TV" : "Kitchen tablet");
        delete h;
        int rc = LocalDbCtrl::saveDbObject(kGateway, kRequester);
        LocalDbCtrl::unlockDbObject(kGateway, kRequester);
        if (rc != 0) {
            state.SkipWithError("saveDbObject failed");
            break;
        }
    }
    struct stat st {};
    if (stat(path.c_str(), &st) == 0) {
        state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(st.st_size));
        state.counters["fileBytes"] = static_cast<double>(st.st_size);
    }
    state.counters["devices"] = kSaveDeviceCount;
}

// The same document written the way a careful writer does it by hand: text, temporary file,
// write, fsync, close, rename, fsync of the directory.
void BM_BareWrite(benchmark::State& state)
{
    BenchRoot root(kSaveDeviceCount);
    if (!root.ok()) {
        state.SkipWithError("cannot create the temporary root");
        return;
    }
    json_object* doc = json_tokener_parse(root.text().c_str());
    if (!doc) {
        state.SkipWithError("cannot parse the document");
        return;
    }
    const std::string dbDir = root.dir() + "/db";
    const std::string target = dbDir + "/bare.json";
    const std::string tmp = target + ".tmp";
    size_t bytes = 0;
    for (auto _ : state) {
        const char* text = json_object_to_json_string_ext(doc, kSaveFlags);
        size_t len = std::strlen(text);
        bytes = len;
        int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (fd < 0) {
            state.SkipWithError("open failed");
            break;
        }
        bool ok = true;
        for (size_t off = 0; ok && off < len;) {
            ssize_t w = write(fd, text + off, len - off);
            if (w < 0 && errno == EINTR) continue;
            if (w <= 0) ok = false;
            else off += static_cast<size_t>(w);
        }
        ok = fsync(fd) == 0 && ok;
        ok = close(fd) == 0 && ok;
        ok = ok && rename(tmp.c_str(), target.c_str()) == 0;
        int dfd = open(dbDir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ok = ok && dfd >= 0 && fsync(dfd) == 0;
        if (dfd >= 0) close(dfd);
        if (!ok) {
            state.SkipWithError("bare write failed");
            break;
        }
    }
    json_object_put(doc);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
    state.counters["fileBytes"] = static_cast<double>(bytes);
    state.counters["devices"] = kSaveDeviceCount;
}

// --- 3. lock round trips -------------------------------------------------------------------------

void lockUnlockLoop(benchmark::State& state, const char* key)
{
    BenchRoot root(kSaveDeviceCount);
    if (!warmUp(state, root)) return;
    for (auto _ : state) {
        TreeMapObject* h = LocalDbCtrl::lockDbObject(kGateway, key, kRequester);
        if (!h) {
            state.SkipWithError("lockDbObject failed");
            break;
        }
        benchmark::DoNotOptimize(h);
        delete h;
        LocalDbCtrl::unlockDbObject(kGateway, kRequester);
    }
}

void BM_LockUnlockUncontended(benchmark::State& state) { lockUnlockLoop(state, ""); }
void BM_LockUnlockKey(benchmark::State& state) { lockUnlockLoop(state, "connectedDevices"); }

}  // namespace

BENCHMARK(BM_LockCloneUnlock)->Arg(16)->Arg(256)->Arg(4096);
BENCHMARK(BM_BareDeepCopy)->Arg(16)->Arg(256)->Arg(4096);
// fsync dominates both saves and varies from run to run: give them a longer, fixed window.
BENCHMARK(BM_ChangeSaveCycle)->MinTime(1.0)->UseRealTime();
BENCHMARK(BM_BareWrite)->MinTime(1.0)->UseRealTime();
BENCHMARK(BM_LockUnlockUncontended);
BENCHMARK(BM_LockUnlockKey);

BENCHMARK_MAIN();
