#include "language/MVSyntaxHighlightingTextView.h"

#include "language/MVBundle.h"
#include "language/MVBundleRepository.h"
#include "language/MVParser.h"
#include "language/MVSyntaxColouring.h"
#include "language/MVTheme.h"
#include "language/MVThemeRepository.h"
#include "platform/MVUserDefaults.h"
#include "text/MVTextBuffer.h"
#include "text/MVTextStorage.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QTimer>

#include <cstdlib>

namespace {
// Texts up to this many characters are coloured in one go; a larger one has
// its first piece of this size coloured at once and the rest in steps.
constexpr qsizetype WholeColouringLength = 1 << 20;
constexpr qsizetype ColouringStepLength = 256 * 1024;
} // namespace

MVSyntaxHighlightingTextView::MVSyntaxHighlightingTextView(QWidget *parent)
    : MVTextView(parent)
{
    setDelegate(this);
    _colouringTimer = new QTimer(this);
    _colouringTimer->setInterval(0);
    connect(_colouringTimer, &QTimer::timeout, this, [this] {
        if (!_active) {
            _hadEventWhileInactive = true;
            _colouredUpTo = -1;
            _colouringTimer->stop();
            return;
        }
        // About a tenth of a second of work per step keeps typing smooth.
        QElapsedTimer clock;
        clock.start();
        while (_colouredUpTo >= 0 && clock.elapsed() < 100)
            _colourNextPiece(ColouringStepLength);
        if (_colouredUpTo < 0)
            _colouringTimer->stop();
    });
    setBundle(MVBundleRepository::sharedRepository().bundleForIdentifier(QStringLiteral("text.html")));
    _activeParser = _parser.get();
    loadColors();
    _prefsChange = MVObservation(highlightingPrefsChangeNotification(), nullptr,
                                 [this](const MVNotification &) { updateHighlighting(); });
    _bundleCategoriesChange = MVObservation(bundleFileCategoriesChangedNotification(), nullptr,
                                            [this](const MVNotification &) { _bundlesUpdated(); });
    _fileCategoriesChange = MVObservation(fileCategoriesChangedNotification(), nullptr,
                                          [this](const MVNotification &n) { _fileCatChange(n); });
}

MVSyntaxHighlightingTextView::~MVSyntaxHighlightingTextView()
{
    if (delegate() == this)
        setDelegate(nullptr);
}

std::shared_ptr<MVTheme> MVSyntaxHighlightingTextView::_currentTheme() const
{
    return MVThemeRepository::sharedRepository().currentTheme();
}

void MVSyntaxHighlightingTextView::loadColors()
{
    const auto theme = _currentTheme();
    if (!theme)
        return;
    setTextColor(theme->textColor());
    setBackgroundColor(theme->backgroundColor());
    setInsertionPointColor(theme->insertionPointColor());
    setSelectionColor(theme->selectionColor());
    setInvisiblesColor(theme->invisiblesColor());
    // The band of the caret's line: the background moved a little toward the
    // text colour, so that the line stays readable on dark themes as on light.
    const QColor background = theme->backgroundColor();
    const QColor text = theme->textColor();
    if (background.isValid() && text.isValid()) {
        auto mix = [](int from, int to) { return from + (to - from) * 7 / 100; };
        setCurrentLineColor(QColor(mix(background.red(), text.red()), mix(background.green(), text.green()),
                                   mix(background.blue(), text.blue())));
    }
    // Uncoloured text has the text colour and no traits; the view paints
    // the background itself, so runs carry none.
    _standardAttributes = MVTextAttributes().setForeground(theme->textColor()).setTraits(0);
}

void MVSyntaxHighlightingTextView::setBundle(const std::shared_ptr<MVBundle> &bundle)
{
    if (bundle == _bundle)
        return;
    _bundle = bundle;
    setParser(bundle ? bundle->parser() : nullptr);
    _activeParser = _parser.get();
    if (textStorage()->length() > 0)
        refreshHighlighting();
}

void MVSyntaxHighlightingTextView::setParser(const std::shared_ptr<MVParser> &parser)
{
    _parser = parser;
    if (_parser)
        _parser->setTheme(_currentTheme());
}

void MVSyntaxHighlightingTextView::setPath(const QString &path)
{
    _path = path;
    std::shared_ptr<MVBundle> found;
    if (!path.isEmpty())
        found = MVBundleRepository::sharedRepository().bundleForFileCategory(QString(), QFileInfo(path).suffix());
    if (!found && !_bundle)
        found = MVBundleRepository::sharedRepository().bundleForIdentifier(QStringLiteral("text.html"));
    if (found)
        setBundle(found);
}

void MVSyntaxHighlightingTextView::setActive(bool active)
{
    _active = active;
    if (_active && _hadEventWhileInactive) {
        updateHighlighting();
        _hadEventWhileInactive = false;
    }
}

bool MVSyntaxHighlightingTextView::_parsesNow() const
{
    return _active && _parser && MVUserDefaults::standard().boolForKey(QStringLiteral("MVHighlightKey"));
}

void MVSyntaxHighlightingTextView::syntaxHighlight(MVRange range, const QString &)
{
    const MVParser *parser = _activeParser ? _activeParser : _parser.get();
    MVSyntaxColouring::syntaxHighlight(range, *textStorage(), _standardAttributes, _parsesNow() ? parser : nullptr);
}

MVRange MVSyntaxHighlightingTextView::rangeToHighlightForRange(MVRange range) const
{
    return MVSyntaxColouring::rangeToHighlightForRange(*textStorage(), range);
}

void MVSyntaxHighlightingTextView::_highlightWholeText()
{
    _colouredUpTo = 0;
    _colourNextPiece(WholeColouringLength);
    if (_colouredUpTo >= 0)
        _colouringTimer->start();
    else
        _colouringTimer->stop();
}

void MVSyntaxHighlightingTextView::_colourNextPiece(qsizetype size)
{
    MVTextStorage &storage = *textStorage();
    const qsizetype length = storage.length();
    // Back to the start of the line, or of a comment or string reaching into it.
    const qsizetype start = rangeToHighlightForRange(MVRange{qMin(_colouredUpTo, length), 0}).location;
    const auto plainBefore = [&](qsizetype at) {
        const MVTextAttributes attributes = storage.attributesAtIndex(at - 1);
        return attributes.parser() == _parser.get() && !attributes.isMultiLine();
    };
    // The text is parsed by the language itself; the active parser survives.
    MVParser *active = _activeParser;
    _activeParser = nullptr;
    qsizetype end = length;
    for (;;) {
        end = start + size >= length ? length : storage.lineRangeForRange(MVRange{start + size, 0}).end();
        syntaxHighlight(MVRange{start, end - start});
        if (end >= length || !_parsesNow() || plainBefore(end))
            break;
        // The piece ends inside a comment, string or embedded region. It
        // stops instead at the last line start before that region where the
        // parse was in plain text (what comes after is parsed again with the
        // next piece); if there is none close by, it is parsed again, larger.
        qsizetype cut = end;
        for (int lines = 0; lines < 4096 && cut > start; ++lines) {
            cut = storage.lineRangeForRange(MVRange{cut - 1, 0}).location;
            if (cut > start && plainBefore(cut))
                break;
        }
        if (cut > start && plainBefore(cut)) {
            end = cut;
            break;
        }
        size *= 2;
    }
    _activeParser = active;
    _colouredUpTo = end >= length ? -1 : end;
}

void MVSyntaxHighlightingTextView::finishHighlighting()
{
    while (_colouredUpTo >= 0)
        _colourNextPiece(ColouringStepLength * 16);
    _colouringTimer->stop();
}

void MVSyntaxHighlightingTextView::refreshHighlighting()
{
    if (!_active) {
        _hadEventWhileInactive = true;
        return;
    }
    _highlightWholeText();
}

void MVSyntaxHighlightingTextView::updateHighlighting()
{
    loadColors();
    if (_parser)
        _parser->setTheme(_currentTheme());
    refreshHighlighting();
}

void MVSyntaxHighlightingTextView::setText(MVTextBuffer &&buffer)
{
    MVTextView::setText(std::move(buffer));
    _highlightWholeText();
    if (!_active)
        _hadEventWhileInactive = true;
}

void MVSyntaxHighlightingTextView::insertText(const QString &text)
{
    _insertingText = true;
    MVTextView::insertText(text);
    _insertingText = false;
    if (!text.isEmpty() && (text.front() == QLatin1Char('\n') || text.front() == QLatin1Char('\r')))
        _activeParser = checkForOpenSpecialsBefore(selectedRange().location);
}

MVParser *MVSyntaxHighlightingTextView::checkForOpenSpecialsBefore(qsizetype location)
{
    return MVSyntaxColouring::checkForOpenSpecialsBefore(_parser.get(), *textStorage(), location, _currentTheme());
}

MVParser *MVSyntaxHighlightingTextView::activeParser(bool recompute)
{
    if (recompute)
        _activeParser = checkForOpenSpecialsBefore(selectedRange().location);
    return _activeParser ? _activeParser : _parser.get();
}

bool MVSyntaxHighlightingTextView::textViewShouldChangeTextInRange(MVTextView *view, MVRange range, const QString &replacement)
{
    if (_outerDelegate && !_outerDelegate->textViewShouldChangeTextInRange(view, range, replacement))
        return false;
    // The colouring still to come moves with the text after the change.
    if (_colouredUpTo >= 0) {
        if (range.end() <= _colouredUpTo)
            _colouredUpTo += replacement.size() - range.length;
        else if (range.location < _colouredUpTo)
            _colouredUpTo = range.location;
    }
    _changeRange = MVRange{range.location, replacement.size()};
    return true;
}

void MVSyntaxHighlightingTextView::textDidChange(MVTextView *view)
{
    syntaxHighlight(rangeToHighlightForRange(_changeRange));
    if (_outerDelegate)
        _outerDelegate->textDidChange(view);
}

MVRange MVSyntaxHighlightingTextView::textViewWillChangeSelectionFromCharacterRange(MVTextView *view, MVRange oldRange,
                                                                                  MVRange proposed)
{
    if (_outerDelegate)
        proposed = _outerDelegate->textViewWillChangeSelectionFromCharacterRange(view, oldRange, proposed);
    // Typing and single arrow steps cost nothing; a jump works out the
    // parser at the new place (or, while inserting, at the old one).
    const qint32 from = qint32(oldRange.end());
    const qint32 to = qint32(proposed.end());
    if (std::abs(qint64(to) - qint64(from)) > 1)
        _activeParser = checkForOpenSpecialsBefore(_insertingText ? oldRange.location : proposed.location);
    return proposed;
}

void MVSyntaxHighlightingTextView::textViewDidChangeSelection(MVTextView *view, MVRange oldRange)
{
    if (_outerDelegate)
        _outerDelegate->textViewDidChangeSelection(view, oldRange);
}

bool MVSyntaxHighlightingTextView::textViewDoubleClickedOnCell(MVTextView *view,
                                                               const std::shared_ptr<MVTextAttachment> &cell,
                                                               const QRect &rect, qsizetype index)
{
    return _outerDelegate && _outerDelegate->textViewDoubleClickedOnCell(view, cell, rect, index);
}

bool MVSyntaxHighlightingTextView::textViewDoCommandBySelector(MVTextView *view, const QString &command)
{
    return _outerDelegate && _outerDelegate->textViewDoCommandBySelector(view, command);
}

void MVSyntaxHighlightingTextView::_bundlesUpdated()
{
    if (_path.isEmpty())
        return;
    const auto found = MVBundleRepository::sharedRepository().bundleForFileCategory(QString(), QFileInfo(_path).suffix());
    if (found)
        setBundle(found);
}

void MVSyntaxHighlightingTextView::_fileCatChange(const MVNotification &notification)
{
    const QString extension = notification.userInfo.value(QStringLiteral("extension")).toString();
    if (extension.compare(QFileInfo(_path).suffix(), Qt::CaseInsensitive) == 0)
        refreshHighlighting();
}

bool MVSyntaxHighlightingTextView::_isParser(const char *identifier) const
{
    return _parser && _parser->identifier() == QLatin1String(identifier);
}

bool MVSyntaxHighlightingTextView::isPerl() const { return _isParser("text.perl"); }
bool MVSyntaxHighlightingTextView::isPython() const { return _isParser("text.py"); }
bool MVSyntaxHighlightingTextView::isCSS() const { return _isParser("text.css"); }
bool MVSyntaxHighlightingTextView::isJS() const { return _isParser("text.js"); }
