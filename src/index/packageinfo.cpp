#include "index/packageinfo.h"

PackageInfo::PackageInfo(std::optional<QString> package, std::optional<QString> name,
                         std::optional<QString> version, std::optional<QString> description,
                         std::optional<QString> filename, std::optional<QString> iconURL,
                         std::optional<QString> architecture, QString sourceLink)
    : m_package(std::move(package))
    , m_name(std::move(name))
    , m_version(std::move(version))
    , m_description(std::move(description))
    , m_filename(std::move(filename))
    , m_iconURL(std::move(iconURL))
    , m_architecture(std::move(architecture))
    , m_sourceLink(std::move(sourceLink))
{}
