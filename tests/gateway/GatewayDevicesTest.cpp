// Connected devices and the connectivity summary.
#include "gateway/GatewayFixture.h"

namespace {

const char* const D0 = R"({"id":0,"name":"pc","type":"computer","macAddress":"00:00:00:00:00:01",
    "ipAddress":"192.168.1.10","interface":"lan","connected":false,"operatingStandard":"1000BASE-T"})";
const char* const D1 = R"({"id":1,"name":"phone","type":"phone","macAddress":"00:00:00:00:00:02",
    "ipAddress":"192.168.1.11","interface":"2.4g","connected":true,"path":"HomeNet-2.4G"})";
const char* const D2 = R"({"id":2,"name":"tablet","type":"tablet","macAddress":"00:00:00:00:00:03",
    "ipAddress":"192.168.1.12","interface":"2.4g","connected":true,"path":"HomeNet-Guest"})";
const char* const D3 = R"({"id":3,"name":"laptop","type":"computer","macAddress":"00:00:00:00:00:04",
    "ipAddress":"192.168.1.13","interface":"5g","connected":true,"path":"HomeNet-5G"})";
const char* const D4 = R"({"id":4,"name":"printer","interface":"lan","connected":true})";

std::string gatewayDoc()
{
    return std::string(R"({"connectivity":{"lan":{"devices":9},"wifi":[{"connectivity":1,"devices":9},
        {"connectivity":1,"devices":9}],"usb":{"devices":9},"wan":"?"},"connectedDevices":[)") + D0 + "," + D1 +
           "," + D2 + "," + D3 + "," + D4 + "]}";
}

const char* const WIFI = R"({"radio":{"24g":{"active":true,"basic":{"outputPower":"medium"}},
    "50g":{"active":false,"basic":{"outputPower":"high"}}},
    "ssid":{"24g":[{"index":0,"name":"HomeNet-2.4G"},{"index":1,"name":"HomeNet-Guest"}],
            "50g":[{"index":0,"name":"HomeNet-5G"}]}})";

// Device 0 reserved and under parental control; device 1 blocked by MAC; device 2 blocked by an
// active IP filter but listed inactive by the port-and-IP filter; device 3 listed by an inactive
// wake-on-LAN list.
const char* const SERVICE = R"({"reservedIp":{"active":true,"rules":[{"macAddress":"00:00:00:00:00:01"}]},
    "wol":{"active":false,"rules":[{"macAddress":"00:00:00:00:00:04"}]},
    "macFiltering":{"active":false,"rules":[{"macAddress":"00:00:00:00:00:02","active":true}]},
    "ipFiltering":{"active":true,"rules":[{"ipAddress":"192.168.1.12","active":true}]},
    "portIpFiltering":{"active":true,"rules":[{"ipAddress":"192.168.1.12","active":false}]}})";
const char* const SECURITY = R"({"parentalControl":{"active":true,"rules":[{"active":false},
    {"active":true,"devices":[{"mac":"00:00:00:00:00:01"}]}]}})";

}  // namespace

class GatewayDevices : public GatewayTest {
protected:
    void SetUp() override
    {
        GatewayTest::SetUp();
        seed(API_TYPE_GATEWAY, gatewayDoc());
        seed(API_TYPE_WIFI, WIFI);
        seed(API_TYPE_SERVICE, SERVICE);
        seed(API_TYPE_SECURITY, SECURITY);
        seed(API_TYPE_MEDIASHARE, R"({"usb":{"usbs":[{"id":0},{"id":1}]},"printer":{"printers":[{"id":0}]}})");
        seed(API_TYPE_NETWORK, R"({"wan":{"interfaces":[{"connectivity":"connected"},{"connectivity":"down"}]}})");
    }

    // The single-device view of a stored device: its record without "operatingStandard", with the
    // given "connected" and "advanced" states.
    static std::string expectedView(const char* device, bool connected, const char* advanced)
    {
        TreeMapObject* d = TreeMapObject::parse(device);
        TreeMapObject* adv = TreeMapObject::parse(advanced);
        d->del("operatingStandard");
        d->set("connected", connected);
        d->set("advanced", adv);
        std::string s = json(d);
        delete adv;
        delete d;
        return s;
    }
};

TEST_F(GatewayDevices, ConnectivityCountsAndRadioLevels)
{
    const GwCase cases[] = {
        // The 5 GHz radio is off: level 0 and no devices although one is connected on it.
        {"live figures", "GatewayConnectivity", {}, nullptr, 0, "FAL processed fine!",
         R"({"lan":{"devices":1},"wifi":[{"connectivity":2,"devices":2},{"connectivity":0,"devices":0}],
             "usb":{"devices":3},"wan":"connected"})",
         nullptr},
        {"failed lock", "GatewayConnectivity", {}, nullptr, 8, "failed to load database", nullptr, nullptr,
         API_TYPE_GATEWAY},
        // Without the wifi document the stored levels stay; the counts are still live.
        {"wifi not locked", "GatewayConnectivity", {}, nullptr, 0, "FAL processed fine!",
         R"({"lan":{"devices":1},"wifi":[{"connectivity":1,"devices":2},{"connectivity":1,"devices":1}],
             "usb":{"devices":3},"wan":"connected"})",
         nullptr, API_TYPE_WIFI},
        {"network not locked", "GatewayConnectivity", {}, nullptr, 0, "FAL processed fine!",
         R"({"lan":{"devices":1},"wifi":[{"connectivity":2,"devices":2},{"connectivity":0,"devices":0}],
             "usb":{"devices":3},"wan":"?"})",
         nullptr, API_TYPE_NETWORK},
        // Only the USB list fails to lock: the printers still count.
        {"media share not locked once", "GatewayConnectivity", {}, nullptr, 0, "FAL processed fine!",
         R"({"lan":{"devices":1},"wifi":[{"connectivity":2,"devices":2},{"connectivity":0,"devices":0}],
             "usb":{"devices":1},"wan":"connected"})",
         nullptr, API_TYPE_MEDIASHARE},
    };
    for (const GwCase& c : cases)
        check(c, gatewayDoc());
}

TEST_F(GatewayDevices, ConnectivityOutputPowerAndMissingMembers)
{
    seed(API_TYPE_WIFI, R"({"radio":{"24g":{"active":true,"basic":{"outputPower":"low"}},
                             "50g":{"active":true,"basic":{"outputPower":"turbo"}}}})");
    GwRsp rsp = call("GatewayConnectivity");
    EXPECT_EQ(json(rsp->data), canon(R"({"lan":{"devices":1},"wifi":[{"connectivity":3,"devices":2},
        {"connectivity":1,"devices":1}],"usb":{"devices":3},"wan":"connected"})"));

    seed(API_TYPE_GATEWAY, R"({"connectivity":{"lan":{"devices":0}}})");
    check({"no device list", "GatewayConnectivity", {}, nullptr, 8, "failed to load database", nullptr, nullptr},
          R"({"connectivity":{"lan":{"devices":0}}})");
}

TEST_F(GatewayDevices, ListFilters)
{
    auto list = [](std::initializer_list<const char*> devices) {
        std::string s = "[";
        for (const char* d : devices)
            s += std::string(s.size() > 1 ? "," : "") + d;
        return s + "]";
    };
    std::string all = list({D0, D1, D2, D3, D4}), radio24 = list({D1, D2}), radios = list({D1, D2, D3}),
                connected = list({D1, D2, D3, D4}), guest = list({D2}), primary = list({D1});
    const GwCase cases[] = {
        {"no filter", "GatewayDevicesList", {}, nullptr, 0, "FAL processed fine!", all.c_str(), nullptr},
        {"connected", "GatewayDevicesList", {{"!connected", "true"}}, nullptr, 0, "FAL processed fine!",
         connected.c_str(), nullptr},
        {"one radio", "GatewayDevicesList", {{"!interface", "2.4g"}}, nullptr, 0, "FAL processed fine!",
         radio24.c_str(), nullptr},
        {"both radios", "GatewayDevicesList", {{"!interface", "2.4g,5g"}}, nullptr, 0, "FAL processed fine!",
         radios.c_str(), nullptr},
        {"ssid index", "GatewayDevicesList", {{"!interface", "2.4g"}, {"!ssid", "1"}}, nullptr, 0,
         "FAL processed fine!", guest.c_str(), nullptr},
        {"ssid wins over network type", "GatewayDevicesList",
         {{"!interface", "2.4g"}, {"!ssid", "0"}, {"!networkType", "guest"}}, nullptr, 0, "FAL processed fine!",
         primary.c_str(), nullptr},
        {"guest networks", "GatewayDevicesList", {{"!interface", "2.4g"}, {"!networkType", "guest"}}, nullptr, 0,
         "FAL processed fine!", guest.c_str(), nullptr},
        {"primary network", "GatewayDevicesList", {{"!interface", "2.4g"}, {"!networkType", "primary"}}, nullptr, 0,
         "FAL processed fine!", primary.c_str(), nullptr},
        {"no guest on the band", "GatewayDevicesList", {{"!interface", "5g"}, {"!networkType", "guest"}}, nullptr, 0,
         "FAL processed fine!", "[]", nullptr},
        {"other network type", "GatewayDevicesList", {{"!interface", "5g"}, {"!networkType", "mesh"}}, nullptr, 0,
         "FAL processed fine!", "[]", nullptr},
        {"ssid without interface", "GatewayDevicesList", {{"!ssid", "0"}}, nullptr, 8, "failed to get wifi database",
         nullptr, nullptr},
        {"unknown band", "GatewayDevicesList", {{"!interface", "lan"}, {"!networkType", "primary"}}, nullptr, 8,
         "failed to get wifi database", nullptr, nullptr},
        {"wifi not locked", "GatewayDevicesList", {{"!interface", "2.4g"}, {"!ssid", "0"}}, nullptr, 8,
         "failed to get wifi database", nullptr, nullptr, API_TYPE_WIFI},
        {"gateway not locked", "GatewayDevicesList", {}, nullptr, 8, "failed to get gateway database", nullptr,
         nullptr, API_TYPE_GATEWAY},
    };
    for (const GwCase& c : cases)
        check(c, gatewayDoc());
}

TEST_F(GatewayDevices, SingleDeviceStates)
{
    const char* none = R"({"reservedIP":false,"parentalContrl":false,"wol":false,"macFiltering":"add",
        "ipFiltering":"add"})";
    std::string v0 = expectedView(D0, true, R"({"reservedIP":true,"parentalContrl":true,"wol":false,
        "macFiltering":"add","ipFiltering":"add"})");
    std::string v1 = expectedView(D1, false, R"({"reservedIP":false,"parentalContrl":false,"wol":false,
        "macFiltering":"on","ipFiltering":"add"})");
    std::string v2 = expectedView(D2, false, R"({"reservedIP":false,"parentalContrl":false,"wol":false,
        "macFiltering":"add","ipFiltering":"off"})");
    std::string v3 = expectedView(D3, true, none);
    const GwCase cases[] = {
        {"reserved, parental, connected whatever stored", "GatewayDevicesGetOne", {{"@deviceId", "0"}}, nullptr, 0,
         "FAL processed fine!", v0.c_str(), nullptr},
        {"active MAC filter, found by MAC", "GatewayDevicesGetOne", {{"@deviceId", "00:00:00:00:00:02"}}, nullptr, 0,
         "FAL processed fine!", v1.c_str(), nullptr},
        {"port-and-IP filter replaces the IP filter state", "GatewayDevicesGetOne", {{"@deviceId", "2"}}, nullptr, 0,
         "FAL processed fine!", v2.c_str(), nullptr},
        {"inactive wake-on-LAN list", "GatewayDevicesGetOne", {{"@deviceId", "3"}}, nullptr, 0, "FAL processed fine!",
         v3.c_str(), nullptr},
        {"no device id", "GatewayDevicesGetOne", {}, nullptr, 9, "no deviceId", nullptr, nullptr},
        {"device without MAC is not matched", "GatewayDevicesGetOne", {{"@deviceId", "4"}}, nullptr, 4,
         "cannot found device", nullptr, nullptr},
        {"unknown device", "GatewayDevicesGetOne", {{"@deviceId", "99"}}, nullptr, 4, "cannot found device", nullptr,
         nullptr},
        {"failed lock", "GatewayDevicesGetOne", {{"@deviceId", "0"}}, nullptr, 8, "failed to get database", nullptr,
         nullptr, API_TYPE_GATEWAY},
    };
    for (const GwCase& c : cases)
        check(c, gatewayDoc());

    // Without the service document every state keeps its starting value.
    std::string v1Plain = expectedView(D1, true, none);
    check({"service not locked", "GatewayDevicesGetOne", {{"@deviceId", "1"}}, nullptr, 0, "FAL processed fine!",
           v1Plain.c_str(), nullptr, API_TYPE_SERVICE},
          gatewayDoc());
}

TEST_F(GatewayDevices, ReservedListUnderEitherKey)
{
    // "reservedIP" wins over the service family's "reservedIp" when both are there.
    seed(API_TYPE_SERVICE, R"({"reservedIP":{"active":false,"rules":[{"macAddress":"00:00:00:00:00:04"}]},
                               "reservedIp":{"active":true,"rules":[{"macAddress":"00:00:00:00:00:04"}]},
                               "wol":{"active":true,"rules":[{"macAddress":"00:00:00:00:00:04"}]}})");
    GwRsp rsp = call("GatewayDevicesGetOne", {{"@deviceId", "3"}});
    EXPECT_EQ(json(rsp->data), expectedView(D3, true, R"({"reservedIP":false,"parentalContrl":false,"wol":true,
        "macFiltering":"add","ipFiltering":"add"})"));
}

TEST_F(GatewayDevices, Rename)
{
    std::string renamed = gatewayDoc();
    const std::string before = R"("name":"laptop","type":"computer")";
    renamed.replace(renamed.find(before), before.size(), R"("name":"Desk","type":"desktop")");
    const char* body = R"({"deviceName":"Desk","type":"desktop"})";
    const GwCase cases[] = {
        {"no device id", "GatewayDevicesUpdate", {}, body, 10, "no deviceId", nullptr, nullptr},
        {"no type", "GatewayDevicesUpdate", {{"@deviceId", "3"}}, R"({"deviceName":"Desk"})", 10,
         "wrong request information", nullptr, nullptr},
        {"no body", "GatewayDevicesUpdate", {{"@deviceId", "3"}}, nullptr, 10, "wrong request information", nullptr,
         nullptr},
        {"unknown device", "GatewayDevicesUpdate", {{"@deviceId", "99"}}, body, 9, "cannot found device", nullptr,
         nullptr},
        {"failed lock", "GatewayDevicesUpdate", {{"@deviceId", "3"}}, body, 8, "failed to get database", nullptr,
         nullptr, API_TYPE_GATEWAY},
        {"failed save", "GatewayDevicesUpdate", {{"@deviceId", "3"}}, body, 8, "failed to save database", nullptr,
         nullptr, -1, API_TYPE_GATEWAY},
        {"by MAC address", "GatewayDevicesUpdate", {{"@deviceId", "00:00:00:00:00:04"}}, body, 0,
         "FAL processed fine!", nullptr, renamed.c_str()},
    };
    for (const GwCase& c : cases)
        check(c, gatewayDoc());
}

TEST_F(GatewayDevices, IpFilterAloneAndInactiveParentalControl)
{
    // An active IP filter entry without a port-and-IP entry blocks the device; parental control
    // that is switched off covers nobody, whatever its rules list.
    seed(API_TYPE_SERVICE, R"({"ipFiltering":{"active":false,"rules":[{"ipAddress":"192.168.1.10","active":true}]}})");
    seed(API_TYPE_SECURITY, R"({"parentalControl":{"active":false,"rules":[{"active":true,
        "devices":[{"mac":"00:00:00:00:00:01"}]}]}})");
    std::string view = expectedView(D0, false, R"({"reservedIP":false,"parentalContrl":false,"wol":false,
        "macFiltering":"add","ipFiltering":"on"})");
    check({"ip filter on", "GatewayDevicesGetOne", {{"@deviceId", "0"}}, nullptr, 0, "FAL processed fine!",
           view.c_str(), nullptr},
          gatewayDoc());
}
