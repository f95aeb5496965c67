// USB storage devices and printer sharing.
#include <cstdlib>
#include <vector>

#include "fal/FalMsgIds.h"
#include "host/TreeMapObject.h"
#include "mediashare/FalMediaShareLdb.h"
#include "mediashare/MediashareHelpers.h"

namespace {

// The most printers one removal request may name.
constexpr unsigned kMaxPrinterRemovals = 256;

// Removes, for each entry of `removals` in order, the first device of `devices` with the same id
// and name. Entries that match nothing are skipped.
void removeFirstMatches(TreeMapObject* devices, TreeMapObject* removals)
{
    for (unsigned r = 0; r < removals->len(); ++r) {
        TreeMapObject* removal = removals->at(r);
        for (unsigned d = 0; d < devices->len(); ++d) {
            TreeMapObject* device = devices->at(d);
            bool same = mediashareSameDevice(device, removal);
            delete device;
            if (same) {
                devices->delArrayItem(d);
                break;
            }
        }
        delete removal;
    }
}

// The printers of `printers` that no entry of `removals` takes away, in order; each entry takes
// away at most one printer.
TreeMapObject* keptPrinters(TreeMapObject* printers, TreeMapObject* removals)
{
    TreeMapObject* kept = new TreeMapObject(true);
    std::vector<bool> used(removals->len(), false);
    for (unsigned p = 0; p < printers->len(); ++p) {
        TreeMapObject* printer = printers->at(p);
        bool removed = false;
        for (unsigned r = 0; r < removals->len() && !removed; ++r) {
            if (used[r])
                continue;
            TreeMapObject* removal = removals->at(r);
            removed = used[r] = mediashareSameDevice(printer, removal);
            delete removal;
        }
        if (!removed)
            kept->addArrayItem(printer);
        delete printer;
    }
    return kept;
}

}  // namespace

_FAL_RSP_T* FalMediaShareLdb::MediashareUsbGet(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    return mediashareObjectGet(req, "usb");
}

_FAL_RSP_T* FalMediaShareLdb::MediashareUsbRemove(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    _FAL_RSP_T* rsp =
        mediashareBegin(req, FalMsg::MediashareUsbRemove, false,
                        "Cannot create response due to some memory issue\n");
    if (!rsp || mediashareLacksBody(req, rsp, "A null message request received", true))
        return rsp;
    FalLock usb(API_TYPE_MEDIASHARE, "usb", req->requester);
    if (!usb) {
        falAnswer(rsp, FAL_DB_ERROR, "Error reading database");
    } else {
        TreeMapObject* stored = usb->get("usbs");
        TreeMapObject* removals = req->body->get("usbs");
        bool saved = false;
        if (stored && removals && stored->len() > 0 && removals->len() > 0) {
            removeFirstMatches(stored, removals);
            saved = usb.save();
        }
        if (saved)
            falAnswer(rsp, FAL_OK, "Record Deleted");
        else
            rsp->status = FAL_FAILED;
        delete removals;
        delete stored;
    }
    return rsp;
}

_FAL_RSP_T* FalMediaShareLdb::MediashareUsbUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    _FAL_RSP_T* rsp = mediashareQuietReply(req);
    if (!rsp || mediashareLacksBody(req, rsp, "invalid request body", true))
        return rsp;
    auto idText = mediashareParam(req, "@id");
    if (!idText) {
        mediashareFail(rsp, FAL_BAD_REQUEST, "invalid requested parameter @id",
                       "invalid requested parameter");
        return rsp;
    }
    int id = atoi(idText.get());
    FalLock usbs(API_TYPE_MEDIASHARE, "usb.usbs", req->requester);
    if (!usbs) {
        mediashareFail(rsp, FAL_DB_ERROR, "Cannot get database for usb.usbs", "database error");
    } else if (!usbs->isArray()) {
        mediashareFail(rsp, FAL_DB_ERROR, "Cannot get database array for usb.usbs", "database error");
    } else {
        int at = findItem(usbs.get(), "id", id);
        TreeMapObject* device = at >= 0 ? usbs->at(static_cast<unsigned>(at)) : nullptr;
        if (!device) {
            mediashareFail(rsp, FAL_BAD_REQUEST, "No record found for updated",
                           "No record found for updated");
        } else {
            device->set("name", req->body->get<const char*>("name"));
            if (!usbs.save()) {
                mediashareFail(rsp, FAL_DB_ERROR, "Cannot update usb information sue to some DB error",
                               "Record cannot be updated");
            } else {
                Logger::print(LOG_TYPE_TRACE, LOG_GROUP_MEDIASHARE, "USB id %d is updated\n", id);
                falAnswer(rsp, FAL_OK, "Record updated");
            }
            delete device;
        }
    }
    return rsp;
}

_FAL_RSP_T* FalMediaShareLdb::MediasharePrinterGet(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    return mediashareObjectGet(req, "printer");
}

_FAL_RSP_T* FalMediaShareLdb::MediasharePrinterUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    _FAL_RSP_T* rsp =
        mediashareBegin(req, FalMsg::MediasharePrinterUpdate, false,
                        "Cannot create response due to some memory issue\n");
    if (!rsp || mediashareLacksBody(req, rsp, "A null message request received", false))
        return rsp;
    TreeMapObject* active = req->body->get("active");
    if (!active) {
        mediashareFail(rsp, FAL_BAD_REQUEST, "Wrong request body received", "Wrong request body received");
        return rsp;
    }
    delete active;
    bool on = req->body->get<bool>("active");
    rsp->status = FAL_FAILED;
    FalLock printer(API_TYPE_MEDIASHARE, "printer", req->requester);
    if (!printer) {
        mediashareFail(rsp, FAL_DB_ERROR, "No object found for key printer", "No object found");
    } else {
        printer->set("active", on);
        if (!on) {
            // Switching printer sharing off forgets the printers.
            TreeMapObject* printers = mediashareArray(printer.get(), "printers");
            if (printers)
                printers->clearArrayItems();
            delete printers;
        }
        if (printer.save())
            rsp->status = FAL_OK;
    }
    return rsp;
}

_FAL_RSP_T* FalMediaShareLdb::MediasharePrinterRemove(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    _FAL_RSP_T* rsp =
        mediashareBegin(req, FalMsg::MediasharePrinterRemove, false,
                        "Cannot create response due to some memory issue\n");
    if (!rsp)
        return nullptr;
    TreeMapObject* removals = req->body ? req->body->clone("printers") : nullptr;
    if (!removals) {
        falAnswer(rsp, FAL_BAD_REQUEST, "A null message request received");
        return rsp;
    }
    if (removals->len() > kMaxPrinterRemovals) {
        falAnswer(rsp, FAL_BAD_REQUEST, "A wrong message request received");
        delete removals;
        return rsp;
    }
    rsp->status = FAL_FAILED;
    FalLock printer(API_TYPE_MEDIASHARE, "printer", req->requester);
    if (!printer) {
        mediashareFail(rsp, FAL_DB_ERROR, "No object found for key printer", "No object found");
    } else {
        TreeMapObject* printers = printer->get("printers");
        if (!printers) {
            mediashareFail(rsp, FAL_FAILED, "No object found for key printer.printers",
                           "Cannot get list of printers");
        } else {
            TreeMapObject* kept = keptPrinters(printers, removals);
            printer->set("printers", kept);
            if (printer.save())
                falAnswer(rsp, FAL_DELETED, "Record Deleted");
            delete kept;
        }
        delete printers;
    }
    delete removals;
    return rsp;
}
