#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "frame/FalTree.h"
#include "support/FalTest.h"
#include "support/FalFiles.h"

namespace {

using Tree = FalTree;

// The fixture's temporary root serves as a scratch directory.
class JsonDataTest : public FalDbTest {};

TEST_F(JsonDataTest, LoadFromFile)
{
    const std::string good = root_ + "/good.json", bad = root_ + "/bad.json";
    std::ofstream(good) << R"({"role":"admin","perm":[1,2]})";
    std::ofstream(bad) << R"({"role":)";
    Tree tree(JsonData::createObjectFromFile(good.c_str()));
    EXPECT_EQ(json(tree.get()), R"({"role":"admin","perm":[1,2]})");
    EXPECT_EQ(JsonData::createObjectFromFile(bad.c_str()), nullptr);
    EXPECT_EQ(JsonData::createObjectFromFile((root_ + "/missing.json").c_str()), nullptr);
    EXPECT_EQ(JsonData::createObjectFromFile(nullptr), nullptr);
}

TEST_F(JsonDataTest, SaveToFile)
{
    const std::string path = root_ + "/out.json";
    Tree tree(TreeMapObject::parse(R"({"log":["a/b","c"]})"));
    EXPECT_EQ(JsonData::saveObjectToFile(path.c_str(), tree.get()), 0);
    std::string saved = readFile(path);
    EXPECT_EQ(canon(saved), canon(R"({"log":["a/b","c"]})"));
    EXPECT_NE(saved.find("\"a/b\""), std::string::npos) << "slashes are written as they are";
    EXPECT_EQ(JsonData::saveObjectToFile(path.c_str(), nullptr), 0);
    EXPECT_EQ(readFile(path), "null\n");
    EXPECT_NE(JsonData::saveObjectToFile((root_ + "/no/such/dir.json").c_str(), tree.get()), 0);
    EXPECT_NE(JsonData::saveObjectToFile(nullptr, tree.get()), 0);
}

TEST_F(JsonDataTest, ConcurrentSavesOfOneFileStayWhole)
{
    const std::string path = root_ + "/shared.json";
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            Tree tree(new TreeMapObject(false));
            tree->set("writer", t);
            tree->set("payload", std::string(4096, char('a' + t)));
            for (int i = 0; i < 20; ++i)
                EXPECT_EQ(JsonData::saveObjectToFile(path.c_str(), tree.get()), 0);
        });
    for (std::thread& t : threads)
        t.join();
    Tree last(JsonData::createObjectFromFile(path.c_str()));
    ASSERT_NE(last, nullptr);
    int writer = last->get<int>("writer");
    EXPECT_EQ(std::string(last->get<const char*>("payload")), std::string(4096, char('a' + writer)));
}

class LoggerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        minType_ = Logger::minType();
        Logger::setCapture([this](int type, int group, const std::string& text) {
            logs_.push_back({type, group, text});
        });
    }
    void TearDown() override
    {
        Logger::setCapture(nullptr);
        Logger::init(minType_, Logger::TO_STDERR);
    }
    int minType_ = 3;
    std::vector<CapturedLog> logs_;
};

TEST_F(LoggerTest, MinimumTypeFiltersOutputButNotCapture)
{
    Logger::init(2, Logger::TO_STDERR);
    testing::internal::CaptureStderr();
    Logger::print(LOG_TYPE_TRACE, LOG_GROUP_WIFI, "%s Enter\n", "WifiRadioGet");
    Logger::print(LOG_TYPE_INFO, LOG_GROUP_SERVICE, "%s: skipped %d\n", "f", 3);
    Logger::print(LOG_TYPE_PROGRESS, LOG_GROUP_QOS, "%s: clone\n", "QosGet");
    Logger::print(LOG_TYPE_ERROR, LOG_GROUP_GATEWAY, "no newline %d", 7);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(err, "fal[17] PROGRESS: QosGet: clone\nfal[14] ERROR: no newline 7\n");

    // The capture sees every record, whatever the minimum type.
    ASSERT_EQ(logs_.size(), 4u);
    EXPECT_EQ(logs_[0].type, 0);
    EXPECT_EQ(logs_[0].group, 12);
    EXPECT_EQ(logs_[0].text, "WifiRadioGet Enter\n");

    Logger::init(0, Logger::TO_NOWHERE);
    testing::internal::CaptureStderr();
    std::string big(10000, 'x');  // formatted whole, whatever its length
    Logger::print(LOG_TYPE_ERROR, LOG_GROUP_NETWORK, "<%s|%d>", big.c_str(), 42);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    ASSERT_EQ(logs_.size(), 5u);
    EXPECT_EQ(logs_[4].text, "<" + big + "|42>");
}

TEST(Base64Test, Rfc4648Vectors)
{
    struct Case {
        const char* in;
        const char* out;
    } cases[] = {
        {"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},         {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(base64_encode(reinterpret_cast<const unsigned char*>(c.in), unsigned(strlen(c.in))), c.out)
            << c.in;
    const unsigned char binary[] = {0xff, 0xfe, 0x00, 0x3e, 0x3f};
    EXPECT_EQ(base64_encode(binary, sizeof(binary)), "//4APj8=");
    EXPECT_EQ(base64_encode(nullptr, 0), "");
    std::string longText(300, 'a');  // no line breaks, however long
    EXPECT_EQ(base64_encode(reinterpret_cast<const unsigned char*>(longText.data()), 300).size(), 400u);
}

}  // namespace
