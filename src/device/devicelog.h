// The one logging category of the device layer ("tallowpine.device"), for tracing which paths were picked.
// Any thread.
#pragma once

#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcDevice)
