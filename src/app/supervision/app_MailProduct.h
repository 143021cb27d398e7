// The fixed values of the product that its mails use.
#pragma once

namespace services::app {

/// Who gets every crash mail.
inline constexpr const char* crashMailbox = "crash-reports@support.example.com";
/// The domain of a crash mail's sender.
inline constexpr const char* crashSenderDomain = "enclosure.example.com";
/// The relay that crash mail and simple mail are handed to.
inline constexpr const char* mailRelay = "127.0.0.1";
/// The release that crash mail and managed-log mail name.
inline constexpr const char* releaseCode = "TQK318R009-02";

}  // namespace services::app
