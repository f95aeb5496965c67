#include "frame/FalOpTable.h"

#include <cstring>

namespace {

// The member-function table of interface I, filled once from its operation list.
template <class I>
struct Slots {
    using Op = _FAL_RSP_T* (I::*)(_FAL_REQ_T*);
    static const Op* table;
    static unsigned count;

    static _FAL_RSP_T* call(IFal* family, unsigned slot, _FAL_REQ_T* req)
    {
        if (!family || slot >= count)
            return nullptr;
        return (static_cast<I*>(family)->*table[slot])(req);
    }
};

template <class I>
const typename Slots<I>::Op* Slots<I>::table;
template <class I>
unsigned Slots<I>::count;

template <class I>
FalInterfaceInfo describe(const char* name, unsigned apiType, const typename Slots<I>::Op* table,
                          std::vector<FalOpInfo> ops)
{
    Slots<I>::table = table;
    Slots<I>::count = static_cast<unsigned>(ops.size());
    for (unsigned slot = 0; slot < ops.size(); ++slot)
        ops[slot].slot = slot;
    return FalInterfaceInfo{name, apiType, std::move(ops), &Slots<I>::call};
}

#define FAL_OP_POINTER(name, id) &Interface::name,
#define FAL_OP_INFO(name, id) {#name, 0, id},

#define FAL_DESCRIBE(Iface, OPS, familyName, apiTypeValue)                                        \
    [] {                                                                                          \
        using Interface = Iface;                                                                  \
        static const Slots<Iface>::Op table[] = {OPS(FAL_OP_POINTER)};                            \
        return describe<Iface>(familyName, apiTypeValue, table, {OPS(FAL_OP_INFO)});              \
    }()

std::vector<FalInterfaceInfo> buildInterfaces()
{
    std::vector<FalInterfaceInfo> all;
    all.push_back(FAL_DESCRIBE(IFalGateway, FAL_GATEWAY_OPS, "gateway", API_TYPE_GATEWAY));
    all.push_back(FAL_DESCRIBE(IFalWifi, FAL_WIFI_OPS, "wifi", API_TYPE_WIFI));
    all.push_back(FAL_DESCRIBE(IFalNetwork, FAL_NETWORK_OPS, "network", API_TYPE_NETWORK));
    all.push_back(FAL_DESCRIBE(IFalSecurity, FAL_SECURITY_OPS, "security", API_TYPE_SECURITY));
    all.push_back(FAL_DESCRIBE(IFalService, FAL_SERVICE_OPS, "service", API_TYPE_SERVICE));
    all.push_back(FAL_DESCRIBE(IFalMediaShare, FAL_MEDIASHARE_OPS, "mediashare", API_TYPE_MEDIASHARE));
    all.push_back(FAL_DESCRIBE(IFalQos, FAL_QOS_OPS, "qos", API_TYPE_QOS));
    return all;
}

}  // namespace

const FalInterfaceInfo* falInterfaceByApiType(unsigned apiType)
{
    static const std::vector<FalInterfaceInfo> all = buildInterfaces();
    return apiType < all.size() ? &all[apiType] : nullptr;
}

const FalOpInfo* FalInterfaceInfo::findOp(const char* opName) const
{
    if (!opName)
        return nullptr;
    for (const auto& op : ops)
        if (strcmp(op.name, opName) == 0)
            return &op;
    return nullptr;
}

const FalOpInfo* FalInterfaceInfo::findRequest(unsigned requestId) const
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
