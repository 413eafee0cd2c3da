// Addresses that hand a source or a package to the package managers' URL schemes.
// Pure functions on values; any thread.
#pragma once

#include "handoff/urlopener.h"

#include <QString>

namespace Handoff {
// Cydia adds sources through its share page; the host is configuration, the path is Cydia's.
inline const QString cydiaShareBase = QStringLiteral("https://cydia.saurik.com/api/share#?source=");
inline const QString packageOpenFailed = QStringLiteral("لا يمكن فتح الأداة في Sileo.");
// The publisher's social page behind the main screen's bird button: the project's own account.
inline const QString socialHandle = QStringLiteral("@TallowPine");
inline const QString socialPage = QStringLiteral("https://x.com/TallowPine");

// Sileo alone gets "https://" in front of a bare host; Zebra and Cydia receive the link untouched.
// Nothing is escaped: the link is appended exactly as stored.
[[nodiscard]] QString sileoSource(const QString &link);
[[nodiscard]] QString zebraSource(const QString &link);
[[nodiscard]] QString cydiaSource(const QString &link);
[[nodiscard]] QString sileoPackage(const QString &packageId);

// Opens the address when it is a valid URL; false means nothing was opened.
bool openAddress(UrlOpener &opener, const QString &address);
} // namespace Handoff
