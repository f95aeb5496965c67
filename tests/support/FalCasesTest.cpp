// The JSON fixtures of every family, one test per file.
#include "support/FalCases.h"

FAL_CASES(Gateway, "gateway");
FAL_CASES(Network, "network");
FAL_CASES(Wifi, "wifi");
FAL_CASES(Security, "security");
FAL_CASES(Service, "service");
FAL_CASES(Mediashare, "mediashare");
FAL_CASES(Qos, "qos");
FAL_CASES(Frame, "frame");
