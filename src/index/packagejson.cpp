#include "index/packagejson.h"

#include "common/jsontext.h"

namespace {

void appendMember(QString &out, QStringView key, const std::optional<QStringView> &value)
{
    out += u'"';
    out += key;
    out += u"\":";
    if (value)
        appendJsonString(out, *value);
    else
        out += u"null";
}

} // namespace

void appendPackageJsonLine(QString &out, const PackageInfo &package,
                           std::initializer_list<PackageInfo::Field> fields)
{
    static constexpr std::array<QStringView, PackageInfo::FieldCount> keys{
        u"package", u"name", u"version", u"description", u"filename", u"icon", u"architecture",
    };
    out += u'{';
    for (const PackageInfo::Field field : fields) {
        appendMember(out, keys[size_t(field)], package.view(field));
        out += u',';
    }
    const QString link = package.sourceLink();
    appendMember(out, u"sourceLink", QStringView(link));
    out += u"}\n";
}

QString packageJsonLine(const PackageInfo &package, std::initializer_list<PackageInfo::Field> fields)
{
    QString line;
    appendPackageJsonLine(line, package, fields);
    return line;
}
