// Builds package records for tests from the few fields a test cares about.
// Test helper; any thread.
#pragma once

#include "index/packageinfo.h"

#include <optional>

struct TestPackage
{
    std::optional<QString> package;
    std::optional<QString> name;
    std::optional<QString> architecture;
    QString sourceLink = QStringLiteral("https://repo.example/");
};

inline PackageInfo makePackage(const TestPackage &p)
{
    return PackageInfo(p.package, p.name, QStringLiteral("1.0"), std::nullopt, std::nullopt,
                       QStringLiteral("Resources/Tweaks.png"), p.architecture, p.sourceLink);
}

inline PackageList makePackages(std::initializer_list<TestPackage> packages)
{
    PackageList list;
    for (const TestPackage &p : packages)
        list.append(makePackage(p));
    return list;
}
