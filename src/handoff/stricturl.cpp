#include "handoff/stricturl.h"

std::optional<QUrl> strictUrl(const QString &text)
{
    if (text.isEmpty())
        return std::nullopt;
    QUrl url(text, QUrl::StrictMode);
    if (!url.isValid())
        return std::nullopt;
    return url;
}
