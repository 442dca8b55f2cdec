#include "shell/MVDocumentWindow.h"

#include "app/Defaults.h"
#include "app/MVDocumentController.h"
#include "files/MVFileDocument.h"
#include "files/MVMultiFileDocument.h"
#include "shell/MVMainMenu.h"
#include "shell/MVShell.h"

#include <QCloseEvent>
#include <QFileInfo>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QStatusBar>
#include <QTabBar>
#include <QTabWidget>
#include <QTextBlock>

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
    setAttribute(Qt::WA_DeleteOnClose, false);
    _tabs->setDocumentMode(true);
    _tabs->setTabsClosable(true);
    _tabs->setMovable(true);
    setCentralWidget(_tabs);
    for (QLabel *label : {_position, _encoding, _lineBreak, _language})
        statusBar()->addPermanentWidget(label);
    MVMainMenu::install(this, shell, document);

    connect(_tabs, &QTabWidget::currentChanged, this, [this](int index) {
        if (auto *multi = dynamic_cast<MVMultiFileDocument *>(_document); multi && index >= 0) {
            auto *file = static_cast<MVFileDocument *>(_tabs->widget(index)->property(FileProperty).value<void *>());
            const auto &all = multi->tabs();
            for (size_t i = 0; i < all.size(); ++i) {
                if (all[i].get() == file && multi->activeIndex() != static_cast<int>(i))
                    multi->setActiveIndex(static_cast<int>(i));
            }
            MVDocumentController::sharedController().setCurrentDocument(multi->activeDocument());
        }
        _updateStatus();
        setWindowTitle(_document ? _document->displayName() + QStringLiteral(" — Morvel") : QStringLiteral("Morvel"));
    });
    connect(_tabs, &QTabWidget::tabCloseRequested, this, [this](int index) {
        auto *multi = dynamic_cast<MVMultiFileDocument *>(_document);
        if (!multi || multi->tabs().size() <= 1) {
            close();
            return;
        }
        auto *file = static_cast<MVFileDocument *>(_tabs->widget(index)->property(FileProperty).value<void *>());
        const auto &all = multi->tabs();
        for (size_t i = 0; i < all.size(); ++i) {
            if (all[i].get() == file) {
                multi->closeTab(static_cast<int>(i));
                break;
            }
        }
        refresh();
    });
    resize(900, 700);
}

QPlainTextEdit *MVDocumentWindow::_viewFor(MVFileDocument *file)
{
    for (int i = 0; i < _tabs->count(); ++i) {
        if (_tabs->widget(i)->property(FileProperty).value<void *>() == file)
            return static_cast<QPlainTextEdit *>(_tabs->widget(i));
    }
    // Read-only until the editing view lands: nothing typed can be lost.
    auto *view = new QPlainTextEdit;
    view->setReadOnly(true);
    view->setTextInteractionFlags(Qt::TextSelectableByKeyboard | Qt::TextSelectableByMouse);
    view->setLineWrapMode(QPlainTextEdit::NoWrap);
    view->setFont(Defaults::defaultFont());
    view->setFrameShape(QFrame::NoFrame);
    view->setPlainText(file->text());
    view->setProperty(FileProperty, QVariant::fromValue(static_cast<void *>(file)));
    connect(view, &QPlainTextEdit::cursorPositionChanged, this, [this] { _updateStatus(); });
    auto applySelection = [view = QPointer<QPlainTextEdit>(view), file] {
        if (!view)
            return;
        const MVRange selection = file->requestedSelection();
        QTextCursor cursor = view->textCursor();
        cursor.setPosition(static_cast<int>(selection.location));
        cursor.setPosition(static_cast<int>(selection.end()), QTextCursor::KeepAnchor);
        view->setTextCursor(cursor);
        view->ensureCursorVisible();
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
        void *shown = _tabs->widget(i)->property(FileProperty).value<void *>();
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
    auto *view = qobject_cast<QPlainTextEdit *>(_tabs->currentWidget());
    if (!file || !view) {
        for (QLabel *label : {_position, _encoding, _lineBreak, _language})
            label->clear();
        return;
    }
    const QTextCursor cursor = view->textCursor();
    _position->setText(tr("Line %1, Column %2").arg(cursor.blockNumber() + 1).arg(cursor.positionInBlock() + 1));
    _encoding->setText(file->encodingName().toUpper());
    _lineBreak->setText(file->lineBreakName());
    _language->setText(tr("Plain Text"));
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
