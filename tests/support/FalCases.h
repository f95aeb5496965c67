// Table-driven cases over JSON fixtures.
//
// Each file tests/fixtures/<family>/<topic>.json seeds documents, runs operations and compares
// their answers and what is stored:
//
//   {
//     "seed": {"gateway": {...}, "network": "factory"},  // documents not named hold {}
//     "files": {"auth_config/x": "text"},                // files below the root (its working dir)
//     "cases": [
//       {"name": "...", "op": "GatewayLedUpdate",
//        "params": {"@id": "1", "!name": "x"},           // in this order; [["@id", "1"], ["@id", "2"]]
//                                                         // when a name repeats
//        "body": {...},                                   // absent: no body
//        "request": null,                                 // call the operation with no request
//        "fault": "lock" | "save" | "lock:network" | "save*2" | ["lock:gateway", "save:gateway"],
//        "status": 0, "message": "...",                   // "status": null: no response at all
//        "msgId": 43,                                     // default: the request id + 1
//        "data": {...} | "*",                             // absent: no data; "*": not compared
//        "dataAt": {"path": value},                       // members of the data (with "data"
//                                                         // absent, any data)
//        "stored": {"gateway": {...}, "gateway:led": value},  // absent: nothing changes; with
//                                                         // paths, the rest of the document
//                                                         // must not change; "*": any value
//        "log": "a line that must be written",
//        "seed": {...},                                   // replaces the file's seed of a document
//        "keep": true}                                    // go on from the previous case's state
//                                                         // (documents and the family object)
//     ]
//   }
//
// The message defaults to "FAL processed fine!" for a status below 4. After every case no lock
// is held, no handle leaked, and each document in memory equals the one on disk.
#pragma once

#include <string>
#include <vector>

#include "support/FalTest.h"

// The fixture files of a family directory under tests/fixtures/ (names without ".json").
std::vector<std::string> falCaseFiles(const std::string& family);

// The factory-default document of a family, as JSON text.
std::string falFactoryDocument(const std::string& family);

class FalCasesTest : public FalDbTest, public ::testing::WithParamInterface<std::string> {
protected:
    void SetUp() override;
    void TearDown() override;
    // Runs every case of the fixture file "<family>/<topic>".
    void runFile(const std::string& file);

private:
    std::string cwd_;
};

// The cases of a family directory, one test per file: <Prefix>/Cases.Run/<topic>.
#define FAL_CASES(Prefix, family)                                                                  \
    INSTANTIATE_TEST_SUITE_P(Prefix, FalCasesTest, ::testing::ValuesIn(falCaseFiles(family)),     \
                             [](const ::testing::TestParamInfo<std::string>& info) {              \
                                 return info.param.substr(info.param.find('/') + 1);              \
                             })
