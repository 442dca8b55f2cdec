#pragma once

#include "platform/MVRange.h"

#include <QColor>
#include <QFont>
#include <QPointF>
#include <QRectF>
#include <QString>

class MVTextView;

// The drawing side of a text view: the marks shown for invisible characters
// and the glyph geometry a ruler asks for. Glyph and character indices are
// the same here: every character is drawn as one glyph position.
class MVLayoutManager
{
public:
    explicit MVLayoutManager(MVTextView *view);

    bool showInvisibleCharacters() const { return _showInvisibleCharacters; }
    void setShowInvisibleCharacters(bool show);
    QColor invisiblesColor() const { return _invisiblesColor; }
    // An invalid colour stands for gray.
    void setInvisiblesColor(const QColor &color);
    QFont font() const { return _font; }
    void setFont(const QFont &font);

    const QString &spaceCharacter() const { return _spaceCharacter; }
    const QString &tabCharacter() const { return _tabCharacter; }
    const QString &newLineCharacter() const { return _newLineCharacter; }
    // The mark drawn for a character, or an empty string for none: tab, the
    // line ends LF, CR, U+2028 and U+2029, and space have marks.
    QString markForCharacter(QChar c) const;

    // Geometry in the view's viewport coordinates.
    qsizetype numberOfGlyphs() const;
    // The origin of the glyph at index relative to its line fragment.
    QPointF locationForGlyphAtIndex(qsizetype index) const;
    // The rectangle of the line fragment holding index, and its characters.
    QRectF lineFragmentRectForGlyphAtIndex(qsizetype index, MVRange *effectiveRange = nullptr) const;
    // The fragment below a final line break, or an empty rectangle.
    QRectF extraLineFragmentRect() const;
    qsizetype glyphIndexForPoint(const QPointF &point) const;
    // The characters of the fragments that meet a rectangle.
    MVRange glyphRangeForBoundingRect(const QRectF &rect) const;

private:
    MVTextView *_view;
    QFont _font;
    QColor _invisiblesColor = Qt::gray;
    QString _spaceCharacter = QString(QChar(0x00B7));
    QString _tabCharacter = QString(QChar(0x22EF));
    QString _newLineCharacter = QString(QChar(0x00B6));
    bool _showInvisibleCharacters = false;
};
