// Network folders and the custom folder tree.
#include "mediashare/MediashareFixture.h"

namespace {

const char* kFolders = R"({
  "networkFolder": {"networkFolder": [
    {"id": 0, "name": "a", "status": "-"}, {"id": 5, "name": "b", "status": " ftp"},
    {"id": 2, "name": "c", "status": " samba"}]},
  "ftp": {"active": true, "networkFolder": {"id": 5}},
  "samba": {"active": true, "networkFolder": {"id": 2}}
})";

const char* kTree = R"({"customFolder": {"path": "/", "children": [
  {"path": "/media", "parent": "/", "children": [
    {"path": "/media/music", "parent": "/media", "children": [
      {"path": "/media/music/rock", "parent": "/media/music", "children": null}]},
    {"path": "/media/photos", "parent": "/media", "children": null}]},
  {"path": "/docs", "parent": "/", "children": null},
  {"name": "no path", "children": []}]}})";

}  // namespace

TEST_F(MediashareTest, NetworkFolderIdsAreNeverReusedBelowTheLargest)
{
    seed(API_TYPE_MEDIASHARE, R"({"networkFolder": {"networkFolder": []}})");
    OpRsp first = call("MediashareNetworkfolderCreate", {}, R"({"name": "first", "id": 9})");
    expectAnswer(first, FAL_CREATED, "New Created", "MediashareNetworkfolderCreate");
    EXPECT_EQ(text(first->data), canon(R"({"id": 0})"));

    seed(API_TYPE_MEDIASHARE, kFolders);
    OpRsp next = call("MediashareNetworkfolderCreate", {}, R"({"name": "d"})");
    expectAnswer(next, FAL_CREATED, "New Created", "MediashareNetworkfolderCreate");
    EXPECT_EQ(text(next->data), canon(R"({"id": 6})"));
    EXPECT_EQ(stored("networkFolder.networkFolder.[3]"), canon(R"({"name": "d", "id": 6})"));
    expectAnswer(call("MediashareNetworkfolderDelete", {{"@id", "6"}}), FAL_DELETED, "Record Deleted",
                 "MediashareNetworkfolderDelete");
    OpRsp again = call("MediashareNetworkfolderCreate", {}, R"({"name": "e"})");
    EXPECT_EQ(text(again->data), canon(R"({"id": 6})"));
    expectAnswer(call("MediashareNetworkfolderDelete", {{"@id", "2"}}), FAL_DELETED, "Record Deleted",
                 "MediashareNetworkfolderDelete");
    OpRsp after = call("MediashareNetworkfolderCreate", {}, R"({"name": "f"})");
    EXPECT_EQ(text(after->data), canon(R"({"id": 7})"));

    // A failed save still names the id the record would have had, and stores nothing.
    const std::string before = onDisk(API_TYPE_MEDIASHARE);
    LocalDbCtrl::failNextSaves(API_TYPE_MEDIASHARE, 1);
    OpRsp unsaved = call("MediashareNetworkfolderCreate", {}, R"({"name": "g"})");
    expectAnswer(unsaved, FAL_FAILED, kFine, "MediashareNetworkfolderCreate");
    EXPECT_EQ(text(unsaved->data), canon(R"({"id": 8})"));
    EXPECT_EQ(onDisk(API_TYPE_MEDIASHARE), before);
}

TEST_F(MediashareTest, NetworkFolderUpdateReplacesTheRecordWhole)
{
    seed(API_TYPE_MEDIASHARE, kFolders);
    expectAnswer(call("MediashareNetworkfolderUpdate", {{"@id", "5"}}, R"({"name": "B", "id": 40})"), FAL_OK,
                 kFine, "MediashareNetworkfolderUpdate");
    EXPECT_EQ(stored("networkFolder.networkFolder.[1]"), canon(R"({"name": "B", "id": 5})"));

}

TEST_F(MediashareTest, NetworkFolderDeleteSwitchesOffTheServiceThatSharesIt)
{
    struct Case {
        const char* title;
        const char* id;
        const char* ftpActive;
        const char* sambaActive;
        const char* ids;
    } cases[] = {
        {"ftp folder", "5", "false", "true", "[0,2]"},
        {"samba folder", "2", "true", "false", "[0,5]"},
        {"unshared folder", "0", "true", "true", "[5,2]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.title);
        seed(API_TYPE_MEDIASHARE, kFolders);
        expectAnswer(call("MediashareNetworkfolderDelete", {{"@id", c.id}}), FAL_DELETED, "Record Deleted",
                     "MediashareNetworkfolderDelete");
        EXPECT_EQ(stored("ftp.active"), c.ftpActive);
        EXPECT_EQ(stored("samba.active"), c.sambaActive);
        std::string ids = "[";
        for (int i = 0; i < 2; ++i)
            ids += (i ? "," : "") + stored(("networkFolder.networkFolder.[" + std::to_string(i) + "].id").c_str());
        EXPECT_EQ(ids + "]", c.ids);
    }

    // A folder that no longer exists still takes its service down.
    seed(API_TYPE_MEDIASHARE, R"({"networkFolder": {"networkFolder": [{"id": 0}]},
                                  "ftp": {"active": true, "networkFolder": {"id": 3}},
                                  "samba": {"active": true, "networkFolder": {"id": 3}}})");
    expectAnswer(call("MediashareNetworkfolderDelete", {{"@id", "3"}}), FAL_DELETED, "Record Deleted",
                 "MediashareNetworkfolderDelete");
    EXPECT_EQ(stored("ftp.active"), "false");
    EXPECT_EQ(stored("samba.active"), "false");
    EXPECT_EQ(stored("networkFolder.networkFolder"), canon(R"([{"id": 0}])"));
}

TEST_F(MediashareTest, NetworkFolderDeleteAllLeavesTheServicesOn)
{
    seed(API_TYPE_MEDIASHARE, kFolders);
    expectAnswer(call("MediashareNetworkfolderDeleteAll"), FAL_OK, "Records Deleted",
                 "MediashareNetworkfolderDeleteAll");
    EXPECT_EQ(stored("networkFolder"), canon(R"({"networkFolder": []})"));
    EXPECT_EQ(stored("ftp.active"), "true");
    EXPECT_EQ(stored("samba.active"), "true");
}

TEST_F(MediashareTest, FolderPathWalk)
{
    TreeMapObject* doc = TreeMapObject::parse(kTree);
    TreeMapObject* root = doc->get("customFolder");
    struct Case {
        const char* path;
        const char* found;  // "path" of the node found, "root", or null
    } cases[] = {
        {"/", "root"},
        {"/media", "/media"},
        {"/media/music/rock", "/media/music/rock"},
        {"media/music", "/media/music"},
        {"//media/music", "/media/music"},
        {"/media/", "/media"},
        {"/media//music", nullptr},  // the doubled slash repeats the prefix one level down
        {"m", nullptr},
        {"", nullptr},
        {"/nothing", nullptr},
        {"/docs/x", nullptr},  // a leaf has no children
        {"/media/music/rock/x", nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        TreeMapObject* node = GetJsonObjectByFolderPath(root, c.path);
        if (!c.found) {
            EXPECT_EQ(node, nullptr);
        } else if (std::string(c.found) == "root") {
            EXPECT_EQ(node, root);
        } else {
            ASSERT_NE(node, nullptr);
            ASSERT_NE(node, root);
            EXPECT_STREQ(node->get<const char*>("path"), c.found);
            delete node;
        }
    }
    EXPECT_EQ(GetJsonObjectByFolderPath(root, nullptr), nullptr);
    EXPECT_TRUE(logged("The path is: media/music\n"));
    EXPECT_TRUE(logged("i=1, tmp=/media/music"));
    delete root;
    delete doc;
}

TEST_F(MediashareTest, CustomFolderGetCutsAtTheDepth)
{
    seed(API_TYPE_MEDIASHARE, kTree);
    struct Case {
        const char* title;
        FAL_PARAMS_T params;
        const char* data;
    } cases[] = {
        {"depth 1", {{"!depth", "1"}}, R"({"path": "/", "children": [
            {"path": "/media", "parent": "/", "children": null}, {"path": "/docs", "parent": "/", "children": null},
            {"name": "no path", "children": null}]})"},
        {"named, depth 1", {{"!name", "/media"}, {"!depth", "1"}}, R"({"path": "/media", "parent": "/", "children": [
            {"path": "/media/music", "parent": "/media", "children": null},
            {"path": "/media/photos", "parent": "/media", "children": null}]})"},
        {"named, depth 2", {{"!name", "/media"}, {"!depth", "2"}}, R"({"path": "/media", "parent": "/", "children": [
            {"path": "/media/music", "parent": "/media", "children": [
              {"path": "/media/music/rock", "parent": "/media/music", "children": null}]},
            {"path": "/media/photos", "parent": "/media", "children": null}]})"},
        {"named, no depth", {{"!name", "/media/music"}, {"!depth", "deep"}}, R"({"path": "/media/music",
            "parent": "/media", "children": [
              {"path": "/media/music/rock", "parent": "/media/music", "children": null}]})"},
        {"unknown name", {{"!name", "/none"}, {"!depth", "1"}}, "{}"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.title);
        OpRsp rsp = call("MediashareCustomfolderGet", c.params, "{}");
        expectAnswer(rsp, FAL_OK, kFine, replyTo("MediashareCustomfolderGet"));
        EXPECT_EQ(text(rsp->data), canon(c.data));
    }
    OpRsp whole = call("MediashareCustomfolderGet", {}, "{}");
    EXPECT_EQ(text(whole->data), stored("customFolder"));
    EXPECT_TRUE(logged("MediashareCustomfolderGet: path name is /none\n"));
}

TEST_F(MediashareTest, CustomFolderCreateUnderTheNamedParent)
{
    seed(API_TYPE_MEDIASHARE, kTree);
    expectAnswer(call("MediashareCustomfolderCreate", {}, R"({"path": "/new", "parent": "/", "children": [{}]})"),
                 FAL_CREATED, "New Created", "MediashareCustomfolderCreate");
    EXPECT_EQ(stored("customFolder.children.[3]"), canon(R"({"path": "/new", "parent": "/", "children": null})"));
    // A leaf parent gets its first child in a new list.
    expectAnswer(call("MediashareCustomfolderCreate", {}, R"({"path": "/docs/a", "parent": "/docs"})"), FAL_CREATED,
                 "New Created", "MediashareCustomfolderCreate");
    EXPECT_EQ(stored("customFolder.children.[1].children"),
              canon(R"([{"path": "/docs/a", "parent": "/docs", "children": null}])"));

}

TEST_F(MediashareTest, CustomFolderDeleteTakesTheSubTree)
{
    seed(API_TYPE_MEDIASHARE, kTree);
    expectAnswer(call("MediashareCustomfolderDelete", {}, R"({"path": "/media/music", "parent": "/media"})"), FAL_OK,
                 kFine, "MediashareCustomfolderDelete");
    EXPECT_EQ(stored("customFolder.children.[0].children"),
              canon(R"([{"path": "/media/photos", "parent": "/media", "children": null}])"));
    expectAnswer(call("MediashareCustomfolderDelete", {}, R"({"path": "/media/photos", "parent": "/media"})"), FAL_OK,
                 kFine, "MediashareCustomfolderDelete");
    EXPECT_EQ(stored("customFolder.children.[0].children"), "null");

}

TEST_F(MediashareTest, CustomFolderChangeKeepsTheParent)
{
    seed(API_TYPE_MEDIASHARE, kTree);
    expectAnswer(call("MediashareCustomfolderChange", {},
                      R"({"old": {"path": "/media/music", "parent": "/media"},
                          "new": {"path": "/media/songs", "parent": "/media", "children": null}})"),
                 FAL_OK, kFine, "MediashareCustomfolderChange");
    EXPECT_EQ(stored("customFolder.children.[0].children.[0]"),
              canon(R"({"path": "/media/songs", "parent": "/media", "children": null})"));

}

TEST_F(MediashareTest, FolderRefusalsStoreNothing)
{
    const char* tree = R"({"path": "/x", "parent": "/"})";
    const char* rename = R"({"old": {"path": "/docs", "parent": "/"}, "new": {"path": "/papers", "parent": "/"}})";
    std::string document = kFolders;
    document = document.substr(0, document.rfind('}')) + ", " + std::string(kTree).substr(1);
    expectRefusals(document.c_str(), {
        {"MediashareNetworkfolderCreate", {}, nullptr, NONE, FAL_BAD_REQUEST, "A null message request received"},
        {"MediashareNetworkfolderCreate", {}, "{}", LOCK, FAL_DB_ERROR, "Database error"},
        {"MediashareNetworkfolderCreate", {}, "{}", SAVE, FAL_FAILED, kFine},
        {"MediashareNetworkfolderUpdate", {{"@id", "4"}}, "{}", NONE, FAL_NOT_FOUND, "Found no object to be updated"},
        {"MediashareNetworkfolderUpdate", {}, "{}", NONE, FAL_BAD_REQUEST, "Wrong URI"},
        {"MediashareNetworkfolderUpdate", {{"@id", "5"}}, nullptr, NONE, FAL_BAD_REQUEST,
         "A null message request received"},
        {"MediashareNetworkfolderUpdate", {{"@id", "5"}}, "{}", SAVE, FAL_FAILED, "Error in saving"},
        {"MediashareNetworkfolderUpdate", {{"@id", "5"}}, "{}", LOCK, FAL_DB_ERROR, "Database error"},
        {"MediashareNetworkfolderDelete", {}, nullptr, NONE, FAL_BAD_REQUEST, "Wrong URI"},
        {"MediashareNetworkfolderDelete", {{"@id", "5"}}, nullptr, LOCK, FAL_DB_ERROR,
         "Cannot read network object from file"},
        {"MediashareNetworkfolderDelete", {{"@id", "5"}}, nullptr, SAVE, FAL_FAILED, kFine},
        {"MediashareNetworkfolderDeleteAll", {}, nullptr, LOCK, FAL_DB_ERROR, "Cannot read network object from file"},
        {"MediashareNetworkfolderDeleteAll", {}, nullptr, SAVE, FAL_FAILED, kFine},
        {"MediashareCustomfolderGet", {}, nullptr, NONE, FAL_BAD_REQUEST, "invalid request body"},
        {"MediashareCustomfolderGet", {}, "{}", LOCK, FAL_DB_ERROR, "database error"},
        {"MediashareCustomfolderCreate", {}, R"({"path": "/x", "parent": ""})", NONE, FAL_BAD_REQUEST,
         "A null message request received"},
        {"MediashareCustomfolderCreate", {}, R"({"path": "/x", "parent": "d"})", NONE, FAL_BAD_REQUEST,
         "A null message request received"},
        {"MediashareCustomfolderCreate", {}, R"({"path": "/x", "parent": "/none"})", NONE, FAL_BAD_REQUEST,
         "A null message request received"},
        {"MediashareCustomfolderCreate", {}, nullptr, NONE, FAL_BAD_REQUEST, "A null message request received"},
        {"MediashareCustomfolderCreate", {}, tree, LOCK, FAL_DB_ERROR, "No object found in txt repo"},
        {"MediashareCustomfolderCreate", {}, tree, SAVE, FAL_FAILED, kFine},
        {"MediashareCustomfolderDelete", {}, R"({"path": "/x/y", "parent": "/x"})", NONE, FAL_OK, kFine},
        {"MediashareCustomfolderDelete", {}, R"({"path": "/docs/y", "parent": "/docs"})", NONE, FAL_OK, kFine},
        {"MediashareCustomfolderDelete", {}, nullptr, NONE, FAL_BAD_REQUEST, "A null message request received"},
        {"MediashareCustomfolderDelete", {}, tree, LOCK, FAL_DB_ERROR, "No object found in txt repo"},
        {"MediashareCustomfolderDelete", {}, R"({"path": "/docs", "parent": "/"})", SAVE, FAL_FAILED, kFine},
        {"MediashareCustomfolderChange", {},
         R"({"old": {"path": "/docs", "parent": "/"}, "new": {"path": "/media/docs", "parent": "/media"}})", NONE,
         FAL_BAD_REQUEST, "A wrong message request received"},
        {"MediashareCustomfolderChange", {}, R"({"old": {"path": "/docs", "parent": "/"}})", NONE, FAL_BAD_REQUEST,
         "A wrong message request received"},
        {"MediashareCustomfolderChange", {}, nullptr, NONE, FAL_BAD_REQUEST, "A null message request received"},
        {"MediashareCustomfolderChange", {},
         R"({"old": {"path": "/x/a", "parent": "/x"}, "new": {"path": "/x/b", "parent": "/x"}})", NONE, FAL_NOT_FOUND,
         "No parent folder is found"},
        {"MediashareCustomfolderChange", {},
         R"({"old": {"path": "/zz", "parent": "/"}, "new": {"path": "/yy", "parent": "/"}})", NONE, FAL_FAILED, kFine},
        {"MediashareCustomfolderChange", {}, rename, LOCK, FAL_DB_ERROR, "No object found in txt repo"},
        {"MediashareCustomfolderChange", {}, rename, SAVE, FAL_FAILED, kFine},
    });
    EXPECT_TRUE(logged("Request information wrong\n"));
    EXPECT_TRUE(logged("No parent folder is found\n"));

    expectRefusals(R"({"networkFolder": {}, "ftp": {"active": true, "networkFolder": {"id": 1}}})", {
        {"MediashareNetworkfolderDelete", {{"@id", "1"}}, nullptr, NONE, FAL_OK, "Nothing to be deleted"},
        {"MediashareNetworkfolderCreate", {}, "{}", NONE, FAL_FAILED, "Cannot load child object"},
        {"MediashareNetworkfolderUpdate", {{"@id", "5"}}, "{}", NONE, FAL_FAILED,
         "Cannot load child objects or memory issue"},
        {"MediashareNetworkfolderDeleteAll", {}, nullptr, NONE, FAL_OK, "Nothing to be deleted"},
    });

    // A parent without "children" at all has nothing to delete from.
    expectRefusals(R"({"customFolder": {"children": [{"path": "/bare", "parent": "/"}]}})", {
        {"MediashareCustomfolderDelete", {}, R"({"path": "/bare/x", "parent": "/bare"})", NONE, FAL_FAILED, kFine},
    });
}
