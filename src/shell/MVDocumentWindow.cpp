#include "shell/MVDocumentWindow.h"

#include "app/Defaults.h"
#include "app/MVDocumentController.h"
#include "files/MVFile.h"
#include "files/MVFileDocument.h"
#include "files/MVMultiFileDocument.h"
#include "platform/MVUserDefaults.h"
#include "projects/MVProjectDocument.h"
#include "shell/MVFileTreeModel.h"
#include "shell/MVMainMenu.h"
#include "shell/MVShell.h"
#include "text/MVTextStorage.h"
#include "text/MVTextView.h"

#include <QCloseEvent>
#include <QDockWidget>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QPointer>
#include <QStatusBar>
#include <QTabBar>
#include <QTabWidget>
#include <QTreeView>

namespace {
const char *FileProperty = "morvelFileDocument";
}

MVDocumentWindow::MVDocumentWindow(MVShell *shell, MVDocument *document)
    : _shell(shell)
    , _document(document)
    , _tabs(new QTabWidget)
    , _position(new QLabel)
    , _encoding(new QLabel)
    , _lineBreak(new QLabel)
    , _language(new QLabel)
{
    _tabs->setDocumentMode(true);
    _tabs->setTabsClosable(true);
    _tabs->setMovable(true);
    setCentralWidget(_tabs);
    for (QLabel *label : {_position, _encoding, _lineBreak, _language})
        statusBar()->addPermanentWidget(label);
    MVMainMenu::install(this, shell, document);
    if (document->kind() == MVDocumentKind::Project)
        _buildProjectTree();

    connect(_tabs, &QTabWidget::currentChanged, this, [this](int index) {
        auto *multi = dynamic_cast<MVMultiFileDocument *>(_document);
        if (multi && index >= 0) {
            MVFileDocument *file = _fileShownBy(_tabs->widget(index));
            const auto &all = multi->tabs();
            for (size_t i = 0; i < all.size(); ++i) {
                if (all[i].get() == file && multi->activeIndex() != static_cast<int>(i))
                    multi->setActiveIndex(static_cast<int>(i));
            }
            MVDocumentController::sharedController().setCurrentDocument(multi->activeDocument());
        }
        _updateStatus();
        if (_document)
            setWindowTitle(_document->displayName() + QStringLiteral(" — Morvel"));
    });
    connect(_tabs, &QTabWidget::tabCloseRequested, this, [this](int index) {
        auto *multi = dynamic_cast<MVMultiFileDocument *>(_document);
        const bool isProject = _document && _document->kind() == MVDocumentKind::Project;
        if (!multi || (multi->tabs().size() <= 1 && !isProject)) {
            close();
            return;
        }
        MVFileDocument *file = _fileShownBy(_tabs->widget(index));
        const auto &all = multi->tabs();
        for (size_t i = 0; i < all.size(); ++i) {
            if (all[i].get() == file) {
                multi->closeTab(static_cast<int>(i));
                break;
            }
        }
        refresh();
    });
    resize(1000, 700);
}

MVDocumentWindow::~MVDocumentWindow() = default;

void MVDocumentWindow::_buildProjectTree()
{
    auto *project = dynamic_cast<MVProjectDocument *>(_document);
    if (!project || !project->rootFile())
        return;
    _treeModel = new MVFileTreeModel(project->rootFile(), this);
    _treeModel->setErrorHandler([this](const MVError &error) { _shell->presentError(error, _document); });
    _tree = new QTreeView;
    _tree->setModel(_treeModel);
    _tree->setHeaderHidden(true);
    _tree->setUniformRowHeights(true);
    _tree->setIconSize(QSize(16, 16));
    auto *dock = new QDockWidget(project->displayName(), this);
    dock->setObjectName(QStringLiteral("ProjectTree"));
    dock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable);
    dock->setWidget(_tree);
    addDockWidget(Qt::LeftDockWidgetArea, dock);
    resizeDocks({dock}, {260}, Qt::Horizontal);

    auto open = [this](const QModelIndex &index) {
        MVFile *file = _treeModel->fileAt(index);
        if (file && file->fileType() != 1)
            MVDocumentController::sharedController().openDocumentWithContentsOfFile(file->path(), true);
    };
    const bool doubleClick = MVUserDefaults::standard().boolForKey(QStringLiteral("MVDoubleClickToOpenFiles"));
    connect(_tree, doubleClick ? &QTreeView::doubleClicked : &QTreeView::clicked, this, open);
    connect(_tree, &QTreeView::activated, this, open);
    connect(_tree, &QTreeView::collapsed, this, [this](const QModelIndex &index) {
        if (MVFile *file = _treeModel->fileAt(index))
            file->setExpanded(false);
    });
    connect(_tree, &QTreeView::expanded, this, [this](const QModelIndex &index) {
        if (MVFile *file = _treeModel->fileAt(index))
            file->setExpanded(true);
    });
    // A reset (after a change on disk) rebuilds the rows: open again what was open.
    connect(_treeModel, &QAbstractItemModel::modelReset, this, [this] { _restoreExpansion(QModelIndex()); });
}

void MVDocumentWindow::_restoreExpansion(const QModelIndex &parent)
{
    const int rows = _treeModel->rowCount(parent);
    for (int row = 0; row < rows; ++row) {
        const QModelIndex index = _treeModel->index(row, 0, parent);
        MVFile *file = _treeModel->fileAt(index);
        if (file && file->fileType() == 1 && file->expanded()) {
            _tree->expand(index);
            _restoreExpansion(index);
        }
    }
}

MVFileDocument *MVDocumentWindow::_fileShownBy(QWidget *view) const
{
    return view ? static_cast<MVFileDocument *>(view->property(FileProperty).value<void *>()) : nullptr;
}

MVTextView *MVDocumentWindow::currentTextView() const
{
    return qobject_cast<MVTextView *>(_tabs->currentWidget());
}

MVTextView *MVDocumentWindow::_viewFor(MVFileDocument *file)
{
    for (int i = 0; i < _tabs->count(); ++i) {
        if (_fileShownBy(_tabs->widget(i)) == file)
            return static_cast<MVTextView *>(_tabs->widget(i));
    }
    auto *view = new MVTextView;
    view->setFont(Defaults::defaultFont());
    view->setTabWidth(static_cast<int>(MVUserDefaults::standard().integerForKey(QStringLiteral("MVTabSizeKey"))));
    view->setString(file->text());
    view->setDelegate(this);
    view->setProperty(FileProperty, QVariant::fromValue(static_cast<void *>(file)));
    auto applySelection = [view = QPointer<MVTextView>(view), file] {
        if (!view)
            return;
        view->setSelectedRange(file->requestedSelection());
        view->scrollRangeToVisible(file->requestedSelection());
    };
    applySelection();
    file->setChangeHandler(applySelection);
    _tabs->addTab(view, file->displayName());
    _tabs->setTabToolTip(_tabs->count() - 1, file->fileName());
    return view;
}

MVFileDocument *MVDocumentWindow::_activeFile() const
{
    return _document ? dynamic_cast<MVFileDocument *>(_document->activeDocument()) : nullptr;
}

void MVDocumentWindow::refresh()
{
    if (!_document)
        return;
    std::vector<MVFileDocument *> files;
    if (auto *multi = dynamic_cast<MVMultiFileDocument *>(_document)) {
        for (const auto &tab : multi->tabs())
            files.push_back(tab.get());
    } else if (auto *single = dynamic_cast<MVFileDocument *>(_document)) {
        files.push_back(single);
    }
    // Drop views whose document is gone, then add the missing ones in order.
    for (int i = _tabs->count() - 1; i >= 0; --i) {
        MVFileDocument *shown = _fileShownBy(_tabs->widget(i));
        if (std::find(files.begin(), files.end(), shown) == files.end()) {
            QWidget *view = _tabs->widget(i);
            _tabs->removeTab(i);
            view->deleteLater();
        }
    }
    for (MVFileDocument *file : files)
        _viewFor(file);
    // A window of one file needs no tab bar.
    _tabs->tabBar()->setVisible(_document->kind() != MVDocumentKind::SingleFile);
    if (MVFileDocument *active = _activeFile())
        _tabs->setCurrentWidget(_viewFor(active));
    setWindowTitle(_document->displayName() + QStringLiteral(" — Morvel"));
    setWindowFilePath(_activeFile() ? _activeFile()->fileName() : QString());
    _updateStatus();
}

void MVDocumentWindow::_updateStatus()
{
    MVFileDocument *file = _activeFile();
    MVTextView *view = currentTextView();
    if (!file || !view) {
        for (QLabel *label : {_position, _encoding, _lineBreak, _language})
            label->clear();
        return;
    }
    const MVTextBuffer &buffer = view->textStorage()->buffer();
    const qsizetype caret = view->selectedRange().end();
    const qsizetype line = buffer.lineForPosition(caret);
    _position->setText(tr("Line %1, Column %2").arg(line + 1).arg(caret - buffer.lineStart(line) + 1));
    _encoding->setText(file->encodingName().toUpper());
    _lineBreak->setText(file->lineBreakName());
    _language->setText(tr("Plain Text"));
}

bool MVDocumentWindow::textViewShouldChangeTextInRange(MVTextView *, MVRange, const QString &)
{
    return false;
}

void MVDocumentWindow::textViewDidChangeSelection(MVTextView *view, MVRange)
{
    if (view == currentTextView())
        _updateStatus();
}

void MVDocumentWindow::closeEvent(QCloseEvent *event)
{
    if (_document) {
        if (_document->isDocumentEdited()) {
            const int answer = _shell->askToSaveChanges(_document);
            MVError error;
            if (answer == 2 || (answer == 0 && !_document->save(&error))) {
                if (!error.isNull())
                    _shell->presentError(error, _document);
                event->ignore();
                return;
            }
        }
        MVDocument *leaving = _document;
        _document = nullptr;
        MVDocumentController::sharedController().removeDocument(leaving);
    }
    event->accept();
}

void MVDocumentWindow::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::ActivationChange && isActiveWindow() && _document)
        MVDocumentController::sharedController().setCurrentDocument(_document->activeDocument());
    QMainWindow::changeEvent(event);
}
