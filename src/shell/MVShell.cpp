#include "shell/MVShell.h"

#include "app/Defaults.h"
#include "app/MVDocument.h"
#include "app/MVDocumentController.h"
#include "documents/MVFileDocument.h"
#include "documents/MVImageFileView.h"
#include "platform/MVUserDefaults.h"
#include "shell/MVDocumentWindow.h"
#include "shell/MVPreferencesWindow.h"
#include "shell/MVProjectManagerWindow.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>

namespace {

// A path under the home directory written with "~", as the user knows it.
QString homeRelativePath(const QString &path)
{
    const QString home = QDir::homePath();
    return path.startsWith(home + QLatin1Char('/')) ? QStringLiteral("~") + path.mid(home.size()) : path;
}

} // namespace

MVShell::MVShell() = default;

MVShell::~MVShell()
{
    for (auto &[document, window] : _windows)
        delete window.data();
    delete _projectManager.data();
    delete _preferences.data();
}

void MVShell::showProjectManager()
{
    if (!_projectManager)
        _projectManager = new MVProjectManagerWindow(this);
    _projectManager->refresh();
    _frontWindow = _projectManager;
    _projectManager->show();
    _projectManager->raise();
    _projectManager->activateWindow();
}

void MVShell::closeProjectManager()
{
    if (_projectManager)
        _projectManager->hide();
}

void MVShell::alertOnProjectManager(const QString &message, const QString &informativeText)
{
    if (_recording) {
        _recordedAlerts << message + QStringLiteral(" | ") + informativeText;
        return;
    }
    showProjectManager();
    QMessageBox box(QMessageBox::Warning, QString(), message, QMessageBox::Ok, _projectManager);
    box.setInformativeText(informativeText);
    box.setWindowModality(Qt::WindowModal);
    box.exec();
}

QWidget *MVShell::_parentFor(MVDocument *document) const
{
    if (document) {
        if (MVDocumentWindow *window = windowForDocument(document))
            return window;
    }
    return QApplication::activeWindow();
}

void MVShell::presentError(const MVError &error, MVDocument *document)
{
    if (_recording) {
        _recordedAlerts << error.localizedDescription() + QStringLiteral(" | ") + error.localizedRecoverySuggestion();
        return;
    }
    QMessageBox box(QMessageBox::Warning, QString(), error.localizedDescription(), QMessageBox::NoButton, _parentFor(document));
    box.setInformativeText(error.localizedRecoverySuggestion());
    box.setWindowModality(Qt::WindowModal);
    QList<QAbstractButton *> buttons;
    for (const QString &option : error.localizedRecoveryOptions())
        buttons << box.addButton(option, buttons.isEmpty() ? QMessageBox::AcceptRole : QMessageBox::RejectRole);
    if (buttons.isEmpty())
        box.addButton(QMessageBox::Ok);
    // Left to itself the box would give Escape to the only reject button,
    // which may be the one that throws the user's text away.
    int escape = error.escapeOption();
    if (escape < 0)
        escape = static_cast<int>(error.localizedRecoveryOptions().indexOf(QObject::tr("Cancel")));
    if (escape >= 0 && escape < buttons.size())
        box.setEscapeButton(buttons[escape]);
    box.exec();
    const int chosen = static_cast<int>(buttons.indexOf(box.clickedButton()));
    if (chosen >= 0)
        error.attemptRecovery(chosen);
}

MVDocumentWindow *MVShell::windowForDocument(MVDocument *document) const
{
    const auto it = _windows.find(document);
    return it == _windows.end() ? nullptr : it->second.data();
}

void MVShell::showDocumentWindow(MVDocument *document)
{
    MVDocumentWindow *window = windowForDocument(document);
    if (!window) {
        window = new MVDocumentWindow(this, document);
        _windows[document] = window;
        document->setWindow(window);
    }
    window->refresh();
    _frontWindow = window;
    window->show();
    window->raise();
    window->activateWindow();
    MVDocumentController::sharedController().setCurrentDocument(document->activeDocument());
}

void MVShell::closeDocumentWindow(MVDocument *document)
{
    const auto it = _windows.find(document);
    if (it == _windows.end())
        return;
    QPointer<MVDocumentWindow> window = it->second;
    _windows.erase(it);
    document->setWindow(nullptr);
    if (window) {
        window->detachDocument();
        window->close();
        window->deleteLater();
    }
}

int MVShell::askToSaveChanges(MVDocument *document)
{
    if (_recording) {
        _recordedAlerts << QStringLiteral("save? ") + (document ? document->displayName() : QString());
        return _saveAnswer;
    }
    QMessageBox box(QMessageBox::Warning, QString(),
                    QObject::tr("Do you want to save the changes you made to “%1”?").arg(document->displayName()),
                    QMessageBox::NoButton, _parentFor(document));
    box.setInformativeText(QObject::tr("Your changes will be lost if you don't save them."));
    QPushButton *save = box.addButton(QMessageBox::Save);
    QPushButton *discard = box.addButton(QMessageBox::Discard);
    box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(save);
    box.setWindowModality(Qt::WindowModal);
    box.exec();
    if (box.clickedButton() == save)
        return 0;
    return box.clickedButton() == discard ? 1 : 2;
}

bool MVShell::shouldOpenFile(const QString &path)
{
    if (MVImageFileView::canDisplayPath(path) || MVFileDocument::looksLikeText(path))
        return true;
    if (_recording) {
        _recordedAlerts << QStringLiteral("not text? ") + path;
        return _openAsTextAnswer;
    }
    QMessageBox box(QMessageBox::Question, QString(),
                    QObject::tr("“%1” does not look like a text file.").arg(QFileInfo(path).fileName()),
                    QMessageBox::NoButton, QApplication::activeWindow());
    box.setInformativeText(QObject::tr("It can be shown as text to read, but not changed or saved: saving it as "
                                       "text would damage it."));
    QPushButton *open = box.addButton(QObject::tr("Open as Text (read-only)"), QMessageBox::AcceptRole);
    QPushButton *cancel = box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(cancel);
    box.setEscapeButton(cancel);
    box.exec();
    return box.clickedButton() == open;
}

bool MVShell::confirmOpeningLargeFile(const QString &path, qint64 size)
{
    if (_recording) {
        _recordedAlerts << QStringLiteral("large? ") + path;
        return _largeFileAnswer;
    }
    QMessageBox box(QMessageBox::Question, QString(),
                    QObject::tr("A link asks to open “%1”, which is %2.").arg(path, QLocale().formattedDataSize(size)),
                    QMessageBox::Open | QMessageBox::Cancel, QApplication::activeWindow());
    box.setDefaultButton(QMessageBox::Cancel);
    return box.exec() == QMessageBox::Open;
}

QStringList MVShell::runModalOpenPanel()
{
    if (_recording)
        return _openPanelAnswer;
    // Directories open as projects, so the panel accepts them as well as files.
    QFileDialog dialog(QApplication::activeWindow(), QObject::tr("Open"));
    // Start beside the current document; else in the home folder, never in
    // whatever folder the process happened to start in.
    const MVDocument *current = MVDocumentController::sharedController().currentDocument();
    const QString currentPath = current ? current->fileName() : QString();
    dialog.setDirectory(currentPath.isEmpty() ? QDir::homePath() : QFileInfo(currentPath).absolutePath());
    dialog.setFileMode(QFileDialog::ExistingFiles);
    dialog.setOption(QFileDialog::DontUseNativeDialog, false);
    QStringList chosen;
    QObject::connect(&dialog, &QFileDialog::currentChanged, &dialog, [&dialog](const QString &path) {
        dialog.setFileMode(QFileInfo(path).isDir() ? QFileDialog::Directory : QFileDialog::ExistingFiles);
    });
    if (dialog.exec() == QDialog::Accepted)
        chosen = dialog.selectedFiles();
    return chosen;
}

void MVShell::setAnswers(int saveAnswer, bool largeFileAnswer, QStringList openPanelAnswer)
{
    _saveAnswer = saveAnswer;
    _largeFileAnswer = largeFileAnswer;
    _openPanelAnswer = std::move(openPanelAnswer);
}

void MVShell::quit()
{
    if (!MVDocumentController::sharedController().reviewUnsavedDocuments())
        return;
    // Every edited file has had its answer: the windows close without asking
    // again (quitting closes every window, and a window asks on close).
    for (auto &[document, window] : _windows) {
        if (window) {
            window->detachDocument();
            window->close();
        }
    }
    QApplication::quit();
}

void MVShell::showAbout()
{
    QMessageBox::about(QApplication::activeWindow(), QObject::tr("About Morvel"),
                       QObject::tr("<b>Morvel %1</b><p>A text editor for web developers: local files, "
                                   "projects and remote sites.</p>")
                           .arg(QApplication::applicationVersion()));
}

void MVShell::showPreferences()
{
    if (!_preferences)
        _preferences = new MVPreferencesWindow;
    _preferences->refresh();
    _preferences->show();
    _preferences->raise();
    _preferences->activateWindow();
}

void MVShell::showInfoWindow()
{
    if (_recording) {
        _recordedAlerts << QStringLiteral("info window");
        return;
    }
    // On the window shown last, so that it stands in front of it rather than
    // of a hidden leader window behind everything.
    auto *box = new QMessageBox(QMessageBox::Information, QObject::tr("Welcome to Morvel"),
                                QObject::tr("<b>Welcome to Morvel %1</b>").arg(QApplication::applicationVersion()),
                                QMessageBox::Ok, _frontWindow.data());
    box->setInformativeText(
        QObject::tr("Open a file, a folder as a project, or a recent item from the project manager. "
                    "Preferences are kept in %1; your languages, themes and snippets in %2.")
            .arg(homeRelativePath(MVUserDefaults::standardPath()), homeRelativePath(Defaults::tildePath())));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setModal(false);
    box->show();
}
