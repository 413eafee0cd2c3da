// Byte-level text handling of index files: the decoding rule, UTF-8 validation and UTF-16 conversion.
// Pure functions on values; any thread.
#pragma once

#include <QByteArrayView>
#include <QString>

// How the bytes of an index are read as text. An index is never converted as a whole: the parser works
// on the bytes and converts only the values it keeps.
enum class TextEncoding : quint8 {
    Utf8,
    Latin1,
};

// The bytes to parse and how to read them.
struct IndexText
{
    QByteArrayView bytes;
    TextEncoding encoding = TextEncoding::Utf8;
};

// Strict UTF-8 when the bytes are valid UTF-8 (a leading byte order mark is dropped, as the platform
// decoder does), otherwise ISO Latin-1. The rule's last resort, UTF-8 with replacement characters, is
// never needed: every byte sequence is valid Latin-1.
[[nodiscard]] IndexText decodeIndexBytes(QByteArrayView bytes);

// The same rule, giving the whole text as a string.
[[nodiscard]] QString decodeIndexText(QByteArrayView bytes);

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF, no cut-off sequence.
// Noncharacters and NUL are valid.
[[nodiscard]] bool isStrictUtf8(QByteArrayView bytes) noexcept;

// Writes the UTF-16 form of bytes that are valid in the given encoding; returns the end of what it wrote.
// The caller provides at least one unit of room per input byte (the ASCII path writes whole blocks).
char16_t *appendUtf16(char16_t *out, QByteArrayView bytes, TextEncoding encoding) noexcept;
