#include "shell/MVExtendedSearchInputController.h"

#include "platform/MVStringTable.h"

#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QLabel>
#include <QPlainTextEdit>
#include <QVBoxLayout>

MVExtendedSearchInputController::MVExtendedSearchInputController(QWidget *parent) : QDialog(parent)
{
    setWindowTitle(MVLocalizedString(QStringLiteral("Multi-line Input")));
    auto *layout = new QVBoxLayout(this);
    auto *label = new QLabel(MVLocalizedString(QStringLiteral("Text over several lines:")), this);
    _edit = new QPlainTextEdit(this);
    _edit->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    _edit->setLineWrapMode(QPlainTextEdit::NoWrap);
    _edit->setTabChangesFocus(true);
    label->setBuddy(_edit);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    layout->addWidget(label);
    layout->addWidget(_edit);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(this, &QDialog::finished, this, [this](int result) {
        if (auto finished = std::move(_finished))
            finished(input(), result == QDialog::Accepted ? 1 : 0);
    });
    resize(480, 240);
}

QString MVExtendedSearchInputController::input() const
{
    return _edit->toPlainText();
}

void MVExtendedSearchInputController::setInput(const QString &input)
{
    _edit->setPlainText(input);
    _edit->selectAll();
}

void MVExtendedSearchInputController::displayOnWindow(QWidget *window,
                                                      std::function<void(const QString &, int)> finished)
{
    _finished = std::move(finished);
    if (window && parentWidget() != window)
        setParent(window, windowFlags());
    setWindowModality(Qt::WindowModal);
    open();
    _edit->setFocus();
}
