#include "documents/MVImageFileView.h"

#include "files/MVFileCategories.h"

#include <QBuffer>
#include <QFileInfo>
#include <QImageReader>
#include <QLabel>
#include <QPixmap>
#include <QScrollArea>
#include <QVBoxLayout>

namespace {
constexpr int ImageMargin = 20;
}

MVImageFileView::MVImageFileView(MVFileDocument *document)
    : MVFileView(document)
{
    auto *main = new QWidget;
    auto *layout = new QVBoxLayout(main);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    auto *scroll = new QScrollArea;
    scroll->setAlignment(Qt::AlignCenter);
    scroll->setWidgetResizable(false);
    _imageLabel = new QLabel;
    _imageLabel->setAlignment(Qt::AlignCenter);
    scroll->setWidget(_imageLabel);
    layout->addWidget(scroll, 1);
    _descriptionField = new QLabel;
    _descriptionField->setContentsMargins(8, 4, 8, 4);
    layout->addWidget(_descriptionField);
    _mainView = main;
}

MVImageFileView::~MVImageFileView()
{
    if (_mainView && !_mainView->parent())
        delete _mainView.data();
}

bool MVImageFileView::canDisplayPath(const QString &path)
{
    if (path.isEmpty())
        return false;
    // SVG is listed among the images, but it is text the user edits.
    const QString extension = MVFileCategories::extensionOfPath(path).toLower();
    if (extension == QLatin1String("svg") || extension == QLatin1String("svgz"))
        return false;
    return MVFileCategories::sharedCategories().pathIsType(path, 1);
}

QWidget *MVImageFileView::mainView() const
{
    return _mainView.data();
}

QString MVImageFileView::descriptionText() const
{
    return QObject::tr("Size: %1 x %2").arg(_imageSize.width()).arg(_imageSize.height());
}

bool MVImageFileView::loadFromPath(const QString &path, MVStringEncoding, const QString &, MVError *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = MVError(FileEncodings::PlatformErrorDomain, FileEncodings::FileReadUnknownError,
                             QObject::tr("The file “%1” could not be read.").arg(QFileInfo(path).fileName()),
                             file.errorString());
        return false;
    }
    return loadFromData(file.readAll(), path, 0, QString(), error);
}

bool MVImageFileView::loadFromData(const QByteArray &data, const QString &path, MVStringEncoding, const QString &,
                                   MVError *)
{
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    const QImage image = reader.read();
    if (image.isNull()) {
        // A damaged picture still opens: it shows what it is instead of a crash.
        _imageSize = QSize();
        _imageLabel->setPixmap(QPixmap());
        _imageLabel->setText(QObject::tr("“%1” cannot be shown as an image.").arg(QFileInfo(path).fileName()));
        _imageLabel->adjustSize();
        _descriptionField->setText(QObject::tr("Size: unknown"));
        return true;
    }
    _imageSize = image.size();
    _imageLabel->setText(QString());
    _imageLabel->setPixmap(QPixmap::fromImage(image));
    _imageLabel->resize(_imageSize.width() + 2 * ImageMargin, _imageSize.height() + 2 * ImageMargin);
    _descriptionField->setText(descriptionText());
    return true;
}
