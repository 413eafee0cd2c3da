// tallowpine-cli's commands: the app's own operations driven from a terminal or a script.
// Main thread of the command-line process.
#pragma once

#include <QStringList>
#include <QTextStream>

// Returns the process exit status: 0 done, 1 refused or unusable arguments.
int runCli(const QStringList &arguments, QTextStream &out, QTextStream &err);
