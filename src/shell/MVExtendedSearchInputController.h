#pragma once

#include <QDialog>

#include <functional>

class QPlainTextEdit;

// The multi-line input panel of the find window: a text of several lines
// for the find or the replace field, accepted with OK (code 1) or dropped
// with Cancel (code 0).
class MVExtendedSearchInputController : public QDialog
{
    Q_OBJECT
public:
    explicit MVExtendedSearchInputController(QWidget *parent = nullptr);

    QString input() const;
    void setInput(const QString &input);
    // Shows the panel over window without blocking it; finished gets the
    // text and the code once the panel closes.
    void displayOnWindow(QWidget *window, std::function<void(const QString &output, int returnCode)> finished);

private:
    QPlainTextEdit *_edit;
    std::function<void(const QString &, int)> _finished;
};
