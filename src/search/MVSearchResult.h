#pragma once

#include "platform/MVRange.h"

#include <QList>
#include <QString>
#include <QStringView>
#include <QTextLayout>

#include <memory>

// The preview of a match: up to 40 characters on each side of it, from the
// start of its line at the earliest, and where the match lies in it.
struct MVSearchPreview
{
    QString string;
    MVRange match;

    // The styles of the preview: grey context, the match in bold black at 12
    // points.
    QList<QTextLayout::FormatRange> formats() const;
};

// One match of a search in a subject, with its preview. The range is valid
// only as long as the subject is unchanged.
class MVSearchResult
{
public:
    static constexpr qsizetype ContextLength = 40;

    MVSearchResult(MVRange range, QStringView string);

    // The owner in a results tree (held weakly: the owner holds the result).
    std::shared_ptr<void> parent() const { return _parent.lock(); }
    void setParent(std::weak_ptr<void> parent) { _parent = std::move(parent); }
    MVRange range() const { return _range; }
    const MVSearchPreview &attributedString() const { return _preview; }

private:
    std::weak_ptr<void> _parent;
    MVRange _range;
    MVSearchPreview _preview;
};
