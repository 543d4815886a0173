#pragma once

#include <string>
#include <vector>

#include "ip/address.h"
#include "ip/export.h"
#include "ip/lib.h"

namespace ip {

/// The DNS library. An object is an `ip::lib` handle that holds loads of that library. Use only `init` and
/// `free` of this class, never those of the base: they count no load.
///
/// The lookups are static, do not need the socket library, may run on several threads at once, and can take
/// 10 s and more. They need an initialised `ip::dnsapi` handle somewhere in the process while they run, and
/// return `ERROR_CALL_NOT_IMPLEMENTED (120)` without one. `options` are the system's query options
/// (`DNS_QUERY_STANDARD` is 0).
class dnsapi : public lib {
public:
    dnsapi() = default;
    /// Calls `free`.
    ~dnsapi() { free(); }

    /// Initialises the handle and loads the DNS library for it. Returns 0, the error of `lib::init`, or
    /// `ERROR_MOD_NOT_FOUND (126)` or `ERROR_PROC_NOT_FOUND (127)`, after which the handle is not
    /// initialised.
    ///
    /// Each call counts a load, also on an initialised handle, and `free` takes back one. A load that failed
    /// stays counted as well: later calls on any handle then return 0 and load nothing, and lookups return
    /// `ERROR_CALL_NOT_IMPLEMENTED (120)`.
    KVTIP_API unsigned long init() noexcept;

    /// Takes one load back and calls `lib::free`. Returns 0, also for a handle that is not initialised, or
    /// the first error of the two. The handle is not initialised afterwards, whatever the code.
    KVTIP_API unsigned long free() noexcept;

    /// @{
    /// Looks up the A records for family 2, the AAAA records for family 23, and both for any other family: A
    /// first, each in the order of its answer. `addresses` is emptied first. A name without such records is
    /// not an error. Address text has no addresses, and is answered without the network. Rests on
    /// `DnsQuery_A` and `DnsQuery_W`.
    ///
    /// Returns 0, `ERROR_NOT_ENOUGH_MEMORY (8)` or the status of the query. If both queries fail, the code of
    /// the AAAA query is returned. Addresses found so far remain. Common codes:
    /// - `DNS_ERROR_RCODE_NAME_ERROR (9003)`: unknown name;
    /// - `DNS_ERROR_RCODE_SERVER_FAILURE (9002)`: the name server failed;
    /// - `DNS_ERROR_INVALID_NAME_CHAR (9560)`: malformed name;
    /// - `ERROR_TIMEOUT (1460)`: no answer;
    /// - `ERROR_INVALID_PARAMETER (87)`: null name.
    KVTIP_API static unsigned long addresses_from_name(const char* name, std::vector<addr>& addresses,
                                                       unsigned short family = 0,
                                                       unsigned long options = 0) noexcept;
    KVTIP_API static unsigned long addresses_from_name(const wchar_t* name, std::vector<addr>& addresses,
                                                       unsigned short family = 0,
                                                       unsigned long options = 0) noexcept;
    /// @}

    /// @{
    /// Appends the host names of an address to `names`, which is not emptied. An address of any other family
    /// is looked up as `::`. Rests on a PTR query by `DnsQuery_A` or `DnsQuery_W`. Returns 0, the status of
    /// the query with `names` untouched, such as `DNS_ERROR_RCODE_NAME_ERROR (9003)` or `DNS_INFO_NO_RECORDS
    /// (9501)` when there is no name, or `ERROR_NOT_ENOUGH_MEMORY (8)` with the names found so far.
    KVTIP_API static unsigned long names_from_address(const addr& address, std::vector<std::string>& names,
                                                      unsigned long options = 0) noexcept;
    KVTIP_API static unsigned long names_from_address(const addr& address, std::vector<std::wstring>& names,
                                                      unsigned long options = 0) noexcept;
    /// @}
};

} // namespace ip
