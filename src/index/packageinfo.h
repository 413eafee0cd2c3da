// One package stanza of a source's index, as the package lists and rows show it.
// An immutable value; safe to copy and share between threads.
#pragma once

#include "index/indextext.h"

#include <QByteArrayView>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringView>
#include <QUuid>

#include <array>
#include <optional>

// What a record made by the parser holds as its icon when its stanza has no "Icon" field.
inline constexpr QStringView kDefaultIconURL = u"Resources/Tweaks.png";

// A record is one pointer to a single shared block that holds its id, its source link (shared with
// every record of the same source) and the UTF-16 text of its seven fields back to back. Building one
// costs one allocation; copying one costs a reference count. The string getters copy the text out;
// view() reads it in place for code that touches many records (search, sorting). A record may instead
// be read in place from a mapped catalogue snapshot, in the same layout; copying one of those counts a
// reference on the mapping.
struct MappedRecord;

class PackageInfo
{
public:
    enum Field : quint8 {
        Package,
        Name,
        Version,
        Description,
        Filename,
        Icon,
        Architecture,
    };
    static constexpr int FieldCount = 7;

    // A field's value as it sits in an index: pieces in the index's encoding, joined by "\n" (a value
    // with continuation lines has several). No pieces: the field is absent.
    struct IndexField
    {
        const QByteArrayView *pieces = nullptr;
        qsizetype count = 0;
    };
    using IndexFields = std::array<IndexField, FieldCount>;

    // An empty record with a null id; what containers and QVariant need.
    PackageInfo() = default;
    PackageInfo(const std::optional<QString> &package, const std::optional<QString> &name,
                const std::optional<QString> &version, const std::optional<QString> &description,
                const std::optional<QString> &filename, const std::optional<QString> &iconURL,
                const std::optional<QString> &architecture, const QString &sourceLink);
    // The parser's way in: the fields are stored as given (the caller has already applied the icon default
    // and the architecture rule); the pieces must be valid in the encoding. The total text of one record is
    // limited to 4 Gi UTF-16 units, which the parser's input limit guarantees.
    [[nodiscard]] static PackageInfo fromIndexFields(const IndexFields &fields, TextEncoding encoding,
                                                     const QString &sourceLink);
    // A record read in place from a mapped catalogue snapshot, which has checked it; it keeps the
    // mapping alive.
    [[nodiscard]] static PackageInfo fromMappedRecord(const MappedRecord *record);
    // The first of `count` serial numbers no other record of this process gets; a snapshot's records take
    // their ids from such a range.
    [[nodiscard]] static quint64 reserveSerials(quint64 count);

    PackageInfo(const PackageInfo &other) noexcept;
    PackageInfo(PackageInfo &&other) noexcept
        : m_block(std::exchange(other.m_block, nullptr))
    {}
    PackageInfo &operator=(const PackageInfo &other) noexcept;
    PackageInfo &operator=(PackageInfo &&other) noexcept;
    ~PackageInfo();

    // Unique among all records made in this process, and random-looking across processes.
    [[nodiscard]] QUuid id() const;
    [[nodiscard]] std::optional<QString> package() const { return text(Package); }
    [[nodiscard]] std::optional<QString> name() const { return text(Name); }
    [[nodiscard]] std::optional<QString> version() const { return text(Version); }
    [[nodiscard]] std::optional<QString> description() const { return text(Description); }
    [[nodiscard]] std::optional<QString> filename() const { return text(Filename); }
    [[nodiscard]] std::optional<QString> iconURL() const { return text(Icon); }
    [[nodiscard]] std::optional<QString> architecture() const { return text(Architecture); }
    [[nodiscard]] QString sourceLink() const;

    // The field's text in place, valid while this record (or a copy of it) lives. An absent field gives
    // no value; a present empty field gives an empty view.
    [[nodiscard]] std::optional<QStringView> view(Field field) const;
    [[nodiscard]] std::optional<QString> text(Field field) const;
    [[nodiscard]] bool isNull() const { return m_block == nullptr; }

private:
    struct Block;
    struct Fields;
    explicit PackageInfo(Block *block)
        : m_block(block)
    {}
    // A mapped record is marked by the low bit of the pointer; both kinds are 8-byte aligned.
    [[nodiscard]] bool isMapped() const { return (reinterpret_cast<quintptr>(m_block) & 1) != 0; }
    [[nodiscard]] const MappedRecord *mapped() const
    {
        return reinterpret_cast<const MappedRecord *>(reinterpret_cast<quintptr>(m_block) & ~quintptr(1));
    }
    [[nodiscard]] Fields fields() const;
    static void *allocate(qsizetype units);
    static Block *construct(void *memory, const QString &sourceLink);

    Block *m_block = nullptr;
};

using PackageList = QList<PackageInfo>;
Q_DECLARE_METATYPE(PackageInfo)
