#include "documents/MVSingleFileDocument.h"

QVariant MVSingleFileDocument::configurationValueForKey(const QString &key, const QString &fileKey) const
{
    // The snippet rule of the base applies; anything else is the flat record.
    const QVariant base = MVFileDocument::configurationValueForKey(key, QStringLiteral("\x01none"));
    if (base.isValid())
        return base;
    (void)fileKey;
    return _configurationValues.value(key);
}

void MVSingleFileDocument::setConfigurationValue(const QVariant &value, const QString &key, const QString &)
{
    if (key.isEmpty())
        return;
    if (value.isValid())
        _configurationValues.insert(key, value);
    else
        _configurationValues.remove(key);
}
