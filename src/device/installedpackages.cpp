#include "device/installedpackages.h"

#include "common/regularfile.h"
#include "device/devicelog.h"
#include "device/jailbreakroot.h"
#include "index/linebreaks.h"

#include <QFile>
#include <QStringDecoder>

#include <cstring>
#include <string_view>

namespace {

constexpr std::string_view kPackageField = "Package:";
constexpr std::string_view kStatusField = "Status:";
constexpr std::string_view kInstallOk = "install ok";

// One block at a time: the name is kept as a view into the input until the block ends, so only the
// names that make it into the set are ever decoded.
class BlockReader
{
public:
    void line(std::string_view text)
    {
        if (linebreaks::isBlankLine(text.size())) {
            flush();
        } else if (text.starts_with(kPackageField)) {
            // A new name also ends the block before it, even without a blank line in between; a Status
            // line seen earlier in this block is therefore lost.
            flush();
            m_name = trimmed(text.substr(kPackageField.size()));
            m_hasName = true;
        } else if (text.starts_with(kStatusField)) {
            if (text.substr(kStatusField.size()).find(kInstallOk) != std::string_view::npos) {
                m_installed = true;
            }
        }
    }

    QSet<QString> finish()
    {
        flush();
        return std::move(m_result);
    }

private:
    static std::string_view trimmed(std::string_view text)
    {
        const auto blank = [](char c) { return c == ' ' || c == '\t'; };
        while (!text.empty() && blank(text.front())) {
            text.remove_prefix(1);
        }
        while (!text.empty() && blank(text.back())) {
            text.remove_suffix(1);
        }
        return text;
    }

    // fromUtf8() would drop a byte order mark at the start of a name as if it began a file; inside the
    // text it is part of the name.
    static QString decodedName(std::string_view name)
    {
        const QByteArrayView bytes(name.data(), qsizetype(name.size()));
        if (!bytes.startsWith("\xEF\xBB\xBF")) {
            return QString::fromUtf8(bytes);
        }
        QStringDecoder decoder(QStringConverter::Utf8, QStringConverter::Flag::ConvertInitialBom);
        return decoder(bytes);
    }

    void flush()
    {
        if (m_hasName && m_installed) {
            m_result.insert(decodedName(m_name));
        }
        m_hasName = false;
        m_installed = false;
    }

    QSet<QString> m_result;
    std::string_view m_name;
    bool m_hasName = false;
    bool m_installed = false;
};

const uchar *bytesOf(std::string_view text)
{
    return reinterpret_cast<const uchar *>(text.data());
}

// Status files practically always break lines at LF alone; knowing that up front lets every line end be
// found with memchr.
bool hasOtherLineBreaks(std::string_view text)
{
    const uchar *const begin = bytesOf(text);
    const uchar *const end = begin + text.size();
    for (const uchar *p = begin; p < end; ++p) {
        if (*p != '\n' && linebreaks::mayStartBreak(*p, false) &&
            linebreaks::breakLength(p, end, false) != 0) {
            return true;
        }
    }
    return false;
}

void readLfLines(std::string_view text, BlockReader &reader)
{
    const char *pos = text.data();
    const char *const end = pos + text.size();
    while (pos < end) {
        const auto *newline = static_cast<const char *>(std::memchr(pos, '\n', size_t(end - pos)));
        const char *lineEnd = newline ? newline : end;
        reader.line(std::string_view(pos, size_t(lineEnd - pos)));
        pos = lineEnd + 1;
    }
    // A final break leaves no empty line behind; finish() flushes the last block either way.
}

void readAnyLines(std::string_view text, BlockReader &reader)
{
    const uchar *const begin = bytesOf(text);
    const uchar *const end = begin + text.size();
    const uchar *start = begin;
    const uchar *p = begin;
    while (p < end) {
        const size_t length = linebreaks::breakLength(p, end, false);
        if (length == 0) {
            ++p;
            continue;
        }
        reader.line(text.substr(size_t(start - begin), size_t(p - start)));
        p += length;
        start = p;
    }
    if (start < end) {
        reader.line(text.substr(size_t(start - begin)));
    }
}

} // namespace

QSet<QString> parseInstalledPackages(QByteArrayView status)
{
    std::string_view text(status.data(), size_t(status.size()));
    // The text is read as the platform decoder reads UTF-8, which drops one leading byte order mark, as
    // the index parser does; kept, it would hide the first "Package:" line.
    if (text.starts_with("\xEF\xBB\xBF")) {
        text.remove_prefix(3);
    }
    BlockReader reader;
    if (hasOtherLineBreaks(text)) {
        readAnyLines(text, reader);
    } else {
        readLfLines(text, reader);
    }
    return reader.finish();
}

std::optional<QSet<QString>> loadInstalledPackages(const DeviceRoot &root)
{
    const std::optional<QString> path = resolveDeviceFile(root, kDpkgStatusRelativePath);
    if (!path) {
        return std::nullopt;
    }
    QFile file;
    if (!openRegularFile(file, *path, QIODevice::Unbuffered)) {
        qCDebug(lcDevice) << "status file is not a readable regular file:" << *path;
        return std::nullopt;
    }
    // Mapping the file skips copying megabytes into a fresh buffer, which costs more than the parse
    // itself. dpkg replaces the database by renaming a new file over it, never by rewriting it in place, so
    // the mapping cannot shrink under us. A file that cannot be mapped (empty, or not a regular file) is
    // read instead.
    QByteArray copy;
    QByteArrayView bytes;
    if (uchar *mapped = file.size() > 0 ? file.map(0, file.size()) : nullptr) {
        bytes = QByteArrayView(mapped, file.size());
    } else {
        copy = file.readAll();
        if (file.error() != QFileDevice::NoError) {
            return std::nullopt;
        }
        bytes = copy;
    }
    if (!bytes.isValidUtf8()) {
        qCDebug(lcDevice) << "status file is not UTF-8:" << *path;
        return std::nullopt;
    }
    return parseInstalledPackages(bytes);
}

bool isPackageInstalled(const QSet<QString> &installed, const QString &identifier)
{
    return !identifier.isEmpty() && installed.contains(identifier);
}
