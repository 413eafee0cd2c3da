// Which packages one source's package screen shows, and the screen's title: its own rule, apart
// from the "All Packages" filter (untrimmed text, architecture compared exactly, installed-only).
// Pure functions on values; any thread.
#pragma once

#include "index/packageinfo.h"

#include <QSet>
#include <QString>

#include <optional>
#include <vector>

// The picker's entry that stands for every architecture.
inline constexpr QStringView kAllArchitectures = u"All Architectures";

struct SourcePackageQuery
{
    QString text; // as typed, not trimmed; empty means no text filter
    std::optional<QString> architecture;
    bool onlyInstalled = false;

    friend bool operator==(const SourcePackageQuery &, const SourcePackageQuery &) = default;
};

// Positions in `packages` that pass, in order. Text: the name contains it ignoring case, or else the
// identifier does; nothing else is searched. Architecture: absent or "All Architectures" keeps all,
// anything else keeps only packages whose architecture is exactly that text (a package without one is
// dropped). Installed-only then keeps packages whose identifier is in `installed`.
[[nodiscard]] std::vector<qsizetype> filterSourcePackages(const PackageList &packages,
                                                          const SourcePackageQuery &query,
                                                          const QSet<QString> &installed);

// "Packages (N)", or "Installed (N)" while only installed packages are shown.
[[nodiscard]] QString sourcePackagesTitle(qsizetype count, bool onlyInstalled);
