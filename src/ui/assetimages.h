// The pictures the app ships under asset names (source icons, package-manager logos, "Tweaks"), drawn
// on demand rather than stored, and the bundle file that stands in for a missing source icon.
// A value; the current set is published once at start-up and read from any thread.
#pragma once

#include <QImage>
#include <QSet>
#include <QSize>
#include <QString>

#include <memory>
#include <utility>

class AssetImages
{
public:
    // "Tweaks", the three package-manager logos and every icon the built-in catalogue names, plus
    // the bundle's "Tweaks.png".
    [[nodiscard]] static AssetImages builtIn();

    // The set the image provider and QML use; tests swap in a reduced one.
    [[nodiscard]] static std::shared_ptr<const AssetImages> current();
    static void setCurrent(AssetImages images);

    [[nodiscard]] bool hasAsset(const QString &name) const { return m_assets.contains(name); }
    [[nodiscard]] bool hasBundleFile(const QString &fileName) const
    {
        return m_bundleFiles.contains(fileName);
    }
    [[nodiscard]] const QSet<QString> &assetNames() const { return m_assets; }
    void removeAsset(const QString &name) { m_assets.remove(name); }
    void removeBundleFile(const QString &fileName) { m_bundleFiles.remove(fileName); }

    // Image sources for the "assets" provider, or "" when there is nothing under that name.
    // `radius` rounds the corners, as a fraction of the shorter side (0.5 clips to a circle).
    [[nodiscard]] QString assetSource(const QString &name, double radius = 0) const;
    [[nodiscard]] QString bundleSource(const QString &fileName, double radius = 0) const;
    // A source icon: its asset, else the bundle's Tweaks.png, else "" (the view draws a symbol).
    [[nodiscard]] QString repoImageSource(const QString &imageName, double radius = 0) const;

    // `id` is what follows "image://assets/": a name or "bundle/<file>", optionally with "?radius=".
    // A null image when the id names nothing this set holds.
    [[nodiscard]] QImage render(const QString &id, const QSize &requestedSize) const;

private:
    QSet<QString> m_assets;
    QSet<QString> m_bundleFiles;
};

// Drawing, on values only; exposed for the tests.
// The 1–2 letters drawn for a name: "chariz_icon" -> "C", "bvn-roothide" -> "BR", "ZebraBeta" -> "ZB".
[[nodiscard]] QString assetInitials(const QString &name);
// The square picture for an asset name, `side` pixels wide, with square corners.
[[nodiscard]] QImage drawAsset(const QString &name, int side);
// Cuts the corners of `image` to `radius` times its shorter side, leaving them transparent.
[[nodiscard]] QImage roundCorners(const QImage &image, double radius);
// Splits "<name>?radius=<r>" into the name and a radius clamped to [0, 0.5].
[[nodiscard]] std::pair<QString, double> splitImageId(const QString &id);
