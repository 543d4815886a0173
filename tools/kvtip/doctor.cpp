#include <algorithm>
#include <array>
#include <bit>
#include <span>

#include <windows.h>

#include "command.h"
#include "ip/lib.h"
#include "output.h"

namespace {

/// An entry of a system library, and what the library does where it is missing.
struct entry {
    const char* name;
    const char* otherwise;
    bool has_substitute = false;
    bool is_one_of_two = false; ///< the library takes `getaddrinfo` and `freeaddrinfo` both or none
};

/// What the library takes from a system library: without one of the required entries nothing of it works.
struct binding {
    const wchar_t* file;
    const char* otherwise;
    std::span<const char* const> required;
    std::span<const entry> optional;
};

constexpr const char* sockets[] = {
    "WSAStartup",
    "WSACleanup",
    "WSAGetLastError",
    "WSAEnumProtocolsW",
    "WSASocketW",
    "getsockopt",
    "setsockopt",
    "shutdown",
    "closesocket",
    "bind",
    "listen",
    "select",
    "WSAAccept",
    "send",
    "sendto",
    "recv",
    "recvfrom",
    "connect",
    "htons",
    "ntohs",
    "htonl",
    "gethostbyname",
    "gethostbyaddr",
    "getservbyname",
    "getservbyport",
    "getpeername",
    "getsockname",
    "gethostname",
    "ioctlsocket",
    "WSAAddressToStringA",
    "WSAAddressToStringW",
    "WSAStringToAddressA",
    "WSAStringToAddressW",
};
constexpr const char* own_look_up = "names are looked up by gethostbyname, IPv4 only";
constexpr const char* own_connect = "connecting by name looks the name up and connects itself";
constexpr entry newer_sockets[] = {
    {"getaddrinfo", own_look_up, true, true},
    {"freeaddrinfo", own_look_up, true, true},
    {"getnameinfo", "addresses are looked up by gethostbyaddr, IPv4 only", true},
    {"GetNameInfoW", "wide names of addresses are converted narrow ones"},
    {"GetAddrInfoW", "wide names are looked up as narrow ones"},
    {"FreeAddrInfoW", "wide names are looked up as narrow ones"},
    {"WSAConnectByNameA", own_connect},
    {"WSAConnectByNameW", own_connect},
    {"WSAPoll", "there is no poll"},
};

constexpr const char* no_ping = "there is no ping over IPv4 (120)";
constexpr const char* no_ping6 = "there is no ping over IPv6 (120)";
constexpr const char* ipv4_neighbours = "only IPv4 neighbours are listed, without their states";
constexpr const char* neighbours[] = {"SendARP", "GetIpNetTable"};
constexpr entry newer_helpers[] = {
    {"IcmpCreateFile", no_ping},
    {"IcmpCloseHandle", "there is no ping (120)"},
    {"IcmpSendEcho", no_ping},
    {"GetAdaptersAddresses", "adapters come from GetAdaptersInfo, IPv4 only"},
    {"GetBestInterfaceEx", "the way to IPv6 hosts is not known (87)"},
    {"Icmp6CreateFile", no_ping6},
    {"Icmp6SendEcho2", no_ping6},
    {"ResolveIpNetEntry2", "hardware addresses of IPv6 neighbours are not known (87)"},
    {"GetIpNetTable2", ipv4_neighbours},
    {"FreeMibTable", ipv4_neighbours},
    {"GetExtendedTcpTable", "connections are not listed (1627)"},
    {"GetExtendedUdpTable", "UDP endpoints are not listed (1627)"},
    {"GetPerTcpConnectionEStats", "who opened a connection is not known"},
    {"GetPerTcp6ConnectionEStats", "who opened an IPv6 connection is not known"},
    {"GetBestRoute2", "gateways to IPv6 hosts are not known (10022)"},
};

constexpr const char* queries[] = {"DnsQuery_A", "DnsQuery_W", "DnsRecordListFree"};
constexpr const char* connections[] = {"RasEnumConnectionsW", "RasGetProjectionInfoW"};

constexpr binding bindings[] = {
    {L"Ws2_32.dll", "the library does not start", sockets, newer_sockets},
    {L"Iphlpapi.dll", "the library does not start", neighbours, newer_helpers},
    {L"Dnsapi.dll", "there are no DNS look-ups", queries, {}},
    {L"rasapi32.dll", "no connection counts as dial-up", connections, {}},
};

class module {
public:
    explicit module(const wchar_t* file) : handle_(LoadLibraryW(file)) {}
    ~module() {
        if (handle_ != nullptr) {
            FreeLibrary(handle_);
        }
    }
    module(const module&) = delete;
    module& operator=(const module&) = delete;

    bool is_loaded() const { return handle_ != nullptr; }
    bool has(const char* entry) const {
        return handle_ != nullptr && GetProcAddress(handle_, entry) != nullptr;
    }

private:
    HMODULE handle_;
};

json entry_json(const char* name, const char* state, const char* otherwise) {
    return {{"name", name}, {"state", state}, {"meaning", otherwise == nullptr ? json() : json(otherwise)}};
}

json binding_json(const binding& which) {
    const module library(which.file);
    json entries = json::array();
    for (const char* name : which.required) {
        const bool bound = library.has(name);
        entries.push_back(entry_json(name, bound ? "bound" : "missing", bound ? nullptr : which.otherwise));
    }
    const bool has_lists = library.has("getaddrinfo") && library.has("freeaddrinfo");
    for (const entry& each : which.optional) {
        const bool bound = each.is_one_of_two ? has_lists : library.has(each.name);
        const char* otherwise = each.has_substitute && library.is_loaded() ? "substituted" : "missing";
        entries.push_back(
            entry_json(each.name, bound ? "bound" : otherwise, bound ? nullptr : each.otherwise));
    }
    return {{"module", to_utf8(which.file)}, {"loaded", library.is_loaded()}, {"entries", entries}};
}

/// The version, which the system tells in full to this call only.
json system_json() {
    using rtl_get_version = LONG(WINAPI*)(OSVERSIONINFOW*);
    const auto ask =
        std::bit_cast<rtl_get_version>(GetProcAddress(GetModuleHandleW(L"ntdll"), "RtlGetVersion"));
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (ask == nullptr || ask(&version) != 0) {
        return nullptr;
    }
    return {{"major", version.dwMajorVersion},
            {"minor", version.dwMinorVersion},
            {"build", version.dwBuildNumber}};
}

json examine(const line_sink& /*show*/) {
    json libraries = json::array();
    for (const binding& each : bindings) {
        libraries.push_back(binding_json(each));
    }
    ip::lib library;
    return {{"system", system_json()}, {"start", library.init()}, {"libraries", libraries}};
}

std::string version_text(const json& version) {
    return version.is_null() ? "unknown"
                             : version["major"].dump() + "." + version["minor"].dump() + ", build " +
                                   version["build"].dump();
}

/// How many entries are bound, and what it means that others are not.
json library_lines(const json& library) {
    if (!library["loaded"]) {
        return "missing: " + library["entries"][0]["meaning"].get<std::string>();
    }
    const json& entries = library["entries"];
    const auto bound =
        std::count_if(entries.begin(), entries.end(), [](auto& each) { return each["state"] == "bound"; });
    json lines = {std::to_string(bound) + " of " + std::to_string(entries.size()) + " entries"};
    for (const json& each : entries) {
        if (each["state"] != "bound") {
            lines.push_back(each["name"].get<std::string>() + " is " + each["state"].get<std::string>() +
                            ": " + each["meaning"].get<std::string>());
        }
    }
    return lines;
}

std::string text(const json& result) {
    std::string fields;
    append_field(fields, "Windows", version_text(result["system"]));
    const unsigned long code = result["start"];
    append_field(fields, "kvtIP",
                 code == 0 ? "starts"
                           : "does not start: " + std::to_string(code) + ": " + system_message(code));
    for (const json& library : result["libraries"]) {
        append_field(fields, library["module"].get<std::string>(), library_lines(library));
    }
    return fields;
}

std::string failure(const json& result) {
    return result["start"] == 0 ? "" : "the library does not start";
}

} // namespace

const command doctor_command = {"doctor",
                                "Show what the system offers the library, and what is missing",
                                [](CLI::App&) -> operation { return examine; },
                                text,
                                failure,
                                true};
