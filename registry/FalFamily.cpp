#include "registry/FalFamily.h"

#include <cstring>

#include "frame/FalPolicy.h"
#include "frame/FalVtable.h"
#include "gateway/FalGatewayLdb.h"
#include "mediashare/FalMediaShareLdb.h"
#include "network/FalNetworkLdb.h"
#include "qos/FalQosLdb.h"
#include "security/FalSecurityLdb.h"
#include "service/FalServiceLdb.h"
#include "wifi/FalWifiLdb.h"

namespace {

// Construction and the "implemented" check of family class C over its interface I.
template <class I, class C>
struct Family {
    using Op = _FAL_RSP_T* (I::*)(_FAL_REQ_T*);
    static const Op* table;
    static unsigned count;
    static unsigned type;  // the interface's API type

    static IFal* create() { return new C(); }

    static bool implemented(const IFal* family, unsigned slot)
    {
        static const I reference;
        if (!family || slot >= count)
            return false;
        // An operation the table serves with a generic read or write counts as implemented.
        const FalPolicy* policy = falPolicy(type, falInterfaceByApiType(type)->ops[slot].requestId);
        if (policy && policy->generic != FAL_GENERIC_NONE)
            return true;
        return falabi::virtualTarget(static_cast<const I*>(family), table[slot]) !=
               falabi::virtualTarget(&reference, table[slot]);
    }
};

template <class I, class C>
const typename Family<I, C>::Op* Family<I, C>::table;
template <class I, class C>
unsigned Family<I, C>::count;
template <class I, class C>
unsigned Family<I, C>::type;

#define FAL_OP_POINTER(name, id) &Interface::name,

#define FAL_FAMILY(Iface, Class, OPS, apiTypeValue)                                               \
    [] {                                                                                          \
        using Interface = Iface;                                                                  \
        using Of = Family<Iface, Class>;                                                          \
        static const Of::Op table[] = {OPS(FAL_OP_POINTER)};                                      \
        Of::table = table;                                                                        \
        Of::count = sizeof table / sizeof table[0];                                               \
        Of::type = apiTypeValue;                                                                  \
        return FalFamilyInfo{*falInterfaceByApiType(apiTypeValue), &Of::create, &Of::implemented}; \
    }()

std::vector<FalFamilyInfo> buildFamilies()
{
    return {
        FAL_FAMILY(IFalGateway, FalGatewayLdb, FAL_GATEWAY_OPS, API_TYPE_GATEWAY),
        FAL_FAMILY(IFalWifi, FalWifiLdb, FAL_WIFI_OPS, API_TYPE_WIFI),
        FAL_FAMILY(IFalNetwork, FalNetworkLdb, FAL_NETWORK_OPS, API_TYPE_NETWORK),
        FAL_FAMILY(IFalSecurity, FalSecurityLdb, FAL_SECURITY_OPS, API_TYPE_SECURITY),
        FAL_FAMILY(IFalService, FalServiceLdb, FAL_SERVICE_OPS, API_TYPE_SERVICE),
        FAL_FAMILY(IFalMediaShare, FalMediaShareLdb, FAL_MEDIASHARE_OPS, API_TYPE_MEDIASHARE),
        FAL_FAMILY(IFalQos, FalQosLdb, FAL_QOS_OPS, API_TYPE_QOS),
    };
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
