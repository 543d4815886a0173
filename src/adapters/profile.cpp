#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <ras.h>
#include <raserror.h>

#include "adapters/adapter_fields.h"
#include "address/convert.h"
#include "address/parse.h"
#include "binding/remote_access.h"
#include "binding/system_list.h"
#include "ip/adapter_enumerator.h"

namespace ip {

using namespace detail;

namespace {

using ras_connection = RASCONNW; // the platform's name is a macro

/// The remote-access library. If it is missing or fails, there are no connections.
class remote_access {
public:
    std::vector<ras_connection> connections() const {
        std::vector<ras_connection> found;
        if (library_.RasEnumConnectionsW != nullptr) {
            // The records of Windows 6.0, 5.1, 5.0 and 4.0. A system refuses those that it does not know.
            for (const DWORD record_size : {1388u, 1372u, 1360u, 1344u}) {
                if (list_connections(record_size, found) != ERROR_INVALID_SIZE) {
                    break;
                }
            }
        }
        return found;
    }

    /// The host's IPv4 address on a connection; family 0 if it has none.
    addr local_address(const ras_connection& connection) const {
        RASPPPIPW projection{};
        static_assert(sizeof projection == 80);
        projection.dwSize = sizeof projection;
        DWORD size = sizeof projection;
        addr address;
        if (library_.RasGetProjectionInfoW != nullptr &&
            library_.RasGetProjectionInfoW(connection.hrasconn, RASP_PppIp, &projection, &size) == 0) {
            parse_address(terminated(projection.szIpAddress).c_str(), address);
        }
        return address;
    }

private:
    unsigned long list_connections(DWORD record_size, std::vector<ras_connection>& connections) const {
        static_assert(offsetof(ras_connection, szDeviceName) + sizeof ras_connection::szDeviceName == 818);
        std::vector<std::uint8_t> records;
        unsigned long code = ERROR_BUFFER_TOO_SMALL;
        DWORD size = record_size;
        DWORD count = 0;
        // There can be more connections each time.
        for (int attempt = 0; attempt < most_attempts && code == ERROR_BUFFER_TOO_SMALL; ++attempt) {
            records.assign(std::max<std::size_t>(size, record_size), 0);
            std::memcpy(records.data(), &record_size, sizeof record_size);
            size = static_cast<DWORD>(records.size());
            code = library_.RasEnumConnectionsW(reinterpret_cast<ras_connection*>(records.data()), &size,
                                                &count);
        }
        if (code == 0) {
            connections.resize(std::min<std::size_t>(count, records.size() / record_size));
            const std::uint8_t* next = records.data();
            for (ras_connection& connection : connections) {
                std::memcpy(&connection, next, std::min<std::size_t>(record_size, sizeof connection));
                next += record_size;
            }
        }
        return code;
    }

    remote_access_entries library_;
};

template <class Predicate>
const _SFindAddress* find_address(const std::vector<_SFindAddress>& addresses, Predicate predicate) {
    const auto found = std::find_if(addresses.begin(), addresses.end(), predicate);
    return found == addresses.end() ? nullptr : &*found;
}

void set_address(_SCurrentProfile& profile, const _SFindAddress* found) {
    if (found != nullptr) {
        profile.address = found->address;
        profile.mask = found->mask;
    }
}

/// Fills in the connection that has one of the adapter's addresses, if there is one. That address is then the
/// profile's, except for a destination of another family.
void set_connection(const std::vector<_SFindAddress>& addresses, std::uint16_t family,
                    _SCurrentProfile& profile) {
    const remote_access library;
    for (const ras_connection& connection : library.connections()) {
        const saddr address = to_saddr(library.local_address(connection));
        const auto* found = find_address(addresses, [&](const _SFindAddress& each) {
            return address.family != family_none && is_same_address(to_saddr(each.address), address);
        });
        if (found != nullptr) {
            if (found->address.family == family || profile.address.family == family_none) {
                set_address(profile, found);
            }
            profile.dial_up = true;
            profile.entry_name = terminated(connection.szEntryName).c_str();
            profile.device_type = terminated(connection.szDeviceType).c_str();
            profile.device_name = terminated(connection.szDeviceName).c_str();
            return;
        }
    }
}

} // namespace

bool adapter_enumerator::find_current_profile(_SCurrentProfile& profile, const saddr& destination) {
    if (!find_best(profile.adapter, destination)) {
        return false;
    }
    DWORD code = 0;
    try {
        _SCurrentProfile found;
        std::vector<_SFindAddress> addresses;
        for (_SFindAddress address; find_next_addr(address); address = {}) {
            addresses.push_back(address);
        }
        set_address(found, find_address(addresses, [&](const _SFindAddress& each) {
                        return each.address.family == destination.family;
                    }));
        if (find_best_gateway(profile.adapter, destination, found.gateway) != 0) {
            found.gateway = {};
        }
        set_connection(addresses, destination.family, found);
        found.adapter = std::move(profile.adapter);
        profile = std::move(found);
    } catch (const std::bad_alloc&) {
        code = ERROR_NOT_ENOUGH_MEMORY;
    }
    SetLastError(code); // last: the calls before may have changed it
    return code == 0;
}

} // namespace ip
