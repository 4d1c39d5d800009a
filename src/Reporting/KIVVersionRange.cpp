#include "Reporting/KIVVersionRange.h"

#include "Model/KIVJSONKeys.h"
#include "Platform/Text/Text.h"
#include "Reporting/KIVDeviceProperties.h"

bool KIVVersionRange::isApplicableForDevice(const KIVDeviceProperties& deviceProperties) const {
    return comperator_ == KIVC_JSON_data_versionRangeEqualsTo &&
           kiv::compareNumerically(deviceProperties.appShortVersion(), version_) == 0;
}
