#include "support/FalTest.h"

#include <json-c/json.h>
#include <stdlib.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>

void FalDbTest::SetUp()
{
    char tmpl[] = "/tmp/fal-test-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    root_ = tmpl;
    ASSERT_EQ(system(("mkdir -p " + root_ + "/db").c_str()), 0);
    LocalDbCtrl::reset();
    LocalDbCtrl::setRoot(root_);
    for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t)
        seed(t, "{}");
    logs_.clear();
    Logger::setCapture([this](int type, int group, const std::string& text) {
        logs_.push_back({type, group, text});
    });
    handlesAtStart_ = TreeMapObject::liveHandles();
    leftLocksAtStart_ = falLeftLockCount();
}

void FalDbTest::TearDown()
{
    EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u) << "a lock is still held at the end of the test";
    EXPECT_EQ(TreeMapObject::liveHandles(), handlesAtStart_) << "TreeMapObject handles leaked";
    EXPECT_EQ(falLeftLockCount(), leftLocksAtStart_) << "an operation left a lock held";
    LocalDbCtrl::releaseAllHeld();
    Logger::setCapture(nullptr);
    LocalDbCtrl::reset();
    LocalDbCtrl::setRoot(".");
    if (!root_.empty())
        (void)system(("rm -rf " + root_).c_str());
}

void FalDbTest::seed(unsigned apiType, const std::string& text)
{
    std::ofstream(LocalDbCtrl::documentPath(apiType), std::ios::trunc) << text;
    LocalDbCtrl::reset();
}

std::string FalDbTest::onDisk(unsigned apiType)
{
    std::unique_ptr<TreeMapObject> doc(LocalDbCtrl::storedDocument(apiType));
    return doc ? canon(doc->toJsonString()) : "";
}

std::string FalDbTest::inMemory(unsigned apiType)
{
    TreeMapObject* doc = LocalDbCtrl::copyDocument(apiType);
    std::string s = json(doc);
    delete doc;
    return s;
}

_FAL_RSP_T* FalDbTest::run(IFal& family, unsigned msgId, const FAL_PARAMS_T& params,
                           const char* bodyJson, const char* requester)
{
    _FAL_REQ_T req;
    req.apiType = family.apiType;
    req.msgId = msgId;
    req.params = params;
    req.requester = requester;
    req.body = bodyJson ? TreeMapObject::parse(bodyJson) : nullptr;
    if (bodyJson) {
        EXPECT_NE(req.body, nullptr) << "bad test body: " << bodyJson;
    }
    long before = TreeMapObject::liveHandles();
    _FAL_RSP_T* rsp = family.handleFalReq(&req);
    EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u) << "msgId " << msgId << " left a lock held";
    long expected = before + ((rsp && rsp->data) ? 1 : 0);
    EXPECT_EQ(TreeMapObject::liveHandles(), expected) << "msgId " << msgId << " leaked handles";
    delete req.body;
    return rsp;
}

std::string FalDbTest::json(TreeMapObject* tree)
{
    return tree ? tree->toJsonString() : "null";
}

std::string FalDbTest::canon(const std::string& text)
{
    json_object* o = json_tokener_parse(text.c_str());
    if (!o && text != "null")
        return "";
    std::string s = json_object_to_json_string_ext(o, JSON_C_TO_STRING_PLAIN);
    json_object_put(o);
    return s;
}
