#pragma once

#include "documents/MVFileView.h"

#include <QPointer>
#include <QSize>

class QLabel;
class QWidget;

// An image file, shown at its pixel size with its size below it. It has no
// text and so nothing to save.
class MVImageFileView : public MVFileView
{
public:
    explicit MVImageFileView(MVFileDocument *document);
    ~MVImageFileView() override;

    // True for a path whose file is an image by its extension.
    static bool canDisplayPath(const QString &path);

    QWidget *mainView() const override;
    bool loadFromPath(const QString &path, MVStringEncoding storedEncoding, const QString &actionName,
                      MVError *error) override;
    bool loadFromData(const QByteArray &data, const QString &path, MVStringEncoding storedEncoding,
                      const QString &actionName, MVError *error) override;

    QSize imageSize() const { return _imageSize; }
    QString descriptionText() const;

private:
    QPointer<QWidget> _mainView;
    QLabel *_imageLabel = nullptr;
    QLabel *_descriptionField = nullptr;
    QSize _imageSize;
};
