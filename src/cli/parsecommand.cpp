#include "cli/clicommands.h"

#include "index/indexfile.h"
#include "index/packagejson.h"

namespace {

// One record a line for reading at a terminal: identifier, version, name; "-" for an absent field.
void printTable(const PackageList &packages, QTextStream &out)
{
    const auto cell = [](const std::optional<QStringView> &value) {
        return value ? value->toString() : QStringLiteral("-");
    };
    for (const PackageInfo &package : packages) {
        out << cell(package.view(PackageInfo::Package)) << '\t' << cell(package.view(PackageInfo::Version))
            << '\t' << cell(package.view(PackageInfo::Name)) << '\n';
    }
}

void printJsonLines(const PackageList &packages, QTextStream &out)
{
    // Written in batches: one stream call per record costs more than the formatting.
    QString batch;
    for (qsizetype i = 0; i < packages.size(); ++i) {
        appendPackageJsonLine(batch, packages.at(i));
        if (batch.size() > 1 << 16 || i + 1 == packages.size()) {
            out << batch;
            batch.clear();
        }
    }
}

} // namespace

int parseCommand(const CliContext &context)
{
    const bool count = context.isSet(QStringLiteral("count"));
    const bool json = context.isSet(QStringLiteral("json"));
    if (context.args.size() != 1 || (count && json)) {
        context.err << commandUsage(QStringLiteral("parse"));
        return 1;
    }
    const QString &path = context.args.first();
    QString error;

    if (count) {
        const std::optional<qsizetype> records = countIndexFile(path, &error);
        if (!records) {
            context.err << error << '\n';
            return 1;
        }
        context.out << *records << '\n';
        return 0;
    }

    const std::optional<PackageList> packages =
        loadIndexFile(path, context.value(QStringLiteral("source")), &error);
    if (!packages) {
        context.err << error << '\n';
        return 1;
    }
    if (json)
        printJsonLines(*packages, context.out);
    else
        printTable(*packages, context.out);
    return 0;
}
