#pragma once

#include "app/MVDocument.h"

#include <QByteArray>
#include <QString>

#include <functional>

// The document of one file: its bytes as read and the text decoded from them.
// Editing and saving come with the text engine; this document shows a file.
class MVFileDocument : public MVDocument
{
public:
    MVDocumentKind kind() const override { return MVDocumentKind::SingleFile; }
    bool readFromFile(const QString &path, MVError *error) override;
    void selectRange(MVRange range) override;

    const QString &text() const { return _text; }
    void setText(const QString &text);
    QString encodingName() const { return _encodingName; }
    QString lineBreakName() const;

    // The last range asked for by selectRange, clamped to the text.
    MVRange requestedSelection() const { return _selection; }
    // Called when the text or the wanted selection changed, for the view.
    void setChangeHandler(std::function<void()> handler) { _changed = std::move(handler); }

private:
    QString _text;
    QString _encodingName = QStringLiteral("utf-8");
    MVRange _selection{0, 0};
    std::function<void()> _changed;
};
