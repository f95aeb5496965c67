// Ids of rule arrays, and the rule effects on the gateway's connected devices.
#include <ctime>

#include "service/FalServiceLdb.h"
#include "service/ServiceHelpers.h"

int handleFindNewArrayItemId(TreeMapObject* list, const char* member)
{
    if (!list || !member) {
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "Wrong input for function %s\n", "handleFindNewArrayItemId");
        return -1;
    }
    int candidate = 0;
    for (unsigned i = 0; i < list->len(); ++i) {
        FalTree entry(list->at(i));
        if (serviceIsNull(entry.get()))
            continue;
        int value = entry->get<int>(member);
        candidate = value >= candidate ? value + 1 : candidate + 1;
    }
    return candidate;
}

int handleFindArrayItemById(TreeMapObject* list, const char* member, int id)
{
    if (!list || !member) {
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "Wrong input for function %s\n", "handleFindArrayItemById");
        return -1;
    }
    for (unsigned i = 0; i < list->len(); ++i) {
        FalTree entry(list->at(i));
        if (!serviceIsNull(entry.get()) && entry->get<int>(member) == id)
            return int(i);
    }
    return -1;
}

namespace {

// Locks the gateway's connected devices, lets `change` update the device `id` when it is there,
// then saves (whatever was found) and releases them.
template <typename Change>
void updateConnectedDevice(int id, const char* requester, Change change)
{
    FalLock devices(API_TYPE_GATEWAY, "connectedDevices", requester);
    if (!devices) {
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "Database error. Return.");
        return;
    }
    int index = handleFindArrayItemById(devices.get(), "id", id);
    FalTree device(index >= 0 ? devices->at(unsigned(index)) : nullptr);
    if (!serviceIsNull(device.get())) {
        change(device.get());
        Logger::print(LOG_TYPE_TRACE, SVC_LOG, "Update device status successfully\n");
    }
    devices.save();
}

}  // namespace

void ServiceUpdateGatewayConnectedDeviceStatus(int id, bool connected, const char* requester)
{
    updateConnectedDevice(id, requester, [connected](TreeMapObject* device) {
        device->set("connected", connected);
        char stamp[80] = {};
        time_t now = time(nullptr);
        struct tm local;
        localtime_r(&now, &local);
        strftime(stamp, sizeof stamp, "%m-%d-%Y %H:%M:%S", &local);
        device->set("lastConnected", static_cast<const char*>(stamp));
    });
}

void ServiceUpdateGatewayConnectedDeviceMacField(int id, const char* value, const char* requester)
{
    updateConnectedDevice(id, requester, [value](TreeMapObject* device) { device->set("advanced.macFiltering", value); });
}
