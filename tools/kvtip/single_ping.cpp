#include "single_ping.h"

#include "errors.h"
#include "ip/hlpapi.h"
#include "layout.h"
#include "network_values.h"

namespace {

/// The system's texts for most of these numbers are about sockets.
constexpr number_name statuses[] = {{59, "an error message, or other data than was sent"},
                                    {120, "the system cannot ping over this family"},
                                    {11001, "buffer too small"},
                                    {11002, "network unreachable"},
                                    {11003, "host unreachable"},
                                    {11004, "protocol unreachable or prohibited"},
                                    {11005, "port unreachable"},
                                    {11006, "no resources"},
                                    {11007, "bad option"},
                                    {11008, "hardware error"},
                                    {11009, "packet too big"},
                                    {11010, "request timed out"},
                                    {11011, "bad request"},
                                    {11012, "bad route"},
                                    {11013, "time to live expired"},
                                    {11014, "time to live expired in reassembly"},
                                    {11015, "parameter problem"},
                                    {11016, "source quench"},
                                    {11017, "option too big"},
                                    {11018, "bad destination"},
                                    {11032, "negotiating IP security"},
                                    {11040, "destination unreachable"},
                                    {11041, "time exceeded"},
                                    {11042, "bad header"},
                                    {11043, "unrecognised next header"},
                                    {11044, "ICMP error"},
                                    {11045, "scope mismatch"},
                                    {11050, "general failure"}};

std::string meaning(const value& number) {
    const auto code = static_cast<std::uint32_t>(number.number());
    const value name = name_value(statuses, code);
    return name.is_null() ? system_message(code) : name.text();
}

} // namespace

value ping_once(const ip::saddr& destination, const ping_options& options) {
    ip::hlpapi::_SPingReply reply;
    const unsigned long failed =
        ip::hlpapi::ping(destination, reply, static_cast<unsigned char>(options.ttl), options.timeout,
                         static_cast<unsigned short>(options.size), 0, options.dont_fragment ? 1 : 0);
    return {{"address", address_value(reply.address)},
            {"milliseconds", failed == 0 ? value(reply.round_trip_time) : value()},
            {"ttl", number_or_null(reply.ttl)},
            {"code", failed == 0 ? reply.status : failed}};
}

std::string ping_code_text(const value& code) {
    return meaning(code) + " (" + plain_text(code) + ")";
}

std::string ping_failure(const value& code) {
    return code == 0 ? "" : plain_text(code) + ": " + meaning(code);
}

std::string milliseconds_text(const value& milliseconds) {
    return (milliseconds == 0 ? "<1" : plain_text(milliseconds)) + " ms";
}
