#include "handoff/deblink.h"

#include "handoff/stricturl.h"

namespace {

QString joinedText(const QString &filename, const QString &sourceLink)
{
    const QStringView base = sourceLink.endsWith(u'/') ? QStringView(sourceLink).chopped(1) : sourceLink;
    const QStringView path = filename.startsWith(u"./") ? QStringView(filename).sliced(2) : filename;
    QString text;
    text.reserve(base.size() + 1 + path.size());
    text.append(base).append(u'/').append(path);
    return text;
}

} // namespace

std::optional<QUrl> debUrl(const std::optional<QString> &filename, const QString &sourceLink)
{
    if (!filename)
        return std::nullopt;
    return strictUrl(joinedText(*filename, sourceLink));
}

QString debUrlText(const std::optional<QString> &filename, const QString &sourceLink)
{
    if (!filename)
        return {};
    // The text as joined, not QUrl's re-encoding of it: that is what gets copied and opened.
    QString text = joinedText(*filename, sourceLink);
    return strictUrl(text) ? text : QString();
}
