#include "os/Registry.h"

#include "os/win32/Windows.h"

#include <memory>
#include <type_traits>
#include <utility>

namespace os {
namespace {

struct CloseKey {
    void operator()(HKEY key) const { RegCloseKey(key); }
};
using Key = std::unique_ptr<std::remove_pointer_t<HKEY>, CloseKey>;

HKEY rootOf(Hive hive) { return hive == Hive::currentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE; }

long openForReading(Hive hive, const std::string& key, Key& opened) {
    HKEY handle = nullptr;
    const long error = RegOpenKeyExW(rootOf(hive), base::widen(key).c_str(), 0, KEY_READ, &handle);
    opened.reset(handle);
    return error;
}

bool isText(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ; }

// Repeats with a larger buffer until the value fits, because it may grow between calls.
long query(HKEY key, const std::wstring& name, std::wstring& text) {
    DWORD type = REG_NONE;
    DWORD size = MAX_PATH;
    long error = ERROR_MORE_DATA;
    while (error == ERROR_MORE_DATA) {
        text.resize(size / sizeof(wchar_t) + 1);
        size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
        error =
            RegQueryValueExW(key, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(text.data()), &size);
        const bool isThere = error == ERROR_SUCCESS || error == ERROR_MORE_DATA;
        if (isThere && !isText(type)) return ERROR_UNSUPPORTED_TYPE;
    }
    text.resize(size / sizeof(wchar_t));
    return error;
}

}  // namespace

// The terminating zero is not counted, so other programs may find a text without it.
long writeRegistryText(Hive hive, const std::string& key, const std::string& name, const std::string& value) {
    HKEY handle = nullptr;
    const long error = RegCreateKeyExW(rootOf(hive), base::widen(key).c_str(), 0, nullptr,
                                       REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, &handle, nullptr);
    if (error != ERROR_SUCCESS) return error;
    const Key opened(handle);
    const std::wstring text = base::widen(value);
    return RegSetValueExW(handle, base::widen(name).c_str(), 0, REG_SZ,
                          reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>(text.size() * sizeof(wchar_t)));
}

long readRegistryText(Hive hive, const std::string& key, const std::string& name, std::string& value) {
    Key opened;
    std::wstring text;
    long error = openForReading(hive, key, opened);
    if (error == ERROR_SUCCESS) error = query(opened.get(), base::widen(name), text);
    if (error == ERROR_SUCCESS) value = base::narrow(text.erase(text.find_last_not_of(L'\0') + 1));
    return error;
}

long listRegistryKeys(Hive hive, const std::string& key, std::vector<std::string>& names) {
    Key opened;
    std::wstring buffer(MAX_PATH, L'\0');
    std::vector<std::string> found;
    long error = openForReading(hive, key, opened);
    while (error == ERROR_SUCCESS) {
        auto length = static_cast<DWORD>(buffer.size());
        error = RegEnumKeyExW(opened.get(), static_cast<DWORD>(found.size()), buffer.data(), &length, nullptr,
                              nullptr, nullptr, nullptr);
        if (error == ERROR_SUCCESS) found.push_back(base::narrow({buffer.data(), length}));
        if (error == ERROR_MORE_DATA) {
            buffer.resize(2 * buffer.size());
            error = ERROR_SUCCESS;
        }
    }
    if (error != ERROR_NO_MORE_ITEMS) return error;
    names = std::move(found);
    return ERROR_SUCCESS;
}

long deleteRegistryKey(Hive hive, const std::string& key) {
    return RegDeleteKeyW(rootOf(hive), base::widen(key).c_str());
}

}  // namespace os
