#pragma once

#include "intelligence/index/MVCodeIndexKey.h"

#include <QList>
#include <QStringList>

// What an indexer found in one text: its keys, the files it includes, the
// tags it defines and the tags it refers to.
struct MVCodeIndexerResult
{
    QList<MVCodeIndexKey> keys;
    QStringList referencedFiles;
    QStringList referencedTags;
    QStringList tags;
};
