#include "files/DataListFile.h"

#include "app/Defaults.h"
#include "platform/MVLog.h"
#include "platform/MVPropertyList.h"

std::optional<QVariant> DataListFile::read(const QString &name, const QString &sourcePath, QMetaType::Type expected,
                                           const QString &logTitle)
{
    const QString path = sourcePath.isEmpty() ? Defaults::pathForResource(name, QStringLiteral("plist"), QStringLiteral("data"))
                                              : sourcePath;
    if (path.isEmpty())
        return std::nullopt;
    QString error;
    std::optional<QVariant> plist = MVPropertyList::readFile(path, &error);
    if (plist && plist->typeId() != int(expected)) {
        error = expected == QMetaType::QVariantMap ? QStringLiteral("not a dictionary") : QStringLiteral("not a list");
        plist.reset();
    }
    if (!plist)
        MVLog::line(QStringLiteral("%1 NOT READ: %2: %3").arg(logTitle, path, error));
    return plist;
}

bool DataListFile::write(const QVariant &plist, const QString &name, const QString &commitPath, QString *error)
{
    const QString path = commitPath.isEmpty()
        ? Defaults::appSupportPathForFileInDirectory(name + QStringLiteral(".plist"), QStringLiteral("data"))
        : commitPath;
    return MVPropertyList::writeFile(plist, path, MVPropertyList::XMLFormat, error);
}
