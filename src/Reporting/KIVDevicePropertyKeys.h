#pragma once

/// The names of the members of the device properties and of the state.

inline constexpr const char* KIVC_DEVICE_PROPERTIES_REAL_PLATFORM = "realPlatform";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_PLATFORM_VERSION = "platformVersion";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_LANGUAGE_VERSION = "languageVersion";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_PLATFORM = "platform";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_CUSTOM_SIGNING_CERTIFICATE = "customSigningCertificate";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_VERSION_NAME = "version_name";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_APP_VERSION = "app_version";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_APP_RELEASE = "app_release";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_LIB_VERSION = "lib_version";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_CORVANE_BUILD = "corvane_build";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_API_VERSION = "api_version";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_LANGUAGE = "language";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_COUNTRY = "country";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_MANUFACTURER = "manufacturer";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_OS = "os";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_OS_VERSION = "os_version";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_MODEL = "model";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_DEVICE_NAME = "device_name";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_SCREEN_HEIGHT = "screen_height";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_SCREEN_WIDTH = "screen_width";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_DISTINCT_ID = "distinct_id";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_ITUNES_PLIST_FILE_EXISTS = "itunes_plist_file_exists";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_EMBEDDED_MOBILEPROVISION_FILE_EXISTS =
    "embedded_mobileprovision_file_exists";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_APP_KEY = "app_key";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_DEV_MODE_SECRET = "devModeSecret";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_USER_INTERFACE_IDIOM = "userInterfaceIdiom";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_BUID_GENERATORS_LIST = "buid_generators_list";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_BUID = "buid";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_CACHE_MISS_RELATIVE_URL = "cache_miss_relative_url";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_CUSTOM_PROPERTIES = "custom_properties";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_CUSTOM_PROPERTIES_STRING = "custom_properties_string";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_FEATURE_FLAGS = "feature_flags";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_FEATURE_FLAGS_STRING = "feature_flags_string";
inline constexpr const char* KIVC_DEVICE_PROPERTIES_STATE_MD5 = "stateMd5";

/// The value of a property that neither the device nor the application gives.
inline constexpr const char* KIVC_DEVICE_PROPERTIES_UNDEFINED = "corvane_undefined";

/// The members of an entry in the list of flags.
inline constexpr const char* KIVC_FEATURE_FLAG_NAME = "name";
inline constexpr const char* KIVC_FEATURE_FLAG_DEFAULT_VALUE = "defaultValue";
inline constexpr const char* KIVC_FEATURE_FLAG_OPTIONS = "options";
