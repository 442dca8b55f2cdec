#pragma once

#include <QDialog>

class QCheckBox;
class QComboBox;
class QFontComboBox;
class QSpinBox;
class QTabWidget;

// The preferences that exist, in a row of panes: General (how files open,
// new files' encoding and line break, auto-save), Text Editing (font, tabs,
// line numbers, folding, wrapping, invisibles) and Colours (the theme).
// Every change is written to the preferences store at once and announced
// with its change notification, so that open views follow straight away.
// Closing the window posts MorvelPrefsClosed.
class MVPreferencesWindow : public QDialog
{
    Q_OBJECT

public:
    explicit MVPreferencesWindow(QWidget *parent = nullptr);

    // Reads every control again from the store.
    void refresh();

    QTabWidget *panes() const { return _panes; }
    QComboBox *themeChooser() const { return _theme; }
    QFontComboBox *fontChooser() const { return _font; }
    QSpinBox *fontSizeChooser() const { return _fontSize; }
    QSpinBox *tabWidthChooser() const { return _tabWidth; }
    QComboBox *howToOpenFilesChooser() const { return _howToOpen; }

    static QString prefsClosedNotification() { return QStringLiteral("MorvelPrefsClosed"); }
    static QString codeFoldingPrefChangedNotification() { return QStringLiteral("MorvelCodeFoldingPrefChanged"); }

protected:
    void done(int result) override;

private:
    QWidget *_generalPane();
    QWidget *_editingPane();
    QWidget *_coloursPane();
    QCheckBox *_checkBox(const QString &title, const QString &key, const QString &notification);
    void _fontChanged();

    QTabWidget *_panes;
    QComboBox *_howToOpen = nullptr;
    QCheckBox *_useTabs = nullptr;
    QComboBox *_encoding = nullptr;
    QComboBox *_lineBreak = nullptr;
    QCheckBox *_autoSave = nullptr;
    QFontComboBox *_font = nullptr;
    QSpinBox *_fontSize = nullptr;
    QSpinBox *_tabWidth = nullptr;
    QComboBox *_theme = nullptr;
    // Each check box with its key, read again by refresh().
    QList<QPair<QCheckBox *, QString>> _checkBoxes;
    bool _refreshing = false;
};
