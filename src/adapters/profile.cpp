#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include <ras.h>
#include <raserror.h>

#include "address/convert.h"
#include "address/parse.h"
#include "ip/adapter_enumerator.h"
#include "ip/detail/owners.h"

namespace ip {

using namespace detail;

namespace {

using ras_connection = RASCONNW; // the platform's name is a macro

/// The remote-access library, loaded for as long as this object lives. Without it, or when it fails, there
/// are no connections.
class remote_access {
public:
    remote_access() {
        if (library_.load(L"rasapi32.dll")) {
            enumerate_ = std::bit_cast<decltype(enumerate_)>(library_.find("RasEnumConnectionsW"));
            project_ = std::bit_cast<decltype(project_)>(library_.find("RasGetProjectionInfoW"));
        }
    }

    std::vector<ras_connection> connections() const {
        std::vector<ras_connection> found;
        if (enumerate_ == nullptr) {
            return found;
        }
        DWORD code = ERROR_BUFFER_TOO_SMALL;
        DWORD size = sizeof(ras_connection);
        DWORD count = 0;
        // As long as the system asks for more than it was offered: there may be more connections each time.
        while (code == ERROR_BUFFER_TOO_SMALL && size > found.size() * sizeof(ras_connection)) {
            found.assign((size + sizeof(ras_connection) - 1) / sizeof(ras_connection), {});
            found.front().dwSize = sizeof(ras_connection);
            size = static_cast<DWORD>(found.size() * sizeof(ras_connection));
            code = enumerate_(found.data(), &size, &count);
        }
        found.resize(code == 0 ? std::min<std::size_t>(count, found.size()) : 0);
        return found;
    }

    /// The own IPv4 address of a connection; family 0 when it has none.
    addr address_of(const ras_connection& connection) const {
        RASPPPIPW projection{};
        static_assert(sizeof projection == 80);
        projection.dwSize = sizeof projection;
        DWORD size = sizeof projection;
        addr address;
        if (project_ != nullptr && project_(connection.hrasconn, RASP_PppIp, &projection, &size) == 0) {
            parse_address(projection.szIpAddress, address);
        }
        return address;
    }

private:
    module_handle library_;
    decltype(&::RasEnumConnectionsW) enumerate_ = nullptr;
    decltype(&::RasGetProjectionInfoW) project_ = nullptr;
};

bool is_same(const addr& one, const addr& other) {
    const std::size_t size = address_size(one.family);
    return size != 0 && one.family == other.family && std::memcmp(one.address, other.address, size) == 0;
}

template <class Predicate>
const _SFindAddress* find(const std::vector<_SFindAddress>& addresses, Predicate predicate) {
    const auto found = std::find_if(addresses.begin(), addresses.end(), predicate);
    return found == addresses.end() ? nullptr : &*found;
}

void use(const _SFindAddress* own, _SCurrentProfile& profile) {
    if (own != nullptr) {
        profile.address = own->address;
        profile.mask = own->mask;
    }
}

/// Fills in the connection that has one of the adapter's addresses, if there is one. That is then the address
/// used, but towards a destination of another family.
void find_connection(const std::vector<_SFindAddress>& addresses, std::uint16_t family,
                     _SCurrentProfile& profile) {
    const remote_access library;
    for (const ras_connection& connection : library.connections()) {
        const addr address = library.address_of(connection);
        const auto* own = find(addresses, [&](const auto& each) { return is_same(each.address, address); });
        if (own != nullptr) {
            if (own->address.family == family || profile.address.family == family_none) {
                use(own, profile);
            }
            profile.dial_up = true;
            profile.entry_name = connection.szEntryName;
            profile.device_type = connection.szDeviceType;
            profile.device_name = connection.szDeviceName;
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
        use(find(addresses, [&](const auto& each) { return each.address.family == destination.family; }),
            found);
        if (find_best_gateway(profile.adapter, destination, found.gateway) != 0) {
            found.gateway = {};
        }
        find_connection(addresses, destination.family, found);
        found.adapter = std::move(profile.adapter);
        profile = std::move(found);
    } catch (const std::bad_alloc&) {
        code = ERROR_NOT_ENOUGH_MEMORY;
    }
    SetLastError(code); // last: what was done since may have changed it
    return code == 0;
}

} // namespace ip
