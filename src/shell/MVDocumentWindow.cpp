#include "shell/MVDocumentWindow.h"

#include "app/MVDocumentController.h"
#include "documents/MVFileDocument.h"
#include "documents/MVImageFileView.h"
#include "documents/MVMultiFileDocument.h"
#include "editing/HTMLView.h"
#include "files/FileEncodings.h"
#include "files/MVFile.h"
#include "platform/MVUserDefaults.h"
#include "projects/MVProjectDocument.h"
#include "shell/MVFileTreeModel.h"
#include "shell/MVMainMenu.h"
#include "shell/MVShell.h"
#include "text/MVTextBuffer.h"
#include "text/MVTextStorage.h"

#include <QCloseEvent>
#include <QDockWidget>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QPointer>
#include <QStatusBar>
#include <QTabBar>
#include <QTabWidget>
#include <QTreeView>

namespace {

const char *FileProperty = "morvelFileDocument";

std::function<QString(MVFileDocument *)> &savePanelAnswer()
{
    static std::function<QString(MVFileDocument *)> answer;
    return answer;
}

} // namespace

void MVDocumentWindow::setSavePanelAnswerForTesting(std::function<QString(MVFileDocument *)> answer)
{
    savePanelAnswer() = std::move(answer);
}

MVDocumentWindow::MVDocumentWindow(MVShell *shell, MVDocument *document)
    : _shell(shell)
    , _document(document)
    , _tabs(new QTabWidget)
    , _position(new QLabel)
    , _encoding(new QLabel)
    , _lineBreak(new QLabel)
    , _language(new QLabel)
    , _loadingLine(new QWidget)
    , _loadingLabel(new QLabel)
    , _loadingBar(new QProgressBar)
{
    _tabs->setDocumentMode(true);
    _tabs->setTabsClosable(true);
    _tabs->setMovable(true);
    setCentralWidget(_tabs);
    for (QLabel *label : {_position, _encoding, _lineBreak, _language}) {
        label->setContentsMargins(6, 0, 6, 0);
        statusBar()->addPermanentWidget(label);
    }
    // The progress line of a large file being read, with its Cancel.
    auto *loadingLayout = new QHBoxLayout(_loadingLine);
    loadingLayout->setContentsMargins(6, 0, 6, 0);
    _loadingBar->setRange(0, 100);
    _loadingBar->setTextVisible(false);
    _loadingBar->setMaximumWidth(200);
    auto *cancel = new QPushButton(tr("Cancel"));
    loadingLayout->addWidget(_loadingLabel);
    loadingLayout->addWidget(_loadingBar);
    loadingLayout->addWidget(cancel);
    statusBar()->addWidget(_loadingLine, 1);
    _loadingLine->hide();
    connect(cancel, &QPushButton::clicked, this, [this] {
        if (MVFileDocument *file = activeFileDocument(); file && file->isLoading())
            file->cancelLoading();
    });
    MVMainMenu::install(this, shell, document);
    if (document->kind() == MVDocumentKind::Project)
        _buildProjectTree();

    connect(_tabs, &QTabWidget::currentChanged, this, [this](int index) {
        if (!_document)
            return;
        MVFileDocument *file = index >= 0 ? _fileShownBy(_tabs->widget(index)) : nullptr;
        if (auto *multi = dynamic_cast<MVMultiFileDocument *>(_document)) {
            const int position = multi->indexOfDocument(file);
            if (position >= 0 && position != multi->activeIndex())
                multi->setActiveIndex(position);
        }
        if (file != _activeShown) {
            if (_activeShown && _tabIndexOf(_activeShown) >= 0)
                _activeShown->deactivate();
            _activeShown = file;
            if (file) {
                file->activate();
                if (QWidget *view = _tabs->widget(index))
                    view->setFocus();
            }
        }
        MVDocumentController::sharedController().setCurrentDocument(_document->activeDocument());
        _updateStatus();
        _updateTitle();
        _updateLoadingLine();
    });
    connect(_tabs, &QTabWidget::tabCloseRequested, this, [this](int index) {
        if (MVFileDocument *file = _fileShownBy(_tabs->widget(index)))
            closeDocumentTab(file);
    });
    resize(1000, 700);
}

MVDocumentWindow::~MVDocumentWindow()
{
    detachDocument();
}

void MVDocumentWindow::detachDocument()
{
    if (!_document)
        return;
    for (MVFileDocument *file : _fileDocuments()) {
        if (file->delegate() == this)
            file->setDelegate(nullptr);
    }
    _document = nullptr;
    _activeShown = nullptr;
}

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

// ---- tabs ------------------------------------------------------------------

MVFileDocument *MVDocumentWindow::_fileShownBy(QWidget *view) const
{
    return view ? static_cast<MVFileDocument *>(view->property(FileProperty).value<void *>()) : nullptr;
}

int MVDocumentWindow::_tabIndexOf(MVFileDocument *file) const
{
    for (int i = 0; i < _tabs->count(); ++i) {
        if (_fileShownBy(_tabs->widget(i)) == file)
            return i;
    }
    return -1;
}

std::vector<MVFileDocument *> MVDocumentWindow::_fileDocuments() const
{
    std::vector<MVFileDocument *> files;
    if (auto *multi = dynamic_cast<MVMultiFileDocument *>(_document)) {
        for (const auto &tab : multi->tabs())
            files.push_back(tab.get());
    } else if (auto *single = dynamic_cast<MVFileDocument *>(_document)) {
        files.push_back(single);
    }
    return files;
}

MVFileDocument *MVDocumentWindow::activeFileDocument() const
{
    return _document ? dynamic_cast<MVFileDocument *>(_document->activeDocument()) : nullptr;
}

MVTextView *MVDocumentWindow::currentTextView() const
{
    MVFileDocument *file = activeFileDocument();
    return file ? file->textView() : nullptr;
}

QWidget *MVDocumentWindow::_viewFor(MVFileDocument *file)
{
    const int existing = _tabIndexOf(file);
    if (existing >= 0)
        return _tabs->widget(existing);
    // The delegate first, so that warnings of the load reach the status bar.
    file->setDelegate(this);
    QWidget *view = file->viewWithSuggestedFrame();
    view->setProperty(FileProperty, QVariant::fromValue(static_cast<void *>(file)));
    const int index = _tabs->addTab(view, file->displayName());
    _tabs->setTabToolTip(index, file->fileName());
    _updateTab(file);
    return view;
}

void MVDocumentWindow::_updateTab(MVFileDocument *file)
{
    const int index = _tabIndexOf(file);
    if (index < 0)
        return;
    const QString name = file->displayName();
    _tabs->setTabText(index, file->isDocumentEdited() ? QStringLiteral("%1 \u25CF").arg(name) : name);
    _tabs->setTabToolTip(index, file->fileName().isEmpty() ? name : file->fileName());
}

void MVDocumentWindow::refresh()
{
    if (!_document)
        return;
    const std::vector<MVFileDocument *> files = _fileDocuments();
    // Drop views whose document is gone, then add the missing ones in order.
    for (int i = _tabs->count() - 1; i >= 0; --i) {
        MVFileDocument *shown = _fileShownBy(_tabs->widget(i));
        if (std::find(files.begin(), files.end(), shown) == files.end()) {
            QWidget *view = _tabs->widget(i);
            if (shown == _activeShown)
                _activeShown = nullptr;
            _tabs->removeTab(i);
            view->deleteLater();
        }
    }
    for (MVFileDocument *file : files) {
        _viewFor(file);
        _updateTab(file);
    }
    // A window of one file needs no tab bar.
    _tabs->tabBar()->setVisible(_document->kind() != MVDocumentKind::SingleFile);
    if (MVFileDocument *active = activeFileDocument())
        _tabs->setCurrentWidget(_viewFor(active));
    if (MVFileDocument *active = activeFileDocument(); active && active != _activeShown) {
        _activeShown = active;
        active->activate();
    }
    _updateTitle();
    _updateStatus();
    _updateLoadingLine();
}

void MVDocumentWindow::_updateTitle()
{
    if (!_document)
        return;
    MVFileDocument *active = activeFileDocument();
    setWindowTitle(_document->displayName() + QStringLiteral("[*] — Morvel"));
    setWindowModified(active && active->isDocumentEdited());
    setWindowFilePath(active ? active->fileName() : QString());
}

bool MVDocumentWindow::closeDocumentTab(MVFileDocument *file)
{
    auto *multi = dynamic_cast<MVMultiFileDocument *>(_document);
    const bool isProject = _document && _document->kind() == MVDocumentKind::Project;
    if (!multi || (multi->tabs().size() <= 1 && !isProject)) {
        close();
        return !isVisible();
    }
    if (file->isDocumentEdited()) {
        const int answer = _shell->askToSaveChanges(file);
        if (answer == 2)
            return false;
        if (answer == 0 && !file->save(nullptr))
            return false;
    }
    _removeDocument(file);
    return true;
}

void MVDocumentWindow::_removeDocument(MVFileDocument *file)
{
    auto *multi = dynamic_cast<MVMultiFileDocument *>(_document);
    const int position = multi ? multi->indexOfDocument(file) : -1;
    if (position < 0)
        return;
    if (file == _activeShown)
        _activeShown = nullptr;
    file->setDelegate(nullptr);
    multi->closeTab(position);
    refresh();
}

// ---- status bar ------------------------------------------------------------

QString MVDocumentWindow::positionText() const
{
    return _position->text();
}

QString MVDocumentWindow::encodingText() const
{
    return _encoding->text();
}

QString MVDocumentWindow::lineBreakText() const
{
    return _lineBreak->text();
}

QString MVDocumentWindow::languageText() const
{
    return _language->text();
}

QString MVDocumentWindow::loadingText() const
{
    return _loadingLine->isHidden() ? QString() : _loadingLabel->text();
}

void MVDocumentWindow::_updateLoadingLine()
{
    MVFileDocument *file = activeFileDocument();
    const bool loading = file && file->isLoading();
    _loadingLine->setHidden(!loading);
    if (!loading)
        return;
    const int percent = int(file->loadingProgress() * 100);
    _loadingLabel->setText(tr("Opening “%1”… %2 %").arg(file->displayName()).arg(percent));
    _loadingBar->setValue(percent);
}

void MVDocumentWindow::_updateStatus()
{
    MVFileDocument *file = activeFileDocument();
    HTMLView *view = file ? file->textView() : nullptr;
    if (!file || !view) {
        for (QLabel *label : {_position, _encoding, _lineBreak, _language})
            label->clear();
        if (file && file->fileView())
            _language->setText(tr("Image"));
        return;
    }
    const MVTextBuffer &buffer = view->textStorage()->buffer();
    const qsizetype caret = view->selectedRange().end();
    const qsizetype line = buffer.lineForPosition(caret);
    _position->setText(tr("Line %1, Column %2").arg(line + 1).arg(caret - buffer.lineStart(line) + 1));
    const MVStringEncoding encoding = file->encoding() ? file->encoding() : FileEncodings::defaultEncoding();
    _encoding->setText(FileEncodings::stringFromEncoding(encoding).toUpper());
    _lineBreak->setText(HTMLView::lineBreakName(view->lineBreakType()));
    _language->setText(view->languageName());
}

// ---- the documents' delegate -------------------------------------------------

void MVDocumentWindow::documentNeedsRefresh(MVFileDocument *document)
{
    _updateTab(document);
    if (document == activeFileDocument())
        _updateTitle();
}

void MVDocumentWindow::documentStatusChanged(MVFileDocument *document)
{
    if (document == activeFileDocument())
        _updateStatus();
}

void MVDocumentWindow::documentShowsWarning(MVFileDocument *, const QString &text)
{
    statusBar()->showMessage(text, 8000);
}

void MVDocumentWindow::documentLoadingChanged(MVFileDocument *document)
{
    if (document == activeFileDocument())
        _updateLoadingLine();
}

void MVDocumentWindow::activateDocument(MVFileDocument *document)
{
    const int index = _tabIndexOf(document);
    if (index >= 0)
        _tabs->setCurrentIndex(index);
    raise();
    activateWindow();
}

void MVDocumentWindow::presentErrorAlert(const MVError &error)
{
    _shell->presentError(error, _document);
}

std::shared_ptr<MVFile> MVDocumentWindow::documentBackingFileWillChangeToPath(MVFileDocument *, const QString &path)
{
    if (auto *multi = dynamic_cast<MVMultiFileDocument *>(_document))
        return multi->fileNodeForPath(path);
    return nullptr;
}

void MVDocumentWindow::documentSaveForCloseFinished(MVFileDocument *)
{
}

void MVDocumentWindow::documentShouldForceClose(MVFileDocument *document)
{
    auto *multi = dynamic_cast<MVMultiFileDocument *>(_document);
    const bool isProject = _document && _document->kind() == MVDocumentKind::Project;
    if (multi && (multi->tabs().size() > 1 || isProject)) {
        _removeDocument(document);
        return;
    }
    // The last file of the window: the window goes without questions.
    if (MVDocument *leaving = _document) {
        detachDocument();
        MVDocumentController::sharedController().removeDocument(leaving);
    }
    close();
}

QString MVDocumentWindow::runSavePanelForDocument(MVFileDocument *document)
{
    if (savePanelAnswer())
        return savePanelAnswer()(document);
    const QString start = document->fileName().isEmpty() ? QDir::homePath() : document->fileName();
    return QFileDialog::getSaveFileName(this, tr("Save As"), start);
}

// ---- closing ---------------------------------------------------------------

void MVDocumentWindow::closeEvent(QCloseEvent *event)
{
    if (_document) {
        // Every edited file of the window is asked about, one by one.
        for (MVFileDocument *file : _fileDocuments()) {
            if (!file->isDocumentEdited())
                continue;
            activateDocument(file);
            const int answer = _shell->askToSaveChanges(file);
            if (answer == 2 || (answer == 0 && !file->save(nullptr))) {
                event->ignore();
                return;
            }
        }
        MVDocument *leaving = _document;
        detachDocument();
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
