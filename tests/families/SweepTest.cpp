// Every operation of a family, implemented or not, on the factory root: with a plausible request,
// with a null request, and with every lock or every save failing. Whatever the answer, it carries
// the family's API type and the operation's response id, no lock stays held, no handle leaks, each
// document in memory equals the one on disk, and a failed lock or save changes nothing.
//
// One instantiation per family, named after it, so that the family's tests include its sweep.
#include <unistd.h>

#include <memory>

#include "frame/FalPolicy.h"
#include "hardening/HardeningSupport.h"
#include "host/FalRoot.h"
#include "support/FalTest.h"

namespace {

enum Variant { PLAIN, NULL_REQUEST, FAILED_LOCK, FAILED_SAVE };

class SweepTest : public FalDbTest, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override
    {
        FalDbTest::SetUp();
        // The gateway's files (system.cnf, auth_config/) live in the root, the working directory.
        ASSERT_EQ(system(("rm -rf " + root_ + "/db").c_str()), 0);
        std::string why;
        ASSERT_TRUE(falPrepareRoot(root_, why)) << why;
        ASSERT_NE(getcwd(cwd_, sizeof cwd_), nullptr);
        ASSERT_EQ(chdir(root_.c_str()), 0);
        for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t)
            factory_.push_back(canon(hardeningFactoryDocument(t)));
    }
    void TearDown() override
    {
        EXPECT_EQ(chdir(cwd_), 0);
        FalDbTest::TearDown();
    }

    void sweep(Variant variant)
    {
        const FalFamilyInfo* family = falFamilyByName(GetParam());
        ASSERT_NE(family, nullptr);
        std::unique_ptr<IFal> object(family->create());
        const FAL_PARAMS_T params = {{"@id", "1"},       {"@ruleId", "1"},      {"@deviceId", "1"},
                                     {"@interfaceId", "0"}, {"@index", "0"},     {"@categoryId", "0"},
                                     {"@filterId", "0"},  {"@priorityType", "high"}, {"@type", "usb"}};
        for (const FalOpInfo& op : family->ops) {
            if (variant >= FAILED_LOCK && hardeningSlowOp(op.name))
                continue;  // it waits seconds by design, the plain run covers it
            SCOPED_TRACE(op.name);
            for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t)
                seed(t, factory_[t]);
            for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t) {
                LocalDbCtrl::failNextLocks(t, variant == FAILED_LOCK ? 1000 : 0);
                LocalDbCtrl::failNextSaves(t, variant == FAILED_SAVE ? 1000 : 0);
            }
            const long handles = TreeMapObject::liveHandles();
            const unsigned long leftLocks = falLeftLockCount();
            std::unique_ptr<_FAL_RSP_T, RspDeleter> rsp;
            if (variant == NULL_REQUEST) {
                rsp.reset(family->call(object.get(), op.slot, nullptr));
            } else {
                std::unique_ptr<TreeMapObject> body(TreeMapObject::parse(R"({"active": true, "name": "sweep"})"));
                _FAL_REQ_T req;
                req.apiType = family->apiType;
                req.msgId = op.requestId;
                req.params = params;
                req.requester = "sweep";
                req.body = body.get();
                rsp.reset(object->handleFalReq(&req));
            }
            for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t) {
                LocalDbCtrl::failNextLocks(t, 0);
                LocalDbCtrl::failNextSaves(t, 0);
            }
            EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u) << "a lock is still held";
            EXPECT_EQ(falLeftLockCount(), leftLocks) << "the operation left a lock for the dispatcher";
            EXPECT_EQ(TreeMapObject::liveHandles(), handles + (rsp && rsp->data ? 1 : 0)) << "handles leaked";
            if (rsp) {
                const std::string name = op.name;
                // Two answers go out under another operation's id or another family's type.
                EXPECT_EQ(rsp->apiType, name == "NetworkDualwanGet" ? unsigned(API_TYPE_SERVICE) : family->apiType);
                EXPECT_EQ(rsp->msgId, name == "ServiceLogSave" ? family->findOp("ServiceLogGet")->requestId + 1
                                                               : falResponseId(family->apiType, op.requestId));
                EXPECT_NE(rsp->message, nullptr);
            }
            for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t) {
                const std::string disk = onDisk(t);
                EXPECT_EQ(canon(inMemory(t)), disk) << LocalDbCtrl::documentName(t) << ": memory differs from disk";
                if (variant != PLAIN) {
                    EXPECT_EQ(disk, factory_[t]) << LocalDbCtrl::documentName(t) << " changed";
                }
            }
        }
    }

    std::vector<std::string> factory_;
    char cwd_[4096] = {0};
};

TEST_P(SweepTest, Plain) { sweep(PLAIN); }
TEST_P(SweepTest, NullRequest) { sweep(NULL_REQUEST); }
TEST_P(SweepTest, FailedLock) { sweep(FAILED_LOCK); }
TEST_P(SweepTest, FailedSave) { sweep(FAILED_SAVE); }

#define FAL_SWEEP(Prefix, family) INSTANTIATE_TEST_SUITE_P(Prefix, SweepTest, ::testing::Values(family))
FAL_SWEEP(Gateway, "gateway");
FAL_SWEEP(Wifi, "wifi");
FAL_SWEEP(Network, "network");
FAL_SWEEP(Security, "security");
FAL_SWEEP(Service, "service");
FAL_SWEEP(Mediashare, "mediashare");
FAL_SWEEP(Qos, "qos");

}  // namespace
