// Whole-file reads and writes for tests, and the path of the shared test data.
// Test helpers; any thread.
#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QString>
#include <QStringList>

inline QString testData(const QString &relative)
{
    return QStringLiteral(TALLOWPINE_TEST_DATA "/") + relative;
}

inline QStringList sorted(const QSet<QString> &set)
{
    QStringList list(set.cbegin(), set.cend());
    list.sort();
    return list;
}

// Empty when the file cannot be read.
inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Makes the folders on the way; false unless every byte was written.
[[nodiscard]] inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) &&
           file.write(bytes) == bytes.size();
}
