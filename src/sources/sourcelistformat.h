// The three shapes a list of sources travels in: plain links, APT's one-line ".list" and deb822 ".sources".
// Values; any thread.
#pragma once

#include <QString>

#include <optional>

enum class SourceListFormat { Links, OneLine, Deb822 };

// The words the command line takes: "links", and apt's own file extensions "list" and "sources".
[[nodiscard]] inline QString sourceListFormatName(SourceListFormat format)
{
    switch (format) {
    case SourceListFormat::OneLine:
        return QStringLiteral("list");
    case SourceListFormat::Deb822:
        return QStringLiteral("sources");
    case SourceListFormat::Links:
        break;
    }
    return QStringLiteral("links");
}

[[nodiscard]] inline std::optional<SourceListFormat> sourceListFormatFromName(const QString &name)
{
    for (const SourceListFormat format :
         {SourceListFormat::Links, SourceListFormat::OneLine, SourceListFormat::Deb822}) {
        if (name == sourceListFormatName(format))
            return format;
    }
    return std::nullopt;
}
