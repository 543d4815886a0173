// Shows how this host reaches another: the adapter, the local address and the gateway.
//
//     route [NAME]

#include <clocale>
#include <cstdio>
#include <exception>

#include "common.h"

int main(int argc, char** argv) try {
    const char* name = argc > 1 ? argv[1] : "127.0.0.1";
    std::setlocale(LC_ALL, ""); // names are printed in the user's code page
    ip::lib library;
    check(library.init(), "start");
    ip::addr host;
    check(ip::winsock2::address_from_string(host, name), name);

    ip::adapter_enumerator adapters;
    ip::_SCurrentProfile profile;
    if (!adapters.find_current_profile(profile, endpoint(host))) {
        check(GetLastError(), "no way there"); // operations that return bool leave the code here
    }
    std::printf("to             %s\n", text(host).c_str());
    std::printf("adapter        %ls\n", profile.adapter.friendly_name.c_str());
    std::printf("local address  %s\n", text(profile.address).c_str());
    std::printf("gateway        %s\n", text(profile.gateway).c_str());
    if (profile.dial_up) {
        std::printf("dial-up        %ls\n", profile.entry_name.c_str());
    }

    std::string servers;
    if (ip::adapter_enumerator::retrievednsservers(servers)) {
        std::printf("DNS servers    %s\n", servers.c_str());
    }
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
