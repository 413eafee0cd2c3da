#include "app/sharedoptions.h"

#include "common/httpclient.h"
#include "sources/sourcestore.h"

#include <QDir>
#include <QFileInfo>
#include <QSslCertificate>

void addSharedOptions(QCommandLineParser &parser)
{
    parser.addOptions({
        {QStringLiteral("settings"), QStringLiteral("Use this INI file as the settings store."),
         QStringLiteral("file")},
        {QStringLiteral("data-dir"), QStringLiteral("Keep the index cache (RepoPackages) in this folder."),
         QStringLiteral("dir")},
        {QStringLiteral("root"), QStringLiteral("Treat this folder as the device's root."),
         QStringLiteral("dir")},
        {QStringLiteral("ca-file"),
         QStringLiteral("Also trust the certificate authorities in this PEM file."), QStringLiteral("file")},
        {QStringLiteral("offline"),
         QStringLiteral("Never use the network: indexes come from the cache and the device's lists.")},
    });
}

bool asksForHelpOrVersion(QCommandLineParser &parser, const QStringList &arguments)
{
    if (!parser.parse(arguments))
        return false;
    return parser.isSet(QStringLiteral("help")) || parser.isSet(QStringLiteral("help-all")) ||
           parser.isSet(QStringLiteral("version"));
}

std::optional<QString> applySharedOptions(const QCommandLineParser &parser, Platform &platform)
{
    platform.settings = openSettings(parser.value(QStringLiteral("settings")));
    platform.offline = parser.isSet(QStringLiteral("offline"));
    if (parser.isSet(QStringLiteral("data-dir"))) {
        platform.dataDirectory = parser.value(QStringLiteral("data-dir"));
        if (!QDir().mkpath(platform.dataDirectory))
            return QStringLiteral("cannot create the data folder %1").arg(platform.dataDirectory);
    }
    if (parser.isSet(QStringLiteral("root"))) {
        const QString root = parser.value(QStringLiteral("root"));
        if (!QFileInfo(root).isDir())
            return QStringLiteral("the device root %1 is not a folder").arg(root);
        platform.deviceRoot = DeviceRoot(root);
    }
    if (parser.isSet(QStringLiteral("ca-file"))) {
        const QString file = parser.value(QStringLiteral("ca-file"));
        const QList<QSslCertificate> authorities = QSslCertificate::fromPath(file);
        if (authorities.isEmpty())
            return QStringLiteral("no certificate in %1").arg(file);
        HttpClient::setExtraAuthorities(QFileInfo(file).absoluteFilePath());
    }
    return std::nullopt;
}
