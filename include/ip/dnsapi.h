#pragma once

#include <string>
#include <vector>

#include "ip/address.h"
#include "ip/export.h"
#include "ip/lib.h"

namespace ip {

/// The DNS library. An object is an `ip::lib` handle that holds loads of that library.
///
/// The look-ups are static, need no socket library, may run on several threads at once, and can take 10 s and
/// more. They need an initialised `ip::dnsapi` handle somewhere in the process for as long as
/// they run, and give 120 without one.
/// `options` are the system's query options (`DNS_QUERY_STANDARD` is 0).
class dnsapi : public lib {
public:
    dnsapi() = default;
    /// Calls `free`.
    ~dnsapi() { free(); }

    /// Initialises the handle and loads the DNS library for it. Returns 0, the error of `lib::init`, or that
    /// of the load (126, 127), after which the handle is not initialised. Each call counts a load, on a
    /// handle that is initialised already too, of which `free` takes back one. A load that failed stays
    /// counted as well: later calls, on any handle, return 0 and load nothing, and look-ups give 120.
    KVTIP_API unsigned long init();

    /// Takes one load back and calls `lib::free`. Returns 0, also for a handle that is not initialised, or
    /// the first error of the two. The handle is free whatever the code says.
    KVTIP_API unsigned long free();

    /// The addresses of a name: its A records for family 2, AAAA for 23, both (A first, each kind in the
    /// order of its answer) for any other value. `addresses` is emptied first. A name without such records is
    /// no error. Returns 0 or the DNS status (9003 no such name, 9002 server failure, 9560 malformed name,
    /// 1460 no answer, 87 null name) or 8 when memory is exhausted, of the AAAA query if that failed, else of
    /// the A query; what the other one or the same one had found by then stays in `addresses`. Address text
    /// is answered without the network, and gives no address. Rests on `DnsQuery_A` and `DnsQuery_W`.
    KVTIP_API static unsigned long addresses_from_name(const char* name, std::vector<addr>& addresses,
                                                       unsigned short family = 0, unsigned long options = 0);
    KVTIP_API static unsigned long addresses_from_name(const wchar_t* name, std::vector<addr>& addresses,
                                                       unsigned short family = 0, unsigned long options = 0);

    /// Appends the host names of an address to `names`, which is not emptied. Returns 0 or the DNS status
    /// (9003 or 9501 when there is none), with `names` unchanged, or 8 when memory is exhausted, with the
    /// names found so far. An address of family 0 is looked up as `::`. Rests on a PTR query by `DnsQuery_A`
    /// or `DnsQuery_W`.
    KVTIP_API static unsigned long names_from_address(const addr& address, std::vector<std::string>& names,
                                                      unsigned long options = 0);
    KVTIP_API static unsigned long names_from_address(const addr& address, std::vector<std::wstring>& names,
                                                      unsigned long options = 0);
};

} // namespace ip
