// The store side by side with SQLite, and reads beside a writer. Plain main, run by
// bench/store.sh; every comparison is interleaved in one run (the machine is shared and noisy).
//
//   store_bench saves N ROUNDS   one device's name changed and saved in a gateway document of N
//                                devices, against SQLite (WAL, synchronous=FULL) updating one
//                                row of an N-row table in the same directory: saves/s, median and
//                                bytes passed to write() per save
//   store_bench readers SECONDS  16 threads reading the 256-device list (lock, clone, unlock),
//                                alone and while one thread keeps changing the gateway document
//   store_bench listread COUNT   COUNT device-list reads through the gateway family (for
//                                callgrind: the difference of two counts is the cost per read)

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "BenchDocs.h"
#include "gateway/FalGatewayLdb.h"
#include "host/LocalDbCtrl.h"
#include "host/TreeMapObject.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr unsigned kGateway = 0;

// Bytes this process has passed to write() and its kin so far.
unsigned long long writtenBytes()
{
    std::ifstream io("/proc/self/io");
    std::string key;
    unsigned long long value = 0;
    while (io >> key >> value)
        if (key == "wchar:")
            return value;
    return 0;
}

std::string makeRoot(int devices)
{
    char tmpl[] = "/var/tmp/fal_store_bench.XXXXXX";  // on disk, not tmpfs: fsync must cost
    if (!mkdtemp(tmpl)) {
        perror("mkdtemp");
        exit(1);
    }
    std::string dir = tmpl;
    mkdir((dir + "/db").c_str(), 0755);
    std::ofstream(dir + "/db/gateway.json") << benchGatewayText(devices);
    return dir;
}

struct Sqlite {
    sqlite3* db = nullptr;
    sqlite3_stmt* update = nullptr;

    Sqlite(const std::string& dir, int devices)
    {
        if (sqlite3_open((dir + "/bench.sqlite").c_str(), &db) != SQLITE_OK)
            exit(1);
        exec("PRAGMA journal_mode=WAL");
        exec("PRAGMA synchronous=FULL");
        exec("CREATE TABLE devices(id INTEGER PRIMARY KEY, name TEXT, mac TEXT, ip TEXT, host TEXT, "
             "connected INTEGER, interface TEXT, path TEXT, type TEXT, rssi INTEGER, rate INTEGER, last TEXT)");
        exec("BEGIN");
        for (int i = 0; i < devices; ++i) {
            char sql[512];
            std::snprintf(sql, sizeof sql,
                          "INSERT INTO devices VALUES(%d,'Device %d','A4:5E:60:%02X:%02X:%02X','192.168.1.%d',"
                          "'host-%04d',%d,'wifi','2.4G-1','phone',%d,%d,'2024-05-01T00:00:00Z')",
                          i + 1, i + 1, (i >> 16) & 0xff, (i >> 8) & 0xff, i & 0xff, 2 + i % 250, i, i % 3 != 0,
                          -40 - i % 45, 144 + (i % 7) * 120);
            exec(sql);
        }
        exec("COMMIT");
        sqlite3_prepare_v2(db, "UPDATE devices SET name=?1 WHERE id=4", -1, &update, nullptr);
    }
    ~Sqlite()
    {
        sqlite3_finalize(update);
        sqlite3_close(db);
    }
    void exec(const char* sql)
    {
        char* error = nullptr;
        if (sqlite3_exec(db, sql, nullptr, nullptr, &error) != SQLITE_OK) {
            std::fprintf(stderr, "sqlite: %s\n", error ? error : "?");
            exit(1);
        }
    }
    void save(const char* name)
    {
        sqlite3_bind_text(update, 1, name, -1, SQLITE_STATIC);
        if (sqlite3_step(update) != SQLITE_DONE)
            exit(1);
        sqlite3_reset(update);
    }
};

void falSave(const char* name)
{
    TreeMapObject* h = LocalDbCtrl::lockDbObject(kGateway, "connectedDevices", "bench");
    if (!h)
        exit(1);
    h->set<const char*>("[3].name", name);
    delete h;
    int rc = LocalDbCtrl::saveDbObject(kGateway, "bench");
    LocalDbCtrl::unlockDbObject(kGateway, "bench");
    if (rc != 0)
        exit(1);
}

struct Series {
    std::vector<double> ms;
    unsigned long long bytes = 0;
    double seconds = 0;
    double median()
    {
        std::sort(ms.begin(), ms.end());
        return ms.empty() ? 0 : ms[ms.size() / 2];
    }
};

template <typename F>
void timed(Series& s, F&& f)
{
    unsigned long long before = writtenBytes();
    auto t0 = Clock::now();
    f();
    double ms = std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
    s.bytes += writtenBytes() - before;
    s.ms.push_back(ms);
    s.seconds += ms / 1000;
}

int saves(int devices, int rounds)
{
    std::string dir = makeRoot(devices);
    LocalDbCtrl::setRoot(dir);
    Sqlite sql(dir, devices);
    Series fal, lite;
    falSave("warm-up");
    sql.save("warm-up");
    char name[32];
    for (int r = 0; r < rounds; ++r) {
        // Alternate which side goes first, so neither always follows the other's fsync.
        for (int side = 0; side < 2; ++side) {
            std::snprintf(name, sizeof name, "name-%d", r);
            if ((side ^ r) & 1)
                timed(fal, [&] { falSave(name); });
            else
                timed(lite, [&] { sql.save(name); });
        }
    }
    LocalDbCtrl::reset();
    LocalDbCtrl::setRoot(".");
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    double falRate = fal.ms.size() / fal.seconds, liteRate = lite.ms.size() / lite.seconds;
    std::printf("| %d | %.0f | %.2f | %llu | %.0f | %.2f | %llu | %.2fx |\n", devices, falRate, fal.median(),
                fal.bytes / fal.ms.size(), liteRate, lite.median(), lite.bytes / lite.ms.size(), falRate / liteRate);
    return 0;
}

int readers(double seconds)
{
    std::string dir = makeRoot(256);
    LocalDbCtrl::setRoot(dir);
    std::atomic<bool> stop{false}, writing{false};
    std::atomic<unsigned long> reads{0}, writes{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 16; ++i)
        threads.emplace_back([&, i] {
            std::string who = "reader-" + std::to_string(i);
            while (!stop) {
                TreeMapObject* h = LocalDbCtrl::lockDbObject(kGateway, "connectedDevices", who.c_str());
                TreeMapObject* copy = h ? h->clone(nullptr) : nullptr;
                delete h;
                LocalDbCtrl::unlockDbObject(kGateway, who.c_str());
                delete copy;
                ++reads;
            }
        });
    threads.emplace_back([&] {
        unsigned n = 0;
        while (!stop) {
            if (!writing) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                continue;
            }
            falSave((n++ & 1) ? "Living room TV" : "Kitchen tablet");
            ++writes;
        }
    });
    double alone = 0, beside = 0, aloneTime = 0, besideTime = 0;
    unsigned long written = 0;
    for (int phase = 0; phase < 6; ++phase) {
        bool withWriter = phase & 1;
        writing = withWriter;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));  // settle
        unsigned long r0 = reads, w0 = writes;
        auto t0 = Clock::now();
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds / 6));
        double t = std::chrono::duration<double>(Clock::now() - t0).count();
        (withWriter ? beside : alone) += double(reads - r0);
        (withWriter ? besideTime : aloneTime) += t;
        if (withWriter)
            written += writes - w0;
    }
    stop = true;
    for (std::thread& t : threads)
        t.join();
    LocalDbCtrl::reset();
    LocalDbCtrl::setRoot(".");
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    double a = alone / aloneTime, b = beside / besideTime;
    std::printf("| 16 readers, 256 devices | alone %.0f reads/s | beside a writer %.0f reads/s (%.0f saves/s) | "
                "loss %.1f%% |\n",
                a, b, written / besideTime, 100 * (1 - b / a));
    return 0;
}

int listread(int count)
{
    std::string dir = makeRoot(256);
    LocalDbCtrl::setRoot(dir);
    {
        FalGatewayLdb gateway;
        for (int i = 0; i < count; ++i) {
            _FAL_REQ_T req;
            req.apiType = kGateway;
            req.requester = "bench";
            _FAL_RSP_T* rsp = gateway.GatewayDevicesList(&req);
            if (!rsp || !rsp->data || rsp->data->len() != 256) {
                std::fprintf(stderr, "the device list read failed\n");
                exit(1);
            }
            freeFalResponse(rsp);
        }
    }
    LocalDbCtrl::reset();
    LocalDbCtrl::setRoot(".");
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "saves" && argc > 3)
        return saves(atoi(argv[2]), atoi(argv[3]));
    if (mode == "readers" && argc > 2)
        return readers(atof(argv[2]));
    if (mode == "listread" && argc > 2)
        return listread(atoi(argv[2]));
    std::fprintf(stderr, "usage: store_bench saves N ROUNDS | readers SECONDS | listread COUNT\n");
    return 2;
}
