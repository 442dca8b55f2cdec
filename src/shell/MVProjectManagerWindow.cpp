#include "shell/MVProjectManagerWindow.h"

#include "app/MVDocumentController.h"
#include "shell/MVMainMenu.h"

#include <QDialogButtonBox>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

MVProjectManagerWindow::MVProjectManagerWindow(MVShell *shell)
    : _shell(shell)
    , _list(new QListWidget)
{
    setWindowTitle(tr("Projects — Morvel"));
    setObjectName(QStringLiteral("ProjectManager"));
    auto *central = new QWidget;
    auto *layout = new QVBoxLayout(central);
    auto *title = new QLabel(tr("Recent projects and files"));
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    layout->addWidget(title);
    _list->setIconSize(QSize(16, 16));
    _list->setAlternatingRowColors(true);
    layout->addWidget(_list, 1);

    auto *buttons = new QDialogButtonBox;
    QPushButton *newFile = buttons->addButton(tr("New File"), QDialogButtonBox::ActionRole);
    QPushButton *openOther = buttons->addButton(tr("Open…"), QDialogButtonBox::ActionRole);
    QPushButton *open = buttons->addButton(tr("Open"), QDialogButtonBox::AcceptRole);
    open->setDefault(true);
    layout->addWidget(buttons);
    setCentralWidget(central);
    MVMainMenu::install(this, shell, nullptr);

    connect(newFile, &QPushButton::clicked, this, [] { MVDocumentController::sharedController().newDocument(); });
    connect(openOther, &QPushButton::clicked, this, [] { MVDocumentController::sharedController().openDocument(); });
    connect(open, &QPushButton::clicked, this, [this] { _openSelected(); });
    connect(_list, &QListWidget::itemActivated, this, [this] { _openSelected(); });
    resize(520, 400);
}

void MVProjectManagerWindow::refresh()
{
    _list->clear();
    QFileIconProvider icons;
    for (const QString &path : MVDocumentController::sharedController().recentDocuments()) {
        const QFileInfo info(path);
        auto *item = new QListWidgetItem(icons.icon(info), info.fileName() + QStringLiteral("\n") + info.path());
        item->setData(Qt::UserRole, path);
        item->setToolTip(path);
        _list->addItem(item);
    }
    if (_list->count() > 0)
        _list->setCurrentRow(0);
}

void MVProjectManagerWindow::_openSelected()
{
    if (QListWidgetItem *item = _list->currentItem())
        MVDocumentController::sharedController().openDocumentWithContentsOfFile(item->data(Qt::UserRole).toString(), true);
}
