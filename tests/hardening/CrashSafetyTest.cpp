// Crash safety: `falctl batch` is fed a stream of writes and killed with SIGKILL at random moments.
// After each kill every document on disk (snapshot and journal) parses and is the state before or
// after the write in flight; acknowledged writes are on disk. The expected states come from a
// shadow database in this process that runs the same lines through the same batch protocol.
//
// The child folds its journals into the snapshots after a few hundred bytes, so kills also land
// in the middle of a fold; radio changes write the wifi and the gateway documents, so kills also
// land between the two saves of one operation (each document is then before or after on its
// own: the pair is not atomic).

#ifdef FALCTL_PATH

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>

#include "hardening/HardeningSupport.h"
#include "support/FalTest.h"
#include "tools/common/FalBatch.h"
#include "tools/common/FalRoot.h"
#include "support/FalFiles.h"

namespace {

constexpr unsigned kRounds = 40;

// The n-th write of the stream: device renames, MAC-filtering rules added and cleared, radio
// changes (which also write the gateway's connectivity), firewall settings.
std::string writeLine(std::mt19937& rng, unsigned n)
{
    const std::string k = std::to_string(n);
    switch (rng() % 6) {
    case 0:
    case 1:
        return "{\"family\":\"gateway\",\"op\":\"GatewayDevicesUpdate\",\"params\":[[\"@deviceId\",\"" +
               std::to_string(rng() % 6) + "\"]],\"body\":{\"deviceName\":\"device-" + k +
               "\",\"type\":\"type-" + k + "\"}}";
    case 2:
        return "{\"family\":\"service\",\"op\":\"ServiceMacfilteringCreate\",\"body\":{\"active\":false,"
               "\"deviceId\":2,\"name\":\"rule-" + k + "\",\"macAddress\":\"02:00:00:00:00:02\"}}";
    case 3:
        return rng() % 4 ? "{\"family\":\"service\",\"op\":\"ServiceMacfilteringCreate\",\"body\":{\"active\":false,"
                           "\"deviceId\":3,\"name\":\"rule-" + k + "\"}}"
                         : "{\"family\":\"service\",\"op\":\"ServiceMacfilteringDeleteAll\"}";
    case 4: {
        static const char* const powers[] = {"high", "medium", "low"};
        return "{\"family\":\"wifi\",\"op\":\"WifiRadioChange\",\"params\":[[\"@interfaceId\",\"" +
               std::to_string(rng() % 2) + "\"]],\"body\":{\"basic\":{\"outputPower\":\"" + powers[rng() % 3] +
               "\",\"channel\":" + std::to_string(1 + rng() % 11) + "}}}";
    }
    default:
        return "{\"family\":\"security\",\"op\":\"SecurityFirewallUpdate\",\"body\":{\"level\":\"level-" + k +
               "\",\"active\":" + (rng() % 2 ? "true" : "false") + "}}";
    }
}

// falctl batch on a root, with pipes for its standard input and output.
struct Child {
    pid_t pid = -1;
    FILE* in = nullptr;
    FILE* out = nullptr;

    explicit Child(const std::string& root)
    {
        int toChild[2], fromChild[2];
        if (pipe(toChild) != 0 || pipe(fromChild) != 0)
            return;
        fflush(nullptr);
        pid = fork();
        if (pid == 0) {
            dup2(toChild[0], 0);
            dup2(fromChild[1], 1);
            int null = open("/dev/null", O_WRONLY);
            dup2(null, 2);
            for (int fd : {toChild[0], toChild[1], fromChild[0], fromChild[1], null})
                close(fd);
            setenv("FAL_JOURNAL_LIMIT", "600", 1);
            execl(FALCTL_PATH, FALCTL_PATH, "--root", root.c_str(), "batch", (char*)nullptr);
            _exit(127);
        }
        close(toChild[0]);
        close(fromChild[1]);
        in = fdopen(toChild[1], "w");
        out = fdopen(fromChild[0], "r");
    }

    bool send(const std::string& line)
    {
        return fputs((line + "\n").c_str(), in) >= 0 && fflush(in) == 0;
    }

    // The next answer line; false at the end of the output.
    bool answer(std::string& line)
    {
        char* buffer = nullptr;
        size_t capacity = 0;
        ssize_t n = getline(&buffer, &capacity, out);
        if (n > 0)
            line.assign(buffer, size_t(n) - (buffer[n - 1] == '\n' ? 1 : 0));
        free(buffer);
        return n > 0;
    }

    // Kills the process and returns its wait status.
    int kill()
    {
        int status = 0;
        if (pid > 0) {
            ::kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            pid = -1;
        }
        if (in)
            fclose(in);
        in = nullptr;
        return status;
    }

    ~Child()
    {
        kill();
        if (out)
            fclose(out);
    }
};

class CrashSafetyTest : public FalDbTest {
protected:
    void SetUp() override
    {
        FalDbTest::SetUp();
        oldPipe_ = signal(SIGPIPE, SIG_IGN);
        childRoot_ = root_ + "/child";
        std::string why;
        ASSERT_TRUE(falPrepareRoot(childRoot_, why)) << why;
        for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t)
            seed(t, hardeningFactoryDocument(t));
    }
    void TearDown() override
    {
        signal(SIGPIPE, oldPipe_);
        FalDbTest::TearDown();
    }

    // The shadow's documents, canonical.
    std::vector<std::string> shadow()
    {
        std::vector<std::string> docs;
        for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t)
            docs.push_back(canon(inMemory(t)));
        return docs;
    }

    // The child's documents on disk, canonical ("" for one that does not parse).
    std::vector<std::string> childDisk()
    {
        std::vector<std::string> docs;
        for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t)
        {
            std::unique_ptr<TreeMapObject> doc(LocalDbCtrl::storedDocument(t, childRoot_.c_str()));
            docs.push_back(doc ? canon(doc->toJsonString()) : "");
        }
        return docs;
    }

    // Makes the shadow hold the child's documents.
    void adopt(const std::vector<std::string>& docs)
    {
        for (unsigned t = 0; t < docs.size(); ++t) {
            std::unique_ptr<TreeMapObject> doc(TreeMapObject::parse(docs[t].c_str()));
            ASSERT_EQ(LocalDbCtrl::replaceDocument(t, doc.get()), 0);
        }
    }

    std::string childRoot_;
    sighandler_t oldPipe_ = SIG_DFL;
};

TEST_F(CrashSafetyTest, KilledBatchLeavesAcknowledgedOrInFlightState)
{
    std::mt19937 rng(20240611);
    FalBatchProcessor shadowProcessor;
    unsigned line = 0, acknowledged = 0, killedInFlight = 0, killedInFileWrite = 0, killedInPair = 0;

    for (unsigned round = 0; round < kRounds; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        Child child(childRoot_);
        ASSERT_GT(child.pid, 0);
        std::vector<std::string> before = shadow(), after = before;
        bool inFlight = false;
        std::string write;
        for (;;) {
            write = writeLine(rng, line++);
            before = after;
            const std::string expected = *shadowProcessor.process(write);
            after = shadow();
            ASSERT_TRUE(child.send(write));
            if (rng() % 6 == 0) {  // kill while the write may be running
                usleep(rng() % 4000);
                inFlight = true;
                break;
            }
            std::string answer;
            ASSERT_TRUE(child.answer(answer)) << "falctl ended early at " << write;
            EXPECT_EQ(answer, expected) << write;
            ++acknowledged;
        }
        const pid_t pid = child.pid;
        const int status = child.kill();
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "falctl ended on its own: " << status;
        std::string answer;
        const bool answered = child.answer(answer);
        if (!answered) {
            ++killedInFlight;
            if (write.find("WifiRadioChange") != std::string::npos)
                ++killedInPair;  // between or around the wifi and the gateway saves
        }
        // A temporary file of the killed process: the kill cut a whole-file write (a fold of the
        // journal into the snapshot, or a new journal). The next process to open the root removes it.
        const std::string mark = ".tmp." + std::to_string(pid) + ".";
        for (const auto& entry : std::filesystem::directory_iterator(childRoot_ + "/db"))
            if (entry.path().filename().string().find(mark) != std::string::npos) {
                ++killedInFileWrite;
                break;
            }

        const std::vector<std::string> disk = childDisk();
        for (unsigned t = 0; t < disk.size(); ++t) {
            const char* name = LocalDbCtrl::documentName(t);
            ASSERT_NE(disk[t], "") << "the " << name << " document does not parse after the kill";
            if (answered || !inFlight)
                EXPECT_EQ(disk[t], after[t]) << "the acknowledged " << name << " document is not on disk";
            else
                EXPECT_TRUE(disk[t] == before[t] || disk[t] == after[t])
                    << "the " << name << " document is neither before nor after the write in flight";
        }
        adopt(disk);
    }
    printf("crash safety: %u kill rounds survived, %u writes acknowledged, %u kills before the answer (%u in a "
           "two-document operation), %u in the middle of a whole-file write\n",
           kRounds, acknowledged, killedInFlight, killedInPair, killedInFileWrite);
}

}  // namespace

#endif  // FALCTL_PATH
