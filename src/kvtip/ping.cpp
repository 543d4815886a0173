// Ping: echo requests to one host or many, and what became of them.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "kvtip/abandoned.h"
#include "kvtip/block.h"
#include "kvtip/boundary.h"
#include "kvtip/canceller.h"
#include "kvtip/echo.h"
#include "kvtip/event.h"
#include "kvtip/kvtip.h"
#include "kvtip/options.h"
#include "kvtip/values.h"

using namespace kvtip::library;

namespace {

/// A request that may be in flight, and the row for its result.
struct flight final : pending_operation {
    explicit flight(const std::shared_ptr<echo>& what) : request(what) {}

    bool is_over() const noexcept override { return wait_for(done, nullptr, 0) == 0; }
    void finish() {
        row->code = request.read(row->result);
        row = nullptr;
    }

    hold libraries;                        ///< once it is given up
    std::shared_ptr<echo_handles> handles; ///< likewise
    echo_request request;
    event done;
    kvtip_ping_reply* row = nullptr; ///< while it is in flight
};

/// The requests in flight, at most 256.
class flights {
public:
    flights(const kvtip_ping_options& options, std::size_t count, bool waits)
        : cancel_(options.cancel), waits_(waits), what_(std::make_shared<echo>(options)),
          handles_(std::make_shared<echo_handles>()), places_(std::min(count, most)) {}
    /// Takes the results that are there, and gives the other requests up.
    ~flights() {
        for (std::unique_ptr<flight>& each : places_) {
            if (each == nullptr || each->row == nullptr) {
                continue;
            }
            if (each->is_over()) {
                each->finish();
            } else {
                each->libraries.take(); // cannot fail while the caller holds them
                each->handles = handles_;
                abandon(std::move(each));
            }
        }
    }
    flights(const flights&) = delete;
    flights& operator=(const flights&) = delete;

    /// Pings the target of each row. Returns 0, 995 or the system's code. Once this object is destroyed, the
    /// rows' codes say what is known.
    std::uint32_t ping(std::span<kvtip_ping_reply> rows) {
        for (std::size_t i = 0; i < rows.size() + places_.size(); ++i) {
            // The oldest request: those after it end later, by the same time-out.
            std::unique_ptr<flight>& place = places_[i % places_.size()];
            std::uint32_t code = finish(place.get());
            if (code == 0 && i < rows.size()) {
                code = start(place, rows[i]);
            }
            if (code != 0) {
                return code;
            }
        }
        return 0;
    }

private:
    static constexpr std::size_t most = 256;

    std::uint32_t finish(flight* oldest) {
        if (oldest == nullptr || oldest->row == nullptr) {
            return 0;
        }
        const std::uint32_t code = wait_for(oldest->done, cancel_, KVTIP_FOREVER);
        if (code == 0) {
            oldest->finish();
        }
        return code;
    }

    std::uint32_t start(std::unique_ptr<flight>& place, kvtip_ping_reply& row) {
        if (const std::uint32_t code = look_for_cancellation()) {
            return code;
        }
        if (place == nullptr) {
            auto made = std::make_unique<flight>(what_);
            const std::uint32_t code = waits_ ? made->done.open(reset::automatic) : 0;
            if (code != 0 && code != ERROR_CALL_NOT_IMPLEMENTED) {
                return code;
            }
            place = std::move(made);
        }
        const std::uint32_t code =
            place->request.send(*handles_, row.target, place->done.handle(), row.result);
        if (code == ERROR_IO_PENDING) {
            place->row = &row;
        } else {
            row.code = code;
        }
        return 0;
    }

    std::uint32_t look_for_cancellation() const {
        const std::uint32_t code =
            cancel_ == nullptr ? DWORD{WSAETIMEDOUT} : wait_for(cancel_->cancelled, nullptr, 0);
        return code == 0 ? DWORD{ERROR_OPERATION_ABORTED} : code == WSAETIMEDOUT ? 0 : code;
    }

    const kvtip_canceller* cancel_;
    bool waits_; ///< for events, while requests are in flight
    std::shared_ptr<echo> what_;
    std::shared_ptr<echo_handles> handles_;
    std::vector<std::unique_ptr<flight>> places_;
};

bool are_valid(const kvtip_ping_options& options, const kvtip_address& target) {
    return is_valid(target) && target.family != 0 &&
           (options.source.family == 0 || options.source.family == target.family);
}

bool read_ping_options(const kvtip_ping_options* given, kvtip_ping_options& options) {
    constexpr std::uint32_t most_data = 65500;
    const auto set_default = [](std::uint32_t& member, std::uint32_t value) {
        member = member == 0 ? value : member;
    };
    if (!read_options(given, options) || !is_valid(options.source) || options.time_to_live > 255 ||
        options.type_of_service > 255 || options.data_size > most_data ||
        !has_only(options.flags, KVTIP_PING_DONT_FRAGMENT | KVTIP_PING_NO_DATA) ||
        ((options.flags & KVTIP_PING_NO_DATA) != 0 && options.data_size != 0)) {
        return false;
    }
    set_default(options.timeout, 4000);
    set_default(options.time_to_live, 128);
    if ((options.flags & KVTIP_PING_NO_DATA) == 0) {
        set_default(options.data_size, 32);
    }
    return true;
}

/// A row whose ping has not ended.
kvtip_ping_reply row_of(const kvtip_address& target) {
    return {target, ERROR_OPERATION_ABORTED, {}};
}

bool has_ended(const kvtip_ping_reply& row) {
    return row.code != ERROR_OPERATION_ABORTED;
}

} // namespace

uint32_t kvtip_ping(const kvtip_address* target, const kvtip_ping_options* options,
                    kvtip_ping_result* result) noexcept {
    kvtip_ping_options wanted;
    if (!clear(result) || target == nullptr || !read_ping_options(options, wanted) ||
        !are_valid(wanted, *target)) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] {
        destroy_abandoned();
        kvtip_ping_reply row = row_of(*target);
        const std::uint32_t code = flights(wanted, 1, wanted.cancel != nullptr).ping({&row, 1});
        *result = row.result;
        // An answer that has come counts, also after a cancellation.
        return row.code == 0 ? 0 : code != 0 ? code : row.code;
    });
}

uint32_t kvtip_ping_all(const kvtip_address* targets, size_t count, const kvtip_ping_options* options,
                        const kvtip_ping_reply_list** replies) noexcept {
    kvtip_ping_options wanted;
    if (!clear(replies) || (targets == nullptr && count != 0) || !read_ping_options(options, wanted) ||
        !std::all_of(targets, targets + count,
                     [&](const kvtip_address& each) { return are_valid(wanted, each); })) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] {
        destroy_abandoned();
        std::vector<kvtip_ping_reply> rows(count);
        std::transform(targets, targets + count, rows.begin(), row_of);
        std::uint32_t code = flights(wanted, count, true).ping(rows);
        if (code == ERROR_OPERATION_ABORTED && std::all_of(rows.begin(), rows.end(), has_ended)) {
            code = 0;
        }
        if (code == 0 || code == ERROR_OPERATION_ABORTED) {
            *replies = block::make<kvtip_ping_reply_list>([&](block& out, kvtip_ping_reply_list& list) {
                out.flat_list(list, count, [&](auto add) {
                    for (const kvtip_ping_reply& each : rows) {
                        add() = each;
                    }
                });
            });
        }
        return code;
    });
}
