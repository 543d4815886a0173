#pragma once

#include "ip/detail/helper.h"

namespace ip::detail {

/// The records of an answer.
class record_list {
public:
    record_list() = default;
    ~record_list() {
        if (first_ != nullptr) {
            bound_dnsapi().DnsRecordListFree(first_, DnsFreeRecordList);
        }
    }
    record_list(const record_list&) = delete;
    record_list& operator=(const record_list&) = delete;

    const DNS_RECORD* first() const { return first_; }

    /// Sends a query by `DnsQuery_A` or `DnsQuery_W`. To be called once. Returns the status, or
    /// `ERROR_CALL_NOT_IMPLEMENTED (120)` while the DNS library is not bound.
    template <class Query, class Char>
    unsigned long query(Query call, const Char* name, WORD type, unsigned long options) {
        if (call == nullptr) {
            return ERROR_CALL_NOT_IMPLEMENTED;
        }
        return static_cast<unsigned long>(call(name, type, options, nullptr, &first_, nullptr));
    }

private:
    DNS_RECORD* first_ = nullptr; // not all systems write it when they fail
};

} // namespace ip::detail
