#pragma once

#include "documents/MVFileView.h"

#include <QPointer>

// A text file in the editing view.
class MVTextFileView : public MVFileView
{
public:
    explicit MVTextFileView(MVFileDocument *document);
    ~MVTextFileView() override;

    static bool canDisplayPath(const QString &path) { (void)path; return true; }

    QWidget *mainView() const override;
    HTMLView *textView() const override;
    void close() override;
    QVariantMap plistRepresentationForProject() const override;

    bool loadFromPath(const QString &path, MVStringEncoding storedEncoding, const QString &actionName,
                      MVError *error) override;
    bool loadFromData(const QByteArray &data, const QString &path, MVStringEncoding storedEncoding,
                      const QString &actionName, MVError *error) override;
    void loadFromString(const QString &string, const QString &actionName) override;
    MVStringEncoding stringEncoding() const override;
    void setStringEncoding(MVStringEncoding encoding) override;

    static QString isClosingNotification() { return QStringLiteral("MVTextViewIsClosing"); }

private:
    QPointer<HTMLView> _textView;
};
