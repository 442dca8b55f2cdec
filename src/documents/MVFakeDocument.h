#pragma once

#include <QString>

// Stands in where a list needs an entry of the open-document kind without a
// file: it has an identity and does nothing else.
class MVFakeDocument
{
public:
    // Made at the first call and kept.
    QString uuid();

private:
    QString _uuid;
};
