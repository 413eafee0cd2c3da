// Where a line ends and which line is blank, for the Packages parser and the dpkg status reader alike,
// so that the two can never read the same bytes as different lines. Pure functions on bytes; any thread.
#pragma once

#include <cstddef>

namespace linebreaks {

// A line ends at LF, VT, FF, CR, CR LF (one break, not two), NEL (U+0085), LINE SEPARATOR (U+2028) or
// PARAGRAPH SEPARATOR (U+2029). In UTF-8 those last three are C2 85, E2 80 A8 and E2 80 A9; in Latin-1
// NEL is the byte 0x85 and the two separators cannot be written.

// Whether a break may start at this byte; a cheap filter before breakLength().
[[nodiscard]] constexpr bool mayStartBreak(unsigned char b, bool latin1) noexcept
{
    if (b >= 0x0A && b <= 0x0D)
        return true;
    return latin1 ? b == 0x85 : (b == 0xC2 || b == 0xE2);
}

// Length in bytes of the break that starts at p, or 0 when none does.
[[nodiscard]] constexpr std::size_t breakLength(const unsigned char *p, const unsigned char *end,
                                                bool latin1) noexcept
{
    const std::ptrdiff_t left = end - p;
    if (left <= 0)
        return 0;
    const unsigned char b = *p;
    if (b >= 0x0A && b <= 0x0C)
        return 1;
    if (b == 0x0D)
        return left >= 2 && p[1] == 0x0A ? 2 : 1;
    if (latin1)
        return b == 0x85 ? 1 : 0;
    if (b == 0xC2)
        return left >= 2 && p[1] == 0x85 ? 2 : 0;
    if (b == 0xE2)
        return left >= 3 && p[1] == 0x80 && (p[2] == 0xA8 || p[2] == 0xA9) ? 3 : 0;
    return 0;
}

// Only an empty line ends a block: a line of white space does not.
[[nodiscard]] constexpr bool isBlankLine(std::size_t length) noexcept
{
    return length == 0;
}

} // namespace linebreaks
