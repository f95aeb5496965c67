// The folder-path walk on its own; the operations are in the media-share case files.
#include <memory>

#include "support/FamilyFixture.h"

using MediashareTest = FamilyTest<FalMediaShareLdb, API_TYPE_MEDIASHARE>;

TEST_F(MediashareTest, FolderPathWalk)
{
    std::unique_ptr<TreeMapObject> doc(TreeMapObject::parse(R"({"path": "/", "children": [
      {"path": "/media", "parent": "/", "children": [
        {"path": "/media/music", "parent": "/media", "children": [
          {"path": "/media/music/rock", "parent": "/media/music", "children": null}]},
        {"path": "/media/photos", "parent": "/media", "children": null}]},
      {"path": "/docs", "parent": "/", "children": null},
      {"name": "no path", "children": []}]})"));
    TreeMapObject* root = doc.get();
    const struct {
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
        TreeMapObject* node = GetJsonObjectByFolderPath(root, c.path);
        if (!c.found) {
            EXPECT_EQ(node, nullptr) << c.path;
        } else if (std::string(c.found) == "root") {
            EXPECT_EQ(node, root) << c.path;
        } else {
            ASSERT_NE(node, nullptr) << c.path;
            ASSERT_NE(node, root) << c.path;
            EXPECT_STREQ(node->get<const char*>("path"), c.found) << c.path;
            delete node;
        }
    }
    EXPECT_EQ(GetJsonObjectByFolderPath(root, nullptr), nullptr);
}
