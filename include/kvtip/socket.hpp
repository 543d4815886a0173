#pragma once

// Connecting by TCP, and a simple exchange over the connection.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kvtip/address.hpp"
#include "kvtip/canceller.hpp"
#include "kvtip/detail/call.hpp"

namespace kvtip {
inline namespace v1 {

/// A connected socket, closed at the end. Only one thread may use it at a time.
class socket {
public:
    socket() noexcept = default;
    explicit socket(kvtip_socket handle) noexcept : handle_(handle) {}
    ~socket() { close(); }
    socket(socket&& other) noexcept : handle_(other.release()) {}
    socket& operator=(socket&& other) noexcept {
        if (this != &other) {
            close();
            handle_ = other.release();
        }
        return *this;
    }

    explicit operator bool() const noexcept { return handle_ != KVTIP_NO_SOCKET; }
    /// The system's `SOCKET`, which stays this object's.
    kvtip_socket native_handle() const noexcept { return handle_; }
    /// Leaves the socket to the caller, who must close it with `kvtip_close`: closed in another way, it
    /// leaves a load and a start of the socket library behind.
    kvtip_socket release() noexcept { return std::exchange(handle_, KVTIP_NO_SOCKET); }
    void close() noexcept { kvtip_close(release()); }

    /// Sends all of the data: `kvtip_send`. Returns how many bytes were sent, fewer after an error. A
    /// time-out of 0 does not wait, `forever` waits without end. After a time-out the socket can still be
    /// used.
    std::size_t send(std::span<const std::byte> data, std::chrono::milliseconds timeout,
                     std::error_code& error) {
        std::size_t sent = 0;
        detail::report(kvtip_send(handle_, data.data(), data.size(), detail::to_wait(timeout), &sent), error);
        return sent;
    }
    std::size_t send(std::string_view text, std::chrono::milliseconds timeout, std::error_code& error) {
        return send(std::as_bytes(std::span(text)), timeout, error);
    }

    /// Receives what has arrived, and waits for it if nothing has: `kvtip_receive`. Returns the number of
    /// bytes, 0 when the other side has finished sending. The time-out is that of `send`.
    std::size_t receive(std::span<std::byte> room, std::chrono::milliseconds timeout,
                        std::error_code& error) {
        std::size_t received = 0;
        detail::report(kvtip_receive(handle_, room.data(), room.size(), detail::to_wait(timeout), &received),
                       error);
        return received;
    }
    std::size_t receive(std::span<char> room, std::chrono::milliseconds timeout, std::error_code& error) {
        return receive(std::as_writable_bytes(room), timeout, error);
    }

#if KVTIP_HAS_EXCEPTIONS
    std::size_t send(std::span<const std::byte> data, std::chrono::milliseconds timeout) {
        return detail::or_throw("kvtip::socket::send",
                                [&](std::error_code& error) { return send(data, timeout, error); });
    }
    std::size_t send(std::string_view text, std::chrono::milliseconds timeout) {
        return send(std::as_bytes(std::span(text)), timeout);
    }
    std::size_t receive(std::span<std::byte> room, std::chrono::milliseconds timeout) {
        return detail::or_throw("kvtip::socket::receive",
                                [&](std::error_code& error) { return receive(room, timeout, error); });
    }
    std::size_t receive(std::span<char> room, std::chrono::milliseconds timeout) {
        return receive(std::as_writable_bytes(room), timeout);
    }
#endif

private:
    kvtip_socket handle_ = KVTIP_NO_SOCKET;
};

/// An attempt to connect.
struct connect_attempt {
    endpoint remote;
    /// None for the one that succeeded; `operation_canceled` for one that was under way when another
    /// succeeded or the call was cancelled.
    std::error_code error;
    std::chrono::milliseconds time{};
    std::chrono::milliseconds start{}; ///< when it began, counted from the end of the lookup
};

/// The result of a connect.
struct connect_result {
    kvtip::socket socket; ///< none after an error
    endpoint local;       ///< none after an error
    endpoint remote;      ///< none after an error: see `attempts`
    std::chrono::milliseconds lookup_time{};
    std::chrono::milliseconds time{};
    std::vector<connect_attempt> attempts; ///< in the order in which they were made; also after an error
};

/// How to connect.
struct connect_options {
    std::chrono::milliseconds timeout{30000}; ///< for the lookup and all attempts together
    kvtip::family family = family::none;      ///< none: both
    const canceller* cancel = nullptr;        ///< can end the call early; null: nothing can

    kvtip_connect_options native() const noexcept {
        return {sizeof(kvtip_connect_options), detail::to_timeout(timeout),
                static_cast<std::uint32_t>(family), 0, detail::native_handle(cancel)};
    }
};

namespace detail {

/// Calls `call(const kvtip_connect_result**)`, which fills a result on failure too.
template <class Call>
connect_result connect_by(std::error_code& error, Call call) {
    const kvtip_connect_result* made = nullptr;
    const std::uint32_t code = call(&made);
    const owned<kvtip_connect_result> owner(made);
    kvtip::socket socket(made == nullptr ? KVTIP_NO_SOCKET : made->socket);
    report(code, error);
    if (made == nullptr) {
        return {};
    }
    const auto milliseconds = [](std::uint32_t count) { return std::chrono::milliseconds(count); };
    return {std::move(socket),
            endpoint(made->local),
            endpoint(made->remote),
            milliseconds(made->lookup_time),
            milliseconds(made->time),
            rows_of<connect_attempt>(&made->attempts, [&](const kvtip_attempt& row) {
                return connect_attempt{endpoint(row.remote),
                                       std::error_code(static_cast<int>(row.code), category()),
                                       milliseconds(row.time), milliseconds(row.start)};
            })};
}

} // namespace detail

/// Connects to a host and service by TCP: `kvtip_connect`. The addresses are tried 250 ms apart, or as soon as
/// one has failed; the first that succeeds wins. The result holds the attempts also after an error; the form
/// that throws has no result then.
inline connect_result connect(std::string_view host, std::string_view service, const connect_options& options,
                              std::error_code& error) {
    const detail::c_text host_text(host);
    const detail::c_text service_text(service);
    const kvtip_connect_options native = options.native();
    return detail::connect_by(error, [&](auto** out) {
        return host_text.is_valid() && service_text.is_valid()
                   ? kvtip_connect(host_text.get(), service_text.get(), &native, out)
                   : detail::invalid_parameter;
    });
}
inline connect_result connect(std::string_view host, std::uint16_t port, const connect_options& options,
                              std::error_code& error) {
    return connect(host, std::to_string(port), options, error);
}
/// Connects to an endpoint by TCP: `kvtip_connect_endpoint`.
inline connect_result connect(const endpoint& remote, const connect_options& options,
                              std::error_code& error) {
    const kvtip_connect_options native = options.native();
    return detail::connect_by(
        error, [&](auto** out) { return kvtip_connect_endpoint(&remote.native(), &native, out); });
}

#if KVTIP_HAS_EXCEPTIONS
inline connect_result connect(std::string_view host, std::string_view service,
                              const connect_options& options = {}) {
    return detail::or_throw("kvtip::connect",
                            [&](std::error_code& error) { return connect(host, service, options, error); });
}
inline connect_result connect(std::string_view host, std::uint16_t port,
                              const connect_options& options = {}) {
    return connect(host, std::to_string(port), options);
}
inline connect_result connect(const endpoint& remote, const connect_options& options = {}) {
    return detail::or_throw("kvtip::connect",
                            [&](std::error_code& error) { return connect(remote, options, error); });
}
#endif

} // namespace v1
} // namespace kvtip
