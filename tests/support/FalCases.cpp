#include "support/FalCases.h"

#include <dirent.h>
#include <json-c/json.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>

#include "registry/FalFamily.h"
#include "support/FalFiles.h"

namespace {

const std::string kFixtures = std::string(FAL_SOURCE_DIR) + "/tests/fixtures/";

std::string plain(json_object* node)
{
    return json_object_to_json_string_ext(node, JSON_C_TO_STRING_PLAIN);
}

const char* textOf(json_object* obj, const char* key, const char* fallback = "")
{
    json_object* member = nullptr;
    return json_object_object_get_ex(obj, key, &member) && json_object_is_type(member, json_type_string)
               ? json_object_get_string(member)
               : fallback;
}

// The family that has operation `op`, and the operation.
bool findOp(const std::string& op, const FalFamilyInfo*& family, const FalOpInfo*& info)
{
    for (const auto& f : falFamilies())
        if ((info = f.findOp(op.c_str()))) {
            family = &f;
            return true;
        }
    return false;
}

unsigned apiTypeOf(const std::string& name)
{
    const FalFamilyInfo* family = falFamilyByName(name.c_str());
    EXPECT_NE(family, nullptr) << "no family " << name;
    return family ? family->apiType : 0;
}

struct Responses {
    void operator()(_FAL_RSP_T* r) const { freeFalResponse(r); }
};

}  // namespace

std::vector<std::string> falCaseFiles(const std::string& family)
{
    std::vector<std::string> files;
    if (DIR* dir = opendir((kFixtures + family).c_str())) {
        while (dirent* entry = readdir(dir)) {
            std::string name = entry->d_name;
            if (name.size() > 5 && name.compare(name.size() - 5, 5, ".json") == 0)
                files.push_back(family + "/" + name.substr(0, name.size() - 5));
        }
        closedir(dir);
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string falFactoryDocument(const std::string& family)
{
    return readFile(std::string(FAL_SOURCE_DIR) + "/defaults/db/" + family + ".json");
}

void FalCasesTest::SetUp()
{
    FalDbTest::SetUp();
    char buf[4096];
    ASSERT_NE(getcwd(buf, sizeof buf), nullptr);
    cwd_ = buf;
    ASSERT_EQ(chdir(root_.c_str()), 0);
}

void FalCasesTest::TearDown()
{
    EXPECT_EQ(chdir(cwd_.c_str()), 0);
    FalDbTest::TearDown();
}

void FalCasesTest::runFile(const std::string& file)
{
    json_object* fixture = json_object_from_file((kFixtures + file + ".json").c_str());
    ASSERT_NE(fixture, nullptr) << "cannot parse " << file << ".json";
    std::unique_ptr<json_object, int (*)(json_object*)> owner(fixture, json_object_put);

    // The documents every case starts from, by family name.
    std::map<std::string, std::string> fileSeed;
    auto addSeed = [](std::map<std::string, std::string>& seeds, json_object* from) {
        if (!from)
            return;
        json_object_object_foreach(from, name, doc)
        {
            seeds[name] = json_object_is_type(doc, json_type_string) &&
                                  strcmp(json_object_get_string(doc), "factory") == 0
                              ? canon(falFactoryDocument(name))
                              : plain(doc);
        }
    };
    json_object* member = nullptr;
    if (json_object_object_get_ex(fixture, "seed", &member))
        addSeed(fileSeed, member);
    if (json_object_object_get_ex(fixture, "files", &member)) {
        json_object_object_foreach(member, path, text)
        {
            std::string dir = std::string(path).substr(0, std::string(path).rfind('/'));
            if (dir != path) {
                ASSERT_EQ(system(("mkdir -p '" + root_ + "/" + dir + "'").c_str()), 0);
            }
            std::ofstream(root_ + "/" + path, std::ios::trunc) << json_object_get_string(text);
        }
    }

    json_object* cases = nullptr;
    ASSERT_TRUE(json_object_object_get_ex(fixture, "cases", &cases)) << file << " has no cases";
    std::map<std::string, std::string> before;  // what each document holds before the case
    std::unique_ptr<IFal> object;                // kept, with "keep", from the previous case
    const FalFamilyInfo* objectFamily = nullptr;
    for (size_t n = 0; n < json_object_array_length(cases); ++n) {
        json_object* c = json_object_array_get_idx(cases, n);
        const std::string op = textOf(c, "op");
        SCOPED_TRACE(file + " #" + std::to_string(n) + " " + textOf(c, "name", op.c_str()));
        const FalFamilyInfo* family = nullptr;
        const FalOpInfo* info = nullptr;
        ASSERT_TRUE(findOp(op, family, info)) << "unknown operation " << op;

        // Seed, unless the case goes on from the previous one.
        json_object* keep = nullptr;
        const bool keepOn = json_object_object_get_ex(c, "keep", &keep) && json_object_get_boolean(keep);
        if (!keepOn) {
            std::map<std::string, std::string> seeds = fileSeed;
            if (json_object_object_get_ex(c, "seed", &member))
                addSeed(seeds, member);
            for (const auto& f : falFamilies()) {
                auto it = seeds.find(f.name);
                seed(f.apiType, it == seeds.end() ? "{}" : it->second);
            }
        }
        for (const auto& f : falFamilies())
            before[f.name] = onDisk(f.apiType);

        // Faults: "lock", "save", "lock:network", "save*2".
        std::vector<std::pair<unsigned, bool>> faults;  // (API type, lock)
        json_object* faultList = nullptr;
        json_object_object_get_ex(c, "fault", &faultList);
        const bool manyFaults = json_object_is_type(faultList, json_type_array);
        for (size_t f = 0; faultList && f < (manyFaults ? json_object_array_length(faultList) : 1); ++f) {
            member = manyFaults ? json_object_array_get_idx(faultList, f) : faultList;
            std::string fault = json_object_get_string(member);
            unsigned count = 1;
            if (size_t star = fault.find('*'); star != std::string::npos) {
                count = static_cast<unsigned>(std::stoul(fault.substr(star + 1)));
                fault.resize(star);
            }
            size_t colon = fault.find(':');
            unsigned apiType = colon == std::string::npos ? family->apiType : apiTypeOf(fault.substr(colon + 1));
            bool lock = fault.compare(0, colon, "lock") == 0;
            ASSERT_TRUE(lock || fault.compare(0, colon, "save") == 0) << "fault " << fault;
            faults.emplace_back(apiType, lock);
            if (lock)
                LocalDbCtrl::failNextLocks(apiType, count);
            else
                LocalDbCtrl::failNextSaves(apiType, count);
        }

        // The request.
        FAL_PARAMS_T params;
        if (json_object_object_get_ex(c, "params", &member)) {
            if (json_object_is_type(member, json_type_array)) {  // [[name, value], ...]: names may repeat
                for (size_t i = 0; i < json_object_array_length(member); ++i) {
                    json_object* pair = json_object_array_get_idx(member, i);
                    params.emplace_back(json_object_get_string(json_object_array_get_idx(pair, 0)),
                                        json_object_get_string(json_object_array_get_idx(pair, 1)));
                }
            } else {
                json_object_object_foreach(member, key, value) params.emplace_back(key, json_object_get_string(value));
            }
        }
        std::string body;
        if (json_object_object_get_ex(c, "body", &member))
            body = plain(member);
        if (!keepOn || objectFamily != family) {
            object.reset(family->create());
            objectFamily = family;
        }
        std::unique_ptr<_FAL_RSP_T, Responses> rsp;
        if (json_object_object_get_ex(c, "request", &member) && !member) {
            long handles = TreeMapObject::liveHandles();
            rsp.reset(family->call(object.get(), info->slot, nullptr));
            EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u) << "a lock is still held";
            EXPECT_EQ(TreeMapObject::liveHandles(), handles + (rsp && rsp->data ? 1 : 0)) << "handles leaked";
        } else {
            rsp.reset(run(*object, info->requestId, params, body.empty() ? nullptr : body.c_str()));
        }
        for (const auto& fault : faults) {
            if (fault.second)
                LocalDbCtrl::failNextLocks(fault.first, 0);
            else
                LocalDbCtrl::failNextSaves(fault.first, 0);
        }

        // The answer.
        json_object* status = nullptr;
        ASSERT_TRUE(json_object_object_get_ex(c, "status", &status)) << "a case needs a status";
        if (!status) {
            EXPECT_EQ(rsp, nullptr) << "expected no response";
        } else {
            ASSERT_NE(rsp, nullptr) << "no response";
            const unsigned want = static_cast<unsigned>(json_object_get_int(status));
            EXPECT_EQ(rsp->apiType, family->apiType);
            EXPECT_EQ(rsp->status, want);
            EXPECT_STREQ(rsp->message, textOf(c, "message", want < FAL_FAILED ? "FAL processed fine!" : ""));
            unsigned msgId = info->requestId + 1;
            if (json_object_object_get_ex(c, "msgId", &member))
                msgId = static_cast<unsigned>(json_object_get_int(member));
            EXPECT_EQ(rsp->msgId, msgId);
            if (!json_object_object_get_ex(c, "data", &member)) {
                if (!json_object_object_get_ex(c, "dataAt", nullptr)) {
                    EXPECT_EQ(rsp->data, nullptr) << "unexpected data " << json(rsp->data);
                }
            } else if (!(json_object_is_type(member, json_type_string) &&
                         strcmp(json_object_get_string(member), "*") == 0)) {
                EXPECT_EQ(canon(json(rsp->data)), canon(plain(member)));
            }
            if (json_object_object_get_ex(c, "dataAt", &member)) {
                json_object_object_foreach(member, path, value)
                {
                    std::unique_ptr<TreeMapObject> node(rsp->data ? rsp->data->get(path) : nullptr);
                    EXPECT_EQ(canon(json(node.get())), canon(plain(value))) << "data at " << path;
                }
            }
        }
        if (json_object_object_get_ex(c, "log", &member)) {
            const std::string line = json_object_get_string(member);
            bool found = std::any_of(logs_.begin(), logs_.end(), [&](const CapturedLog& l) {
                return l.text == line || l.text == line + "\n";
            });
            EXPECT_TRUE(found) << "no log line \"" << line << "\"";
        }

        // What is stored: the documents named change as given, the others not at all.
        std::map<std::string, std::string> after = before;
        json_object* stored = nullptr;
        json_object_object_get_ex(c, "stored", &stored);
        std::vector<std::pair<std::string, json_object*>> paths;
        if (stored) {
            json_object_object_foreach(stored, key, value)
            {
                std::string name = key;
                size_t colon = name.find(':');
                if (colon == std::string::npos)
                    after[name] = canon(plain(value));
                else
                    paths.emplace_back(name, value);
            }
        }
        for (const auto& f : falFamilies()) {
            const std::string disk = onDisk(f.apiType);
            EXPECT_EQ(canon(inMemory(f.apiType)), disk) << f.name << ": memory differs from disk";
            // Members named by "family:path" rows are compared below; the rest must be as expected.
            std::string want = after[f.name], have = disk;
            for (const auto& p : paths) {
                if (p.first.compare(0, p.first.find(':'), f.name) != 0)
                    continue;
                const std::string path = p.first.substr(p.first.find(':') + 1);
                for (std::string* text : {&want, &have}) {
                    std::unique_ptr<TreeMapObject> doc(TreeMapObject::parse(text->c_str()));
                    if (doc) {
                        doc->del(path.c_str());
                        *text = canon(json(doc.get()));
                    }
                }
            }
            EXPECT_EQ(have, want) << f.name << " document" << (want == after[f.name] ? "" : " (named paths left out)");
        }
        for (const auto& p : paths) {
            const std::string name = p.first.substr(0, p.first.find(':'));
            std::unique_ptr<TreeMapObject> doc(LocalDbCtrl::storedDocument(apiTypeOf(name)));
            std::unique_ptr<TreeMapObject> node(doc ? doc->get(p.first.substr(p.first.find(':') + 1).c_str()) : nullptr);
            if (json_object_is_type(p.second, json_type_string) && strcmp(json_object_get_string(p.second), "*") == 0)
                EXPECT_NE(node, nullptr) << "nothing stored at " << p.first;
            else
                EXPECT_EQ(canon(json(node.get())), canon(plain(p.second))) << "stored " << p.first;
        }
        logs_.clear();
    }
}

TEST_P(FalCasesTest, Run)
{
    runFile(GetParam());
}
