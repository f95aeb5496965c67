// FalMediaShareLdb: the media-share family over the local database.
#pragma once

#include "frame/IFal.h"

class TreeMapObject;

class FalMediaShareLdb : public IFalMediaShare {
public:
    FalMediaShareLdb();
    ~FalMediaShareLdb() override;

    // USB storage and printers.
    _FAL_RSP_T* MediashareUsbGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediashareUsbRemove(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediashareUsbUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediasharePrinterGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediasharePrinterUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediasharePrinterRemove(_FAL_REQ_T* req) override;

    // Network folders.
    _FAL_RSP_T* MediashareNetworkfolderGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediashareNetworkfolderUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediashareNetworkfolderCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediashareNetworkfolderDelete(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediashareNetworkfolderDeleteAll(_FAL_REQ_T* req) override;

    // The custom folder tree.
    _FAL_RSP_T* MediashareCustomfolderGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediashareCustomfolderCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediashareCustomfolderDelete(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediashareCustomfolderChange(_FAL_REQ_T* req) override;

    // FTP, Samba and DLNA.
    _FAL_RSP_T* MediashareFtpGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediashareFtpUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediashareSambaGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediashareSambaUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediashareDlnaGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediashareDlnaUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* MediashareDlnaScan(_FAL_REQ_T* req) override;
};

// The node of the custom folder tree under `root` whose "path" is `path`: the root itself for "/",
// otherwise a new handle that the caller deletes, or null when there is no such node. Paths
// without a leading slash walk like the same path with one.
TreeMapObject* GetJsonObjectByFolderPath(TreeMapObject* root, const char* path);
