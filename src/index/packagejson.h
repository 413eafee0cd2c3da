// A record as one line of JSON, for the command line and for golden files.
// Pure function on values; any thread.
#pragma once

#include "index/packageinfo.h"

#include <QString>

// One object, keys in the order package, name, version, description, filename, icon, architecture,
// sourceLink; an absent field is null. Ends with "\n".
void appendPackageJsonLine(QString &out, const PackageInfo &package);
[[nodiscard]] QString packageJsonLine(const PackageInfo &package);
