// A QR code as a square grid of dark and light modules, so a phone can scan a link off the desktop screen.
// Pure functions on values; any thread.
#pragma once

#include <QString>

#include <optional>
#include <vector>

struct QrMatrix
{
    int version = 0;
    // Modules per side: 17 + 4 * version, without the quiet zone around them.
    int size = 0;
    // Row by row, one entry per module, true for dark.
    std::vector<bool> modules;

    [[nodiscard]] bool isDark(int x, int y) const { return modules[std::size_t(y) * std::size_t(size) + x]; }
};

// Encodes the text's UTF-8 bytes at error-correction level M, in the smallest version that holds them.
// No value for an empty text, for one with a NUL character (the encoder would cut it there and show a
// different link), or for one too long for any QR version.
[[nodiscard]] std::optional<QrMatrix> encodeQr(const QString &text);
