#include "frame/FalFamily.h"

#include <cstring>

#include "frame/FalVtable.h"
#include "gateway/FalGatewayLdb.h"
#include "mediashare/FalMediaShareLdb.h"
#include "network/FalNetworkLdb.h"
#include "qos/FalQosLdb.h"
#include "security/FalSecurityLdb.h"
#include "service/FalServiceLdb.h"
#include "wifi/FalWifiLdb.h"

namespace {

// Everything the registry needs to know of one family, from its interface I, its class C and its
// operation list.
template <class I, class C>
struct Family {
    using Op = _FAL_RSP_T* (I::*)(_FAL_REQ_T*);
    static const Op* table;
    static unsigned count;

    static IFal* create() { return new C(); }

    static _FAL_RSP_T* call(IFal* family, unsigned slot, _FAL_REQ_T* req)
    {
        if (!family || slot >= count)
            return nullptr;
        return (static_cast<I*>(family)->*table[slot])(req);
    }

    static bool implemented(const IFal* family, unsigned slot)
    {
        static const I reference;
        if (!family || slot >= count)
            return false;
        return falabi::virtualTarget(static_cast<const I*>(family), table[slot]) !=
               falabi::virtualTarget(&reference, table[slot]);
    }
};

template <class I, class C>
const typename Family<I, C>::Op* Family<I, C>::table;
template <class I, class C>
unsigned Family<I, C>::count;

#define FAL_OP_POINTER(name, id) &Interface::name,
#define FAL_OP_INFO(name, id) {#name, 0, id},

template <class I, class C>
FalFamilyInfo describe(const char* name, unsigned apiType, const typename Family<I, C>::Op* table,
                       std::vector<FalOpInfo> ops)
{
    Family<I, C>::table = table;
    Family<I, C>::count = static_cast<unsigned>(ops.size());
    for (unsigned slot = 0; slot < ops.size(); ++slot)
        ops[slot].slot = slot;
    return FalFamilyInfo{name, apiType, std::move(ops), &Family<I, C>::create, &Family<I, C>::call,
                         &Family<I, C>::implemented};
}

#define FAL_DESCRIBE(Iface, Class, OPS, familyName, apiTypeValue)                                 \
    [] {                                                                                          \
        using Interface = Iface;                                                                  \
        static const Family<Iface, Class>::Op table[] = {OPS(FAL_OP_POINTER)};                    \
        return describe<Iface, Class>(familyName, apiTypeValue, table, {OPS(FAL_OP_INFO)});       \
    }()

std::vector<FalFamilyInfo> buildFamilies()
{
    std::vector<FalFamilyInfo> families;
    families.push_back(FAL_DESCRIBE(IFalGateway, FalGatewayLdb, FAL_GATEWAY_OPS, "gateway", API_TYPE_GATEWAY));
    families.push_back(FAL_DESCRIBE(IFalWifi, FalWifiLdb, FAL_WIFI_OPS, "wifi", API_TYPE_WIFI));
    families.push_back(FAL_DESCRIBE(IFalNetwork, FalNetworkLdb, FAL_NETWORK_OPS, "network", API_TYPE_NETWORK));
    families.push_back(FAL_DESCRIBE(IFalSecurity, FalSecurityLdb, FAL_SECURITY_OPS, "security", API_TYPE_SECURITY));
    families.push_back(FAL_DESCRIBE(IFalService, FalServiceLdb, FAL_SERVICE_OPS, "service", API_TYPE_SERVICE));
    families.push_back(FAL_DESCRIBE(IFalMediaShare, FalMediaShareLdb, FAL_MEDIASHARE_OPS, "mediashare",
                                    API_TYPE_MEDIASHARE));
    families.push_back(FAL_DESCRIBE(IFalQos, FalQosLdb, FAL_QOS_OPS, "qos", API_TYPE_QOS));
    return families;
}

}  // namespace

const std::vector<FalFamilyInfo>& falFamilies()
{
    static const std::vector<FalFamilyInfo> families = buildFamilies();
    return families;
}

const FalFamilyInfo* falFamilyByName(const char* name)
{
    if (!name)
        return nullptr;
    for (const auto& family : falFamilies())
        if (strcmp(family.name, name) == 0)
            return &family;
    return nullptr;
}

const FalFamilyInfo* falFamilyByApiType(unsigned apiType)
{
    const auto& families = falFamilies();
    return apiType < families.size() ? &families[apiType] : nullptr;
}

const FalOpInfo* FalFamilyInfo::findOp(const char* opName) const
{
    if (!opName)
        return nullptr;
    for (const auto& op : ops)
        if (strcmp(op.name, opName) == 0)
            return &op;
    return nullptr;
}

const FalOpInfo* FalFamilyInfo::findRequest(unsigned requestId) const
{
    // Most families number their operations 2k in slot order: try that slot first.
    unsigned guess = requestId / 2;
    if (guess < ops.size() && ops[guess].requestId == requestId)
        return &ops[guess];
    for (const auto& op : ops)
        if (op.requestId == requestId)
            return &op;
    return nullptr;
}
