#include "adapters/device_ids.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>
#include <windows.h>

#include "binding/system_list.h"

namespace ip::detail {

namespace {

constexpr const wchar_t* class_keys[] = {
    L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e972-e325-11ce-bfc1-08002be10318}", // network adapters
    L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e96d-e325-11ce-bfc1-08002be10318}", // modems
};

/// A registry key opened for reading; false if it cannot be opened.
class registry_key {
public:
    registry_key(HKEY parent, const wchar_t* path) {
        if (RegOpenKeyExW(parent, path, 0, KEY_READ, &key_) != ERROR_SUCCESS) {
            key_ = nullptr;
        }
    }
    ~registry_key() {
        if (key_ != nullptr) {
            RegCloseKey(key_);
        }
    }
    registry_key(const registry_key&) = delete;
    registry_key& operator=(const registry_key&) = delete;

    explicit operator bool() const { return key_ != nullptr; }
    HKEY get() const { return key_; }

private:
    HKEY key_ = nullptr;
};

/// `text` with its environment variables replaced by their values.
std::optional<std::wstring> expand(const std::wstring& text) {
    std::wstring result(text.size() + MAX_PATH, L'\0');
    for (int attempt = 0; attempt < most_attempts; ++attempt) {
        // Counts the terminator. A result above the capacity means that it did not fit.
        const DWORD needed =
            ExpandEnvironmentStringsW(text.c_str(), result.data(), static_cast<DWORD>(result.size()));
        if (needed == 0) {
            break;
        }
        if (needed <= result.size()) {
            result.resize(needed - 1);
            return result;
        }
        result.resize(needed);
    }
    return std::nullopt;
}

/// The string value `name`; none if it is missing or not a string. `buffer` is reused from one value to the
/// next.
std::optional<std::wstring> string_value(const registry_key& key, const wchar_t* name, std::wstring& buffer) {
    for (int attempt = 0; attempt < most_attempts; ++attempt) {
        DWORD type = REG_NONE;
        auto size = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
        const LSTATUS code =
            RegQueryValueExW(key.get(), name, nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()), &size);
        if (code == ERROR_MORE_DATA && size > buffer.size() * sizeof(wchar_t)) {
            buffer.resize(size / sizeof(wchar_t) + 1);
            continue;
        }
        if (code != ERROR_SUCCESS || (type != REG_SZ && type != REG_EXPAND_SZ)) {
            break;
        }
        // A stored string can lack its terminator, or continue after it.
        const std::size_t end = std::min(buffer.find(L'\0'), size / sizeof(wchar_t));
        std::wstring text(buffer, 0, end);
        if (type == REG_EXPAND_SZ) {
            return expand(text);
        }
        return text;
    }
    return std::nullopt;
}

} // namespace

void read_device_ids(device_id_map& device_ids) {
    std::wstring buffer(256, L'\0');
    for (const wchar_t* class_key : class_keys) {
        const registry_key devices(HKEY_LOCAL_MACHINE, class_key);
        if (!devices) {
            continue;
        }
        for (DWORD i = 0;; ++i) {
            wchar_t device_name[256]; // no key name is longer than 255 characters
            auto length = static_cast<DWORD>(std::size(device_name));
            if (RegEnumKeyExW(devices.get(), i, device_name, &length, nullptr, nullptr, nullptr, nullptr) !=
                ERROR_SUCCESS) {
                break; // 259 at the end
            }
            const registry_key device(devices.get(), device_name);
            if (!device) {
                continue;
            }
            auto adapter_name = string_value(device, L"NetCfgInstanceId", buffer);
            if (!adapter_name) {
                continue;
            }
            auto device_id = string_value(device, L"DeviceInstanceID", buffer);
            if (device_id) {
                device_ids.insert_or_assign(std::move(*adapter_name), std::move(*device_id));
            }
        }
    }
}

} // namespace ip::detail
