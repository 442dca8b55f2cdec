#include "files/MVFileDocument.h"

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

bool MVFileDocument::readFromFile(const QString &path, MVError *error)
{
    auto fail = [&](const QString &why) {
        if (error)
            *error = MVError::morvel(0, QStringLiteral("The document “%1” could not be opened.").arg(QFileInfo(path).fileName()), why);
        return false;
    };
    const QFileInfo info(path);
    if (!info.exists())
        return fail(QStringLiteral("The file does not exist."));
    if (!info.isFile())
        return fail(QStringLiteral("It is not a regular file."));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail(file.errorString());
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return fail(file.errorString());

    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(bytes);
    if (utf8.hasError()) {
        text = QString::fromLatin1(bytes);
        _encodingName = QStringLiteral("iso-8859-1");
    } else {
        _encodingName = QStringLiteral("utf-8");
    }
    setFileName(info.absoluteFilePath());
    setText(text);
    return true;
}

void MVFileDocument::setText(const QString &text)
{
    _text = text;
    if (_changed)
        _changed();
}

QString MVFileDocument::lineBreakName() const
{
    const qsizetype lf = _text.indexOf(QLatin1Char('\n'));
    const qsizetype cr = _text.indexOf(QLatin1Char('\r'));
    if (cr >= 0 && (lf < 0 || cr < lf))
        return cr + 1 == lf ? QStringLiteral("Windows") : QStringLiteral("Mac");
    return QStringLiteral("Unix");
}

void MVFileDocument::selectRange(MVRange range)
{
    const qsizetype length = _text.size();
    const qsizetype location = std::min(range.location, length);
    _selection = MVMakeRange(location, std::min(range.length, length - location));
    if (_changed)
        _changed();
}
