#pragma once

#include <QMainWindow>

class MVShell;
class QListWidget;

// The window shown at launch and when no document is left: recent projects
// and files to reopen, and buttons to open or start something new.
class MVProjectManagerWindow : public QMainWindow
{
public:
    explicit MVProjectManagerWindow(MVShell *shell);

    // Reloads the list of recent items.
    void refresh();
    QListWidget *list() const { return _list; }

private:
    void _openSelected();

    MVShell *_shell;
    QListWidget *_list;
};
