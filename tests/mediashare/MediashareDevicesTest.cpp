// USB storage and printers.
#include "mediashare/MediashareFixture.h"

namespace {

const char* kDevices = R"({
  "usb": {"usbs": [{"id": 1, "name": "disk"}, {"id": 2, "name": "stick"}, {"id": 2, "name": "other"}]},
  "printer": {"active": true, "printers": [
    {"id": 1, "name": "laser"}, {"id": 1, "name": "laser"}, {"id": 2, "name": "inkjet"}]}
})";

// A removal body whose "printers" repeats `entry` `count` times.
std::string removalList(int count, const char* entry)
{
    std::string body = R"({"printers": [)";
    for (int i = 0; i < count; ++i)
        body += std::string(i ? "," : "") + entry;
    return body + "]}";
}

struct RemoveCase {
    const char* title;
    const char* body;
    unsigned status;
    const char* message;
    const char* usbsAfter;
};

}  // namespace

TEST_F(MediashareTest, GettersCopyTheirObjects)
{
    const char* document = R"({"usb": {"usbs": [{"id": 1}]}, "printer": {"active": true, "printers": []},
      "networkFolder": {"networkFolder": [{"id": 0, "status": "-"}]}, "ftp": {"active": true, "port": 21},
      "samba": {"active": false}, "dlna": {"name": "media"}})";
    const struct {
        const char* op;
        const char* key;
    } getters[] = {{"MediashareUsbGet", "usb"},
                   {"MediasharePrinterGet", "printer"},
                   {"MediashareNetworkfolderGet", "networkFolder"},
                   {"MediashareFtpGet", "ftp"},
                   {"MediashareSambaGet", "samba"},
                   {"MediashareDlnaGet", "dlna"}};
    for (const auto& g : getters) {
        SCOPED_TRACE(g.op);
        seed(API_TYPE_MEDIASHARE, document);
        OpRsp rsp = call(g.op);
        expectAnswer(rsp, FAL_OK, kFine, g.op);
        EXPECT_EQ(text(rsp->data), stored(g.key));

        // A failed lock keeps the message from creation and gives no data.
        LocalDbCtrl::failNextLocks(API_TYPE_MEDIASHARE, 1);
        OpRsp failed = call(g.op);
        expectAnswer(failed, FAL_DB_ERROR, kFine, g.op);
        EXPECT_EQ(failed->data, nullptr);
        EXPECT_TRUE(logged(std::string("Found no object or database is being corrupted for path ") + g.key + " \n"));
    }
}

TEST_F(MediashareTest, UsbRemoveMatchesIdAndNameTogether)
{
    const RemoveCase cases[] = {
        {"id and name match", R"({"usbs": [{"id": 2, "name": "other"}]})", FAL_OK, "Record Deleted",
         R"([{"id":1,"name":"disk"},{"id":2,"name":"stick"}])"},
        {"first of each entry only", R"({"usbs": [{"id": 1, "name": "disk"}, {"id": 2, "name": "stick"}]})",
         FAL_OK, "Record Deleted", R"([{"id":2,"name":"other"}])"},
        {"name differs: still saved", R"({"usbs": [{"id": 1, "name": "DISK"}]})", FAL_OK, "Record Deleted",
         R"([{"id":1,"name":"disk"},{"id":2,"name":"stick"},{"id":2,"name":"other"}])"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.title);
        seed(API_TYPE_MEDIASHARE, kDevices);
        OpRsp rsp = call("MediashareUsbRemove", {}, c.body);
        expectAnswer(rsp, c.status, c.message, "MediashareUsbRemove");
        EXPECT_EQ(rsp->data, nullptr);
        EXPECT_EQ(stored("usb.usbs"), canon(c.usbsAfter));
    }
}

TEST_F(MediashareTest, UsbUpdateRenamesTheFirstDeviceWithTheId)
{
    seed(API_TYPE_MEDIASHARE, kDevices);
    OpRsp rsp = call("MediashareUsbUpdate", {{"@id", "2"}}, R"({"name": "backup"})");
    expectAnswer(rsp, FAL_OK, "Record updated", replyTo("MediashareUsbUpdate"));
    EXPECT_EQ(onDisk(API_TYPE_MEDIASHARE).find("stick"), std::string::npos);
    EXPECT_EQ(stored("usb.usbs"),
              canon(R"([{"id":1,"name":"disk"},{"id":2,"name":"backup"},{"id":2,"name":"other"}])"));
    EXPECT_TRUE(logged("USB id 2 is updated\n"));
}

TEST_F(MediashareTest, PrinterSwitchOffForgetsThePrinters)
{
    seed(API_TYPE_MEDIASHARE, kDevices);
    expectAnswer(call("MediasharePrinterUpdate", {}, R"({"active": true})"), FAL_OK, kFine, "MediasharePrinterUpdate");
    EXPECT_NE(stored("printer.printers").find("inkjet"), std::string::npos);
    expectAnswer(call("MediasharePrinterUpdate", {}, R"({"active": false})"), FAL_OK, kFine, "MediasharePrinterUpdate");
    EXPECT_EQ(stored("printer"), canon(R"({"active": false, "printers": []})"));
    expectAnswer(call("MediasharePrinterUpdate", {}, R"({"active": true})"), FAL_OK, kFine, "MediasharePrinterUpdate");
    EXPECT_EQ(stored("printer"), canon(R"({"active": true, "printers": []})"));
}

TEST_F(MediashareTest, PrinterRemoveTakesOnePrinterPerEntry)
{
    const std::string longest = removalList(256, R"({"id": 1, "name": "laser"})");
    struct Case {
        const char* title;
        const char* body;
        const char* after;
    } cases[] = {
        {"one entry, two identical printers", R"({"printers": [{"id": 1, "name": "laser"}]})",
         R"([{"id":1,"name":"laser"},{"id":2,"name":"inkjet"}])"},
        {"two identical entries", R"({"printers": [{"id": 1, "name": "laser"}, {"id": 1, "name": "laser"}]})",
         R"([{"id":2,"name":"inkjet"}])"},
        {"no match", R"({"printers": [{"id": 2, "name": "laser"}]})",
         R"([{"id":1,"name":"laser"},{"id":1,"name":"laser"},{"id":2,"name":"inkjet"}])"},
        {"the longest list accepted", longest.c_str(),
         R"([{"id":2,"name":"inkjet"}])"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.title);
        seed(API_TYPE_MEDIASHARE, kDevices);
        expectAnswer(call("MediasharePrinterRemove", {}, c.body), FAL_DELETED, "Record Deleted",
                     "MediasharePrinterRemove");
        EXPECT_EQ(stored("printer.printers"), canon(c.after));
    }
}

TEST_F(MediashareTest, DeviceRefusalsStoreNothing)
{
    const char* usb = R"({"usbs": [{"id": 1, "name": "disk"}]})";
    const char* name = R"({"name": "x"})";
    const char* printer = R"({"printers": [{"id": 2, "name": "inkjet"}]})";
    const std::string many = removalList(257, R"({"id": 2, "name": "inkjet"})");
    expectRefusals(kDevices, {
        {"MediashareUsbRemove", {}, R"({"usbs": []})", NONE, FAL_FAILED, kFine},
        {"MediashareUsbRemove", {}, R"({"devices": [{"id": 1, "name": "disk"}]})", NONE, FAL_FAILED, kFine},
        {"MediashareUsbRemove", {}, nullptr, NONE, FAL_BAD_REQUEST, "A null message request received"},
        {"MediashareUsbRemove", {}, usb, LOCK, FAL_DB_ERROR, "Error reading database"},
        {"MediashareUsbRemove", {}, usb, SAVE, FAL_FAILED, kFine},
        {"MediashareUsbUpdate", {{"@id", "7"}}, name, NONE, FAL_BAD_REQUEST, "No record found for updated"},
        {"MediashareUsbUpdate", {}, name, NONE, FAL_BAD_REQUEST, "invalid requested parameter"},
        {"MediashareUsbUpdate", {{"@id", ""}}, name, NONE, FAL_BAD_REQUEST, "invalid requested parameter"},
        {"MediashareUsbUpdate", {{"@id", "1"}}, nullptr, NONE, FAL_BAD_REQUEST, "invalid request body"},
        {"MediashareUsbUpdate", {{"@id", "1"}}, name, SAVE, FAL_DB_ERROR, "Record cannot be updated"},
        {"MediashareUsbUpdate", {{"@id", "1"}}, name, LOCK, FAL_DB_ERROR, "database error"},
        {"MediasharePrinterUpdate", {}, nullptr, NONE, FAL_BAD_REQUEST, "A null message request received"},
        {"MediasharePrinterUpdate", {}, R"({"on": false})", NONE, FAL_BAD_REQUEST, "Wrong request body received"},
        {"MediasharePrinterUpdate", {}, R"({"active": false})", LOCK, FAL_DB_ERROR, "No object found"},
        {"MediasharePrinterUpdate", {}, R"({"active": false})", SAVE, FAL_FAILED, kFine},
        {"MediasharePrinterRemove", {}, nullptr, NONE, FAL_BAD_REQUEST, "A null message request received"},
        {"MediasharePrinterRemove", {}, usb, NONE, FAL_BAD_REQUEST, "A null message request received"},
        {"MediasharePrinterRemove", {}, many.c_str(), NONE, FAL_BAD_REQUEST, "A wrong message request received"},
        {"MediasharePrinterRemove", {}, printer, LOCK, FAL_DB_ERROR, "No object found"},
        {"MediasharePrinterRemove", {}, printer, SAVE, FAL_FAILED, kFine},
    });
    EXPECT_TRUE(logged("No object found for key printer\n"));

    expectRefusals(R"({"usb": {"usbs": {"id": 1}}, "printer": {"active": true}})", {
        {"MediashareUsbUpdate", {{"@id", "1"}}, name, NONE, FAL_DB_ERROR, "database error"},
        {"MediasharePrinterRemove", {}, printer, NONE, FAL_FAILED, "Cannot get list of printers"},
    });
    EXPECT_TRUE(logged("Cannot get database array for usb.usbs\n"));
    EXPECT_TRUE(logged("No object found for key printer.printers\n"));
}
