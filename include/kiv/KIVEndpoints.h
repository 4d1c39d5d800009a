#pragma once

#include <string>

#include <kiv/KIVExport.h>

/// The built-in endpoints: URLs that the build was configured with. An application may assign other URLs,
/// without a slash at the end, before its first call of `KIVCore`; after that call the URLs must not change.
/// Available before `main`.

/// For keys of 24 hexadecimal digits.
KIV_API std::string& KIVC_cdnGetConfigURL(); ///< base URL of the configuration CDN
KIV_API std::string& KIVC_apiGetConfigURL(); ///< configuration API
KIV_API std::string& KIVC_cdnSendStateURL(); ///< base URL of the state CDN
KIV_API std::string& KIVC_apiSendStateURL(); ///< state API
KIV_API std::string& KIVC_analyticBaseURL(); ///< base URL of the analytics service
KIV_API std::string& KIVC_pushBaseURL();     ///< push stream

/// For keys in the form of a UUID.
KIV_API std::string& VPL_cdnGetConfigURL(); ///< base URL of the configuration CDN
KIV_API std::string& VPL_apiGetConfigURL(); ///< configuration API
KIV_API std::string& VPL_cdnSendStateURL(); ///< base URL of the state CDN
KIV_API std::string& VPL_apiSendStateURL(); ///< state API
KIV_API std::string& VPL_analyticBaseURL(); ///< base URL of the analytics service
KIV_API std::string& VPL_pushBaseURL();     ///< push stream
