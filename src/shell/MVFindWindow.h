#pragma once

#include <QPointer>
#include <QWidget>

#include <functional>
#include <memory>

class MVExtendedSearchInputController;
class MVSingleFileSearchController;
class MVTextView;
class MVTextViewSearchTarget;
class QCheckBox;
class QComboBox;
class QLabel;
class QMenu;
class QPushButton;

// The find window: find and replace fields with their histories, the
// regular-expression and match-case options, the scope of Replace All, the
// commands, and a message line. It searches the text view it was last shown
// for; the logic is the controller's.
class MVFindWindow : public QWidget
{
    Q_OBJECT
public:
    explicit MVFindWindow(MVSingleFileSearchController *controller, QWidget *parent = nullptr);
    ~MVFindWindow() override;

    // The process's find window, on the shared controller.
    static MVFindWindow &sharedWindow();

    MVSingleFileSearchController *controller() const { return _controller; }

    // Makes view the searched one (null for none).
    void setTextView(MVTextView *view);
    MVTextView *textView() const;
    // Shows the window for view with the find field ready for typing.
    void showForTextView(MVTextView *view);

    // Adds Find…, Find Next, Find Previous, Use Selection for Find and
    // Replace All to menu, each working on currentTextView() at the time.
    void addActionsToMenu(QMenu *menu, std::function<MVTextView *()> currentTextView);

    QComboBox *searchField() const { return _searchField; }
    QComboBox *replaceField() const { return _replaceField; }
    QLabel *statusLabel() const { return _status; }
    MVExtendedSearchInputController *extendedInputPanel() const { return _panel; }

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    void _build();
    void _updateFromController();
    void _reloadHistories();
    void _run(const std::function<void()> &command);

    MVSingleFileSearchController *_controller;
    std::unique_ptr<MVTextViewSearchTarget> _target;
    QMetaObject::Connection _targetDestroyed;
    bool _updating = false;

    QComboBox *_searchField = nullptr;
    QComboBox *_replaceField = nullptr;
    QCheckBox *_regularExpression = nullptr;
    QCheckBox *_matchCase = nullptr;
    QCheckBox *_wholeWords = nullptr;
    QComboBox *_scope = nullptr;
    QLabel *_status = nullptr;
    QPushButton *_next = nullptr;
    QPushButton *_previous = nullptr;
    QPushButton *_replace = nullptr;
    QPushButton *_replaceAll = nullptr;
    QPushButton *_findAll = nullptr;
    MVExtendedSearchInputController *_panel = nullptr;
};
