#include "device/devicelog.h"

// Debug output is off unless asked for (QT_LOGGING_RULES="tallowpine.device.debug=true"): a missing status
// file or lists folder is the normal case on a desktop, not something to report.
Q_LOGGING_CATEGORY(lcDevice, "tallowpine.device", QtInfoMsg)
