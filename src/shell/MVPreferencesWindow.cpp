#include "shell/MVPreferencesWindow.h"

#include "app/Defaults.h"
#include "editing/HTMLView.h"
#include "language/MVSyntaxHighlightingTextView.h"
#include "language/MVTheme.h"
#include "language/MVThemeRepository.h"
#include "platform/MVNotificationCenter.h"
#include "platform/MVUserDefaults.h"
#include "shell/MVEncodingMenu.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFontComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>

namespace {

const QString HowToOpenKey = QStringLiteral("MVHowToOpenFiles");
const QString UseTabsKey = QStringLiteral("MVUseTabs");
const QString EncodingKey = QStringLiteral("MVTextEncoding");
const QString LineBreakKey = QStringLiteral("MVLineBreak");
const QString AutoSaveKey = QStringLiteral("MVAutoSave");
const QString TabSizeKey = QStringLiteral("MVTabSizeKey");
// The auto-save setting stands for this interval in seconds.
constexpr int AutoSaveInterval = 60;

void post(const QString &notification)
{
    if (!notification.isEmpty())
        MVNotificationCenter::defaultCenter().post(notification, nullptr);
}

} // namespace

MVPreferencesWindow::MVPreferencesWindow(QWidget *parent)
    : QDialog(parent)
    , _panes(new QTabWidget)
{
    setWindowTitle(tr("Preferences"));
    setObjectName(QStringLiteral("Preferences"));
    setModal(false);
    _panes->addTab(_generalPane(), QIcon::fromTheme(QStringLiteral("preferences-system")), tr("General"));
    _panes->addTab(_editingPane(), QIcon::fromTheme(QStringLiteral("accessories-text-editor")), tr("Text Editing"));
    _panes->addTab(_coloursPane(), QIcon::fromTheme(QStringLiteral("preferences-desktop-color")), tr("Colours"));
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(_panes);
    layout->addWidget(buttons);
    refresh();
}

QCheckBox *MVPreferencesWindow::_checkBox(const QString &title, const QString &key, const QString &notification)
{
    auto *box = new QCheckBox(title);
    _checkBoxes.append({box, key});
    connect(box, &QCheckBox::toggled, this, [this, key, notification](bool on) {
        if (_refreshing)
            return;
        MVUserDefaults::standard().setBool(key, on);
        post(notification);
    });
    return box;
}

QWidget *MVPreferencesWindow::_generalPane()
{
    auto *pane = new QWidget;
    auto *form = new QFormLayout(pane);

    _howToOpen = new QComboBox;
    _howToOpen->addItem(tr("In a new window"), 0);
    _howToOpen->addItem(tr("As a tab of the front window"), 1);
    connect(_howToOpen, &QComboBox::currentIndexChanged, this, [this] {
        if (!_refreshing)
            MVUserDefaults::standard().setInteger(HowToOpenKey, _howToOpen->currentData().toInt());
    });
    form->addRow(tr("Open files:"), _howToOpen);
    _useTabs = _checkBox(tr("Show opened files in windows with tabs"), UseTabsKey, QString());
    form->addRow(QString(), _useTabs);

    _encoding = new QComboBox;
    for (const MVEncodingMenu::Entry &entry : MVEncodingMenu::entries()) {
        if (entry.title.isEmpty())
            _encoding->insertSeparator(_encoding->count());
        else
            _encoding->addItem(entry.title, entry.shortName);
    }
    connect(_encoding, &QComboBox::currentIndexChanged, this, [this] {
        if (!_refreshing && !_encoding->currentData().toString().isEmpty())
            MVUserDefaults::standard().setObject(EncodingKey, _encoding->currentData().toString());
    });
    form->addRow(tr("Encoding of new files:"), _encoding);

    _lineBreak = new QComboBox;
    for (int type = 0; type < 3; ++type)
        _lineBreak->addItem(HTMLView::lineBreakName(type), type);
    connect(_lineBreak, &QComboBox::currentIndexChanged, this, [this] {
        if (!_refreshing)
            MVUserDefaults::standard().setInteger(LineBreakKey, _lineBreak->currentData().toInt());
    });
    form->addRow(tr("Line breaks of new files:"), _lineBreak);

    _autoSave = new QCheckBox(tr("Auto-save every minute"));
    connect(_autoSave, &QCheckBox::toggled, this, [this](bool on) {
        if (!_refreshing)
            MVUserDefaults::standard().setInteger(AutoSaveKey, on ? AutoSaveInterval : 0);
    });
    form->addRow(QString(), _autoSave);
    return pane;
}

QWidget *MVPreferencesWindow::_editingPane()
{
    auto *pane = new QWidget;
    auto *form = new QFormLayout(pane);
    const QString editorChange = HTMLView::editorPrefsChangeNotification();

    auto *fontRow = new QHBoxLayout;
    _font = new QFontComboBox;
    _font->setFontFilters(QFontComboBox::MonospacedFonts);
    _fontSize = new QSpinBox;
    _fontSize->setRange(6, 72);
    _fontSize->setSuffix(tr(" pt"));
    fontRow->addWidget(_font, 1);
    fontRow->addWidget(_fontSize);
    connect(_font, &QFontComboBox::currentFontChanged, this, [this] { _fontChanged(); });
    connect(_fontSize, &QSpinBox::valueChanged, this, [this] { _fontChanged(); });
    form->addRow(tr("Font:"), fontRow);

    _tabWidth = new QSpinBox;
    _tabWidth->setRange(1, 16);
    _tabWidth->setSuffix(tr(" characters"));
    connect(_tabWidth, &QSpinBox::valueChanged, this, [this, editorChange](int width) {
        if (_refreshing)
            return;
        MVUserDefaults::standard().setInteger(TabSizeKey, width);
        post(editorChange);
    });
    form->addRow(tr("Tab width:"), _tabWidth);
    form->addRow(QString(), _checkBox(tr("Insert spaces for the Tab key"), QStringLiteral("MVTabsAreSpaces"), editorChange));
    form->addRow(QString(), _checkBox(tr("Wrap long lines"), QStringLiteral("MVWrapText"), editorChange));
    form->addRow(QString(), _checkBox(tr("Show invisible characters"), QStringLiteral("MVShowInvisibles"), editorChange));
    const QString gutterChange = codeFoldingPrefChangedNotification();
    form->addRow(QString(), _checkBox(tr("Show line numbers"), QStringLiteral("MVLineNums"), gutterChange));
    form->addRow(QString(), _checkBox(tr("Show code folding markers"), QStringLiteral("MVCodeFoldingEnabled"), gutterChange));
    form->addRow(QString(), _checkBox(tr("Colour the syntax"), QStringLiteral("MVHighlightKey"),
                                      MVSyntaxHighlightingTextView::highlightingPrefsChangeNotification()));
    return pane;
}

QWidget *MVPreferencesWindow::_coloursPane()
{
    auto *pane = new QWidget;
    auto *form = new QFormLayout(pane);
    _theme = new QComboBox;
    connect(_theme, &QComboBox::currentIndexChanged, this, [this] {
        if (_refreshing)
            return;
        MVThemeRepository &repository = MVThemeRepository::sharedRepository();
        const auto theme = repository.themeWithIdentifier(_theme->currentData().toString());
        if (!theme || theme == repository.currentTheme())
            return;
        repository.setCurrentTheme(theme);
        post(MVSyntaxHighlightingTextView::highlightingPrefsChangeNotification());
    });
    form->addRow(tr("Theme:"), _theme);
    return pane;
}

void MVPreferencesWindow::_fontChanged()
{
    if (_refreshing)
        return;
    QFont font = _font->currentFont();
    font.setPointSize(_fontSize->value());
    Defaults::setDefaultFont(font);
    post(HTMLView::editorPrefsChangeNotification());
}

void MVPreferencesWindow::refresh()
{
    _refreshing = true;
    const MVUserDefaults &defaults = MVUserDefaults::standard();
    _howToOpen->setCurrentIndex(qMax(0, _howToOpen->findData(int(defaults.integerForKey(HowToOpenKey)))));
    const int encoding = _encoding->findData(Defaults::textEncoding(), Qt::UserRole, Qt::MatchFixedString);
    _encoding->setCurrentIndex(qMax(0, encoding));
    _lineBreak->setCurrentIndex(qMax(0, _lineBreak->findData(int(defaults.integerForKey(LineBreakKey)))));
    // Any positive interval counts as on.
    _autoSave->setChecked(defaults.integerForKey(AutoSaveKey) > 0);
    for (const auto &[box, key] : std::as_const(_checkBoxes))
        box->setChecked(defaults.boolForKey(key));

    const QFont font = Defaults::defaultFont();
    _font->setCurrentFont(font);
    _fontSize->setValue(font.pointSize() > 0 ? font.pointSize() : 11);
    const qint64 tabSize = defaults.integerForKey(TabSizeKey);
    _tabWidth->setValue(tabSize > 0 ? int(tabSize) : 4);

    _theme->clear();
    MVThemeRepository &repository = MVThemeRepository::sharedRepository();
    for (const auto &theme : repository.themes())
        _theme->addItem(theme->title(), theme->identifier());
    if (const auto current = repository.currentTheme())
        _theme->setCurrentIndex(_theme->findData(current->identifier()));
    _refreshing = false;
}

// Closing by the button, Escape or the title bar all end here.
void MVPreferencesWindow::done(int result)
{
    QDialog::done(result);
    MVNotificationCenter::defaultCenter().post(prefsClosedNotification(), this);
}
