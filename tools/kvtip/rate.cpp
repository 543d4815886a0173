#include "rate.h"

#include <cstdio>

value traffic_value(const kvtip::traffic& traffic) {
    return {{"bytes", traffic.bytes},
            {"unicast_packets", traffic.unicast_packets},
            {"multicast_packets", traffic.multicast_packets},
            {"errors", traffic.errors},
            {"discards", traffic.discards}};
}

std::string rate_text(double rate) {
    const char* unit = "bit/s";
    for (const char* next : {"kbit/s", "Mbit/s", "Gbit/s"}) {
        if (rate < 1000) {
            break;
        }
        rate /= 1000;
        unit = next;
    }
    char text[64];
    std::snprintf(text, sizeof text, rate < 10 && *unit != 'b' ? "%.1f %s" : "%.0f %s", rate, unit);
    return text;
}
