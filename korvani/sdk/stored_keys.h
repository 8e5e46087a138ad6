// The kit's entries in the user-defaults store, which it shares with the host.
#pragma once

#include <string_view>

namespace korvani {

/// Text: a random UUID, made at the first start and never replaced.
inline constexpr std::string_view kDeviceRegistrationIdKey = "device_registration_id";
/// Boolean: disabled mode, in which at most one request goes out in 24 hours.
inline constexpr std::string_view kNotificationDisableKey = "KVNotificationDisable";
/// Date of the last request that went out.
inline constexpr std::string_view kLastRequestKey = "KVLastRequest";
/// Date of the last good configuration answer.
inline constexpr std::string_view kLastRequestConfigKey = "lastRequestConfig";
/// Text: the proximity UUID of that answer.
inline constexpr std::string_view kKorvaniUUIDKey = "KorvaniUUID";

}  // namespace korvani
