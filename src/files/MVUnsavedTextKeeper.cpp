#include "files/MVUnsavedTextKeeper.h"

#include "app/Defaults.h"
#include "editing/HTMLView.h"
#include "files/MVFileDocument.h"
#include "files/MVMultiFileDocument.h"
#include "platform/MVAtomicFile.h"
#include "platform/MVLog.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

namespace {

void collectEdited(const std::shared_ptr<MVDocument> &document, std::vector<MVFileDocument *> &edited)
{
    if (auto *tabs = dynamic_cast<MVMultiFileDocument *>(document.get())) {
        for (const auto &tab : tabs->tabs())
            collectEdited(tab, edited);
    } else if (auto *file = dynamic_cast<MVFileDocument *>(document.get())) {
        if (file->isDocumentEdited() && file->textView())
            edited.push_back(file);
    }
}

} // namespace

QString MVUnsavedTextKeeper::folder()
{
    QDir().mkpath(Defaults::tildePath());
    return Defaults::privateDirectoryAt(Defaults::tildePath() + QStringLiteral("/Recovered"));
}

QStringList MVUnsavedTextKeeper::keep(const std::vector<std::shared_ptr<MVDocument>> &documents, const QString &folder)
{
    std::vector<MVFileDocument *> edited;
    for (const auto &document : documents)
        collectEdited(document, edited);
    QStringList written;
    if (edited.empty() || folder.isEmpty())
        return written;
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH.mm.ss"));
    const QDir into(folder);
    for (MVFileDocument *document : edited) {
        QString name = QFileInfo(document->fileName()).fileName();
        if (name.isEmpty())
            name = QStringLiteral("Untitled");
        QString path = into.filePath(stamp + QLatin1Char(' ') + name);
        for (int n = 2; QFileInfo::exists(path); ++n)
            path = into.filePath(QStringLiteral("%1 %2 %3").arg(stamp).arg(n).arg(name));
        QString error;
        if (MVAtomicFile::write(path, document->textView()->fullString().toUtf8(), &error)) {
            QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
            written << path;
            MVLog::line(QStringLiteral("UNSAVED TEXT KEPT: %1 -> %2").arg(document->fileName(), path));
        } else {
            MVLog::line(QStringLiteral("UNSAVED TEXT COULD NOT BE KEPT: %1: %2").arg(document->fileName(), error));
        }
    }
    return written;
}
