#include "shell/MVMainMenu.h"

#include "app/MVDocumentController.h"
#include "shell/MVShell.h"

#include <QApplication>
#include <QFileInfo>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>

namespace {

// Runs the standard edit action on the focused widget, if it has it.
void sendToFocus(const char *slot)
{
    if (QWidget *focus = QApplication::focusWidget())
        QMetaObject::invokeMethod(focus, slot);
}

}

void MVMainMenu::install(QMainWindow *window, MVShell *shell, MVDocument *document)
{
    MVDocumentController &controller = MVDocumentController::sharedController();
    QMenuBar *bar = window->menuBar();

    QMenu *file = bar->addMenu(QObject::tr("&File"));
    QAction *newFile = file->addAction(QIcon::fromTheme("document-new"), QObject::tr("&New"), [] {
        MVDocumentController::sharedController().newDocument();
    });
    newFile->setShortcut(QKeySequence::New);
    QAction *open = file->addAction(QIcon::fromTheme("document-open"), QObject::tr("&Open…"), [] {
        MVDocumentController::sharedController().openDocument();
    });
    open->setShortcut(QKeySequence::Open);
    QMenu *recent = file->addMenu(QObject::tr("Open &Recent"));
    QObject::connect(recent, &QMenu::aboutToShow, recent, [recent] {
        recent->clear();
        MVDocumentController &c = MVDocumentController::sharedController();
        for (const QString &path : c.recentDocuments()) {
            recent->addAction(QFileInfo(path).fileName() + QStringLiteral("  —  ") + QFileInfo(path).path(),
                              [path] { MVDocumentController::sharedController().openDocumentWithContentsOfFile(path, true); });
        }
        if (!recent->isEmpty())
            recent->addSeparator();
        QAction *clear = recent->addAction(QObject::tr("Clear Menu"), [] {
            MVDocumentController::sharedController().clearRecentDocuments();
        });
        clear->setEnabled(!c.recentDocuments().isEmpty());
    });
    file->addSeparator();
    QAction *close = file->addAction(QObject::tr("&Close"), [window] { window->close(); });
    close->setShortcut(QKeySequence::Close);
    QAction *save = file->addAction(QIcon::fromTheme("document-save"), QObject::tr("&Save"));
    save->setShortcut(QKeySequence::Save);
    save->setEnabled(false);
    QAction *saveAs = file->addAction(QObject::tr("Save &As…"));
    saveAs->setShortcut(QKeySequence::SaveAs);
    saveAs->setEnabled(false);
    QAction *revert = file->addAction(QObject::tr("Re&vert"));
    revert->setEnabled(false);
    file->addSeparator();
    QAction *quit = file->addAction(QIcon::fromTheme("application-exit"), QObject::tr("&Quit"), [shell] { shell->quit(); });
    quit->setShortcut(QKeySequence::Quit);
    quit->setMenuRole(QAction::QuitRole);

    QMenu *edit = bar->addMenu(QObject::tr("&Edit"));
    QAction *undo = edit->addAction(QObject::tr("&Undo"), [] { sendToFocus("undo"); });
    undo->setShortcut(QKeySequence::Undo);
    QAction *redo = edit->addAction(QObject::tr("&Redo"), [] { sendToFocus("redo"); });
    redo->setShortcut(QKeySequence::Redo);
    edit->addSeparator();
    edit->addAction(QObject::tr("Cu&t"), [] { sendToFocus("cut"); })->setShortcut(QKeySequence::Cut);
    edit->addAction(QObject::tr("&Copy"), [] { sendToFocus("copy"); })->setShortcut(QKeySequence::Copy);
    edit->addAction(QObject::tr("&Paste"), [] { sendToFocus("paste"); })->setShortcut(QKeySequence::Paste);
    edit->addAction(QObject::tr("Select &All"), [] { sendToFocus("selectAll"); })->setShortcut(QKeySequence::SelectAll);

    QMenu *windows = bar->addMenu(QObject::tr("&Window"));
    QAction *manager = windows->addAction(QObject::tr("&Project Manager"), [&controller] { controller.showProjectManager(); });
    manager->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_P));
    windows->addSeparator();
    windows->addAction(QObject::tr("Edit &Snippets"), [&controller] { controller.editSnippets(); });
    windows->addAction(QObject::tr("Edit &User Scripts"), [&controller] { controller.editUserScripts(); });

    QMenu *help = bar->addMenu(QObject::tr("&Help"));
    help->addAction(QObject::tr("&About Morvel"), [shell] { shell->showAbout(); });
    (void)document;
}
