#pragma once

#include "app/MVApplicationShell.h"
#include "shell/MVDocumentWindow.h"
#include "shell/MVPreferencesWindow.h"
#include "shell/MVProjectManagerWindow.h"

#include <QObject>
#include <QPointer>

#include <map>

class QWidget;

// The window shell: the project manager, one window per document, alerts and
// panels. The application controller reaches the windows only through it.
class MVShell : public QObject, public MVApplicationShell
{
public:
    MVShell();
    ~MVShell() override;

    void showProjectManager() override;
    void closeProjectManager() override;
    void alertOnProjectManager(const QString &message, const QString &informativeText) override;
    void presentError(const MVError &error, MVDocument *document) override;
    void showDocumentWindow(MVDocument *document) override;
    void closeDocumentWindow(MVDocument *document) override;
    int askToSaveChanges(MVDocument *document) override;
    bool shouldOpenFile(const QString &path) override;
    bool confirmOpeningLargeFile(const QString &path, qint64 size) override;
    QStringList runModalOpenPanel() override;
    void showInfoWindow() override;

    // Asks once about each edited file, then closes every window and quits;
    // stays if the user cancels.
    void quit();
    void showAbout();
    // The one preferences window, brought to the front.
    void showPreferences();

    MVProjectManagerWindow *projectManagerWindow() const { return _projectManager; }
    MVPreferencesWindow *preferencesWindow() const { return _preferences; }
    MVDocumentWindow *windowForDocument(MVDocument *document) const;

    // For tests: alerts are recorded instead of shown, and answered with these.
    void setRecordingAlerts(bool recording) { _recording = recording; }
    const QStringList &recordedAlerts() const { return _recordedAlerts; }
    void setAnswers(int saveAnswer, bool largeFileAnswer, QStringList openPanelAnswer);
    void setOpenAsTextAnswer(bool open) { _openAsTextAnswer = open; }

private:
    QWidget *_parentFor(MVDocument *document) const;

    QPointer<MVProjectManagerWindow> _projectManager;
    QPointer<MVPreferencesWindow> _preferences;
    // The window shown last: the parent of windows that belong to none.
    QPointer<QWidget> _frontWindow;
    std::map<MVDocument *, QPointer<MVDocumentWindow>> _windows;
    bool _recording = false;
    QStringList _recordedAlerts;
    int _saveAnswer = 2;
    bool _largeFileAnswer = false;
    bool _openAsTextAnswer = false;
    QStringList _openPanelAnswer;
};
