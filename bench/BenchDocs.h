// The gateway document the benchmarks seed: system settings and N connected devices.
#pragma once

#include <cstdio>
#include <string>

inline std::string benchDeviceText(int i)
{
    static const char* const kPaths[] = {"2.4G-1", "5G-1", "2.4G-2", "5G-2", "LAN-1", "LAN-2"};
    static const char* const kTypes[] = {"phone", "laptop", "tv", "tablet", "camera", "printer"};
    char buf[1024];
    std::snprintf(buf, sizeof buf,
                  "{\"id\":%d,\"name\":\"Device %d\",\"macAddress\":\"A4:5E:60:%02X:%02X:%02X\","
                  "\"ipAddress\":\"192.168.%d.%d\",\"hostName\":\"host-%04d\",\"connected\":%s,"
                  "\"interface\":\"%s\",\"path\":\"%s\",\"deviceType\":\"%s\",\"rssi\":%d,\"linkRate\":%d,"
                  "\"lastConnected\":\"2024-05-%02dT%02d:%02d:%02dZ\","
                  "\"advanced\":{\"parentalContrl\":false,\"reservedIP\":%s,\"blocked\":false,"
                  "\"scheduleId\":%d,\"alias\":\"\"}}",
                  i + 1, i + 1, (i >> 16) & 0xff, (i >> 8) & 0xff, i & 0xff, 1 + (i / 250) % 250,
                  2 + i % 250, i, (i % 3) ? "true" : "false", (i % 6) < 4 ? "wifi" : "ethernet", kPaths[i % 6],
                  kTypes[i % 6], -40 - i % 45, 144 + (i % 7) * 120, 1 + i % 28, i % 24, i % 60, (i * 7) % 60,
                  (i % 5 == 0) ? "true" : "false", i % 4);
    return buf;
}

inline std::string benchGatewayText(int devices)
{
    std::string text =
        "{\"system\":{\"modelName\":\"HG-7100\",\"serialNumber\":\"HG71000042\","
        "\"firmwareVersion\":\"3.2.14\",\"timer\":{\"ntpEnabled\":true,"
        "\"ntpServer\":\"pool.ntp.org\",\"timeZone\":\"Europe/Paris\"}},"
        "\"lanSettings\":{\"ipAddress\":\"192.168.1.1\",\"subnetMask\":\"255.255.255.0\","
        "\"dhcpEnabled\":true,\"dhcpStart\":\"192.168.1.2\",\"dhcpEnd\":\"192.168.1.254\","
        "\"leaseTime\":86400},"
        "\"connectedDevices\":[";
    for (int i = 0; i < devices; ++i) {
        if (i)
            text += ',';
        text += benchDeviceText(i);
    }
    text += "]}";
    return text;
}
