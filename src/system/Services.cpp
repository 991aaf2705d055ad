#include <QvPlatform/system/Services.h>

#include "system/ServiceStatus.h"

namespace QvPlatform {

eServiceStatus getServiceStatus(const std::string& serviceName) {
    return detail::statusOf(os::serviceState(serviceName));
}

}  // namespace QvPlatform
