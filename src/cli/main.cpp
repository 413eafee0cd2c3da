// tallowpine-cli: the app's catalogue from the command line.
// Main thread.
#include "cli/clicommands.h"
#include "common/allocator.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    tuneAllocatorForIndexLoads();
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("TallowPine"));
    QCoreApplication::setApplicationName(QStringLiteral("TallowPine"));
    QTextStream out(stdout);
    QTextStream err(stderr);
    return runCli(QCoreApplication::arguments(), out, err);
}
