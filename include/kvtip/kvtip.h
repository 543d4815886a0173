/* The C interface of kvtIP.dll: what any compiler and any language can call.
 *
 * Conventions
 *
 * - A function that can fail returns uint32_t: 0, or a Windows error code. kvtip_message turns a code into a
 *   sentence and kvtip_error_name into its name. These codes mean the same everywhere:
 *       ERROR_NOT_ENOUGH_MEMORY (8)       memory is exhausted;
 *       ERROR_INVALID_PARAMETER (87)      misuse: a null pointer where none is allowed, options without their
 *                                         size or that do not hold together, a family that is not 0, 4 or 6,
 *                                         a reserved byte that is not 0, text that is not UTF-8;
 *       ERROR_CALL_NOT_IMPLEMENTED (120)  the system lacks an entry that this needs (see kvtip_entries), or
 *                                         has it in name only, as Wine has some;
 *       WSAEINVAL (10022)                 text that is no address;
 *       WSAETIMEDOUT (10060)              the time is over.
 *   Every function may also return the code of a system library that cannot be loaded (126, 127) or started.
 * - Text is UTF-8 and ends at a zero byte: the arguments of a Windows program's main are not, unless its
 *   manifest says so, and a console shows UTF-8 after SetConsoleOutputCP. Text in a result is never null.
 *   Ports are in the byte order of the host, times in milliseconds, dates in seconds since 1970 (UTC), speeds
 *   in bits per second.
 * - A result that a function allocates is one block: kvtip_free gives it back, with everything that it points
 *   to. On failure the pointer to it is null, unless the function says otherwise. A list holds pointers to its
 *   rows. Rows and single results grow at their end in later versions; a program that was built earlier reads
 *   on what it knows.
 * - Options are a structure whose first member is its size; null stands for the defaults, and so does zero in
 *   every member. In C: `kvtip_adapter_options options = {.size = sizeof options, .up = 1};`.
 * - Every function may be called from any thread, and none from DllMain. No start is needed: a function holds
 *   the system's libraries while it runs. kvtip_start keeps them between calls, for speed. After a call the
 *   thread's last error means nothing, except that kvtip_free, kvtip_message, kvtip_error_name, kvtip_stop,
 *   kvtip_close, kvtip_canceller_cancel, kvtip_canceller_close and kvtip_watcher_close leave it alone.
 * - Nothing here needs administrator rights.
 *
 * The comment of each function ends in the same five lines: what it returns, what is left on failure, who
 * frees what, how long the call can block, and since which version it exists. Types and members are as old as
 * the functions that use them unless they say otherwise.
 */
#ifndef KVTIP_KVTIP_H
#define KVTIP_KVTIP_H

#include <stddef.h>
#include <stdint.h>

#if UINTPTR_MAX != UINT64_MAX
#error "kvtIP exists for 64-bit programs only."
#endif

/* KVTIP_FUNCTION marks what the DLL exports. A program that links the library's objects defines
 * KVTIP_STATIC. */
#if !defined(_WIN32)
#define KVTIP_FUNCTION
#define KVTIP_CALL
#else
#if defined(KVTIP_STATIC)
#define KVTIP_FUNCTION
#elif defined(KVTIP_BUILD)
#define KVTIP_FUNCTION __declspec(dllexport)
#else
#define KVTIP_FUNCTION __declspec(dllimport)
#endif
#define KVTIP_CALL __cdecl
#endif

#ifdef __cplusplus
#define KVTIP_NOEXCEPT noexcept
extern "C" {
#else
#define KVTIP_NOEXCEPT
#endif

/* The layout below holds whatever packing the program has chosen. */
#pragma pack(push, 8)

/* ---- The library ------------------------------------------------------------------------------------- */

/* Of this header: major * 10000 + minor * 100 + patch. */
#define KVTIP_VERSION 100

/* Returns the version of the DLL, in the form of KVTIP_VERSION.
 *
 * Returns: the version.
 * On failure: it cannot fail.
 * Frees: nothing.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_version(void) KVTIP_NOEXCEPT;

/* Keeps the system's libraries loaded and started until the kvtip_stop that belongs to this call. Calls are
 * counted. Other functions work without it; each then loads and starts the libraries for itself, which costs
 * about a millisecond.
 *
 * Returns: 0, or the code of a library that cannot be loaded or started.
 * On failure: nothing is kept, and there is nothing to stop.
 * Frees: nothing.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_start(void) KVTIP_NOEXCEPT;

/* Takes one kvtip_start back.
 *
 * Returns: 0, or WSANOTINITIALISED (10093) if there is no start to take back.
 * On failure: nothing has changed.
 * Frees: nothing. Results and sockets stay valid.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_stop(void) KVTIP_NOEXCEPT;

/* Frees a result of any of these functions. Null is fine.
 *
 * Returns: nothing.
 * On failure: it cannot fail.
 * Frees: the result and everything that it points to.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION void KVTIP_CALL kvtip_free(const void* result) KVTIP_NOEXCEPT;

/* Holds every sentence of the library for a code, and most of those of the system. */
#define KVTIP_MESSAGE_SIZE 512

/* Writes a sentence for an error code: in English for the codes that the library knows, otherwise the
 * system's text. At most `capacity` bytes are written. Text that does not fit ends early, after a whole
 * character, and always with a zero byte; `text` may be null if `capacity` is 0.
 *
 * Returns: the size of the whole text in bytes, with its terminating zero.
 * On failure: a code without text gives "Error N".
 * Frees: nothing.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION size_t KVTIP_CALL kvtip_message(uint32_t code, char* text, size_t capacity) KVTIP_NOEXCEPT;

/* Returns the name of an error code, such as "WSAECONNREFUSED". The library knows the codes of the socket,
 * DNS, echo and IP Helper calls. Those from 11005 to 11050 are statuses of a ping: see kvtip_ping_status_name.
 *
 * Returns: the name, or empty text for a code that the library does not know; never null.
 * On failure: it cannot fail.
 * Frees: nothing: the text belongs to the library.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION const char* KVTIP_CALL kvtip_error_name(uint32_t code) KVTIP_NOEXCEPT;

/* What the system has in place of an entry. */
enum kvtip_entry_state {
    KVTIP_ENTRY_BOUND = 1,      /* the entry itself */
    KVTIP_ENTRY_MISSING = 2,    /* nothing: `effect` says what that means */
    KVTIP_ENTRY_SUBSTITUTED = 3 /* nothing, and the library does the work itself */
};

/* An entry of a system library that kvtIP looks up by its name. */
typedef struct kvtip_entry {
    const char* module; /* "Iphlpapi.dll" */
    const char* name;   /* "GetBestRoute2" */
    const char* effect; /* one sentence: what does not work without the entry, or works in another way */
    uint32_t required;  /* 1: the library does not start without the entry */
    uint32_t state;     /* enum kvtip_entry_state */
} kvtip_entry;

typedef struct kvtip_entry_list {
    const kvtip_entry* const* rows;
    size_t count;
    size_t row_size;   /* of a row, in bytes, as the DLL fills it: says which members are there */
    uint32_t missing;  /* 0 */
    uint32_t reserved; /* 0 */
} kvtip_entry_list;

/* Lists every entry of a system library that kvtIP uses, and whether this system has it. Works also where the
 * library cannot start.
 *
 * Returns: 0, 8 or 87.
 * On failure: *entries is null.
 * Frees: the caller frees *entries with kvtip_free.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_entries(const kvtip_entry_list** entries) KVTIP_NOEXCEPT;

/* What a list lacks because this system cannot list it: bits of its member `missing`. */
enum kvtip_missing {
    KVTIP_MISSING_IPV4 = 1,
    KVTIP_MISSING_IPV6 = 2,
    KVTIP_MISSING_PROCESS_NAMES = 4,
    KVTIP_MISSING_DIRECTION = 8,
    KVTIP_MISSING_COUNTERS = 16,
    KVTIP_MISSING_ROUTES = 32,
    KVTIP_MISSING_PROCESS_PATHS = 64
};

/* ---- Addresses and their text ------------------------------------------------------------------------ */

/* An IP address. These structures are frozen: they never grow. Two addresses are equal if and only if their
 * bytes are. */
typedef struct kvtip_address {
    uint8_t family;      /* 0 no address, 4, 6; anything else in input is 87 */
    uint8_t reserved[3]; /* 0; anything else in input is 87 */
    uint32_t scope;      /* an interface index; only for fe80::/10, fec0::/10 and multicast of scope 1 or 2,
                            otherwise 0 */
    uint8_t bytes[16];   /* in network order; IPv4 uses the first four, and the rest are 0 */
} kvtip_address;

typedef struct kvtip_endpoint {
    kvtip_address address;
    uint16_t port;     /* in the host's byte order */
    uint16_t reserved; /* 0 */
} kvtip_endpoint;

typedef struct kvtip_network {
    kvtip_address address; /* the bits after the prefix are 0; no scope */
    uint8_t prefix_length; /* 0 to 32, or to 128 */
    uint8_t reserved[3];   /* 0 */
} kvtip_network;

/* A hardware (link-layer) address. */
typedef struct kvtip_mac {
    uint8_t bytes[32];   /* those after `length` are 0 */
    uint8_t length;      /* 0 to 32; 0 without a hardware address */
    uint8_t reserved[3]; /* 0 */
} kvtip_mac;

/* Sizes that hold every text of such a value, with its terminating zero. */
#define KVTIP_ADDRESS_TEXT_SIZE 51
#define KVTIP_ENDPOINT_TEXT_SIZE 59
#define KVTIP_NETWORK_TEXT_SIZE 44
#define KVTIP_MAC_TEXT_SIZE 96

/* Reads an address: "192.0.2.1", "2001:db8::1", "fe80::1%4". The whole text must be one. No octal or short
 * IPv4 forms, no leading zeros, no brackets, no blanks; a scope is a number from 1 to 4294967295 and stands
 * only where an address can have one (kvtip_scope turns an interface's name into that number).
 *
 * Returns: 0, WSAEINVAL (10022) for text that is no address, or 87.
 * On failure: *address is no address (all zero).
 * Frees: nothing.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_parse_address(const char* text,
                                                       kvtip_address* address) KVTIP_NOEXCEPT;

/* Reads an endpoint: "192.0.2.1:80", "[2001:db8::1]:80", "[fe80::1%4]:80". The port is a number from 0 to
 * 65535 without leading zeros; an IPv6 address needs its brackets.
 *
 * Returns: 0, WSAEINVAL (10022) for text that is no endpoint, or 87.
 * On failure: *endpoint is all zero.
 * Frees: nothing.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_parse_endpoint(const char* text,
                                                        kvtip_endpoint* endpoint) KVTIP_NOEXCEPT;

/* Reads a network: "192.0.2.0/24", "2001:db8::/32". Bits after the prefix must be 0; there is no scope.
 *
 * Returns: 0, WSAEINVAL (10022) for text that is no network, or 87.
 * On failure: *network is all zero.
 * Frees: nothing.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_parse_network(const char* text,
                                                       kvtip_network* network) KVTIP_NOEXCEPT;

/* Reads a hardware address: pairs of hexadecimal digits between which stand only hyphens or only colons,
 * "02-00-5E-10-00-01".
 *
 * Returns: 0, WSAEINVAL (10022) for text that is no hardware address, or 87.
 * On failure: *mac is all zero.
 * Frees: nothing.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_parse_mac(const char* text, kvtip_mac* mac) KVTIP_NOEXCEPT;

/* Writes an address in its one canonical form (RFC 5952), with its scope as a number. The text of no address
 * is empty.
 *
 * Returns: 0, ERROR_INSUFFICIENT_BUFFER (122) if `capacity` bytes are too few, or 87.
 * On failure: the text is empty if `capacity` is not 0.
 * Frees: nothing.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_format_address(const kvtip_address* address, char* text,
                                                        size_t capacity) KVTIP_NOEXCEPT;

/* Writes an endpoint: "192.0.2.1:80", "[fe80::1%4]:80". The text of an endpoint without address is empty.
 *
 * Returns: 0, ERROR_INSUFFICIENT_BUFFER (122) if `capacity` bytes are too few, or 87.
 * On failure: the text is empty if `capacity` is not 0.
 * Frees: nothing.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_format_endpoint(const kvtip_endpoint* endpoint, char* text,
                                                         size_t capacity) KVTIP_NOEXCEPT;

/* Writes a network: "2001:db8::/32". The text of a network without address is empty.
 *
 * Returns: 0, ERROR_INSUFFICIENT_BUFFER (122) if `capacity` bytes are too few, or 87.
 * On failure: the text is empty if `capacity` is not 0.
 * Frees: nothing.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_format_network(const kvtip_network* network, char* text,
                                                        size_t capacity) KVTIP_NOEXCEPT;

/* Writes a hardware address in capitals with hyphens: "02-00-5E-10-00-01". Without one the text is empty.
 *
 * Returns: 0, ERROR_INSUFFICIENT_BUFFER (122) if `capacity` bytes are too few, or 87.
 * On failure: the text is empty if `capacity` is not 0.
 * Frees: nothing.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_format_mac(const kvtip_mac* mac, char* text,
                                                    size_t capacity) KVTIP_NOEXCEPT;

/* Finds the scope that a name stands for: the index of the interface of that name as users see it
 * ("Ethernet", in any case) or of that GUID ("{...}"), its IPv6 index where it has one. A number from 1 to
 * 4294967295 stands for itself, whether there is such an interface or not. Rests on GetAdaptersAddresses.
 *
 * Returns: 0, ERROR_NOT_FOUND (1168) without such an interface, or the code of kvtip_adapters.
 * On failure: *scope is 0.
 * Frees: nothing.
 * Blocks: up to a second; not for a number.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_scope(const char* text, uint32_t* scope) KVTIP_NOEXCEPT;

/* ---- Adapters ---------------------------------------------------------------------------------------- */

/* What stands for an unknown value where 0 is a possible one. */
#define KVTIP_UNKNOWN_METRIC 0xFFFFFFFFu
#define KVTIP_UNKNOWN_PREFIX 255
#define KVTIP_UNKNOWN_LIFETIME 0xFFFFFFFEu
#define KVTIP_UNKNOWN_PHYSICAL 2

/* The lifetime of an address that stays for good. */
#define KVTIP_INFINITE_LIFETIME 0xFFFFFFFFu

/* The state of an adapter, with the system's values (IF_OPER_STATUS). */
enum kvtip_adapter_status {
    KVTIP_ADAPTER_UP = 1,
    KVTIP_ADAPTER_DOWN = 2,
    KVTIP_ADAPTER_TESTING = 3,
    KVTIP_ADAPTER_UNKNOWN = 4,
    KVTIP_ADAPTER_DORMANT = 5,
    KVTIP_ADAPTER_NOT_PRESENT = 6,
    KVTIP_ADAPTER_LOWER_LAYER_DOWN = 7
};

/* What an adapter is. Ethernet adapters that are something else by their medium, or without a device, are only
 * known as such with `details`. */
enum kvtip_adapter_kind {
    KVTIP_KIND_OTHER = 0,
    KVTIP_KIND_ETHERNET = 1,
    KVTIP_KIND_WIFI = 2,
    KVTIP_KIND_LOOPBACK = 3,
    KVTIP_KIND_TUNNEL = 4, /* IPv6 over IPv4, and the like */
    KVTIP_KIND_PPP = 5,    /* dial-up connections, and many to private networks */
    KVTIP_KIND_MOBILE = 6, /* mobile broadband */
    KVTIP_KIND_BLUETOOTH = 7,
    KVTIP_KIND_VIRTUAL = 8 /* made by software: of virtual machines and private networks */
};

/* Where the network part of an address comes from, with the system's values (NL_PREFIX_ORIGIN). */
enum kvtip_prefix_origin {
    KVTIP_PREFIX_OTHER = 0, /* also if it is not known */
    KVTIP_PREFIX_MANUAL = 1,
    KVTIP_PREFIX_WELL_KNOWN = 2, /* such as fe80::/64 */
    KVTIP_PREFIX_DHCP = 3,
    KVTIP_PREFIX_ROUTER_ADVERTISEMENT = 4
};

/* Where the rest of an address comes from, with the system's values (NL_SUFFIX_ORIGIN). */
enum kvtip_suffix_origin {
    KVTIP_SUFFIX_OTHER = 0, /* also if it is not known */
    KVTIP_SUFFIX_MANUAL = 1,
    KVTIP_SUFFIX_WELL_KNOWN = 2,
    KVTIP_SUFFIX_DHCP = 3,
    KVTIP_SUFFIX_LINK_LAYER = 4, /* made of the hardware address, or in its place */
    KVTIP_SUFFIX_RANDOM = 5
};

/* The state of an address, with the system's values (NL_DAD_STATE). */
enum kvtip_address_state {
    KVTIP_ADDRESS_INVALID = 0,
    KVTIP_ADDRESS_TENTATIVE = 1,  /* the system still finds out whether another host has it */
    KVTIP_ADDRESS_DUPLICATE = 2,  /* another host on the link has it */
    KVTIP_ADDRESS_DEPRECATED = 3, /* valid, but not for new connections */
    KVTIP_ADDRESS_PREFERRED = 4,
    KVTIP_ADDRESS_UNKNOWN = 5 /* the system does not report the state */
};

/* A unicast address of an adapter. */
typedef struct kvtip_adapter_address {
    kvtip_address address;
    uint32_t prefix_length; /* of the on-link prefix; KVTIP_UNKNOWN_PREFIX if unknown */
    uint32_t reserved;
    int64_t lease_obtained; /* when the lease began and ends; 0 without a finite lifetime */
    int64_t lease_expires;
    uint32_t prefix_origin; /* enum kvtip_prefix_origin */
    uint32_t suffix_origin; /* enum kvtip_suffix_origin */
    uint32_t state;         /* enum kvtip_address_state */
    uint32_t temporary;     /* 1: an IPv6 address that the system replaces from time to time, for privacy */
    uint32_t preferred_lifetime; /* for how many seconds it stays preferred; KVTIP_INFINITE_LIFETIME,
                                    KVTIP_UNKNOWN_LIFETIME */
    uint32_t valid_lifetime;     /* the same until the adapter loses it */
} kvtip_adapter_address;

typedef struct kvtip_adapter_address_list {
    const kvtip_adapter_address* const* rows;
    size_t count;
    size_t row_size;
    uint32_t missing;
    uint32_t reserved;
} kvtip_adapter_address_list;

/* What an adapter has received, or sent, since it came up. */
typedef struct kvtip_traffic {
    uint64_t bytes;
    uint64_t unicast_packets;
    uint64_t multicast_packets; /* and broadcast ones */
    uint64_t errors;            /* packets with errors, which were dropped */
    uint64_t discards;          /* packets without errors that were dropped, as for lack of room */
} kvtip_traffic;

typedef struct kvtip_adapter_counters {
    kvtip_traffic received;
    kvtip_traffic sent;
} kvtip_adapter_counters;

/* A network adapter. */
typedef struct kvtip_adapter {
    const char* name;        /* as users see it: "Ethernet" */
    const char* guid;        /* of the interface, in braces; unique */
    const char* description; /* of the device */
    const char* dns_suffix;
    const char* device_id; /* the device instance identifier; empty if the device has none */
    uint32_t index;        /* the interface index for IPv4; 0 while IPv4 is off */
    uint32_t ipv6_index;   /* the one for IPv6; 0 while IPv6 is off */
    uint32_t type;         /* IANA ifType: 6 Ethernet, 24 loopback, 71 IEEE 802.11, 131 tunnel, ... */
    uint32_t status;       /* enum kvtip_adapter_status */
    uint32_t ipv4_metric;  /* KVTIP_UNKNOWN_METRIC if unknown */
    uint32_t ipv6_metric;
    uint32_t dhcp_enabled; /* 0 or 1 */
    uint32_t dhcpv6_iaid;  /* the identity association of DHCPv6; 0 without DHCPv6 */
    kvtip_mac mac;
    uint32_t reserved;
    kvtip_address dhcp_server;   /* family 0 without DHCP */
    kvtip_address dhcpv6_server; /* family 0 without DHCPv6 */
    const uint8_t* dhcpv6_duid;  /* dhcpv6_duid_size bytes; never null */
    size_t dhcpv6_duid_size;
    kvtip_adapter_address_list addresses;
    const kvtip_address* gateways; /* gateway_count addresses, with scope; never null */
    size_t gateway_count;
    /* dns_server_count addresses, with scope; never null. Where no IPv6 server is set, Windows lists
       fec0:0:0:ffff::1 to ::3, which lead nowhere. */
    const kvtip_address* dns_servers;
    size_t dns_server_count;
    uint64_t transmit_speed; /* of the link, in bits per second; 0 if unknown */
    uint64_t receive_speed;
    uint32_t mtu;  /* the largest packet in bytes: 0 if unknown, 4294967295 without a limit */
    uint32_t kind; /* enum kvtip_adapter_kind */
    /* The rest is only there with `details`. */
    uint32_t physical; /* 1: a device; 0: made by software; KVTIP_UNKNOWN_PHYSICAL if unknown */
    uint32_t primary;  /* 1: the default route leads through it, see kvtip_primary; at most one is primary */
    const kvtip_adapter_counters* counters; /* null if the system has none for the adapter */
} kvtip_adapter;

typedef struct kvtip_adapter_list {
    const kvtip_adapter* const* rows;
    size_t count;
    size_t row_size;
    uint32_t missing; /* KVTIP_MISSING_IPV6 where only the older system call is there; with `details`
                         _COUNTERS, and _ROUTES where it is not known which adapter is primary */
    uint32_t reserved;
} kvtip_adapter_list;

typedef struct kvtip_adapter_options {
    uint32_t size;
    uint32_t family;  /* 4 or 6: only adapters with that family, and of their addresses, gateways and DNS
                        servers only those of that family; 0: both */
    uint32_t up;      /* 1: only adapters that are up */
    uint32_t details; /* 1: also asks for `physical`, `primary` and `counters`, which cost two or three system
                         calls more */
} kvtip_adapter_options;

/* Lists the network adapters in the system's order, the loopback adapter and those that are down included. An
 * empty list is no failure. Rests on GetAdaptersAddresses; where that is missing, and on systems before
 * version 6, on GetAdaptersInfo, which knows IPv4 only, and neither the speed, MTU and metrics of adapters nor
 * the origin, state and lifetimes of addresses. Details rest on GetIfTable2 and on the system calls of
 * kvtip_routes.
 *
 * Returns: 0, 8, 87, or the system's code.
 * On failure: *adapters is null.
 * Frees: the caller frees *adapters with kvtip_free.
 * Blocks: up to a second.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_adapters(const kvtip_adapter_options* options,
                                                  const kvtip_adapter_list** adapters) KVTIP_NOEXCEPT;

/* A DNS server of an adapter: kvtip_adapter.dns_servers has the same addresses, without the mark. */
typedef struct kvtip_dns_server {
    kvtip_address address;
    uint32_t interface_index; /* the adapter's index for the family of the address, or its other one */
    uint32_t placeholder; /* 1: fec0:0:0:ffff::1 to ::3, which Windows lists where no IPv6 server is set */
    const char* adapter;  /* the adapter's name as users see it */
} kvtip_dns_server;

typedef struct kvtip_dns_server_list {
    const kvtip_dns_server* const* rows;
    size_t count;
    size_t row_size;
    uint32_t missing;
    uint32_t reserved;
} kvtip_dns_server_list;

typedef struct kvtip_dns_server_options {
    uint32_t size;
    uint32_t family; /* 4 or 6; 0: both */
    uint32_t usable; /* 1: only the servers of adapters that are up, without placeholders, each once, in the
                        order of the adapters' metrics; 0: those of all adapters, in the order of
                        kvtip_adapters */
} kvtip_dns_server_options;

/* Lists the DNS servers of the adapters. The metric of an adapter is the lesser of its two here. Rests on
 * kvtip_adapters.
 *
 * Returns: as kvtip_adapters.
 * On failure: *servers is null.
 * Frees: the caller frees *servers with kvtip_free.
 * Blocks: up to a second.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_dns_servers(const kvtip_dns_server_options* options,
                                                     const kvtip_dns_server_list** servers) KVTIP_NOEXCEPT;

/* ---- Routes and neighbours --------------------------------------------------------------------------- */

/* The way to a destination. */
typedef struct kvtip_route {
    uint32_t size;            /* of this structure, as the DLL fills it */
    uint32_t interface_index; /* of the interface that serves the destination */
    const char* adapter;      /* the name of its adapter as users see it; empty without an adapter */
    kvtip_network network;    /* the destinations that this route is for; family 0 if unknown */
    kvtip_address source;     /* the host's address that the system would use; family 0 if unknown */
    kvtip_address next_hop;   /* the router; family 0 if `on_link` */
    uint32_t on_link;         /* 1: the destination is reached without a router */
    uint32_t metric;          /* of the route and its interface together; KVTIP_UNKNOWN_METRIC if unknown */
    uint32_t reserved;
} kvtip_route;

/* Finds the way to a destination: for interface index 0 (and a destination without scope) whichever the
 * system would choose, otherwise the way through that interface. Rests on GetBestRoute2; where that is
 * missing or not supported, for IPv4 on GetBestRoute.
 *
 * Returns: 0; WSAENETUNREACH (10051) without a route; 120 for IPv6, or for a given interface, without
 *     GetBestRoute2; 8; 87; or the system's code.
 * On failure: *route is null.
 * Frees: the caller frees *route with kvtip_free.
 * Blocks: up to a second.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_route_to(const kvtip_address* destination, uint32_t interface_index,
                                                  const kvtip_route** route) KVTIP_NOEXCEPT;

/* How a route came into the table, with the system's values (NL_ROUTE_PROTOCOL). */
enum kvtip_route_protocol {
    KVTIP_ROUTE_OTHER = 1,
    KVTIP_ROUTE_LOCAL = 2,   /* made by the system for an address or a link of this host */
    KVTIP_ROUTE_NETMGMT = 3, /* set by an administrator, a program or DHCP */
    KVTIP_ROUTE_ICMP = 4,    /* from an ICMP redirect */
    KVTIP_ROUTE_EGP = 5,
    KVTIP_ROUTE_GGP = 6,
    KVTIP_ROUTE_HELLO = 7,
    KVTIP_ROUTE_RIP = 8,
    KVTIP_ROUTE_IS_IS = 9,
    KVTIP_ROUTE_ES_IS = 10,
    KVTIP_ROUTE_IGRP = 11,
    KVTIP_ROUTE_SPF_IGP = 12,
    KVTIP_ROUTE_OSPF = 13,
    KVTIP_ROUTE_BGP = 14,
    KVTIP_ROUTE_IDPR = 15,
    KVTIP_ROUTE_EIGRP = 16,
    KVTIP_ROUTE_DVMRP = 17,
    KVTIP_ROUTE_RPL = 18,
    KVTIP_ROUTE_DHCP = 19,
    KVTIP_ROUTE_AUTO_STATIC = 10002,   /* static, from a routing protocol of dial-up links */
    KVTIP_ROUTE_STATIC = 10006,        /* static, from a routing service */
    KVTIP_ROUTE_STATIC_NON_DOD = 10007 /* the same, without opening a dial-up link */
};

/* A route in the system's table. A default route is one whose network has prefix length 0. */
typedef struct kvtip_route_entry {
    kvtip_network network;    /* the destinations that this route is for */
    kvtip_address next_hop;   /* the router, with its scope; family 0 if `on_link` */
    uint32_t on_link;         /* 1: these destinations are reached without a router */
    uint32_t interface_index; /* of the interface that serves them */
    uint32_t metric;          /* of the route and its interface together; KVTIP_UNKNOWN_METRIC if unknown */
    uint32_t protocol;        /* enum kvtip_route_protocol, or any other number that the system uses */
    uint32_t reserved;
    const char* adapter; /* the name of the interface's adapter as users see it; empty without an adapter */
} kvtip_route_entry;

typedef struct kvtip_route_list {
    const kvtip_route_entry* const* rows;
    size_t count;
    size_t row_size;
    uint32_t missing; /* KVTIP_MISSING_IPV6, KVTIP_MISSING_IPV4 where the system cannot list that family */
    uint32_t reserved;
} kvtip_route_list;

typedef struct kvtip_route_options {
    uint32_t size;
    uint32_t family;          /* 4 or 6; 0: both */
    uint32_t interface_index; /* 0: any */
} kvtip_route_options;

/* Lists the routes of the system's table, those of IPv4 first, each family in the system's order. An empty
 * table is no failure. Rests on GetIpForwardTable2; where that is missing or not supported, for IPv4 on
 * GetIpForwardTable. Names and the metrics of interfaces come from kvtip_adapters.
 *
 * Returns: 0; 8; 87; 120 for IPv4 without these calls; or the system's code.
 * On failure: *routes is null.
 * Frees: the caller frees *routes with kvtip_free.
 * Blocks: up to a second.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_routes(const kvtip_route_options* options,
                                                const kvtip_route_list** routes) KVTIP_NOEXCEPT;

/* How this host reaches the network: the adapter, and how it is set up. */
typedef struct kvtip_primary_adapter {
    uint32_t size;            /* of this structure, as the DLL fills it */
    uint32_t interface_index; /* of the interface that the route leads through */
    const char* adapter;      /* the name of its adapter as users see it */
    const char* guid;         /* of the adapter, in braces */
    uint32_t type;            /* IANA ifType, as of kvtip_adapter */
    uint32_t kind;          /* enum kvtip_adapter_kind; a virtual adapter or a tunnel is one of its values */
    uint32_t physical;      /* 1: a device; 0: made by software; KVTIP_UNKNOWN_PHYSICAL if unknown */
    uint32_t metric;        /* of the route and its interface together; KVTIP_UNKNOWN_METRIC if unknown */
    kvtip_address address;  /* the host's address there; family 0 if it has none */
    uint32_t prefix_length; /* of the on-link prefix of the address; KVTIP_UNKNOWN_PREFIX if unknown */
    kvtip_address next_hop; /* the router; family 0 without one */
    uint32_t reserved;
    const kvtip_address* dns_servers; /* dns_server_count usable ones of the adapter; never null */
    size_t dns_server_count;
} kvtip_primary_adapter;

/* Finds the adapter through which this host reaches a destination. Null stands for everything beyond its
 * links: it is then the adapter of the default route with the least metric, of IPv4 if there is one, otherwise
 * of IPv6, among adapters that are up. The address is the one that the system would send from to the
 * destination; without a destination one that is not deprecated, reaches beyond the link and is in the
 * router's network, as far as the adapter has such an address. Nothing is sent. Rests on kvtip_adapters with
 * `details`, and on the system calls of kvtip_route_to or kvtip_routes.
 *
 * Returns: 0; WSAENETUNREACH (10051) without a route; 8; 87; or the code of kvtip_route_to or kvtip_routes.
 * On failure: *primary is null.
 * Frees: the caller frees *primary with kvtip_free.
 * Blocks: up to a second.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_primary(const kvtip_address* destination,
                                                 const kvtip_primary_adapter** primary) KVTIP_NOEXCEPT;

/* What is known of a neighbour, with the system's values (NL_NEIGHBOR_STATE). */
enum kvtip_neighbour_state {
    KVTIP_NEIGHBOUR_UNREACHABLE = 0,
    KVTIP_NEIGHBOUR_INCOMPLETE = 1,
    KVTIP_NEIGHBOUR_PROBE = 2,
    KVTIP_NEIGHBOUR_DELAY = 3,
    KVTIP_NEIGHBOUR_STALE = 4,
    KVTIP_NEIGHBOUR_REACHABLE = 5,
    KVTIP_NEIGHBOUR_PERMANENT = 6,
    KVTIP_NEIGHBOUR_UNKNOWN = 7 /* the system does not report the state */
};

/* A host on the same link, or a multicast group. */
typedef struct kvtip_neighbour {
    kvtip_address address;
    kvtip_mac mac; /* length 0 without a hardware address */
    uint32_t interface_index;
    uint32_t interface_type; /* IANA ifType; 1 if unknown */
    uint32_t state;          /* enum kvtip_neighbour_state */
} kvtip_neighbour;

typedef struct kvtip_neighbour_list {
    const kvtip_neighbour* const* rows;
    size_t count;
    size_t row_size;
    uint32_t missing; /* KVTIP_MISSING_IPV6 where the system cannot list IPv6 neighbours */
    uint32_t reserved;
} kvtip_neighbour_list;

typedef struct kvtip_neighbour_options {
    uint32_t size;
    uint32_t family;          /* 4 or 6; 0: both */
    uint32_t interface_index; /* 0: any */
} kvtip_neighbour_options;

/* Lists the neighbours that the system knows, in its order. An empty table is no failure. Rests on
 * GetIpNetTable2; where that is missing or fails for both families at once, IPv4 is asked for alone, by
 * GetIpNetTable in the end.
 *
 * Returns: 0, 8, 87, or the system's code.
 * On failure: *neighbours is null.
 * Frees: the caller frees *neighbours with kvtip_free.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_neighbours(const kvtip_neighbour_options* options,
                                                    const kvtip_neighbour_list** neighbours) KVTIP_NOEXCEPT;

/* Asks a neighbour for its hardware address. The interface is the one given, otherwise the target's scope,
 * otherwise the one that serves the target. Rests on ResolveIpNetEntry2; where that is missing, for IPv4 on
 * SendARP, which chooses the interface itself.
 *
 * Returns: 0; ERROR_BAD_NET_NAME (67) if nobody answers; 120 for IPv6 without ResolveIpNetEntry2; 87; or the
 *     system's code.
 * On failure: *mac is all zero.
 * Frees: nothing.
 * Blocks: about 3 seconds if nobody answers.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_hardware_address(const kvtip_address* target,
                                                          uint32_t interface_index,
                                                          kvtip_mac* mac) KVTIP_NOEXCEPT;

/* ---- Connections ------------------------------------------------------------------------------------- */

enum kvtip_protocol { KVTIP_TCP = 6, KVTIP_UDP = 17 };

/* The state of a TCP connection, with the system's values (MIB_TCP_STATE). */
enum kvtip_connection_state {
    KVTIP_STATE_NONE = 0, /* UDP */
    KVTIP_STATE_CLOSED = 1,
    KVTIP_STATE_LISTEN = 2,
    KVTIP_STATE_SYN_SENT = 3,
    KVTIP_STATE_SYN_RECEIVED = 4,
    KVTIP_STATE_ESTABLISHED = 5,
    KVTIP_STATE_FIN_WAIT_1 = 6,
    KVTIP_STATE_FIN_WAIT_2 = 7,
    KVTIP_STATE_CLOSE_WAIT = 8,
    KVTIP_STATE_CLOSING = 9,
    KVTIP_STATE_LAST_ACK = 10,
    KVTIP_STATE_TIME_WAIT = 11,
    KVTIP_STATE_DELETE_TCB = 12
};

/* Who opened a TCP connection. */
enum kvtip_direction {
    KVTIP_DIRECTION_UNKNOWN = 0, /* UDP, listeners, and where the system does not report it */
    KVTIP_DIRECTION_IN = 1,
    KVTIP_DIRECTION_OUT = 2
};

/* A TCP connection or listener, or a UDP endpoint. */
typedef struct kvtip_connection {
    kvtip_endpoint local;
    kvtip_endpoint remote;      /* all zero for listeners and UDP */
    uint32_t protocol;          /* enum kvtip_protocol */
    uint32_t state;             /* enum kvtip_connection_state */
    uint32_t direction;         /* enum kvtip_direction */
    uint32_t process;           /* the identifier of the owning process; 0 if that has ended, or if the
                                 system does not report it, as is common under Wine */
    const char* process_name;   /* the file name of its program; "Idle" for 0 and "System" for 4 where the
                                 system lists these two; empty if it is not known */
    const char* process_path;   /* the full path of its program; empty if not asked for, or not known */
    uint32_t process_path_code; /* 0 with a path, or as kvtip_process.path_code; 0 if not asked for */
    uint32_t reserved;
} kvtip_connection;

typedef struct kvtip_connection_list {
    const kvtip_connection* const* rows;
    size_t count;
    size_t row_size;
    uint32_t missing; /* KVTIP_MISSING_IPV6, _PROCESS_NAMES, _PROCESS_PATHS, _DIRECTION */
    uint32_t reserved;
} kvtip_connection_list;

/* Bits of kvtip_connection_options.flags. */
enum kvtip_connection_flags {
    KVTIP_CONNECTIONS_OF_PROCESS = 1, /* `process` counts, also if it is 0 */
    KVTIP_CONNECTIONS_NO_NAMES = 2,   /* leaves out the names of processes, which cost a walk of their list */
    KVTIP_CONNECTIONS_NO_DIRECTION = 4, /* leaves out the directions, which cost a system call a connection */
    KVTIP_CONNECTIONS_PATHS = 8         /* asks for the paths of programs too: three system calls a process */
};

typedef struct kvtip_connection_options {
    uint32_t size;
    uint32_t flags;       /* enum kvtip_connection_flags */
    uint32_t protocol;    /* enum kvtip_protocol; 0: both */
    uint32_t family;      /* 4 or 6; 0: both */
    uint32_t state;       /* enum kvtip_connection_state; 0: any, and UDP too */
    uint32_t process;     /* with KVTIP_CONNECTIONS_OF_PROCESS */
    uint16_t local_port;  /* 0: any */
    uint16_t remote_port; /* 0: any */
} kvtip_connection_options;

/* Lists TCP over IPv4, TCP over IPv6, UDP over IPv4 and UDP over IPv6, each in the system's order. A
 * connection within this host is in the list twice, once from each end. Rests on GetExtendedTcpTable and
 * GetExtendedUdpTable, for directions on GetPerTcpConnectionEStats and GetPerTcp6ConnectionEStats, for the
 * names of processes on CreateToolhelp32Snapshot, for the paths of their programs on OpenProcess and
 * QueryFullProcessImageNameW, each asked for once a process.
 *
 * Returns: 0, 8, 87, 120 without these calls, or the system's code.
 * On failure: *connections is null.
 * Frees: the caller frees *connections with kvtip_free.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_connections(
    const kvtip_connection_options* options, const kvtip_connection_list** connections) KVTIP_NOEXCEPT;

/* A process. */
typedef struct kvtip_process {
    uint32_t size; /* of this structure, as the DLL fills it */
    uint32_t id;
    const char* name;   /* the file name of its program, "System" for 4; empty if it is not known */
    const char* path;   /* the full path of its program; empty if it is not known */
    uint32_t path_code; /* why the path is empty: ERROR_ACCESS_DENIED (5) if the process may not be opened,
                           ERROR_INVALID_PARAMETER (87) if it has ended, 120 without the system calls, another
                           code of the system; 0 with a path, and for 4, which has no program */
    uint32_t reserved;
} kvtip_process;

/* Finds the process that owns exactly this pair of endpoints, addresses and ports, or with a null `remote`
 * the listener or UDP endpoint that `local` belongs to: one at that address, failing that one at the wildcard
 * address of the family. Scope 0 stands for any scope. The protocol is KVTIP_TCP or KVTIP_UDP; only TCP has a
 * `remote`, of the family of `local`. A socket that serves both families may be listed under IPv6 alone, with
 * IPv4-mapped addresses: ask for these then. Rests on the system calls of kvtip_connections.
 *
 * Returns: 0; ERROR_NOT_FOUND (1168) if there is no such connection or endpoint, or if the system lists it
 *     without a process, as in TIME_WAIT; 87; or the code of kvtip_connections.
 * On failure: *process is null.
 * Frees: the caller frees *process with kvtip_free.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_owner(uint32_t protocol, const kvtip_endpoint* local,
                                               const kvtip_endpoint* remote,
                                               const kvtip_process** process) KVTIP_NOEXCEPT;

/* ---- Cancelling -------------------------------------------------------------------------------------- */

/* Ends operations that wait and that name it in their options: kvtip_resolve, kvtip_resolve_all,
 * kvtip_connect, kvtip_connect_endpoint, kvtip_ping and kvtip_ping_all. It may serve any number of them, one
 * after the other or at once, in any threads. It keeps the libraries loaded until kvtip_canceller_close. */
typedef struct kvtip_canceller kvtip_canceller;

/* Makes a canceller. Rests on CreateEventW.
 *
 * Returns: 0; 120 without the system calls; 8; 87; or the system's code.
 * On failure: *canceller is null.
 * Frees: the caller closes *canceller with kvtip_canceller_close.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_canceller_create(kvtip_canceller** canceller) KVTIP_NOEXCEPT;

/* Ends the operations that use the canceller as soon as the system lets them end, and every later one. They
 * return ERROR_OPERATION_ABORTED (995). Any thread may call this, also a handler of Ctrl-C. Null is fine.
 *
 * Returns: nothing.
 * On failure: it cannot fail.
 * Frees: nothing: the canceller is still to be closed.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION void KVTIP_CALL kvtip_canceller_cancel(kvtip_canceller* canceller) KVTIP_NOEXCEPT;

/* Closes a canceller. No operation may use it then: those that used it must have returned. Null is fine.
 *
 * Returns: nothing.
 * On failure: it cannot fail.
 * Frees: the canceller.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION void KVTIP_CALL kvtip_canceller_close(kvtip_canceller* canceller) KVTIP_NOEXCEPT;

/* ---- Names ------------------------------------------------------------------------------------------- */

enum kvtip_socket_type { KVTIP_STREAM = 1, KVTIP_DATAGRAM = 2 };

/* Bits of kvtip_resolve_options.flags. */
enum kvtip_resolve_flags {
    KVTIP_RESOLVE_PASSIVE = 1,        /* without a host: the wildcard addresses, to listen at */
    KVTIP_RESOLVE_CANONICAL_NAME = 2, /* asks for the canonical name too */
    KVTIP_RESOLVE_NUMERIC_HOST = 4,   /* the host is an address: no name service is asked */
    KVTIP_RESOLVE_CONFIGURED = 8      /* only families of which this host has an address */
};

typedef struct kvtip_resolve_options {
    uint32_t size;
    uint32_t family;               /* 4 or 6; 0: both */
    uint32_t socket_type;          /* enum kvtip_socket_type, for which the service is looked up; 0: stream */
    uint32_t flags;                /* enum kvtip_resolve_flags */
    uint32_t timeout;              /* for the whole call; 0: as long as the system takes */
    uint32_t reserved;             /* 0 */
    const kvtip_canceller* cancel; /* can end the call early; null: nothing can */
} kvtip_resolve_options;

/* The answer to the lookup of a host. */
typedef struct kvtip_resolution {
    uint32_t size; /* of this structure, as the DLL fills it */
    uint32_t reserved;
    const char* canonical_name;      /* empty if it was not asked for, or is not known */
    const kvtip_endpoint* endpoints; /* endpoint_count of them in the system's order, best first; not null */
    size_t endpoint_count;
} kvtip_resolution;

/* Looks a host and a service up by the system's name services. The host is a name or an address, also one
 * whose scope is an interface's name ("fe80::1%Ethernet"); null or empty stands for this host. The service is
 * a name ("http") or a port; null or empty stands for port 0. The system reads short and octal IPv4 forms
 * too, such as "127.1": where that matters, use kvtip_parse_address first. Rests on GetAddrInfoW; where that
 * is missing, on getaddrinfo or its substitute.
 *
 * A lookup with a time-out or a canceller, and every lookup of kvtip_resolve_all, rests on GetAddrInfoExW with
 * an event, and is given up by GetAddrInfoExCancel. After one, the system's socket library stays loaded and
 * started until the process ends. Systems before Windows 8 lack these calls, and a thread that impersonates a
 * user cannot use them: there a lookup takes as long as the system does, whatever the options say.
 *
 * Returns: 0; ERROR_NOT_FOUND (1168) without an interface of the name after the %; without an answer
 *     WSAHOST_NOT_FOUND (11001), WSATRY_AGAIN (11002), WSANO_RECOVERY (11003) or WSANO_DATA (11004);
 *     WSATYPE_NOT_FOUND (10109) for an unknown service or a port above 65535; WSAETIMEDOUT (10060);
 *     ERROR_OPERATION_ABORTED (995) if it was cancelled; 8; 87; or the system's code.
 * On failure: *resolution is null.
 * Frees: the caller frees *resolution with kvtip_free.
 * Blocks: for the time-out, and up to 100 milliseconds more while the system ends the lookup; without one for
 *     10 seconds and more if no name server answers.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_resolve(const char* host, const char* service,
                                                 const kvtip_resolve_options* options,
                                                 const kvtip_resolution** resolution) KVTIP_NOEXCEPT;

/* The lookup of a host among several. */
typedef struct kvtip_resolved_host {
    const char* host;                /* as the caller named it */
    const char* canonical_name;      /* empty if it was not asked for, or is not known */
    const kvtip_endpoint* endpoints; /* endpoint_count of them in the system's order, best first; not null */
    size_t endpoint_count;           /* 0 if the code is not 0 */
    uint32_t code;                   /* as kvtip_resolve returns it */
    uint32_t time;                   /* how long the lookup took; 0 if it was not begun */
} kvtip_resolved_host;

typedef struct kvtip_resolved_host_list {
    const kvtip_resolved_host* const* rows; /* in the order in which the caller named the hosts */
    size_t count;
    size_t row_size;
    uint32_t missing;
    uint32_t reserved;
} kvtip_resolved_host_list;

/* Looks several hosts up at once, each as kvtip_resolve does, and lists all of them, found or not. The service
 * and the options hold for each; the time-out is one for all together. At most 256 lookups are under way at a
 * time. A host that is empty text stands for this host.
 *
 * A host that is not found is no failure of the call. One that is not found in time has the code WSAETIMEDOUT
 * (10060). Where the system lacks the calls that a time-out needs, the hosts are looked up one after the other,
 * and none is begun after the time-out.
 *
 * Returns: 0; ERROR_OPERATION_ABORTED (995) if it was cancelled before all lookups had ended; 8; 87, also for
 *     a host that is null; or the system's code.
 * On failure: *list is null. If the code is 995, it lists the hosts all the same, with that code for each whose
 *     lookup had not ended.
 * Frees: the caller frees *list with kvtip_free, also if the code is 995.
 * Blocks: as kvtip_resolve.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_resolve_all(const char* const* hosts, size_t count,
                                                     const char* service,
                                                     const kvtip_resolve_options* options,
                                                     const kvtip_resolved_host_list** list) KVTIP_NOEXCEPT;

/* A name in a list. */
typedef struct kvtip_name {
    const char* name;
} kvtip_name;

typedef struct kvtip_name_list {
    const kvtip_name* const* rows;
    size_t count;
    size_t row_size;
    uint32_t missing;
    uint32_t reserved;
} kvtip_name_list;

/* Looks the names of an address up by the system's name services (GetNameInfoW; where that is missing,
 * getnameinfo or its substitute). These report one name; kvtip_dns_query lists all PTR records.
 *
 * Returns: 0; WSAHOST_NOT_FOUND (11001) without a name; 8; 87; or the system's code.
 * On failure: *names is null.
 * Frees: the caller frees *names with kvtip_free.
 * Blocks: 10 seconds and more if no name server answers.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_reverse(const kvtip_address* address,
                                                 const kvtip_name_list** names) KVTIP_NOEXCEPT;

/* Returns this host's name, in full Unicode (GetHostNameW; where that is missing, gethostname).
 *
 * Returns: 0, 8, 87, or the system's code.
 * On failure: *name is null.
 * Frees: the caller frees *name with kvtip_free.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_host_name(const char** name) KVTIP_NOEXCEPT;

/* The type of a DNS record, with its number in the protocol. */
enum kvtip_dns_type {
    KVTIP_DNS_A = 1,
    KVTIP_DNS_NS = 2,
    KVTIP_DNS_CNAME = 5,
    KVTIP_DNS_SOA = 6,
    KVTIP_DNS_PTR = 12,
    KVTIP_DNS_MX = 15,
    KVTIP_DNS_TXT = 16,
    KVTIP_DNS_AAAA = 28,
    KVTIP_DNS_SRV = 33,
    KVTIP_DNS_CAA = 257
};

/* A record of a DNS answer. Members that its type does not have are 0, or empty text. */
typedef struct kvtip_dns_record {
    const char* name;      /* whom the record is about */
    uint32_t type;         /* enum kvtip_dns_type */
    uint32_t time_to_live; /* in seconds */
    kvtip_address address; /* A, AAAA */
    const char* target;    /* PTR, CNAME: the name; NS: the name server; MX: the mail server; SRV: the host of
                              the service; SOA: the primary name server */
    uint32_t priority;     /* MX, SRV: targets with the least are tried first */
    uint32_t weight;       /* SRV: the share of a target among those of its priority */
    uint32_t port;         /* SRV */
    uint32_t flags;        /* CAA: with bit 128, an authority that does not know the tag must not issue */
    const char* tag;       /* CAA: what the value is, such as "issue" */
    const char* value;     /* CAA */
    const char* const* texts; /* TXT: text_count texts, which many readers join without a blank; never null */
    size_t text_count;
    const char* mailbox; /* SOA: of who is in charge; its first dot stands for the @ */
    uint32_t serial;     /* SOA: of this version of the zone */
    uint32_t refresh;    /* SOA: in seconds, when other name servers look for a new version */
    uint32_t retry;      /* SOA: in seconds, when they look again after a failure */
    uint32_t expire;     /* SOA: in seconds, when they give the zone up without one */
    uint32_t minimum;    /* SOA: in seconds, for how long the absence of a name or record is remembered */
    uint32_t reserved;
} kvtip_dns_record;

typedef struct kvtip_dns_record_list {
    const kvtip_dns_record* const* rows;
    size_t count;
    size_t row_size;
    uint32_t missing;
    uint32_t reserved;
} kvtip_dns_record_list;

/* Bits of kvtip_dns_options.flags. */
enum kvtip_dns_flags {
    KVTIP_DNS_BYPASS_CACHE = 1, /* asks a server even if the answer is known */
    KVTIP_DNS_TCP = 2           /* asks by TCP only */
};

typedef struct kvtip_dns_options {
    uint32_t size;
    uint32_t flags;       /* enum kvtip_dns_flags */
    kvtip_address server; /* the server to ask instead of the system's, past its cache; family 0: none */
} kvtip_dns_options;

/* Asks the DNS for the records of a name and lists those of that type in the answer. For PTR the name may be
 * an address: the name under which the DNS knows it is then asked for. Rests on DnsQuery_W, with a server on
 * DnsQueryEx.
 *
 * Returns: 0; DNS_ERROR_RCODE_NAME_ERROR (9003) for an unknown name; DNS_INFO_NO_RECORDS (9501) for a name
 *     without such a record; DNS_ERROR_RCODE_SERVER_FAILURE (9002); ERROR_TIMEOUT of the DNS as
 *     WSAETIMEDOUT (10060); 120 for a server without DnsQueryEx; 8; 87; or the system's code.
 * On failure: *records is null.
 * Frees: the caller frees *records with kvtip_free.
 * Blocks: 10 seconds and more if no name server answers.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_dns_query(const char* name, uint32_t type,
                                                   const kvtip_dns_options* options,
                                                   const kvtip_dns_record_list** records) KVTIP_NOEXCEPT;

/* ---- Ping -------------------------------------------------------------------------------------------- */

/* What became of a ping. */
enum kvtip_ping_outcome {
    KVTIP_PING_ANSWERED = 1,      /* the target answered */
    KVTIP_PING_TIMED_OUT = 2,     /* nobody answered in time */
    KVTIP_PING_UNREACHABLE = 3,   /* `from` reports that the target, its network, protocol or port cannot be
                                     reached */
    KVTIP_PING_HOPS_EXCEEDED = 4, /* the time to live was used up at `from` */
    KVTIP_PING_TOO_BIG = 5,       /* a packet that must not be split was too big for the way */
    KVTIP_PING_DATA_DIFFERS = 6,  /* an answer with other data than was sent */
    KVTIP_PING_FAILED = 7         /* anything else: see `status` */
};

/* Bits of kvtip_ping_options.flags. */
enum kvtip_ping_flags {
    KVTIP_PING_DONT_FRAGMENT = 1, /* routers must not split the packet */
    KVTIP_PING_NO_DATA = 2        /* sends no data: `data_size` must be 0 */
};

typedef struct kvtip_ping_options {
    uint32_t size;
    uint32_t timeout;              /* 0: 4000 */
    uint32_t time_to_live;         /* the number of hops, 1 to 255; 0: 128 */
    uint32_t data_size;            /* in bytes, at most 65500; 0: 32 */
    uint32_t type_of_service;      /* 0 to 255 */
    uint32_t flags;                /* enum kvtip_ping_flags */
    kvtip_address source;          /* the host's address to send from; family 0: the system chooses */
    const kvtip_canceller* cancel; /* can end the call early; null: nothing can */
} kvtip_ping_options;

/* The result of a ping. Frozen. */
typedef struct kvtip_ping_result {
    kvtip_address from; /* who answered or reported; family 0 if nobody did */
    uint32_t outcome;   /* enum kvtip_ping_outcome */
    uint32_t status;    /* the system's IP_STATUS: 0, or a number from 11000 to 11050. These are no error
                           codes: see kvtip_ping_status_name */
    uint32_t round_trip_time; /* in milliseconds; 0 is less than one. Only if somebody answered or reported */
    uint32_t time_to_live;    /* of the answer; 0 if unknown, as for IPv6 */
    uint32_t reserved[2];     /* 0 */
} kvtip_ping_result;

/* Sends an echo request and waits for the answer. An unanswered ping is a result and no failure. Rests on
 * IcmpSendEcho (with a source IcmpSendEcho2Ex) and Icmp6SendEcho2; with `cancel` on IcmpSendEcho2 and
 * IcmpParseReplies, or Icmp6ParseReplies. Where the system lacks these, a ping that has begun goes on to its
 * end. An IPv4-mapped address is pinged as IPv4 where the system has no IPv6 echo, as Wine 8; `from` is then an
 * IPv4 address.
 *
 * Returns: 0 if the ping was sent, whatever became of it; 87; 8; 120 without the system calls; under Wine
 *     ERROR_ACCESS_DENIED (5) to users who may not ping; WSAENETUNREACH (10051) or another code of the system
 *     if nothing could be sent; ERROR_OPERATION_ABORTED (995) once `cancel` is cancelled.
 * On failure: *result is all zero.
 * Frees: nothing.
 * Blocks: for the time-out.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_ping(const kvtip_address* target, const kvtip_ping_options* options,
                                              kvtip_ping_result* result) KVTIP_NOEXCEPT;

/* A target of kvtip_ping_all, and what became of its ping. */
typedef struct kvtip_ping_reply {
    kvtip_address target;
    uint32_t code;            /* 0 if the ping was sent and has ended; otherwise why there is no result */
    kvtip_ping_result result; /* all zero if the code is not 0 */
} kvtip_ping_reply;

typedef struct kvtip_ping_reply_list {
    const kvtip_ping_reply* const* rows; /* in the order of the targets */
    size_t count;
    size_t row_size;
    uint32_t missing;
    uint32_t reserved;
} kvtip_ping_reply_list;

/* Pings many targets at the same time, with at most 256 requests in flight: the next request is sent as soon as
 * the oldest one has ended. A ping that was not answered, or could not be sent, is no failure of the call. Each
 * target is pinged as by kvtip_ping, all with the same options. A source must be of the family of all targets.
 * Rests on IcmpSendEcho2 (with a source IcmpSendEcho2Ex), IcmpParseReplies, Icmp6SendEcho2 and
 * Icmp6ParseReplies. Where the system lacks IcmpSendEcho2 or a call that parses, the pings that need it are
 * sent one after the other, and a cancellation waits for the one under way.
 *
 * Returns: 0; ERROR_OPERATION_ABORTED (995) if it was cancelled before all pings had ended; 87, also for a
 *     target without address; 8; or the system's code.
 * On failure: *replies is null. If the code is 995, it holds what is known, with that code for each ping that
 *     was not sent or had not ended.
 * Frees: the caller frees *replies with kvtip_free, also if the code is 995.
 * Blocks: for the time-out, once for every 256 targets.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_ping_all(const kvtip_address* targets, size_t count,
                                                  const kvtip_ping_options* options,
                                                  const kvtip_ping_reply_list** replies) KVTIP_NOEXCEPT;

/* Returns the name of a ping's status, such as "IP_REQ_TIMED_OUT".
 *
 * Returns: the name, or empty text for a status that the library does not know; never null.
 * On failure: it cannot fail.
 * Frees: nothing: the text belongs to the library.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION const char* KVTIP_CALL kvtip_ping_status_name(uint32_t status) KVTIP_NOEXCEPT;

/* Returns a sentence for a ping's status, such as "Nobody answered in time.".
 *
 * Returns: the sentence, or empty text for a status that the library does not know; never null.
 * On failure: it cannot fail.
 * Frees: nothing: the text belongs to the library.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION const char* KVTIP_CALL kvtip_ping_status_message(uint32_t status) KVTIP_NOEXCEPT;

/* ---- Sockets ----------------------------------------------------------------------------------------- */

/* A socket of the system (SOCKET): blocking, overlapped and not inherited by child processes. It keeps the
 * socket library loaded and started until kvtip_close. Closed in another way, it leaves these two counts
 * behind. */
typedef uintptr_t kvtip_socket;

#define KVTIP_NO_SOCKET UINTPTR_MAX

/* Waits without end, where a time-out is asked for. */
#define KVTIP_FOREVER 0xFFFFFFFFu

/* An attempt to connect. Its code is 0 if it succeeded, ERROR_OPERATION_ABORTED (995) if it was under way when
 * another one succeeded or the connect was cancelled, and WSAETIMEDOUT (10060) when the time was over. */
typedef struct kvtip_attempt {
    kvtip_endpoint remote;
    uint32_t code;
    uint32_t time;  /* how long it took */
    uint32_t start; /* when it began, counted from the end of the lookup */
} kvtip_attempt;

typedef struct kvtip_attempt_list {
    const kvtip_attempt* const* rows;
    size_t count;
    size_t row_size;
    uint32_t missing;
    uint32_t reserved;
} kvtip_attempt_list;

/* The result of kvtip_connect. */
typedef struct kvtip_connect_result {
    uint32_t size;       /* of this structure, as the DLL fills it */
    uint32_t code;       /* what kvtip_connect returned */
    kvtip_socket socket; /* KVTIP_NO_SOCKET if the code is not 0 */
    kvtip_endpoint local;
    kvtip_endpoint remote;
    uint32_t lookup_time;        /* how long the lookup of the host took */
    uint32_t time;               /* how long it took in all */
    kvtip_attempt_list attempts; /* in the order in which they were made */
} kvtip_connect_result;

typedef struct kvtip_connect_options {
    uint32_t size;
    uint32_t timeout;              /* for the lookup and all attempts together; 0: 30000 */
    uint32_t family;               /* 4 or 6: only addresses of that family; 0: both */
    uint32_t reserved;             /* 0 */
    const kvtip_canceller* cancel; /* can end the call early; null: nothing can */
} kvtip_connect_options;

/* Connects to a host and service by TCP: looks them up as kvtip_resolve does, and tries the addresses as
 * RFC 8305 describes it: as the system sorts them, but with IPv6 and IPv4 in turn. Each attempt begins 250 ms
 * after the one before, or as soon as one has failed, and the first that succeeds ends the others. An address
 * that does not reply therefore costs 250 ms. Windows repeats an attempt that is refused, for up to 2 seconds;
 * from Windows 10 version 1709 on it does not if the address is one of loopback. Without attempts in the
 * result, the lookup failed, was cancelled, or did not end in time. Rests on WSAEventSelect and
 * WSAEnumNetworkEvents.
 *
 * Returns: 0; the code of the lookup; WSAETIMEDOUT (10060); ERROR_OPERATION_ABORTED (995) after
 *     kvtip_canceller_cancel; the code of the attempt that failed last, such as WSAECONNREFUSED (10061); 120
 *     without the system calls; 8; 87, also for a host that is null or empty; or the system's code.
 * On failure: *result holds the attempts and no socket. It is null only if the code is 8 or 87, or if the
 *     libraries cannot be started.
 * Frees: the caller closes the socket with kvtip_close, and frees *result with kvtip_free, also on failure.
 * Blocks: for the time-out, and up to 100 milliseconds more if the lookup uses it up; where kvtip_resolve
 *     cannot keep it, for the lookup if that takes longer.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_connect(const char* host, const char* service,
                                                 const kvtip_connect_options* options,
                                                 const kvtip_connect_result** result) KVTIP_NOEXCEPT;

/* Connects to an endpoint by TCP, in one attempt.
 *
 * Returns: as kvtip_connect.
 * On failure: as kvtip_connect.
 * Frees: as kvtip_connect.
 * Blocks: for the time-out.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_connect_endpoint(const kvtip_endpoint* remote,
                                                          const kvtip_connect_options* options,
                                                          const kvtip_connect_result** result) KVTIP_NOEXCEPT;

/* Sends all of the data. After a time-out the socket can still be used: go on after the bytes that were sent.
 *
 * Returns: 0; WSAETIMEDOUT (10060); WSAECONNRESET (10054); 87; or the system's code.
 * On failure: *sent is the number of bytes that the system took before.
 * Frees: nothing.
 * Blocks: for `timeout` milliseconds, without end for KVTIP_FOREVER; 0 does not wait.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_send(kvtip_socket socket, const void* data, size_t size,
                                              uint32_t timeout, size_t* sent) KVTIP_NOEXCEPT;

/* Receives what has arrived, and waits for it if nothing has. 0 bytes say that the other side has finished
 * sending; under Wine also that it has reset the connection. After a time-out the socket can still be used.
 *
 * Returns: 0; WSAETIMEDOUT (10060); WSAECONNRESET (10054); 87; or the system's code.
 * On failure: *received is 0.
 * Frees: nothing.
 * Blocks: for `timeout` milliseconds, without end for KVTIP_FOREVER; 0 does not wait.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_receive(kvtip_socket socket, void* buffer, size_t capacity,
                                                 uint32_t timeout, size_t* received) KVTIP_NOEXCEPT;

/* Closes a socket of kvtip_connect and gives back what it holds. KVTIP_NO_SOCKET is fine.
 *
 * Returns: 0, or WSAENOTSOCK (10038) for what is no open socket.
 * On failure: nothing has changed.
 * Frees: the socket.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_close(kvtip_socket socket) KVTIP_NOEXCEPT;

/* ---- Changes ----------------------------------------------------------------------------------------- */

/* Bits of kvtip_watch_options.flags: what to watch. */
enum kvtip_watch_flags { KVTIP_WATCH_ADDRESSES = 1, KVTIP_WATCH_INTERFACES = 2, KVTIP_WATCH_ROUTES = 4 };

typedef struct kvtip_watch_options {
    uint32_t size;
    uint32_t flags;         /* enum kvtip_watch_flags; 0: all of it */
    uint32_t poll_interval; /* looks for changes this often, also without a signal of the system; 0: only when
                               the system signals a change */
    uint32_t merge_time;    /* after a signal, waits this long for more, so that changes that belong together
                               are reported together; 0: 100; at most 60000 */
} kvtip_watch_options;

/* What has changed. */
enum kvtip_change_kind {
    KVTIP_CHANGE_INTERFACE_ADDED = 1,
    KVTIP_CHANGE_INTERFACE_REMOVED = 2,
    KVTIP_CHANGE_INTERFACE_CHANGED = 3, /* its name, DNS suffix, hardware address, indexes, MTU, metrics
                                           or DNS servers, or its state between others than up */
    KVTIP_CHANGE_INTERFACE_UP = 4,      /* it can be used now */
    KVTIP_CHANGE_INTERFACE_DOWN = 5,    /* it cannot be used any longer */
    KVTIP_CHANGE_ADDRESS_ADDED = 6,
    KVTIP_CHANGE_ADDRESS_REMOVED = 7,
    KVTIP_CHANGE_ADDRESS_CHANGED = 8, /* its state; with another prefix it is another address */
    KVTIP_CHANGE_ROUTE_ADDED = 9,
    KVTIP_CHANGE_ROUTE_REMOVED = 10,
    KVTIP_CHANGE_ROUTE_CHANGED = 11 /* its metric or protocol; by another router it is another route */
};

/* A change of an interface, an address or a route: what it is now, or was before it was removed. */
typedef struct kvtip_change {
    const char* adapter; /* the name of the interface's adapter as users see it; empty without an adapter */
    uint32_t kind;       /* enum kvtip_change_kind */
    uint32_t interface_index; /* for the family of the address or route; for an interface the one for IPv4, if
                                 there is one */
    kvtip_address address;    /* of an address; otherwise family 0 */
    uint32_t prefix_length;   /* of the address's on-link prefix; KVTIP_UNKNOWN_PREFIX if unknown */
    uint32_t address_state;   /* enum kvtip_address_state; KVTIP_ADDRESS_UNKNOWN of what is no address */
    kvtip_network network;    /* of a route; otherwise family 0 */
    kvtip_address next_hop;   /* of a route by a router; otherwise family 0 */
    uint32_t metric;          /* of a route and its interface together; KVTIP_UNKNOWN_METRIC if unknown */
} kvtip_change;

typedef struct kvtip_change_list {
    const kvtip_change* const* rows;
    size_t count;
    size_t row_size;
    uint32_t missing; /* KVTIP_MISSING_IPV6, KVTIP_MISSING_IPV4 where the system cannot list that family */
    uint32_t reserved;
} kvtip_change_list;

/* Watches this host's interfaces, addresses and routes for changes. It keeps the libraries and this DLL loaded
 * until kvtip_watcher_close. */
typedef struct kvtip_watcher kvtip_watcher;

/* Begins to watch: kvtip_watcher_wait reports every change from now on. Rests on NotifyIpInterfaceChange and
 * NotifyUnicastIpAddressChange, or where these are missing on NotifyAddrChange, which signals changes of IPv4
 * addresses only; for routes on NotifyRouteChange2. They only signal that something has changed: what that is
 * follows from comparing kvtip_adapters and kvtip_routes before and after. Where the system never signals, as
 * under Wine, `poll_interval` takes the place of the signals. With it, kvtip_watch does not fail if such a
 * system call is missing or fails.
 *
 * Returns: 0; 120 without `poll_interval` if the system cannot signal such changes; 8; 87; or the code of the
 *     system, of kvtip_adapters or of kvtip_routes.
 * On failure: *watcher is null.
 * Frees: the caller closes *watcher with kvtip_watcher_close.
 * Blocks: up to a second.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_watch(const kvtip_watch_options* options,
                                               kvtip_watcher** watcher) KVTIP_NOEXCEPT;

/* Waits until something has changed since the last changes that were reported, and lists the differences: those
 * of interfaces first, those of routes last. What has come and gone in between is not among them. Only one
 * thread at a time may wait.
 *
 * Returns: 0; WSAETIMEDOUT (10060); ERROR_OPERATION_ABORTED (995) after kvtip_watcher_cancel; ERROR_BUSY (170)
 *     while another thread waits; 8; 87; or the code of kvtip_adapters or kvtip_routes.
 * On failure: *changes is null. The next call reports what has changed, also during this one.
 * Frees: the caller frees *changes with kvtip_free.
 * Blocks: for `timeout` milliseconds, without end for KVTIP_FOREVER; 0 does not wait.
 * Since: 0.1
 */
KVTIP_FUNCTION uint32_t KVTIP_CALL kvtip_watcher_wait(kvtip_watcher* watcher, uint32_t timeout,
                                                      const kvtip_change_list** changes) KVTIP_NOEXCEPT;

/* Ends the wait of another thread at once, and every later one. It may also be called by a handler of Ctrl-C.
 * Null is fine.
 *
 * Returns: nothing.
 * On failure: it cannot fail.
 * Frees: nothing: the watcher is still to be closed.
 * Blocks: no.
 * Since: 0.1
 */
KVTIP_FUNCTION void KVTIP_CALL kvtip_watcher_cancel(kvtip_watcher* watcher) KVTIP_NOEXCEPT;

/* Closes a watcher. No other thread may use it then: a wait must have ended. A program that unloads this DLL
 * closes its watchers first. Null is fine.
 *
 * Returns: nothing.
 * On failure: it cannot fail.
 * Frees: the watcher. Lists of changes stay valid.
 * Blocks: until a signal of the system that is just under way is over.
 * Since: 0.1
 */
KVTIP_FUNCTION void KVTIP_CALL kvtip_watcher_close(kvtip_watcher* watcher) KVTIP_NOEXCEPT;

#pragma pack(pop)

#ifdef __cplusplus
}
#endif

#endif
