// Message ids of the network, media-share, security and service families.
//
// Many operations of these families write their response id as a constant instead of the
// request id + 1. The dispatch table must give each of them the request id one below that
// constant, or the host sees an answer under another operation's id. The tables below list
// every such constant; the operations that answer request id + 1 only need an even id of
// their own.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "fal.h"
#include "frame/FalOps.h"

namespace {

using Entries = std::vector<std::pair<std::string, unsigned>>;

#define ROW(name, id) {#name, id},
const Entries kNetwork = {FAL_NETWORK_OPS(ROW)};
const Entries kMediaShare = {FAL_MEDIASHARE_OPS(ROW)};
const Entries kSecurity = {FAL_SECURITY_OPS(ROW)};
const Entries kService = {FAL_SERVICE_OPS(ROW)};
#undef ROW

struct Family {
    const char* name;
    const Entries* entries;
    size_t count;
};

const Family kFamilies[] = {
    {"network", &kNetwork, 47},
    {"mediashare", &kMediaShare, 22},
    {"security", &kSecurity, 56},
    {"service", &kService, 88},
};

struct Fixed {
    const char* op;
    unsigned response;
};

// Operations that answer a fixed response id.
const Fixed kNetworkFixed[] = {
    {"NetworkLanIpv6RestoreDefault", 15},
    {"NetworkCheckInternet", 27},
    {"NetworkQmodeUpdate", 43},
    {"NetworkDualwanGet", 45},
    {"NetworkDualwanUpdate", 47},
    {"NetworkMobileUpdate", 53},
    {"NetworkLanPortGet", 55},
    {"NetworkDocsisMtaGet", 63},
    {"NetworkDocsisMtaVqmGetList", 77},
    {"NetworkDocsisMtaConfigurationFile", 81},
    {"NetworkDocsisMtaEnterpriseMibs", 83},
    {"NetworkDocsisMtaLoopdiagTest", 85},
    {"NetworkWanConnectionTypeDetect", 93},
};

const Fixed kMediaShareFixed[] = {
    {"MediashareUsbRemove", 3},
    {"MediashareNetworkfolderUpdate", 7},
    {"MediashareNetworkfolderCreate", 9},
    {"MediashareNetworkfolderDelete", 11},
    {"MediashareNetworkfolderDeleteAll", 13},
    {"MediashareCustomfolderCreate", 17},
    {"MediashareCustomfolderDelete", 19},
    {"MediashareCustomfolderChange", 21},
    {"MediashareFtpUpdate", 25},
    {"MediashareSambaUpdate", 29},
    {"MediashareDlnaUpdate", 33},
    {"MediasharePrinterUpdate", 39},
    {"MediasharePrinterRemove", 41},
};

const Fixed kSecurityFixed[] = {
    {"SecurityFirewallGet", 1},
    {"SecurityFirewallUpdate", 3},
    {"SecurityFirewallAlertUpdate", 15},
    {"SecurityFirewallLogGet", 17},
    {"SecurityFirewallLogClear", 19},
    {"SecurityParentalcontrolGet", 21},
    {"SecurityParentalcontrolSet", 27},
    {"SecurityParentalcontrolUpdate", 29},
    {"SecurityParentalcontrolAuthUpdate", 31},
    {"SecurityParentalcontrolCreate", 33},
    {"SecurityParentalcontrolFilterCreate", 35},
    {"SecurityParentalcontrolDelete", 37},
    {"SecurityParentalcontrolFilterDelete", 39},
    {"SecurityParentalcontrolDeleteAll", 41},
    {"SecurityParentalcontrolAskPermission", 43},
    {"SecurityVpnServerGet", 47},
    {"SecurityVpnIpsecConnect", 69},
    {"SecurityVpnIpsecDisconnect", 71},
    {"SecurityVpnIpsecCreate", 73},
    {"SecurityManagedSitesGet", 75},
    {"SecurityManagedSitesSet", 77},
    {"SecurityManagedSitesCreate", 79},
    {"SecurityManagedSitesUpdate", 81},
    {"SecurityManagedSitesDelete", 83},
    {"SecurityManagedSitesTrustComputerAdd", 85},
    {"SecurityManagedSitesTrustComputerDelete", 87},
    {"SecurityManagedServicesGet", 89},
    {"SecurityManagedServicesSet", 91},
    {"SecurityManagedServicesCreate", 93},
    {"SecurityManagedServicesUpdate", 95},
    {"SecurityManagedServicesDelete", 97},
    {"SecurityManagedServicesTrustComputerAdd", 99},
    {"SecurityManagedServicesTrustComputerDelete", 101},
    {"SecurityManagedDevicesGet", 103},
    {"SecurityManagedDevicesSet", 105},
    {"SecurityManagedDevicesCreate", 107},
    {"SecurityManagedDevicesUpdate", 109},
    {"SecurityManagedDevicesDelete", 111},
};

// ServiceLogSave answers 111 too (checked on its own below).
const Fixed kServiceFixed[] = {
    {"ServiceMacfilteringList", 1},
    {"ServiceMacfilteringUpdate", 3},
    {"ServiceMacfilteringDeleteOne", 9},
    {"ServiceMacfilteringDeleteAll", 11},
    {"ServicePortfilteringList", 13},
    {"ServicePortfilteringUpdate", 15},
    {"ServicePortfilteringPatch", 17},
    {"ServicePortfilteringDeleteOne", 21},
    {"ServicePortfilteringDeleteAll", 23},
    {"ServiceIpfilteringList", 25},
    {"ServiceIpfilteringUpdate", 27},
    {"ServiceIpfilteringPatch", 29},
    {"ServiceIpfilteringCreate", 31},
    {"ServiceIpfilteringDeleteOne", 33},
    {"ServiceIpfilteringDeleteAll", 35},
    {"ServicePortforwardingList", 37},
    {"ServicePortforwardingDeleteOne", 45},
    {"ServicePortforwardingDeleteAll", 47},
    {"ServicePorttriggeringList", 51},
    {"ServicePorttriggeringPatch", 55},
    {"ServicePorttriggeringCreate", 57},
    {"ServicePorttriggeringDeleteOne", 59},
    {"ServicePorttriggeringDeleteAll", 61},
    {"ServicePorttriggeringActive", 63},
    {"ServiceDdnsUpdate", 67},
    {"ServiceWolUpdate", 71},
    {"ServiceWolCreate", 73},
    {"ServiceWolDeleteOne", 75},
    {"ServiceWolDeleteAll", 77},
    {"ServiceWolWakeon", 79},
    {"ServiceWolActive", 81},
    {"ServiceDmzUpdate", 85},
    {"ServiceRipGet", 87},
    {"ServiceRipUpdate", 89},
    {"ServiceStaticrouteList", 91},
    {"ServiceStaticroutePatch", 95},
    {"ServiceStaticrouteCreate", 97},
    {"ServiceStaticrouteDeleteOne", 99},
    {"ServiceStaticrouteDeleteAll", 101},
    {"ServiceStaticrouteActive", 103},
    {"ServiceUpnpGet", 105},
    {"ServiceUpnpUpdate", 107},
    {"ServiceUpnpPortmappingGet", 109},
    {"ServiceLogGet", 111},
    {"ServiceLogChange", 113},
    {"ServiceDiagnosticsPing", 117},
    {"ServiceDiagnosticsTraceroute", 119},
    {"ServiceDiagnosticsRoutehops", 121},
    {"ServiceAlgGet", 123},
    {"ServiceAlgUpdate", 125},
    {"ServiceMacpassthroughList", 127},
    {"ServiceMacpassthroughDeleteOne", 131},
    {"ServiceMacpassthroughDeleteAll", 133},
    {"ServiceReservedipList", 135},
    {"ServiceReservedipPatch", 139},
    {"ServiceReservedipCreate", 141},
    {"ServiceReservedipDeleteOne", 143},
    {"ServiceReservedipDeleteAll", 145},
    {"ServiceReservedipActive", 147},
    {"ServiceNetworkOptionGet", 149},
    {"ServiceNetworkOptionUpdate", 151},
    {"ServicePortIpFilteringList", 153},
    {"ServicePortIpFilteringPatch", 157},
    {"ServicePortIpFilteringCreate", 159},
    {"ServicePortIpFilteringDeleteOne", 161},
    {"ServicePortIpFilteringDeleteAll", 163},
    {"ServicePortIpfilteringActive", 165},
    {"ServiceLogClear", 169},
};

std::map<std::string, unsigned> byName(const Entries& entries)
{
    return std::map<std::string, unsigned>(entries.begin(), entries.end());
}

template <size_t N>
void expectFixedAnswers(const Entries& entries, const Fixed (&fixed)[N], const char* family)
{
    const auto ids = byName(entries);
    for (const Fixed& f : fixed) {
        SCOPED_TRACE(std::string(family) + " " + f.op);
        auto it = ids.find(f.op);
        ASSERT_NE(it, ids.end()) << "no such operation";
        EXPECT_EQ(it->second + 1, f.response);
    }
}

}  // namespace

TEST(MessageIds, FixedAnswersMatchTheDispatchedRequestId)
{
    expectFixedAnswers(kNetwork, kNetworkFixed, "network");
    expectFixedAnswers(kMediaShare, kMediaShareFixed, "mediashare");
    expectFixedAnswers(kSecurity, kSecurityFixed, "security");
    expectFixedAnswers(kService, kServiceFixed, "service");
}

TEST(MessageIds, RequestIdsAreEvenUniqueAndWithoutGaps)
{
    for (const Family& family : kFamilies) {
        SCOPED_TRACE(family.name);
        const Entries& entries = *family.entries;
        EXPECT_EQ(entries.size(), family.count);
        std::set<unsigned> ids;
        std::set<std::string> names;
        for (const auto& [name, id] : entries) {
            EXPECT_EQ(id % 2, 0u) << name << " has the odd request id " << id;
            EXPECT_TRUE(ids.insert(id).second) << name << " reuses request id " << id;
            EXPECT_TRUE(names.insert(name).second) << name << " is listed twice";
        }
        // The table numbers 0, 2, 4 ... with no hole, so the largest id is 2 * (count - 1).
        ASSERT_FALSE(ids.empty());
        EXPECT_EQ(*ids.begin(), 0u);
        EXPECT_EQ(*ids.rbegin(), 2 * (entries.size() - 1));
    }
}

// The log save answers with the log read's id. Only one request id can lead to 111: the read
// keeps it, and the save has an id of its own whose successor no other operation answers with.
TEST(MessageIds, LogSaveAnswersWithTheLogReadId)
{
    const auto ids = byName(kService);
    ASSERT_EQ(ids.count("ServiceLogGet"), 1u);
    ASSERT_EQ(ids.count("ServiceLogSave"), 1u);
    const unsigned logSaveAnswer = 111;
    EXPECT_EQ(ids.at("ServiceLogGet") + 1, logSaveAnswer);
    EXPECT_NE(ids.at("ServiceLogSave"), ids.at("ServiceLogGet"));
    for (const Fixed& f : kServiceFixed)
        EXPECT_NE(f.response, ids.at("ServiceLogSave") + 1) << f.op;
}
