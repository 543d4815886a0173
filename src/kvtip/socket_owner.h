#pragma once

#include <cstdint>
#include <utility>

#include "ip/address.h"
#include "kvtip/kvtip.h"

namespace kvtip::library {

/// A socket that outlives the call that makes it, with what keeps it usable: one load and one start of the
/// system's socket library, in the system's counts. Closes it unless it is released.
class socket_owner {
public:
    socket_owner() = default;
    ~socket_owner() { close(); }
    socket_owner(socket_owner&& other) noexcept
        : socket_{other.socket_.exchange()}, is_started_(std::exchange(other.is_started_, false)) {}
    socket_owner& operator=(socket_owner&& other) noexcept {
        std::swap(socket_.handle, other.socket_.handle);
        std::swap(is_started_, other.is_started_);
        return *this;
    }

    /// Takes the load and the start. Returns 0 or the system's code.
    std::uint32_t start() noexcept;

    ip::socket& get() { return socket_; }
    kvtip_socket handle() const { return socket_.handle; }

    /// Leaves the socket to `kvtip_close`.
    void release() noexcept {
        socket_.exchange();
        is_started_ = false;
    }

private:
    void close() noexcept;

    ip::socket socket_;
    bool is_started_ = false;
};

} // namespace kvtip::library
