// What a failed index operation reports: an error domain, an integer code and a description.
// A plain value; any thread.
#pragma once

#include <QString>

struct IndexError
{
    QString domain;
    int code = 0;
    QString description; // may be empty: some errors carry no text

    // One line for logs and the command line.
    [[nodiscard]] QString message() const
    {
        const QString head = domain + QLatin1Char(' ') + QString::number(code);
        return description.isEmpty() ? head : head + QLatin1String(": ") + description;
    }
};

// Domain of decompression failures.
inline const QString kDecompressDomain = QStringLiteral("decomp");
// Domain of file read and write failures; the code is the QFileDevice::FileError.
inline const QString kFileDomain = QStringLiteral("file");
