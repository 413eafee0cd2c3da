// JSON text written by hand where the key order matters or a whole document would be wasteful.
// Pure functions on values; any thread.
#pragma once

#include <QString>

// Appends text as a JSON string literal, escaping only what JSON requires.
void appendJsonString(QString &out, QStringView text);
