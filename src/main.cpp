#include "app/Defaults.h"
#include "app/MVDocumentController.h"
#include "documents/MVMultiFileDocument.h"
#include "documents/MVSingleFileDocument.h"
#include "documents/MVUnsavedTextKeeper.h"
#include "files/MVFileCategories.h"
#include "files/MVInotifyWatcher.h"
#include "platform/MVMainThread.h"
#include "platform/MVSingleInstance.h"
#include "platform/MVStringTable.h"
#include "platform/MVTerminationSignal.h"
#include "platform/MVUserNotices.h"
#include "projects/MVProjectDocument.h"
#include "shell/MVShell.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QTimer>
#include <QUrl>

namespace {

// Arguments are paths and links handed over by the desktop; relative paths
// are made absolute here, since a running instance has its own directory.
QStringList argumentsToOpen(const QStringList &arguments)
{
    QStringList result;
    for (const QString &argument : arguments.mid(1)) {
        if (argument.startsWith(QStringLiteral("mvdt:"), Qt::CaseInsensitive))
            result << argument;
        else if (argument.startsWith(QStringLiteral("file://")))
            result << QUrl(argument).toLocalFile();
        else
            result << QFileInfo(argument).absoluteFilePath();
    }
    return result;
}

}

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Morvel"));
    QApplication::setApplicationVersion(QStringLiteral(MORVEL_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("morvel"));
    const QStringList arguments = argumentsToOpen(QApplication::arguments());

    MVSingleInstance instance;
    if (instance.sendToRunningInstance(arguments))
        return 0;

    MVDocumentController::initializeClass();
    // Before any tree root is made or any language loads.
    MVInotifyWatcher::install();
    MVFileCategories::installBundleResolver();
    MVStringTable::sharedTable().loadFromFile(Defaults::bundleResourcePath(QStringLiteral("Localizable"), QStringLiteral("plist"), QString()));

    MVDocumentController &controller = MVDocumentController::sharedController();
    controller.registerDocumentClass(MVDocumentKind::SingleFile, [] { return std::make_shared<MVSingleFileDocument>(); });
    controller.registerDocumentClass(MVDocumentKind::MultiFile, [] { return std::make_shared<MVMultiFileDocument>(); });
    controller.registerDocumentClass(MVDocumentKind::Project, [] { return std::make_shared<MVProjectDocument>(); });
    MVShell shell;
    controller.setShell(&shell);
    // Notices from the loading of languages and preferences, each told once.
    MVUserNotices::setPresenter([&shell](const QString &message, const QString &informativeText) {
        shell.presentError(MVError::morvel(0, message, informativeText), nullptr);
    });
    // The session ends the editor without asking about edited documents:
    // their text is kept aside first. exit, not quit: quit first asks every
    // window to close and gives up when an open question (a dialog without a
    // cancel button) refuses, which would leave the editor running.
    MVTerminationSignal::install([&controller] {
        MVUnsavedTextKeeper::keep(controller.documents());
        QApplication::exit(0);
    });
    // Listening last: once the socket is there, the signals are handled.
    instance.listen([&controller](const QStringList &received) { controller.handleArguments(received); });

    // The launch runs inside the event loop: a termination signal that comes
    // while a launch alert waits for an answer then ends the loop as well,
    // instead of only closing the alert and leaving the editor running.
    QTimer::singleShot(0, &app, [&controller, &shell, arguments] {
        controller.applicationWillFinishLaunching();
        controller.handleArguments(arguments);
        controller.applicationDidFinishLaunching();
        const MVError keptText = MVUnsavedTextKeeper::questionForKeptText(
            [&controller](const QString &path) { controller.openDocumentWithContentsOfFile(path, true); });
        if (!keptText.isNull())
            MVMainThread::async([&shell, keptText] { shell.presentError(keptText, nullptr); });
    });

    const int status = app.exec();
    controller.waitForStartupItems();
    MVUserNotices::setPresenter(nullptr);
    controller.setShell(nullptr);
    return status;
}
