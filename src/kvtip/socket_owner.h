#pragma once

#include <cstdint>
#include <utility>
#include <windows.h>

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
        : socket_{other.socket_.exchange()}, module_(std::exchange(other.module_, nullptr)) {}
    socket_owner& operator=(socket_owner&& other) noexcept {
        std::swap(socket_.handle, other.socket_.handle);
        std::swap(module_, other.module_);
        return *this;
    }

    /// Takes the load and the start. Returns 0 or the system's code.
    std::uint32_t start() noexcept;

    ip::socket& get() { return socket_; }
    kvtip_socket handle() const { return socket_.handle; }

    /// Leaves the socket to `kvtip_close`.
    void release() noexcept {
        socket_.exchange();
        module_ = nullptr;
    }

private:
    void close() noexcept;

    ip::socket socket_;
    HMODULE module_ = nullptr; ///< null before the start
};

} // namespace kvtip::library
