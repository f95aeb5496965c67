// FTP, Samba and DLNA.
#include "mediashare/MediashareFixture.h"

namespace {

// Folder 2 is the one the updates share; the others show what happens to everything else.
const char* kShares = R"({
  "networkFolder": {"networkFolder": [
    {"id": 1, "status": "samba ftp"}, {"id": 2, "status": "-"}, {"id": 3, "status": " ftp"},
    {"id": 4}, {"id": 5, "status": "samba"}]},
  "ftp": {"active": false, "port": 21, "account": {"id": 0}, "networkFolder": {"id": 1}, "extra": 1},
  "samba": {"active": false, "connectionName": "gw", "account": {"id": 0}, "networkFolder": {"id": 1}},
  "dlna": {"active": false}
})";

}  // namespace

TEST_F(MediashareTest, FileServiceUpdatesRewriteEveryFolderStatus)
{
    struct Case {
        const char* title;
        const char* op;
        const char* body;
        std::vector<std::string> statuses;  // folders 1 to 5
    } cases[] = {
        {"ftp on for folder 2", "MediashareFtpUpdate", R"({"active": true, "networkFolder": {"id": 2}})",
         {"samba ", " ftp", "-", "-", "samba"}},
        {"ftp off for folder 1", "MediashareFtpUpdate", R"({"active": false, "networkFolder": {"id": 1}})",
         {"samba ", "-", "-", "-", "samba"}},
        {"ftp on for folder 1, which has it", "MediashareFtpUpdate",
         R"({"active": true, "networkFolder": {"id": 1}})", {"samba ftp", "-", "-", "-", "samba"}},
        {"ftp on for folder 4, which has no status", "MediashareFtpUpdate",
         R"({"active": true, "networkFolder": {"id": 4}})", {"samba ", "-", "-", " ftp", "samba"}},
        {"samba on for folder 3", "MediashareSambaUpdate", R"({"active": true, "networkFolder": {"id": 3}})",
         {" ftp", "-", " ftp samba", "-", "-"}},
        {"samba off for folder 5", "MediashareSambaUpdate", R"({"active": false, "networkFolder": {"id": 5}})",
         {" ftp", "-", "ftp", "-", "-"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.title);
        seed(API_TYPE_MEDIASHARE, kShares);
        expectAnswer(call(c.op, {}, c.body), FAL_OK, kFine, c.op);
        for (size_t i = 0; i < c.statuses.size(); ++i)
            EXPECT_EQ(stored(("networkFolder.networkFolder.[" + std::to_string(i) + "].status").c_str()),
                      "\"" + c.statuses[i] + "\"")
                << "folder " << i + 1;
    }
}

TEST_F(MediashareTest, FileServiceUpdateStoresItsMembersWhole)
{
    seed(API_TYPE_MEDIASHARE, kShares);
    expectAnswer(call("MediashareFtpUpdate", {}, R"({"active": true, "port": "2121", "networkFolder": {"id": 2,
                      "name": "x"}, "connectionName": "ignored"})"),
                 FAL_OK, kFine, "MediashareFtpUpdate");
    EXPECT_EQ(stored("ftp"), canon(R"({"active": true, "port": "2121", "account": null,
                                       "networkFolder": {"id": 2, "name": "x"}, "extra": 1})"));
    expectAnswer(call("MediashareSambaUpdate", {}, R"({"active": true, "connectionName": "home", "port": 1,
                      "account": {"id": 3}, "networkFolder": {"id": 2}})"),
                 FAL_OK, kFine, "MediashareSambaUpdate");
    EXPECT_EQ(stored("samba"), canon(R"({"active": true, "connectionName": "home", "account": {"id": 3},
                                         "networkFolder": {"id": 2}})"));
    EXPECT_EQ(stored("networkFolder.networkFolder.[1].status"), "\" ftp samba\"");
}

TEST_F(MediashareTest, FileServiceUpdateWithoutFoldersStillSaves)
{
    seed(API_TYPE_MEDIASHARE, R"({"ftp": {"active": false}})");
    expectAnswer(call("MediashareFtpUpdate", {}, R"({"active": true, "port": 21})"), FAL_OK, kFine,
                 "MediashareFtpUpdate");
    EXPECT_EQ(stored("ftp.active"), "true");
    EXPECT_EQ(onDisk(API_TYPE_MEDIASHARE), inMemory(API_TYPE_MEDIASHARE));
    EXPECT_TRUE(logged("No object found for key networkFolder\n"));
}

TEST_F(MediashareTest, DlnaUpdateReplacesTheObject)
{
    seed(API_TYPE_MEDIASHARE, kShares);
    expectAnswer(call("MediashareDlnaUpdate", {}, R"({"name": "media", "active": true})"), FAL_OK, kFine,
                 "MediashareDlnaUpdate");
    EXPECT_EQ(stored("dlna"), canon(R"({"name": "media", "active": true})"));
}

TEST_F(MediashareTest, ServiceRefusalsStoreNothing)
{
    const char* on = R"({"active": true, "networkFolder": {"id": 2}})";
    expectRefusals(kShares, {
        {"MediashareFtpUpdate", {}, nullptr, NONE, FAL_BAD_REQUEST, "A null message request received"},
        {"MediashareFtpUpdate", {}, on, LOCK, FAL_DB_ERROR, "No object found for key"},
        {"MediashareFtpUpdate", {}, on, SAVE, FAL_FAILED, kFine},
        {"MediashareSambaUpdate", {}, nullptr, NONE, FAL_BAD_REQUEST, "A null message request received"},
        {"MediashareSambaUpdate", {}, on, LOCK, FAL_DB_ERROR, "Found no object for key"},
        {"MediashareSambaUpdate", {}, on, SAVE, FAL_FAILED, kFine},
        {"MediashareDlnaUpdate", {}, nullptr, NONE, FAL_BAD_REQUEST, "A null message request received"},
        {"MediashareDlnaUpdate", {}, "{}", LOCK, FAL_DB_ERROR, "Cannot load database for key"},
        {"MediashareDlnaUpdate", {}, "{}", SAVE, FAL_FAILED, kFine},
    });
    EXPECT_TRUE(logged("No object found for key ftp\n"));
    EXPECT_TRUE(logged("Found no object for key samba\n"));
}

TEST_F(MediashareTest, DlnaScanAnswersWithoutTouchingTheDatabase)
{
    seed(API_TYPE_MEDIASHARE, kShares);
    LocalDbCtrl::failNextLocks(API_TYPE_MEDIASHARE, 1);
    OpRsp rsp = call("MediashareDlnaScan");
    expectAnswer(rsp, FAL_OK, kFine, replyTo("MediashareDlnaScan"));
    EXPECT_EQ(rsp->data, nullptr);
    EXPECT_EQ(LocalDbCtrlTesting::pendingLockFailures(API_TYPE_MEDIASHARE), 1u);
    LocalDbCtrl::failNextLocks(API_TYPE_MEDIASHARE, 0);
    EXPECT_EQ(family_.MediashareDlnaScan(nullptr), nullptr);
}

TEST_F(MediashareTest, NullRequestsGetNoResponse)
{
    const FalFamilyInfo* info = falFamilyByName("mediashare");
    for (const auto& op : info->ops) {
        SCOPED_TRACE(op.name);
        logs_.clear();
        EXPECT_EQ(info->call(&family_, op.slot, nullptr), nullptr);
        const std::string name = op.name;
        bool quiet = name == "MediashareUsbUpdate" || name == "MediashareCustomfolderGet";
        EXPECT_EQ(logged("A null request has been received\n"), !quiet);
    }
}

TEST_F(MediashareTest, EveryOperationTracesEntryAndExit)
{
    seed(API_TYPE_MEDIASHARE, kShares);
    for (const auto& op : falFamilyByName("mediashare")->ops) {
        if (std::string(op.name) == "MediashareDlnaScan")
            continue;
        SCOPED_TRACE(op.name);
        logs_.clear();
        OpRsp rsp = call(op.name);
        ASSERT_GE(logs_.size(), 2u);
        EXPECT_EQ(logs_.front().text, std::string(op.name) + " Enter\n");
        EXPECT_EQ(logs_.back().text, std::string(op.name) + " Exit\n");
        EXPECT_EQ(logs_.front().type, 0);
        EXPECT_EQ(logs_.front().group, 0);
    }
}
