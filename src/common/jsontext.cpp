#include "common/jsontext.h"

void appendJsonString(QString &out, QStringView text)
{
    static constexpr char16_t hex[] = u"0123456789abcdef";
    out += u'"';
    qsizetype plain = 0; // start of the run of characters that need no escape
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        if (c >= 0x20 && c != u'"' && c != u'\\')
            continue;
        out += text.sliced(plain, i - plain);
        plain = i + 1;
        switch (c) {
        case u'"':
            out += u"\\\"";
            break;
        case u'\\':
            out += u"\\\\";
            break;
        case u'\n':
            out += u"\\n";
            break;
        case u'\r':
            out += u"\\r";
            break;
        case u'\t':
            out += u"\\t";
            break;
        default:
            out += u"\\u00";
            out += QChar(hex[c >> 4]);
            out += QChar(hex[c & 0xF]);
        }
    }
    out += text.sliced(plain);
    out += u'"';
}
