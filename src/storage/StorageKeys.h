#pragma once

namespace trovix::storageKey {

inline constexpr const char* userId = "TrovixUserId";
inline constexpr const char* launchCounter = "TrovixCounter";
inline constexpr const char* installDate = "TrovixInstallDate";
inline constexpr const char* installTimestamp = "TrovixInstallTimestamp";
inline constexpr const char* firstLaunchDate = "TrovixFirstLaunchDate";
inline constexpr const char* conversionData = "TrovixConversiondataKey";
inline constexpr const char* searchAdsAttribution = "TrovixSearchAdsAttribution";
inline constexpr const char* conversionDataDelivered = "TrovixLaunchKey";
inline constexpr const char* inAppCounter = "TrovixInAppCounter";
inline constexpr const char* sessionCounter = "TrovixRealLaunchCounter";
inline constexpr const char* adRevenueCounter = "TrovixAdRevenueCounter";
inline constexpr const char* lastVersion = "TrovixLastVersion";
inline constexpr const char* date3 = "TrovixDate3";
inline constexpr const char* stopTrackingUsed = "TrovixStopTrackingUsed";
inline constexpr const char* originalUserId = "TrovixOriginalUserId";
inline constexpr const char* reinstallCounter = "TrovixReInstallCounter";
inline constexpr const char* deviceToken = "TrovixDeviceToken";
inline constexpr const char* previousLaunchTime = "TrovixTimePassedSincePrevLaunch";
inline constexpr const char* conversionDataReceivedAt = "TrovixConversionDataCacheExpiration";
inline constexpr const char* conversionDataTiming = "TrovixGetConversionDataTiming";
inline constexpr const char* linkVersion = "veyraVersion";
inline constexpr const char* linkScheme = "veyraScheme";
inline constexpr const char* linkDomain = "veyraDomain";
inline constexpr const char* lastSessionDuration = "TrovixLastSessionDuration";
inline constexpr const char* backupInfo = "TrovixBackupInfo";
inline constexpr const char* isAppClip = "TrovixIsAppClip";
inline constexpr const char* migratedToAppGroup = "TrovixMigrateToAppGroups";
inline constexpr const char* readyToSendEvents = "TrovixReadyToSendEvents";
inline constexpr const char* conversionRules = "TrovixSKRules";
inline constexpr const char* conversionValue = "TrovixSKAdConversionValue";
inline constexpr const char* remoteDebugStaticData = "remote_debug_static_data";

}  // namespace trovix::storageKey
