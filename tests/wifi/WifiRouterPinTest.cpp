// The router PIN is drawn at random: eight digits, and the stored PIN is left alone.
#include <cctype>
#include <cstring>

#include "support/FamilyFixture.h"
#include "wifi/FalWifiLdb.h"

using WifiTest = FamilyTest<FalWifiLdb, API_TYPE_WIFI>;

TEST_F(WifiTest, WifiRouterPinIsEightDigits)
{
    seed(API_TYPE_WIFI, R"({"wps":{"active":false,"pin":"12345670"}})");
    OpRsp rsp = call("WifiWpsActivateRouterpin");
    expectAnswer(rsp, FAL_OK, "", "WifiWpsActivateRouterpin");
    ASSERT_NE(rsp->data, nullptr);
    const char* pin = rsp->data->get<const char*>("pin");
    ASSERT_NE(pin, nullptr);
    ASSERT_EQ(strlen(pin), 8u);
    for (const char* c = pin; *c; ++c)
        EXPECT_TRUE(isdigit(static_cast<unsigned char>(*c))) << pin;
    EXPECT_EQ(stored("wps.pin"), "\"12345670\"");
}
