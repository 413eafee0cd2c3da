// The symbol map: an icon-font ligature the font does not know draws nothing and says nothing, so
// every name is shaped here.
#include <QFontDatabase>
#include <QGlyphRun>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QRawFont>
#include <QTextLayout>
#include <QtQml/QQmlExtensionPlugin>
#include <QtTest>

#include <memory>

Q_IMPORT_QML_PLUGIN(TallowPinePlugin)

class TestSymbols : public QObject
{
    Q_OBJECT

    QVariantMap m_map;
    QString m_family;

    // One glyph, from the icon font itself, that is not the font's "missing" glyph.
    [[nodiscard]] bool drawsOneGlyph(const QString &ligature) const
    {
        QFont font(m_family);
        font.setPixelSize(24);
        // Letters must not quietly come from another font.
        font.setStyleStrategy(QFont::NoFontMerging);
        QTextLayout layout(ligature, font);
        layout.beginLayout();
        layout.createLine();
        layout.endLayout();
        const QList<QGlyphRun> runs = layout.glyphRuns();
        if (runs.size() != 1 || runs[0].rawFont().familyName() != m_family)
            return false;
        const QList<quint32> glyphs = runs[0].glyphIndexes();
        return glyphs.size() == 1 && glyphs[0] != 0;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QQmlEngine engine;
        // Qt 6.4 does not look for modules in the resources by itself.
        engine.addImportPath(QStringLiteral("qrc:/"));
        QQmlComponent component(&engine);
        component.setData(
            "import QtQml\nimport TallowPine\n"
            "QtObject { property var map: Symbols.map; property string family: Symbols.fontFamily }",
            QUrl());
        std::unique_ptr<QObject> object(component.create());
        QVERIFY2(object, qPrintable(component.errorString()));
        m_map = object->property("map").toMap();
        m_family = object->property("family").toString();
        // Without the font every check below would be about fallback glyphs.
        QVERIFY2(QFontDatabase::families().contains(m_family), qPrintable(m_family));
    }

    void everyScreenSymbolIsMapped()
    {
        const QStringList used =
            QStringLiteral(
                "bird plus checkmark.square.fill square doc.on.doc star star.fill trash arrow.up.circle.fill "
                "magnifyingglass arrow.down.circle arrow.down.circle.fill square.and.arrow.down link "
                "checkmark.circle.fill circle questionmark.circle photo chevron.backward stethoscope "
                "arrow.clockwise")
                .split(u' ');
        for (const QString &name : used)
            QVERIFY2(m_map.contains(name), qPrintable(name));
    }

    void everyLigatureDraws()
    {
        // The check itself can fail: a made-up ligature shapes to its letters or to nothing.
        QVERIFY(!drawsOneGlyph(QStringLiteral("no_such_icon_at_all")));
        QVERIFY(!m_map.isEmpty());
        QStringList blank;
        for (auto it = m_map.cbegin(); it != m_map.cend(); ++it) {
            if (!drawsOneGlyph(it.value().toString()))
                blank.append(it.key() + QStringLiteral(" -> ") + it.value().toString());
        }
        QVERIFY2(blank.isEmpty(), qPrintable(QStringLiteral("Draw nothing: ") + blank.join(u", ")));
    }
};

QTEST_MAIN(TestSymbols)
#include "tst_symbols.moc"
