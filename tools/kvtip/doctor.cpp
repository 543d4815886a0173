#include <algorithm>
#include <array>
#include <bit>
#include <span>

#include <windows.h>

#include "command.h"
#include "encoding.h"
#include "errors.h"
#include "ip/lib.h"
#include "layout.h"

namespace {

/// An entry of a system library, and what its absence means.
struct entry {
    const char* name;
    const char* effect;
    bool has_substitute = false;
    bool is_one_of_two = false; ///< the library takes `getaddrinfo` and `freeaddrinfo` both or none
};

/// What the library takes from a system library: without one of the required entries nothing of it works.
struct binding {
    const wchar_t* file;
    const char* effect; ///< of a required entry that is missing
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
constexpr const char* narrow_lookup = "names are looked up by gethostbyname, IPv4 only";
constexpr const char* connect_substitute = "the library itself looks the name up and connects";
constexpr entry newer_sockets[] = {
    {"getaddrinfo", narrow_lookup, true, true},
    {"freeaddrinfo", narrow_lookup, true, true},
    {"getnameinfo", "addresses are looked up by gethostbyaddr, IPv4 only", true},
    {"GetNameInfoW", "wide names of addresses are converted from narrow ones"},
    {"GetAddrInfoW", "wide names are looked up as narrow ones"},
    {"FreeAddrInfoW", "wide names are looked up as narrow ones"},
    {"WSAConnectByNameA", connect_substitute},
    {"WSAConnectByNameW", connect_substitute},
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
    {L"Dnsapi.dll", "there are no DNS lookups", queries, {}},
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

value entry_value(const char* name, const char* state, const char* effect) {
    return {{"name", name}, {"state", state}, {"meaning", effect == nullptr ? value() : value(effect)}};
}

value binding_value(const binding& which) {
    const module library(which.file);
    value entries = value::list();
    for (const char* name : which.required) {
        const bool bound = library.has(name);
        entries.add(entry_value(name, bound ? "bound" : "missing", bound ? nullptr : which.effect));
    }
    const bool has_lists = library.has("getaddrinfo") && library.has("freeaddrinfo");
    for (const entry& each : which.optional) {
        const bool bound = each.is_one_of_two ? has_lists : library.has(each.name);
        const char* unbound = each.has_substitute && library.is_loaded() ? "substituted" : "missing";
        entries.add(entry_value(each.name, bound ? "bound" : unbound, bound ? nullptr : each.effect));
    }
    return {{"module", to_utf8(which.file)}, {"loaded", library.is_loaded()}, {"entries", entries}};
}

/// The version, which the system reports in full to this call only.
value system_value() {
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

value examine(const line_sink& /*show*/) {
    value libraries = value::list();
    for (const binding& each : bindings) {
        libraries.add(binding_value(each));
    }
    ip::lib library;
    return {{"system", system_value()}, {"start", library.init()}, {"libraries", libraries}};
}

std::string version_text(const value& version) {
    return version.is_null() ? "unknown"
                             : plain_text(version["major"]) + "." + plain_text(version["minor"]) +
                                   ", build " + plain_text(version["build"]);
}

bool is_bound(const value& entry) {
    return entry["state"] == "bound";
}

/// How many entries are bound, and what the absence of the others means.
value library_lines(const value& library) {
    const std::vector<value>& entries = library["entries"].elements();
    if (!library["loaded"].truth()) {
        return "missing: " + entries.front()["meaning"].text();
    }
    value lines = value::list();
    lines.add(std::to_string(std::count_if(entries.begin(), entries.end(), is_bound)) + " of " +
              std::to_string(entries.size()) + " entries");
    for (const value& each : entries) {
        if (!is_bound(each)) {
            lines.add(each["name"].text() + " is " + each["state"].text() + ": " + each["meaning"].text());
        }
    }
    return lines;
}

std::string text(const value& result) {
    std::string fields;
    append_field(fields, "Windows", version_text(result["system"]));
    const auto code = static_cast<unsigned long>(result["start"].number());
    append_field(fields, "kvtIP", code == 0 ? "starts" : "does not start: " + code_text(code));
    for (const value& library : result["libraries"].elements()) {
        append_field(fields, library["module"].text(), library_lines(library));
    }
    return fields;
}

std::string failure(const value& result) {
    return result["start"] == 0 ? "" : "the library does not start";
}

} // namespace

const command doctor_command = {"doctor",
                                "Show what the system offers the library, and what is missing",
                                [](parameters&) -> operation { return examine; },
                                text,
                                failure,
                                true};
