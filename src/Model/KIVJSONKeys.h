#pragma once

/// Member names and constants of configuration documents.

inline constexpr const char* KIVC_JSON_date_format = "yyyy-MM-dd'T'HH:mm:ss.SSSZ";

// The envelope.
inline constexpr const char* KIVC_JSON_data = "data";
inline constexpr const char* KIVC_JSON_data_signedDate = "signed_date";
inline constexpr const char* KIVC_JSON_signature = "signature_v0";

// The payload.
inline constexpr const char* KIVC_JSON_appKey = "application";
inline constexpr const char* KIVC_JSON_dummy = "dummy";
inline constexpr const char* KIVC_JSON_data_experiments = "experiments";
inline constexpr const char* KIVC_JSON_data_targetGroups = "targetGroups";
inline constexpr const char* KIVC_JSON_data_application_version = "application_version";
inline constexpr const char* KIVC_JSON_data_application_version_id = "id";

// An experiment.
inline constexpr const char* KIVC_JSON_data_experimentsIds = "_id";
inline constexpr const char* KIVC_JSON_data_experimentsName = "name";
inline constexpr const char* KIVC_JSON_data_experimentsArchived = "archived";
inline constexpr const char* KIVC_JSON_data_experimentsSticky = "sticky";
inline constexpr const char* KIVC_JSON_data_experimentsLabels = "labels";
inline constexpr const char* KIVC_JSON_data_experimentsStickinessProperty = "stickinessProperty";
inline constexpr const char* KIVC_JSON_data_experimentsDeploymentConfiguration = "deploymentConfiguration";
inline constexpr const char* KIVC_JSON_data_experimentsCondition = "condition";
inline constexpr const char* KIVC_JSON_data_experimentsFeatureFlags = "featureFlags";
inline constexpr const char* KIVC_featureFlag_name = "name";

// A target group.
inline constexpr const char* KIVC_JSON_data_targetGroupsGroupId = "_id";
inline constexpr const char* KIVC_JSON_data_targetGroupsGroupCondition = "condition";

// Bundles for single devices.
inline constexpr const char* DEVICE_TWEAK = "tweak";
inline constexpr const char* DEVICE_BUNDLES = "bundles";
inline constexpr const char* DEVICE_BUNDLE_MATCHER = "matcher";
inline constexpr const char* DEVICE_BUNDLE = "bundle";

// Names that documents may carry and the library does not read.
inline constexpr const char* KIVC_JSON_data_experimentsVersionRange = "versionRange";
inline constexpr const char* KIVC_JSON_data_experimentsTargeting = "targeting";
inline constexpr const char* KIVC_JSON_data_versionRangeVersion = "version";
inline constexpr const char* KIVC_JSON_data_versionRangeComperator = "operator";
inline constexpr const char* KIVC_JSON_data_versionRangeEqualsTo = "Equals to";
