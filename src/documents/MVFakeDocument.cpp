#include "documents/MVFakeDocument.h"

#include <QUuid>

QString MVFakeDocument::uuid()
{
    if (_uuid.isEmpty())
        _uuid = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    return _uuid;
}
