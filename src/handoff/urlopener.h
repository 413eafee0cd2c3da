// Opens a URL with whatever the desktop has registered for its scheme; tests record instead.
// Main thread.
#pragma once

#include <QUrl>

class UrlOpener
{
public:
    virtual ~UrlOpener() = default;
    virtual void open(const QUrl &url) = 0;
};
