// A program outside the tree that embeds libfal: prepares a gateway root, reads the DMZ settings
// of the service family and prints the reply. Exit status 0 when the reply is the expected one.
#include <fal/fal.h>

#include <cstdio>
#include <cstring>
#include <string>

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: consumer ROOT\n");
        return 2;
    }
    if (strcmp(falVersion(), FAL_VERSION_STRING) != 0) {
        fprintf(stderr, "library %s, headers %s\n", falVersion(), FAL_VERSION_STRING);
        return 1;
    }
    std::string error;
    if (!falEnterRoot(argv[1], error)) {
        fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }

    FalServiceLdb service;
    service.apiType = API_TYPE_SERVICE;
    _FAL_REQ_T req;
    req.apiType = API_TYPE_SERVICE;
    req.msgId = FalMsg::ServiceDmzGet;
    req.requester = "consumer";
    IFal* family = &service;
    _FAL_RSP_T* rsp = family->handleFalReq(&req);
    if (!rsp) {
        fprintf(stderr, "no response\n");
        return 1;
    }
    const bool ok = rsp->status == FAL_OK && rsp->msgId == FalMsg::ServiceDmzGet + 1 && rsp->data;
    printf("libfal %s: msgId %u status %u \"%s\" %s\n", falVersion(), rsp->msgId, rsp->status,
           rsp->message ? rsp->message : "", rsp->data ? rsp->data->toJsonString().c_str() : "null");
    freeFalResponse(rsp);
    return ok ? 0 : 1;
}
