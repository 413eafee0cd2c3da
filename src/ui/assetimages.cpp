#include "ui/assetimages.h"

#include "sources/defaultsources.h"

#include <QColor>
#include <QLinearGradient>
#include <QMutex>
#include <QPainter>
#include <QPainterPath>
#include <QRegularExpression>

#include <algorithm>

namespace {

const QString kTweaks = QStringLiteral("Tweaks");
const QString kBundlePrefix = QStringLiteral("bundle/");
const QString kTweaksFile = QStringLiteral("Tweaks.png");
constexpr int kDefaultSide = 180;
constexpr int kLargestSide = 1024;

QMutex s_currentMutex;
std::shared_ptr<const AssetImages> s_current;

// FNV-1a over the UTF-16 units: the same colour for a name on every machine and every run, which
// qHash does not promise.
quint32 stableHash(const QString &text)
{
    quint32 hash = 2166136261u;
    for (const QChar c : text) {
        hash ^= c.unicode();
        hash *= 16777619u;
    }
    return hash;
}

QColor colourFor(const QString &name)
{
    const quint32 hash = stableHash(name);
    const int hue = int(hash % 360);
    const int saturation = 120 + int((hash >> 9) % 80);
    const int value = 150 + int((hash >> 17) % 60);
    return QColor::fromHsv(hue, saturation, value);
}

void drawLetters(QPainter &painter, const QString &letters, int side)
{
    QFont font;
    font.setBold(true);
    font.setPixelSize(std::max(1, int(side * (letters.size() > 1 ? 0.36 : 0.46))));
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(QRect(0, 0, side, side), Qt::AlignCenter, letters);
}

// Three slider tracks with knobs at different stops: the picture for tweaks in general.
void drawTweaks(QPainter &painter, int side)
{
    QLinearGradient gradient(0, 0, side, side);
    gradient.setColorAt(0, QColor(0x5b, 0x4b, 0xd8));
    gradient.setColorAt(1, QColor(0xe0, 0x56, 0x8f));
    painter.fillRect(QRect(0, 0, side, side), gradient);

    const qreal track = side * 0.06;
    const qreal knob = side * 0.13;
    const qreal left = side * 0.22;
    const qreal right = side * 0.78;
    constexpr qreal stops[] = {0.3, 0.7, 0.45};
    for (int i = 0; i < 3; ++i) {
        const qreal y = side * (0.3 + 0.2 * i);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(255, 255, 255, 150));
        painter.drawRoundedRect(QRectF(left, y - track / 2, right - left, track), track / 2, track / 2);
        painter.setBrush(Qt::white);
        const qreal x = left + (right - left) * stops[i];
        painter.drawEllipse(QPointF(x, y), knob / 2, knob / 2);
    }
}

} // namespace

AssetImages AssetImages::builtIn()
{
    AssetImages images;
    images.m_assets = {kTweaks, QStringLiteral("s_sileo"), QStringLiteral("z_zebra"),
                       QStringLiteral("c_cydia")};
    for (const RepoSource &source : defaultSources())
        images.m_assets.insert(source.imageName);
    images.m_bundleFiles.insert(kTweaksFile);
    return images;
}

std::shared_ptr<const AssetImages> AssetImages::current()
{
    const QMutexLocker lock(&s_currentMutex);
    if (!s_current)
        s_current = std::make_shared<const AssetImages>(builtIn());
    return s_current;
}

void AssetImages::setCurrent(AssetImages images)
{
    auto replacement = std::make_shared<const AssetImages>(std::move(images));
    const QMutexLocker lock(&s_currentMutex);
    s_current = std::move(replacement);
}

static QString withRadius(QString source, double radius)
{
    if (radius > 0)
        source += QStringLiteral("?radius=") + QString::number(std::min(radius, 0.5));
    return source;
}

QString AssetImages::assetSource(const QString &name, double radius) const
{
    return hasAsset(name) ? withRadius(QStringLiteral("image://assets/") + name, radius) : QString();
}

QString AssetImages::bundleSource(const QString &fileName, double radius) const
{
    return hasBundleFile(fileName)
               ? withRadius(QStringLiteral("image://assets/") + kBundlePrefix + fileName, radius)
               : QString();
}

QString AssetImages::repoImageSource(const QString &imageName, double radius) const
{
    const QString asset = assetSource(imageName, radius);
    return asset.isEmpty() ? bundleSource(kTweaksFile, radius) : asset;
}

QImage AssetImages::render(const QString &id, const QSize &requestedSize) const
{
    const auto [name, radius] = splitImageId(id);
    QString drawn;
    if (name.startsWith(kBundlePrefix)) {
        // The bundle holds one picture, the same artwork as the asset, kept apart so either can go missing.
        if (name.mid(kBundlePrefix.size()) == kTweaksFile && hasBundleFile(kTweaksFile))
            drawn = kTweaks;
    } else if (hasAsset(name)) {
        drawn = name;
    }
    if (drawn.isEmpty())
        return {};
    const int requested = std::max(requestedSize.width(), requestedSize.height());
    const int side = requested > 0 ? std::min(requested, kLargestSide) : kDefaultSide;
    return roundCorners(drawAsset(drawn, side), radius);
}

QString assetInitials(const QString &name)
{
    QString word = name;
    if (word.endsWith(QLatin1String("_icon")))
        word.chop(5);
    const QStringList parts = word.split(QRegularExpression(QStringLiteral("[-_.]")), Qt::SkipEmptyParts);
    if (parts.isEmpty())
        return QStringLiteral("?");
    if (parts.size() > 1)
        return (parts[0].left(1) + parts[1].left(1)).toUpper();
    const QString &only = parts[0];
    // A capital after a lower-case letter starts a second word: "ZebraBeta".
    for (qsizetype i = 1; i < only.size(); ++i) {
        if (only[i].isUpper() && only[i - 1].isLower())
            return (only.left(1) + only[i]).toUpper();
    }
    return only.left(1).toUpper();
}

QImage drawAsset(const QString &name, int side)
{
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    if (name == kTweaks) {
        drawTweaks(painter, side);
        return image;
    }
    // The package-manager logos keep the colours users know them by.
    QColor background;
    QString letters;
    if (name == QLatin1String("s_sileo")) {
        background = QColor(0x19, 0xa0, 0x9c);
        letters = QStringLiteral("S");
    } else if (name == QLatin1String("z_zebra")) {
        background = QColor(0x22, 0x22, 0x2a);
        letters = QStringLiteral("Z");
    } else if (name == QLatin1String("c_cydia")) {
        background = QColor(0x8a, 0x5a, 0x2b);
        letters = QStringLiteral("C");
    } else {
        background = colourFor(name);
        letters = assetInitials(name);
    }
    painter.fillRect(QRect(0, 0, side, side), background);
    drawLetters(painter, letters, side);
    return image;
}

QImage roundCorners(const QImage &image, double radius)
{
    if (radius <= 0 || image.isNull())
        return image;
    QImage rounded(image.size(), QImage::Format_ARGB32_Premultiplied);
    rounded.fill(Qt::transparent);
    QPainter painter(&rounded);
    // Filling the shape with the picture keeps the edge antialiased, which a clip path would not.
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QBrush(image));
    const qreal r = std::min(radius, 0.5) * std::min(image.width(), image.height());
    painter.drawRoundedRect(QRectF(rounded.rect()), r, r);
    painter.end();
    return rounded;
}

std::pair<QString, double> splitImageId(const QString &id)
{
    const qsizetype query = id.indexOf(u'?');
    if (query < 0)
        return {id, 0};
    double radius = 0;
    for (const QStringView item : QStringView(id).mid(query + 1).split(u'&')) {
        if (item.startsWith(u"radius="))
            radius = std::clamp(item.mid(7).toDouble(), 0.0, 0.5);
    }
    return {id.left(query), radius};
}
