#include "documents/MVTextFileView.h"

#include "app/Defaults.h"
#include "editing/HTMLView.h"
#include "platform/MVNotificationCenter.h"
#include "platform/MVUserDefaults.h"

MVTextFileView::MVTextFileView(MVFileDocument *document)
    : MVFileView(document)
    , _textView(new HTMLView)
{
    _textView->setFont(Defaults::defaultFont());
    const qint64 tabSize = MVUserDefaults::standard().integerForKey(QStringLiteral("MVTabSizeKey"));
    _textView->setTabWidth(tabSize > 0 ? int(tabSize) : 4);
}

MVTextFileView::~MVTextFileView()
{
    // A view the window never took is ours to delete.
    if (_textView && !_textView->parent())
        delete _textView.data();
}

QWidget *MVTextFileView::mainView() const
{
    return _textView.data();
}

HTMLView *MVTextFileView::textView() const
{
    return _textView.data();
}

void MVTextFileView::close()
{
    if (_textView)
        MVNotificationCenter::defaultCenter().post(isClosingNotification(), _textView.data());
}

QVariantMap MVTextFileView::plistRepresentationForProject() const
{
    QVariantMap result;
    if (_textView)
        result.insert(QStringLiteral("position"), QStringLiteral("{%1, %2}").arg(0).arg(_textView->firstVisibleLine()));
    return result;
}

bool MVTextFileView::loadFromPath(const QString &path, MVStringEncoding storedEncoding, const QString &actionName,
                                  MVError *error)
{
    return _textView && _textView->loadFromPath(path, storedEncoding, actionName, error);
}

bool MVTextFileView::loadFromData(const QByteArray &data, const QString &path, MVStringEncoding storedEncoding,
                                  const QString &actionName, MVError *error)
{
    return _textView && _textView->loadFromData(data, path, storedEncoding, actionName, error);
}

void MVTextFileView::loadFromString(const QString &string, const QString &actionName)
{
    if (_textView)
        _textView->loadFromString(string, actionName);
}

MVStringEncoding MVTextFileView::stringEncoding() const
{
    return _textView ? _textView->stringEncoding() : 0;
}

void MVTextFileView::setStringEncoding(MVStringEncoding encoding)
{
    if (_textView)
        _textView->setStringEncoding(encoding);
}
