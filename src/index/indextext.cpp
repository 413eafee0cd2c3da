#include "index/indextext.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

using uchar = unsigned char;

// Skips the ASCII bytes at p: sixteen at a time while the block is all ASCII, else up to the first
// byte that is not, so runs between multi-byte characters cost one step each.
const uchar *skipAscii(const uchar *p, const uchar *end) noexcept
{
#ifdef __SSE2__
    while (end - p >= 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
        const int mask = _mm_movemask_epi8(block);
        if (mask != 0)
            return p + __builtin_ctz(unsigned(mask));
        p += 16;
    }
#endif
    while (p < end && *p < 0x80)
        ++p;
    return p;
}

bool isContinuation(uchar b) noexcept
{
    return (b & 0xC0) == 0x80;
}

} // namespace

bool isStrictUtf8(QByteArrayView bytes) noexcept
{
    const auto *p = reinterpret_cast<const uchar *>(bytes.data());
    const uchar *const end = p + bytes.size();
    while (true) {
        if (p != end && *p < 0x80)
            p = skipAscii(p, end);
        if (p == end)
            return true;
        const uchar lead = *p;
        const qsizetype left = end - p;
        if (lead < 0xC2) {
            return false; // a stray continuation byte, or the lead of an overlong two-byte form
        } else if (lead < 0xE0) {
            if (left < 2 || !isContinuation(p[1]))
                return false;
            p += 2;
        } else if (lead < 0xF0) {
            if (left < 3 || !isContinuation(p[1]) || !isContinuation(p[2]))
                return false;
            if ((lead == 0xE0 && p[1] < 0xA0) || (lead == 0xED && p[1] > 0x9F))
                return false; // overlong, or a UTF-16 surrogate
            p += 3;
        } else if (lead < 0xF5) {
            if (left < 4 || !isContinuation(p[1]) || !isContinuation(p[2]) || !isContinuation(p[3]))
                return false;
            if ((lead == 0xF0 && p[1] < 0x90) || (lead == 0xF4 && p[1] > 0x8F))
                return false; // overlong, or above U+10FFFF
            p += 4;
        } else {
            return false;
        }
    }
}

IndexText decodeIndexBytes(QByteArrayView bytes)
{
    if (!isStrictUtf8(bytes))
        return {bytes, TextEncoding::Latin1};
    if (bytes.startsWith("\xEF\xBB\xBF"))
        bytes = bytes.sliced(3);
    return {bytes, TextEncoding::Utf8};
}

QString decodeIndexText(QByteArrayView bytes)
{
    const IndexText text = decodeIndexBytes(bytes);
    QString result(text.bytes.size(), Qt::Uninitialized);
    auto *begin = reinterpret_cast<char16_t *>(result.data());
    result.truncate(appendUtf16(begin, text.bytes, text.encoding) - begin);
    return result;
}

char16_t *appendUtf16(char16_t *out, QByteArrayView bytes, TextEncoding encoding) noexcept
{
    const auto *p = reinterpret_cast<const uchar *>(bytes.data());
    const uchar *const end = p + bytes.size();
    if (encoding == TextEncoding::Latin1) {
        while (p < end)
            *out++ = *p++;
        return out;
    }
    while (p < end) {
#ifdef __SSE2__
        // ASCII, sixteen bytes at a time: all sixteen are widened, as many as are ASCII are kept (the
        // caller's room of one unit per input byte covers the overshoot).
        while (end - p >= 16 && *p < 0x80) {
            const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
            const __m128i zero = _mm_setzero_si128();
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out), _mm_unpacklo_epi8(block, zero));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 8), _mm_unpackhi_epi8(block, zero));
            const int mask = _mm_movemask_epi8(block);
            const int ascii = mask == 0 ? 16 : __builtin_ctz(unsigned(mask));
            p += ascii;
            out += ascii;
        }
        if (p == end)
            break;
#endif
        // The input was validated, so the continuation bytes need no checks here.
        const uchar lead = *p;
        if (lead < 0x80) {
            *out++ = lead;
            p += 1;
        } else if (lead < 0xE0) {
            *out++ = char16_t(((lead & 0x1F) << 6) | (p[1] & 0x3F));
            p += 2;
        } else if (lead < 0xF0) {
            *out++ = char16_t(((lead & 0x0F) << 12) | ((p[1] & 0x3F) << 6) | (p[2] & 0x3F));
            p += 3;
        } else {
            const char32_t scalar =
                ((lead & 0x07) << 18) | ((p[1] & 0x3F) << 12) | ((p[2] & 0x3F) << 6) | (p[3] & 0x3F);
            *out++ = char16_t(0xD800 + ((scalar - 0x10000) >> 10));
            *out++ = char16_t(0xDC00 + ((scalar - 0x10000) & 0x3FF));
            p += 4;
        }
    }
    return out;
}
