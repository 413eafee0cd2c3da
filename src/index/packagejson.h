// A record as one line of JSON, for the command line and for golden files.
// Pure function on values; any thread.
#pragma once

#include "index/packageinfo.h"

#include <QString>

#include <initializer_list>

inline constexpr std::initializer_list<PackageInfo::Field> kAllPackageFields{
    PackageInfo::Package,  PackageInfo::Name, PackageInfo::Version,      PackageInfo::Description,
    PackageInfo::Filename, PackageInfo::Icon, PackageInfo::Architecture,
};

// One object with the given fields in the given order, keys package, name, version, description,
// filename, icon, architecture, then sourceLink; an absent field is null. Ends with "\n".
void appendPackageJsonLine(QString &out, const PackageInfo &package,
                           std::initializer_list<PackageInfo::Field> fields = kAllPackageFields);
[[nodiscard]] QString packageJsonLine(const PackageInfo &package,
                                      std::initializer_list<PackageInfo::Field> fields = kAllPackageFields);
