// The one logging category of the index layer ("tallowpine.index"): why a file gave no records.
// Any thread.
#pragma once

#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcIndex)
