// What is done with a connected socket.

#include <winsock2.h>

#include <algorithm>
#include <bit>
#include <climits>

#include "kvtip/boundary.h"
#include "kvtip/deadline.h"
#include "kvtip/kvtip.h"
#include "kvtip/socket_owner.h"
#include "kvtip/system_entries.h"
#include "winsock/calls.h"

using namespace kvtip::library;
using ip::detail::bound_winsock;
using ip::detail::last_error;

namespace kvtip::library {

namespace {

constexpr const wchar_t* socket_library = L"Ws2_32.dll";

template <class Entry>
Entry entry_of(HMODULE module, const char* name) {
    return std::bit_cast<Entry>(GetProcAddress(module, name));
}

} // namespace

std::uint32_t socket_owner::start() noexcept {
    const HMODULE module = LoadLibraryW(socket_library);
    if (module == nullptr) {
        return GetLastError();
    }
    constexpr WORD version_2_2 = 0x0202;
    WSADATA data;
    if (const int code = bound_winsock().WSAStartup(version_2_2, &data)) {
        FreeLibrary(module);
        return static_cast<std::uint32_t>(code);
    }
    module_ = module;
    return 0;
}

void socket_owner::close() noexcept {
    const SOCKET handle = socket_.exchange();
    if (handle != KVTIP_NO_SOCKET) {
        bound_winsock().closesocket(handle);
    }
    if (module_ != nullptr) {
        bound_winsock().WSACleanup();
        FreeLibrary(std::exchange(module_, nullptr));
    }
}

namespace {

/// Waits until the socket can be read from or written to. Returns 0, 10060 or the system's code.
std::uint32_t wait_until(bool readable, SOCKET socket, const deadline& end) {
    fd_set wanted{1, {socket}};
    const std::uint32_t left = end.left();
    timeval timeout{static_cast<long>(left / 1000), static_cast<long>(left % 1000 * 1000)};
    const int ready = bound_winsock().select(0, readable ? &wanted : nullptr, readable ? nullptr : &wanted,
                                             nullptr, left == KVTIP_FOREVER ? nullptr : &timeout);
    return ready > 0 ? 0 : ready == 0 ? std::uint32_t{WSAETIMEDOUT} : last_error();
}

std::uint32_t send_all(SOCKET socket, const char* data, std::size_t size, const deadline& end,
                       std::size_t& sent) {
    // A socket that can be written to takes so much without waiting.
    constexpr std::size_t most = 8192;
    while (sent < size) {
        if (const std::uint32_t code = wait_until(false, socket, end)) {
            return code;
        }
        const int taken =
            bound_winsock().send(socket, data + sent, static_cast<int>(std::min(size - sent, most)), 0);
        if (taken < 0) {
            return last_error();
        }
        sent += static_cast<std::size_t>(taken);
    }
    return 0;
}

std::uint32_t receive_some(SOCKET socket, char* buffer, std::size_t capacity, const deadline& end,
                           std::size_t& received) {
    if (const std::uint32_t code = wait_until(true, socket, end)) {
        return code;
    }
    const auto room = static_cast<int>(std::min<std::size_t>(capacity, INT_MAX));
    const int taken = bound_winsock().recv(socket, buffer, room, 0);
    if (taken < 0) {
        return last_error();
    }
    received = static_cast<std::size_t>(taken);
    return 0;
}

} // namespace

} // namespace kvtip::library

uint32_t kvtip_send(kvtip_socket socket, const void* data, size_t size, uint32_t timeout,
                    size_t* sent) noexcept {
    if (!clear(sent) || (data == nullptr && size != 0)) {
        return ERROR_INVALID_PARAMETER;
    }
    return held(
        [&] { return send_all(socket, static_cast<const char*>(data), size, deadline(timeout), *sent); });
}

uint32_t kvtip_receive(kvtip_socket socket, void* buffer, size_t capacity, uint32_t timeout,
                       size_t* received) noexcept {
    if (!clear(received) || buffer == nullptr || capacity == 0) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] {
        return receive_some(socket, static_cast<char*>(buffer), capacity, deadline(timeout), *received);
    });
}

uint32_t kvtip_close(kvtip_socket socket) noexcept {
    const last_error_keeper keeper;
    if (socket == KVTIP_NO_SOCKET) {
        return 0;
    }
    // A socket keeps the library loaded: without it, there is none.
    const HMODULE module = GetModuleHandleW(socket_library);
    if (module == nullptr) {
        return WSAENOTSOCK;
    }
    const auto close = entry_of<decltype(&::closesocket)>(module, "closesocket");
    const auto cleanup = entry_of<decltype(&::WSACleanup)>(module, "WSACleanup");
    if (close == nullptr || cleanup == nullptr || close(socket) != 0) {
        return WSAENOTSOCK;
    }
    cleanup();
    FreeLibrary(module);
    return 0;
}
