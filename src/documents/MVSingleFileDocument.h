#pragma once

#include "documents/MVFileDocument.h"

// One file in a window of its own, with no tree node. Its per-file settings
// are one flat record: there is only one file.
class MVSingleFileDocument : public MVFileDocument
{
public:
    bool isMultiFile() const override { return false; }
    QVariant configurationValueForKey(const QString &key, const QString &fileKey) const override;
    void setConfigurationValue(const QVariant &value, const QString &key, const QString &fileKey) override;

private:
    QVariantMap _configurationValues;
};
