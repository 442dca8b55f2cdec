#pragma once

class QMainWindow;
class MVShell;
class MVDocument;

// The menu bar every window of the application shares: File, Edit, Window
// and Help, with the actions that exist so far.
class MVMainMenu
{
public:
    // document is the window's document, or null for the project manager.
    static void install(QMainWindow *window, MVShell *shell, MVDocument *document);
};
