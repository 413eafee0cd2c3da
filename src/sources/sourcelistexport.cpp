#include "sources/sourcelistexport.h"

QString exportSourceList(const QList<RepoSource> &sources, SourceListFormat format)
{
    QString out;
    for (const RepoSource &source : sources) {
        switch (format) {
        case SourceListFormat::Links:
            out += source.link + QLatin1Char('\n');
            break;
        case SourceListFormat::OneLine:
            out += QLatin1String("deb ") + source.link + QLatin1String(" ./\n");
            break;
        case SourceListFormat::Deb822:
            if (!out.isEmpty())
                out += QLatin1Char('\n');
            out += QLatin1String("Types: deb\nURIs: ") + source.link + QLatin1String("\nSuites: ./\n");
            break;
        }
    }
    return out;
}
