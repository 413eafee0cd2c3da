#include "index/indexlog.h"

// Quiet by default: a source without a usable index is an everyday outcome, not a fault.
Q_LOGGING_CATEGORY(lcIndex, "tallowpine.index", QtInfoMsg)
