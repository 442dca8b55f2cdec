#include "shell/MVMainMenu.h"

#include "shell/MVFindWindow.h"

#include "app/MVDocumentController.h"
#include "documents/MVFileDocument.h"
#include "editing/HTMLView.h"
#include "platform/MVUserDefaults.h"
#include "shell/MVDocumentWindow.h"
#include "shell/MVEncodingMenu.h"
#include "shell/MVShell.h"
#include "text/MVUndoManager.h"

#include <QApplication>
#include <QFileInfo>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>

namespace {

// The file document the window's menus act on: the window's active tab.
MVFileDocument *targetDocument(QMainWindow *window)
{
    if (auto *documentWindow = dynamic_cast<MVDocumentWindow *>(window))
        return documentWindow->activeFileDocument();
    return nullptr;
}

// The standard edit actions go to the focused widget: the text view by its
// own operations, other widgets (line edits) by their slots.
void sendToFocus(const char *slot, void (MVTextView::*operation)())
{
    QWidget *focus = QApplication::focusWidget();
    if (!focus)
        return;
    if (auto *view = qobject_cast<MVTextView *>(focus)) {
        (view->*operation)();
        return;
    }
    QMetaObject::invokeMethod(focus, slot);
}

void undoOrRedo(QMainWindow *window, bool undo)
{
    QWidget *focus = QApplication::focusWidget();
    MVTextView *view = qobject_cast<MVTextView *>(focus);
    if (!view && !focus) {
        if (MVFileDocument *document = targetDocument(window))
            view = document->textView();
    }
    if (view) {
        undo ? view->undo() : view->redo();
        return;
    }
    if (focus)
        QMetaObject::invokeMethod(focus, undo ? "undo" : "redo");
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
    QAction *close = file->addAction(QObject::tr("&Close"), [window] {
        auto *documentWindow = dynamic_cast<MVDocumentWindow *>(window);
        MVFileDocument *target = targetDocument(window);
        if (documentWindow && target)
            documentWindow->closeDocumentTab(target);
        else
            window->close();
    });
    close->setShortcut(QKeySequence::Close);
    QAction *save = file->addAction(QIcon::fromTheme("document-save"), QObject::tr("&Save"), [window] {
        if (MVFileDocument *target = targetDocument(window))
            target->saveDocument();
    });
    save->setShortcut(QKeySequence::Save);
    QAction *saveAs = file->addAction(QIcon::fromTheme("document-save-as"), QObject::tr("Save &As…"), [window] {
        MVFileDocument *target = targetDocument(window);
        if (!target)
            return;
        const QString path = target->delegate() ? target->delegate()->runSavePanelForDocument(target) : QString();
        if (!path.isEmpty())
            target->saveDocumentAs(path);
    });
    saveAs->setShortcut(QKeySequence::SaveAs);
    QAction *revert = file->addAction(QIcon::fromTheme("document-revert"), QObject::tr("Re&vert to Saved"), [window] {
        MVFileDocument *target = targetDocument(window);
        if (!target)
            return;
        QMessageBox box(QMessageBox::Warning, QString(),
                        QObject::tr("Do you want to revert “%1” to the version on disk?").arg(target->displayName()),
                        QMessageBox::NoButton, window);
        box.setInformativeText(QObject::tr("Your changes will be lost, and they cannot be undone."));
        QAbstractButton *yes = box.addButton(QObject::tr("Revert"), QMessageBox::DestructiveRole);
        box.addButton(QMessageBox::Cancel);
        box.setWindowModality(Qt::WindowModal);
        box.exec();
        if (box.clickedButton() != yes)
            return;
        MVError error;
        if (!target->revert(&error) && target->delegate())
            target->delegate()->presentErrorAlert(error);
    });
    QMenu *encodings = file->addMenu(QObject::tr("Reopen &Using Encoding"));
    MVEncodingMenu::addItemsToMenu(encodings, [window](const QString &name) {
        if (MVFileDocument *target = targetDocument(window))
            target->reopenUsingEncoding(name);
    });
    QMenu *lineBreaks = file->addMenu(QObject::tr("&Line Breaks"));
    QList<QAction *> lineBreakActions;
    for (int type = 0; type < 3; ++type) {
        const QString titles[] = {QObject::tr("Unix (LF)"), QObject::tr("Mac (CR)"), QObject::tr("DOS (CR LF)")};
        QAction *action = lineBreaks->addAction(titles[type], [window, type] {
            if (MVFileDocument *target = targetDocument(window)) {
                if (HTMLView *view = target->textView()) {
                    view->setLineBreakType(type);
                    if (target->delegate())
                        target->delegate()->documentStatusChanged(target);
                }
            }
        });
        action->setCheckable(true);
        lineBreakActions << action;
    }
    QObject::connect(file, &QMenu::aboutToShow, file, [=] {
        MVFileDocument *target = targetDocument(window);
        const bool text = target && target->canSave();
        save->setEnabled(text);
        saveAs->setEnabled(text);
        revert->setEnabled(target && !target->fileName().isEmpty() && target->isDocumentEdited());
        close->setEnabled(true);
        encodings->setEnabled(text && !target->fileName().isEmpty());
        lineBreaks->setEnabled(text);
        for (int type = 0; type < 3; ++type)
            lineBreakActions[type]->setChecked(text && target->textView()->lineBreakType() == type);
    });
    file->addSeparator();
    QAction *quit = file->addAction(QIcon::fromTheme("application-exit"), QObject::tr("&Quit"), [shell] { shell->quit(); });
    quit->setShortcut(QKeySequence::Quit);
    quit->setMenuRole(QAction::QuitRole);

    QMenu *edit = bar->addMenu(QObject::tr("&Edit"));
    QAction *undo = edit->addAction(QObject::tr("&Undo"), [window] { undoOrRedo(window, true); });
    undo->setShortcut(QKeySequence::Undo);
    QAction *redo = edit->addAction(QObject::tr("&Redo"), [window] { undoOrRedo(window, false); });
    redo->setShortcut(QKeySequence::Redo);
    QObject::connect(edit, &QMenu::aboutToShow, edit, [window, undo, redo] {
        // The action names of the steps that Undo and Redo would run.
        MVFileDocument *target = targetDocument(window);
        MVUndoManager *manager = target && target->textView() ? target->textView()->undoManager() : nullptr;
        const QString undoName = manager && manager->canUndo() ? manager->undoActionName() : QString();
        const QString redoName = manager && manager->canRedo() ? manager->redoActionName() : QString();
        undo->setText(undoName.isEmpty() ? QObject::tr("&Undo") : QObject::tr("&Undo %1").arg(undoName));
        redo->setText(redoName.isEmpty() ? QObject::tr("&Redo") : QObject::tr("&Redo %1").arg(redoName));
        if (manager) {
            undo->setEnabled(manager->canUndo());
            redo->setEnabled(manager->canRedo());
        } else {
            undo->setEnabled(true);
            redo->setEnabled(true);
        }
    });
    // Disabled items do not take their shortcut: enable both again afterwards.
    QObject::connect(edit, &QMenu::aboutToHide, edit, [undo, redo] {
        undo->setEnabled(true);
        redo->setEnabled(true);
    });
    edit->addSeparator();
    edit->addAction(QObject::tr("Cu&t"), [] { sendToFocus("cut", &MVTextView::cut); })->setShortcut(QKeySequence::Cut);
    edit->addAction(QObject::tr("&Copy"), [] { sendToFocus("copy", &MVTextView::copy); })->setShortcut(QKeySequence::Copy);
    edit->addAction(QObject::tr("&Paste"), [] { sendToFocus("paste", &MVTextView::paste); })->setShortcut(QKeySequence::Paste);
    edit->addAction(QObject::tr("Select &All"), [] { sendToFocus("selectAll", &MVTextView::selectAll); })
        ->setShortcut(QKeySequence::SelectAll);
    edit->addSeparator();
    QAction *preferences = edit->addAction(QIcon::fromTheme("preferences-system"), QObject::tr("Pr&eferences…"),
                                           [shell] { shell->showPreferences(); });
    preferences->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    preferences->setMenuRole(QAction::PreferencesRole);
    edit->addSeparator();
    QMenu *find = edit->addMenu(QObject::tr("&Find"));
    MVFindWindow::sharedWindow().addActionsToMenu(find, [window]() -> MVTextView * {
        auto *documentWindow = dynamic_cast<MVDocumentWindow *>(window);
        return documentWindow ? documentWindow->currentTextView() : nullptr;
    });

    // Typing: the nearest open tag closed on request, and whether an edit of
    // a tag's name renames its partner.
    edit->addSeparator();
    edit->addAction(QObject::tr("C&lose Tag"), [window] {
        auto *documentWindow = dynamic_cast<MVDocumentWindow *>(window);
        if (auto *view = qobject_cast<HTMLView *>(documentWindow ? documentWindow->currentTextView() : nullptr))
            view->closeTag();
    });
    QAction *renamePaired = edit->addAction(QObject::tr("&Rename Paired Tags"), [](bool on) {
        MVUserDefaults::standard().setBool(QStringLiteral("MVRenamePairedTags"), on);
    });
    renamePaired->setCheckable(true);
    QObject::connect(edit, &QMenu::aboutToShow, renamePaired, [renamePaired] {
        renamePaired->setChecked(MVUserDefaults::standard().boolForKey(QStringLiteral("MVRenamePairedTags")));
    });

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
