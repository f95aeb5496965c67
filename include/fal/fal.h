// libfal: the management interface of a home gateway over a local JSON database.
//
// The whole public API: the request frame, the host services, the seven family classes, the
// gateway root, the request id of every operation and the version. Embedders include
// <fal/fal.h>; the headers it names sit beside it as "frame/...", "host/...", "gateway/...".
#pragma once

#include "fal/FalMsgIds.h"
#include "fal/FalVersion.h"

#include "frame/BeHelpers.h"
#include "registry/FalFamily.h"
#include "frame/FalGeneric.h"
#include "frame/FalResponse.h"
#include "frame/FalTypes.h"
#include "frame/IFal.h"
#include "host/FalRoot.h"
#include "host/JsonData.h"
#include "host/LocalDbCtrl.h"
#include "host/Logger.h"
#include "host/TreeMapObject.h"
#include "host/base64.h"

#include "gateway/FalGatewayLdb.h"
#include "mediashare/FalMediaShareLdb.h"
#include "network/FalNetworkLdb.h"
#include "qos/FalQosLdb.h"
#include "security/FalSecurityLdb.h"
#include "service/FalServiceLdb.h"
#include "wifi/FalWifiLdb.h"
