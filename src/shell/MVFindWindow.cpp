#include "shell/MVFindWindow.h"

#include "platform/MVStringTable.h"
#include "search/MVSearchController.h"
#include "search/MVSingleFileSearchController.h"
#include "shell/MVExtendedSearchInputController.h"
#include "shell/MVTextViewSearchTarget.h"
#include "text/MVTextStorage.h"
#include "text/MVTextView.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QToolButton>

namespace {

QString tr_(const char *key)
{
    return MVLocalizedString(QString::fromUtf8(key));
}

QComboBox *makeField(QWidget *parent)
{
    auto *field = new QComboBox(parent);
    field->setEditable(true);
    field->setInsertPolicy(QComboBox::NoInsert);
    field->setMinimumContentsLength(32);
    field->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    field->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    // History entries may hold line breaks; the field compares them as they are.
    field->setDuplicatesEnabled(false);
    field->lineEdit()->setClearButtonEnabled(true);
    return field;
}

QToolButton *makeExtendedButton(QWidget *parent, const QString &tip)
{
    auto *button = new QToolButton(parent);
    button->setText(QStringLiteral("…"));
    button->setToolTip(tip);
    button->setAutoRaise(true);
    return button;
}

} // namespace

MVFindWindow::MVFindWindow(MVSingleFileSearchController *controller, QWidget *parent)
    : QWidget(parent, Qt::Tool), _controller(controller)
{
    setWindowTitle(tr_("Find"));
    _panel = new MVExtendedSearchInputController(this);
    _build();
    connect(_controller, &MVSearchController::changed, this, &MVFindWindow::_updateFromController);
    connect(_controller, &MVSearchController::extendedInputRequested, this, [this](int, const QString &input) {
        _panel->setInput(input);
        _panel->displayOnWindow(this, [this](const QString &output, int code) {
            _controller->extendedOutputFinishedWithReturnCode(output, code);
        });
    });
    _reloadHistories();
    _updateFromController();
}

MVFindWindow::~MVFindWindow()
{
    if (_target && _controller->textView() == _target.get())
        _controller->setTextView(nullptr);
}

MVFindWindow &MVFindWindow::sharedWindow()
{
    static QPointer<MVFindWindow> shared;
    if (!shared) {
        shared = new MVFindWindow(&MVSingleFileSearchController::sharedFind());
        // A top-level window without a parent: it goes with the application.
        QObject::connect(qApp, &QCoreApplication::aboutToQuit, shared.data(), &QObject::deleteLater);
    }
    return *shared;
}

void MVFindWindow::_build()
{
    auto *grid = new QGridLayout(this);

    _searchField = makeField(this);
    _replaceField = makeField(this);
    auto *searchLabel = new QLabel(tr_("&Find:"), this);
    auto *replaceLabel = new QLabel(tr_("Re&place with:"), this);
    searchLabel->setBuddy(_searchField);
    replaceLabel->setBuddy(_replaceField);
    auto *searchMore = makeExtendedButton(this, tr_("Edit over several lines"));
    auto *replaceMore = makeExtendedButton(this, tr_("Edit over several lines"));
    grid->addWidget(searchLabel, 0, 0);
    grid->addWidget(_searchField, 0, 1);
    grid->addWidget(searchMore, 0, 2);
    grid->addWidget(replaceLabel, 1, 0);
    grid->addWidget(_replaceField, 1, 1);
    grid->addWidget(replaceMore, 1, 2);

    auto *options = new QHBoxLayout;
    _regularExpression = new QCheckBox(tr_("Regular e&xpression"), this);
    _matchCase = new QCheckBox(tr_("&Match case"), this);
    _wholeWords = new QCheckBox(tr_("&Whole words"), this);
    _scope = new QComboBox(this);
    _scope->addItem(tr_("Whole file"));
    _scope->addItem(tr_("Selection"));
    auto *scopeLabel = new QLabel(tr_("Replace &all in:"), this);
    scopeLabel->setBuddy(_scope);
    options->addWidget(_regularExpression);
    options->addWidget(_matchCase);
    options->addWidget(_wholeWords);
    options->addStretch();
    options->addWidget(scopeLabel);
    options->addWidget(_scope);
    grid->addLayout(options, 2, 1, 1, 2);

    _status = new QLabel(this);
    _status->setTextInteractionFlags(Qt::TextSelectableByMouse);
    grid->addWidget(_status, 3, 1, 1, 2);

    auto *buttons = new QHBoxLayout;
    _findAll = new QPushButton(tr_("Find A&ll"), this);
    _replaceAll = new QPushButton(tr_("Replace &All"), this);
    _replace = new QPushButton(tr_("&Replace"), this);
    _previous = new QPushButton(tr_("Pre&vious"), this);
    _next = new QPushButton(tr_("&Next"), this);
    _replace->setToolTip(tr_("Replaces the selected match and finds the next one"));
    _next->setDefault(true);
    buttons->addWidget(_findAll);
    buttons->addStretch();
    buttons->addWidget(_replaceAll);
    buttons->addWidget(_replace);
    buttons->addWidget(_previous);
    buttons->addWidget(_next);
    grid->addLayout(buttons, 4, 0, 1, 3);
    grid->setColumnStretch(1, 1);

    connect(_searchField, &QComboBox::editTextChanged, this, [this](const QString &text) {
        if (!_updating)
            _controller->setSearchString(text);
    });
    connect(_replaceField, &QComboBox::editTextChanged, this, [this](const QString &text) {
        if (!_updating)
            _controller->setReplaceString(text);
    });
    connect(_regularExpression, &QCheckBox::toggled, this, [this](bool on) {
        if (!_updating)
            _controller->setRegularExpression(on);
    });
    connect(_matchCase, &QCheckBox::toggled, this, [this](bool on) {
        if (!_updating)
            _controller->setMatchCase(on);
    });
    connect(_wholeWords, &QCheckBox::toggled, this, [this](bool on) {
        if (!_updating)
            _controller->setWholeWords(on);
    });
    connect(_scope, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (!_updating)
            _controller->setScope(index);
    });
    connect(searchMore, &QToolButton::clicked, this,
            [this] { _controller->showExtendedInput(MVSearchController::SearchFieldTag); });
    connect(replaceMore, &QToolButton::clicked, this,
            [this] { _controller->showExtendedInput(MVSearchController::SearchFieldTag + 1); });
    connect(_next, &QPushButton::clicked, this, [this] { _run([this] { _controller->next(); }); });
    connect(_previous, &QPushButton::clicked, this, [this] { _run([this] { _controller->previous(); }); });
    connect(_replace, &QPushButton::clicked, this, [this] { _run([this] { _controller->replaceAndFind(); }); });
    connect(_replaceAll, &QPushButton::clicked, this, [this] { _run([this] { _controller->replaceAll(); }); });
    connect(_findAll, &QPushButton::clicked, this, [this] { _run([this] { _controller->findAll(); }); });
}

void MVFindWindow::_run(const std::function<void()> &command)
{
    command();
    _reloadHistories();
}

void MVFindWindow::_reloadHistories()
{
    _updating = true;
    auto reload = [](QComboBox *field, const QStringList &entries) {
        const QString current = field->currentText();
        field->clear();
        for (const QString &entry : entries)
            if (!entry.isEmpty())
                field->addItem(entry);
        field->setCurrentIndex(-1);
        field->setEditText(current);
    };
    reload(_searchField, MVSearchController::searchHistory());
    reload(_replaceField, MVSearchController::replaceHistory());
    _updating = false;
}

void MVFindWindow::_updateFromController()
{
    _updating = true;
    if (_searchField->currentText() != _controller->searchString())
        _searchField->setEditText(_controller->searchString());
    if (_replaceField->currentText() != _controller->replaceString())
        _replaceField->setEditText(_controller->replaceString());
    _regularExpression->setChecked(_controller->regularExpression());
    _matchCase->setChecked(_controller->matchCase());
    _wholeWords->setChecked(_controller->wholeWords());
    _scope->setCurrentIndex(_controller->scope() == 0 ? 0 : 1);
    _updating = false;

    const QString status = _controller->status();
    _status->setText(status);
    // A message about input that cannot run is a warning; the others are news.
    const bool warning = !_controller->isValid() && !status.isEmpty();
    _status->setStyleSheet(warning ? QStringLiteral("color: #c01c28;") : QString());

    const bool valid = _controller->isValid();
    for (QPushButton *button : {_next, _previous, _replace, _replaceAll})
        button->setEnabled(valid);
    // Find All lists the matches through the multi-file search, when there is one.
    _findAll->setEnabled(valid && _controller->canFindAll());
    _findAll->setVisible(_controller->canFindAll());
}

void MVFindWindow::setTextView(MVTextView *view)
{
    if (view == textView())
        return;
    disconnect(_targetDestroyed);
    std::unique_ptr<MVTextViewSearchTarget> old = std::move(_target);
    if (view) {
        _target = std::make_unique<MVTextViewSearchTarget>(view);
        // A view that goes away without telling takes its target along.
        _targetDestroyed = connect(view, &QObject::destroyed, this, [this] {
            _controller->setTextView(nullptr);
            _target.reset();
        });
    }
    _controller->setTextView(_target.get());
}

MVTextView *MVFindWindow::textView() const
{
    return _target ? _target->view() : nullptr;
}

void MVFindWindow::showForTextView(MVTextView *view)
{
    setTextView(view);
    show();
    raise();
    activateWindow();
    _searchField->setFocus();
    _searchField->lineEdit()->selectAll();
}

void MVFindWindow::addActionsToMenu(QMenu *menu, std::function<MVTextView *()> currentTextView)
{
    auto add = [&](const QString &title, const QKeySequence &keys, std::function<void()> run) {
        QAction *action = menu->addAction(title);
        action->setShortcut(keys);
        connect(action, &QAction::triggered, this, [run = std::move(run)] { run(); });
        return action;
    };
    auto current = std::make_shared<std::function<MVTextView *()>>(std::move(currentTextView));
    auto attach = [this, current] {
        MVTextView *view = (*current)();
        if (view)
            setTextView(view);
        return view != nullptr;
    };
    add(tr_("Find…"), QKeySequence::Find, [this, current] { showForTextView((*current)()); });
    add(tr_("Find Next"), QKeySequence::FindNext, [this, attach] {
        if (attach())
            _run([this] { _controller->next(); });
    });
    add(tr_("Find Previous"), QKeySequence::FindPrevious, [this, attach] {
        if (attach())
            _run([this] { _controller->previous(); });
    });
    add(tr_("Use Selection for Find"), QKeySequence(Qt::CTRL | Qt::Key_E), [this, attach] {
        if (attach())
            _controller->findUsingSelection();
    });
    add(tr_("Replace…"), QKeySequence::Replace, [this, current] {
        showForTextView((*current)());
        _replaceField->setFocus();
    });
}

void MVFindWindow::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape) {
        hide();
        return;
    }
    // Return finds the next match, Shift+Return the previous one.
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && _controller->isValid()) {
        if (event->modifiers() & Qt::ShiftModifier)
            _run([this] { _controller->previous(); });
        else
            _run([this] { _controller->next(); });
        return;
    }
    QWidget::keyPressEvent(event);
}
