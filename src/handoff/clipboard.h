// Takes one plain-text string for the system clipboard; tests record instead.
// Main thread.
#pragma once

#include <QString>

class Clipboard
{
public:
    virtual ~Clipboard() = default;
    virtual void setText(const QString &text) = 0;
};
