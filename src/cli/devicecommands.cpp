#include "cli/clicommands.h"

#include "app/platform.h"

#include "device/deviceroot.h"
#include "device/installedpackages.h"
#include "device/locallists.h"

#include <optional>

namespace {

// Without --root the machine's own "/" is the device; a --root that is not a folder is refused
// rather than read as an empty device.
std::optional<DeviceRoot> deviceRoot(const CliContext &context)
{
    const std::optional<Platform> platform = cliPlatform(context);
    return platform ? std::optional(platform->deviceRoot) : std::nullopt;
}

} // namespace

int installedCommand(const CliContext &context)
{
    if (!context.args.isEmpty()) {
        context.err << commandUsage(QStringLiteral("installed"));
        return 1;
    }
    const std::optional<DeviceRoot> root = deviceRoot(context);
    if (!root) {
        return 1;
    }
    // No status file (or one that is not text) is what the app treats as "nothing installed": no output.
    const std::optional<QSet<QString>> installed = loadInstalledPackages(*root);
    if (!installed || installed->isEmpty()) {
        return 0;
    }
    QStringList identifiers(installed->cbegin(), installed->cend());
    identifiers.sort();
    context.out << identifiers.join(QLatin1Char('\n')) << '\n';
    return 0;
}

int listsCommand(const CliContext &context)
{
    if (context.args.size() != 1) {
        context.err << commandUsage(QStringLiteral("lists"));
        return 1;
    }
    const std::optional<DeviceRoot> root = deviceRoot(context);
    if (!root) {
        return 1;
    }
    if (const std::optional<QString> file = findLocalPackagesList(*root, context.args.first())) {
        context.out << *file << '\n';
    }
    return 0;
}
