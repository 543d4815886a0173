#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <optional>
#include <string>

#include "adapter_choice.h"
#include "command.h"
#include "failure.h"
#include "interruption.h"
#include "layout.h"
#include "network_values.h"
#include "rate.h"

namespace {

using std::chrono::steady_clock;

/// The counters of a moment.
struct sample {
    steady_clock::time_point time;
    kvtip::adapter_list adapters;
};

/// What an adapter has counted; none if it did not have counters, or was not there.
const kvtip::adapter_counters* counters_in(const sample& from, const std::string& guid) {
    const auto found = std::find_if(from.adapters.begin(), from.adapters.end(),
                                    [&](const kvtip::adapter& each) { return each.guid == guid; });
    return found == from.adapters.end() || !found->counters ? nullptr : &*found->counters;
}

/// How much more there is a second. Counters begin at 0 again when the adapter comes up.
double per_second(std::uint64_t before, std::uint64_t now, double seconds) {
    return std::round(static_cast<double>(now < before ? now : now - before) / seconds * 10) / 10;
}

value rate_value(const kvtip::traffic& before, const kvtip::traffic& now, double seconds) {
    const auto packets = [](const kvtip::traffic& of) { return of.unicast_packets + of.multicast_packets; };
    return {{"bits_per_second", per_second(before.bytes * 8, now.bytes * 8, seconds)},
            {"packets_per_second", per_second(packets(before), packets(now), seconds)}};
}

/// The rates of every adapter that has counters at both times.
value rates_between(const sample& before, const sample& now) {
    const std::chrono::duration<double> time = now.time - before.time;
    value rows = value::list();
    for (const kvtip::adapter& each : now.adapters) {
        const kvtip::adapter_counters* earlier = counters_in(before, each.guid);
        if (each.counters && earlier != nullptr) {
            rows.add({{"name", text_or_null(each.name)},
                      {"guid", each.guid},
                      {"received", rate_value(earlier->received, each.counters->received, time.count())},
                      {"sent", rate_value(earlier->sent, each.counters->sent, time.count())}});
        }
    }
    return {{"time", std::round(time.count() * 1000)}, {"adapters", rows}};
}

struct traffic_request {
    std::function<kvtip::adapter_list(const kvtip::adapter_options&)> list;
    double interval = 1; ///< in seconds
    std::optional<std::uint32_t> count;
};

sample take_sample(const traffic_request& what) {
    sample result{steady_clock::now(), what.list({.up = true, .details = true})};
    const bool has_counters =
        std::any_of(result.adapters.begin(), result.adapters.end(),
                    [](const kvtip::adapter& each) { return each.counters.has_value(); });
    if (!has_counters) {
        throw explained_error(120, "this system does not count what goes through adapters");
    }
    return result;
}

value watch_traffic(const traffic_request& what, const progress& show) {
    const auto interval =
        std::chrono::duration_cast<steady_clock::duration>(std::chrono::duration<double>(what.interval));
    sample before = take_sample(what);
    std::uint32_t samples = 0;
    for (auto next = before.time + interval; samples != what.count && wait_until(next); next += interval) {
        sample now = take_sample(what);
        show.row(rates_between(before, now));
        before = std::move(now);
        ++samples;
    }
    return {{"samples", samples}};
}

operation prepare(parameters& expected) {
    const auto what = std::make_shared<traffic_request>();
    what->list = add_adapter(expected);
    expected.add_seconds("--interval", what->interval, "Seconds from sample to sample; 1 unless given",
                         86400);
    expected.add_number("--count", what->count, "Number of samples; without it until Ctrl-C", 1, 4294967294u);
    return [what](const progress& show) { return watch_traffic(*what, show); };
}

std::string row_text(const value& row) {
    const auto rate = [](const value& of) {
        const value& bits = of["bits_per_second"];
        return rate_text(std::stod(plain_text(bits)));
    };
    std::string line;
    for (const value& each : row["adapters"].elements()) {
        line += (line.empty() ? "" : "   ") + plain_text(each[each.has("name") ? "name" : "guid"]) + "  in " +
                rate(each["received"]) + "  out " + rate(each["sent"]);
    }
    return line;
}

} // namespace

const command traffic_command = {
    .name = "traffic",
    .summary = "Show how much goes through the adapters that are up, until Ctrl-C",
    .examples = {"traffic --count 2", "traffic Ethernet --interval 0.5 --count 2"},
    .prepare = prepare,
    .text = [](const value&) { return std::string(); },
    .row_text = row_text,
};
