// Makes the core library's types known to QML without the core depending on QML.
// Registration only; used on the main thread by the QML engine.
#pragma once

#include "app/repoviewmodel.h"
#include "search/packagelistmodel.h"
#include "search/sourcepackagesmodel.h"
#include "sources/reposource.h"
#include "sources/sourcelistmodel.h"

#include <QtQml/qqml.h>

struct RepoViewModelForeign
{
    Q_GADGET
    QML_FOREIGN(RepoViewModel)
    QML_NAMED_ELEMENT(RepoViewModel)
};

struct SourceListModelForeign
{
    Q_GADGET
    QML_FOREIGN(SourceListModel)
    QML_NAMED_ELEMENT(SourceListModel)
    QML_UNCREATABLE("The state object owns the source lists.")
};

struct PackageListModelForeign
{
    Q_GADGET
    QML_FOREIGN(PackageListModel)
    QML_NAMED_ELEMENT(PackageListModel)
    QML_UNCREATABLE("The state object owns the package list.")
};

struct SourcePackagesModelForeign
{
    Q_GADGET
    QML_FOREIGN(SourcePackagesModel)
    QML_NAMED_ELEMENT(SourcePackagesModel)
    QML_UNCREATABLE("Made by RepoViewModel.makeSourcePackagesModel().")
};

struct RepoSourceForeign
{
    Q_GADGET
    QML_FOREIGN(RepoSource)
    QML_VALUE_TYPE(repoSource)
};
