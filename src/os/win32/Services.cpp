#include "os/Services.h"

#include "os/win32/Windows.h"

#include <memory>
#include <type_traits>

namespace os {
namespace {

struct CloseService {
    void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, CloseService>;

}  // namespace

ServiceState serviceState(const std::string& name) {
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) return {GetLastError(), std::nullopt};
    const ServiceHandle service(OpenServiceW(manager.get(), base::widen(name).c_str(), SERVICE_QUERY_STATUS));
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    const bool isTold =
        service && QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO,
                                        reinterpret_cast<BYTE*>(&status), sizeof status, &needed);
    if (!isTold) return {};
    return {std::nullopt, status.dwCurrentState == SERVICE_RUNNING};
}

}  // namespace os
