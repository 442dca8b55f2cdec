#include "documents/MVUnsavedTextKeeper.h"

#include "app/Defaults.h"
#include "documents/MVFileDocument.h"
#include "documents/MVMultiFileDocument.h"
#include "editing/HTMLView.h"
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

MVError MVUnsavedTextKeeper::questionForKeptText(const std::function<void(const QString &)> &openFile,
                                                 const QString &folder)
{
    if (folder.isEmpty())
        return MVError();
    const QStringList kept = QDir(folder).entryList(QDir::Files, QDir::Name);
    if (kept.isEmpty())
        return MVError();
    const QString where =
        kept.size() == 1
            ? QObject::tr("When Morvel was last ended by the session, the text of an edited document was kept in %1.")
                  .arg(folder)
            : QObject::tr("When Morvel was last ended by the session, the text of %1 edited documents was kept in %2.")
                  .arg(QString::number(kept.size()), folder);
    MVError question = MVError::morvel(0, QObject::tr("Unsaved text was kept"), where);
    question.setRecoveryOptions({QObject::tr("Open Them"), QObject::tr("Later")}, [folder, kept, openFile](int choice) {
        if (choice != 0)
            return;
        const QDir opened(folder + QStringLiteral("/Opened"));
        QDir().mkpath(opened.path());
        for (const QString &name : kept) {
            const QString target = opened.filePath(name);
            if (QFile::rename(QDir(folder).filePath(name), target))
                openFile(target);
        }
    });
    return question;
}
