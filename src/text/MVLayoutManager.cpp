#include "text/MVLayoutManager.h"

#include "text/MVTextBuffer.h"
#include "text/MVTextStorage.h"
#include "text/MVTextView.h"

#include <QWidget>

MVLayoutManager::MVLayoutManager(MVTextView *view)
    : _view(view)
{
}

void MVLayoutManager::setShowInvisibleCharacters(bool show)
{
    _showInvisibleCharacters = show;
    _view->viewport()->update();
}

void MVLayoutManager::setInvisiblesColor(const QColor &color)
{
    _invisiblesColor = color.isValid() ? color : QColor(Qt::gray);
    _view->viewport()->update();
}

void MVLayoutManager::setFont(const QFont &font)
{
    _font = font;
    _view->viewport()->update();
}

QString MVLayoutManager::markForCharacter(QChar c) const
{
    switch (c.unicode()) {
    case u'\t':
        return _tabCharacter;
    case u'\n':
    case u'\r':
    case 0x2028:
    case 0x2029:
        return _newLineCharacter;
    case u' ':
        return _spaceCharacter;
    default:
        return QString();
    }
}

qsizetype MVLayoutManager::numberOfGlyphs() const
{
    return _view->textStorage()->length();
}

QPointF MVLayoutManager::locationForGlyphAtIndex(qsizetype index) const
{
    MVRange range;
    const QRectF fragment = _view->lineFragmentRectForIndex(index, &range);
    const QRect caret = _view->cursorRectForIndex(index);
    return QPointF(caret.isValid() ? caret.left() - fragment.left() : 0, 0);
}

QRectF MVLayoutManager::lineFragmentRectForGlyphAtIndex(qsizetype index, MVRange *effectiveRange) const
{
    return _view->lineFragmentRectForIndex(index, effectiveRange);
}

QRectF MVLayoutManager::extraLineFragmentRect() const
{
    const MVTextStorage *storage = _view->textStorage();
    const qsizetype length = storage->length();
    if (length == 0 || !MVTextBuffer::isLineTerminator(storage->characterAt(length - 1).unicode()))
        return QRectF();
    const QRect caret = _view->cursorRectForIndex(length);
    if (!caret.isValid())
        return QRectF();
    return QRectF(0, caret.top(), _view->viewport()->width(), _view->lineHeight());
}

qsizetype MVLayoutManager::glyphIndexForPoint(const QPointF &point) const
{
    return _view->characterIndexForPoint(point);
}

MVRange MVLayoutManager::glyphRangeForBoundingRect(const QRectF &rect) const
{
    qsizetype start = MVNotFound;
    qsizetype end = 0;
    for (const MVLineFragment &fragment : _view->visibleLineFragments()) {
        if (!fragment.rect.intersects(rect))
            continue;
        start = qMin(start, fragment.range.location);
        end = qMax(end, fragment.range.end());
    }
    return start == MVNotFound ? MVRange{0, 0} : MVRange{start, end - start};
}
