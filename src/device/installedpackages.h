// The set of installed package identifiers, read once from the dpkg status database.
// Pure parsing on bytes, and a loader that does blocking file I/O: call it off the main thread.
#pragma once

#include "device/deviceroot.h"

#include <QByteArrayView>
#include <QSet>
#include <QString>

#include <optional>

// The status database, relative to the jailbreak root.
inline constexpr QLatin1String kDpkgStatusRelativePath("var/lib/dpkg/status");

// The "Package:" names of every block whose "Status:" value contains "install ok". That substring test
// also counts "install ok unpacked" and "deinstall ok config-files": a package that left anything behind
// is shown as present. Lines break at LF, CR, CR LF, VT, FF, U+0085, U+2028 and U+2029; the bytes are
// taken as UTF-8, one leading byte order mark dropped.
[[nodiscard]] QSet<QString> parseInstalledPackages(QByteArrayView status);

// Resolves the status file under the jailbreak root and parses it. No value when there is no such file
// or it cannot be read as UTF-8 text: the caller then keeps what it had rather than publishing an empty set.
[[nodiscard]] std::optional<QSet<QString>> loadInstalledPackages(const DeviceRoot &root);

// Exact, case-sensitive membership; an empty identifier is never installed.
[[nodiscard]] bool isPackageInstalled(const QSet<QString> &installed, const QString &identifier);
