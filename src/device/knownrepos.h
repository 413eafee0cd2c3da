// Repositories whose APT list files are not named after the plain flat-repository rule, in one place.
// Constants; any thread.
#pragma once

#include <QLatin1String>

// The addresses are matched as plain substrings of a source link as stored (case-sensitive), so each is
// written exactly as users and the built-in catalogue spell it.
namespace KnownRepos {

// RootHide's build of Procursus: a dists layout for iphoneos-arm64e, suite "iphoneos-arm64e/1900".
inline constexpr QLatin1String kRootHideProcursus("https://roothide.github.io/procursus/");
// Its host and path as they appear inside any link to it, mirrors' http:// forms included.
inline constexpr QLatin1String kRootHideProcursusHostPath("roothide.github.io/procursus");
inline constexpr QLatin1String
    kRootHideProcursusSuffix("_dists_iphoneos-arm64e_1900_main_binary-iphoneos-arm64e_Packages");

// Procursus itself: suite "1900", component "main", iphoneos-arm64 (rootless).
inline constexpr QLatin1String kProcursusHost("apt.procurs.us");
inline constexpr QLatin1String kProcursusSuffix("_dists_1900_main_binary-iphoneos-arm64_Packages");

// The bootstrap's own flat repository, one folder below the host's root.
inline constexpr QLatin1String kBootstrap("https://roothide.github.io/Bootstrap/");
inline constexpr QLatin1String kBootstrapSuffix("_._Packages");

// A flat repository served at its host's root: the package manager names its list after the host alone.
inline constexpr QLatin1String kRootHostedFlat("https://roothide.github.io/");
inline constexpr QLatin1String kRootHostedFlatSuffix("_Packages");

// BigBoss keeps the old Cydia dists layout, reachable over plain http only.
inline constexpr QLatin1String kBigBoss("http://apt.thebigboss.org/repofiles/cydia/");
inline constexpr QLatin1String kBigBossSuffix("_dists_stable_main_binary-iphoneos-arm64_Packages");

} // namespace KnownRepos
